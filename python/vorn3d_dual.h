// The dual layer (Voronoi cells, convex hull) in vorn3d._core: arrays for
// Python from a Triangulation's mesh, and the hull filter.
#ifndef VORN3D_PYTHON_DUAL_H
#define VORN3D_PYTHON_DUAL_H

#include <pybind11/pybind11.h>

#include <cstdint>

namespace VORN3D {
class Vorn_3D;
struct FlatCells3;
}

namespace vorn3d_python {

/// The dual of a mesh whose vertices carry input indices and whose cells
/// carry their row in `simplices`, computed while the library may be used,
/// turned into numpy arrays afterwards (with the GIL).
class DualArrays
{
public:
	DualArrays();
	~DualArrays();
	DualArrays(const DualArrays&) = delete;
	DualArrays& operator=(const DualArrays&) = delete;
	/// Voronoi cells from the flat arrays of a tetrahedralisation: numCells
	/// cells of 4 corners and 4 neighbours (int32 or int64), numPoints points
	/// of 3 coordinates.
	template<class Index>
	void computeVoronoi(const int32_t* pCorners, const Index* pNeighbors, int64_t numCells, const double* pXyz,
		int32_t numPoints);
	/// Voronoi cells straight from a mesh whose vertices carry input
	/// indices; cells receives the cells in the numbering the results use.
	void computeVoronoi(const VORN3D::Vorn_3D& dt, int32_t numPoints, VORN3D::FlatCells3& cells);
	/// Drops the ridges listed with fewer than three vertices (the vertex
	/// at infinity and one more: a wedge along a hull edge that one cell
	/// touches), which scipy does not list; in place, in order.
	void dropWedges();
	/// The convex hull of n points (3 doubles each), without a Triangulation
	/// (ConvexHull3::fromPoints). Facets name input positions; a point equal
	/// to an earlier kept one is listed with it under "duplicates".
	void computeConvexHull(const double* points, int64_t n);
	/// The arrays computed, by name; the buffers move into numpy.
	pybind11::dict take();

private:
	struct Data;
	Data* pData;
};

/// Functions of the dual layer that need no mesh.
void bindDual(pybind11::module_& m);

} // namespace vorn3d_python

#endif
