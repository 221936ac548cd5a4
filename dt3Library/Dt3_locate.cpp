// Dt3: the point location walk.
//
// A visibility walk: from the start cell, test the facets in cyclic order
// after the entry facet and step across the first one that has the point
// beyond it. On a Delaunay mesh it cannot cycle; the watchdog guards the rest.
#include <cstdint>
#include <cstdlib>
#include <iostream>

#include "Dt3.h"

namespace VORN3D {

namespace {
const int aNextICI[4] = {1, 2, 3, 0};
/// Orientation tests after which one call of the walk gives up.
const int watchdogTests(10000);
/// A bound on the tests of one visibility walk per live cell: at most three
/// in a cell it enters (four in the first), and four more for every facet
/// whose plane holds the point. Generous on purpose: only a mesh with a
/// cycle in the in-front-of relation can walk that long.
const uint64_t maxTestsPerCell(64);
} // namespace

int Dt3::locateConflictTet(const Point3* pVtx, Tet3*& pStartTet)
{
	if(pStartTet == nullptr) goToHell("locateConflictTet");
	Tet3* pCur(pStartTet);
	int ith(0);
	int numToTest(4);
	int numTests(0);
	while(true)
	{
		if(__builtin_expect(++numTests > watchdogTests, 0))
		{
			// Leave the caller somewhere else, so that another try can differ.
			pStartTet = pCur;
			Tet3* pOther(pCur->getOppTet(rand() % 4));
			if(pOther != nullptr) pStartTet = pOther;
			std::cout << "watchDog: bad point" << std::endl;
			return -99;
		}
		VORN3D_WALK_STATS_TEST();
		const Orientation3 ori(orientation(pCur, ith, pVtx));
		if(ori == ORIENTATION3_NEGATIVE)
		{
			Tet3* pNext(pCur->getOppTet(ith));
			if(pNext == nullptr)
			{
				pStartTet = pCur;
				return ith;
			}
			// The facet just crossed has the point on its inner side now.
			const int j(pNext->getIntraTetIndex(pCur));
			pCur = pNext;
			// The next cell is one of these; its line arrives while the
			// facets of this one are tested.
			for(int k = 0; k < 4; ++k) __builtin_prefetch(pCur->getOppTet(k));
			ith = aNextICI[j];
			numToTest = 3;
			continue;
		}
		if(ori == ORIENTATION3_COPLANAR)
		{
			// The point lies in the plane of facet ith: a corner, a facet, an
			// edge, or just a plane that the walk goes on past.
			for(int i = 0; i < 4; ++i)
			{
				const Point3* pCorner(pCur->getCorner(i));
				if(pCorner->x() == pVtx->x() && pCorner->y() == pVtx->y() && pCorner->z() == pVtx->z())
				{
					pStartTet = pCur;
					return -2;
				}
			}
			int numPositive(0), numNegative(0), numCoplanar(0);
			int coplanarHullICI(-1), opp2ICI(-1);
			for(int i = 0; i < 4; ++i)
			{
				const Orientation3 oriI(orientation(pCur, i, pVtx));
				if(oriI == ORIENTATION3_POSITIVE) ++numPositive;
				else if(oriI == ORIENTATION3_NEGATIVE) ++numNegative;
				else
				{
					++numCoplanar;
					if(pCur->getOppTet(i) == nullptr) coplanarHullICI = i;
					if(i != ith) opp2ICI = i;
				}
			}
			if(numNegative == 0)
			{
				if(numPositive == 3)
				{
					// Inside facet ith.
					pStartTet = pCur;
					if(coplanarHullICI == ith) return ith;
					return -1;
				}
				// On the edge shared by the two coplanar facets: inside the
				// hull unless the cells around it end at a hull facet.
				ASSERT_CONDITION(numPositive==2);
				ASSERT_CONDITION(numCoplanar==2);
				ASSERT_CONDITION(opp2ICI>=0);
				const Edge3 startEdge(pCur, ith, opp2ICI);
				TetAroundEdgeIterator it(startEdge);
				while(!it.nextIsNull())
				{
					++it;
					if(it.getEdge() == startEdge && *it == pCur)
					{
						pStartTet = pCur;
						return -1;
					}
				}
				pStartTet = *it;
				ASSERT_CONDITION(pStartTet!=0);
				const int outIndex(it.getOpp2Index());
				ASSERT_CONDITION(pStartTet->getOppTet(outIndex)==0);
				return outIndex;
			}
			// Some facet has the point beyond it: go on with the next one.
		}
		ith = aNextICI[ith];
		if(--numToTest == 0)
		{
			// Every facet has the point on its inner side.
			pStartTet = pCur;
			ASSERT_CONDITION(predicates.getOrientation3(pStartTet,0,pVtx)==ORIENTATION3_POSITIVE);
			ASSERT_CONDITION(predicates.getOrientation3(pStartTet,1,pVtx)==ORIENTATION3_POSITIVE);
			ASSERT_CONDITION(predicates.getOrientation3(pStartTet,2,pVtx)==ORIENTATION3_POSITIVE);
			ASSERT_CONDITION(predicates.getOrientation3(pStartTet,3,pVtx)==ORIENTATION3_POSITIVE);
			ASSERT_CONDITION(predicates.sphereInclusionTest(pStartTet,pVtx)==SIC_INSIDE);
			return -1;
		}
	}
}

int Dt3::continueLongWalk(const Point3* pVtx, Tet3*& pTet)
{
	// Long walks are legitimate (elongated point sets, a start far from the
	// point): go on from the cell where the watchdog left the walk. On a
	// Delaunay mesh a visibility walk enters no cell twice, so only a broken
	// mesh reaches the bound.
	const uint64_t walkBound(maxTestsPerCell * getNumTets() + 2 * watchdogTests);
	uint64_t walkLength(watchdogTests);
	while(true)
	{
		const int result(locateConflictTet(pVtx, pTet));
		if(result != -99) return result;
		walkLength += watchdogTests;
		ASSERT_CONDITION(walkLength<=walkBound);
	}
}

} // namespace VORN3D
