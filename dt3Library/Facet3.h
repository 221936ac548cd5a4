// Edge3 and Facet3: value handles that name an edge or a facet of the mesh
// through one cell and intra-cell indices. The mesh stores cells only; these
// handles own nothing and are valid as long as their cell is.
#ifndef VORN3D_FACET3_H
#define VORN3D_FACET3_H

#include <cassert>
#include <iosfwd>

#include "Point3.h"
#include "Tet3.h"
#include "vorn3d_export.h"

namespace VORN3D {

/// True for an index 0..2 (a corner or an edge of a facet).
inline bool range02(int i)
{
	return i >= 0 && i <= 2;
}

/// An edge of the mesh, named through a cell and the two corner indices of
/// that cell that are NOT on the edge (opp3ICI, opp2ICI); the edge joins the
/// other two corners. The ordered pair also gives the edge a direction
/// (getSourceIndex -> getTargetIndex); swapping the two indices reverses it.
///
/// Equality and order look at the two end vertices only, so the same edge
/// named through different cells, or in either direction, is equal.
class VORN3D_API Edge3
{
public:
	/// The edge of pTet that avoids corners opp3ICI and opp2ICI (0..3 each,
	/// different).
	Edge3(Tet3* pTet_, int opp3ICI_, int opp2ICI_): pTet(pTet_), opp3ICI(opp3ICI_), opp2ICI(opp2ICI_)
	{
		{
			const int ith(opp3ICI);
			assert(range03(ith));
			(void)ith;
		}
		{
			const int ith(opp2ICI);
			assert(range03(ith));
			(void)ith;
		}
		const int srcICI(aSourceICI[opp3ICI][opp2ICI]);
		if(srcICI < 0)
		{
			// Equal indices name no edge; without assertions keep the handle
			// harmless rather than reading outside the cell.
			pLowVtx = pHighVtx = nullptr;
			return;
		}
		Point3* pSrc(pTet->getCorner(srcICI));
		Point3* pTrg(pTet->getCorner(aTargetICI[opp3ICI][opp2ICI]));
		if(pSrc < pTrg)
		{
			pLowVtx = pSrc;
			pHighVtx = pTrg;
		}
		else
		{
			pLowVtx = pTrg;
			pHighVtx = pSrc;
		}
	}
	Edge3(const Edge3&) = default;
	Edge3(Edge3&&) = default;
	Edge3& operator=(const Edge3&) = default;
	Edge3& operator=(Edge3&&) = default;

	/// The cell through which the edge is named.
	Tet3* getTet() const { return pTet; }
	/// Index of one corner of getTet() that is not on the edge.
	int getOpp3Index() const { return opp3ICI; }
	/// Index of the other corner of getTet() that is not on the edge.
	int getOpp2Index() const { return opp2ICI; }
	/// Corner index of the source (-99 when both indices are equal).
	int getSourceIndex() const { return aSourceICI[opp3ICI][opp2ICI]; }
	/// Corner index of the target (-99 when both indices are equal).
	int getTargetIndex() const { return aTargetICI[opp3ICI][opp2ICI]; }
	Point3* getSourceVtx() const { return pTet->getCorner(getSourceIndex()); }
	Point3* getTargetVtx() const { return pTet->getCorner(getTargetIndex()); }
	/// End vertex with the lower / higher address.
	Point3* getLowVtx() const { return pLowVtx; }
	Point3* getHighVtx() const { return pHighVtx; }

	/// Same two end vertices, whatever the cell and the direction.
	bool operator==(const Edge3& other) const { return pLowVtx == other.pLowVtx && pHighVtx == other.pHighVtx; }
	bool operator!=(const Edge3& other) const { return !(*this == other); }
	/// Orders undirected edges by the addresses of their end vertices, for
	/// use as keys of ordered containers.
	bool operator<(const Edge3& other) const
	{
		if(pLowVtx != other.pLowVtx) return pLowVtx < other.pLowVtx;
		return pHighVtx < other.pHighVtx;
	}

	// Source and target corner per (opp3ICI, opp2ICI); -99 on the diagonal.
	// (opp3ICI, opp2ICI, source, target) is always an even permutation of
	// 0..3, so in a positively oriented cell every edge turns the same way.
	static constexpr int aSourceICI[4][4] = {{-99, 2, 3, 1}, {3, -99, 0, 2}, {1, 3, -99, 0}, {2, 0, 1, -99}};
	static constexpr int aTargetICI[4][4] = {{-99, 3, 1, 2}, {2, -99, 3, 0}, {3, 0, -99, 1}, {1, 2, 0, -99}};

private:
	Tet3* pTet;
	int opp3ICI;
	int opp2ICI;
	Point3* pLowVtx;
	Point3* pHighVtx;
};

/// Five lines: the cell, both opposite corners and source and target with
/// their indices and addresses.
VORN3D_API std::ostream& operator<<(std::ostream& stream, const Edge3& edge);

/// A facet of the mesh: the facet of a cell opposite one of its corners.
/// The same facet seen from the neighbouring cell compares equal.
class VORN3D_API Facet3
{
public:
	Facet3(Tet3* pTet_, int opp3ICI_): pTet(pTet_), opp3ICI(opp3ICI_) {}
	Facet3(const Facet3&) = default;
	Facet3(Facet3&&) = default;
	Facet3& operator=(const Facet3&) = default;
	Facet3& operator=(Facet3&&) = default;

	Tet3* getTet() const { return pTet; }
	/// The corner of getTet() opposite the facet.
	int getOpp3Index() const { return opp3ICI; }
	/// Corner index (in getTet()) of the facet's corner ith, 0..2. The cyclic
	/// order is the reverse of Tet3::getFacetIndices.
	int getIntraTetIndex(int ith) const
	{
		assert(range02(ith));
		return aFacetCornerICI[opp3ICI][ith];
	}
	/// The edge of the facet opposite the facet's corner ith, 0..2.
	Edge3 getEdge(int ith) const
	{
		assert(range02(ith));
		return Edge3(pTet, opp3ICI, aFacetCornerICI[opp3ICI][ith]);
	}

	/// Same cell and index, or the same facet seen from the neighbour across
	/// it. A hull facet equals only itself.
	bool operator==(const Facet3& other) const
	{
		if(pTet == other.pTet && opp3ICI == other.opp3ICI) return true;
		Tet3* pNeigh(pTet->getOppTet(opp3ICI));
		if(pNeigh == nullptr || other.pTet != pNeigh) return false;
		return other.opp3ICI == pNeigh->getIntraTetIndex(pTet);
	}
	bool operator!=(const Facet3& other) const { return !(*this == other); }

	// Corners of the facet opposite corner i.
	static constexpr int aFacetCornerICI[4][3] = {{1, 3, 2}, {0, 2, 3}, {0, 3, 1}, {0, 1, 2}};

private:
	Tet3* pTet;
	int opp3ICI;
};

} // namespace VORN3D

#endif
