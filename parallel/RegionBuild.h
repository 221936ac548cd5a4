// buildParallel on threads: one region of a k-d split per thread, each with
// its own Vorn_3D (DistributedMesh), talking through ThreadTransport; then
// the cells go into the flat arrays and the neighbours across regions are
// matched.
#ifndef VORN3D_PARALLEL_REGIONBUILD_H
#define VORN3D_PARALLEL_REGIONBUILD_H

#include <cstdint>

#include "ParallelDelaunay3.h"

namespace vorn3dregions {

/// Fewer points than this per thread are not worth a region of their own.
constexpr int64_t MIN_POINTS_PER_THREAD = 1000;

/// The threaded build of finite points on numThreads > 1 threads; false
/// when the regions disagree on degenerate input, or would fetch too much
/// from each other (mesh is then empty, for the one-object path).
bool buildInRegions(const double* pXyz, int64_t numPoints, int numThreads, bool bPerturb, VORN3D::FlatMesh3& mesh);

} // namespace vorn3dregions

#endif
