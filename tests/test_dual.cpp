// Voronoi cells and convex hull of the dual layer, against oracles that do
// not share its code: a lattice of unit cubes and exact orientations. The
// Python tests compare the same arrays with scipy's, with exact circumcentres
// and with volumes and areas that tile a cube.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <set>
#include <stdexcept>
#include <vector>

#include "Dual3.h"
#include "ExactPredicates.h"
#include "RandomPoints.h"
#include "StdoutCapture.h"

using namespace VORN3D;

namespace {

struct Mesh
{
	std::vector<Point3> vPoints;
	Vorn_3D dt;
	std::vector<Tet3*> vCells;

	explicit Mesh(std::vector<Point3> v): vPoints(std::move(v))
	{
		vtest::StdoutCapture quiet;
		std::vector<Point3*> vHandles;
		dt.insert(vPoints, vHandles);
		numberVertices(vHandles);
		collectCells(dt, vCells, true);
	}
};

// Every cell of a cubic lattice is inscribed in a unit cube, so every
// Voronoi vertex of a point's region is a corner of the point's cube.
TEST(Voronoi3, LatticeCellsAreUnitCubesAndHullPointsUnbounded)
{
	const int k(5);
	std::vector<Point3> v;
	for(int i = 0; i < k * k * k; ++i) v.emplace_back(i / (k * k), i / k % k, i % k);
	Mesh mesh(v);
	Voronoi3 voronoi;
	voronoi.compute(mesh.vCells, k * k * k);
	std::vector<int64_t> vRegionStart, vCellStart;
	std::vector<int32_t> vRegionVertices, vCellRidges;
	voronoi.regions(mesh.vCells, vRegionStart, vRegionVertices);
	voronoi.cellRidges(vCellStart, vCellRidges);
	for(int i = 0; i < k * k * k; ++i)
	{
		const double p[3] = {v[i].x(), v[i].y(), v[i].z()};
		const bool bInterior(std::min({p[0], p[1], p[2]}) > 0 && std::max({p[0], p[1], p[2]}) < k - 1);
		const double volume(voronoi.vVolumes[i]);
		EXPECT_EQ(voronoi.isBounded(i), bInterior) << i;
		EXPECT_TRUE(bInterior ? std::fabs(volume - 1.0) < 1e-12 : volume == std::numeric_limits<double>::infinity()) << i << ": " << volume;
		// The region lists -1 first exactly for unbounded cells.
		EXPECT_EQ(vRegionVertices[vRegionStart[i]] == -1, !bInterior) << i;
		for(int64_t j = vRegionStart[i] + !bInterior; j < vRegionStart[i + 1]; ++j)
		{
			const double* c(&voronoi.vVertices[3 * vRegionVertices[j]]);
			EXPECT_NEAR((c[0] - p[0]) * (c[0] - p[0]) + (c[1] - p[1]) * (c[1] - p[1]) + (c[2] - p[2]) * (c[2] - p[2]), 0.75, 1e-12) << i;
		}
		// The faces of a cube add up to its surface, 6; each names the point.
		double surface(0.0);
		for(int64_t f = vCellStart[i]; f < vCellStart[i + 1]; ++f)
		{
			const int32_t r(vCellRidges[f]);
			EXPECT_TRUE(voronoi.vRidgePoints[2 * r] == i || voronoi.vRidgePoints[2 * r + 1] == i);
			surface += voronoi.vRidgeAreas[r];
		}
		EXPECT_TRUE(!bInterior || std::fabs(surface - 6.0) < 1e-12) << i << ": " << surface;
	}
}

// Hull facets against exact orientations of all points and Euler's formula;
// the filter against the hull's vertices. Points in a cube, on a sphere
// (every point a vertex) and in a Gaussian cloud.
class Hull : public ::testing::TestWithParam<int>
{
};

TEST_P(Hull, FacetsAreOutwardAndTheFilterKeepsTheirVertices)
{
	std::mt19937 rng(11);
	std::vector<Point3> v(GetParam() == 0 ? vtest::randomPoints(2500, rng) : std::vector<Point3>());
	std::normal_distribution<double> normal;
	for(int i = 0; GetParam() > 0 && i < 400; ++i)
	{
		const double x(normal(rng)), y(normal(rng)), z(normal(rng));
		const double r(GetParam() == 1 ? std::sqrt(x * x + y * y + z * z) : 1.0);
		v.emplace_back(x / r, y / r, z / r);
	}
	Mesh mesh(v);
	ConvexHull3 hull;
	hull.compute(mesh.vCells);
	const std::set<int32_t> vertices(hull.vFacets.begin(), hull.vFacets.end());
	// A closed triangulated surface of genus 0: F = 2V - 4.
	EXPECT_EQ(hull.numFacets(), 2 * static_cast<int64_t>(vertices.size()) - 4);
	for(int64_t f = 0; f < hull.numFacets(); ++f)
		for(const Point3& p : v)
			ASSERT_LE(vtest::exactOrientation(v[hull.vFacets[3 * f]], v[hull.vFacets[3 * f + 1]], v[hull.vFacets[3 * f + 2]], p), 0)
				<< "a point outside facet " << f;
	std::vector<double> xyz;
	for(const Point3& p : v) xyz.insert(xyz.end(), {p.x(), p.y(), p.z()});
	const std::vector<int32_t> kept([&] {
		vtest::StdoutCapture quiet;
		return hullCandidates(xyz.data(), static_cast<int64_t>(v.size()));
	}());
	for(int32_t vtx : vertices) EXPECT_TRUE(std::binary_search(kept.begin(), kept.end(), vtx)) << "dropped vertex " << vtx;
	// Not a filter in name only: most points of the cube go.
	EXPECT_TRUE(GetParam() != 0 || kept.size() < v.size() / 10) << kept.size();
}

INSTANTIATE_TEST_SUITE_P(Kinds, Hull, ::testing::Values(0, 1, 2));

TEST(CollectCells, KeepsAGivenNumberingAndRefusesABrokenOne)
{
	Mesh mesh(vtest::randomPoints(300, 3u));
	std::vector<Tet3*> vReversed(mesh.vCells.rbegin(), mesh.vCells.rend());
	for(size_t k = 0; k < vReversed.size(); ++k) vReversed[k]->setCustomIndex(static_cast<int>(k));
	std::vector<Tet3*> vKept;
	collectCells(mesh.dt, vKept, false);
	ASSERT_EQ(vKept.size(), vReversed.size());
	for(const Tet3* pTet : vKept) EXPECT_TRUE(vReversed[static_cast<size_t>(pTet->getCustomIndex())] == pTet && !pTet->hasBeenVisited);
	vReversed[0]->setCustomIndex(1);
	EXPECT_THROW(collectCells(mesh.dt, vKept, false), std::invalid_argument);
}

} // namespace
