// Dt3: read-only queries.
//
// The traversals collect cells in an address-ordered set instead of touching
// the visited flags, which belong to the insertion; so a query can run at any
// moment between insertions and its result does not depend on the walk.
#include <cmath>
#include <iostream>
#include <set>
#include <vector>

#include "Dt3.h"

namespace VORN3D {

void Dt3::getAllTetrahedra(std::vector<Tet3*>& vTet) const
{
	ASSERT_CONDITION(vTet.empty());
	std::vector<Point3*> vVertices;
	hc.getVertices(vVertices);
	Tet3* pStartTet(nullptr);
	for(Point3* pVtx : vVertices)
	{
		Tet3* pTet(pVtx->getOneTet());
		if(pTet != nullptr && !pTet->hasBeenVisited)
		{
			pStartTet = pTet;
			break;
		}
	}
	if(pStartTet == nullptr)
	{
		std::cout << "Dt3::getAllTetrahedra(), oneTet==NULL" << std::endl;
		return;
	}
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
	std::set<Tet3*> sTets;
	std::vector<Tet3*> vWork;
	vWork.push_back(pStartTet);
	sTets.insert(pStartTet);
	while(!vWork.empty())
	{
		Tet3* pTet(vWork.back());
		vWork.pop_back();
		// Only facets through pVtx are crossed: the walk stays in its star.
		const int k(pTet->getIntraTetIndex(pVtx));
		for(int j = 0; j < 4; ++j)
		{
			if(j == k) continue;
			Tet3* pOppTet(pTet->getOppTet(j));
			if(pOppTet != nullptr && sTets.insert(pOppTet).second) vWork.push_back(pOppTet);
		}
	}
	vTets.assign(sTets.begin(), sTets.end());
}

Tet3* Dt3::locate(const Point3& q)
{
	if(!std::isfinite(q.x()) || !std::isfinite(q.y()) || !std::isfinite(q.z())) return nullptr;
	if(!bFullDimensional) return nullptr;
	const Point3 query(q);
	Tet3* pTet(startTetNear(query));
	if(pTet == nullptr) return nullptr;
	const int result(locateConflictTet(&query, pTet));
	if(result == -1 || result == -2) return pTet;
	return nullptr;
}

} // namespace VORN3D
