// HC3: the vertex store. Owns every vertex of a triangulation and keeps them
// in an ordered set sorted along a 3D Hilbert curve over the bounding box.
// Internal to the library.
#ifndef VORN3D_HC3_H
#define VORN3D_HC3_H

#include <cstdint>
#include <set>
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

class HC3
{
public:
	HC3();
	~HC3();
	HC3(const HC3&) = delete;
	HC3& operator=(const HC3&) = delete;

	/// Single insertion. Returns the vertex that stands for p: a new one, or
	/// the stored vertex with the same coordinates. pDuplicateTet receives
	/// the incident cell of that stored vertex when p was already stored and
	/// its vertex belongs to the mesh, null otherwise.
	Point3* insert(const Point3& p, Tet3*& pDuplicateTet);

	/// Bulk insertion. vUserHandles must be empty; it receives one vertex per
	/// input point, in input order. vOrdered receives the vertices created by
	/// this call (one per distinct new point), in Hilbert order.
	void insert(const std::vector<Point3>& vInput, std::vector<Point3*>& vUserHandles,
		std::vector<Point3*>& vOrdered);

	/// Appends every stored vertex, in Hilbert order, to vVertices.
	void getVertices(std::vector<Point3*>& vVertices) const;

	/// A cell near p: the incident cell of the first vertex at or after p's
	/// Hilbert key that has one. Null if no such vertex exists.
	Tet3* getNearTet(const Point3& p);

	/// Number of stored vertices.
	size_t size() const;

	/// Hilbert key of p over the current box (requires a valid box).
	uint32_t getKey(const Point3& p) const;
};

} // namespace VORN3D

#endif
