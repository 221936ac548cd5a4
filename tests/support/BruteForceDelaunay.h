// Brute-force Delaunay tetrahedralisation of a small point set, as an oracle
// that shares nothing with the kernel: every 4-subset that is not coplanar
// and whose circumsphere has no other point strictly inside, decided exactly.
#ifndef VORN3D_TEST_BRUTEFORCEDELAUNAY_H
#define VORN3D_TEST_BRUTEFORCEDELAUNAY_H

#include <array>
#include <vector>

#include "Point3.h"

namespace vtest {

/// Sorted quadruples of input indices. The points must be distinct; for a
/// set in general position (no five cospherical, no four coplanar on the
/// hull) the result is the unique Delaunay tetrahedralisation. O(n^5).
std::vector<std::array<int, 4>> bruteForceDelaunay(const std::vector<VORN3D::Point3>& vPoints);

} // namespace vtest

#endif
