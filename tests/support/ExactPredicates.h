// Exact orientation and insphere signs computed with GMP.
//
// An oracle for the tests: it shares no code with the library's predicates.
// The doubles of a query are converted exactly to integers over one common
// power of two (rationals with a shared denominator), so the answers are the
// true signs for the given coordinates, whatever their magnitudes. Only
// finite coordinates are supported.
#ifndef VORN3D_TEST_EXACTPREDICATES_H
#define VORN3D_TEST_EXACTPREDICATES_H

#include "Point3.h"

namespace vtest {

// Sign (+1, 0, -1) of det[b-a; c-a; d-a], exactly (GMP): +1 when a, b, c are seen
// counter-clockwise from d (the library's ORIENTATION3_POSITIVE for getOrientation3(a,b,c,d)).
int exactOrientation(const VORN3D::Point3& a, const VORN3D::Point3& b, const VORN3D::Point3& c, const VORN3D::Point3& d);
// For a, b, c, d with exactOrientation(a,b,c,d) == +1: +1 when e lies strictly inside their
// circumsphere, 0 when on it, -1 when outside (exact, GMP).
int exactInSphere(const VORN3D::Point3& a, const VORN3D::Point3& b, const VORN3D::Point3& c, const VORN3D::Point3& d, const VORN3D::Point3& e);

// It also answers for a, b, c, d in negative order (the sphere does not depend
// on the order). Coplanar a, b, c, d have no circumsphere: exactInSphere then
// fails a GoogleTest assertion and returns 0.

// Sign of the lifted determinant det[p-e, |p-e|^2] over the rows p = a, b, c, d,
// negated so that it agrees with exactInSphere whenever
// exactOrientation(a,b,c,d) == +1. Defined for every input, flat cells
// included; for a negative cell it is the opposite of exactInSphere. This is
// the sign the library's sphere test works with.
int exactLiftedSign(const VORN3D::Point3& a, const VORN3D::Point3& b, const VORN3D::Point3& c, const VORN3D::Point3& d, const VORN3D::Point3& e);

} // namespace vtest

#endif
