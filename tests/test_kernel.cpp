// The kernel against oracles that share none of its code: brute-force
// Delaunay on small sets, and the structural and exact invariants of the mesh
// on families of degenerate, adversarial, long-walk and extreme-magnitude
// input; then its queries, its messages and its validity check on meshes
// corrupted by hand.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <functional>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "BruteForceDelaunay.h"
#include "Dt3.h"
#include "ExactPredicates.h"
#include "MeshInvariants.h"
#include "RandomPoints.h"
#include "StdoutCapture.h"
#include "TextFile.h"
#include "Vorn_3D.h"

using namespace VORN3D;
using vtest::randomPoints;

namespace {

std::vector<Point3> grid(int nx, int ny, int nz, double step = 1.0)
{
	std::vector<Point3> v;
	for(int i = 0; i < nx; ++i)
		for(int j = 0; j < ny; ++j)
			for(int k = 0; k < nz; ++k) v.push_back(Point3(i * step, j * step, k * step));
	return v;
}

std::vector<Point3> onSphere(int n, unsigned seed)
{
	std::mt19937 rng(seed);
	std::normal_distribution<double> dist(0.0, 1.0);
	std::vector<Point3> v;
	for(int i = 0; i < n; ++i)
	{
		const double x(dist(rng)), y(dist(rng)), z(dist(rng)), r(std::sqrt(x * x + y * y + z * z));
		v.push_back(Point3(x / r, y / r, z / r));
	}
	return v;
}

// n points uniform in [0, e)^3 stretched per axis; with cylinderAxis >= 0,
// on the unit cylinder around that axis.
std::vector<Point3> inBox(int n, double ex, double ey, double ez, int cylinderAxis = -1, unsigned seed = 1)
{
	std::mt19937 rng(seed);
	std::uniform_real_distribution<double> u(0.0, 1.0);
	const double e[3] = {ex, ey, ez};
	std::vector<Point3> v;
	for(int i = 0; i < n; ++i)
	{
		double c[3] = {e[0] * u(rng), e[1] * u(rng), e[2] * u(rng)};
		const int a(cylinderAxis), b((a + 1) % 3), d((a + 2) % 3);
		if(a >= 0) c[d] = std::sin(6.283185307179586 * c[b] / e[b]), c[b] = std::cos(6.283185307179586 * c[b] / e[b]);
		v.emplace_back(c[0], c[1], c[2]);
	}
	return v;
}

// Coordinates of random sign whose decimal order is uniform in [lo, hi].
std::vector<Point3> mixedOrders(size_t n, unsigned seed, double lo, double hi)
{
	std::mt19937 rng(seed);
	std::uniform_real_distribution<double> order(lo, hi);
	auto value = [&]() { return (rng() % 2 ? 1.0 : -1.0) * std::pow(10.0, order(rng)); };
	std::vector<Point3> v;
	for(size_t i = 0; i < n; ++i) v.push_back(Point3(value(), value(), value()));
	return v;
}

// Uniform points in [0, 1)^3, each coordinate rounded to 30 bits, times
// 2^shift: exact for every shift down to -1044 (multiples of 2^-1074).
std::vector<Point3> scaledGrid(size_t n, unsigned seed, int shift)
{
	std::vector<Point3> v(randomPoints(n, seed));
	auto snap = [shift](double c) { return std::ldexp(std::floor(std::ldexp(c, 30)), shift - 30); };
	for(Point3& p : v) p = Point3(snap(p.x()), snap(p.y()), snap(p.z()));
	return v;
}

std::vector<Point3> uniformIn(size_t n, unsigned seed, double lo, double hi)
{
	std::mt19937 rng(seed);
	return randomPoints(n, rng, lo, hi);
}

std::vector<Point3> shuffled(std::vector<Point3> v, unsigned seed)
{
	std::shuffle(v.begin(), v.end(), std::mt19937(seed));
	return v;
}

std::vector<Point3> withCopies(std::vector<Point3> v, size_t numCopies)
{
	v.insert(v.end(), v.begin(), v.begin() + long(numCopies));
	return shuffled(v, 1);
}

// The cells as sorted quadruples of input indices.
std::vector<std::array<int, 4>> cellsAsIndices(const Vorn_3D& vorn, const std::vector<Point3*>& vHandles)
{
	std::map<const Point3*, int> mIndex;
	for(size_t i = 0; i < vHandles.size(); ++i) mIndex.emplace(vHandles[i], int(i));
	std::vector<Tet3*> vTets;
	vorn.getTetrahedra(vTets);
	std::vector<std::array<int, 4>> vResult;
	for(const Tet3* pTet : vTets)
	{
		std::array<int, 4> q;
		for(int i = 0; i < 4; ++i) q[i] = mIndex.at(pTet->getCorner(i));
		std::sort(q.begin(), q.end());
		vResult.push_back(q);
	}
	std::sort(vResult.begin(), vResult.end());
	return vResult;
}

using Steps = std::vector<std::vector<Point3>>;

// A sequence of insertions: each step is one bulk call, or single calls when
// bSingle.
struct Scenario
{
	friend void PrintTo(const Scenario& s, std::ostream* os) { *os << s.name; }
	const char* name;
	std::function<Steps()> make;
	bool bSingle;
};

using MeshFamily = ::testing::TestWithParam<Scenario>;

} // namespace

TEST(BruteForce, SmallRandomSetsBulkAndSingly)
{
	std::mt19937 rng(20240611);
	for(int round = 0; round < 60; ++round)
	{
		const size_t n(5 + size_t(round) % 36);
		std::vector<Point3> vPoints(randomPoints(n, rng, -10.0, 10.0));
		std::vector<std::array<int, 4>> vExpected(vtest::bruteForceDelaunay(vPoints));
		std::sort(vExpected.begin(), vExpected.end());
		Vorn_3D vorn;
		std::vector<Point3*> vHandles;
		vtest::StdoutCapture quiet;
		// Every third set: a first bulk of six, then single insertions.
		const size_t numBulk(round % 3 == 0 && n >= 8 ? 6 : n);
		std::vector<Point3> vFirst(vPoints.begin(), vPoints.begin() + long(numBulk));
		vorn.insert(vFirst, vHandles);
		for(size_t i = numBulk; i < n; ++i) vHandles.push_back(vorn.insert(vPoints[i]));
		ASSERT_EQ(vHandles.size(), n);
		ASSERT_EQ(cellsAsIndices(vorn, vHandles), vExpected) << "round " << round << ", n=" << n;
	}
}

// Whatever the input, the mesh is the exact Delaunay mesh of the distinct
// input points, with a closed convex hull; the library's own check agrees.
TEST_P(MeshFamily, IsAValidDelaunayMeshOfTheDistinctInputPoints)
{
	Vorn_3D vorn;
	std::vector<Point3> vAll;
	vtest::StdoutCapture quiet; // long walks may print the watchdog's line
	for(std::vector<Point3>& vStep : GetParam().make())
	{
		if(GetParam().bSingle)
			for(Point3& p : vStep) vorn.insert(p);
		else vorn.insert(vStep);
		vAll.insert(vAll.end(), vStep.begin(), vStep.end());
	}
	EXPECT_TRUE(vorn.checkValidity("family", true));
	EXPECT_EQ(vtest::checkMeshOf(vorn, vAll), "");
}

INSTANTIATE_TEST_SUITE_P(Families, MeshFamily,
	::testing::Values(Scenario{"random3000", [] { return Steps{randomPoints(3000, 1)}; }, false},
		Scenario{"threeBulkCalls", [] { return Steps{randomPoints(500, 2), randomPoints(20, 3, 3.0), randomPoints(700, 4)}; }, false},
		Scenario{"singlesOnly", [] { return Steps{randomPoints(400, 5, 2.0)}; }, true},
		Scenario{"singlesAfterBulk", [] { return Steps{randomPoints(5, 6), randomPoints(300, 7, 3.0)}; }, true},
		Scenario{"integerGrid", [] { return Steps{grid(9, 9, 9)}; }, false},
		Scenario{"flatAndThinGrids", [] { return Steps{grid(12, 12, 1), grid(2, 12, 12, 0.5), grid(30, 2, 2, 0.25)}; }, false},
		Scenario{"gridSingly", [] { return Steps{shuffled(grid(5, 5, 5, 0.5), 2)}; }, true},
		Scenario{"sphereWithCentre", [] { return Steps{onSphere(400, 3), {Point3(0, 0, 0)}}; }, false},
		Scenario{"twoParallelPlanes",
			[] {
				std::vector<Point3> v(grid(10, 10, 1));
				for(const Point3& p : grid(7, 7, 1, 1.5)) v.push_back(Point3(p.x() + 0.3, p.y() + 0.1, 5.0));
				return Steps{v};
			},
			false},
		Scenario{"coplanarThenLift", [] { return Steps{grid(8, 8, 1), {Point3(3.5, 3.5, 1.0)}, grid(3, 3, 1, 2.0)}; }, false},
		Scenario{"collinearAndDuplicatesFirst",
			[] { return Steps{grid(20, 1, 1), grid(20, 1, 1), {Point3(1, 1, 0), Point3(1, 1, 1), Point3(1, 1, 1)}, randomPoints(100, 8, 20.0)}; },
			false},
		Scenario{"halfDuplicates", [] { return Steps{withCopies(randomPoints(1000, 9), 500), randomPoints(500, 9)}; }, false},
		Scenario{"duplicatesSingly", [] { return Steps{withCopies(randomPoints(150, 10), 40)}; }, true},
		Scenario{"sortedAlongX",
			[] {
				std::vector<Point3> v(randomPoints(2000, 11));
				std::sort(v.begin(), v.end());
				return Steps{v};
			},
			false}),
	[](const ::testing::TestParamInfo<Scenario>& info) { return std::string(info.param.name); });

// Shapes that make the location walk long: boxes, slabs, needles and
// cylinders stretched along one axis, and lattices with every third point
// twice.
INSTANTIATE_TEST_SUITE_P(Shapes, MeshFamily,
	::testing::Values(Scenario{"BoxX", [] { return Steps{inBox(4000, 1000, 1, 1)}; }, false},
		Scenario{"BoxY", [] { return Steps{inBox(4000, 1, 1000, 1)}; }, false},
		Scenario{"BoxZ", [] { return Steps{inBox(4000, 1, 1, 1000)}; }, false},
		Scenario{"Pipeline", [] { return Steps{inBox(4000, 1e4, 1, 1)}; }, false},
		Scenario{"Ribbon", [] { return Steps{inBox(4000, 1000, 1, 0.001)}; }, false},
		Scenario{"ThinSlab", [] { return Steps{inBox(3000, 1, 1, 0.001)}; }, false},
		Scenario{"WideSlab", [] { return Steps{inBox(3000, 1000, 1000, 10)}; }, false},
		Scenario{"NeedleY", [] { return Steps{inBox(3000, 1e-3, 1e4, 1e-3)}; }, false},
		Scenario{"NeedleZ", [] { return Steps{inBox(3000, 1e-3, 1e-3, 1e4)}; }, false},
		Scenario{"CylinderX", [] { return Steps{inBox(3000, 1000, 1, 1, 0)}; }, false},
		Scenario{"CylinderY", [] { return Steps{inBox(3000, 1, 1000, 1, 1)}; }, false},
		Scenario{"LatticeX", [] { return Steps{withCopies(grid(60, 3, 2), 120)}; }, false},
		Scenario{"LatticeZ", [] { return Steps{withCopies(grid(2, 4, 50), 133)}; }, false}),
	[](const ::testing::TestParamInfo<Scenario>& info) { return std::string(info.param.name); });

// Magnitudes far from 1: a large offset, tiny, huge and subnormal
// coordinates, sets that mix many orders of magnitude.
INSTANTIATE_TEST_SUITE_P(Magnitudes, MeshFamily,
	::testing::Values(Scenario{"offset1e8", [] { return Steps{uniformIn(1000, 1u, 1e8, 1e8 + 1.0)}; }, false},
		Scenario{"near1e150", [] { return Steps{uniformIn(1000, 2u, 1e150, 2e150)}; }, false},
		Scenario{"near1em150", [] { return Steps{uniformIn(1000, 3u, 1e-150, 2e-150)}; }, false},
		Scenario{"near1e300", [] { return Steps{uniformIn(1000, 4u, 1e300, 1.7e300)}; }, false},
		Scenario{"near1em300", [] { return Steps{uniformIn(1000, 5u, -1e-300, 1e-300)}; }, false},
		Scenario{"subnormal", [] { return Steps{scaledGrid(1000, 6u, -1044)}; }, false},
		Scenario{"mixed1e30", [] { return Steps{mixedOrders(1000, 7u, -30.0, 30.0)}; }, false},
		Scenario{"mixedAll", [] { return Steps{mixedOrders(100, 8u, -320.0, 308.2)}; }, false}),
	[](const ::testing::TestParamInfo<Scenario>& info) { return std::string(info.param.name); });

// Scaling by a power of two keeps every predicate sign, so the scaled set
// has the same (unique, for points in general position) Delaunay mesh: the
// same cells as sets of input positions.
TEST(ScaledCopy, HasTheCellsOfTheUnscaledSet)
{
	auto cellsOf = [](int shift) {
		std::vector<Point3> vPoints(scaledGrid(500, 9u, shift));
		Vorn_3D vorn;
		std::vector<Point3*> vHandles;
		{
			vtest::StdoutCapture quiet;
			vorn.insert(vPoints, vHandles);
		}
		EXPECT_EQ(vtest::checkMeshOf(vorn, vPoints), "");
		return cellsAsIndices(vorn, vHandles);
	};
	const std::vector<std::array<int, 4>> vReference(cellsOf(0));
	for(int shift : {-1044, -700, 990}) EXPECT_EQ(cellsOf(shift), vReference) << "shift " << shift;
}

struct Mesh
{
	Vorn_3D vorn;
	std::vector<Point3> vInput;
	std::vector<Point3*> vHandles;
	std::vector<Tet3*> vTets;
	explicit Mesh(std::vector<Point3> v): vInput(std::move(v))
	{
		vtest::StdoutCapture quiet;
		vorn.insert(vInput, vHandles);
		vorn.getTetrahedra(vTets);
	}
};

// Points with even integer coordinates: midpoints and centroids stay exact.
std::vector<Point3> evenIntegerPoints(int n, unsigned seed)
{
	std::mt19937 rng(seed);
	std::uniform_int_distribution<int> dist(0, 40);
	std::vector<Point3> v;
	for(int i = 0; i < n; ++i) v.push_back(Point3(2 * dist(rng), 2 * dist(rng), 2 * dist(rng)));
	return v;
}

TEST(Queries, LocateInsideOnVertexEdgeFacetAndOutside)
{
	Mesh mesh(evenIntegerPoints(400, 21));
	int numInteriorFacets(0), numHullFacets(0);
	for(size_t t = 0; t < mesh.vTets.size(); t += 5)
	{
		Tet3* pTet(mesh.vTets[t]);
		const Point3 &a(*pTet->getCorner(0)), &b(*pTet->getCorner(1)), &c(*pTet->getCorner(2)), &d(*pTet->getCorner(3));
		const Point3 inside((a.x() + b.x() + c.x() + d.x()) / 4, (a.y() + b.y() + c.y() + d.y()) / 4,
			(a.z() + b.z() + c.z() + d.z()) / 4);
		EXPECT_EQ(mesh.vorn.locate(inside), pTet);
		Tet3* pAtCorner(mesh.vorn.locate(b));
		ASSERT_NE(pAtCorner, nullptr);
		EXPECT_TRUE(pAtCorner->hasVertex(b));
		// Centroid of facet 0: one of the two cells, or nothing on the hull.
		const Point3 onFacet((b.x() + c.x() + d.x()) / 3, (b.y() + c.y() + d.y()) / 3, (b.z() + c.z() + d.z()) / 3);
		if(vtest::exactOrientation(b, c, d, onFacet) != 0) continue;
		Tet3* pAtFacet(mesh.vorn.locate(onFacet));
		if(pTet->getOppTet(0) == nullptr)
		{
			EXPECT_EQ(pAtFacet, nullptr);
			++numHullFacets;
		}
		else
		{
			EXPECT_TRUE(pAtFacet == pTet || pAtFacet == pTet->getOppTet(0));
			++numInteriorFacets;
		}
	}
	EXPECT_GT(numInteriorFacets, 0);
	EXPECT_GT(numHullFacets, 0);
	EXPECT_EQ(mesh.vorn.locate(Point3(1e6, 0.0, 0.0)), nullptr);
	EXPECT_EQ(mesh.vorn.locate(Point3(NAN, 0.0, 0.0)), nullptr);
	EXPECT_EQ(mesh.vorn.locate(Point3(0.0, 0.0, INFINITY)), nullptr);
	Vorn_3D empty;
	EXPECT_EQ(empty.locate(Point3(0.0, 0.0, 0.0)), nullptr);
	EXPECT_FALSE(empty.is3D());
}

// Stars against a filter over all cells, also one too large for the linear
// search (the centre of points on a sphere); all cells against a plain walk.
TEST(Queries, StarsAndAllCellsAgreeWithIndependentWalks)
{
	std::vector<Point3> v(onSphere(300, 3));
	v.push_back(Point3(0, 0, 0));
	for(const Point3& p : randomPoints(200, 4, 0.5)) v.push_back(p);
	Mesh mesh(v);
	std::set<Tet3*> sSeen{mesh.vTets[0]};
	std::vector<Tet3*> vQueue{mesh.vTets[0]};
	for(size_t i = 0; i < vQueue.size(); ++i)
		for(int j = 0; j < 4; ++j)
			if(vQueue[i]->getOppTet(j) != nullptr && sSeen.insert(vQueue[i]->getOppTet(j)).second)
				vQueue.push_back(vQueue[i]->getOppTet(j));
	EXPECT_EQ(mesh.vTets, std::vector<Tet3*>(sSeen.begin(), sSeen.end()));
	size_t largest(0);
	for(size_t k = 0; k < mesh.vHandles.size(); k += 7)
	{
		Point3* pVtx(k < 300 ? mesh.vHandles[k] : mesh.vHandles[300]);
		std::vector<Tet3*> vStar, vFiltered;
		mesh.vorn.getTetsAroundVertex(pVtx, vStar);
		for(Tet3* pTet : mesh.vTets)
			if(pTet->hasVertex(pVtx)) vFiltered.push_back(pTet);
		EXPECT_EQ(vStar, vFiltered);
		largest = std::max(largest, vStar.size());
	}
	EXPECT_GT(largest, 100u);
	// A vertex that is no corner is reported.
	Vorn_3D flat;
	std::vector<Point3> vLine = {Point3(0, 0, 0), Point3(1, 0, 0), Point3(2, 0, 0)};
	std::vector<Point3*> vHandles;
	std::vector<Tet3*> vStar;
	vtest::StdoutCapture capture;
	flat.insert(vLine, vHandles);
	flat.getTetsAroundVertex(vHandles[0], vStar);
	EXPECT_EQ(capture.str(), "numPoints=3\n\n      Dt3::getTetsAroundVertex(), ERROR: pVtx does not belong to the triangulation\n");
	EXPECT_TRUE(vStar.empty());
}

// A mesh in the ordinary range locates, and takes as single points, points
// whose coordinates are tiny, subnormal or huge.
TEST(Queries, OrdinaryMeshLocatesAndInsertsPointsOfAnyMagnitude)
{
	Mesh mesh(uniformIn(800, 10u, -1.0, 1.0));
	std::vector<Point3> vAll(mesh.vInput), vQuery(mixedOrders(60, 11u, -330.0, -100.0));
	for(const Point3& q : vQuery)
	{
		const Tet3* pTet(mesh.vorn.locate(q));
		ASSERT_NE(pTet, nullptr);
		// q inside or on the cell: replacing any corner by q keeps the sign.
		for(int i = 0; i < 4; ++i)
		{
			Point3 c[4] = {*pTet->getCorner(0), *pTet->getCorner(1), *pTet->getCorner(2), *pTet->getCorner(3)};
			c[i] = q;
			EXPECT_GE(vtest::exactOrientation(c[0], c[1], c[2], c[3]), 0);
		}
	}
	EXPECT_EQ(mesh.vorn.locate(Point3(1e300, 0.0, 0.0)), nullptr);
	vQuery.push_back(Point3(1e300, -1e-300, 0.5));
	vAll.insert(vAll.end(), vQuery.begin(), vQuery.end());
	vtest::StdoutCapture quiet;
	for(Point3& p : vQuery) mesh.vorn.insert(p);
	EXPECT_EQ(vtest::checkMeshOf(mesh.vorn, vAll), "");
}

// On a box long in one axis (the parameter), bulk insertions that stretch the
// box, single insertions (new points and copies) and locate calls take turns.
// Every answer of locate is checked exactly: a live cell that holds the query
// (or has it as a corner), or null only for a query beyond a hull facet. So a
// start for a walk that is a removed cell, or no cell of this mesh, shows.
using LongBoxQueries = ::testing::TestWithParam<int>;

TEST_P(LongBoxQueries, InterleavedInsertionsAndLocatesAgreeWithExactOracles)
{
	const int axis(GetParam());
	std::mt19937 rng(77u + unsigned(axis));
	std::uniform_real_distribution<double> u(0.0, 1.0);
	double length(0.0);
	// A point of the box [0,1]^3 stretched to `length` along the axis.
	auto boxPoint = [&](double lo, double hi) {
		double c[3] = {u(rng), u(rng), u(rng)};
		c[axis] = lo + (hi - lo) * c[axis];
		return Point3(c[0], c[1], c[2]);
	};
	Vorn_3D vorn;
	std::vector<Point3> vAll;
	std::vector<Tet3*> vTets;
	// q beyond facet i of pCell: the cell with q in place of corner i is negative.
	auto beyond = [](const Tet3* pCell, int i, const Point3& q) {
		Point3 c[4] = {*pCell->getCorner(0), *pCell->getCorner(1), *pCell->getCorner(2), *pCell->getCorner(3)};
		c[i] = q;
		return vtest::exactOrientation(c[0], c[1], c[2], c[3]) < 0;
	};
	auto checkLocate = [&](const Point3& q) {
		const Tet3* pTet(vorn.locate(q));
		if(pTet == nullptr)
		{
			for(const Tet3* pCell : vTets)
				for(int i = 0; i < 4; ++i)
					if(pCell->getOppTet(i) == nullptr && beyond(pCell, i, q)) return std::string();
			return std::string("null for a point inside the hull");
		}
		if(!std::binary_search(vTets.begin(), vTets.end(), pTet)) return std::string("a cell that is not in the mesh");
		for(int i = 0; i < 4; ++i)
			if(beyond(pTet, i, q)) return std::string("a cell that does not hold it");
		return std::string();
	};
	vtest::StdoutCapture quiet;
	for(int round = 0; round < 4; ++round)
	{
		// Each round's bulk reaches further along the axis: a larger box.
		const double lo(length);
		length = 60.0 * (round + 1);
		std::vector<Point3> vBulk;
		for(int i = 0; i < 400 * (round + 1); ++i) vBulk.push_back(boxPoint(round == 0 ? 0.0 : lo * 0.5, length));
		vorn.insert(vBulk);
		vAll.insert(vAll.end(), vBulk.begin(), vBulk.end());
		for(int i = 0; i < 30; ++i)
		{
			// New points, a copy of an earlier point, and one beyond the box.
			Point3 p(i % 5 == 0 ? vAll[size_t(rng() % vAll.size())] : boxPoint(0.0, i % 7 == 0 ? 1.2 * length : length));
			const Point3* pVtx(vorn.insert(p));
			vAll.push_back(p);
			vTets.clear();
			vorn.getTetrahedra(vTets);
			const Tet3* pAtVertex(vorn.locate(p));
			ASSERT_TRUE(pAtVertex != nullptr && pAtVertex->hasVertex(pVtx)) << "round " << round << ", single " << i;
			for(const Point3& q : {boxPoint(0.0, length), boxPoint(-0.1 * length, 1.3 * length)})
				ASSERT_EQ(checkLocate(q), "") << "round " << round << ", query " << q;
		}
	}
	EXPECT_EQ(vtest::checkMeshOf(vorn, vAll), "");
}

INSTANTIATE_TEST_SUITE_P(Axes, LongBoxQueries, ::testing::Values(0, 1, 2));

TEST(Messages, InsertionReportsWarningsAndTheFirstCell)
{
	Vorn_3D vorn;
	std::vector<Point3> v(evenIntegerPoints(20, 41)), v2(evenIntegerPoints(5, 42)), vNone;
	std::vector<Point3*> vHandles, vNoHandles;
	std::vector<Tet3*> vTets;
	{
		vtest::StdoutCapture capture;
		vorn.getTetrahedra(vTets);
		EXPECT_EQ(capture.str(), "Dt3::getAllTetrahedra(), oneTet==NULL\n");
	}
	{
		vtest::StdoutCapture capture;
		vorn.insert(v, vHandles);
		vorn.insert(v2, vHandles);
		vorn.setVerbosity(true);
		vorn.insert(vNone, vNoHandles);
		vorn.setVerbosity(false);
		EXPECT_EQ(capture.str(), "numPoints=20\n\n      Dt3::insert(), WARNING: vUserHandles is not empty as it should be\n"
								 "numPoints=5\nDt3::insert(vector,vector) has been called\nnumPoints=0\n");
		EXPECT_EQ(vHandles.size(), 5u);
	}
	// Four coplanar points are held quietly; the fifth builds the first cell.
	Vorn_3D single;
	std::vector<Point3> w = {Point3(0, 0, 0), Point3(1, 0, 0), Point3(0, 1, 0), Point3(1, 1, 0), Point3(0, 0, 1)};
	vtest::StdoutCapture capture;
	for(Point3& p : w) single.insert(p);
	EXPECT_EQ(capture.str(), "Attention: triangulate has got an empty vector\n");
	EXPECT_TRUE(single.is3D());
	single.getTetrahedra(vTets);
	EXPECT_EQ(vTets.size(), 1u);
	// A failed condition reaches the caller.
	EXPECT_THROW(single.getTetrahedra(vTets), VornException);
	EXPECT_NE(capture.str().find("Condition [ vTet.empty() failed ]"), std::string::npos);
}

TEST(Messages, NonFiniteCoordinatesAreRejectedWithoutLoss)
{
	Mesh mesh(evenIntegerPoints(200, 61));
	const double bad[3] = {NAN, INFINITY, -INFINITY};
	for(int k = 0; k < 3; ++k)
	{
		std::vector<Point3> vInput(evenIntegerPoints(30, 62));
		vInput[17] = Point3(k == 0 ? bad[k] : 1.0, k == 1 ? bad[k] : 2.0, k == 2 ? bad[k] : 3.0);
		std::vector<Point3*> vHandles(3, mesh.vHandles[0]);
		{
			vtest::StdoutCapture capture;
			// Rejected input has its own type, derived from VornException,
			// and carries the message it printed.
			try
			{
				mesh.vorn.insert(vInput, vHandles);
				ADD_FAILURE() << "no exception";
			}
			catch(const VornInputError& e)
			{
				EXPECT_STREQ(e.detail(), "Dt3::insert(), ERROR: non-finite coordinate in input point 17");
			}
			EXPECT_THROW(mesh.vorn.insert(vInput[17]), VornException);
			EXPECT_EQ(capture.str(), "\n      Dt3::insert(), ERROR: non-finite coordinate in input point 17\n"
									 "\n      Dt3::insert(), ERROR: non-finite coordinate in input point 0\n");
		}
		EXPECT_EQ(vHandles, std::vector<Point3*>(3, mesh.vHandles[0]));
		std::vector<Tet3*> vTets;
		mesh.vorn.getTetrahedra(vTets);
		EXPECT_EQ(vTets, mesh.vTets);
	}
	EXPECT_EQ(vtest::checkMesh(mesh.vorn), "");
}

// The walk's codes on one cell: -1 inside, -2 on a corner, else the hull
// facet that sees the point (on a hull facet's plane: that facet).
TEST(Kernel, WalkCodesOnOneCell)
{
	Dt3 dt(nullptr);
	std::vector<Point3> v = {Point3(0, 0, 0), Point3(4, 0, 0), Point3(0, 4, 0), Point3(0, 0, 4)};
	std::vector<Point3*> vHandles;
	std::vector<Tet3*> vTets;
	{
		vtest::StdoutCapture quiet;
		dt.insert(v, vHandles);
		dt.getAllTetrahedra(vTets);
	}
	Tet3* pTet(vTets.at(0));
	const Point3 inside(1, 1, 1);
	EXPECT_EQ(dt.locateConflictTet(&inside, pTet), -1);
	for(Point3* pCorner : vHandles)
	{
		const Point3 copy(*pCorner);
		pTet = vTets[0];
		EXPECT_EQ(dt.locateConflictTet(&copy, pTet), -2);
	}
	for(const Point3& outside : {Point3(-1, 1, 1), Point3(1, -1, 1), Point3(1, 1, -1), Point3(3, 3, 3)})
	{
		pTet = vTets[0];
		const int code(dt.locateConflictTet(&outside, pTet));
		ASSERT_GE(code, 0);
		int a, b, c;
		pTet->getFacetIndices(code, a, b, c);
		const Point3 &pa(*pTet->getCorner(a)), &pb(*pTet->getCorner(b)), &pc(*pTet->getCorner(c));
		EXPECT_EQ(vtest::exactOrientation(pa, pb, pc, *pTet->getCorner(code)), -1);
		EXPECT_GE(vtest::exactOrientation(pa, pb, pc, outside), 0);
	}
	// In the plane of the hull facet z = 0: that facet; on a hull edge: one
	// of the two hull facets at it.
	for(const Point3& onHull : {Point3(1, 1, 0), Point3(2, 0, 0)})
	{
		pTet = vTets[0];
		const int code(dt.locateConflictTet(&onHull, pTet));
		ASSERT_GE(code, 0);
		const Point3 opposite(*pTet->getCorner(code));
		EXPECT_TRUE(opposite == Point3(0, 0, 4) || (onHull.y() == 0 && opposite == Point3(0, 4, 0)));
	}
}

// A rod of 4 * 10^4 points: from one end to the other is a walk of more
// tests than one call may take; the walk and an insertion must still end right.
TEST(Kernel, LongWalkContinuesPastTheWatchdog)
{
	Point3 extra;
	Dt3 dt(nullptr);
	std::vector<Point3> v(inBox(40000, 4e4, 1, 1, -1, 4));
	std::vector<Point3*> vHandles;
	vtest::StdoutCapture out;
	dt.insert(v, vHandles);
	const auto ends(std::minmax_element(
		vHandles.begin(), vHandles.end(), [](const Point3* p, const Point3* q) { return p->x() < q->x(); }));
	std::vector<Tet3*> vNear, vFar;
	dt.getTetsAroundVertex(*ends.first, vNear);
	dt.getTetsAroundVertex(*ends.second, vFar);
	Tet3* const pNear(vNear.at(0));
	const Point3 *a(vFar[0]->getCorner(0)), *b(vFar[0]->getCorner(1)), *c(vFar[0]->getCorner(2)), *d(vFar[0]->getCorner(3));
	const Point3 q((a->x() + b->x() + c->x() + d->x()) / 4, (a->y() + b->y() + c->y() + d->y()) / 4,
		(a->z() + b->z() + c->z() + d->z()) / 4);
	Tet3* pTet(pNear);
	EXPECT_EQ(dt.locateConflictTet(&q, pTet), -99);
	pTet = pNear;
	ASSERT_EQ(dt.locateComplete(&q, pTet), -1);
	for(int i = 0; i < 4; ++i)
	{
		Point3 corner[4] = {*pTet->getCorner(0), *pTet->getCorner(1), *pTet->getCorner(2), *pTet->getCorner(3)};
		corner[i] = q;
		EXPECT_GE(vtest::exactOrientation(corner[0], corner[1], corner[2], corner[3]), 0);
	}
	// An insertion whose walk starts at the other end used to fail.
	extra = q;
	std::vector<Point3*> vNew{&extra}, vAll;
	dt.triangulate(vNew, pNear);
	EXPECT_NE(out.str().find("watchDog: bad point"), std::string::npos);
	dt.getVertices(vAll);
	vAll.push_back(&extra);
	std::vector<Tet3*> vTets;
	dt.getAllTetrahedra(vTets);
	EXPECT_EQ(vtest::checkMesh(vTets, vAll), "");
	Tet3* pFound(dt.locate(q));
	ASSERT_NE(pFound, nullptr);
	EXPECT_GE(pFound->getIntraTetIndex(&extra), 0);
}

namespace {

size_t countOf(const std::string& text, const std::string& what)
{
	size_t n(0);
	for(size_t pos = text.find(what); pos != std::string::npos; pos = text.find(what, pos + 1)) ++n;
	return n;
}

// Five points whose Delaunay mesh is three cells around the edge de, rebuilt
// by hand as the non-Delaunay pair abcd, acbe across the facet abc (the third
// cell leaves the way the kernel removes cells: flagged as visited).
struct FlippedPair
{
	Dt3 dt;
	std::vector<Point3*> v;
	Tet3* pT1;
	Tet3* pT2;
	FlippedPair(): dt(nullptr)
	{
		std::vector<Point3> vIn = {Point3(0, 0, 0), Point3(4, 0, 0), Point3(0, 4, 0), Point3(1, 1, 1), Point3(1, 1, -1)};
		std::vector<Tet3*> vTets;
		vtest::StdoutCapture quiet;
		dt.insert(vIn, v);
		EXPECT_TRUE(dt.checkValidity("three", true, true));
		dt.getAllTetrahedra(vTets);
		pT1 = vTets.at(0);
		pT2 = vTets.at(1);
		vTets.at(2)->hasBeenVisited = true;
		pT1->setProperties(v[0], v[1], v[2], v[3]);
		pT2->setProperties(v[0], v[2], v[1], v[4]);
		pT1->setOppTet(3, pT2);
		pT2->setOppTet(3, pT1);
	}
	// The name the next fault file gets (asking uses a number up).
	std::string nextFile(const std::string& name) const
	{
		char buffer[16];
		snprintf(buffer, sizeof(buffer), "%05d_", std::stoi(Dt3::nextFileNumber()) + 1);
		return buffer + name;
	}
};

} // namespace

TEST(CheckValidity, NonDelaunayPairFailsOnlyWithTheSphereTest)
{
	FlippedPair pair;
	{
		vtest::StdoutCapture quiet;
		EXPECT_TRUE(pair.dt.checkValidity("two", true, false));
	}
	const std::string fileName(pair.nextFile("sphereIncBug.list"));
	vtest::StdoutCapture capture;
	EXPECT_FALSE(pair.dt.checkValidity("two", true, true));
	EXPECT_NE(capture.str().find("checkValidity: ERROR ERROR ERROR"), std::string::npos);
	EXPECT_NE(capture.str().find("Dt3::checkValidity, HUH - sphereIncTest failed: "), std::string::npos);
	const std::string scene(vtest::readFile(fileName));
	EXPECT_EQ(countOf(scene, "OFF"), 4u);
	EXPECT_EQ(countOf(scene, "1 1 1 0.5"), 1u);
	EXPECT_EQ(countOf(scene, "SPHERE "), 1u);
	std::remove(fileName.c_str());
	// Through the facade, the flag switches both tests.
	Vorn_3D vorn;
	std::vector<Point3> v(randomPoints(100, 5));
	vorn.insert(v);
	EXPECT_TRUE(vorn.checkValidity("facade", true));
	EXPECT_NE(capture.str().find("   with --checkSphereInc\n"), std::string::npos);
}

TEST(CheckValidity, NeighbourOnTheWrongSideOrInThePlaneFails)
{
	for(bool bCoplanar : {false, true})
	{
		FlippedPair pair;
		// The far corner of pT2 becomes d (on pT1's own side) or a point in
		// the plane of abc.
		Point3 flat(1, 1, 0);
		pair.pT2->setCorner(3, bCoplanar ? &flat : pair.v[3]);
		const std::string fileName(pair.nextFile("negSideBug.list"));
		vtest::StdoutCapture capture;
		EXPECT_FALSE(pair.dt.checkValidity("wrong side", true, false));
		const std::string out(capture.str());
		EXPECT_NE(out.find("ERROR: checkValidity at [wrong side]"), std::string::npos);
		EXPECT_NE(out.find(bCoplanar ? "checkValidity: coplanar\n" : "checkValidity: positive\n"), std::string::npos);
		EXPECT_NE(out.find("  Dt3::show(): vTets.size()=2\n"), std::string::npos);
		EXPECT_EQ(countOf(vtest::readFile(fileName), "OFF"), 8u);
		std::remove(fileName.c_str());
	}
	FlippedPair pair;
	pair.pT1->hasBeenVisited = true;
	vtest::StdoutCapture capture;
	EXPECT_THROW(pair.dt.checkValidity("dirty", true, true), VornException);
	EXPECT_NE(capture.str().find("\n      Dt3::CheckValidity(), ERROR: pcurrentTet->hasBeenvisited=true\n"), std::string::npos);
}

// In a fresh process the first cell is numbered 1000 and the first fault
// file 00000.
TEST(CheckValidity, FirstCellAndFaultFileOfAProcessAreNumbered1000AndZero)
{
	GTEST_FLAG_SET(death_test_style, "threadsafe");
	EXPECT_EXIT(
		{
			bool bFirstCell;
			bool bPassed;
			std::remove("00000_sphereIncBug.list");
			{
				vtest::StdoutCapture quiet;
				bFirstCell = Tet3().getID() == 1000;
				FlippedPair pair;
				bPassed = pair.dt.checkValidity("fresh", true, true);
			}
			const bool bFound(!vtest::readFile("00000_sphereIncBug.list").empty());
			std::remove("00000_sphereIncBug.list");
			exit(bFirstCell && !bPassed && bFound ? 0 : 1);
		},
		::testing::ExitedWithCode(0), "");
}
