// The kernel's result against oracles that share none of its code: the
// brute-force Delaunay tetrahedralisation of small sets, and the structural
// and exact geometric invariants of the mesh on degenerate and adversarial
// input.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <random>
#include <vector>

#include "BruteForceDelaunay.h"
#include "MeshInvariants.h"
#include "StdoutCapture.h"
#include "Vorn_3D.h"
#include "RandomPoints.h"

using VORN3D::Point3;
using VORN3D::Tet3;
using VORN3D::Vorn_3D;

using vtest::randomPoints;

namespace {

std::vector<Point3> grid(int nx, int ny, int nz, double step = 1.0)
{
	std::vector<Point3> v;
	for(int i = 0; i < nx; ++i)
	{
		for(int j = 0; j < ny; ++j)
		{
			for(int k = 0; k < nz; ++k) v.push_back(Point3(i * step, j * step, k * step));
		}
	}
	return v;
}

// The cells as sorted quadruples of input indices.
std::vector<std::array<int, 4>> cellsAsIndices(const Vorn_3D& vorn, const std::vector<Point3*>& vHandles)
{
	std::map<const Point3*, int> mIndex;
	for(size_t i = 0; i < vHandles.size(); ++i) mIndex.emplace(vHandles[i], static_cast<int>(i));
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

// Bulk insertion with output silenced; the mesh is then checked in full.
void insertQuiet(Vorn_3D& vorn, std::vector<Point3>& vPoints, std::vector<Point3*>& vHandles)
{
	vtest::StdoutCapture quiet;
	vorn.insert(vPoints, vHandles);
}

void expectValid(const Vorn_3D& vorn, const std::vector<Point3>& vInput, size_t numExpectedVertices)
{
	vtest::MeshStats stats;
	std::string fault;
	{
		vtest::StdoutCapture quiet;
		fault = vtest::checkMesh(vorn, true, &stats);
	}
	EXPECT_EQ(fault, "");
	EXPECT_EQ(stats.numVertices, numExpectedVertices);
	std::string coverage;
	{
		vtest::StdoutCapture quiet;
		coverage = vtest::checkInputCovered(vorn, vInput);
	}
	EXPECT_EQ(coverage, "");
}

} // namespace

TEST(BruteForce, SmallRandomSetsMatchTheExactDelaunayTetrahedralisation)
{
	std::mt19937 rng(20240611);
	for(int round = 0; round < 60; ++round)
	{
		const size_t n(5 + static_cast<size_t>(round) % 36);
		std::vector<Point3> vPoints(randomPoints(n, rng, -10.0, 10.0));
		Vorn_3D vorn;
		std::vector<Point3*> vHandles;
		insertQuiet(vorn, vPoints, vHandles);
		ASSERT_EQ(vHandles.size(), n);
		std::vector<std::array<int, 4>> vExpected(vtest::bruteForceDelaunay(vPoints));
		std::sort(vExpected.begin(), vExpected.end());
		ASSERT_EQ(cellsAsIndices(vorn, vHandles), vExpected) << "round " << round << ", n=" << n;
	}
}

TEST(BruteForce, SingleInsertionsAfterAFirstBulkMatchToo)
{
	std::mt19937 rng(77);
	for(int round = 0; round < 12; ++round)
	{
		std::vector<Point3> vPoints(randomPoints(8 + round * 2, rng));
		std::vector<Point3> vFirst(vPoints.begin(), vPoints.begin() + 6);
		Vorn_3D vorn;
		std::vector<Point3*> vHandles;
		insertQuiet(vorn, vFirst, vHandles);
		for(size_t i = 6; i < vPoints.size(); ++i) vHandles.push_back(vorn.insert(vPoints[i]));
		std::vector<std::array<int, 4>> vExpected(vtest::bruteForceDelaunay(vPoints));
		std::sort(vExpected.begin(), vExpected.end());
		ASSERT_EQ(cellsAsIndices(vorn, vHandles), vExpected) << "round " << round;
	}
}

TEST(Invariants, RandomBulkInsertion)
{
	std::mt19937 rng(1);
	std::vector<Point3> vPoints(randomPoints(3000, rng));
	Vorn_3D vorn;
	std::vector<Point3*> vHandles;
	insertQuiet(vorn, vPoints, vHandles);
	expectValid(vorn, vPoints, vPoints.size());
}

TEST(Invariants, SeveralBulkCallsAndSingleInsertionsMixed)
{
	std::mt19937 rng(2);
	std::vector<Point3> vAll;
	Vorn_3D vorn;
	for(int call = 0; call < 4; ++call)
	{
		// Each call covers a different region, so later calls extend the
		// hull as well as fill it.
		std::vector<Point3> vPoints(randomPoints(400, rng, call * 0.5, call * 0.5 + 1.0));
		std::vector<Point3*> vHandles;
		insertQuiet(vorn, vPoints, vHandles);
		vAll.insert(vAll.end(), vPoints.begin(), vPoints.end());
		std::vector<Point3> vSingles(randomPoints(50, rng, -1.0, 3.0));
		for(Point3& p : vSingles) vorn.insert(p);
		vAll.insert(vAll.end(), vSingles.begin(), vSingles.end());
	}
	expectValid(vorn, vAll, vAll.size());
}

TEST(Invariants, SingleInsertionsOnly)
{
	// Before the mesh is 3D a single insertion only stores its point; once
	// the first cell exists the points held back until then stay out.
	std::mt19937 rng(3);
	std::vector<Point3> vPoints(randomPoints(800, rng));
	Vorn_3D vorn;
	for(Point3& p : vPoints)
	{
		vtest::StdoutCapture quiet;
		vorn.insert(p);
	}
	EXPECT_TRUE(vorn.is3D());
	vtest::MeshStats stats;
	std::string fault;
	{
		vtest::StdoutCapture quiet;
		fault = vtest::checkMesh(vorn, true, &stats);
	}
	EXPECT_EQ(fault, "");
	EXPECT_EQ(stats.numVertices, vPoints.size());
}

TEST(Degenerate, IntegerGrids)
{
	for(int n : {2, 3, 5, 12, 30})
	{
		std::vector<Point3> vPoints(grid(n, n, n));
		Vorn_3D vorn;
		std::vector<Point3*> vHandles;
		insertQuiet(vorn, vPoints, vHandles);
		SCOPED_TRACE("grid " + std::to_string(n));
		expectValid(vorn, vPoints, vPoints.size());
	}
}

TEST(Degenerate, FlatAndThinGrids)
{
	// Boxes with one or two short sides: many coplanar hull facets.
	for(std::array<int, 3> dims : {std::array<int, 3>{20, 20, 2}, {40, 2, 2}, {2, 15, 9}, {7, 1, 1}})
	{
		std::vector<Point3> vPoints(grid(dims[0], dims[1], dims[2], 0.25));
		Vorn_3D vorn;
		std::vector<Point3*> vHandles;
		insertQuiet(vorn, vPoints, vHandles);
		SCOPED_TRACE(std::to_string(dims[0]) + "x" + std::to_string(dims[1]) + "x" + std::to_string(dims[2]));
		if(dims[1] == 1)
		{
			EXPECT_FALSE(vorn.is3D());
			continue;
		}
		expectValid(vorn, vPoints, vPoints.size());
	}
}

TEST(Degenerate, PointsOnASphere)
{
	// Exactly cospherical in floating point: Pythagorean directions scaled.
	std::vector<Point3> vPoints;
	const int r(65);
	for(int x = -r; x <= r; ++x)
	{
		for(int y = -r; y <= r; ++y)
		{
			const int zz(r * r - x * x - y * y);
			if(zz < 0) continue;
			const int z(static_cast<int>(std::lround(std::sqrt(static_cast<double>(zz)))));
			if(z * z != zz) continue;
			vPoints.push_back(Point3(x, y, z));
			if(z != 0) vPoints.push_back(Point3(x, y, -z));
		}
	}
	ASSERT_GT(vPoints.size(), 100u);
	Vorn_3D vorn;
	std::vector<Point3*> vHandles;
	insertQuiet(vorn, vPoints, vHandles);
	expectValid(vorn, vPoints, vPoints.size());

	// And points on a sphere given by rounded trigonometry.
	std::mt19937 rng(4);
	std::normal_distribution<double> normal;
	std::vector<Point3> vRound;
	for(int i = 0; i < 2000; ++i)
	{
		const double x(normal(rng)), y(normal(rng)), z(normal(rng));
		const double len(std::sqrt(x * x + y * y + z * z));
		vRound.push_back(Point3(x / len, y / len, z / len));
	}
	Vorn_3D vorn2;
	vHandles.clear();
	insertQuiet(vorn2, vRound, vHandles);
	expectValid(vorn2, vRound, vRound.size());
}

TEST(Degenerate, TwoParallelPlanes)
{
	std::mt19937 rng(5);
	std::uniform_real_distribution<double> dist(0.0, 1.0);
	std::vector<Point3> vPoints;
	for(int i = 0; i < 1500; ++i) vPoints.push_back(Point3(dist(rng), dist(rng), (i % 2) ? 0.0 : 1.0));
	Vorn_3D vorn;
	std::vector<Point3*> vHandles;
	insertQuiet(vorn, vPoints, vHandles);
	expectValid(vorn, vPoints, vPoints.size());
}

TEST(Degenerate, CoplanarSetThenOnePointLiftsIt)
{
	std::vector<Point3> vPoints(grid(6, 6, 1));
	Vorn_3D vorn;
	std::vector<Point3*> vHandles;
	insertQuiet(vorn, vPoints, vHandles);
	EXPECT_FALSE(vorn.is3D());
	std::vector<Tet3*> vTets;
	{
		vtest::StdoutCapture quiet;
		vorn.getTetrahedra(vTets);
	}
	EXPECT_TRUE(vTets.empty());

	// A bulk call with one lifting point brings every held point in.
	std::vector<Point3> vLift = {Point3(2.5, 2.5, 1.0)};
	std::vector<Point3*> vLiftHandle;
	insertQuiet(vorn, vLift, vLiftHandle);
	EXPECT_TRUE(vorn.is3D());
	std::vector<Point3> vAll(vPoints);
	vAll.push_back(vLift[0]);
	expectValid(vorn, vAll, vAll.size());
}

TEST(Degenerate, CollinearAndDuplicateOnlyInput)
{
	std::vector<Point3> vLine;
	for(int i = 0; i < 30; ++i) vLine.push_back(Point3(i, 2.0 * i, -i));
	Vorn_3D vorn;
	std::vector<Point3*> vHandles;
	insertQuiet(vorn, vLine, vHandles);
	EXPECT_FALSE(vorn.is3D());
	std::vector<Point3*> vVertices;
	vorn.getVertices(vVertices);
	EXPECT_EQ(vVertices.size(), 30u);

	std::vector<Point3> vSame(50, Point3(1.0, 2.0, 3.0));
	Vorn_3D vorn2;
	std::vector<Point3*> vHandles2;
	insertQuiet(vorn2, vSame, vHandles2);
	EXPECT_FALSE(vorn2.is3D());
	ASSERT_EQ(vHandles2.size(), 50u);
	for(Point3* p : vHandles2) EXPECT_EQ(p, vHandles2[0]);
	vVertices.clear();
	vorn2.getVertices(vVertices);
	EXPECT_EQ(vVertices.size(), 1u);
}

TEST(Degenerate, TenAndFiftyPercentDuplicates)
{
	std::mt19937 rng(6);
	for(int percent : {10, 50})
	{
		std::vector<Point3> vPoints(randomPoints(2000, rng));
		std::uniform_int_distribution<size_t> pick(0, vPoints.size() - 1);
		const size_t numDup(vPoints.size() * static_cast<size_t>(percent) / 100);
		for(size_t i = 0; i < numDup; ++i) vPoints[pick(rng)] = vPoints[pick(rng)];
		Vorn_3D vorn;
		std::vector<Point3*> vHandles;
		insertQuiet(vorn, vPoints, vHandles);
		SCOPED_TRACE(std::to_string(percent) + "% duplicates");
		expectValid(vorn, vPoints, vtest::countDistinct(vPoints));
		// Equal points share one handle, distinct points have distinct ones.
		for(size_t i = 0; i < vPoints.size(); ++i)
		{
			EXPECT_EQ(*vHandles[i], vPoints[i]);
		}
		std::vector<Point3*> vUnique(vHandles);
		std::sort(vUnique.begin(), vUnique.end());
		vUnique.erase(std::unique(vUnique.begin(), vUnique.end()), vUnique.end());
		EXPECT_EQ(vUnique.size(), vtest::countDistinct(vPoints));
	}
}

TEST(Degenerate, InputSortedAlongX)
{
	std::mt19937 rng(7);
	std::vector<Point3> vPoints(randomPoints(3000, rng));
	std::sort(vPoints.begin(), vPoints.end());
	Vorn_3D vorn;
	std::vector<Point3*> vHandles;
	insertQuiet(vorn, vPoints, vHandles);
	expectValid(vorn, vPoints, vPoints.size());

	// Single insertions in x order: every point extends the hull.
	Vorn_3D vorn2;
	std::vector<Point3> vFirst(vPoints.begin(), vPoints.begin() + 4);
	std::vector<Point3*> vFirstHandles;
	insertQuiet(vorn2, vFirst, vFirstHandles);
	for(size_t i = 4; i < 1000; ++i) vorn2.insert(vPoints[i]);
	std::vector<Point3> vUsed(vPoints.begin(), vPoints.begin() + 1000);
	expectValid(vorn2, vUsed, vUsed.size());
}

TEST(Degenerate, GridPointsAddedSinglyAndInSeveralCalls)
{
	// A grid in slabs: each call is coplanar-heavy and extends the hull
	// across whole flat faces.
	Vorn_3D vorn;
	std::vector<Point3> vAll;
	for(int slab = 0; slab < 6; ++slab)
	{
		std::vector<Point3> vSlab;
		for(int i = 0; i < 8; ++i)
		{
			for(int j = 0; j < 8; ++j) vSlab.push_back(Point3(i, j, slab));
		}
		std::vector<Point3*> vHandles;
		insertQuiet(vorn, vSlab, vHandles);
		vAll.insert(vAll.end(), vSlab.begin(), vSlab.end());
	}
	for(int i = -1; i <= 8; i += 3)
	{
		for(int j = -1; j <= 8; j += 3)
		{
			Point3 p(i, j, 6.0);
			vorn.insert(p);
			vAll.push_back(p);
		}
	}
	expectValid(vorn, vAll, vtest::countDistinct(vAll));
}
