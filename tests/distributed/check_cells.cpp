// Oracle of the distributed tests: writes the point sets and checks the cells
// that vorn3d-mpi wrote against one Vorn_3D object with the perturbation on
// (same cells, degenerate sets included) or exactly (a valid Delaunay
// tetrahedralisation of the hull).
//   check_cells gen KIND N FILE     uniform|clustered|elongated|sphere|grid
//   check_cells same POINTS CELLS
//   check_cells valid POINTS CELLS
#include <gmpxx.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <vorn3d/Vorn_3D.h>

#include "ExactPredicates.h"
#include "PointFile.h"

using VORN3D::Point3;
using Quad = std::array<long, 4>;

static int fail(const std::string& why)
{
	std::printf("FAILED: %s\n", why.c_str());
	return 1;
}

static void generate(const std::string& kind, int n, const std::string& file)
{
	std::mt19937 rng(12345);
	std::uniform_real_distribution<double> uni(0.0, 1.0);
	std::normal_distribution<double> gauss(0.0, 0.02);
	std::vector<Point3> vCentres;
	for(int i = 0; i < 8; ++i) vCentres.emplace_back(uni(rng), uni(rng), uni(rng));
	std::FILE* pOut(std::fopen(file.c_str(), "w"));
	const int side(static_cast<int>(std::cbrt(n)));
	for(int i = 0; i < n; ++i)
	{
		double x(uni(rng)), y(uni(rng)), z(uni(rng));
		if(kind == "clustered")
		{
			const Point3& c(vCentres[static_cast<size_t>(i) % vCentres.size()]);
			x = c.x() + gauss(rng), y = c.y() + gauss(rng), z = c.z() + gauss(rng);
		}
		else if(kind == "elongated") x *= 1000.0, y *= 0.01;
		else if(kind == "sphere")
		{
			const double t(std::acos(2.0 * x - 1.0)), p(6.283185307179586 * y);
			x = std::sin(t) * std::cos(p), y = std::sin(t) * std::sin(p), z = std::cos(t);
		}
		else if(kind == "grid") // past side^3 points the grid repeats itself
			x = i % side, y = (i / side) % side, z = i / (side * side) % side;
		std::fprintf(pOut, "%.17g %.17g %.17g\n", x, y, z);
	}
	std::fclose(pOut);
}

static mpq_class det(const Point3& a, const Point3& b, const Point3& c, const Point3& d)
{
	const mpq_class ux(mpq_class(b.x()) - a.x()), uy(mpq_class(b.y()) - a.y()), uz(mpq_class(b.z()) - a.z());
	const mpq_class vx(mpq_class(c.x()) - a.x()), vy(mpq_class(c.y()) - a.y()), vz(mpq_class(c.z()) - a.z());
	const mpq_class wx(mpq_class(d.x()) - a.x()), wy(mpq_class(d.y()) - a.y()), wz(mpq_class(d.z()) - a.z());
	return ux * (vy * wz - vz * wy) - uy * (vx * wz - vz * wx) + uz * (vx * wy - vy * wx);
}

int main(int argc, char** argv)
{
	const std::string mode(argc > 1 ? argv[1] : "");
	if(mode == "gen" && argc == 5) return generate(argv[2], std::atoi(argv[3]), argv[4]), 0;
	if((mode != "same" && mode != "valid") || argc != 4) return fail("usage");
	std::vector<Point3> vPoints;
	std::string error;
	if(!vorn3dapp::readPoints(argv[2], vPoints, error)) return fail(error);

	// The reference: one object, each vertex named by its first input index.
	VORN3D::Vorn_3D single;
	single.setPerturbation(true);
	std::vector<Point3*> vHandles;
	single.insert(vPoints, vHandles);
	for(size_t i = vHandles.size(); i-- > 0;) vHandles[i]->setIndex(static_cast<int>(i));
	std::vector<VORN3D::Tet3*> vTets;
	single.getTetrahedra(vTets);
	std::set<Quad> reference;
	mpq_class hullVolume(0);
	for(const VORN3D::Tet3* pTet : vTets)
	{
		Quad q;
		for(int i = 0; i < 4; ++i) q[static_cast<size_t>(i)] = pTet->getCorner(i)->getIndex();
		hullVolume += det(*pTet->getCorner(0), *pTet->getCorner(1), *pTet->getCorner(2), *pTet->getCorner(3));
		std::sort(q.begin(), q.end());
		reference.insert(q);
	}

	std::ifstream in(argv[3]);
	std::vector<Quad> vCells;
	Quad q;
	while(in >> q[0] >> q[1] >> q[2] >> q[3]) vCells.push_back(q);
	std::set<Quad> got;
	for(Quad c : vCells)
	{
		for(long k : c)
		{
			if(k < 0 || k >= static_cast<long>(vPoints.size()) || vHandles[static_cast<size_t>(k)]->getIndex() != k)
				return fail("index " + std::to_string(k) + " is no first occurrence");
		}
		std::sort(c.begin(), c.end());
		if(!got.insert(c).second) return fail("a cell is reported twice");
	}
	std::printf("%zu cells, reference %zu\n", got.size(), reference.size());
	if(mode == "same") return got == reference ? 0 : fail("cells differ from the single object's");

	// Exact validity: positive cells, every facet in one cell or in two cells
	// on opposite sides with an empty sphere, total volume that of the hull.
	std::map<std::array<long, 3>, std::vector<std::pair<Quad, long>>> facets;
	mpq_class volume(0);
	const auto pt([&](long k) -> const Point3& { return vPoints[static_cast<size_t>(k)]; });
	for(const Quad& c : vCells)
	{
		if(vtest::exactOrientation(pt(c[0]), pt(c[1]), pt(c[2]), pt(c[3])) != 1) return fail("cell not positive");
		volume += det(pt(c[0]), pt(c[1]), pt(c[2]), pt(c[3]));
		for(size_t i = 0; i < 4; ++i)
		{
			std::array<long, 3> f{{c[(i + 1) % 4], c[(i + 2) % 4], c[(i + 3) % 4]}};
			std::sort(f.begin(), f.end());
			facets[f].emplace_back(c, c[i]);
		}
	}
	for(const auto& entry : facets)
	{
		const auto& v(entry.second);
		if(v.size() == 1) continue;
		const auto& f(entry.first);
		const int s0(vtest::exactOrientation(pt(f[0]), pt(f[1]), pt(f[2]), pt(v[0].second)));
		const int s1(vtest::exactOrientation(pt(f[0]), pt(f[1]), pt(f[2]), pt(v[1].second)));
		if(v.size() > 2 || s0 * s1 != -1) return fail("a facet is not shared by two cells on opposite sides");
		const Quad& c(v[0].first);
		if(vtest::exactInSphere(pt(c[0]), pt(c[1]), pt(c[2]), pt(c[3]), pt(v[1].second)) > 0) return fail("sphere not empty");
	}
	return volume == hullVolume ? 0 : fail("cells do not cover the hull exactly once");
}
