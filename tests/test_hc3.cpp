// Vertex store: Hilbert keys, set order, duplicate merging, box growth and
// the near-cell search.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cmath>
#include <cstdint>
#include <iostream>
#include <map>
#include <random>
#include <set>
#include <tuple>
#include <vector>

#include "HC3.h"
#include "StdoutCapture.h"
#include "Tet3.h"
#include "VornException.h"

using VORN3D::Bbox3;
using VORN3D::HC3;
using VORN3D::Point3;
using VORN3D::Tet3;

namespace {

typedef std::tuple<double, double, double> Coords;

Coords coordsOf(const Point3& p)
{
	return Coords(p.x(), p.y(), p.z());
}

// Two single insertions that leave the box [lo, hi] per axis: the box of a
// and b is enlarged by its own range, half on each side.
void setBox(HC3& store, const Point3& lo, const Point3& hi)
{
	const Point3 a(lo.x() + (hi.x() - lo.x()) / 4, lo.y() + (hi.y() - lo.y()) / 4, lo.z() + (hi.z() - lo.z()) / 4);
	const Point3 b(hi.x() - (hi.x() - lo.x()) / 4, hi.y() - (hi.y() - lo.y()) / 4, hi.z() - (hi.z() - lo.z()) / 4);
	Tet3* pDup(nullptr);
	store.insert(a, pDup);
	store.insert(b, pDup);
	ASSERT_EQ(store.getBox().getMinPoint(), lo);
	ASSERT_EQ(store.getBox().getMaxPoint(), hi);
}

// The store's order, recomputed independently: key, then x, y, z.
void expectSetOrder(const HC3& store)
{
	ASSERT_TRUE(store.isConsistent());
	std::vector<Point3*> vVertices;
	store.getVertices(vVertices);
	ASSERT_EQ(vVertices.size(), store.size());
	for(size_t i = 1; i < vVertices.size(); ++i)
	{
		const uint32_t keyA(store.getKey(*vVertices[i - 1]));
		const uint32_t keyB(store.getKey(*vVertices[i]));
		ASSERT_TRUE(std::make_tuple(keyA, coordsOf(*vVertices[i - 1])) < std::make_tuple(keyB, coordsOf(*vVertices[i])))
			<< "position " << i;
	}
}

// A distinct cell address for the near-cell search; never dereferenced.
struct FakeCells
{
	Tet3* get(size_t i) { return reinterpret_cast<Tet3*>(&aStorage[i]); }
	alignas(Tet3) unsigned char aStorage[64][sizeof(Tet3)];
};

} // namespace

// ---- Hilbert keys --------------------------------------------------------

// The defining property of the curve: walking the keys 0, 1, 2, ... visits
// every grid cell exactly once, each step to a face-adjacent cell.
TEST(HilbertKey, ConsecutiveKeysVisitFaceAdjacentCells)
{
	for(const int numBits : {3, 9, 12, 15, 18})
	{
		HC3 store(numBits);
		setBox(store, Point3(0, 0, 0), Point3(8, 8, 8));
		const int numPerAxis(1 << (numBits / 3));
		const double width(8.0 / numPerAxis);
		const size_t numCells(size_t(1) << numBits);
		std::vector<int> vCellOfKey(numCells, -1);
		for(int i = 0; i < numPerAxis; ++i)
		{
			for(int j = 0; j < numPerAxis; ++j)
			{
				for(int k = 0; k < numPerAxis; ++k)
				{
					const Point3 centre((i + 0.5) * width, (j + 0.5) * width, (k + 0.5) * width);
					const uint32_t key(store.getKey(centre));
					ASSERT_LT(key, numCells);
					ASSERT_EQ(vCellOfKey[key], -1) << "key " << key << " used twice, numBits=" << numBits;
					vCellOfKey[key] = (i * numPerAxis + j) * numPerAxis + k;
				}
			}
		}
		for(size_t key = 1; key < numCells; ++key)
		{
			const int a(vCellOfKey[key - 1]), b(vCellOfKey[key]);
			const int di(std::abs(a / (numPerAxis * numPerAxis) - b / (numPerAxis * numPerAxis)));
			const int dj(std::abs((a / numPerAxis) % numPerAxis - (b / numPerAxis) % numPerAxis));
			const int dk(std::abs(a % numPerAxis - b % numPerAxis));
			ASSERT_EQ(di + dj + dk, 1) << "keys " << key - 1 << " and " << key << " not face-adjacent, numBits="
									   << numBits;
		}
		// The curve starts in the corner at the box minimum.
		EXPECT_EQ(vCellOfKey[0], 0);
	}
}

TEST(HilbertKey, KeysStayBelowTheirBitLength)
{
	std::mt19937 rng(7);
	std::uniform_real_distribution<double> coord(-1e3, 1e3);
	for(const int numBits : {0, 3, 27, 30})
	{
		HC3 store(numBits);
		setBox(store, Point3(-10, -20, -5), Point3(10, 0, 30));
		const uint64_t limit(uint64_t(1) << numBits);
		uint32_t maxKey(0);
		for(int i = 0; i < 20000; ++i)
		{
			// Mostly inside the box, some far outside it.
			const double s(i % 10 == 0 ? 1.0 : 0.01);
			const uint32_t key(store.getKey(Point3(coord(rng) * s, coord(rng) * s - 10, coord(rng) * s + 12)));
			ASSERT_LT(uint64_t(key), limit);
			maxKey = std::max(maxKey, key);
		}
		// The whole range is used, not just its lower part.
		if(numBits > 0) EXPECT_GE(uint64_t(maxKey), limit / 2);
		else EXPECT_EQ(maxKey, 0u);
	}
}

// One level: the key is the curve position of the octant, and the coarsest
// row of the curve is the inverse Gray code of the octant code 4bx+2by+bz.
TEST(HilbertKey, HalfExtentBelongsToTheUpperOctant)
{
	HC3 store(3);
	setBox(store, Point3(0, 0, 0), Point3(8, 8, 8));
	const double below(std::nextafter(4.0, 0.0));
	const uint32_t aInverseGray[8] = {0, 1, 3, 2, 7, 6, 4, 5};
	for(int c = 0; c < 8; ++c)
	{
		const Point3 onHalf((c & 4) ? 4.0 : below, (c & 2) ? 4.0 : below, (c & 1) ? 4.0 : below);
		EXPECT_EQ(store.getKey(onHalf), aInverseGray[c]) << "octant " << c;
	}
	EXPECT_EQ(store.getKey(Point3(0, 0, 0)), 0u);
	EXPECT_EQ(store.getKey(Point3(8, 8, 8)), aInverseGray[7]);
}

// On a box whose y and z extents differ from the x extent, every octant bit
// is decided against half the x extent, while each axis subtracts its own
// half extent.
TEST(HilbertKey, AllAxesCompareAgainstHalfTheXExtent)
{
	// Box [0,16] x [0,4] x [0,4].
	{
		HC3 store(3);
		setBox(store, Point3(0, 0, 0), Point3(16, 4, 4));
		// dy = dz = 3.9 is in the upper half of the y and z extents, but
		// below half the x extent (8): octant 0.
		EXPECT_EQ(store.getKey(Point3(0, 3.9, 3.9)), 0u);
		EXPECT_EQ(store.getKey(Point3(8, 3.9, 3.9)), 7u);
		EXPECT_EQ(store.getKey(Point3(7.9, 4.0, 4.0)), 0u);
	}
	{
		// Three levels for d = (0, 3, 0). Half x extents 8, 4, 2; half y
		// extents 2, 1, 0.5. Levels 1 and 2: 3 < 8 and 3 < 4 give octant 0
		// (states 0 -> 1 -> 2). Level 3: 3 >= 2 gives octant 2 in state 2,
		// curve position 7. A per-axis rule would have taken by = 1 already
		// at level 1.
		HC3 store(9);
		setBox(store, Point3(0, 0, 0), Point3(16, 4, 4));
		EXPECT_EQ(store.getKey(Point3(0, 3, 0)), 7u);
		// The subtraction uses the y extent: after level 3 dy = 2.5, so the
		// remaining levels of a longer key still see dy >= half x extent.
		HC3 longStore(12);
		setBox(longStore, Point3(0, 0, 0), Point3(16, 4, 4));
		// Level 4: half x extent 1, dy = 2.5 -> by = 1 again; state after
		// level 3 is NEXT[2][2] = 10, DIGIT[10][2] = 7.
		EXPECT_EQ(longStore.getKey(Point3(0, 3, 0)), (7u << 3) + 7u);
	}
	{
		// A flat box (no z extent) still gives a strict order through the
		// coordinate tie-break.
		HC3 store(27);
		std::vector<Point3> vInput;
		for(int i = 0; i < 50; ++i) vInput.push_back(Point3(i % 7, i / 7, 0.0));
		std::vector<Point3*> vHandles, vOrdered;
		store.insert(vInput, vHandles, vOrdered);
		EXPECT_EQ(store.size(), 50u);
		expectSetOrder(store);
	}
}

// Exit status 1, after the standard assertion when assertions are on.
static bool endsAfterFailedCheck(int status)
{
#ifdef NDEBUG
	return ::testing::ExitedWithCode(1)(status);
#else
	return ::testing::KilledBySignal(SIGABRT)(status);
#endif
}

TEST(HilbertKeyDeathTest, InvalidBitLengthEndsTheProcess)
{
	for(const int numBits : {1, 10, 31, 33, 36, -3})
	{
		// The message goes to standard output; route it to stderr so that
		// the death test can read it.
		EXPECT_EXIT(
			{
				std::cout.rdbuf(std::cerr.rdbuf());
				HC3 store(numBits);
			},
			endsAfterFailedCheck, "HC3::HC3\\(\\.\\.\\): invalid bitlength")
			<< numBits;
	}
	HC3 shortest(0), longest(30);
	EXPECT_EQ(shortest.getNumBits(), 0);
	EXPECT_EQ(longest.getNumBits(), 30);
	EXPECT_EQ(HC3().getNumBits(), 27);
}

// ---- insertion and duplicates --------------------------------------------

TEST(VertexStore, SingleInsertionMergesEqualPoints)
{
	HC3 store;
	FakeCells cells;
	Tet3* pDup(reinterpret_cast<Tet3*>(1));
	Point3 p(1.5, -2.0, 3.25);
	p.setIndex(17);
	Point3* pFirst(store.insert(p, pDup));
	EXPECT_EQ(pDup, nullptr);
	ASSERT_NE(pFirst, &p);
	EXPECT_EQ(*pFirst, p);
	EXPECT_EQ(pFirst->getOneTet(), nullptr);
	EXPECT_EQ(pFirst->getIndex(), -1);

	// An equal point that is no vertex of a mesh yet: same vertex, no cell.
	const Point3 same(1.5, -2.0, 3.25);
	EXPECT_EQ(store.insert(same, pDup), pFirst);
	EXPECT_EQ(pDup, nullptr);
	// Once the vertex has a cell, the duplicate hands it back.
	pFirst->setOneTet(cells.get(0));
	EXPECT_EQ(store.insert(same, pDup), pFirst);
	EXPECT_EQ(pDup, cells.get(0));
	// Differing in one coordinate by one ulp is a different point.
	const Point3 close(1.5, -2.0, std::nextafter(3.25, 4.0));
	Point3* pClose(store.insert(close, pDup));
	EXPECT_NE(pClose, pFirst);
	EXPECT_EQ(pDup, nullptr);
	EXPECT_EQ(store.size(), 2u);
	// -0.0 == 0.0: one vertex.
	Point3* pZero(store.insert(Point3(0.0, 0.0, 0.0), pDup));
	EXPECT_EQ(store.insert(Point3(-0.0, 0.0, -0.0), pDup), pZero);
	EXPECT_EQ(store.size(), 3u);
	expectSetOrder(store);
}

// Random input with many repeats, inserted in several bulk calls that also
// repeat points of earlier calls. Few key bits force many equal keys, so the
// coordinate tie-break decides most of the order.
TEST(VertexStore, BulkInsertionMergesDuplicatesAndKeepsInputOrder)
{
	for(const int numBits : {3, 27})
	{
		HC3 store(numBits);
		std::mt19937 rng(numBits);
		std::uniform_int_distribution<int> grid(0, 9);
		std::map<Coords, Point3*> known;
		for(int call = 0; call < 4; ++call)
		{
			std::vector<Point3> vInput;
			const double scale(1.0 + call);
			for(int i = 0; i < 400; ++i) vInput.push_back(Point3(grid(rng) * scale, grid(rng), grid(rng) * 0.5));
			std::set<Coords> newInCall;
			std::map<Coords, size_t> firstPosition;
			for(size_t i = 0; i < vInput.size(); ++i)
			{
				const Coords c(coordsOf(vInput[i]));
				if(known.count(c) == 0 && newInCall.insert(c).second) firstPosition[c] = i;
			}
			std::vector<Point3*> vHandles, vOrdered(3, nullptr);
			store.insert(vInput, vHandles, vOrdered);
			ASSERT_EQ(vHandles.size(), vInput.size());
			for(size_t i = 0; i < vInput.size(); ++i)
			{
				ASSERT_NE(vHandles[i], nullptr);
				ASSERT_EQ(coordsOf(*vHandles[i]), coordsOf(vInput[i]));
				ASSERT_NE(vHandles[i], &vInput[i]);
				std::map<Coords, Point3*>::iterator it(known.find(coordsOf(vInput[i])));
				if(it == known.end())
				{
					known[coordsOf(vInput[i])] = vHandles[i];
				}
				else
				{
					ASSERT_EQ(vHandles[i], it->second) << "equal points must share one vertex";
				}
			}
			// vOrdered: exactly the vertices new in this call, once each, in
			// key order.
			ASSERT_EQ(vOrdered.size(), newInCall.size());
			std::set<Coords> ordered;
			for(size_t i = 0; i < vOrdered.size(); ++i)
			{
				ASSERT_TRUE(ordered.insert(coordsOf(*vOrdered[i])).second);
				ASSERT_EQ(vOrdered[i]->getOneTet(), nullptr);
				if(i > 0)
				{
					ASSERT_LE(store.getKey(*vOrdered[i - 1]), store.getKey(*vOrdered[i]));
				}
			}
			EXPECT_EQ(ordered, newInCall);
			// Precisely: by key, then by the first input position of the point.
			std::vector<std::pair<uint32_t, size_t>> vExpected;
			for(const std::pair<const Coords, size_t>& entry : firstPosition)
			{
				vExpected.push_back(std::make_pair(store.getKey(vInput[entry.second]), entry.second));
			}
			std::sort(vExpected.begin(), vExpected.end());
			ASSERT_EQ(vExpected.size(), vOrdered.size());
			for(size_t i = 0; i < vOrdered.size(); ++i)
			{
				ASSERT_EQ(coordsOf(*vOrdered[i]), coordsOf(vInput[vExpected[i].second])) << i;
			}
			EXPECT_EQ(store.size(), known.size());
			expectSetOrder(store);
		}
	}
}

// Thousands of single insertions into a fixed box, then a small and a large
// bulk insertion mixing stored points, repeats and new points. With three
// key bits long runs of equal keys cross many internal blocks.
TEST(VertexStore, LargeMixedInsertionsKeepOneVertexPerPoint)
{
	for(const int numBits : {3, 27})
	{
		HC3 store(numBits);
		setBox(store, Point3(0, 0, 0), Point3(64, 64, 64));
		std::mt19937 rng(numBits + 1);
		std::uniform_int_distribution<int> grid(1, 62);
		std::map<Coords, Point3*> known;
		Tet3* pDup(nullptr);
		std::vector<Point3*> vVertices;
		store.getVertices(vVertices);
		for(Point3* pV : vVertices) known[coordsOf(*pV)] = pV;
		for(int i = 0; i < 4000; ++i)
		{
			const Point3 p(grid(rng), grid(rng), grid(rng) * 0.5);
			Point3* pV(store.insert(p, pDup));
			std::map<Coords, Point3*>::iterator it(known.find(coordsOf(p)));
			if(it == known.end())
			{
				known[coordsOf(p)] = pV;
			}
			else
			{
				ASSERT_EQ(pV, it->second);
			}
		}
		expectSetOrder(store);
		ASSERT_EQ(store.size(), known.size());
		// 60 points into about 4000 stored ones, then 3000.
		for(const int numBulk : {60, 3000})
		{
			std::vector<Point3> vInput;
			for(int i = 0; i < numBulk; ++i)
			{
				if(i % 3 == 0) vInput.push_back(*std::next(known.begin(), static_cast<long>(rng() % known.size()))->second);
				else if(i % 3 == 1 && i > 1) vInput.push_back(vInput[static_cast<size_t>(i) / 2]);
				else vInput.push_back(Point3(grid(rng) + 0.25, grid(rng), grid(rng)));
			}
			std::vector<Point3*> vHandles, vOrdered;
			const size_t sizeBefore(store.size());
			store.insert(vInput, vHandles, vOrdered);
			for(size_t i = 0; i < vInput.size(); ++i)
			{
				ASSERT_EQ(coordsOf(*vHandles[i]), coordsOf(vInput[i]));
				std::map<Coords, Point3*>::iterator it(known.find(coordsOf(vInput[i])));
				if(it == known.end())
				{
					known[coordsOf(vInput[i])] = vHandles[i];
				}
				else
				{
					ASSERT_EQ(vHandles[i], it->second) << "numBulk=" << numBulk << " i=" << i;
				}
			}
			EXPECT_EQ(store.size(), known.size());
			EXPECT_EQ(store.size() - sizeBefore, vOrdered.size());
			expectSetOrder(store);
		}
	}
}

TEST(VertexStore, BulkInsertionRequiresAnEmptyHandleVector)
{
	HC3 store;
	std::vector<Point3> vInput(1, Point3(1, 2, 3));
	std::vector<Point3*> vHandles(1, nullptr), vOrdered;
	vtest::StdoutCapture capture;
	EXPECT_THROW(store.insert(vInput, vHandles, vOrdered), VornException);
	EXPECT_NE(capture.str().find("ERROR: Condition [ vUserHandles.empty() failed ]"), std::string::npos)
		<< capture.str();
	EXPECT_EQ(store.size(), 0u);
}

TEST(VertexStore, EmptyBulkInsertionChangesNothing)
{
	HC3 store;
	std::vector<Point3> vInput;
	std::vector<Point3*> vHandles, vOrdered;
	store.insert(vInput, vHandles, vOrdered);
	EXPECT_EQ(store.size(), 0u);
	EXPECT_TRUE(vHandles.empty());
	EXPECT_TRUE(vOrdered.empty());
	EXPECT_FALSE(store.getBox().isValid());
	EXPECT_EQ(store.getNearTet(Point3(0, 0, 0)), nullptr);
}

// Vertices and entries come from blocks: the vertices of a bulk insertion lie
// in a few contiguous runs, not one heap block each.
TEST(VertexStore, VerticesComeFromFewBlocks)
{
	HC3 store;
	std::vector<Point3> vInput;
	std::mt19937 rng(3);
	std::uniform_real_distribution<double> coord(0.0, 1.0);
	for(int i = 0; i < 20000; ++i) vInput.push_back(Point3(coord(rng), coord(rng), coord(rng)));
	std::vector<Point3*> vHandles, vOrdered;
	store.insert(vInput, vHandles, vOrdered);
	std::vector<std::uintptr_t> vAddresses;
	for(const Point3* p : vHandles) vAddresses.push_back(reinterpret_cast<std::uintptr_t>(p));
	std::sort(vAddresses.begin(), vAddresses.end());
	int numRuns(1);
	for(size_t i = 1; i < vAddresses.size(); ++i)
	{
		if(vAddresses[i] - vAddresses[i - 1] != sizeof(Point3)) ++numRuns;
	}
	EXPECT_LE(numRuns, 20);
}

// ---- bounding box growth and rebuild -------------------------------------

TEST(VertexStore, SingleInsertionGrowsTheBoxByItsFullRange)
{
	HC3 store;
	Tet3* pDup(nullptr);
	store.insert(Point3(2, 2, 2), pDup);
	EXPECT_EQ(store.getBox().getMinPoint(), Point3(2, 2, 2));
	EXPECT_EQ(store.getBox().getMaxPoint(), Point3(2, 2, 2));
	store.insert(Point3(6, 6, 6), pDup);
	EXPECT_EQ(store.getBox().getMinPoint(), Point3(0, 0, 0));
	EXPECT_EQ(store.getBox().getMaxPoint(), Point3(8, 8, 8));
	// Inside the enlarged box: nothing changes.
	store.insert(Point3(7.5, 0.5, 1), pDup);
	EXPECT_EQ(store.getBox().getMaxPoint(), Point3(8, 8, 8));
	// x grows to 9: ranges 9, 8, 8, each side moves by half the range.
	store.insert(Point3(9, 1, 1), pDup);
	EXPECT_EQ(store.getBox().getMinPoint(), Point3(-4.5, -4, -4));
	EXPECT_EQ(store.getBox().getMaxPoint(), Point3(13.5, 12, 12));
	expectSetOrder(store);
}

// The first bulk growth of the process enlarges by 0.1, every later one by
// 1.0. The flag is process-wide, so which factor the first call here sees
// depends on what ran before in this process.
TEST(VertexStore, BulkInsertionGrowsTheBoxOnceSlightlyThenByTheFullRange)
{
	HC3 store;
	const bool bFirst(HC3::isFirstBulkEnlargementPending());
	const double f(bFirst ? 0.1 : 1.0);
	std::vector<Point3> vInput = {Point3(0, 0, 0), Point3(10, 20, 40)};
	std::vector<Point3*> vHandles, vOrdered;
	store.insert(vInput, vHandles, vOrdered);
	EXPECT_FALSE(HC3::isFirstBulkEnlargementPending());
	EXPECT_EQ(store.getBox().getMinPoint(), Point3(-5 * f, -10 * f, -20 * f));
	EXPECT_EQ(store.getBox().getMaxPoint(), Point3(10 + 5 * f, 20 + 10 * f, 40 + 20 * f));

	// Inside: no change at all.
	const Bbox3 before(store.getBox());
	vInput = {Point3(1, 1, 1)};
	vHandles.clear();
	store.insert(vInput, vHandles, vOrdered);
	EXPECT_EQ(store.getBox().getMinPoint(), before.getMinPoint());
	EXPECT_EQ(store.getBox().getMaxPoint(), before.getMaxPoint());

	// A second growth: factor 1.0, also in a new store.
	HC3 other;
	vInput = {Point3(0, 0, 0), Point3(2, 4, 8)};
	vHandles.clear();
	other.insert(vInput, vHandles, vOrdered);
	EXPECT_EQ(other.getBox().getMinPoint(), Point3(-1, -2, -4));
	EXPECT_EQ(other.getBox().getMaxPoint(), Point3(3, 6, 12));
}

// Reports on stderr whether the flag was pending and a first bulk growth
// used a tenth of the range, then ends the process.
static void reportFirstBulkGrowth()
{
	const bool bPending(HC3::isFirstBulkEnlargementPending());
	HC3 store;
	std::vector<Point3> vInput = {Point3(0, 0, 0), Point3(10, 20, 40)};
	std::vector<Point3*> vHandles, vOrdered;
	store.insert(vInput, vHandles, vOrdered);
	const bool bTenth(store.getBox().getMinPoint() == Point3(-0.5, -1, -2) &&
		store.getBox().getMaxPoint() == Point3(10.5, 21, 42));
	std::cerr << "pending=" << bPending << " tenth=" << bTenth << std::endl;
	exit(0);
}

// The same in a fresh process, where the flag is still set: the threadsafe
// death-test style runs the statement in a newly started copy of this test.
TEST(VertexStoreDeathTest, FirstBulkGrowthOfAProcessUsesATenth)
{
	GTEST_FLAG_SET(death_test_style, "threadsafe");
	EXPECT_EXIT(reportFirstBulkGrowth(), ::testing::ExitedWithCode(0), "pending=1 tenth=1");
}

// Points spread ever wider force many rebuilds; after each insertion the set
// order must match keys over the current box, and every stored point must
// still be found as a duplicate (stale keys would hide it).
TEST(VertexStore, RebuildsKeepTheSetConsistent)
{
	HC3 store(27);
	std::mt19937 rng(11);
	std::vector<Point3> vAll;
	std::vector<Point3*> vVertexOf;
	for(int round = 0; round < 12; ++round)
	{
		const double scale(std::pow(3.0, round));
		std::uniform_real_distribution<double> coord(-scale, scale);
		if(round % 3 == 2)
		{
			std::vector<Point3> vInput;
			for(int i = 0; i < 100; ++i) vInput.push_back(Point3(coord(rng), coord(rng) * 0.1, coord(rng) + scale));
			std::vector<Point3*> vHandles, vOrdered;
			store.insert(vInput, vHandles, vOrdered);
			vAll.insert(vAll.end(), vInput.begin(), vInput.end());
			vVertexOf.insert(vVertexOf.end(), vHandles.begin(), vHandles.end());
		}
		else
		{
			for(int i = 0; i < 30; ++i)
			{
				const Point3 p(coord(rng) + scale, coord(rng), coord(rng) * 3);
				Tet3* pDup(nullptr);
				vVertexOf.push_back(store.insert(p, pDup));
				vAll.push_back(p);
			}
		}
		expectSetOrder(store);
		for(const Point3& p : vAll)
		{
			ASSERT_TRUE(store.getBox().getMinX() <= p.x() && p.x() <= store.getBox().getMaxX());
			ASSERT_TRUE(store.getBox().getMinZ() <= p.z() && p.z() <= store.getBox().getMaxZ());
		}
	}
	ASSERT_EQ(store.size(), vAll.size());
	for(size_t i = 0; i < vAll.size(); ++i)
	{
		Tet3* pDup(nullptr);
		ASSERT_EQ(store.insert(vAll[i], pDup), vVertexOf[i]) << i;
	}
	EXPECT_EQ(store.size(), vAll.size());
	std::vector<Point3*> vVertices;
	store.getVertices(vVertices);
	std::set<Point3*> unique(vVertices.begin(), vVertices.end());
	EXPECT_EQ(unique, std::set<Point3*>(vVertexOf.begin(), vVertexOf.end()));
}

TEST(VertexStore, GetVerticesAppends)
{
	HC3 store;
	Tet3* pDup(nullptr);
	store.insert(Point3(1, 1, 1), pDup);
	store.insert(Point3(2, 1, 1), pDup);
	std::vector<Point3*> vVertices(1, nullptr);
	store.getVertices(vVertices);
	ASSERT_EQ(vVertices.size(), 3u);
	EXPECT_EQ(vVertices[0], nullptr);
	EXPECT_NE(vVertices[1], nullptr);
	EXPECT_NE(vVertices[2], nullptr);
}

// ---- near-cell search ----------------------------------------------------

// With three key bits (eight keys) many vertices share a key. The search
// starts at the first entry of the query's key, not at the query's own
// coordinates, then moves forward to the first vertex with a cell.
TEST(NearCell, StartsAtTheFirstEntryOfTheKeyAndMovesForward)
{
	HC3 store(3);
	setBox(store, Point3(0, 0, 0), Point3(8, 8, 8));
	std::vector<Point3*> vVertices;
	store.getVertices(vVertices);
	// The two points of setBox: (2,2,2) in octant 0, (6,6,6) in octant 7.
	ASSERT_EQ(vVertices.size(), 2u);
	Tet3* pDup(nullptr);
	// Octant 0 (key 0): three points; octant 4 (key 7): none yet.
	Point3* pA(store.insert(Point3(1, 1, 1), pDup));
	Point3* pB(store.insert(Point3(1, 3, 1), pDup));
	Point3* pC(store.insert(Point3(3, 1, 1), pDup));
	FakeCells cells;
	EXPECT_EQ(store.getNearTet(Point3(0, 0, 0)), nullptr) << "no vertex has a cell";

	// Key-0 order by x, y, z: A(1,1,1), B(1,3,1), (2,2,2), C(3,1,1).
	pC->setOneTet(cells.get(3));
	// A query with larger coordinates than C, same key: C is found by moving
	// forward from the first key-0 entry.
	EXPECT_EQ(store.getNearTet(Point3(3.5, 3.5, 3.5)), cells.get(3));
	pA->setOneTet(cells.get(1));
	// Now the first key-0 entry has a cell, whatever the query coordinates.
	EXPECT_EQ(store.getNearTet(Point3(3.5, 3.5, 3.5)), cells.get(1));
	EXPECT_EQ(store.getNearTet(*pB), cells.get(1));

	// A key above every stored key: the last entry is the start. It has no
	// cell and nothing follows, so the search turns back and finds C.
	EXPECT_EQ(store.getKey(Point3(7, 1, 1)), 7u);
	EXPECT_EQ(store.getKey(Point3(7, 7, 7)), 5u);
	Point3* pLast(vVertices[1]);
	ASSERT_EQ(*pLast, Point3(6, 6, 6));
	EXPECT_EQ(store.getNearTet(Point3(7, 1, 1)), cells.get(3));
	pLast->setOneTet(cells.get(9));
	EXPECT_EQ(store.getNearTet(Point3(7, 1, 1)), cells.get(9));
	// Key 5 is the last used key; key 3 (octant 2) lies between and finds
	// the first cell at or after it, that is (6,6,6).
	EXPECT_EQ(store.getNearTet(Point3(1, 7, 1)), cells.get(9));
	pB->setOneTet(cells.get(2));
	EXPECT_EQ(store.getNearTet(Point3(1, 7, 1)), cells.get(9));
}

// Against a scan over the vertex list in set order: forwards, then back.
TEST(NearCell, AgreesWithAScanOfTheVertexList)
{
	HC3 store(6);
	std::mt19937 rng(5);
	std::uniform_real_distribution<double> coord(0.0, 1.0);
	std::vector<Point3> vInput;
	for(int i = 0; i < 300; ++i) vInput.push_back(Point3(coord(rng), coord(rng), coord(rng)));
	std::vector<Point3*> vHandles, vOrdered;
	store.insert(vInput, vHandles, vOrdered);
	FakeCells cells;
	std::vector<Point3*> vVertices;
	store.getVertices(vVertices);
	// Every seventh vertex has a cell.
	for(size_t i = 0; i < vVertices.size(); i += 7) vVertices[i]->setOneTet(cells.get(i % 64));
	for(int q = 0; q < 500; ++q)
	{
		const Point3 query(coord(rng) * 1.2 - 0.1, coord(rng), coord(rng));
		const uint32_t key(store.getKey(query));
		size_t i(0);
		while(i < vVertices.size() && store.getKey(*vVertices[i]) < key) ++i;
		if(i == vVertices.size()) i = vVertices.size() - 1;
		const size_t start(i);
		Tet3* pExpected(nullptr);
		for(; i < vVertices.size() && pExpected == nullptr; ++i) pExpected = vVertices[i]->getOneTet();
		// Nothing meshed from the start on: the nearest meshed one before it.
		for(i = start; i > 0 && pExpected == nullptr; --i) pExpected = vVertices[i - 1]->getOneTet();
		ASSERT_EQ(store.getNearTet(query), pExpected) << q;
	}
}
