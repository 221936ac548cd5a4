// Triangle3: a triangle record with three corners and three neighbours.
#ifndef VORN3D_TRIANGLE3_H
#define VORN3D_TRIANGLE3_H

#include <cassert>
#include <iosfwd>

#include "Point3.h"
#include "vorn3d_export.h"

namespace VORN3D {

/// A triangle of a surface: corners 0..2 and neighbours 0..2, neighbour i
/// lying across the edge opposite corner i. The triangle owns neither its
/// corners nor its neighbours.
class VORN3D_API Triangle3
{
public:
	/// Corners as given, no neighbours.
	Triangle3(Point3* p0, Point3* p1, Point3* p2): aCorners{p0, p1, p2}, aNeighbors{nullptr, nullptr, nullptr} {}
	Triangle3(const Triangle3&) = default;
	Triangle3& operator=(const Triangle3&) = default;

	/// Corner i (0..2).
	Point3* getCorner(int i) const
	{
		assert(i>-1 && i<3);
		return aCorners[i];
	}
	/// Neighbour i (0..2): the triangle across the edge opposite corner i, or
	/// null.
	Triangle3* getNeig(int i) const
	{
		assert(i>-1 && i<3);
		return aNeighbors[i];
	}
	void setNeig(int i, Triangle3* p)
	{
		assert(i>-1 && i<3);
		aNeighbors[i] = p;
	}
	/// Index of the corner p (compared by pointer), or -999 with a message on
	/// standard error when p is no corner.
	int getIntraTriangleIndex(Point3* p) const;
	/// Index of the corner opposite the edge p1p2 (either order), or -999 with
	/// a message when the edge is not in this triangle.
	int getIntraTriangleIndex(Point3* p1, Point3* p2) const;
	/// The average of the three corners, with no incident cell and index -1.
	Point3 getBarycenter() const;

private:
	Point3* aCorners[3];
	Triangle3* aNeighbors[3];
	friend std::ostream& operator<<(std::ostream& stream, const Triangle3& triangle);
};

/// Writes "Triangle: " and one line per corner with its neighbour. Used by
/// the library's failure messages.
std::ostream& operator<<(std::ostream& stream, const Triangle3& triangle);

} // namespace VORN3D

#endif
