// Dt3: insertion of a point outside the convex hull.
//
// The mesh has no cell at infinity, so the hull facets that the point sees
// are found by walking the hull surface: from a visible facet, circulate
// around each of its edges through the inside of the mesh to the next hull
// facet, and go on from there while that one is visible too. Cells behind
// visible facets either stay and get a new cell on each visible facet, or are
// in conflict with the point and are removed together with their conflicting
// neighbours; the hole is then filled as for a point inside the hull.
#include "Dt3.h"

namespace VORN3D {

void Dt3::collectVisibleCHTets(Point3*& pVtx, Tet3* pTet, int opp3ICI, std::vector<Tet3*>& vCHTets)
{
	vEdgeStack.clear();
	sEdgesSeen.clear();
	// The located facet is visible (or holds the point) by construction.
	vCHTets.push_back(pTet);
	for(int k = 0; k < 4; ++k)
	{
		if(k == opp3ICI) continue;
		const Edge3 edge(pTet->getEdge(opp3ICI, k));
		vEdgeStack.push_back(edge);
		sEdgesSeen.insert(edge);
	}
	while(!vEdgeStack.empty())
	{
		const Edge3 edge(vEdgeStack.back());
		vEdgeStack.pop_back();
		// Turn around the edge, away from the facet it came from, to the next
		// hull facet.
		TetAroundEdgeIterator it(edge);
		while(!it.nextIsNull()) ++it;
		Tet3* pCurTet(*it);
		const int opp2ICI(it.getOpp2Index());
		ASSERT_CONDITION(pCurTet->getOppTet(opp2ICI)==0);
		if(!hullFacetInConflict(pCurTet, opp2ICI, pVtx)) continue;
		for(int k = 0; k < 4; ++k)
		{
			if(k == opp2ICI) continue;
			const Edge3 nextEdge(pCurTet->getEdge(opp2ICI, k));
			if(sEdgesSeen.insert(nextEdge).second) vEdgeStack.push_back(nextEdge);
		}
		vCHTets.push_back(pCurTet);
	}
}

bool Dt3::hullFacetInConflict(const Tet3* pTet, int ith, const Point3* pQ) const
{
	const Orientation3 ori(orientation(pTet, ith, pQ));
	if(ori == ORIENTATION3_NEGATIVE) return true;
	// In the plane of the facet: its circumcircle is where the plane cuts the
	// circumsphere of the cell, so the cell's perturbed sphere test is the
	// perturbed in-circle test of the facet. Such a facet gets no new cell
	// (the cell behind it is in conflict as well), but the hull walk goes on
	// across its edges, which bound the region the point takes away.
	return ori == ORIENTATION3_COPLANAR && bPerturbation && sphereInclusion(pTet, pQ) != SIC_OUTSIDE;
}

void Dt3::splitCHTets(const std::vector<Tet3*>& vCHTets, std::vector<Tet3*>& vCHTetsKeep,
	std::vector<Tet3*>& vCHDoomed, Point3* pVtx)
{
	for(Tet3* pTet : vCHTets)
	{
		// A cell with several visible facets can be listed more than once;
		// once removed it must not be removed (and later refilled) again.
		if(pTet->hasBeenVisited) continue;
		if(sphereInclusion(pTet, pVtx) == SIC_OUTSIDE)
		{
			vCHTetsKeep.push_back(pTet);
		}
		else
		{
			vCHDoomed.push_back(pTet);
			pTet->hasBeenVisited = true;
			markDoomed(pTet);
		}
	}
	// Spread the removal to every connected cell in conflict.
	vStack.assign(vCHDoomed.begin(), vCHDoomed.end());
	while(!vStack.empty())
	{
		Tet3* pCurTet(vStack.back());
		vStack.pop_back();
		ASSERT_CONDITION(pCurTet!=0);
		for(int i = 0; i < 4; ++i)
		{
			Tet3* pOppTet(pCurTet->getOppTet(i));
			if(pOppTet == nullptr || pOppTet->hasBeenVisited) continue;
			if(sphereInclusion(pOppTet, pVtx) == SIC_OUTSIDE) continue;
			pOppTet->setCustomIndex(-1);
			vDoomedTets.push_back(pOppTet);
			pOppTet->hasBeenVisited = true;
			vStack.push_back(pOppTet);
			vCHDoomed.push_back(pOppTet);
		}
	}
}

Tet3* Dt3::createCHTets(const std::vector<Tet3*>& vCHTetsKeep, Point3* pVtx)
{
	if(vCHTetsKeep.empty()) return nullptr;
	Tet3* pNewTet(nullptr);
	for(Tet3* pCHTet : vCHTetsKeep)
	{
		ASSERT_CONDITION(!pCHTet->hasBeenVisited);
		for(int ith = 0; ith < 4; ++ith)
		{
			assert(range03(ith));
			// A facet that has a neighbour by now got its cell when the same
			// cell was listed before.
			if(pCHTet->getOppTet(ith) != nullptr) continue;
			const Orientation3 orient(orientation(pCHTet, ith, pVtx));
			if(orient == ORIENTATION3_POSITIVE || orient == ORIENTATION3_COPLANAR) continue;
			ASSERT_CONDITION(orient==ORIENTATION3_NEGATIVE);
			// The new cell lies beyond the facet: the facet's corners in the
			// reverse order, the point at corner 0.
			Point3* c0;
			Point3* c1;
			Point3* c2;
			Point3* c3;
			pCHTet->getCorners(c0, c1, c2, c3);
			Tet3* pNew;
			switch(ith)
			{
				case 0: pNew = createTet(pVtx, c1, c3, c2); break;
				case 1: pNew = createTet(pVtx, c0, c2, c3); break;
				case 2: pNew = createTet(pVtx, c0, c3, c1); break;
				default:
				{
					const int neigOpp(ith);
					ASSERT_CONDITION(neigOpp==3);
					pNew = createTet(pVtx, c0, c1, c2);
				}
			}
			registerTets(pNew, 0, pCHTet, ith);
			registerNewFacets(pNew);
			pNewTet = pNew;
		}
	}
	ASSERT_CONDITION(pNewTet!=0);
	return pNewTet;
}

} // namespace VORN3D
