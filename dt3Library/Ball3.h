// Ball3: a sphere given by its centre and its squared radius.
#ifndef VORN3D_BALL3_H
#define VORN3D_BALL3_H

#include "Point3.h"
#include "vorn3d_export.h"

namespace VORN3D {

/// A sphere. Only the squared radius is stored (it is what the geometry
/// produces exactly); the radius is computed on demand.
class VORN3D_API Ball3
{
public:
	/// Centre (x, y, z) with no incident cell and index -1.
	Ball3(double x, double y, double z, double sqRad): center(x, y, z), sqRadius(sqRad) {}
	/// Copies the centre's coordinates and index and the squared radius; the
	/// centre of the copy has no incident cell.
	Ball3(const Ball3& other): center(other.center), sqRadius(other.sqRadius) {}
	/// Copies all fields, the centre's incident cell included.
	Ball3& operator=(const Ball3& other)
	{
		center = other.center;
		sqRadius = other.sqRadius;
		return *this;
	}

	/// A copy of the centre (coordinates and index, no incident cell).
	Point3 getCenter() const { return Point3(center); }
	double getSqRadius() const { return sqRadius; }
	/// The square root of the squared radius.
	double getRadius() const;
	/// Prints "Ball3: ", the centre, ", r=" and the radius, then a line end.
	void debug() const;

private:
	Point3 center;
	double sqRadius;
};

} // namespace VORN3D

#endif
