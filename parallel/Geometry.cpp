#include "Geometry.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>

namespace vorn3dregions {

namespace {

// Safety factor on the unit round-off: each bound below counts a handful of
// roundings; 64 leaves a wide margin for the ones not counted one by one.
constexpr double ERR = 64.0 * DBL_EPSILON;
constexpr double INF = std::numeric_limits<double>::infinity();

inline void sub(const double* p, const double* q, double* r)
{
	r[0] = p[0] - q[0];
	r[1] = p[1] - q[1];
	r[2] = p[2] - q[2];
}
inline void cross(const double* p, const double* q, double* r)
{
	r[0] = p[1] * q[2] - p[2] * q[1];
	r[1] = p[2] * q[0] - p[0] * q[2];
	r[2] = p[0] * q[1] - p[1] * q[0];
}
inline double dot(const double* p, const double* q)
{
	return p[0] * q[0] + p[1] * q[1] + p[2] * q[2];
}
inline double norm(const double* p)
{
	return std::sqrt(dot(p, p));
}
// Slack for comparing a distance computed from coordinates of size about
// scale against a radius.
inline double roundingSlack(const Ball& ball)
{
	return ERR * (std::fabs(ball.c[0]) + std::fabs(ball.c[1]) + std::fabs(ball.c[2]) + ball.radius);
}

} // namespace

namespace {

/// The work of enclosingCircumball in the floating type T. Returns false
/// (and leaves ball alone) when the relative error bound of the determinant
/// exceeds maxRelativeError.
template<class T>
bool circumball(const double* pa, const double* pb, const double* pc, const double* pd, double maxRelativeError, Ball& ball)
{
	const T err(64 * std::numeric_limits<T>::epsilon());
	T u[3], v[3], w[3], vw[3], wu[3], uv[3];
	for(int i = 0; i < 3; ++i)
	{
		u[i] = T(pb[i]) - T(pa[i]);
		v[i] = T(pc[i]) - T(pa[i]);
		w[i] = T(pd[i]) - T(pa[i]);
	}
	const auto cross([](const T* p, const T* q, T* r) {
		r[0] = p[1] * q[2] - p[2] * q[1];
		r[1] = p[2] * q[0] - p[0] * q[2];
		r[2] = p[0] * q[1] - p[1] * q[0];
	});
	const auto dot([](const T* p, const T* q) { return p[0] * q[0] + p[1] * q[1] + p[2] * q[2]; });
	cross(v, w, vw);
	cross(w, u, wu);
	cross(u, v, uv);
	const T u2(dot(u, u)), v2(dot(v, v)), w2(dot(w, w));
	const T lu(std::sqrt(u2)), lv(std::sqrt(v2)), lw(std::sqrt(w2));
	const T det(dot(u, vw));
	const T errDet(err * lu * lv * lw);
	if(!(std::fabs(det) * T(maxRelativeError) > errDet)) return false;
	T x[3];
	for(int i = 0; i < 3; ++i) x[i] = u2 * vw[i] + v2 * wu[i] + w2 * uv[i];
	const T lenX(std::sqrt(dot(x, x)));
	const T errX(err * lu * lv * lw * (lu + lv + lw));
	// x / (2 det) is the offset of the centre from a; the true offset differs
	// by at most delta.
	const T delta((errX + lenX * errDet / (std::fabs(det) - errDet)) / (2 * (std::fabs(det) - errDet)));
	T offsetLen(0);
	for(int i = 0; i < 3; ++i)
	{
		const T xi(x[i] / (2 * det));
		ball.c[i] = static_cast<double>(T(pa[i]) + xi);
		offsetLen += xi * xi;
	}
	offsetLen = std::sqrt(offsetLen);
	const double scale(std::fabs(pa[0]) + std::fabs(pa[1]) + std::fabs(pa[2]) + static_cast<double>(offsetLen));
	ball.radius = (static_cast<double>(offsetLen + 2 * delta) + ERR * scale) * (1.0 + ERR);
	return true;
}

} // namespace

Ball enclosingCircumball(const double* a, const double* b, const double* c, const double* d)
{
	// Doubles suffice for all but flat cells; those get the wider type (where
	// it is wider), so that their large spheres are not inflated further.
	Ball ball{{0.0, 0.0, 0.0}, INF};
	if(circumball<double>(a, b, c, d, 1e-10, ball)) return ball;
	if(circumball<long double>(a, b, c, d, 0.25, ball)) return ball;
	return ball;
}

namespace {

template<class T> T det3(const T* u, const T* v, const T* w, T& permanent)
{
	permanent = std::fabs(u[0]) * (std::fabs(v[1] * w[2]) + std::fabs(v[2] * w[1])) +
		std::fabs(u[1]) * (std::fabs(v[0] * w[2]) + std::fabs(v[2] * w[0])) +
		std::fabs(u[2]) * (std::fabs(v[0] * w[1]) + std::fabs(v[1] * w[0]));
	return u[0] * (v[1] * w[2] - v[2] * w[1]) - u[1] * (v[0] * w[2] - v[2] * w[0]) + u[2] * (v[0] * w[1] - v[1] * w[0]);
}

/// sphereSide in the floating type T.
template<class T> int sphereSideIn(const double* a, const double* b, const double* c, const double* d, const double* p)
{
	const T err(64 * std::numeric_limits<T>::epsilon());
	const double* aCorner[4] = {a, b, c, d};
	T rows[4][4];
	for(int i = 0; i < 4; ++i)
	{
		for(int k = 0; k < 3; ++k) rows[i][k] = T(aCorner[i][k]) - T(p[k]);
		rows[i][3] = rows[i][0] * rows[i][0] + rows[i][1] * rows[i][1] + rows[i][2] * rows[i][2];
	}
	// The lifted determinant, expanded along the lift column.
	T det(0), permanent(0);
	for(int i = 0; i < 4; ++i)
	{
		const T* aMinor[3];
		for(int j = 0, n = 0; j < 4; ++j)
		{
			if(j != i) aMinor[n++] = rows[j];
		}
		T minorPermanent;
		const T minor(det3(aMinor[0], aMinor[1], aMinor[2], minorPermanent));
		det += (i % 2 == 0 ? -1 : 1) * rows[i][3] * minor;
		permanent += rows[i][3] * minorPermanent;
	}
	T u[3], v[3], w[3], orientPermanent;
	for(int k = 0; k < 3; ++k)
	{
		u[k] = T(b[k]) - T(a[k]);
		v[k] = T(c[k]) - T(a[k]);
		w[k] = T(d[k]) - T(a[k]);
	}
	const T orient(det3(u, v, w, orientPermanent));
	// The bounds are relative: they cannot decide once a term may have
	// overflowed, or underflowed (for a permanent near the smallest normal
	// number the absolute error of gradual underflow may outgrow them).
	const T tiny(std::numeric_limits<T>::min() / std::numeric_limits<T>::epsilon() * 1024);
	if(!(std::fabs(orient) > err * orientPermanent) || !(std::fabs(det) > err * permanent) || !(permanent < INF) ||
		!(orientPermanent > tiny) || !(permanent > tiny))
		return 0;
	// For a positive cell the lifted determinant is negative inside.
	return (det < 0) == (orient > 0) ? 1 : -1;
}

} // namespace

int sphereSide(const double* a, const double* b, const double* c, const double* d, const double* p)
{
	// Doubles decide all but the points close to the sphere.
	const int side(sphereSideIn<double>(a, b, c, d, p));
	return side != 0 ? side : sphereSideIn<long double>(a, b, c, d, p);
}

SphereFilter::SphereFilter(const double* pCorners): pCorner_(pCorners), o_(0.0), permO_(0.0), bUsable_(false)
{
	const double* a(pCorners);
	double e[3][3], len2[3];
	for(int i = 0; i < 3; ++i)
	{
		for(int k = 0; k < 3; ++k) e[i][k] = pCorners[3 * (i + 1) + k] - a[k];
		len2[i] = e[i][0] * e[i][0] + e[i][1] * e[i][1] + e[i][2] * e[i][2];
	}
	// W = |B|^2 (C x D) + |C|^2 (D x B) + |D|^2 (B x C), each component with
	// the sum of the absolute values of its products.
	for(int k = 0; k < 3; ++k)
	{
		w_[k] = 0.0;
		permW_[k] = 0.0;
	}
	for(int i = 0; i < 3; ++i)
	{
		const double* p(e[(i + 1) % 3]);
		const double* q(e[(i + 2) % 3]);
		const double cross[3] = {p[1] * q[2] - p[2] * q[1], p[2] * q[0] - p[0] * q[2], p[0] * q[1] - p[1] * q[0]};
		const double crossPerm[3] = {std::fabs(p[1] * q[2]) + std::fabs(p[2] * q[1]), std::fabs(p[2] * q[0]) + std::fabs(p[0] * q[2]),
			std::fabs(p[0] * q[1]) + std::fabs(p[1] * q[0])};
		for(int k = 0; k < 3; ++k)
		{
			w_[k] += len2[i] * cross[k];
			permW_[k] += len2[i] * crossPerm[k];
		}
		if(i == 0)
		{
			o_ = e[0][0] * cross[0] + e[0][1] * cross[1] + e[0][2] * cross[2];
			permO_ = std::fabs(e[0][0]) * crossPerm[0] + std::fabs(e[0][1]) * crossPerm[1] + std::fabs(e[0][2]) * crossPerm[2];
		}
	}
	// The orientation's sign must be sure, and no term may have overflowed
	// or underflowed.
	const double tiny(DBL_MIN / DBL_EPSILON * 1024);
	bUsable_ = std::fabs(o_) > ERR * permO_ && permO_ > tiny && permO_ < INF && permW_[0] + permW_[1] + permW_[2] < INF;
}

int SphereFilter::side(const double* p) const
{
	if(bUsable_)
	{
		const double* a(pCorner_);
		const double d[3] = {p[0] - a[0], p[1] - a[1], p[2] - a[2]};
		const double d2(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
		const double value(o_ * d2 - (d[0] * w_[0] + d[1] * w_[1] + d[2] * w_[2]));
		// The rounding of O and W (each within ERR of its permanent) carried
		// through the products, and that of the products themselves.
		const double bound(2.0 * ERR *
			(permO_ * d2 + std::fabs(d[0]) * permW_[0] + std::fabs(d[1]) * permW_[1] + std::fabs(d[2]) * permW_[2]));
		const double tiny(DBL_MIN / DBL_EPSILON * 1024);
		if(std::fabs(value) > bound && bound > tiny && bound < INF)
		{
			// Inside when the value and the orientation differ in sign.
			return (value < 0.0) == (o_ > 0.0) ? 1 : -1;
		}
	}
	return sphereSide(pCorner_, pCorner_ + 3, pCorner_ + 6, pCorner_ + 9, p);
}

double reach(const Ball& ball)
{
	return ball.radius + roundingSlack(ball);
}

bool ballMeetsBox(const Ball& ball, const Box& box)
{
	if(box.lo[0] > box.hi[0] || box.lo[1] > box.hi[1] || box.lo[2] > box.hi[2]) return false;
	if(std::isinf(ball.radius)) return true;
	double dist2(0.0);
	for(int i = 0; i < 3; ++i)
	{
		const double gap(ball.c[i] < box.lo[i] ? box.lo[i] - ball.c[i] : (ball.c[i] > box.hi[i] ? ball.c[i] - box.hi[i] : 0.0));
		dist2 += gap * gap;
	}
	const double r(reach(ball));
	return dist2 <= r * r;
}

bool ballPartCovered(const Ball& ball, const Box& box, const Box& covered)
{
	const double r(reach(ball));
	for(int i = 0; i < 3; ++i)
	{
		const double lo(std::max(ball.c[i] - r, box.lo[i])), hi(std::min(ball.c[i] + r, box.hi[i]));
		// Written so that an infinite radius or an empty covered box answers false.
		if(!(lo >= covered.lo[i] && hi <= covered.hi[i])) return false;
	}
	return true;
}

bool boxesMeet(const Box& a, const Box& b)
{
	for(int i = 0; i < 3; ++i)
	{
		if(!(a.lo[i] <= a.hi[i] && b.lo[i] <= b.hi[i] && a.lo[i] <= b.hi[i] && b.lo[i] <= a.hi[i])) return false;
	}
	return true;
}

bool boxPartCovered(const Box& a, const Box& box, const Box& covered)
{
	for(int i = 0; i < 3; ++i)
	{
		const double lo(std::max(a.lo[i], box.lo[i])), hi(std::min(a.hi[i], box.hi[i]));
		if(!(lo >= covered.lo[i] && hi <= covered.hi[i])) return false;
	}
	return true;
}

GrowingSphere::GrowingSphere(const double* a, const double* b, const double* c)
{
	double u[3], v[3], nv[3], un[3];
	sub(b, a, u);
	sub(c, a, v);
	cross(u, v, n_);
	cross(n_, v, nv);
	cross(u, n_, un);
	const double u2(dot(u, u)), v2(dot(v, v));
	for(int i = 0; i < 3; ++i)
	{
		a_[i] = a[i];
		g_[i] = u2 * nv[i] + v2 * un[i];
	}
	const double lu(std::sqrt(u2)), lv(std::sqrt(v2));
	lenUV_ = lu * lv;
	magG_ = lenUV_ * lenUV_ * (lu + lv);
}

bool GrowingSphere::keyInterval(const double* p, double& lo, double& hi) const
{
	// With w = p - a the centre of the sphere through a, b, c, p lies at
	// height (g.w + |w|^2 |n|^2) / (2 n.w |n|) above the facet's plane.
	double w[3];
	sub(p, a_, w);
	const double lw(norm(w));
	const double side(dot(n_, w));
	const double errSide(ERR * lenUV_ * lw);
	if(side < -errSide) return false;
	const double num(dot(g_, w) + dot(w, w) * dot(n_, n_));
	const double errNum(ERR * (magG_ * lw + lenUV_ * lenUV_ * lw * lw));
	const double numLo(num - errNum), numHi(num + errNum);
	const double sideHi(side + errSide);
	if(!(sideHi > 0.0)) return false;
	if(side - errSide <= 0.0)
	{
		// Nearly on the plane: the key may be anywhere beyond numLo / sideHi.
		lo = numLo < 0.0 ? -INF : numLo / sideHi;
		hi = INF;
		return true;
	}
	const double sideLo(side - errSide);
	lo = numLo < 0.0 ? numLo / sideLo : numLo / sideHi;
	hi = numHi < 0.0 ? numHi / sideHi : numHi / sideLo;
	lo -= std::fabs(lo) * ERR;
	hi += std::fabs(hi) * ERR;
	return true;
}

void GrowingSphere::circleCentre(double* centre) const
{
	// g = -2 |n|^2 (centre - a).
	const double n2(dot(n_, n_));
	for(int i = 0; i < 3; ++i) centre[i] = a_[i] - g_[i] / (2.0 * n2);
}

bool GrowingSphere::mayHoldKeyBelow(const Box& box, double maxKey) const
{
	double maxSide(0.0), scale(0.0);
	for(int i = 0; i < 3; ++i)
	{
		maxSide += n_[i] * ((n_[i] > 0.0 ? box.hi[i] : box.lo[i]) - a_[i]);
		scale = std::max({scale, std::fabs(a_[i]), std::fabs(box.lo[i]), std::fabs(box.hi[i])});
	}
	if(maxSide < -1e-9 * lenUV_ * scale) return false;
	const double n2(dot(n_, n_));
	if(!(maxKey < INF) || !(n2 > 0.0)) return true;
	// The sphere of key K through a, b, c has its centre at a + (K n - g) /
	// (2 |n|^2) and, g being orthogonal to n, the radius |K n - g| / (2 |n|^2);
	// on the outer side it holds the points of smaller key.
	double offset[3], d2(0.0);
	for(int i = 0; i < 3; ++i)
	{
		offset[i] = (maxKey * n_[i] - g_[i]) / (2.0 * n2);
		const double centre(a_[i] + offset[i]);
		const double gap(centre < box.lo[i] ? box.lo[i] - centre : (centre > box.hi[i] ? centre - box.hi[i] : 0.0));
		d2 += gap * gap;
	}
	const double r(norm(offset) * (1.0 + 1e-9) + 1e-9 * scale);
	return !(d2 > r * r); // an overflow keeps the box
}

} // namespace vorn3dregions
