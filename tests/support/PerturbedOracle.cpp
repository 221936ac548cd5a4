#include "PerturbedOracle.h"

#include <gmpxx.h>

#include <algorithm>
#include <sstream>

#include "Tet3.h"
#include "Vorn_3D.h"

using VORN3D::Point3;

namespace vtest {

namespace {

// Determinant of an n x n rational matrix by Gaussian elimination.
mpq_class determinant(std::vector<std::vector<mpq_class>> m)
{
	const size_t n(m.size());
	mpq_class det(1);
	for(size_t col = 0; col < n; ++col)
	{
		size_t pivot(col);
		while(pivot < n && m[pivot][col] == 0) ++pivot;
		if(pivot == n) return 0;
		if(pivot != col)
		{
			std::swap(m[pivot], m[col]);
			det = -det;
		}
		det *= m[col][col];
		for(size_t row = col + 1; row < n; ++row)
		{
			if(m[row][col] == 0) continue;
			const mpq_class f(m[row][col] / m[col][col]);
			for(size_t k = col; k < n; ++k) m[row][k] -= f * m[col][k];
		}
	}
	return det;
}

bool lexGreater(const Point3& a, const Point3& b)
{
	if(a.x() != b.x()) return a.x() > b.x();
	if(a.y() != b.y()) return a.y() > b.y();
	return a.z() > b.z();
}

} // namespace

int perturbedOutside(const Point3& a, const Point3& b, const Point3& c, const Point3& d, const Point3& e)
{
	const Point3* apPoint[5] = {&a, &b, &c, &d, &e};
	// Rows (x, y, z, |p|^2, 1), exact.
	std::vector<std::vector<mpq_class>> rows(5);
	for(int i = 0; i < 5; ++i)
	{
		const mpq_class x(apPoint[i]->x()), y(apPoint[i]->y()), z(apPoint[i]->z());
		rows[i] = {x, y, z, x * x + y * y + z * z, mpq_class(1)};
	}
	// The orientation of the cell: the 4x4 of (p, 1) without the lift is
	// -det[b-a, c-a, d-a]. Raising e's lift makes e outside and adds
	// eps * cofactor(e, lift) = eps * det[b-a, c-a, d-a] to the 5x5
	// determinant, so "outside" is "the determinant has the sign of
	// det[b-a, c-a, d-a]".
	std::vector<std::vector<mpq_class>> cell;
	for(int i = 1; i < 4; ++i)
		cell.push_back({rows[i][0] - rows[0][0], rows[i][1] - rows[0][1], rows[i][2] - rows[0][2]});
	const int orientation(sgn(determinant(cell)));
	// det M(eps) = det M + sum_i raise_i * cofactor(i, lift): its sign is that
	// of the first nonzero term, the raises taken largest point first.
	int sign(sgn(determinant(rows)));
	int aOrder[5] = {0, 1, 2, 3, 4};
	std::sort(aOrder, aOrder + 5, [&](int i, int j) { return lexGreater(*apPoint[i], *apPoint[j]); });
	for(int r = 0; r < 5 && sign == 0; ++r)
	{
		const int i(aOrder[r]);
		std::vector<std::vector<mpq_class>> minor;
		for(int k = 0; k < 5; ++k)
		{
			if(k != i) minor.push_back({rows[k][0], rows[k][1], rows[k][2], rows[k][4]});
		}
		sign = ((i + 3) % 2 == 0 ? 1 : -1) * sgn(determinant(minor));
	}
	return sign == orientation ? 1 : -1;
}

std::vector<CellCoords> cellCoordinates(const VORN3D::Vorn_3D& vorn)
{
	std::vector<VORN3D::Tet3*> vTets;
	vorn.getTetrahedra(vTets);
	std::vector<CellCoords> vCells;
	for(const VORN3D::Tet3* pTet : vTets)
	{
		CellCoords cell;
		for(int i = 0; i < 4; ++i)
		{
			const Point3& p(*pTet->getCorner(i));
			cell[i] = {p.x(), p.y(), p.z()};
		}
		std::sort(cell.begin(), cell.end());
		vCells.push_back(cell);
	}
	std::sort(vCells.begin(), vCells.end());
	return vCells;
}

std::string perturbedEmptySphereViolation(const VORN3D::Vorn_3D& vorn)
{
	std::vector<VORN3D::Tet3*> vTets;
	vorn.getTetrahedra(vTets);
	std::vector<Point3*> vVertices;
	vorn.getVertices(vVertices);
	std::sort(vVertices.begin(), vVertices.end(), [](const Point3* p, const Point3* q) { return lexGreater(*q, *p); });
	vVertices.erase(std::unique(vVertices.begin(), vVertices.end(),
						[](const Point3* p, const Point3* q) { return !lexGreater(*p, *q) && !lexGreater(*q, *p); }),
		vVertices.end());
	for(const VORN3D::Tet3* pTet : vTets)
	{
		const Point3* c[4] = {pTet->getCorner(0), pTet->getCorner(1), pTet->getCorner(2), pTet->getCorner(3)};
		for(const Point3* pV : vVertices)
		{
			bool bCorner(false);
			for(const Point3* pC : c) bCorner = bCorner || (pC->x() == pV->x() && pC->y() == pV->y() && pC->z() == pV->z());
			if(bCorner || perturbedOutside(*c[0], *c[1], *c[2], *c[3], *pV) > 0) continue;
			std::ostringstream os;
			os << "cell " << *c[0] << " " << *c[1] << " " << *c[2] << " " << *c[3] << " has " << *pV << " inside";
			return os.str();
		}
	}
	return "";
}

} // namespace vtest
