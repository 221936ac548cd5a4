// The perturbed mesh against CGAL's Delaunay_triangulation_3, which breaks
// the ties of degenerate input by the same symbolic perturbation: the same
// cells, compared as sets of corner coordinates.
#include <gtest/gtest.h>

#include <CGAL/Delaunay_triangulation_3.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "PerturbedOracle.h"
#include "StdoutCapture.h"
#include "Vorn_3D.h"

using VORN3D::Point3;

namespace {

typedef CGAL::Exact_predicates_inexact_constructions_kernel Kernel;
typedef CGAL::Delaunay_triangulation_3<Kernel> Delaunay;

std::vector<vtest::CellCoords> cgalCells(const std::vector<Point3>& vPoints)
{
	std::vector<Kernel::Point_3> vCgal;
	for(const Point3& p : vPoints) vCgal.emplace_back(p.x(), p.y(), p.z());
	Delaunay dt(vCgal.begin(), vCgal.end());
	std::vector<vtest::CellCoords> vCells;
	for(auto cell = dt.finite_cells_begin(); cell != dt.finite_cells_end(); ++cell)
	{
		vtest::CellCoords coords;
		for(int i = 0; i < 4; ++i)
		{
			const Kernel::Point_3& p(cell->vertex(i)->point());
			coords[size_t(i)] = {p.x(), p.y(), p.z()};
		}
		std::sort(coords.begin(), coords.end());
		vCells.push_back(coords);
	}
	std::sort(vCells.begin(), vCells.end());
	return vCells;
}

struct PeerCase
{
	friend void PrintTo(const PeerCase& c, std::ostream* os) { *os << c.name; }
	const char* name;
	std::function<std::vector<Point3>(std::mt19937&)> make;
};

using CgalPeer = ::testing::TestWithParam<PeerCase>;

double pick(std::mt19937& rng, int n, double step) { return double(rng() % unsigned(n)) * step; }

} // namespace

// Each family is drawn five times; every draw is inserted in a shuffled
// order.
TEST_P(CgalPeer, SameCellsAsCgal)
{
	std::mt19937 rng(11);
	for(int draw = 0; draw < 5; ++draw)
	{
		std::vector<Point3> vPoints(GetParam().make(rng));
		std::shuffle(vPoints.begin(), vPoints.end(), rng);
		VORN3D::Vorn_3D vorn;
		vorn.setPerturbation(true);
		{
			vtest::StdoutCapture quiet;
			vorn.insert(vPoints);
		}
		ASSERT_EQ(vtest::cellCoordinates(vorn), cgalCells(vPoints)) << GetParam().name << ", draw " << draw;
	}
}

INSTANTIATE_TEST_SUITE_P(Degenerate, CgalPeer,
	::testing::Values(
		// A lattice with a fifth of its points twice.
		PeerCase{"gridWithDuplicates",
			[](std::mt19937& rng) {
				std::vector<Point3> v;
				const int n(6 + int(rng() % 4));
				for(int i = 0; i < n * n * n; ++i) v.push_back(Point3(i % n, (i / n) % n, i / (n * n)));
				for(int i = 0; i < n * n * n / 5; ++i) v.push_back(v[rng() % v.size()]);
				return v;
			}},
		// Integer points on a sphere, with its centre.
		PeerCase{"integerSphere",
			[](std::mt19937& rng) {
				const int r2(25 + int(rng() % 100));
				std::vector<Point3> v{Point3(0, 0, 0)};
				for(int x = -12; x <= 12; ++x)
					for(int y = -12; y <= 12; ++y)
						for(int z = -12; z <= 12; ++z)
							if(x * x + y * y + z * z == r2) v.push_back(Point3(x, y, z));
				return v;
			}},
		// Points of a small lattice on two parallel planes.
		PeerCase{"twoPlanes",
			[](std::mt19937& rng) {
				std::vector<Point3> v;
				for(int i = 0; i < 300; ++i) v.push_back(Point3(pick(rng, 9, 1.0), pick(rng, 9, 1.0), (i % 2) * 4.0));
				return v;
			}},
		// Points on the faces of a box, at half-integer positions: coplanar
		// and cocircular points on every hull plane.
		PeerCase{"boxFaces",
			[](std::mt19937& rng) {
				std::vector<Point3> v;
				for(int i = 0; i < 200; ++i)
				{
					double c[3] = {pick(rng, 11, 0.5), pick(rng, 11, 0.5), pick(rng, 11, 0.5)};
					c[rng() % 3] = (rng() % 2) * 5.0;
					v.push_back(Point3(c[0], c[1], c[2]));
				}
				return v;
			}},
		// A lattice with random points among it.
		PeerCase{"gridPlusRandom",
			[](std::mt19937& rng) {
				std::vector<Point3> v;
				std::uniform_real_distribution<double> u(0.0, 7.0);
				for(int i = 0; i < 512; ++i) v.push_back(Point3(i % 8, (i / 8) % 8, i / 64));
				for(int i = 0; i < 40; ++i) v.push_back(Point3(u(rng), u(rng), u(rng)));
				return v;
			}}),
	[](const ::testing::TestParamInfo<PeerCase>& info) { return std::string(info.param.name); });
