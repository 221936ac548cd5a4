// Oracle of the distributed tests: writes the point sets and checks the cells
// that vorn3d-mpi wrote against one Vorn_3D object with the perturbation on
// (same cells, degenerate sets included), each positively oriented.
//   check_cells gen KIND N FILE     uniform|clustered|elongated|sphere|grid
//   check_cells same POINTS CELLS
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <fstream>
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

int main(int argc, char** argv)
{
	const std::string mode(argc > 1 ? argv[1] : "");
	if(mode == "gen" && argc == 5) return generate(argv[2], std::atoi(argv[3]), argv[4]), 0;
	if(mode != "same" || argc != 4) return fail("usage");
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
	for(const VORN3D::Tet3* pTet : vTets)
	{
		Quad q;
		for(int i = 0; i < 4; ++i) q[static_cast<size_t>(i)] = pTet->getCorner(i)->getIndex();
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
		const auto pt([&](long k) -> const Point3& { return vPoints[static_cast<size_t>(k)]; });
		if(vtest::exactOrientation(pt(c[0]), pt(c[1]), pt(c[2]), pt(c[3])) != 1) return fail("cell not positive");
		std::sort(c.begin(), c.end());
		if(!got.insert(c).second) return fail("a cell is reported twice");
	}
	std::printf("%zu cells, reference %zu\n", got.size(), reference.size());
	return got == reference ? 0 : fail("cells differ from the single object's");
}
