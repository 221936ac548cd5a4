// The cell queries against independent walks: getAllTetrahedra (a scan of the
// cell pool between insertions) must equal the address-ordered set of cells
// reachable through the neighbour links, on meshes whose pool holds many
// recycled cells; getTetsAroundVertex must equal the cells of the whole mesh
// that have the vertex as a corner, also for stars too large for its linear
// search.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <set>
#include <vector>

#include "Dt3.h"
#include "StdoutCapture.h"
#include "SimplePool.h"
#include "RandomPoints.h"

using VORN3D::Dt3;
using VORN3D::Point3;
using VORN3D::Tet3;

using vtest::randomPoints;

namespace {

// The reachable cells by a plain breadth-first walk with a std::set, written
// here so that it shares nothing with the kernel's code.
std::vector<Tet3*> reachableFrom(Tet3* pStart)
{
	std::set<Tet3*> sSeen{pStart};
	std::vector<Tet3*> vQueue{pStart};
	for(size_t i = 0; i < vQueue.size(); ++i)
	{
		for(int j = 0; j < 4; ++j)
		{
			Tet3* pOpp(vQueue[i]->getOppTet(j));
			if(pOpp != nullptr && sSeen.insert(pOpp).second) vQueue.push_back(pOpp);
		}
	}
	return std::vector<Tet3*>(sSeen.begin(), sSeen.end());
}

std::vector<Tet3*> allCells(Dt3& dt)
{
	std::vector<Tet3*> v;
	vtest::StdoutCapture quiet;
	dt.getAllTetrahedra(v);
	return v;
}

// getAllTetrahedra equals the walk from every vertex's cell, holds no removed
// cell and agrees with the live count; each star equals the filter.
void expectQueriesAgree(Dt3& dt)
{
	const std::vector<Tet3*> vAll(allCells(dt));
	ASSERT_FALSE(vAll.empty());
	EXPECT_TRUE(std::is_sorted(vAll.begin(), vAll.end()));
	EXPECT_EQ(vAll.size(), dt.getNumTets());
	std::vector<Point3*> vVertices;
	dt.getVertices(vVertices);
	Tet3* pStart(nullptr);
	for(Point3* pVtx : vVertices)
	{
		if(pVtx->getOneTet() != nullptr)
		{
			pStart = pVtx->getOneTet();
			break;
		}
	}
	ASSERT_NE(pStart, nullptr);
	EXPECT_EQ(vAll, reachableFrom(pStart));
	std::vector<Tet3*> vWalk;
	dt.collectReachableTets(pStart, vWalk);
	EXPECT_EQ(vAll, vWalk);
	for(const Tet3* pTet : vAll) EXPECT_FALSE(pTet->hasBeenVisited);
	// Stars of a sample of vertices.
	for(size_t i = 0; i < vVertices.size(); i += 1 + vVertices.size() / 40)
	{
		Point3* pVtx(vVertices[i]);
		if(pVtx->getOneTet() == nullptr) continue;
		std::vector<Tet3*> vExpected;
		for(Tet3* pTet : vAll)
		{
			for(int j = 0; j < 4; ++j)
			{
				if(pTet->getCorner(j) == pVtx) vExpected.push_back(pTet);
			}
		}
		std::vector<Tet3*> vStar;
		dt.getTetsAroundVertex(pVtx, vStar);
		EXPECT_EQ(vStar, vExpected) << "vertex " << i;
	}
}

} // namespace

TEST(AllCells, PoolScanEqualsTheWalkAfterBulkAndSingleInsertions)
{
	Dt3 dt(nullptr);
	std::vector<Point3*> vHandles;
	{
		vtest::StdoutCapture quiet;
		std::vector<Point3> v(randomPoints(3000, 5, 1.0));
		dt.insert(v, vHandles);
	}
	expectQueriesAgree(dt);
	// Single insertions inside and outside the hull, and duplicates: cells
	// are removed and reused in every one of them.
	std::vector<Point3> vMore(randomPoints(400, 6, 3.0));
	for(size_t i = 0; i < vMore.size(); ++i)
	{
		vtest::StdoutCapture quiet;
		dt.insert(vMore[i]);
		if(i % 7 == 0) dt.insert(vMore[i / 2]);
	}
	EXPECT_FALSE(dt.getFreeTets().empty() && dt.getDoomedTets().empty());
	expectQueriesAgree(dt);
	// A second bulk call over a larger box.
	{
		vtest::StdoutCapture quiet;
		std::vector<Point3> v(randomPoints(2000, 7, 10.0));
		vHandles.clear();
		dt.insert(v, vHandles);
	}
	expectQueriesAgree(dt);
}

TEST(AllCells, PoolScanEqualsTheWalkOnADegenerateGrid)
{
	Dt3 dt(nullptr);
	std::vector<Point3> v;
	for(int i = 0; i < 9; ++i)
	{
		for(int j = 0; j < 9; ++j)
		{
			for(int k = 0; k < 9; ++k) v.push_back(Point3(i, j, k));
		}
	}
	std::vector<Point3*> vHandles;
	{
		vtest::StdoutCapture quiet;
		dt.insert(v, vHandles);
	}
	expectQueriesAgree(dt);
}

TEST(AllCells, ALiveCellFlaggedVisitedIsFoundByTheWalk)
{
	// The pool scan would skip the flagged cell; the count tells and the
	// walk, which does not read the flags, lists it.
	Dt3 dt(nullptr);
	std::vector<Point3*> vHandles;
	{
		vtest::StdoutCapture quiet;
		std::vector<Point3> v(randomPoints(200, 9, 1.0));
		dt.insert(v, vHandles);
	}
	std::vector<Tet3*> vBefore(allCells(dt));
	ASSERT_GT(vBefore.size(), 5u);
	vBefore[3]->hasBeenVisited = true;
	EXPECT_EQ(allCells(dt), vBefore);
	vBefore[3]->hasBeenVisited = false;
}

TEST(Star, LargeStarOfACentreOnASphere)
{
	// The centre of points on a sphere is a corner of every cell; its star
	// exceeds the linear search and must still be complete and sorted.
	std::vector<Point3> v;
	std::mt19937 rng(3);
	std::normal_distribution<double> dist(0.0, 1.0);
	for(int i = 0; i < 300; ++i)
	{
		const double x(dist(rng)), y(dist(rng)), z(dist(rng));
		const double r(std::sqrt(x * x + y * y + z * z));
		v.push_back(Point3(x / r, y / r, z / r));
	}
	v.push_back(Point3(0.0, 0.0, 0.0));
	Dt3 dt(nullptr);
	std::vector<Point3*> vHandles;
	{
		vtest::StdoutCapture quiet;
		dt.insert(v, vHandles);
	}
	const std::vector<Tet3*> vAll(allCells(dt));
	Point3* pCentre(vHandles.back());
	std::vector<Tet3*> vExpected;
	for(Tet3* pTet : vAll)
	{
		if((pTet->getCorner(0) == pCentre || pTet->getCorner(1) == pCentre ||
				pTet->getCorner(2) == pCentre || pTet->getCorner(3) == pCentre))
			vExpected.push_back(pTet);
	}
	ASSERT_GT(vExpected.size(), 100u);
	std::vector<Tet3*> vStar;
	dt.getTetsAroundVertex(pCentre, vStar);
	EXPECT_EQ(vStar, vExpected);
}

TEST(FacetPairing, TableIsEmptyAfterEveryInsertionOutsideTheHull)
{
	// The new hull facets stay unpaired; the table is emptied by clearing
	// only the buckets of the records handed out, which must leave none.
	Dt3 dt(nullptr);
	std::vector<Point3*> vHandles;
	{
		vtest::StdoutCapture quiet;
		std::vector<Point3> v(randomPoints(50, 11, 1.0));
		dt.insert(v, vHandles);
	}
	// Points on growing shells: each one outside the current hull.
	std::mt19937 rng(12);
	std::normal_distribution<double> dist(0.0, 1.0);
	for(int i = 0; i < 300; ++i)
	{
		const double x(dist(rng)), y(dist(rng)), z(dist(rng));
		const double r(std::sqrt(x * x + y * y + z * z) / (2.0 + 0.01 * i));
		vtest::StdoutCapture quiet;
		dt.insert(Point3(0.5 + x / r, 0.5 + y / r, 0.5 + z / r));
		ASSERT_EQ(dt.getNumFilledBuckets(), 0u) << "insertion " << i;
		ASSERT_EQ(dt.getNumStoredTCS(), 0);
	}
	expectQueriesAgree(dt);
}

TEST(PoolBlocks, UsedBlocksCoverEveryObjectHandedOut)
{
	VORN3D::SimplePool<Tet3> pool;
	pool.init(28, -1);
	std::vector<Tet3*> vGot;
	for(int i = 0; i < 28 + 14 + 5; ++i) vGot.push_back(pool.alloc());
	std::vector<std::pair<Tet3*, size_t>> vBlocks;
	pool.getUsedBlocks(vBlocks);
	ASSERT_EQ(vBlocks.size(), 3u);
	EXPECT_EQ(vBlocks[0].second, 28u);
	EXPECT_EQ(vBlocks[1].second, 14u);
	EXPECT_EQ(vBlocks[2].second, 5u);
	std::vector<Tet3*> vListed;
	for(const auto& block : vBlocks)
	{
		for(size_t i = 0; i < block.second; ++i) vListed.push_back(block.first + i);
	}
	EXPECT_EQ(vListed, vGot);
}

TEST(PoolBlocks, AfterAResetOnlyTheFirstBlockIsInUse)
{
	VORN3D::SimplePool<Tet3> pool;
	pool.init(4, 3);
	for(int i = 0; i < 9; ++i) pool.alloc();
	pool.reset();
	std::vector<std::pair<Tet3*, size_t>> vBlocks;
	pool.getUsedBlocks(vBlocks);
	EXPECT_TRUE(vBlocks.empty());
	Tet3* pFirst(pool.alloc());
	for(int i = 0; i < 5; ++i) pool.alloc();
	pool.getUsedBlocks(vBlocks);
	ASSERT_EQ(vBlocks.size(), 2u);
	EXPECT_EQ(vBlocks[0].first, pFirst);
	EXPECT_EQ(vBlocks[0].second, 4u);
	EXPECT_EQ(vBlocks[1].second, 2u);
}
