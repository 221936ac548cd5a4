// The measures of one hull facet, shared by the hull from cells and the hull
// of points. Internal to the dual layer.
#ifndef VORN3D_FACETGEOMETRY3_H
#define VORN3D_FACETGEOMETRY3_H

#include "Dual3.h"

#include <cmath>

namespace VORN3D {

/// Writes facet f's unit outward normal and offset to hull.vEquations and
/// adds its area and the volume of the cone from ref (a point inside the
/// hull, which keeps the sum well conditioned) to hull's totals. a, b, c
/// are its corners, counter-clockwise seen from outside.
inline void addFacetGeometry(ConvexHull3& hull, size_t f, const double* a, const double* b, const double* c,
	const double* ref)
{
	const double u[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]};
	const double v[3] = {c[0] - a[0], c[1] - a[1], c[2] - a[2]};
	const double n[3] = {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0]};
	const double len(std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]));
	hull.area += 0.5 * len;
	hull.volume += (n[0] * (a[0] - ref[0]) + n[1] * (a[1] - ref[1]) + n[2] * (a[2] - ref[2])) / 6.0;
	double* pEq(&hull.vEquations[4 * f]);
	for(int d = 0; d < 3; ++d) pEq[d] = n[d] / len;
	pEq[3] = -(pEq[0] * a[0] + pEq[1] * a[1] + pEq[2] * a[2]);
}

} // namespace VORN3D

#endif
