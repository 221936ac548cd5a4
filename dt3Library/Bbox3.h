// Bbox3: axis-aligned bounding box that grows as points are added.
#ifndef VORN3D_BBOX3_H
#define VORN3D_BBOX3_H

#include <cfloat>
#include <vector>

#include "Point3.h"
#include "vorn3d_export.h"

namespace VORN3D {

/// An axis-aligned box. The empty box has minima DBL_MAX and maxima -DBL_MAX
/// and is invalid; the first added point makes it valid.
class VORN3D_API Bbox3
{
public:
	/// The empty box.
	Bbox3(): minX(DBL_MAX), minY(DBL_MAX), minZ(DBL_MAX), maxX(-DBL_MAX), maxY(-DBL_MAX), maxZ(-DBL_MAX) {}
	/// The box of the given points (empty for an empty vector).
	explicit Bbox3(const std::vector<Point3>& vPoints): Bbox3() { add(vPoints); }
	Bbox3(const Bbox3&) = default;
	Bbox3& operator=(const Bbox3&) = default;

	/// True once a point has been added (decided by minX alone).
	bool isValid() const { return minX < DBL_MAX; }
	/// Grows the box to contain p; true if the box changed.
	bool add(const Point3& p)
	{
		if(!isValid())
		{
			minX = maxX = p.x();
			minY = maxY = p.y();
			minZ = maxZ = p.z();
			return true;
		}
		return addToValid(p);
	}
	/// Grows the box to contain every point; true if the box changed.
	bool add(const std::vector<Point3>& vPoints);
	/// Extends this box by other (this box changes) and returns a copy of it.
	Bbox3 operator+(Bbox3& other);
	/// Moves every side outwards by half the axis range times factor.
	void enlargeBounds(double factor);

	Point3 getMinPoint() const { return Point3(minX, minY, minZ); }
	Point3 getMaxPoint() const { return Point3(maxX, maxY, maxZ); }
	/// Smallest of the three minima.
	double getMinCoord() const;
	/// Largest of the three maxima.
	double getMaxCoord() const;
	double getRangeX() const { return maxX - minX; }
	double getRangeY() const { return maxY - minY; }
	double getRangeZ() const { return maxZ - minZ; }
	/// Largest of the three ranges.
	double getMaxRange() const;
	double getMinX() const { return minX; }
	double getMinY() const { return minY; }
	double getMinZ() const { return minZ; }
	double getMaxX() const { return maxX; }
	double getMaxY() const { return maxY; }
	double getMaxZ() const { return maxZ; }
	/// Prints "Bbox3: (minX,minY,minZ) -> (maxX,maxY,maxZ)".
	void debug() const;

private:
	// Per axis: a lower coordinate moves the minimum, else a higher one the
	// maximum.
	bool addToValid(const Point3& p)
	{
		bool bChanged(false);
		if(minX > p.x()) { minX = p.x(); bChanged = true; }
		else if(p.x() > maxX) { maxX = p.x(); bChanged = true; }
		if(minY > p.y()) { minY = p.y(); bChanged = true; }
		else if(p.y() > maxY) { maxY = p.y(); bChanged = true; }
		if(minZ > p.z()) { minZ = p.z(); bChanged = true; }
		else if(p.z() > maxZ) { maxZ = p.z(); bChanged = true; }
		return bChanged;
	}

	double minX, minY, minZ;
	double maxX, maxY, maxZ;
};

} // namespace VORN3D

#endif
