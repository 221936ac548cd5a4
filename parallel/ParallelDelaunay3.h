// The Delaunay tetrahedralisation of a point set computed on several
// threads, returned as flat arrays.
//
// The points are split into regions balanced by count, one Vorn_3D per
// region on its own thread; the regions exchange the points that lie inside
// the circumspheres of their uncertified cells until every cell is proven
// Delaunay, and each cell is reported by one region. The result is the mesh
// that one Vorn_3D with the same perturbation setting gives for the same
// points (the same set of cells, numbered in another order). Without the
// perturbation, degenerate input (five or more points on one empty sphere)
// has several Delaunay meshes and the result is one of them; where the
// regions break such ties differently, one Vorn_3D triangulates all points.
#ifndef VORN3D_PARALLELDELAUNAY3_H
#define VORN3D_PARALLELDELAUNAY3_H

#include <vorn3d/Point3.h>

#include <cstdint>
#include <vector>

#if defined(_WIN32)
#  if defined(VORN3D_BUILDING_PARALLEL)
#    define VORN3D_PARALLEL_API __declspec(dllexport)
#  else
#    define VORN3D_PARALLEL_API __declspec(dllimport)
#  endif
#else
#  define VORN3D_PARALLEL_API __attribute__((visibility("default")))
#endif

namespace VORN3D {

/// A tetrahedralisation as flat arrays, numbered by input position.
struct FlatMesh3
{
	/// Number of input points (duplicates included).
	int64_t numPoints = 0;
	/// 4 per cell: the input indices (0-based) of its corners, positively
	/// oriented (det[p1 - p0, p2 - p0, p3 - p0] > 0). A point given more than
	/// once is named by its first input index.
	std::vector<int32_t> vCorners;
	/// 4 per cell: the cell across the facet opposite corner i, -1 on the
	/// convex hull.
	std::vector<int64_t> vNeighbors;
	/// Per input point: the first input index with the same coordinates
	/// (the point itself unless it repeats an earlier one).
	std::vector<int32_t> vRepresentative;

	int64_t numCells() const { return static_cast<int64_t>(vCorners.size() / 4); }
};

/// Tetrahedralises numPoints points (x, y, z each, in pXyz) on numThreads
/// threads (all hardware threads when numThreads <= 0; fewer when there are
/// too few points to share). With bPerturb the ties of degenerate input are
/// broken by symbolic perturbation (see Vorn_3D::setPerturbation), which
/// makes the cells independent of the split. Fewer than four points, or all
/// points in one plane, give a mesh without cells. A NaN or infinite
/// coordinate throws VornInputError, more than 2^31 - 1 points VornException;
/// mesh is replaced.
VORN3D_PARALLEL_API void buildParallel(const double* pXyz, int64_t numPoints, int numThreads, bool bPerturb,
	FlatMesh3& mesh);

/// The same for Point3 input.
VORN3D_PARALLEL_API FlatMesh3 buildParallel(const std::vector<Point3>& vPoints, int numThreads, bool bPerturb = false);

} // namespace VORN3D

#endif
