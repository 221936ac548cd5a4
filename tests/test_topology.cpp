// Edge and facet handles and the circulation around an edge, on small meshes
// built by hand: a closed ring of cells around an interior edge and an open
// fan around a hull edge.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iostream>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <utility>
#include <vector>

#include "Facet3.h"
#include "Iterators.h"
#include "SimplePool.h"
#include "StdoutCapture.h"
#include "Tet3.h"

using VORN3D::Edge3;
using VORN3D::Facet3;
using VORN3D::Point3;
using VORN3D::SimplePool;
using VORN3D::Tet3;
using VORN3D::TetAroundEdgeIterator;

namespace {

// Cells around the edge A-B: cell i is (A, B, P[i], P[i+1]) with its corners
// shuffled. A closed ring has m cells around an interior edge; an open fan
// has m cells and A-B lies on the hull.
class EdgeRing
{
public:
	EdgeRing(int m, bool bClosed, unsigned seed): vPoints(), vCells()
	{
		vPoints.reserve(m + 3);
		vPoints.push_back(Point3(0, 0, -1));
		vPoints.push_back(Point3(0, 0, 1));
		const double pi(std::acos(-1.0));
		const int numRing(bClosed ? m : m + 1);
		// The open fan spans half a circle so that A-B is on its hull.
		const double span(bClosed ? 2 * pi : pi);
		for(int i = 0; i < numRing; ++i)
		{
			const double a(span * i / (bClosed ? numRing : numRing - 1));
			vPoints.push_back(Point3(std::cos(a), std::sin(a), 0));
		}
		pool.init(8, -1);
		std::mt19937 rng(seed);
		for(int i = 0; i < m; ++i)
		{
			Point3* aCorner[4] = {&vPoints[0], &vPoints[1], &vPoints[2 + i], &vPoints[2 + (i + 1) % numRing]};
			std::shuffle(aCorner, aCorner + 4, rng);
			Tet3* pT(pool.alloc());
			pT->setProperties(aCorner[0], aCorner[1], aCorner[2], aCorner[3]);
			vCells.push_back(pT);
		}
		linkByCorners(vCells);
	}

	Point3* a() { return &vPoints[0]; }
	Point3* b() { return &vPoints[1]; }

	// Links every pair of cells that share three corners, by comparing
	// corner sets only.
	static void linkByCorners(const std::vector<Tet3*>& vTets)
	{
		for(Tet3* pT : vTets)
		{
			for(Tet3* pU : vTets)
			{
				if(pT == pU) continue;
				for(int i = 0; i < 4; ++i)
				{
					std::set<Point3*> facet;
					for(int k = 0; k < 4; ++k)
					{
						if(k != i) facet.insert(pT->getCorner(k));
					}
					int numShared(0);
					for(int k = 0; k < 4; ++k) numShared += static_cast<int>(facet.count(pU->getCorner(k)));
					if(numShared == 3) pT->setOppTet(i, pU);
				}
			}
		}
	}

	// The two corner indices of pT that are not A or B.
	std::pair<int, int> offEdge(const Tet3* pT)
	{
		std::vector<int> v;
		for(int i = 0; i < 4; ++i)
		{
			if(pT->getCorner(i) != a() && pT->getCorner(i) != b()) v.push_back(i);
		}
		return std::make_pair(v.at(0), v.at(1));
	}

	std::vector<Point3> vPoints;
	std::vector<Tet3*> vCells;
	SimplePool<Tet3> pool;
};

// Parity of a permutation of 0..3.
bool isEven(const int a[4])
{
	int numInversions(0);
	for(int i = 0; i < 4; ++i)
	{
		for(int j = i + 1; j < 4; ++j) numInversions += (a[i] > a[j]);
	}
	return numInversions % 2 == 0;
}

} // namespace

// ---- Edge3 ----------------------------------------------------------------

TEST(Edge3, DirectionTableNamesTheTwoOtherCornersAsAnEvenPermutation)
{
	EdgeRing ring(3, true, 1);
	Tet3* pT(ring.vCells[0]);
	for(int o3 = 0; o3 < 4; ++o3)
	{
		for(int o2 = 0; o2 < 4; ++o2)
		{
			const Edge3 e(pT, o3, o2);
			if(o3 == o2)
			{
				EXPECT_EQ(e.getSourceIndex(), -99);
				EXPECT_EQ(e.getTargetIndex(), -99);
				continue;
			}
			const int src(e.getSourceIndex()), trg(e.getTargetIndex());
			const int perm[4] = {o3, o2, src, trg};
			std::set<int> all(perm, perm + 4);
			ASSERT_EQ(all.size(), 4u) << o3 << "," << o2;
			ASSERT_EQ(*all.begin(), 0);
			ASSERT_EQ(*all.rbegin(), 3);
			EXPECT_TRUE(isEven(perm)) << o3 << "," << o2;
			EXPECT_EQ(e.getSourceVtx(), pT->getCorner(src));
			EXPECT_EQ(e.getTargetVtx(), pT->getCorner(trg));
			EXPECT_LT(e.getLowVtx(), e.getHighVtx());
			EXPECT_EQ(std::set<Point3*>({e.getLowVtx(), e.getHighVtx()}),
				std::set<Point3*>({e.getSourceVtx(), e.getTargetVtx()}));
			EXPECT_EQ(e.getTet(), pT);
			EXPECT_EQ(e.getOpp3Index(), o3);
			EXPECT_EQ(e.getOpp2Index(), o2);

			// Swapping the indices: same undirected edge, reversed.
			const Edge3 r(pT, o2, o3);
			EXPECT_TRUE(e == r);
			EXPECT_FALSE(e != r);
			EXPECT_EQ(r.getLowVtx(), e.getLowVtx());
			EXPECT_EQ(r.getHighVtx(), e.getHighVtx());
			EXPECT_EQ(r.getSourceIndex(), trg);
			EXPECT_EQ(r.getTargetIndex(), src);
			// Tet3 hands out the same edge.
			EXPECT_TRUE(pT->getEdge(o3, o2) == e);
			EXPECT_EQ(pT->getEdge(o3, o2).getSourceIndex(), src);
		}
	}
}

// All edges of all cells of a ring, through every cell that has them: an
// ordered set of Edge3 holds each undirected edge once.
TEST(Edge3, EqualityAndOrderIgnoreTheCellAndDirection)
{
	const int m(6);
	EdgeRing ring(m, true, 2);
	std::set<Edge3> edges;
	std::set<std::pair<Point3*, Point3*>> oracle;
	for(Tet3* pT : ring.vCells)
	{
		for(int o3 = 0; o3 < 4; ++o3)
		{
			for(int o2 = 0; o2 < 4; ++o2)
			{
				if(o3 == o2) continue;
				const Edge3 e(pT, o3, o2);
				edges.insert(e);
				Point3* p(e.getSourceVtx());
				Point3* q(e.getTargetVtx());
				oracle.insert(std::make_pair(std::min(p, q), std::max(p, q)));
			}
		}
	}
	// A-B, A-Pi, B-Pi and Pi-Pi+1.
	EXPECT_EQ(oracle.size(), size_t(3 * m + 1));
	EXPECT_EQ(edges.size(), oracle.size());

	// A-B named through two different cells.
	Tet3* pT0(ring.vCells[0]);
	Tet3* pT3(ring.vCells[3]);
	const Edge3 e0(pT0, ring.offEdge(pT0).first, ring.offEdge(pT0).second);
	const Edge3 e3(pT3, ring.offEdge(pT3).second, ring.offEdge(pT3).first);
	EXPECT_TRUE(e0 == e3);
	EXPECT_FALSE(e0 < e3);
	EXPECT_FALSE(e3 < e0);
	// A different edge of the same cell: unequal and strictly ordered.
	const Edge3 other(pT0, ring.offEdge(pT0).first, pT0->getIntraTetIndex(ring.a()));
	EXPECT_TRUE(e0 != other);
	EXPECT_NE(e0 < other, other < e0);
}

TEST(Edge3, PrintsFiveLines)
{
	EdgeRing ring(3, true, 3);
	Tet3* pT(ring.vCells[1]);
	const Edge3 e(pT, 1, 3);
	std::ostringstream expected;
	expected << "Edge (pTet" << static_cast<const void*>(pT) << "): \n"
			 << "opp3ICI=1, " << static_cast<const void*>(pT->getCorner(1)) << "\n"
			 << "opp2ICI=3, " << static_cast<const void*>(pT->getCorner(3)) << "\n"
			 << "srcICI=2, " << static_cast<const void*>(pT->getCorner(2)) << "\n"
			 << "trgICI=0, " << static_cast<const void*>(pT->getCorner(0)) << "\n";
	std::ostringstream out;
	out << e;
	EXPECT_EQ(out.str(), expected.str());
}

// ---- Facet3 ---------------------------------------------------------------

TEST(Facet3, CornersRunAgainstTheCellsFacetOrder)
{
	EdgeRing ring(3, true, 4);
	Tet3* pT(ring.vCells[0]);
	for(int opp = 0; opp < 4; ++opp)
	{
		const Facet3 f(pT->getFacet(opp));
		EXPECT_EQ(f.getTet(), pT);
		EXPECT_EQ(f.getOpp3Index(), opp);
		int a, b, c;
		pT->getFacetIndices(opp, a, b, c);
		// The reversed cyclic order of (a, b, c) is (a, c, b) up to rotation.
		const int aReversed[3] = {a, c, b};
		const int first(f.getIntraTetIndex(0));
		const int shift(static_cast<int>(std::find(aReversed, aReversed + 3, first) - aReversed));
		ASSERT_LT(shift, 3) << opp;
		for(int i = 0; i < 3; ++i)
		{
			EXPECT_NE(f.getIntraTetIndex(i), opp);
			EXPECT_EQ(f.getIntraTetIndex(i), aReversed[(shift + i) % 3]) << opp << "," << i;
			// Edge i of the facet joins the two facet corners other than i.
			const Edge3 e(f.getEdge(i));
			std::set<Point3*> expected;
			for(int k = 0; k < 3; ++k)
			{
				if(k != i) expected.insert(pT->getCorner(f.getIntraTetIndex(k)));
			}
			EXPECT_EQ(std::set<Point3*>({e.getLowVtx(), e.getHighVtx()}), expected);
			EXPECT_EQ(e.getOpp3Index(), opp);
			EXPECT_EQ(e.getOpp2Index(), f.getIntraTetIndex(i));
		}
	}
}

TEST(Facet3, TwinSeenFromTheNeighbourIsEqualAndHullFacetsOnlyEqualThemselves)
{
	EdgeRing fan(4, false, 5);
	int numTwins(0), numHull(0);
	for(Tet3* pT : fan.vCells)
	{
		for(int i = 0; i < 4; ++i)
		{
			const Facet3 f(pT, i);
			EXPECT_TRUE(f == Facet3(pT, i));
			Tet3* pN(pT->getOppTet(i));
			for(Tet3* pU : fan.vCells)
			{
				for(int j = 0; j < 4; ++j)
				{
					const Facet3 g(pU, j);
					const bool bSame(pU == pT && j == i);
					const bool bTwin(pN != nullptr && pU == pN && pN->getOppTet(j) == pT);
					ASSERT_EQ(f == g, bSame || bTwin) << "cell " << pT->getID() << " facet " << i;
					ASSERT_EQ(f != g, !(bSame || bTwin));
					if(bTwin)
					{
						ASSERT_TRUE(g == f);
						++numTwins;
					}
				}
			}
			if(pN == nullptr) ++numHull;
		}
	}
	// 3 inner facets seen from both sides; 4 * 4 - 6 hull facets.
	EXPECT_EQ(numTwins, 6);
	EXPECT_EQ(numHull, 10);
}

// ---- circulation ----------------------------------------------------------

// Around an interior edge with m cells, m steps from any start, in either
// direction, come back to an iterator equal to the start, each cell of the
// ring met once, and the direction decides the order.
TEST(TetAroundEdgeIterator, ClosedRingReturnsAfterExactlyMSteps)
{
	for(int m = 3; m <= 9; ++m)
	{
		for(unsigned seed = 0; seed < 4; ++seed)
		{
			EdgeRing ring(m, true, seed * 31 + m);
			for(Tet3* pStart : ring.vCells)
			{
				const std::pair<int, int> off(ring.offEdge(pStart));
				std::vector<Tet3*> vForward, vBackward;
				for(int dir = 0; dir < 2; ++dir)
				{
					const Edge3 e(dir == 0 ? Edge3(pStart, off.first, off.second) : Edge3(pStart, off.second, off.first));
					const TetAroundEdgeIterator start(e);
					TetAroundEdgeIterator it(start);
					std::set<Tet3*> seen;
					for(int step = 0; step < m; ++step)
					{
						ASSERT_FALSE(it.nextIsNull());
						Tet3* pPreview(it.previewNextTet());
						seen.insert(*it);
						(dir == 0 ? vForward : vBackward).push_back(*it);
						++it;
						ASSERT_EQ(*it, pPreview);
						ASSERT_TRUE(it.getEdge() == e) << "the step left the edge";
						ASSERT_EQ(it.getEdge().getTet(), *it);
						ASSERT_TRUE((*it)->hasVertex(ring.a()) && (*it)->hasVertex(ring.b()));
						if(step < m - 1)
						{
							ASSERT_TRUE(it != start) << "back at the start after " << step + 1 << " of " << m;
						}
					}
					EXPECT_TRUE(it == start) << "m=" << m;
					EXPECT_EQ(it.getOpp3Index(), start.getOpp3Index());
					EXPECT_EQ(it.getOpp2Index(), start.getOpp2Index());
					EXPECT_EQ(seen.size(), size_t(m));
				}
				// Reverse direction: the same ring in the opposite order.
				std::reverse(vBackward.begin() + 1, vBackward.end());
				EXPECT_EQ(vForward, vBackward);
			}
		}
	}
}

// Around a hull edge the circulation stops where nextIsNull() says so: from
// one end it crosses all m cells, from the other end in the same sense it
// stops at once.
TEST(TetAroundEdgeIterator, OpenFanEndsOnTheHull)
{
	for(int m = 1; m <= 6; ++m)
	{
		EdgeRing fan(m, false, 100 + m);
		std::set<size_t> stepCounts;
		for(Tet3* pStart : fan.vCells)
		{
			const std::pair<int, int> off(fan.offEdge(pStart));
			for(int dir = 0; dir < 2; ++dir)
			{
				TetAroundEdgeIterator it(dir == 0 ? Edge3(pStart, off.first, off.second) : Edge3(pStart, off.second, off.first));
				std::set<Tet3*> seen;
				seen.insert(*it);
				size_t numSteps(0);
				while(!it.nextIsNull())
				{
					++it;
					++numSteps;
					ASSERT_TRUE(seen.insert(*it).second) << "a cell met twice on an open fan";
					ASSERT_LE(numSteps, size_t(m));
				}
				EXPECT_EQ(it.previewNextTet(), nullptr);
				// The last cell is an end of the fan: one of its two facets
				// through A-B is on the hull.
				const std::pair<int, int> lastOff(fan.offEdge(*it));
				EXPECT_TRUE((*it)->getOppTet(lastOff.first) == nullptr || (*it)->getOppTet(lastOff.second) == nullptr);
				if(pStart == fan.vCells.front() || pStart == fan.vCells.back()) stepCounts.insert(numSteps);
			}
		}
		// From the two ends: m - 1 steps one way, none the other way.
		EXPECT_EQ(stepCounts, std::set<size_t>({0, size_t(m - 1)})) << "m=" << m;
	}
}

TEST(TetAroundEdgeIterator, CopyKeepsTheParkedCellButNotTheIndex)
{
	EdgeRing ring(4, true, 7);
	Tet3* pT(ring.vCells[0]);
	const std::pair<int, int> off(ring.offEdge(pT));
	TetAroundEdgeIterator it(Edge3(pT, off.first, off.second));
	it.setPayload(ring.vCells[2]);
	it.setPayloadICI(3);
	EXPECT_EQ(it.getPayload(), ring.vCells[2]);
	EXPECT_EQ(it.getPayloadICI(), 3);

	const TetAroundEdgeIterator copied(it);
	EXPECT_EQ(copied.getPayload(), ring.vCells[2]);
	EXPECT_TRUE(copied == it);
	// The copy's index slot is empty: it can be filled.
	TetAroundEdgeIterator refill(copied);
	refill.setPayloadICI(1);
	EXPECT_EQ(refill.getPayloadICI(), 1);

	// Assignment copies both slots.
	TetAroundEdgeIterator assigned(Edge3(ring.vCells[1], ring.offEdge(ring.vCells[1]).first,
		ring.offEdge(ring.vCells[1]).second));
	assigned = it;
	EXPECT_EQ(assigned.getPayload(), ring.vCells[2]);
	EXPECT_EQ(assigned.getPayloadICI(), 3);
	EXPECT_TRUE(assigned == it);
	EXPECT_EQ(*assigned, pT);
}

TEST(TetAroundEdgeIterator, DebugPrintsTheEdgeBetweenRules)
{
	EdgeRing ring(3, true, 8);
	Tet3* pT(ring.vCells[0]);
	const TetAroundEdgeIterator it(Edge3(pT, 0, 2));
	std::ostringstream edgeText;
	edgeText << it.getEdge();
	const std::string rule(35, '-');
	vtest::StdoutCapture capture;
	it.debug();
	EXPECT_EQ(capture.str(), rule + "\n# This is a TetAroundEdgeIterator:\n" + edgeText.str() + rule + "\n\n");
}

#ifndef NDEBUG
// The payload slots and index ranges are checked by standard assertions.
TEST(TopologyDeathTest, PayloadAndRangeAssertions)
{
	EdgeRing ring(3, true, 9);
	Tet3* pT(ring.vCells[0]);
	const std::pair<int, int> off(ring.offEdge(pT));
	TetAroundEdgeIterator it(Edge3(pT, off.first, off.second));
	EXPECT_DEATH(it.getPayload(), "storedPayload!=NULL");
	EXPECT_DEATH(it.getPayloadICI(), "storedPayloadICI!=-1");
	it.setPayload(pT);
	it.setPayloadICI(0);
	EXPECT_DEATH(it.setPayload(pT), "storedPayload==NULL");
	EXPECT_DEATH(it.setPayloadICI(1), "storedPayloadICI==-1");
	const TetAroundEdgeIterator copied(it);
	EXPECT_DEATH(copied.getPayloadICI(), "storedPayloadICI!=-1");

	const Facet3 f(pT, 0);
	EXPECT_DEATH(f.getIntraTetIndex(3), "range02\\(ith\\)");
	EXPECT_DEATH(f.getEdge(-1), "range02\\(ith\\)");
	EXPECT_DEATH(Edge3(pT, 4, 0), "range03\\(ith\\)");
	EXPECT_DEATH(Edge3(pT, 1, -1), "range03\\(ith\\)");
	// The error line goes to standard output; route it to stderr so that it
	// can be matched together with the assertion.
	EXPECT_DEATH(
		{
			std::cout.rdbuf(std::cerr.rdbuf());
			pT->getEdge(2, 2);
		},
		"Tet3::getEdge\\(\\), ERROR: opp3ICI==opp2ICI=2.*opp3ICI!=opp2ICI");
}
#else
// Without assertions a cell asked for an edge with equal indices reports it
// and hands back a harmless edge.
TEST(Topology, EqualEdgeIndicesAreReported)
{
	EdgeRing ring(3, true, 9);
	Tet3* pT(ring.vCells[0]);
	vtest::StdoutCapture capture;
	const Edge3 e(pT->getEdge(2, 2));
	EXPECT_EQ(capture.str(), "\n      Tet3::getEdge(), ERROR: opp3ICI==opp2ICI=2\n");
	EXPECT_EQ(e.getSourceIndex(), -99);
	EXPECT_EQ(e.getLowVtx(), nullptr);
}
#endif
