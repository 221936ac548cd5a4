// StartGrid3: where location walks start.
//
// A uniform grid of cubic buckets over a box, each bucket remembering the
// vertex recorded last in it, plus coarser copies of the same grid (bucket
// side doubled from one level to the next, down to a single bucket). A query
// gets the vertex of the finest level whose bucket is not empty; the incident
// cell of that vertex is a live cell near the query, a good start for the
// visibility walk whatever order the points come in. The coarse levels serve
// the first points of a bulk insertion, while most fine buckets are empty.
//
// The buckets are cubes (the same side on every axis), so the grid follows the
// shape of the point set: a long thin box gets a long thin array of buckets.
// Points outside the box go to the nearest border bucket. The grid only
// stores vertex pointers; vertices live as long as the kernel, so a stored
// pointer never dangles.
// Internal to the library.
#ifndef VORN3D_STARTGRID3_H
#define VORN3D_STARTGRID3_H

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "Point3.h"
#include "Tet3.h"

namespace VORN3D {

class StartGrid3
{
public:
	StartGrid3();

	/// Forgets every vertex and lays out buckets over the box (aLow, aHigh)
	/// for numPoints points, about pointsPerBucket of them per finest bucket.
	/// Allocates; everything else does not.
	void reset(const double aLow[3], const double aHigh[3], size_t numPoints);

	/// True once reset has laid out buckets.
	bool isBuilt() const { return !vBuckets.empty(); }
	/// The number of points the current layout was made for.
	size_t getCapacity() const { return capacity; }
	/// Squared side of a finest bucket: a vertex closer than this to a query
	/// is as near as any the grid can offer.
	double getNearEnough2() const { return side * side; }
	/// Bytes held by the buckets.
	size_t getMemoryBytes() const { return vBuckets.capacity() * sizeof(Point3*); }
	int getNumLevels() const { return numLevels; }

	/// Remembers pVtx in its bucket on every level.
	void record(Point3* pVtx)
	{
		uint32_t aCell[3];
		bucketOf(*pVtx, aCell);
		for(int k = 0; k < numLevels; ++k) vBuckets[slot(k, aCell)] = pVtx;
	}

	/// True when no two corners of pTet are more than maxCellSpan bucket
	/// sides apart in any axis: a cell that is no long sliver.
	bool isCompact(const Tet3* pTet) const
	{
		const Point3* p0(pTet->getCorner(0));
		const double limit(maxCellSpan * side);
		for(int i = 1; i < 4; ++i)
		{
			const Point3* p(pTet->getCorner(i));
			if(std::fabs(p->x() - p0->x()) > limit || std::fabs(p->y() - p0->y()) > limit ||
				std::fabs(p->z() - p0->z()) > limit)
				return false;
		}
		return true;
	}

	/// Remembers pVtx on the levels where its bucket is still empty.
	void recordIfEmpty(Point3* pVtx)
	{
		uint32_t aCell[3];
		bucketOf(*pVtx, aCell);
		for(int k = 0; k < numLevels; ++k)
		{
			Point3*& pSlot(vBuckets[slot(k, aCell)]);
			if(pSlot == nullptr) pSlot = pVtx;
		}
	}

	/// The vertex of the finest level whose bucket around q is not empty;
	/// null when nothing is recorded or the grid is not built.
	Point3* find(const Point3& q) const
	{
		if(vBuckets.empty()) return nullptr;
		uint32_t aCell[3];
		bucketOf(q, aCell);
		for(int k = 0; k < numLevels; ++k)
		{
			Point3* pVtx(vBuckets[slot(k, aCell)]);
			if(pVtx != nullptr) return pVtx;
		}
		return nullptr;
	}

	/// Span, in bucket sides, beyond which isCompact calls a cell a sliver.
	static constexpr double maxCellSpan = 8.0;
	/// Points per finest bucket aimed at by reset.
	static const size_t pointsPerBucket = 2;

private:
	struct Level
	{
		uint32_t aDim[3];
		size_t offset;
	};

	/// Bucket coordinates on the finest level, clamped into the grid.
	void bucketOf(const Point3& p, uint32_t aCell[3]) const
	{
		const double a[3] = {p.x(), p.y(), p.z()};
		for(int i = 0; i < 3; ++i)
		{
			double t((a[i] - aMin[i]) * invSide);
			// Written so that NaN (from infinite extents) lands in bucket 0.
			if(!(t > 0.0)) t = 0.0;
			const double top(static_cast<double>(aLevels[0].aDim[i] - 1));
			if(t > top) t = top;
			aCell[i] = static_cast<uint32_t>(t);
		}
	}

	size_t slot(int k, const uint32_t aCell[3]) const
	{
		const Level& level(aLevels[k]);
		return level.offset + (static_cast<size_t>(aCell[0] >> k) * level.aDim[1] + (aCell[1] >> k)) * level.aDim[2] +
			(aCell[2] >> k);
	}

	// A finest level of at most 2^maxDimBits buckets per axis needs at most
	// maxDimBits + 1 levels down to a single bucket.
	static const int maxDimBits = 21;
	static const int maxLevels = maxDimBits + 1;
	double aMin[3];
	double side;
	double invSide;
	size_t capacity;
	int numLevels;
	Level aLevels[maxLevels];
	std::vector<Point3*> vBuckets;
};

} // namespace VORN3D

#endif
