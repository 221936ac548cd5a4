// Dt3: read-only queries.
//
// getAllTetrahedra scans the cell pool in address order when the kernel's
// invariants hold (between insertions), and walks the neighbour links with an
// address-ordered set otherwise; getTetsAroundVertex walks the star. None of
// them touches the visited flags, which belong to the insertion.
#include <algorithm>
#include <cmath>
#include <iostream>
#include <set>
#include <unordered_set>
#include <utility>
#include <vector>

#include "Dt3.h"

namespace VORN3D {

void Dt3::getAllTetrahedra(std::vector<Tet3*>& vTet) const
{
	ASSERT_CONDITION(vTet.empty());
	Point3* pStartVtx(hc.findFirstVertex([](const Point3* pVtx) {
		const Tet3* pTet(pVtx->getOneTet());
		return pTet != nullptr && !pTet->hasBeenVisited;
	}));
	if(pStartVtx == nullptr)
	{
		std::cout << "Dt3::getAllTetrahedra(), oneTet==NULL" << std::endl;
		return;
	}
	if(!bInsertionOpen)
	{
		// Between insertions the mesh is connected, every live cell is
		// unvisited and every removed cell (waiting in vDoomedTets or
		// vFreeTets) is visited. So the cells reachable from any live cell
		// are exactly the unvisited cells handed out by the pool, and a scan
		// of the pool's blocks in address order gives the walk's result
		// without an ordered set. The count of live cells confirms it; a
		// mesh whose flags say otherwise is walked.
		std::vector<std::pair<Tet3*, size_t>> vBlocks;
		tetPool.getUsedBlocks(vBlocks);
		std::sort(vBlocks.begin(), vBlocks.end());
		vTet.reserve(getNumTets());
		for(const std::pair<Tet3*, size_t>& block : vBlocks)
		{
			Tet3* const pEnd(block.first + block.second);
			for(Tet3* pTet = block.first; pTet != pEnd; ++pTet)
			{
				if(!pTet->hasBeenVisited) vTet.push_back(pTet);
			}
		}
		if(vTet.size() == getNumTets()) return;
		vTet.clear();
	}
	collectReachableTets(pStartVtx->getOneTet(), vTet);
}

void Dt3::collectReachableTets(Tet3* pStartTet, std::vector<Tet3*>& vTet) const
{
	std::set<Tet3*> sTets;
	std::vector<Tet3*> vWork;
	vWork.push_back(pStartTet);
	sTets.insert(pStartTet);
	while(!vWork.empty())
	{
		Tet3* pCurrentTet(vWork.back());
		vWork.pop_back();
		ASSERT_CONDITION(pCurrentTet!=0);
		for(int i = 0; i < 4; ++i)
		{
			Tet3* pOppTet(pCurrentTet->getOppTet(i));
			if(pOppTet != nullptr && sTets.insert(pOppTet).second) vWork.push_back(pOppTet);
		}
	}
	vTet.assign(sTets.begin(), sTets.end());
}

void Dt3::getVertices(std::vector<Point3*>& vVertices) const
{
	hc.getVertices(vVertices);
}

void Dt3::getTetsAroundVertex(Point3* pVtx, std::vector<Tet3*>& vTets)
{
	Tet3* pStartTet(pVtx->getOneTet());
	if(pStartTet == nullptr)
	{
		printError("Dt3::getTetsAroundVertex()", "pVtx does not belong to the triangulation");
		return;
	}
	// A star has a few dozen cells: a linear search in the result is
	// cheaper than an ordered set, and a sort gives the address order. A
	// large star (a vertex seen by a whole hull, say) switches to a hash set
	// so that the walk stays linear.
	const size_t maxLinear(64);
	std::unordered_set<Tet3*> sLarge;
	vStarTets.clear();
	vStarWork.clear();
	vStarWork.push_back(pStartTet);
	vStarTets.push_back(pStartTet);
	while(!vStarWork.empty())
	{
		Tet3* pTet(vStarWork.back());
		vStarWork.pop_back();
		// Only facets through pVtx are crossed: the walk stays in its star.
		const int k(pTet->getIntraTetIndex(pVtx));
		for(int j = 0; j < 4; ++j)
		{
			if(j == k) continue;
			Tet3* pOppTet(pTet->getOppTet(j));
			if(pOppTet == nullptr) continue;
			if(vStarTets.size() < maxLinear)
			{
				if(std::find(vStarTets.begin(), vStarTets.end(), pOppTet) != vStarTets.end()) continue;
			}
			else
			{
				if(sLarge.empty()) sLarge.insert(vStarTets.begin(), vStarTets.end());
				if(!sLarge.insert(pOppTet).second) continue;
			}
			vStarTets.push_back(pOppTet);
			vStarWork.push_back(pOppTet);
		}
	}
	std::sort(vStarTets.begin(), vStarTets.end());
	vTets.assign(vStarTets.begin(), vStarTets.end());
}

Tet3* Dt3::locate(const Point3& q)
{
	if(!std::isfinite(q.x()) || !std::isfinite(q.y()) || !std::isfinite(q.z())) return nullptr;
	if(!bFullDimensional) return nullptr;
	const Point3 query(q);
	Tet3* pTet(startTetNear(query));
	if(pTet == nullptr) return nullptr;
	// A query outside the filters' range needs the wide-range mode for its
	// walk, also in a mesh that does not; the guard switches it back, even
	// when the walk throws.
	struct WideRangeGuard
	{
		Dt3* pDt;
		~WideRangeGuard()
		{
			if(pDt != nullptr) pDt->setWideRange(false);
		}
	} guard{!bWideRange && !inFilterRange(query) ? this : nullptr};
	if(guard.pDt != nullptr) setWideRange(true);
	const int result(locateComplete(&query, pTet));
	if(result == -1 || result == -2) return pTet;
	return nullptr;
}

} // namespace VORN3D
