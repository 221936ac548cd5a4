// SimplePool: container growth sequences, fixed growth, reset, the 100 MB
// cap, the release message and the usage faults.
#include <gtest/gtest.h>

#include <set>
#include <vector>

#include "Dt3.h"
#include "HC3.h"
#include "SimplePool.h"
#include "StdoutCapture.h"
#include "Tet3.h"

using VORN3D::IdxVtx;
using VORN3D::Point3;
using VORN3D::SimplePool;
using VORN3D::SimplePoolSizes;
using VORN3D::Tet3;
using VORN3D::TwoTetStruct;

namespace {

// Large elements make the 100 MB cap reachable after a few containers. The
// memory is never touched, so it costs address space only.
struct Huge
{
	char aBytes[8 << 20];
};

template <class T> std::vector<T*> allocate(SimplePool<T>& pool, int count)
{
	std::vector<T*> vObjects;
	for(int i = 0; i < count; ++i) vObjects.push_back(pool.alloc());
	return vObjects;
}

template <class F> void withStdoutOnStderr(F f)
{
	std::cout.rdbuf(std::cerr.rdbuf());
	f();
}

} // namespace

TEST(SimplePoolSizes, EachInstanceOfTheLibraryHasItsSizes)
{
	EXPECT_EQ(SimplePoolSizes<Tet3>::firstSize, 28);
	EXPECT_EQ(SimplePoolSizes<Tet3>::growSize, -1);
	EXPECT_EQ(SimplePoolSizes<TwoTetStruct>::firstSize, 1024);
	EXPECT_EQ(SimplePoolSizes<TwoTetStruct>::growSize, 512);
	EXPECT_EQ(SimplePoolSizes<Point3>::firstSize, 4);
	EXPECT_EQ(SimplePoolSizes<Point3>::growSize, -1);
	EXPECT_EQ(SimplePoolSizes<IdxVtx>::firstSize, 4);
	EXPECT_EQ(SimplePoolSizes<IdxVtx>::growSize, -1);
}

TEST(SimplePoolGrowth, CellPoolHalvesThenDoubles)
{
	SimplePool<Tet3> pool;
	EXPECT_FALSE(pool.isInitialized());
	pool.init();
	EXPECT_TRUE(pool.isInitialized());
	EXPECT_EQ(pool.getMaxContainerSize(), static_cast<int>(100000000 / sizeof(Tet3)));
	EXPECT_EQ(pool.getSizes(), (std::vector<int>{28}));
	vtest::StdoutCapture capture;
	std::vector<Tet3*> vCells(allocate(pool, 28 + 14 + 1));
	// Plain storage: no constructor ran.
	EXPECT_EQ(capture.str(), "");
	EXPECT_EQ(pool.getNumContainers(), 3u);
	EXPECT_EQ(pool.getSizes(), (std::vector<int>{28, 14, 28}));
	EXPECT_FALSE(pool.hasOnlyFirstContainer());
	const std::vector<Tet3*> vMore(allocate(pool, 27 + 56 + 1));
	EXPECT_EQ(pool.getSizes(), (std::vector<int>{28, 14, 28, 56, 112}));
	vCells.insert(vCells.end(), vMore.begin(), vMore.end());
	// Every object is distinct, and objects of one container are adjacent.
	EXPECT_EQ(std::set<Tet3*>(vCells.begin(), vCells.end()).size(), vCells.size());
	for(int i = 1; i < 28; ++i) EXPECT_EQ(vCells[i], vCells[0] + i);
	for(int i = 29; i < 42; ++i) EXPECT_EQ(vCells[i], vCells[28] + (i - 28));
}

// Containers of several megabytes are handed out in stretches made ready
// ahead; across those stretches and across containers every object must come
// exactly once, in order, and be writable.
TEST(SimplePoolGrowth, LargeContainersHandOutEveryObjectOnceInOrder)
{
	SimplePool<Tet3> pool;
	pool.init();
	const int numCells(300000); // the last containers hold 114,688 and 229,376 cells (9.2 and 18.4 MB)
	const std::vector<Tet3*> vCells(allocate(pool, numCells));
	std::vector<std::pair<Tet3*, size_t>> vBlocks;
	pool.getUsedBlocks(vBlocks);
	ASSERT_EQ(vBlocks.size(), pool.getNumContainers());
	size_t next(0);
	for(const std::pair<Tet3*, size_t>& block : vBlocks)
	{
		for(size_t i = 0; i < block.second; ++i, ++next)
		{
			ASSERT_LT(next, vCells.size());
			ASSERT_EQ(vCells[next], block.first + i) << "object " << next;
		}
	}
	EXPECT_EQ(next, vCells.size());
	EXPECT_EQ(pool.getSizes().back(), 28 << 13);
	for(Tet3* pCell : vCells) pCell->setCustomIndex(7);
	for(Tet3* pCell : vCells) ASSERT_EQ(pCell->getCustomIndex(), 7);
}

TEST(SimplePoolGrowth, VertexStorePoolsStartWithFour)
{
	SimplePool<Point3> vertices;
	vertices.init();
	allocate(vertices, 4 + 2 + 4 + 8 + 1);
	EXPECT_EQ(vertices.getSizes(), (std::vector<int>{4, 2, 4, 8, 16}));
	SimplePool<IdxVtx> entries;
	entries.init();
	allocate(entries, 5);
	EXPECT_EQ(entries.getSizes(), (std::vector<int>{4, 2}));
}

TEST(SimplePoolGrowth, FixedGrowthAndResetOfThePendingFacetPool)
{
	SimplePool<TwoTetStruct> pool;
	pool.init();
	const std::vector<TwoTetStruct*> vFirst(allocate(pool, 1024));
	EXPECT_EQ(pool.getNumContainers(), 1u);
	EXPECT_TRUE(pool.hasOnlyFirstContainer());
	pool.alloc();
	EXPECT_EQ(pool.getSizes(), (std::vector<int>{1024, 512}));
	EXPECT_FALSE(pool.hasOnlyFirstContainer());
	allocate(pool, 511 + 1);
	EXPECT_EQ(pool.getSizes(), (std::vector<int>{1024, 512, 512}));

	pool.reset();
	EXPECT_EQ(pool.getNumContainers(), 1u);
	EXPECT_TRUE(pool.hasOnlyFirstContainer());
	// The next 1024 objects are the first container again, in order.
	EXPECT_EQ(allocate(pool, 1024), vFirst);
	EXPECT_EQ(pool.getNumContainers(), 1u);
	pool.alloc();
	EXPECT_EQ(pool.getNumContainers(), 2u);
	// The size history survives the reset.
	EXPECT_EQ(pool.getSizes(), (std::vector<int>{1024, 512, 512, 512}));
}

TEST(SimplePoolGrowth, ResetWithinTheFirstContainerRewinds)
{
	SimplePool<Tet3> pool;
	pool.init();
	Tet3* pFirst(pool.alloc());
	allocate(pool, 10);
	pool.reset();
	EXPECT_EQ(pool.alloc(), pFirst);
	EXPECT_EQ(pool.getSizes(), (std::vector<int>{28}));
}

TEST(SimplePoolGrowth, AutomaticSizeAfterResetFollowsTheLastSizeEverAdded)
{
	SimplePool<Tet3> pool;
	pool.init();
	allocate(pool, 28 + 14 + 28 + 1);
	EXPECT_EQ(pool.getSizes(), (std::vector<int>{28, 14, 28, 56}));
	pool.reset();
	allocate(pool, 28 + 1);
	EXPECT_EQ(pool.getSizes(), (std::vector<int>{28, 14, 28, 56, 112}));
	EXPECT_EQ(pool.getNumContainers(), 2u);
}

TEST(SimplePoolGrowth, AutomaticContainersStopAt100MB)
{
	// The cap applies to automatic sizes only: a first size is taken as given.
	SimplePool<Huge> large;
	large.init(13, -1);
	EXPECT_EQ(large.getSizes(), (std::vector<int>{13}));

	SimplePool<Huge> pool;
	pool.init(2, -1);
	const int maxSize(100000000 / static_cast<int>(sizeof(Huge)));
	EXPECT_EQ(pool.getMaxContainerSize(), maxSize);
	EXPECT_EQ(maxSize, 11);
	allocate(pool, 2 + 1 + 2 + 4 + 8 + 11 + 1);
	// Doubling 8 would give 16 objects, 134 MB; the cap stops it at 11.
	EXPECT_EQ(pool.getSizes(), (std::vector<int>{2, 1, 2, 4, 8, 11, 11}));
	for(size_t i = 1; i < pool.getSizes().size(); ++i)
		EXPECT_LE(static_cast<size_t>(pool.getSizes()[i]) * sizeof(Huge), 100000000u);
}

TEST(SimplePoolRelease, MessageAboveFiftyContainers)
{
	vtest::StdoutCapture capture;
	{
		SimplePool<int> pool;
		pool.init(1, 2);
		allocate(pool, 1 + 2 * 49);
		EXPECT_EQ(pool.getNumContainers(), 50u);
	}
	EXPECT_EQ(capture.str(), "");
	{
		SimplePool<int> pool;
		pool.init(1, 2);
		allocate(pool, 1 + 2 * 50);
		EXPECT_EQ(pool.getNumContainers(), 51u);
	}
	EXPECT_EQ(capture.str(), "SimplePool::~SimplePool: Number of containers to release: 51\n");
}

TEST(SimplePoolRelease, AnUnusedPoolReleasesQuietly)
{
	vtest::StdoutCapture capture;
	{
		SimplePool<Tet3> never;
		SimplePool<Tet3> once;
		once.init();
	}
	EXPECT_EQ(capture.str(), "");
}

TEST(SimplePoolInit, GrowthOfOneIsWorthAWarning)
{
	vtest::StdoutCapture capture;
	SimplePool<int> pool;
	pool.init(4, 1);
	EXPECT_EQ(capture.str(), "TrelPool::init(..), Warning: increaseLimit=1\n");
	allocate(pool, 6);
	EXPECT_EQ(pool.getSizes(), (std::vector<int>{4, 1, 1}));
}

TEST(SimplePoolInit, SecondInitEndsTheProcess)
{
	SimplePool<Tet3> pool;
	pool.init();
#ifdef NDEBUG
	EXPECT_EXIT(withStdoutOnStderr([&] { pool.init(); }), ::testing::ExitedWithCode(1),
		"SimplePool::init\\(\\.\\.\\), ERROR: This pool is already initialized\n");
#else
	EXPECT_DEATH(withStdoutOnStderr([&] { pool.init(); }),
		"SimplePool::init\\(\\.\\.\\), ERROR: This pool is already initialized\n.*false");
#endif
}

#ifndef NDEBUG
TEST(SimplePoolInit, AllocationFromAnUninitialisedPoolFailsItsAssertion)
{
	SimplePool<Tet3> pool;
	EXPECT_DEATH(pool.alloc(), "initialized");
}

TEST(SimplePoolInit, AutomaticGrowthNeedsAPositiveLastSize)
{
	// A first size of 1 halves to an empty container, from which automatic
	// growth cannot go on.
	SimplePool<int> pool;
	pool.init(1, -1);
	allocate(pool, 2);
	EXPECT_EQ(pool.getSizes(), (std::vector<int>{1, 0}));
	EXPECT_DEATH(pool.alloc(), "vSizes.back\\(\\)>0");
}
#endif
