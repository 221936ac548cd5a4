// The kernel's stages one by one: the walk and its result codes, the first
// cell, cell creation and its messages, the cavity bookkeeping (recycling,
// facet pairing), the fill from a list of removed cells and the hull split.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "Dt3.h"
#include "ExactPredicates.h"
#include "MeshInvariants.h"
#include "StdoutCapture.h"
#include "RandomPoints.h"

using VORN3D::Dt3;
using VORN3D::Point3;
using VORN3D::Tet3;

using vtest::randomPoints;

namespace {

// A kernel holding the one cell of the unit corner tetrahedron.
struct OneCell
{
	Dt3 dt;
	Tet3* pTet;
	std::vector<Point3*> vHandles;
	OneCell(): dt(nullptr)
	{
		std::vector<Point3> v = {Point3(0, 0, 0), Point3(4, 0, 0), Point3(0, 4, 0), Point3(0, 0, 4)};
		vtest::StdoutCapture quiet;
		dt.insert(v, vHandles);
		std::vector<Tet3*> vTets;
		dt.getAllTetrahedra(vTets);
		pTet = vTets.at(0);
	}
};

} // namespace

TEST(Walk, ResultCodesOnOneCell)
{
	OneCell one;
	Tet3* pTet(one.pTet);
	const Point3 inside(1, 1, 1);
	EXPECT_EQ(one.dt.locateConflictTet(&inside, pTet), -1);
	EXPECT_EQ(pTet, one.pTet);

	for(Point3* pCorner : one.vHandles)
	{
		const Point3 copy(*pCorner);
		pTet = one.pTet;
		EXPECT_EQ(one.dt.locateConflictTet(&copy, pTet), -2);
	}

	// Outside: a hull facet that sees the point, with no neighbour.
	for(const Point3& outside : {Point3(-1, 1, 1), Point3(1, -1, 1), Point3(1, 1, -1), Point3(3, 3, 3)})
	{
		pTet = one.pTet;
		const int code(one.dt.locateConflictTet(&outside, pTet));
		ASSERT_GE(code, 0);
		ASSERT_LE(code, 3);
		EXPECT_EQ(pTet->getOppTet(code), nullptr);
		int a, b, c;
		pTet->getFacetIndices(code, a, b, c);
		// The facet's corners in table order see the opposite corner on the
		// positive side and the outside point on the negative one.
		EXPECT_EQ(vtest::exactOrientation(*pTet->getCorner(a), *pTet->getCorner(b), *pTet->getCorner(c), outside) *
				vtest::exactOrientation(*pTet->getCorner(a), *pTet->getCorner(b), *pTet->getCorner(c),
					*pTet->getCorner(code)),
			-1);
	}

	// On a hull facet: that facet's index; on a hull edge: a hull facet at it.
	const Point3 onFacet(1, 1, 0);
	pTet = one.pTet;
	const int facetCode(one.dt.locateConflictTet(&onFacet, pTet));
	ASSERT_GE(facetCode, 0);
	EXPECT_EQ(*pTet->getCorner(facetCode), Point3(0, 0, 4));
	const Point3 onEdge(2, 0, 0);
	pTet = one.pTet;
	const int edgeCode(one.dt.locateConflictTet(&onEdge, pTet));
	ASSERT_GE(edgeCode, 0);
	EXPECT_EQ(pTet->getOppTet(edgeCode), nullptr);
	const Point3 opposite(*pTet->getCorner(edgeCode));
	EXPECT_TRUE(opposite == Point3(0, 4, 0) || opposite == Point3(0, 0, 4));
}

TEST(Walk, FromEveryStartTheSameAnswer)
{
	Dt3 dt(nullptr);
	std::vector<Point3> v(randomPoints(400, 3));
	std::vector<Point3*> vHandles;
	{
		vtest::StdoutCapture quiet;
		dt.insert(v, vHandles);
	}
	std::vector<Tet3*> vTets;
	dt.getAllTetrahedra(vTets);
	std::vector<Point3> vQueries(randomPoints(20, 4));
	for(size_t s = 0; s < vTets.size(); s += 97)
	{
		for(const Point3& q : vQueries)
		{
			Tet3* pTet(vTets[s]);
			const int code(dt.locateConflictTet(&q, pTet));
			if(code == -1)
			{
				for(int i = 0; i < 4; ++i)
				{
					// q in the closed cell: no facet has it strictly beyond.
					Point3 c[4] = {*pTet->getCorner(0), *pTet->getCorner(1), *pTet->getCorner(2), *pTet->getCorner(3)};
					c[i] = q;
					EXPECT_GE(vtest::exactOrientation(c[0], c[1], c[2], c[3]), 0);
				}
			}
			else
			{
				ASSERT_GE(code, 0);
				EXPECT_EQ(pTet->getOppTet(code), nullptr);
			}
		}
	}
}

TEST(FirstCell, FirstNonCoplanarQuadrupleInStoreOrder)
{
	// The store lists vertices in its own order; the first cell must be the
	// first non-coplanar quadruple i<j<k<l of that list, first two swapped
	// when negative.
	for(unsigned seed = 0; seed < 6; ++seed)
	{
		Dt3 dt(nullptr);
		std::mt19937 rng(seed);
		std::uniform_int_distribution<int> dist(0, 3);
		// Mostly on one plane, a few lifted: the first quadruple is not
		// the first four.
		std::vector<Point3> v;
		for(int i = 0; i < 12; ++i) v.push_back(Point3(dist(rng), dist(rng), i % 5 == 4 ? 1.0 : 0.0));
		for(Point3& p : v)
		{
			vtest::StdoutCapture quiet;
			dt.insert(p);
			if(dt.is3D()) break;
		}
		ASSERT_TRUE(dt.is3D());
		std::vector<Point3*> vStore;
		dt.getVertices(vStore);
		std::vector<Tet3*> vTets;
		dt.getAllTetrahedra(vTets);
		ASSERT_EQ(vTets.size(), 1u);
		const Tet3* pTet(vTets[0]);
		bool bFound(false);
		const size_t n(vStore.size());
		for(size_t i = 0; i < n && !bFound; ++i)
		{
			for(size_t j = i + 1; j < n && !bFound; ++j)
			{
				for(size_t k = j + 1; k < n && !bFound; ++k)
				{
					for(size_t l = k + 1; l < n && !bFound; ++l)
					{
						const int o(vtest::exactOrientation(*vStore[i], *vStore[j], *vStore[k], *vStore[l]));
						if(o == 0) continue;
						bFound = true;
						EXPECT_EQ(pTet->getCorner(0), o > 0 ? vStore[i] : vStore[j]);
						EXPECT_EQ(pTet->getCorner(1), o > 0 ? vStore[j] : vStore[i]);
						EXPECT_EQ(pTet->getCorner(2), vStore[k]);
						EXPECT_EQ(pTet->getCorner(3), vStore[l]);
					}
				}
			}
		}
		EXPECT_TRUE(bFound);
		for(int i = 0; i < 4; ++i)
		{
			EXPECT_EQ(pTet->getOppTet(i), nullptr);
			EXPECT_EQ(pTet->getCorner(i)->getOneTet(), pTet);
		}
		// Called again on a 3D kernel it refuses.
		vtest::StdoutCapture capture;
		EXPECT_THROW(dt.buildFirstTet(), VornException);
		EXPECT_NE(capture.str().find("Condition [ !bFullDimensional failed ]"), std::string::npos);
	}
}

TEST(FirstCell, CoplanarPointsGiveNone)
{
	Dt3 dt(nullptr);
	for(int i = 0; i < 6; ++i)
	{
		Point3 p(i % 3, i / 3, 2.0);
		dt.insert(p);
	}
	EXPECT_FALSE(dt.is3D());
	EXPECT_EQ(dt.buildFirstTet(), nullptr);
}

// The first cell is the first non-coplanar quadruple of the store's list,
// whatever the list looks like: checked against all quadruples in order, on
// lists whose first vertices are collinear or coplanar in many ways. Single
// insertions stop right after the first cell, so it can be read back.
TEST(FirstCell, AgreesWithTheExhaustiveSearchOnDegenerateLists)
{
	for(unsigned seed = 0; seed < 40; ++seed)
	{
		std::mt19937 rng(seed);
		std::uniform_int_distribution<int> small(-2, 2);
		std::vector<Point3> v;
		// A few points on a line, then on a plane, then maybe a lift.
		// Half of the lists are mostly one line, so that the store's
		// first vertices are often collinear.
		const bool bLineHeavy(seed % 2 == 0);
		const int numLine(bLineHeavy ? 6 + seed % 5 : 2 + seed % 4), numPlane(bLineHeavy ? 1 + seed % 2 : 3 + seed % 5);
		for(int i = 0; i < numLine; ++i) v.push_back(Point3(i, 2.0 * i, -i));
		for(int i = 0; i < numPlane; ++i) v.push_back(Point3(small(rng), small(rng), 0.5));
		if(seed % 3 != 0) v.push_back(Point3(small(rng), small(rng), small(rng) + 3.0));
		std::shuffle(v.begin(), v.end(), rng);
		Dt3 dt(nullptr);
		for(Point3& p : v)
		{
			vtest::StdoutCapture quiet;
			dt.insert(p);
			if(dt.is3D()) break;
		}
		std::vector<Point3*> vStore;
		dt.getVertices(vStore);
		const size_t n(vStore.size());
		Point3* aExpected[4] = {nullptr, nullptr, nullptr, nullptr};
		int orientation(0);
		for(size_t i = 0; i < n && orientation == 0; ++i)
			for(size_t j = i + 1; j < n && orientation == 0; ++j)
				for(size_t k = j + 1; k < n && orientation == 0; ++k)
					for(size_t l = k + 1; l < n && orientation == 0; ++l)
					{
						orientation = vtest::exactOrientation(*vStore[i], *vStore[j], *vStore[k], *vStore[l]);
						aExpected[0] = orientation > 0 ? vStore[i] : vStore[j];
						aExpected[1] = orientation > 0 ? vStore[j] : vStore[i];
						aExpected[2] = vStore[k];
						aExpected[3] = vStore[l];
					}
		ASSERT_EQ(dt.is3D(), orientation != 0) << seed;
		if(orientation == 0) continue;
		std::vector<Tet3*> vTets;
		dt.getAllTetrahedra(vTets);
		ASSERT_EQ(vTets.size(), 1u) << seed;
		for(int c = 0; c < 4; ++c) EXPECT_EQ(vTets[0]->getCorner(c), aExpected[c]) << seed;
	}
}

// Thousands of coplanar points: the start finds that there is no cell yet
// in a linear number of tests, and one lifting point then starts the mesh.
TEST(FirstCell, ManyCoplanarPointsThenOneLift)
{
	std::vector<Point3> v;
	for(int i = 0; i < 3000; ++i) v.push_back(Point3(i % 60, i / 60, 7.0));
	Dt3 dt(nullptr);
	std::vector<Point3*> vHandles;
	{
		vtest::StdoutCapture quiet;
		dt.insert(v, vHandles);
	}
	EXPECT_FALSE(dt.is3D());
	std::vector<Point3> vLift = {Point3(30.5, 25.5, 9.0)};
	{
		vtest::StdoutCapture quiet;
		vHandles.clear();
		dt.insert(vLift, vHandles);
	}
	ASSERT_TRUE(dt.is3D());
	std::vector<Point3*> vStore;
	dt.getVertices(vStore);
	EXPECT_EQ(vStore.size(), 3001u);
	EXPECT_EQ(vtest::checkMesh(dt), "");
}

TEST(CreateTet, FlatCellIsReportedAndMadeNegativeThrows)
{
	Dt3 dt(nullptr);
	Point3 a(0, 0, 0), b(1, 0, 0), c(0, 1, 0), d(1, 1, 0), e(0, 0, 1);
	{
		vtest::StdoutCapture capture;
		Tet3* pFlat(dt.createTet(&a, &b, &c, &d));
		ASSERT_NE(pFlat, nullptr);
		const std::string out(capture.str());
		EXPECT_EQ(out.find("Dt3::createTet(), ERROR: ORIENTATION3_COPLANAR ORIENTATION OF: \n"), 0u);
		EXPECT_NE(out.find("..probably a legal situaion but observe!\n"), std::string::npos);
		EXPECT_EQ(pFlat->getCorner(3), &d);
		EXPECT_EQ(d.getOneTet(), pFlat);
	}
	{
		vtest::StdoutCapture capture;
		EXPECT_THROW(dt.createTet(&b, &a, &c, &e), VornException);
		EXPECT_NE(capture.str().find("Dt3::createTet(), ERROR: ORIENTATION3_NEGATIVE ORIENTATION OF: \n"),
			std::string::npos);
		EXPECT_NE(capture.str().find("Condition [ false failed ]"), std::string::npos);
	}
	vtest::StdoutCapture capture;
	Tet3* pGood(dt.createTet(&a, &b, &c, &e));
	EXPECT_EQ(capture.str(), "");
	EXPECT_EQ(pGood->getCustomIndex(), -1);
	EXPECT_FALSE(pGood->hasBeenVisited);
}

TEST(Cavity, RemovedCellsStayReadableUntilTheNextInsertionReusesThem)
{
	Dt3 dt(nullptr);
	std::vector<Point3> v(randomPoints(200, 5));
	std::vector<Point3*> vHandles;
	{
		vtest::StdoutCapture quiet;
		dt.insert(v, vHandles);
	}
	std::vector<Point3> vMore(randomPoints(40, 6));
	for(Point3& p : vMore)
	{
		// Scale into the middle so that every point lands inside the hull.
		Point3 q(0.3 + 0.4 * p.x(), 0.3 + 0.4 * p.y(), 0.3 + 0.4 * p.z());
		dt.insert(q);
		EXPECT_EQ(dt.getNumStoredTCS(), 0);
		EXPECT_EQ(dt.getNumHashCollisions(), 0u);
		const std::vector<Tet3*> vRemoved(dt.getDoomedTets());
		ASSERT_FALSE(vRemoved.empty());
		std::vector<std::vector<Point3*>> vCorners;
		for(const Tet3* pTet : vRemoved)
		{
			EXPECT_TRUE(pTet->hasBeenVisited);
			EXPECT_EQ(pTet->getCustomIndex(), -1);
			vCorners.push_back({pTet->getCorner(0), pTet->getCorner(1), pTet->getCorner(2), pTet->getCorner(3)});
		}
		std::vector<Tet3*> vLive;
		dt.getAllTetrahedra(vLive);
		for(const Tet3* pTet : vRemoved)
		{
			EXPECT_FALSE(std::binary_search(vLive.begin(), vLive.end(), pTet));
		}
		// The next insertion builds its cells in the removed ones first.
		Point3 next(0.5 + 0.01 * p.x(), 0.5 + 0.01 * p.y(), 0.5 + 0.01 * p.z());
		const size_t numPoolBefore(dt.getNumTets() + dt.getDoomedTets().size() + dt.getFreeTets().size());
		dt.insert(next);
		const size_t numPoolAfter(dt.getNumTets() + dt.getDoomedTets().size() + dt.getFreeTets().size());
		std::vector<Tet3*> vLiveAfter;
		dt.getAllTetrahedra(vLiveAfter);
		size_t numReused(0);
		for(const Tet3* pTet : vRemoved) numReused += std::binary_search(vLiveAfter.begin(), vLiveAfter.end(), pTet);
		EXPECT_GT(numReused, 0u);
		if(numPoolAfter > numPoolBefore)
		{
			// New pool cells only once every recycled one is used.
			EXPECT_EQ(numReused, vRemoved.size());
		}
	}
	EXPECT_EQ(vtest::checkMesh(dt), "");
}

TEST(Cavity, CosphericalNeighbourStaysOutOfTheCavity)
{
	// The cube's corners are cospherical: inserting the eighth corner must
	// leave the cells whose sphere passes through it alone, and the mesh
	// stays valid.
	Dt3 dt(nullptr);
	std::vector<Point3> v;
	for(int i = 0; i < 8; ++i) v.push_back(Point3(i & 1, (i >> 1) & 1, (i >> 2) & 1));
	std::vector<Point3*> vHandles;
	{
		vtest::StdoutCapture quiet;
		dt.insert(v, vHandles);
	}
	vtest::MeshStats stats;
	EXPECT_EQ(vtest::checkMesh(dt, true, &stats), "");
	EXPECT_EQ(stats.numVertices, 8u);
	Point3 centre(0.5, 0.5, 0.5);
	dt.insert(centre);
	EXPECT_EQ(vtest::checkMesh(dt, true, &stats), "");
	EXPECT_EQ(stats.numVertices, 9u);
}

TEST(Fill, EmptyListAndUnmarkedCellAreRefused)
{
	OneCell one;
	Point3 p(1, 1, 1);
	std::vector<Tet3*> vNone;
	{
		vtest::StdoutCapture capture;
		EXPECT_THROW(one.dt.fillCavityOfDoomedTets(vNone, &p), VornException);
		EXPECT_EQ(capture.str().substr(0, 57), "Warning: vDoomedTets() without input tets, returning NULL");
	}
	std::vector<Tet3*> vUnmarked(1, one.pTet);
	vtest::StdoutCapture capture;
	EXPECT_THROW(one.dt.fillCavityOfDoomedTets(vUnmarked, &p), VornException);
	EXPECT_NE(capture.str().find("Condition [ pDoomedTet->hasBeenVisited failed ]"), std::string::npos);
}

TEST(Hull, ACellListedTwiceIsRemovedOnce)
{
	OneCell one;
	// Outside facet 0 of the cell but inside its circumsphere.
	Point3 p(2.5, 2.5, 0.5);
	std::vector<Tet3*> vListed = {one.pTet, one.pTet};
	std::vector<Tet3*> vKeep, vDoomed;
	one.dt.splitCHTets(vListed, vKeep, vDoomed, &p);
	EXPECT_TRUE(vKeep.empty());
	ASSERT_EQ(vDoomed.size(), 1u);
	EXPECT_EQ(std::count(one.dt.getDoomedTets().begin(), one.dt.getDoomedTets().end(), one.pTet), 1);
	EXPECT_TRUE(one.pTet->hasBeenVisited);
}

TEST(Hull, PointBeyondOneFacetAddsOneCellOrReplacesTheCell)
{
	{
		// Outside the circumsphere: one new cell on the visible facet.
		OneCell one;
		Point3 far(-10, 1, 1);
		one.dt.insert(far);
		vtest::MeshStats stats;
		EXPECT_EQ(vtest::checkMesh(one.dt, true, &stats), "");
		EXPECT_EQ(stats.numCells, 2u);
	}
	{
		// Inside it: the cell is removed and the hole refilled.
		OneCell one;
		Point3 near(2.5, 2.5, 0.5);
		one.dt.insert(near);
		vtest::MeshStats stats;
		EXPECT_EQ(vtest::checkMesh(one.dt, true, &stats), "");
		EXPECT_EQ(stats.numVertices, 5u);
		EXPECT_TRUE(one.pTet->hasBeenVisited);
	}
	{
		// Beyond two facets at once: a cell with two visible facets.
		OneCell one;
		Point3 corner(-3, -3, 1);
		one.dt.insert(corner);
		vtest::MeshStats stats;
		EXPECT_EQ(vtest::checkMesh(one.dt, true, &stats), "");
		EXPECT_EQ(stats.numVertices, 5u);
	}
}

TEST(Batches, TriangulateOnEmptyInputSaysSo)
{
	OneCell one;
	std::vector<Point3*> vNone;
	vtest::StdoutCapture capture;
	one.dt.triangulate(vNone, one.pTet);
	EXPECT_EQ(capture.str(), "Attention: triangulate has got an empty vector\n");
}

TEST(Batches, SeventeenAndMoreVerticesInSeveralBatches)
{
	// Sizes around the batch boundaries (16, 17, 32, 33): every vertex ends
	// up in the mesh whatever the split.
	for(size_t n : {16u, 17u, 32u, 33u, 1000u})
	{
		Dt3 dt(nullptr);
		std::vector<Point3> v(randomPoints(n, static_cast<unsigned>(n)));
		std::vector<Point3*> vHandles;
		{
			vtest::StdoutCapture quiet;
			dt.insert(v, vHandles);
		}
		vtest::MeshStats stats;
		EXPECT_EQ(vtest::checkMesh(dt, true, &stats), "");
		EXPECT_EQ(stats.numVertices, n);
	}
}
