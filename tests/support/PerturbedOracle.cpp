#include "PerturbedOracle.h"

#include <gmpxx.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <sstream>

#include "Tet3.h"
#include "Vorn_3D.h"

using VORN3D::Point3;

namespace vtest {

namespace {

using Matrix = std::vector<std::vector<mpq_class>>;

// Determinant of a square rational matrix by Gaussian elimination.
mpq_class determinant(Matrix m)
{
	mpq_class det(1);
	for(size_t col = 0; col < m.size(); ++col)
	{
		size_t pivot(col);
		while(pivot < m.size() && m[pivot][col] == 0) ++pivot;
		if(pivot == m.size()) return 0;
		if(pivot != col) det = -det;
		std::swap(m[pivot], m[col]);
		det *= m[col][col];
		for(size_t row = col + 1; row < m.size(); ++row)
		{
			const mpq_class f(m[row][col] / m[col][col]);
			for(size_t k = col; k < m.size(); ++k) m[row][k] -= f * m[col][k];
		}
	}
	return det;
}

std::array<double, 3> coords(const Point3& p) { return {p.x(), p.y(), p.z()}; }
Point3 point(const std::array<double, 3>& c) { return Point3(c[0], c[1], c[2]); }

} // namespace

int perturbedOutside(const Point3& a, const Point3& b, const Point3& c, const Point3& d, const Point3& e)
{
	const Point3* apPoint[5] = {&a, &b, &c, &d, &e};
	// Rows (x, y, z, |p|^2, 1), exact.
	Matrix rows;
	for(const Point3* p : apPoint)
	{
		const mpq_class x(p->x()), y(p->y()), z(p->z());
		rows.push_back({x, y, z, x * x + y * y + z * z, mpq_class(1)});
	}
	// Raising the lift of point i by eps_i adds eps_i * C_i to the 5x5
	// determinant, C_i the cofactor of that lift. Raising e's lift takes e
	// out of the sphere, so "outside" is "the determinant has the sign of C_4".
	const auto cofactorSign = [&rows](int i) {
		Matrix minor;
		for(int k = 0; k < 5; ++k)
			if(k != i) minor.push_back({rows[k][0], rows[k][1], rows[k][2], rows[k][4]});
		return ((i + 3) % 2 == 0 ? 1 : -1) * sgn(determinant(minor));
	};
	// det M(eps) = det M + sum_i eps_i * C_i, the raise of a lexicographically
	// larger point dominating: its sign is that of the first nonzero term.
	int aOrder[5] = {0, 1, 2, 3, 4};
	std::sort(aOrder, aOrder + 5, [&](int i, int j) { return coords(*apPoint[i]) > coords(*apPoint[j]); });
	int sign(sgn(determinant(rows)));
	for(int r = 0; r < 5 && sign == 0; ++r) sign = cofactorSign(aOrder[r]);
	return sign == cofactorSign(4) ? 1 : -1;
}

std::vector<CellCoords> cellCoordinates(const VORN3D::Vorn_3D& vorn)
{
	std::vector<VORN3D::Tet3*> vTets;
	vorn.getTetrahedra(vTets);
	std::vector<CellCoords> vCells;
	for(const VORN3D::Tet3* pTet : vTets)
	{
		CellCoords cell;
		for(int i = 0; i < 4; ++i) cell[size_t(i)] = coords(*pTet->getCorner(i));
		std::sort(cell.begin(), cell.end());
		vCells.push_back(cell);
	}
	std::sort(vCells.begin(), vCells.end());
	return vCells;
}

std::string perturbedEmptySphereViolation(const VORN3D::Vorn_3D& vorn)
{
	// Every vertex is a corner of a cell of the full-dimensional mesh.
	const std::vector<CellCoords> vCells(cellCoordinates(vorn));
	std::set<std::array<double, 3>> sVertices;
	for(const CellCoords& c : vCells) sVertices.insert(c.begin(), c.end());
	for(const CellCoords& c : vCells)
		for(const std::array<double, 3>& v : sVertices)
		{
			if(std::find(c.begin(), c.end(), v) != c.end() ||
				perturbedOutside(point(c[0]), point(c[1]), point(c[2]), point(c[3]), point(v)) > 0)
				continue;
			std::ostringstream os;
			os << "cell " << point(c[0]) << point(c[1]) << point(c[2]) << point(c[3]) << " has " << point(v) << " inside";
			return os.str();
		}
	return "";
}

std::vector<Point3> integerSphere(int r2)
{
	std::vector<Point3> v;
	const int r(int(std::sqrt(double(r2))) + 1);
	for(int x = -r; x <= r; ++x)
		for(int y = -r; y <= r; ++y)
			for(int z = -r; z <= r; ++z)
				if(x * x + y * y + z * z == r2) v.push_back(Point3(x, y, z));
	return v;
}

const std::vector<DegenerateFamily> vDegenerateFamilies{
	// An integer lattice with a fifth of its points twice.
	{"gridWithDuplicates",
		[](std::mt19937& rng, int n) {
			std::vector<Point3> v;
			for(int i = 0; i < n * n * n; ++i) v.push_back(Point3(i % n, i / n % n, i / (n * n)));
			for(int i = 0; i < n * n * n / 5; ++i) v.push_back(v[rng() % v.size()]);
			return v;
		}},
	// The integer points of a sphere, with its centre for odd n.
	{"integerSphere",
		[](std::mt19937& rng, int n) {
			std::vector<Point3> v;
			while(v.size() < 12) v = integerSphere(n * n + int(rng() % unsigned(4 * n * n)));
			if(n % 2 != 0) v.push_back(Point3(0, 0, 0));
			return v;
		}},
	{"twoPlanes",
		[](std::mt19937& rng, int n) {
			std::vector<Point3> v;
			for(int i = 0; i < 5 * n * n; ++i)
				v.push_back(point({rng() % unsigned(n + 3) * 1.0, rng() % unsigned(n + 3) * 1.0, i % 2 * (n - 1.0)}));
			return v;
		}},
	// Points on the faces of a box at half-integer positions: coplanar and
	// cocircular points on every hull plane.
	{"boxFaces",
		[](std::mt19937& rng, int n) {
			std::vector<Point3> v;
			for(int i = 0; i < 4 * n * n; ++i)
			{
				std::array<double, 3> c{rng() % unsigned(2 * n + 3) * 0.5, rng() % unsigned(2 * n + 3) * 0.5,
					rng() % unsigned(2 * n + 3) * 0.5};
				c[rng() % 3] = rng() % 2 * (n + 1.0);
				v.push_back(point(c));
			}
			return v;
		}},
	// The integer points of the circle x^2 + y^2 = 25 in n layers: every four
	// in one layer cocircular, every two layers cospherical.
	{"cocircularLayers",
		[](std::mt19937&, int n) {
			std::vector<Point3> v;
			for(const Point3& p : integerSphere(25))
				for(int z = 0; p.z() == 0.0 && z < n; ++z) v.push_back(Point3(p.x(), p.y(), z));
			return v;
		}},
	{"gridPlusRandom",
		[](std::mt19937& rng, int n) {
			std::vector<Point3> v;
			std::uniform_real_distribution<double> u(0.0, n - 1.0);
			for(int i = 0; i < n * n * n; ++i) v.push_back(Point3(i % n, i / n % n, i / (n * n)));
			for(int i = 0; i < n * n - 6; ++i) v.push_back(point({u(rng), u(rng), u(rng)}));
			return v;
		}}};

} // namespace vtest
