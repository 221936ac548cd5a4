// TetAroundEdgeIterator: walks the ring of cells around an edge through the
// neighbour links.
#ifndef VORN3D_ITERATORS_H
#define VORN3D_ITERATORS_H

#include <cassert>
#include <cstddef>

#include "Facet3.h"
#include "Point3.h"
#include "Tet3.h"
#include "vorn3d_export.h"

namespace VORN3D {

/// Circulates the cells around one edge. Each step crosses the facet of the
/// current cell that contains the edge and the corner at getOpp3Index(), and
/// keeps turning in the same sense, so around an interior edge with m cells
/// m steps return to an iterator equal to the start. The step does not look
/// for the hull: check nextIsNull() first wherever the edge may lie on it.
///
/// The payload is a slot where a user may park one cell and one index during
/// a circulation; the iterator never reads it. Copy construction keeps the
/// parked cell but empties the parked index; assignment copies both.
class VORN3D_API TetAroundEdgeIterator
{
public:
	/// Starts at the given edge and its cell, with an empty payload.
	explicit TetAroundEdgeIterator(const Edge3& edge): currentEdge(edge), storedPayload(nullptr), storedPayloadICI(-1) {}
	TetAroundEdgeIterator(const TetAroundEdgeIterator& other):
		currentEdge(other.currentEdge), storedPayload(other.storedPayload), storedPayloadICI(-1)
	{
	}
	TetAroundEdgeIterator& operator=(const TetAroundEdgeIterator& other) = default;

	/// The current cell.
	Tet3* operator*() const { return currentEdge.getTet(); }
	/// The current edge, named through the current cell.
	const Edge3& getEdge() const { return currentEdge; }
	int getOpp3Index() const { return currentEdge.getOpp3Index(); }
	int getOpp2Index() const { return currentEdge.getOpp2Index(); }

	/// One step to the next cell around the edge.
	TetAroundEdgeIterator& operator++()
	{
		Tet3* pCur(currentEdge.getTet());
		Tet3* pNext(pCur->getOppTet(currentEdge.getOpp2Index()));
		const int farICI(pNext->getIntraTetIndex(pCur));
		const Point3* pA(currentEdge.getLowVtx());
		const Point3* pB(currentEdge.getHighVtx());
		// The corner of pNext that is neither the far corner nor on the edge
		// is the one that sat at opp3ICI in pCur: crossing next away from it
		// keeps the turning sense.
		int keepICI(0);
		for(; keepICI < 3; ++keepICI)
		{
			if(keepICI == farICI) continue;
			const Point3* pC(pNext->getCorner(keepICI));
			if(pC != pA && pC != pB) break;
		}
		currentEdge = Edge3(pNext, farICI, keepICI);
		return *this;
	}

	/// The cell the next step would reach; null on the hull.
	Tet3* previewNextTet() const
	{
		const int ith(currentEdge.getOpp2Index());
		assert(range03(ith));
		return currentEdge.getTet()->getOppTet(ith);
	}
	/// True if the next step would leave the mesh.
	bool nextIsNull() const { return previewNextTet() == nullptr; }

	/// Same edge and same current cell.
	bool operator==(const TetAroundEdgeIterator& other) const
	{
		return currentEdge == other.currentEdge && currentEdge.getTet() == other.currentEdge.getTet();
	}
	bool operator!=(const TetAroundEdgeIterator& other) const { return !(*this == other); }

	/// Parks a cell; the slot must be empty.
	void setPayload(Tet3* pT)
	{
		assert(storedPayload==NULL);
		storedPayload = pT;
	}
	/// The parked cell; the slot must be full.
	Tet3* getPayload() const
	{
		assert(storedPayload!=NULL);
		return storedPayload;
	}
	/// Parks an index; the slot must be empty.
	void setPayloadICI(int ici)
	{
		assert(storedPayloadICI==-1);
		storedPayloadICI = ici;
	}
	/// The parked index; the slot must be full.
	int getPayloadICI() const
	{
		assert(storedPayloadICI!=-1);
		return storedPayloadICI;
	}

	/// Prints the current edge between two rules.
	void debug() const;

private:
	Edge3 currentEdge;
	Tet3* storedPayload;
	int storedPayloadICI;
};

} // namespace VORN3D

#endif
