// Tet3: the index tables against each other and against geometry, creation
// numbers, neighbour links and their consistency checks, the print format,
// and the fatal exits for inconsistent meshes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <set>
#include <sstream>
#include <utility>
#include <vector>

#include "SimplePool.h"
#include "StdoutCapture.h"
#include "Tet3.h"

using VORN3D::Point3;
using VORN3D::SimplePool;
using VORN3D::Tet3;

namespace {

// Plain double arithmetic is enough for the small, well-shaped cells below.
double orientation(const Point3& a, const Point3& b, const Point3& c, const Point3& d)
{
	const double bx(b.x() - a.x()), by(b.y() - a.y()), bz(b.z() - a.z());
	const double cx(c.x() - a.x()), cy(c.y() - a.y()), cz(c.z() - a.z());
	const double dx(d.x() - a.x()), dy(d.y() - a.y()), dz(d.z() - a.z());
	return bx * (cy * dz - cz * dy) - by * (cx * dz - cz * dx) + bz * (cx * dy - cy * dx);
}

std::string addressText(const void* p)
{
	std::ostringstream stream;
	stream << p;
	return stream.str();
}

// The facet table through a cell, as the library reads it.
void facetIndices(int opp3, int& a, int& b, int& c)
{
	static SimplePool<Tet3> pool;
	static Point3 aCorner[4] = {Point3(0, 0, 0), Point3(1, 0, 0), Point3(0, 1, 0), Point3(0, 0, 1)};
	static Tet3* pCell(nullptr);
	if(pCell == nullptr)
	{
		pool.init();
		pCell = pool.alloc();
		pCell->setProperties(&aCorner[0], &aCorner[1], &aCorner[2], &aCorner[3]);
	}
	pCell->getFacetIndices(opp3, a, b, c);
}

// Runs f with std::cout sent to std::cerr, so that a death test can match
// what the library prints on standard output before it stops.
template <class F> void withStdoutOnStderr(F f)
{
	std::cout.rdbuf(std::cerr.rdbuf());
	f();
}

// Cells come from a pool, as in the library: Tet3 cannot be copied and its
// default constructor is only a diagnostic.
class CellFixture : public ::testing::Test
{
protected:
	void SetUp() override { pool.init(); }

	Tet3* newCell(Point3* p0, Point3* p1, Point3* p2, Point3* p3)
	{
		Tet3* pCell(pool.alloc());
		pCell->setProperties(p0, p1, p2, p3);
		return pCell;
	}

	SimplePool<Tet3> pool;
};

// The unit corner cell, positively oriented, and a point beyond each facet.
class StarFixture : public CellFixture
{
protected:
	void SetUp() override
	{
		CellFixture::SetUp();
		pCenter = newCell(&aCorner[0], &aCorner[1], &aCorner[2], &aCorner[3]);
		// Even permutations keep the orientation but move the apex to
		// another index in every neighbour.
		const int aPermutation[4][4] = {{0, 1, 2, 3}, {1, 0, 3, 2}, {2, 3, 0, 1}, {3, 2, 1, 0}};
		for(int i = 0; i < 4; ++i)
		{
			int a, b, c;
			pCenter->getFacetIndices(i, a, b, c);
			// Seen from the apex outside facet i, the facet's corners turn
			// counter-clockwise, so (a, b, c, apex) is positive.
			Point3* aRaw[4] = {&aCorner[a], &aCorner[b], &aCorner[c], &aApex[i]};
			Point3* aSorted[4];
			for(int k = 0; k < 4; ++k) aSorted[k] = aRaw[aPermutation[i][k]];
			aNeighbor[i] = newCell(aSorted[0], aSorted[1], aSorted[2], aSorted[3]);
			pCenter->setOppTet(i, aNeighbor[i]);
			aNeighbor[i]->setOppTet(aNeighbor[i]->getIntraTetIndex(&aApex[i]), pCenter);
		}
	}

	Point3 aCorner[4] = {Point3(0, 0, 0), Point3(1, 0, 0), Point3(0, 1, 0), Point3(0, 0, 1)};
	Point3 aApex[4] = {Point3(1, 1, 1), Point3(-1, 0.2, 0.3), Point3(0.2, -1, 0.3), Point3(0.3, 0.2, -1)};
	Tet3* pCenter;
	Tet3* aNeighbor[4];
};

} // namespace

TEST(Tet3Tables, FacetCornersAreTheOtherThreeCorners)
{
	for(int i = 0; i < 4; ++i)
	{
		int a(-1), b(-1), c(-1);
		facetIndices(i, a, b, c);
		std::set<int> vExpected{0, 1, 2, 3};
		vExpected.erase(i);
		EXPECT_EQ((std::set<int>{a, b, c}), vExpected) << "facet " << i;
	}
}

TEST(Tet3Tables, EdgesRunAgainstTheFacetCornerOrder)
{
	std::set<std::pair<int, int>> vDirected;
	for(int i = 0; i < 4; ++i)
	{
		int aCorners[3];
		facetIndices(i, aCorners[0], aCorners[1], aCorners[2]);
		for(int k = 0; k < 3; ++k)
		{
			const std::pair<int, int> edge(Tet3::getEdgeIndices(i, k));
			EXPECT_NE(edge.first, i);
			EXPECT_NE(edge.second, i);
			// Reversed cycle from the first corner: c0 -> c2 -> c1 -> c0.
			const int aReversed[4] = {aCorners[0], aCorners[2], aCorners[1], aCorners[0]};
			EXPECT_EQ(edge.first, aReversed[k]) << "facet " << i << " edge " << k;
			EXPECT_EQ(edge.second, aReversed[k + 1]) << "facet " << i << " edge " << k;
			vDirected.insert(edge);
		}
	}
	// With consistently oriented facets every one of the six edges is used
	// once in each direction.
	EXPECT_EQ(vDirected.size(), 12u);
	for(const std::pair<int, int>& edge : vDirected)
	{
		EXPECT_EQ(vDirected.count(std::make_pair(edge.second, edge.first)), 1u);
	}
}

TEST(Tet3Tables, FacetsTurnCounterClockwiseSeenFromOutside)
{
	// Positive cells of different shapes; each facet's normal by the
	// right-hand rule of its corner order must point away from the cell.
	const std::vector<std::array<Point3, 4>> vCells{
		{Point3(0, 0, 0), Point3(1, 0, 0), Point3(0, 1, 0), Point3(0, 0, 1)},
		{Point3(2, -1, 0.5), Point3(3, 4, -2), Point3(-5, 1, 1), Point3(0.25, 0.5, 7)},
		{Point3(0, 0, 0), Point3(10, 0, 0), Point3(0, 0.1, 0), Point3(5, 5, 0.01)}};
	for(std::array<Point3, 4> aCorner : vCells)
	{
		if(orientation(aCorner[0], aCorner[1], aCorner[2], aCorner[3]) < 0) std::swap(aCorner[2], aCorner[3]);
		ASSERT_GT(orientation(aCorner[0], aCorner[1], aCorner[2], aCorner[3]), 0);
		for(int i = 0; i < 4; ++i)
		{
			int a, b, c;
			facetIndices(i, a, b, c);
			// The opposite corner lies on the negative side of the facet.
			EXPECT_LT(orientation(aCorner[a], aCorner[b], aCorner[c], aCorner[i]), 0) << "facet " << i;
			// A point beyond the facet (mirror of the opposite corner through
			// the facet's centroid) lies on its positive side.
			const double cx((aCorner[a].x() + aCorner[b].x() + aCorner[c].x()) / 3.0);
			const double cy((aCorner[a].y() + aCorner[b].y() + aCorner[c].y()) / 3.0);
			const double cz((aCorner[a].z() + aCorner[b].z() + aCorner[c].z()) / 3.0);
			const Point3 beyond(2 * cx - aCorner[i].x(), 2 * cy - aCorner[i].y(), 2 * cz - aCorner[i].z());
			EXPECT_GT(orientation(aCorner[a], aCorner[b], aCorner[c], beyond), 0) << "facet " << i;
		}
	}
}

// Creates a cell by the default constructor and one from a pool and exits
// with 0 when they got the first two creation numbers of the process.
void exitWithFirstNumbersCheck()
{
	std::ostringstream sink;
	std::streambuf* pOld(std::cout.rdbuf(sink.rdbuf()));
	const bool bFresh(Tet3::runningLabel == 1000);
	Tet3 first;
	SimplePool<Tet3> pool;
	pool.init();
	Point3 a(0, 0, 0), b(1, 0, 0), c(0, 1, 0), d(0, 0, 1);
	Tet3* pSecond(pool.alloc());
	pSecond->setProperties(&a, &b, &c, &d);
	std::cout.rdbuf(pOld);
	const bool bOk(bFresh && first.getID() == 1000 && pSecond->getID() == 1001 && Tet3::runningLabel == 1002 &&
		sink.str() == "Tet default constructor (is actually not called)\n");
	exit(bOk ? 0 : 3);
}

TEST(Tet3Creation, FirstCellsOfAProcessAreNumberedFrom1000)
{
	// A fresh process, so that no cell of another test was counted before.
	GTEST_FLAG_SET(death_test_style, "threadsafe");
	EXPECT_EXIT(exitWithFirstNumbersCheck(), ::testing::ExitedWithCode(0), "");
}

TEST(Tet3Creation, DefaultConstructorAnnouncesItselfAndClearsEverything)
{
	vtest::StdoutCapture capture;
	const int label(Tet3::runningLabel);
	Tet3 cell;
	EXPECT_EQ(capture.str(), "Tet default constructor (is actually not called)\n");
	EXPECT_EQ(cell.getID(), label);
	EXPECT_EQ(Tet3::runningLabel, label + 1);
	EXPECT_FALSE(cell.hasBeenVisited);
	EXPECT_EQ(cell.getCustomIndex(), -1);
	for(int i = 0; i < 4; ++i)
	{
		EXPECT_EQ(cell.getCorner(i), nullptr);
		EXPECT_EQ(cell.getOppTet(i), nullptr);
	}
}

TEST_F(CellFixture, SetPropertiesInitialisesAReusedCell)
{
	Point3 a(0, 0, 0), b(1, 0, 0), c(0, 1, 0), d(0, 0, 1), e(1, 1, 1);
	Tet3* pCell(newCell(&a, &b, &c, &d));
	Tet3* pOther(newCell(&b, &c, &d, &e));
	EXPECT_EQ(pOther->getID(), pCell->getID() + 1);
	EXPECT_EQ(a.getOneTet(), pCell);
	EXPECT_EQ(e.getOneTet(), pOther);
	EXPECT_EQ(b.getOneTet(), pOther);

	pCell->setOppTet(0, pOther);
	pCell->setOppTet(2, pOther);
	pCell->hasBeenVisited = true;
	pCell->setCustomIndex(17);
	EXPECT_EQ(pCell->getCustomIndex(), 17);
	const int oldID(pCell->getID());
	const int label(Tet3::runningLabel);
	pCell->setProperties(&d, &c, &b, &e);
	EXPECT_EQ(pCell->getID(), label);
	EXPECT_NE(pCell->getID(), oldID);
	EXPECT_FALSE(pCell->hasBeenVisited);
	EXPECT_EQ(pCell->getCustomIndex(), -1);
	Point3 *p0, *p1, *p2, *p3;
	pCell->getCorners(p0, p1, p2, p3);
	EXPECT_EQ(p0, &d);
	EXPECT_EQ(p1, &c);
	EXPECT_EQ(p2, &b);
	EXPECT_EQ(p3, &e);
	for(int i = 0; i < 4; ++i) EXPECT_EQ(pCell->getOppTet(i), nullptr);
	EXPECT_EQ(e.getOneTet(), pCell);
}

TEST_F(CellFixture, SetCornerLeavesThePointsLinkAlone)
{
	Point3 a(0, 0, 0), b(1, 0, 0), c(0, 1, 0), d(0, 0, 1), e(1, 1, 1);
	Tet3* pCell(newCell(&a, &b, &c, &d));
	pCell->setCorner(3, &e);
	EXPECT_EQ(pCell->getCorner(3), &e);
	EXPECT_EQ(e.getOneTet(), nullptr);
	EXPECT_EQ(d.getOneTet(), pCell);
}

TEST_F(CellFixture, AssignmentCopiesEveryField)
{
	Point3 a(0, 0, 0), b(1, 0, 0), c(0, 1, 0), d(0, 0, 1);
	Tet3* pCell(newCell(&a, &b, &c, &d));
	Tet3* pOther(newCell(&d, &c, &b, &a));
	pCell->setOppTet(1, pOther);
	pCell->hasBeenVisited = true;
	pCell->setCustomIndex(5);
	*pOther = *pCell;
	EXPECT_EQ(pOther->getID(), pCell->getID());
	EXPECT_TRUE(pOther->hasBeenVisited);
	EXPECT_EQ(pOther->getCustomIndex(), 5);
	EXPECT_EQ(pOther->getOppTet(1), pOther);
	for(int i = 0; i < 4; ++i) EXPECT_EQ(pOther->getCorner(i), pCell->getCorner(i));
}

TEST_F(CellFixture, HasVertexByPointerAndByCoordinates)
{
	Point3 a(0, 0, 0), b(1, 0, 0), c(0, 1, 0), d(0, 0, 1);
	Tet3* pCell(newCell(&a, &b, &c, &d));
	const Point3 twin(0, 1, 0);
	EXPECT_TRUE(pCell->hasVertex(&c));
	EXPECT_FALSE(pCell->hasVertex(&twin));
	EXPECT_TRUE(pCell->hasVertex(twin));
	EXPECT_FALSE(pCell->hasVertex(Point3(1, 1, 0)));
	for(int i = 0; i < 4; ++i) EXPECT_EQ(pCell->getIntraTetIndex(pCell->getCorner(i)), i);
}

TEST_F(StarFixture, NeighbourIndicesAgreeWithAndWithoutLinks)
{
	for(int i = 0; i < 4; ++i)
	{
		Tet3* pNeig(aNeighbor[i]);
		ASSERT_GT(orientation(*pNeig->getCorner(0), *pNeig->getCorner(1), *pNeig->getCorner(2),
					  *pNeig->getCorner(3)),
			0);
		EXPECT_EQ(pCenter->getOppTet(i), pNeig);
		EXPECT_EQ(pCenter->getOppTet(&aCorner[i]), pNeig);
		EXPECT_EQ(pNeig->getIntraTetIndex(pCenter), pNeig->getIntraTetIndex(&aApex[i]));
		EXPECT_EQ(pCenter->getIntraTetIndex(pNeig), i);
		const int back(pCenter->getIntraTetIndexInOppTet(i));
		EXPECT_EQ(pNeig->getOppTet(back), pCenter);
		EXPECT_EQ(pNeig->getIntraTetIndexInOppTetForReg(pCenter, i), back);
		EXPECT_EQ(pCenter->getIntraTetIndexInOppTetForReg(pNeig, back), i);
		EXPECT_EQ(pCenter->getOppVtxInOppTet(i, false), &aApex[i]);
		EXPECT_EQ(pNeig->getOppVtxInOppTet(back, false), &aCorner[i]);
		EXPECT_TRUE(Tet3::haveCommonFacet(pCenter, i, pNeig, back));
		EXPECT_TRUE(Tet3::haveCommonFacet(pNeig, back, pCenter, i));
		// The outer cells are on the hull everywhere else.
		for(int k = 0; k < 4; ++k)
		{
			if(k == back) continue;
			EXPECT_EQ(pNeig->getOppTet(k), nullptr);
			EXPECT_EQ(pNeig->getOppVtxInOppTet(k, true), nullptr);
		}
		// Looking up "no neighbour" finds the first hull facet.
		EXPECT_EQ(pNeig->getIntraTetIndex(static_cast<const Tet3*>(nullptr)), back == 0 ? 1 : 0);
	}
}

TEST_F(StarFixture, DebugOppTetIndex)
{
	vtest::StdoutCapture capture;
	EXPECT_EQ(pCenter->debug_getOppTetIndex(2), 0);
	EXPECT_EQ(capture.str(), "Tet3::debug_getTetIndex(): Not implemented yet\n");
	const int hull((aNeighbor[0]->getIntraTetIndex(pCenter) + 1) % 4);
	EXPECT_EQ(aNeighbor[0]->debug_getOppTetIndex(hull), -1);
	EXPECT_EQ(capture.str(), "Tet3::debug_getTetIndex(): Not implemented yet\n");
}

TEST_F(CellFixture, CircumcenterIsEquidistantFromTheCorners)
{
	Point3 a(0, 0, 0), b(1, 0, 0), c(0, 1, 0), d(0, 0, 1);
	const Point3 center(newCell(&a, &b, &c, &d)->getCircumcenter());
	EXPECT_EQ(center, Point3(0.5, 0.5, 0.5));
	EXPECT_EQ(center.getIndex(), -1);
	EXPECT_EQ(center.getOneTet(), nullptr);

	Point3 e(2, -1, 0.5), f(3, 4, -2), g(-5, 1, 1), h(0.25, 0.5, 7);
	const Point3 m(newCell(&e, &f, &g, &h)->getCircumcenter());
	const auto sqDist([&m](const Point3& p) {
		return (p.x() - m.x()) * (p.x() - m.x()) + (p.y() - m.y()) * (p.y() - m.y()) + (p.z() - m.z()) * (p.z() - m.z());
	});
	EXPECT_NEAR(sqDist(f), sqDist(e), 1e-9 * sqDist(e));
	EXPECT_NEAR(sqDist(g), sqDist(e), 1e-9 * sqDist(e));
	EXPECT_NEAR(sqDist(h), sqDist(e), 1e-9 * sqDist(e));

	// A flat cell is not caught: its centre is not finite.
	Point3 q(1, 1, 0);
	const Point3 flat(newCell(&a, &b, &c, &q)->getCircumcenter());
	EXPECT_FALSE(std::isfinite(flat.x()) && std::isfinite(flat.y()) && std::isfinite(flat.z()));
}

TEST_F(StarFixture, PrintShowsEveryCornerAndMissingNeighbours)
{
	Tet3* pOuter(aNeighbor[1]);
	pOuter->hasBeenVisited = true;
	std::ostringstream stream;
	stream << *pOuter;
	std::string expected("Tetrahedron (ID=" + std::to_string(pOuter->getID()) + "), (this=" +
		addressText(pOuter) + "): hasBeenVisited=1, ownOri=ORI3_ORIENTATION3_POSITIVE\n");
	for(int i = 0; i < 4; ++i)
	{
		const Point3* pCorner(pOuter->getCorner(i));
		std::ostringstream point;
		point << *pCorner;
		expected += "ith=" + std::to_string(i) + ", vertex (" + addressText(pCorner) + "): " + point.str() +
			"  oppTet=" + addressText(pOuter->getOppTet(i)) + (pOuter->getOppTet(i) == nullptr ? " (NULL)" : "") +
			"\n";
	}
	EXPECT_EQ(stream.str(), expected);
	// The hull lines are the three whose neighbour is missing.
	size_t numNull(0);
	for(size_t at = expected.find(" (NULL)\n"); at != std::string::npos; at = expected.find(" (NULL)\n", at + 1))
		++numNull;
	EXPECT_EQ(numNull, 3u);

	// Corner order decides the orientation shown.
	Point3 a(0, 0, 0), b(1, 0, 0), c(0, 1, 0), d(0, 0, 1), e(1, 1, 0);
	std::ostringstream negative, flat;
	negative << *newCell(&a, &c, &b, &d);
	flat << *newCell(&a, &b, &c, &e);
	EXPECT_NE(negative.str().find("hasBeenVisited=0, ownOri=ORI3_ORIENTATION3_NEGATIVE\n"), std::string::npos);
	EXPECT_NE(flat.str().find(", ownOri=ORI3_ZERO\n"), std::string::npos);
}

// ---- fatal inconsistencies: the process ends with status 1 ----

TEST_F(StarFixture, NotANeighbourEndsTheProcess)
{
	Tet3* pStranger(aNeighbor[2]);
	Tet3* pOuter(aNeighbor[0]);
	std::ostringstream stranger, outer;
	stranger << *pStranger;
	outer << *pOuter;
	const std::string expected("Tet3::getIntraTetIndex went wrong: " + stranger.str() + ", this is " + outer.str() + "\n");
	EXPECT_EXIT(withStdoutOnStderr([&] { pOuter->getIntraTetIndex(pStranger); }), ::testing::ExitedWithCode(1),
		::testing::HasSubstr(expected));
}

TEST_F(StarFixture, DifferentFacetsEndTheProcess)
{
	Tet3* pOuter(aNeighbor[0]);
	const int back(pOuter->getIntraTetIndex(pCenter));
	const int wrong((back + 1) % 4);
	std::ostringstream center, outer;
	center << *pCenter;
	outer << *pOuter;
	int a, b, c, oa, ob, oc;
	pCenter->getFacetIndices(0, a, b, c);
	pOuter->getFacetIndices(wrong, oa, ob, oc);
	const std::string expected("Tet3::haveCommonFacet() ERROR\n" + center.str() + "...with index 0\n" +
		std::to_string(a) + "," + std::to_string(b) + "," + std::to_string(c) + "\n" + outer.str() +
		"...with index " + std::to_string(wrong) + "\n" + std::to_string(oa) + "," + std::to_string(ob) + "," +
		std::to_string(oc) + "\n");
	EXPECT_EXIT(withStdoutOnStderr([&] { Tet3::haveCommonFacet(pCenter, 0, pOuter, wrong); }),
		::testing::ExitedWithCode(1), ::testing::HasSubstr(expected));
}

TEST_F(StarFixture, MissingNeighbourWhereOneIsRequiredStopsTheProcess)
{
	Tet3* pOuter(aNeighbor[3]);
	const int hull((pOuter->getIntraTetIndex(pCenter) + 1) % 4);
	const std::string expected("\n      Tet3::getOppVtxInOppTet, ERROR: no neighbor tet\n");
#ifdef NDEBUG
	EXPECT_EXIT(withStdoutOnStderr([&] { pOuter->getOppVtxInOppTet(hull, false); }), ::testing::ExitedWithCode(1),
		::testing::HasSubstr(expected));
#else
	// With assertions on, the failed condition "false" stops it first.
	EXPECT_DEATH(withStdoutOnStderr([&] { pOuter->getOppVtxInOppTet(hull, false); }),
		::testing::AllOf(::testing::HasSubstr(expected), ::testing::HasSubstr("false")));
#endif
}

// ---- debug assertions ----
#ifndef NDEBUG
TEST_F(StarFixture, RangeChecksAreDebugAssertions)
{
	int a, b, c;
	EXPECT_DEATH(pCenter->getCorner(4), "range03\\(ith\\)");
	EXPECT_DEATH(pCenter->getOppTet(-1), "range03\\(ith\\)");
	EXPECT_DEATH(pCenter->setCorner(4, nullptr), "range03\\(ith\\)");
	EXPECT_DEATH(pCenter->setOppTet(4, nullptr), "range03\\(ith\\)");
	EXPECT_DEATH(pCenter->getFacetIndices(4, a, b, c), "range03\\(opp3\\)");
	EXPECT_DEATH(pCenter->getOppVtxInOppTet(-1, true), "range03\\(ith\\)");
	EXPECT_DEATH(pCenter->debug_getOppTetIndex(7), "range03\\(ith\\)");
	EXPECT_DEATH(Tet3::haveCommonFacet(pCenter, 4, aNeighbor[0], 0), "range03\\(opp3\\)");
	EXPECT_DEATH(Tet3::haveCommonFacet(pCenter, 0, aNeighbor[0], -1), "range03\\(opp3\\)");
}

TEST_F(StarFixture, LookupOfANonCornerFailsItsCondition)
{
	const Point3 stranger(5, 5, 5);
	EXPECT_DEATH(pCenter->getIntraTetIndex(&stranger), "aVertexPointer\\[3\\]==pp");
	EXPECT_DEATH(pCenter->getOppTet(&stranger), "aVertexPointer\\[3\\]==pp");
}

TEST_F(StarFixture, RegistrationIndexWithoutAFreeCornerFailsItsCondition)
{
	// A cell whose corners all lie on the facet cannot be across it.
	const char* aCondition[4] = {"pd!=p1 && pd!=p2 && pd!=p3", "pd!=p0 && pd!=p2 && pd!=p3",
		"pd!=p0 && pd!=p1 && pd!=p3", "pd!=p0 && pd!=p1 && pd!=p2"};
	for(int i = 0; i < 4; ++i)
	{
		int a, b, c;
		pCenter->getFacetIndices(i, a, b, c);
		Tet3* pDegenerate(newCell(pCenter->getCorner(a), pCenter->getCorner(b), pCenter->getCorner(c),
			pCenter->getCorner(a)));
		EXPECT_DEATH(pDegenerate->getIntraTetIndexInOppTetForReg(pCenter, i), aCondition[i]) << i;
	}
	EXPECT_DEATH(pCenter->getIntraTetIndexInOppTetForReg(aNeighbor[0], 4), "false");
}

TEST_F(StarFixture, SelfNeighbourIsReportedAndFailsItsCondition)
{
	std::ostringstream cell;
	cell << *pCenter;
	const std::string expected("this=" + addressText(pCenter) + ", pC=" + addressText(pCenter) + "\n" + cell.str() +
		"\n      Tet3::setOppTet(), WARNING: trying to set *this as neighbor of *this, ith=2\n");
	EXPECT_DEATH(withStdoutOnStderr([&] { pCenter->setOppTet(2, pCenter); }),
		::testing::AllOf(::testing::HasSubstr(expected), ::testing::HasSubstr("this!=pC")));
}

TEST_F(CellFixture, NullCornerFailsItsCondition)
{
	Point3 a(0, 0, 0);
	Tet3* pCell(pool.alloc());
	EXPECT_DEATH(pCell->setProperties(&a, &a, nullptr, &a), "\\(pI!=NULL && pJ!=NULL && pK!=NULL && pL!=NULL\\)");
}
#endif
