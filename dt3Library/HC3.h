// HC3: the vertex store. Owns every vertex of a triangulation and keeps them
// in one ordered sequence sorted along a 3D Hilbert curve over the bounding
// box.
// Internal to the library.
#ifndef VORN3D_HC3_H
#define VORN3D_HC3_H

#include <cstdint>
#include <vector>

#include "Bbox3.h"
#include "Point3.h"
#include "SimplePool.h"

namespace VORN3D {

class Tet3;

/// One entry of the store: Hilbert key and the vertex (null only in probes).
struct IdxVtx
{
	uint32_t key;
	Point3* pVtx;
};

/// Order of the store: by key; with equal keys a probe (null vertex) comes
/// first, then x, y, z ascending. Entries with equal key and coordinates are
/// equal, which is how duplicate points are found.
struct IdxVtxLess
{
	bool operator()(const IdxVtx* pA, const IdxVtx* pB) const
	{
		if(pA->key != pB->key) return pA->key < pB->key;
		if(pA->pVtx == nullptr) return pB->pVtx != nullptr;
		if(pB->pVtx == nullptr) return false;
		return *pA->pVtx < *pB->pVtx;
	}
};

/// The store's ordered sequence of entries (IdxVtxLess order, no two equal),
/// kept as a list of sorted blocks of bounded size. Finding a position is a
/// binary search over the blocks' last entries and then inside one block;
/// inserting shifts at most one block; a whole sorted sequence is taken over
/// in linear time. Iterating is a plain walk through the blocks.
class IdxVtxSequence
{
public:
	IdxVtxSequence(): numEntries(0) {}

	size_t size() const { return numEntries; }
	bool empty() const { return numEntries == 0; }
	void clear();
	/// Block and index of the first entry not before pProbe; block ==
	/// getBlocks().size() when there is none.
	void lowerBound(const IdxVtx* pProbe, size_t& block, size_t& idx) const;
	/// Inserts pEntry unless an equal entry is stored; returns the stored one
	/// (pEntry itself when it was inserted).
	IdxVtx* insertUnique(IdxVtx* pEntry);
	/// Replaces the content by vSorted, which must be strictly increasing.
	void assign(const std::vector<IdxVtx*>& vSorted);
	/// Appends all entries, in order.
	void appendTo(std::vector<IdxVtx*>& vEntries) const;
	const std::vector<std::vector<IdxVtx*>>& getBlocks() const { return vBlocks; }

	/// Checks the block structure (order inside and across blocks, no empty
	/// block, the cached last entries, the count); for tests.
	bool isConsistent() const;

	// A block that grows past maxBlockSize is split in two; assign fills
	// blocks to fillBlockSize so that later insertions rarely split.
	static const size_t maxBlockSize = 512;
	static const size_t fillBlockSize = 384;

private:
	std::vector<std::vector<IdxVtx*>> vBlocks;
	// Last entry of every block, for the search over blocks.
	std::vector<IdxVtx*> vBlockLast;
	size_t numEntries;
};

/// The vertex store.
///
/// Every vertex is created here, from a pool, and lives until the store is
/// destroyed: vertex pointers handed out stay valid that long. Keys are
/// Hilbert indices over the bounding box of all points inserted so far; the
/// box is enlarged beyond the points whenever it grows, and then every key is
/// recomputed and the sequence rebuilt.
///
/// Not thread-safe; besides its own state it reads and clears one flag per
/// thread (the first bulk enlargement, see insert).
class HC3
{
public:
	/// numBits: key length, a multiple of 3 from 0 to 30 (9 bits per axis by
	/// default). Anything else prints "HC3::HC3(..): invalid bitlength" and
	/// ends the process with status 1.
	explicit HC3(int numBits = 27);
	~HC3();
	HC3(const HC3&) = delete;
	HC3& operator=(const HC3&) = delete;

	/// Single insertion. Returns the vertex that stands for p: a new one, or
	/// the stored vertex with the same coordinates. pDuplicateTet receives
	/// the incident cell of that stored vertex when p was already stored and
	/// its vertex belongs to the mesh, null otherwise. A point that grows the
	/// box enlarges it by its full range (factor 1.0) and reorders the store.
	Point3* insert(const Point3& p, Tet3*& pDuplicateTet);

	/// Bulk insertion. vUserHandles must be empty (checked); it receives one
	/// vertex per input point, in input order, equal points sharing one
	/// vertex. vOrdered is cleared and receives the vertices created by this
	/// call (one per distinct new point), in Hilbert order. If the input
	/// grows the box, it is enlarged by factor 0.1 the first time this
	/// happens in the calling thread and by 1.0 every later time.
	void insert(const std::vector<Point3>& vInput, std::vector<Point3*>& vUserHandles,
		std::vector<Point3*>& vOrdered);

	/// Appends every stored vertex, in Hilbert order, to vVertices.
	void getVertices(std::vector<Point3*>& vVertices) const;

	/// The first stored vertex, in Hilbert order, for which pred is true;
	/// null if there is none. Stops at the first match.
	template <class Pred> Point3* findFirstVertex(Pred pred) const
	{
		for(const std::vector<IdxVtx*>& vBlock : entries.getBlocks())
		{
			for(const IdxVtx* pEntry : vBlock)
			{
				if(pred(pEntry->pVtx)) return pEntry->pVtx;
			}
		}
		return nullptr;
	}

	/// A cell near p: starting at the first entry whose key is not below p's
	/// (the last entry if there is none), the incident cell of the first
	/// vertex in curve order that has one. When the end of the store is
	/// reached without such a vertex, the search goes backwards from the start
	/// entry instead. Null for an empty store or when no vertex has a cell.
	Tet3* getNearTet(const Point3& p);

	/// Number of stored vertices.
	size_t size() const;

	/// Hilbert key of p over the current box (requires a valid box, that is
	/// at least one stored point). Always below 2^numBits.
	uint32_t getKey(const Point3& p) const;

	/// Checks the internal sequence (see IdxVtxSequence::isConsistent).
	bool isConsistent() const { return entries.isConsistent(); }
	/// The current (enlarged) bounding box.
	const Bbox3& getBox() const { return bbox; }
	int getNumBits() const { return numBits; }
	/// True while no bulk insertion of this thread has enlarged a box yet,
	/// so the next one to do so uses factor 0.1.
	static bool isFirstBulkEnlargementPending() { return bFirstBulkEnlargement; }

private:
	uint32_t computeKey(double x, double y, double z) const;
	void recomputeKeys();
	IdxVtx* takeEntry();
	Point3* newVertex(const Point3& p);

	Bbox3 bbox;
	// Box minimum and extents per axis, as used by the key.
	double aBoxMin[3];
	double aExtent[3];
	int numBits;
	bool bValid;
	SimplePool<Point3> vertexPool;
	SimplePool<IdxVtx> entryPool;
	IdxVtxSequence entries;
	// An entry taken for a point that turned out to be stored already; the
	// next insertion uses it, so duplicates do not drain the pool.
	IdxVtx* pSpareEntry;

	// Per thread, so that a store's boxes do not depend on what other
	// threads built before.
	static thread_local bool bFirstBulkEnlargement;
};

} // namespace VORN3D

#endif
