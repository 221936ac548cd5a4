// TrelTest3: the exact orientation and insphere predicates.
//
// Each answer is exact for the given double coordinates: a floating-point
// filter decides the easy cases and adaptive expansion arithmetic decides the
// rest (Shewchuk 1997). Internal to the library.
#ifndef VORN3D_TRELTEST3_H
#define VORN3D_TRELTEST3_H

#include <string>

#include "Point3.h"
#include "Tet3.h"

namespace VORN3D {

enum Orientation3
{
	ORIENTATION3_POSITIVE = 0,
	ORIENTATION3_NEGATIVE = 1,
	ORIENTATION3_COPLANAR = 2
};

enum SphereInclusion
{
	SIC_INSIDE = 0,
	SIC_OUTSIDE = 1,
	SIC_CORNER = 2
};

class TrelTest3
{
public:
	/// Computes the machine constants and error bounds at run time.
	TrelTest3();

	/// Orientation of d against the plane through a, b, c: POSITIVE when
	/// a, b, c are seen counter-clockwise from d (det(b-a, c-a, d-a) > 0).
	Orientation3 getOrientation3(const Point3* a, const Point3* b, const Point3* c, const Point3* d) const;
	Orientation3 getOrientation3(const Point3& a, const Point3& b, const Point3& c, const Point3& d) const
	{
		return getOrientation3(&a, &b, &c, &d);
	}
	/// Orientation of q against facet ith of tet: POSITIVE on the side of
	/// corner ith, NEGATIVE beyond the facet.
	Orientation3 getOrientation3(const Tet3* tet, int ith, const Point3* q) const;
	/// Position of q against the circumsphere of a positively oriented tet.
	SphereInclusion sphereInclusionTest(const Tet3* tet, const Point3* q) const;

	/// "ORI3_ORIENTATION3_POSITIVE", "ORI3_ORIENTATION3_NEGATIVE", "ORI3_ZERO".
	std::string getOrientationName(Orientation3 ori) const;
	/// Writes label, ": " and "positive"/"negative"/"coplanar" with a line end.
	void printOrientation(const std::string& label, Orientation3 ori) const;

	// The fifteen constants, in this order. The predicates read splitter,
	// resulterrbound, the o3d bounds and the isp bounds.
	double splitter;
	double epsilon;
	double resulterrbound;
	double ccwerrboundA, ccwerrboundB, ccwerrboundC;
	double o3derrboundA, o3derrboundB, o3derrboundC;
	double iccerrboundA, iccerrboundB, iccerrboundC;
	double isperrboundA, isperrboundB, isperrboundC;
};

} // namespace VORN3D

#endif
