// The cell's index tables, the edge and facet handles and the circulation
// around an edge, checked on every cell of real meshes against the geometry
// (exact orientation) and against corner sets, never against the tables.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <memory>
#include <random>
#include <set>
#include <sstream>
#include <utility>
#include <vector>

#include "ExactPredicates.h"
#include "Facet3.h"
#include "Iterators.h"
#include "RandomPoints.h"
#include "StdoutCapture.h"
#include "Vorn_3D.h"

using namespace VORN3D;

namespace {

// A random mesh and a lattice mesh (many cells around each interior edge).
class MeshTopology : public ::testing::TestWithParam<int>
{
protected:
	void SetUp() override
	{
		if(GetParam() == 0) vPoints = vtest::randomPoints(150, 7);
		else
			for(int i = 0; i < 5; ++i)
				for(int j = 0; j < 5; ++j)
					for(int k = 0; k < 4; ++k) vPoints.push_back(Point3(i, j, k));
		vtest::StdoutCapture quiet;
		vorn.insert(vPoints);
		vorn.getTetrahedra(vTets);
	}
	std::set<Point3*> facetCorners(const Tet3* pT, int i) const
	{
		std::set<Point3*> s;
		for(int k = 0; k < 4; ++k)
			if(k != i) s.insert(pT->getCorner(k));
		return s;
	}
	Vorn_3D vorn;
	std::vector<Point3> vPoints;
	std::vector<Tet3*> vTets;
};

bool isEvenPermutation(const int a[4])
{
	int numInversions(0);
	for(int i = 0; i < 4; ++i)
		for(int j = i + 1; j < 4; ++j) numInversions += (a[i] > a[j]);
	return numInversions % 2 == 0;
}

} // namespace

// Facet i lists the other three corners, turning so that corner i lies on
// its negative side; its edges run along the reversed cycle, and so do the
// corners of its facet handle, in some rotation; neighbours share exactly the
// facet and point back; a facet handle equals itself and its twin seen from
// the neighbour, nothing else.
TEST_P(MeshTopology, CellFacetsEdgesAndNeighbours)
{
	int numTwins(0);
	for(Tet3* pT : vTets)
	{
		EXPECT_EQ(vtest::exactOrientation(*pT->getCorner(0), *pT->getCorner(1), *pT->getCorner(2), *pT->getCorner(3)), 1);
		for(int i = 0; i < 4; ++i)
		{
			int a, b, c;
			pT->getFacetIndices(i, a, b, c);
			const Point3 *pa(pT->getCorner(a)), *pb(pT->getCorner(b)), *pc(pT->getCorner(c));
			ASSERT_EQ((std::set<Point3*>{pT->getCorner(a), pT->getCorner(b), pT->getCorner(c)}), facetCorners(pT, i));
			EXPECT_EQ(vtest::exactOrientation(*pa, *pb, *pc, *pT->getCorner(i)), -1) << "facet " << i;
			const int aReversed[4] = {a, c, b, a};
			const Facet3 f(pT->getFacet(i));
			const int shift(int(std::find(aReversed, aReversed + 3, f.getIntraTetIndex(0)) - aReversed));
			for(int k = 0; k < 3; ++k)
			{
				EXPECT_EQ(Tet3::getEdgeIndices(i, k), std::make_pair(aReversed[k], aReversed[k + 1])) << i << "," << k;
				EXPECT_EQ(f.getIntraTetIndex(k), aReversed[(shift + k) % 3]);
				EXPECT_EQ(f.getEdge(k).getOpp2Index(), f.getIntraTetIndex(k));
				EXPECT_EQ(f.getEdge(k).getOpp3Index(), i);
			}
			Tet3* pN(pT->getOppTet(i));
			EXPECT_EQ(pT->getOppTet(pT->getCorner(i)), pN);
			EXPECT_EQ(pT->getIntraTetIndex(pT->getCorner(i)), i);
			const int j(pN == nullptr ? -1 : pN->getIntraTetIndex(pT));
			for(int k = 0; k < 4; ++k)
			{
				ASSERT_TRUE((f == Facet3(pT, k)) == (k == i) && (f != Facet3(pT, k)) == (k != i));
				ASSERT_TRUE(pN == nullptr || ((f == Facet3(pN, k)) == (k == j) && (f != Facet3(pN, k)) == (k != j)));
			}
			if(pN == nullptr) continue;
			EXPECT_EQ(pN->getOppTet(j), pT);
			EXPECT_EQ(pT->getIntraTetIndexInOppTet(i), j);
			EXPECT_EQ(pN->getIntraTetIndexInOppTetForReg(pT, i), j);
			EXPECT_EQ(pT->getOppVtxInOppTet(i, false), pN->getCorner(j));
			EXPECT_EQ(facetCorners(pN, j), facetCorners(pT, i));
			EXPECT_TRUE(Tet3::haveCommonFacet(pT, i, pN, j));
			++numTwins;
		}
	}
	EXPECT_GT(numTwins, 0);
}

// Every (opp3, opp2) names the edge through the other two corners as an even
// permutation; undirected edges compare equal whatever the cell and the
// direction, and an ordered set holds each edge once.
TEST_P(MeshTopology, EdgesCompareByTheirEndVertices)
{
	std::set<std::pair<Point3*, Point3*>> sPairs;
	std::set<Edge3> sEdges;
	for(Tet3* pT : vTets)
	{
		for(int o3 = 0; o3 < 4; ++o3)
			for(int o2 = 0; o2 < 4; ++o2)
			{
				if(o3 == o2) continue;
				const Edge3 e(pT->getEdge(o3, o2)), r(pT, o2, o3);
				const int perm[4] = {o3, o2, e.getSourceIndex(), e.getTargetIndex()};
				ASSERT_EQ(std::set<int>(perm, perm + 4), (std::set<int>{0, 1, 2, 3})) << o3 << "," << o2;
				EXPECT_TRUE(isEvenPermutation(perm)) << o3 << "," << o2;
				EXPECT_EQ(e.getSourceVtx(), pT->getCorner(e.getSourceIndex()));
				EXPECT_EQ(e.getTargetVtx(), pT->getCorner(e.getTargetIndex()));
				EXPECT_LT(e.getLowVtx(), e.getHighVtx());
				EXPECT_TRUE(e == r && !(e != r));
				EXPECT_EQ(r.getSourceIndex(), e.getTargetIndex());
				sPairs.insert(std::make_pair(e.getLowVtx(), e.getHighVtx()));
				sEdges.insert(e);
				sEdges.insert(r);
			}
	}
	EXPECT_EQ(sEdges.size(), sPairs.size());
}

// Circulating around each edge meets exactly the cells that have both end
// vertices: a closed ring returns to its start, an open fan ends on the hull
// in both directions.
TEST_P(MeshTopology, CirculationMeetsEveryCellAroundTheEdge)
{
	int numRings(0), numFans(0);
	for(size_t t = 0; t < vTets.size(); t += 3)
	{
		Tet3* pT(vTets[t]);
		for(int o2 = 1; o2 < 4; ++o2)
		{
			const Edge3 start(pT, 0, o2);
			std::set<Tet3*> sExpected;
			for(Tet3* pU : vTets)
				if(pU->hasVertex(start.getLowVtx()) && pU->hasVertex(start.getHighVtx())) sExpected.insert(pU);
			TetAroundEdgeIterator it(start);
			std::set<Tet3*> sMet{*it};
			size_t numSteps(0);
			while(!it.nextIsNull() && numSteps <= sExpected.size())
			{
				++it;
				++numSteps;
				EXPECT_TRUE(it.getEdge() == start);
				if(*it == pT) break;
				sMet.insert(*it);
			}
			if(*it == pT && numSteps > 0)
			{
				EXPECT_EQ(numSteps, sExpected.size());
				++numRings;
			}
			else
			{
				ASSERT_TRUE(it.nextIsNull());
				// Walk back through the other side to the other hull end.
				TetAroundEdgeIterator back(Edge3(pT, o2, 0));
				while(!back.nextIsNull() && sMet.size() <= sExpected.size())
				{
					++back;
					sMet.insert(*back);
				}
				++numFans;
			}
			EXPECT_EQ(sMet, sExpected);
		}
	}
	EXPECT_GT(numRings, 0);
	EXPECT_GT(numFans, 0);
}

INSTANTIATE_TEST_SUITE_P(Meshes, MeshTopology, ::testing::Values(0, 1));

TEST(Tet3, CircumcentreNumbersPrintAndFatalFaults)
{
	Point3 a(0, 0, 0), b(2, 0, 0), c(0, 3, 0), d(0.5, 0.5, 4);
	Tet3* pT;
	{
		vtest::StdoutCapture capture;
		pT = new Tet3();
		EXPECT_EQ(capture.str(), "Tet default constructor (is actually not called)\n");
	}
	const int id(pT->getID());
	pT->setProperties(&a, &b, &c, &d);
	EXPECT_EQ(pT->getID(), id + 1);
	const Point3 m(pT->getCircumcenter());
	const double r2(m.x() * m.x() + m.y() * m.y() + m.z() * m.z());
	for(const Point3* p : {&b, &c, &d})
	{
		const double dx(p->x() - m.x()), dy(p->y() - m.y()), dz(p->z() - m.z());
		EXPECT_NEAR(dx * dx + dy * dy + dz * dz, r2, 1e-12 * r2);
	}
	std::ostringstream text;
	text << *pT;
	EXPECT_NE(text.str().find("): hasBeenVisited=0, ownOri=ORI3_ORIENTATION3_POSITIVE\n"), std::string::npos);
	EXPECT_NE(text.str().find("ith=3, vertex ("), std::string::npos);
	EXPECT_NE(text.str().find(" (NULL)\n"), std::string::npos);
	// A cell asked for the index of a non-neighbour ends the process, and so
	// do two facets that differ in any one corner.
	EXPECT_EXIT(pT->getIntraTetIndex(pT), ::testing::ExitedWithCode(1), "");
	Point3 e(9, 9, 9);
	for(int k = 0; k < 3; ++k)
	{
		Point3* aCorner[4] = {&a, &b, &c, &d};
		int aFacet[3];
		pT->getFacetIndices(3, aFacet[0], aFacet[1], aFacet[2]);
		aCorner[aFacet[k]] = &e;
		vtest::StdoutCapture quiet;
		Tet3 other;
		other.setProperties(aCorner[0], aCorner[1], aCorner[2], aCorner[3]);
		EXPECT_EXIT(Tet3::haveCommonFacet(pT, 3, &other, 3), ::testing::ExitedWithCode(1), "") << k;
	}
	delete pT;
}

// Creation numbers wrap from INT_MAX to INT_MIN without overflow (the
// sanitizer build traps a signed overflow), and a mesh built across the wrap
// is still valid.
TEST(Tet3, CreationNumbersWrapPastIntMax)
{
	const int saved(Tet3::runningLabel);
	Point3 a(0, 0, 0), b(1, 0, 0), c(0, 1, 0), d(0, 0, 1);
	std::unique_ptr<Tet3> pCell;
	{
		vtest::StdoutCapture quiet;
		pCell.reset(new Tet3());
	}
	Tet3::runningLabel = INT_MAX - 1;
	std::vector<int> vIds;
	for(int i = 0; i < 3; ++i)
	{
		pCell->setProperties(&a, &b, &c, &d);
		vIds.push_back(pCell->getID());
	}
	EXPECT_EQ(vIds, (std::vector<int>{INT_MAX - 1, INT_MAX, INT_MIN}));
	EXPECT_EQ(Tet3::runningLabel, INT_MIN + 1);
	Tet3::runningLabel = INT_MAX - 100;
	Vorn_3D vorn;
	{
		vtest::StdoutCapture quiet;
		std::vector<Point3> vPoints(vtest::randomPoints(300, 11));
		vorn.insert(vPoints);
		EXPECT_TRUE(vorn.checkValidity("wrap", false));
	}
	EXPECT_LT(Tet3::runningLabel, 0);
	Tet3::runningLabel = saved;
}
