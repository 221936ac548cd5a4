// The measures of one hull facet, shared by the hull from cells and the hull
// of points. Internal to the dual layer.
#ifndef VORN3D_FACETGEOMETRY3_H
#define VORN3D_FACETGEOMETRY3_H

#include "Dual3.h"

#include <algorithm>
#include <cmath>

namespace VORN3D {

/// Writes facet f's unit outward normal and offset to hull.vEquations and
/// adds its area and the volume of the cone from ref (a point inside the
/// hull, which keeps the sum well conditioned) to hull's totals. a, b, c
/// are its corners, counter-clockwise seen from outside.
inline void addFacetGeometry(ConvexHull3& hull, size_t f, const double* a, const double* b, const double* c,
	const double* ref)
{
	// The edges are scaled to unit size first, so that the normal's
	// direction comes out at every magnitude of coordinates (squares of
	// 2^+-300 would overflow or vanish); only the measures themselves can
	// leave the range of doubles.
	double u[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]};
	double v[3] = {c[0] - a[0], c[1] - a[1], c[2] - a[2]};
	const double uScale(std::max({std::fabs(u[0]), std::fabs(u[1]), std::fabs(u[2])}));
	const double vScale(std::max({std::fabs(v[0]), std::fabs(v[1]), std::fabs(v[2])}));
	for(int d = 0; d < 3; ++d)
	{
		u[d] /= uScale;
		v[d] /= vScale;
	}
	const double n[3] = {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0]};
	const double len(std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]));
	const double scale(uScale * vScale);
	hull.area += 0.5 * len * scale;
	hull.volume += (n[0] * (a[0] - ref[0]) + n[1] * (a[1] - ref[1]) + n[2] * (a[2] - ref[2])) * scale / 6.0;
	double* pEq(&hull.vEquations[4 * f]);
	for(int d = 0; d < 3; ++d) pEq[d] = n[d] / len;
	pEq[3] = -(pEq[0] * a[0] + pEq[1] * a[1] + pEq[2] * a[2]);
}

} // namespace VORN3D

#endif
