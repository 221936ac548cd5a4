// Conservative floating-point geometry of the certification rounds.
//
// The local triangulations are exact; these tests only decide which points
// must be fetched from other processes. Each answer is a superset: a ball
// that contains the true circumsphere, an interval that contains the true
// value. Error bounds are first-order bounds on the rounding of the few
// operations involved, scaled by a generous safety factor.
#ifndef VORN3D_PARALLEL_GEOMETRY_H
#define VORN3D_PARALLEL_GEOMETRY_H

namespace vorn3dregions {

/// A closed ball; radius is +infinity when the sphere could not be bounded.
struct Ball
{
	double c[3];
	double radius;
};

/// An axis-parallel closed box; empty when lo > hi on some axis.
struct Box
{
	double lo[3];
	double hi[3];
};

/// A ball that contains the circumsphere of the tetrahedron a, b, c, d (and,
/// with a rounding margin, every point whose squared distance to the centre
/// computes to at most radius^2). Nearly flat cells give an infinite ball.
Ball enclosingCircumball(const double* a, const double* b, const double* c, const double* d);

/// The radius up to which ballContains accepts points (radius plus the
/// rounding of a computed distance).
double reach(const Ball& ball);

/// True if the closed ball and the closed box may meet.
bool ballMeetsBox(const Ball& ball, const Box& box);

/// True if the part of the box that the ball may meet lies inside the box
/// covered (the bounding cube of the ball, clipped to box, is inside it).
bool ballPartCovered(const Ball& ball, const Box& box, const Box& covered);

/// True if the closed boxes meet (neither is empty).
bool boxesMeet(const Box& a, const Box& b);

/// True if the part of box that a meets lies inside the box covered.
bool boxPartCovered(const Box& a, const Box& box, const Box& covered);

/// Where p lies against the circumsphere of the positively oriented cell
/// a, b, c, d: +1 inside, -1 outside, 0 when the filter (long double with an
/// error bound) cannot tell.
int sphereSide(const double* a, const double* b, const double* c, const double* d, const double* p);

/// sphereSide for one cell and many points: with P = p - a the lifted
/// determinant is O |P|^2 - P.W (O the cell's orientation determinant, W/2O
/// its circumcentre relative to a), so O and W are computed once, with
/// error bounds, and a point far from the sphere is decided by a few
/// products; the rest go to sphereSide.
class SphereFilter
{
public:
	/// pCorners: the positively oriented cell's corners, 12 coordinates.
	explicit SphereFilter(const double* pCorners);
	/// As sphereSide.
	int side(const double* p) const;

private:
	const double* pCorner_;
	double o_, permO_, w_[3], permW_[3];
	bool bUsable_;
};

/// The spheres through a hull facet a, b, c that grow towards its outer side.
/// For a point p on the outer side the key is the height (times a positive
/// constant) of the centre of the sphere through a, b, c, p: the facet's
/// Delaunay neighbour across the plane is the point of smallest key.
class GrowingSphere
{
public:
	/// a, b, c in the order that makes the outer normal (b-a)x(c-a).
	GrowingSphere(const double* a, const double* b, const double* c);
	/// False when p is certainly not on the outer side. Otherwise [lo, hi]
	/// contains the key of p (lo may be -infinity, hi +infinity when p is
	/// nearly on the plane).
	bool keyInterval(const double* p, double& lo, double& hi) const;
	/// The centre of the circle through a, b, c.
	void circleCentre(double* centre) const;
	/// False when no point of the box is on the outer side (with a wide
	/// margin for rounding), or when a key below maxKey would put the point
	/// in the sphere of key maxKey, which misses the box. A point of key at
	/// most maxKey (+infinity: any key) lies in every box kept.
	bool mayHoldKeyBelow(const Box& box, double maxKey) const;

private:
	double a_[3], n_[3], g_[3];
	double lenUV_, magG_;
};

} // namespace vorn3dregions

#endif
