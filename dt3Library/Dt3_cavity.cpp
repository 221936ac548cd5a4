// Dt3: the cavity of a new vertex and its fill.
//
// The cells whose circumsphere holds the new point are removed and every
// boundary facet of the hole is joined to the point by a new cell. New cells
// find each other through a 1024-bucket table keyed on address bits of the
// edge they share with the new vertex; removed cells are recycled through
// vDoomedTets and vFreeTets instead of being freed.
#include <algorithm>
#include <iostream>

#include "Dt3.h"

namespace VORN3D {

void Dt3::resetFacetPairing()
{
	// Every record in a bucket came from the record pool since its last
	// reset, so clearing the buckets of those records empties the table;
	// after a hull insertion they are a few dozen, far fewer than the 1024
	// buckets.
	vRecordBlocks.clear();
	ttsPool.getUsedBlocks(vRecordBlocks);
	for(const std::pair<TwoTetStruct*, size_t>& block : vRecordBlocks)
	{
		for(TwoTetStruct* pRec = block.first; pRec != block.first + block.second; ++pRec)
		{
			TwoTetStruct*& pSlot(vBuckets[pairingKey(pRec->pLowVtx, pRec->pHighVtx)]);
			if(pSlot == pRec) pSlot = nullptr;
		}
	}
	vHashCollisions.clear();
	numStoredTCS = 0;
	ttsPool.reset();
}

void Dt3::registerCollidingFacet(Tet3* pNew, int i, Point3* pLow, Point3* pHigh)
{
	// Look for the partner among the parked records, or park this one.
	for(std::vector<TwoTetStruct*>::iterator it(vHashCollisions.begin()); it != vHashCollisions.end(); ++it)
	{
		TwoTetStruct* pRec(*it);
		if(pRec->pLowVtx == pLow && pRec->pHighVtx == pHigh && pRec->pTet != pNew)
		{
			registerTets(pRec->pTet, pRec->ith, pNew, i);
			vHashCollisions.erase(it);
			--numStoredTCS;
			return;
		}
	}
	TwoTetStruct* pRec(ttsPool.alloc());
	pRec->pLowVtx = pLow;
	pRec->pHighVtx = pHigh;
	pRec->pTet = pNew;
	pRec->ith = i;
	vHashCollisions.push_back(pRec);
	++numStoredTCS;
}

void Dt3::flushHashCollisions()
{
	// A record parked here may have its partner in the bucket, which was
	// taken by another edge when the record came and freed since.
	if(vHashCollisions.empty()) return;
	vCollisionsToFlush.swap(vHashCollisions);
	for(size_t i = vCollisionsToFlush.size(); i-- > 0;)
	{
		TwoTetStruct* pRec(vCollisionsToFlush[i]);
		registerPendingFacet(pairingKey(pRec->pLowVtx, pRec->pHighVtx), pRec->pTet, pRec->ith, pRec->pLowVtx,
			pRec->pHighVtx);
		--numStoredTCS;
	}
	vCollisionsToFlush.clear();
}

Tet3* Dt3::growAndFillCavity(Point3* pVtx)
{
	Tet3* pNewTet(nullptr);
	// The neighbours are mostly far away in memory: each cell that joins the
	// cavity asks for all four at once, long before they are tested.
	for(int j = 0; j < 4; ++j) __builtin_prefetch(vStack.back()->getOppTet(j));
	// Depth first over the cells in conflict; every facet towards a cell that
	// is not in conflict (or towards the outside) gets a new cell.
	while(!vStack.empty())
	{
		Tet3* pTet(vStack.back());
		vStack.pop_back();
		for(int i = 3; i >= 0; --i)
		{
			Tet3* pOppTet(pTet->getOppTet(i));
			if(pOppTet != nullptr)
			{
				if(pOppTet->hasBeenVisited) continue;
				if(sphereInclusion(pOppTet, pVtx) != SIC_OUTSIDE)
				{
					pOppTet->hasBeenVisited = true;
					for(int j = 0; j < 4; ++j) __builtin_prefetch(pOppTet->getOppTet(j));
					vStack.push_back(pOppTet);
					markDoomed(pOppTet);
					continue;
				}
			}
			Tet3* pNew(createTetFromFacet(pTet, i, pVtx));
			if(pOppTet != nullptr) registerTets(pNew, 0, pOppTet, pOppTet->getIntraTetIndex(pTet));
			registerNewFacets(pNew);
			pNewTet = pNew;
		}
	}
	flushHashCollisions();
	if(numStoredTCS != 0)
	{
		std::cout << "numStoredTCS after insertVertex: " << numStoredTCS << std::endl;
		ASSERT_CONDITION(numStoredTCS==0);
	}
	return pNewTet;
}

Tet3* Dt3::fillCavityOfDoomedTets(const std::vector<Tet3*>& vDoomedList, Point3* pVtx)
{
	if(vDoomedList.empty())
	{
		std::cout << "Warning: vDoomedTets() without input tets, returning NULL" << std::endl;
		ASSERT_CONDITION(false);
	}
	Tet3* pNewTet(nullptr);
	for(Tet3* pDoomedTet : vDoomedList)
	{
		ASSERT_CONDITION(pDoomedTet->hasBeenVisited);
		for(int i = 0; i < 4; ++i)
		{
			// Only facets that face the new point bound the hole; the others
			// lie behind it (visible hull facets) or in its plane.
			if(orientation(pDoomedTet, i, pVtx) != ORIENTATION3_POSITIVE) continue;
			Tet3* pOppTet(pDoomedTet->getOppTet(i));
			if(pOppTet != nullptr && pOppTet->hasBeenVisited) continue;
			pNewTet = createTetFromFacet(pDoomedTet, i, pVtx);
			ASSERT_CONDITION(pNewTet!=0);
			ASSERT_CONDITION(!pNewTet->hasBeenVisited);
			if(pOppTet != nullptr)
			{
				ASSERT_CONDITION(!pOppTet->hasBeenVisited);
				registerTets(pNewTet, 0, pOppTet, pOppTet->getIntraTetIndex(pDoomedTet));
			}
			registerNewFacets(pNewTet);
		}
	}
	ASSERT_CONDITION(pNewTet!=0);
	return pNewTet;
}

} // namespace VORN3D
