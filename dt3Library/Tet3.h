// Tet3: the cell of the tetrahedral mesh.
//
// Index conventions used everywhere in the library:
//  - corners are 0..3 (positions in aVertexPointer), stored in positive
//    orientation;
//  - facet i is the facet opposite corner i, and aOppTet[i] is the cell
//    across it (null on the convex hull);
//  - the corner order of each facet and the three edges of each facet are
//    the constant tables below (getFacetIndices, getEdgeIndices).
#ifndef VORN3D_TET3_H
#define VORN3D_TET3_H

#include <cassert>
#include <cstddef>
#include <iosfwd>
#include <utility>

#include "Point3.h"
#include "vorn3d_export.h"

namespace VORN3D {

class Facet3;
class Edge3;

/// True for an intra-cell index 0..3.
inline bool range03(int i)
{
	return i >= 0 && i <= 3;
}

/// A tetrahedron of the mesh: four corners, four neighbours, a visited flag,
/// a creation number and a free custom index.
///
/// Cells are created and owned by the triangulation, which takes them from a
/// pool without running a constructor; the caller receives Tet3 pointers that
/// stay valid until the next insertion. The custom index is free for the
/// caller between insertions (an insertion resets it on the cells it creates
/// or removes).
class VORN3D_API Tet3
{
public:
	/// Not used by the library (cells come from a pool); prints a note.
	Tet3();
	~Tet3() {}
	/// Copies all fields, the ID and visited flag included.
	Tet3& operator=(const Tet3& other) = default;

	/// Initialises a cell: new ID, corners pI, pJ, pK, pL in this order, each
	/// corner's incident cell set to this cell, no neighbours, not visited,
	/// custom index -1.
	void setProperties(Point3* pI, Point3* pJ, Point3* pK, Point3* pL);

	/// Stores corner ith; the point's incident cell is not touched.
	void setCorner(int ith, Point3* p)
	{
		assert(range03(ith));
		aVertexPointer[ith] = p;
	}
	/// Stores neighbour ith (null marks a hull facet). Setting a cell as its
	/// own neighbour is reported and fails a condition.
	void setOppTet(int ith, Tet3* pC)
	{
		assert(range03(ith));
		if(pC == this) reportSelfNeighbor(ith);
		aOppTet[ith] = pC;
	}
	void setCustomIndex(int idx) { customIndex = idx; }
	int getCustomIndex() const { return customIndex; }
	/// Creation number: grows in creation order within the creating thread.
	int getID() const { return ID; }

	/// Corner ith.
	Point3* getCorner(int ith) const
	{
		assert(range03(ith));
		return aVertexPointer[ith];
	}
	void getCorners(Point3*& p0, Point3*& p1, Point3*& p2, Point3*& p3) const
	{
		p0 = aVertexPointer[0];
		p1 = aVertexPointer[1];
		p2 = aVertexPointer[2];
		p3 = aVertexPointer[3];
	}
	/// Neighbour across facet ith, null on the hull.
	Tet3* getOppTet(int ith) const
	{
		assert(range03(ith));
		return aOppTet[ith];
	}
	/// Neighbour opposite the corner pp.
	Tet3* getOppTet(const Point3* pp) const
	{
		if(aVertexPointer[0] == pp) return aOppTet[0];
		if(aVertexPointer[1] == pp) return aOppTet[1];
		if(aVertexPointer[2] == pp) return aOppTet[2];
		assert(aVertexPointer[3]==pp);
		return aOppTet[3];
	}
	/// Index 0..3 of the corner pp (by pointer).
	int getIntraTetIndex(const Point3* pp) const
	{
		if(aVertexPointer[0] == pp) return 0;
		if(aVertexPointer[1] == pp) return 1;
		if(aVertexPointer[2] == pp) return 2;
		assert(aVertexPointer[3]==pp);
		return 3;
	}
	/// Index i with getOppTet(i)==pT. A cell that is not a neighbour is an
	/// unrecoverable inconsistency: both cells are printed and the process
	/// exits with status 1.
	int getIntraTetIndex(const Tet3* pT) const
	{
		// The first match, counted without branches: the position of a cell
		// among the neighbours of its neighbour is random, and a chain of
		// tests would be mispredicted on most calls.
		const int miss0(aOppTet[0] != pT);
		const int miss01(miss0 & (aOppTet[1] != pT));
		const int miss012(miss01 & (aOppTet[2] != pT));
		if(miss012 & (aOppTet[3] != pT)) notANeighbor(pT);
		return miss0 + miss01 + miss012;
	}
	/// The index under which this cell is stored in its neighbour ith (which
	/// must exist).
	int getIntraTetIndexInOppTet(int ith) const { return getOppTet(ith)->getIntraTetIndex(this); }
	/// The same answer from corner pointers only: the first corner of this
	/// cell that is not on facet ith of pOther. Works while links are missing.
	int getIntraTetIndexInOppTetForReg(const Tet3* pOther, int ith) const;
	/// The far corner of neighbour ith. Without a neighbour: null when
	/// bAllowNull, otherwise an error and process exit with status 1.
	Point3* getOppVtxInOppTet(int ith, bool bAllowNull) const;

	/// True if p is one of the corner pointers.
	bool hasVertex(const Point3* p) const
	{
		return aVertexPointer[0] == p || aVertexPointer[1] == p || aVertexPointer[2] == p || aVertexPointer[3] == p;
	}
	/// True if a corner has exactly the coordinates of p.
	bool hasVertex(const Point3& p) const
	{
		return *aVertexPointer[0] == p || *aVertexPointer[1] == p || *aVertexPointer[2] == p || *aVertexPointer[3] == p;
	}

	/// The facet opposite corner ith.
	Facet3 getFacet(int ith);
	/// Corner indices of facet opp3, in the order of the facet table.
	void getFacetIndices(int opp3, int& a, int& b, int& c) const
	{
		assert(range03(opp3));
		a = aFacetCorners[opp3][0];
		b = aFacetCorners[opp3][1];
		c = aFacetCorners[opp3][2];
	}
	/// The corner indices of edge ith (0..2) of facet opp3. No checks.
	static std::pair<int, int> getEdgeIndices(int opp3, int ith)
	{
		return std::pair<int, int>(aFacetEdges[opp3][ith][0], aFacetEdges[opp3][ith][1]);
	}
	/// The edge joining the two corners other than opp3ICI and opp2ICI.
	Edge3 getEdge(int opp3ICI, int opp2ICI);
	/// True if facet opp0 of pT0 and facet opp1 of pT1 have the same three
	/// corners. Different facets end the process with status 1.
	static bool haveCommonFacet(Tet3* pT0, int opp0, Tet3* pT1, int opp1);
	/// Centre of the circumsphere, in plain double arithmetic.
	Point3 getCircumcenter() const;
	/// Debug helper: -1 without neighbour ith, otherwise 0 and a note.
	int debug_getOppTetIndex(int ith) const;

	/// Visited flag of the insertion algorithms; false on every live cell
	/// between insertions.
	bool hasBeenVisited;
	/// Next creation number of the calling thread; the first cell a thread
	/// creates gets 1000, so objects built on different threads number their
	/// cells independently and reproducibly. After INT_MAX it wraps to
	/// INT_MIN (a run of 10^8 points creates more than 2^31 cells), so
	/// numbers say nothing about order across the wrap.
	static thread_local int runningLabel;

	/// Corners of facet i (opposite corner i).
	static const int aFacetCorners[4][3];
	/// Edges (first, second corner index) of facet i.
	static const int aFacetEdges[4][3][2];

private:
	/// Returns runningLabel and advances it, wrapping in unsigned arithmetic
	/// instead of overflowing a signed integer.
	static int takeLabel()
	{
		const int label(runningLabel);
		runningLabel = labelAfter(label);
		return label;
	}
	static int labelAfter(int label) { return static_cast<int>(static_cast<unsigned>(label) + 1u); }
	// Cells are never copied by value; an accidental copy shows in the output.
	Tet3(const Tet3&);
	[[noreturn]] void notANeighbor(const Tet3* pT) const;
	void reportSelfNeighbor(int ith);
	/// The work of setProperties with the creation number given, inline for
	/// the kernel, which creates millions of cells.
	void initCell(int label, Point3* pI, Point3* pJ, Point3* pK, Point3* pL)
	{
		ID = label;
		// The text of this check is part of the cell's contract.
		assert((pI!=NULL && pJ!=NULL && pK!=NULL && pL!=NULL));
		aVertexPointer[0] = pI;
		aVertexPointer[1] = pJ;
		aVertexPointer[2] = pK;
		aVertexPointer[3] = pL;
		pI->setOneTet(this);
		pJ->setOneTet(this);
		pK->setOneTet(this);
		pL->setOneTet(this);
		aOppTet[0] = aOppTet[1] = aOppTet[2] = aOppTet[3] = nullptr;
		hasBeenVisited = false;
		customIndex = -1;
	}

	int ID;
	Point3* aVertexPointer[4];
	Tet3* aOppTet[4];
	int customIndex;
	friend VORN3D_API std::ostream& operator<<(std::ostream& stream, const Tet3& cell);
	friend class Dt3;
};

/// Prints the cell: ID, address, visited flag and orientation, then one line
/// per corner with its neighbour.
VORN3D_API std::ostream& operator<<(std::ostream& stream, const Tet3& cell);

} // namespace VORN3D

#endif
