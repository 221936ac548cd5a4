// The perturbed mesh against CGAL's Delaunay_triangulation_3, which breaks
// the ties of degenerate input by the same symbolic perturbation: the same
// cells, compared as sets of corner coordinates.
#include <gtest/gtest.h>

#include <CGAL/Delaunay_triangulation_3.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "PerturbedOracle.h"
#include "StdoutCapture.h"
#include "Vorn_3D.h"

using VORN3D::Point3;

namespace {

typedef CGAL::Exact_predicates_inexact_constructions_kernel Kernel;

std::vector<vtest::CellCoords> cgalCells(const std::vector<Point3>& vPoints)
{
	std::vector<Kernel::Point_3> vCgal;
	for(const Point3& p : vPoints) vCgal.emplace_back(p.x(), p.y(), p.z());
	CGAL::Delaunay_triangulation_3<Kernel> dt(vCgal.begin(), vCgal.end());
	std::vector<vtest::CellCoords> vCells;
	for(auto cell = dt.finite_cells_begin(); cell != dt.finite_cells_end(); ++cell)
	{
		vtest::CellCoords coords;
		for(int i = 0; i < 4; ++i)
			coords[size_t(i)] = {cell->vertex(i)->point().x(), cell->vertex(i)->point().y(), cell->vertex(i)->point().z()};
		std::sort(coords.begin(), coords.end());
		vCells.push_back(coords);
	}
	std::sort(vCells.begin(), vCells.end());
	return vCells;
}

using CgalPeer = ::testing::TestWithParam<vtest::DegenerateFamily>;

} // namespace

// Five draws of each family at lattice sides of 6 to 9, each shuffled.
TEST_P(CgalPeer, SameCellsAsCgal)
{
	std::mt19937 rng(11);
	for(int draw = 0; draw < 5; ++draw)
	{
		std::vector<Point3> vPoints(GetParam().make(rng, 6 + int(rng() % 4)));
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

INSTANTIATE_TEST_SUITE_P(Degenerate, CgalPeer, ::testing::ValuesIn(vtest::vDegenerateFamilies),
	[](const ::testing::TestParamInfo<vtest::DegenerateFamily>& info) { return std::string(info.param.name); });
