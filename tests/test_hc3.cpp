// Vertex store: the Hilbert curve's defining property, duplicate merging
// and set order under single and bulk insertion, the near-cell search.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <random>
#include <tuple>
#include <vector>

#include "HC3.h"
#include "Tet3.h"

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


// Tables of the key as published, one row per state s and one column per
// octant code c, written out independently of the library's own layout.
const int aModelDigit[12][8] = {{0, 1, 3, 2, 7, 6, 4, 5}, {0, 7, 1, 6, 3, 4, 2, 5}, {0, 3, 7, 4, 1, 2, 6, 5},
	{2, 3, 1, 0, 5, 4, 6, 7}, {4, 3, 5, 2, 7, 0, 6, 1}, {6, 5, 1, 2, 7, 4, 0, 3}, {4, 7, 3, 0, 5, 6, 2, 1},
	{6, 7, 5, 4, 1, 0, 2, 3}, {2, 5, 3, 4, 1, 6, 0, 7}, {2, 1, 5, 6, 3, 0, 4, 7}, {4, 5, 7, 6, 3, 2, 0, 1},
	{6, 1, 7, 0, 5, 2, 4, 3}};
const int aModelNext[12][8] = {{1, 2, 3, 2, 4, 5, 3, 5}, {2, 6, 0, 7, 8, 8, 0, 7}, {0, 9, 10, 9, 1, 1, 11, 11},
	{6, 0, 6, 11, 9, 0, 9, 8}, {11, 11, 0, 7, 5, 9, 0, 7}, {4, 4, 8, 8, 0, 6, 10, 6}, {5, 7, 5, 3, 1, 1, 11, 11},
	{6, 1, 6, 10, 9, 4, 9, 10}, {10, 3, 1, 1, 10, 3, 5, 9}, {4, 4, 8, 8, 2, 7, 2, 3}, {7, 2, 11, 2, 7, 5, 8, 5},
	{10, 3, 2, 6, 10, 3, 4, 4}};

// The key of p over the box [lo, lo + extent]: at every level the three
// octant bits are decided against half the x extent, and each axis then
// subtracts its own half extent.
uint32_t modelKey(const Point3& p, const Point3& lo, const double extent[3], int numBits)
{
	double d[3] = {p.x() - lo.x(), p.y() - lo.y(), p.z() - lo.z()};
	double h[3] = {extent[0], extent[1], extent[2]};
	uint32_t key(0);
	int state(0);
	for(int level = numBits / 3 - 1; level >= 0; --level)
	{
		int code(0);
		for(int axis = 0; axis < 3; ++axis) h[axis] /= 2;
		for(int axis = 0; axis < 3; ++axis)
		{
			const bool bUpper(d[axis] >= h[0]);
			code = 2 * code + (bUpper ? 1 : 0);
			if(bUpper) d[axis] -= h[axis];
		}
		key |= uint32_t(aModelDigit[state][code]) << (3 * level);
		state = aModelNext[state][code];
	}
	return key;
}
} // namespace

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
		// Cell c has the indices (c / n^2, c / n % n, c % n) along x, y, z.
		for(int c = 0; c < int(numCells); ++c)
		{
			const int i(c / numPerAxis / numPerAxis), j(c / numPerAxis % numPerAxis), k(c % numPerAxis);
			const uint32_t key(store.getKey(Point3((i + 0.5) * width, (j + 0.5) * width, (k + 0.5) * width)));
			ASSERT_LT(key, numCells);
			ASSERT_EQ(vCellOfKey[key], -1) << "key " << key << " used twice, numBits=" << numBits;
			vCellOfKey[key] = c;
		}
		for(size_t key = 1; key < numCells; ++key)
		{
			const int a(vCellOfKey[key - 1]), b(vCellOfKey[key]);
			const int di(std::abs(a / (numPerAxis * numPerAxis) - b / (numPerAxis * numPerAxis)));
			const int dj(std::abs((a / numPerAxis) % numPerAxis - (b / numPerAxis) % numPerAxis));
			ASSERT_EQ(di + dj + std::abs(a % numPerAxis - b % numPerAxis), 1) << "keys " << key - 1 << ", " << key;
		}
		// The curve starts in the corner at the box minimum.
		EXPECT_EQ(vCellOfKey[0], 0);
	}
}

// Thousands of single insertions into a fixed box, then a small and a large
// bulk insertion mixing stored points, repeats and new points; each point
// must get the vertex its coordinates got first. With three key bits long
// runs of equal keys cross many internal blocks.
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
			ASSERT_EQ(known.emplace(coordsOf(p), pV).first->second, pV);
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
				ASSERT_EQ(known.emplace(coordsOf(vInput[i]), vHandles[i]).first->second, vHandles[i]) << numBulk << " " << i;
			}
			EXPECT_EQ(store.size(), known.size());
			EXPECT_EQ(store.size() - sizeBefore, vOrdered.size());
			expectSetOrder(store);
		}
	}
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

// On boxes of every shape the keys, and with them the order of the vertex
// list, follow the model: key first, then x, y, z. Points on the halving
// planes of x are included, so that a y or z bit decided against its own
// extent shows.
class BoxShapes : public ::testing::TestWithParam<std::tuple<double, double, double>>
{
};

TEST_P(BoxShapes, VertexOrderFollowsTheKeyModel)
{
	const double extent[3] = {std::get<0>(GetParam()), std::get<1>(GetParam()), std::get<2>(GetParam())};
	const Point3 lo(-1.0, 2.0, 0.5);
	HC3 store;
	setBox(store, lo, Point3(lo.x() + extent[0], lo.y() + extent[1], lo.z() + extent[2]));
	std::mt19937 rng(17);
	std::uniform_real_distribution<double> unit(0.0, 0.999);
	std::vector<Point3> vInput;
	for(int i = 0; i < 2000; ++i)
	{
		// Every fourth point has one coordinate on a multiple of x's halving steps.
		double c[3] = {unit(rng) * extent[0], unit(rng) * extent[1], unit(rng) * extent[2]};
		if(i % 4 < 3) c[i % 4] = std::min(std::floor(unit(rng) * 8) * extent[0] / 8, extent[i % 4] * 0.999);
		vInput.push_back(Point3(lo.x() + c[0], lo.y() + c[1], lo.z() + c[2]));
	}
	std::vector<Point3*> vHandles, vOrdered, vVertices;
	store.insert(vInput, vHandles, vOrdered);
	std::vector<std::tuple<uint32_t, Coords>> vExpected;
	for(const Point3& p : vInput)
	{
		vExpected.push_back(std::make_tuple(modelKey(p, lo, extent, store.getNumBits()), coordsOf(p)));
		ASSERT_EQ(store.getKey(p), std::get<0>(vExpected.back())) << p;
	}
	std::sort(vExpected.begin(), vExpected.end());
	// The vertex list holds these in this order, and the two points that set the box.
	store.getVertices(vVertices);
	ASSERT_EQ(vVertices.size(), vInput.size() + 2);
	size_t next(0);
	for(const Point3* pV : vVertices) next += (next < vExpected.size() && coordsOf(*pV) == std::get<1>(vExpected[next]));
	EXPECT_EQ(next, vExpected.size());
}

INSTANTIATE_TEST_SUITE_P(Shapes, BoxShapes,
	::testing::Values(std::make_tuple(1.0, 1.0, 1.0), std::make_tuple(1.0, 5.0, 0.25), std::make_tuple(3.0, 1.0, 1024.0)));

// In a fresh process the first bulk insertion that grows a box enlarges it
// by a tenth, every later one by its full range (single insertions always
// by the full range: setBox).
static int enlargementsOfAFreshProcess()
{
	bool bOk(HC3::isFirstBulkEnlargementPending());
	HC3 store;
	std::vector<Point3*> vHandles, vOrdered;
	store.insert(std::vector<Point3>{Point3(0, 0, 0), Point3(10, 10, 10)}, vHandles, vOrdered);
	bOk = bOk && store.getBox().getMinPoint() == Point3(-0.5, -0.5, -0.5) &&
		store.getBox().getMaxPoint() == Point3(10.5, 10.5, 10.5) && !HC3::isFirstBulkEnlargementPending();
	vHandles.clear();
	store.insert(std::vector<Point3>{Point3(20.5, 0, 0)}, vHandles, vOrdered);
	return bOk && store.getBox().getMinPoint() == Point3(-11, -6, -6) && store.getBox().getMaxPoint() == Point3(31, 16, 16) ? 0 : 1;
}

TEST(VertexStore, FirstBulkEnlargementOfAProcessIsATenth)
{
	GTEST_FLAG_SET(death_test_style, "threadsafe");
	EXPECT_EXIT(exit(enlargementsOfAFreshProcess()), ::testing::ExitedWithCode(0), "");
}
