// Point location in a tetrahedralisation given as flat arrays (FlatMesh3 or
// the same arrays held elsewhere, such as numpy buffers).
//
// A query walks from cell to cell through the neighbour links, always across
// a facet whose plane separates the current cell from the query, with every
// orientation sign decided exactly. Consecutive queries start where the last
// one ended, so coherent queries (sorted, or along a path) cost a few steps.
#ifndef VORN3D_FLATWALK3_H
#define VORN3D_FLATWALK3_H

#include <vorn3d/ParallelDelaunay3.h>

#include <cstdint>
#include <vector>

namespace VORN3D {

/// The exact sign of det[b - a, c - a, d - a] for double coordinates
/// (x, y, z each): +1 when d lies on the positive side of the plane through
/// a, b, c (a, b, c counterclockwise seen from d's side), -1 on the
/// negative side, 0 when the four points lie in one plane. Decided by a
/// floating-point filter, exactly by expansion arithmetic when the filter
/// cannot tell. Exact for finite coordinates unless an intermediate product
/// overflows or underflows (coordinate differences beyond about 2^+-300).
VORN3D_PARALLEL_API int exactOrientation(const double* a, const double* b, const double* c, const double* d);

/// Locates points in a convex tetrahedralisation of the points pXyz: cells
/// as 4 corner indices into pXyz each, positively oriented, and the cell
/// across the facet opposite corner i (-1 on the hull), as in FlatMesh3.
/// The walker only reads the arrays, which must outlive it and stay
/// unchanged while it is used; one walker serves one thread.
class VORN3D_PARALLEL_API FlatWalk3
{
public:
	/// Walks in mesh, whose corners index pXyz (3 doubles per point).
	FlatWalk3(const FlatMesh3& mesh, const double* pXyz);
	/// Walks in numCells cells given by pCorners and pNeighbors (4 each).
	FlatWalk3(const int32_t* pCorners, const int64_t* pNeighbors, int64_t numCells, const double* pXyz);
	/// The same with 32-bit neighbour numbers.
	FlatWalk3(const int32_t* pCorners, const int32_t* pNeighbors, int64_t numCells, const double* pXyz);

	/// The number of a cell that contains the point pQuery (x, y, z): one of
	/// those that hold it when it lies on a facet, edge or vertex; -1 when it
	/// lies outside the convex hull, has a NaN or infinite coordinate, or the
	/// mesh has no cell. The walk starts at startCell when that names a cell,
	/// otherwise at the nearest (by centroid) of the cell where the previous
	/// walk ended and a few cells spread over the mesh.
	int64_t locate(const double* pQuery, int64_t startCell = -1);

	/// locate() for numQueries points (3 doubles each) in a row, so that
	/// each may start where the previous one ended; the answers go to pCells.
	void locate(const double* pQueries, int64_t numQueries, int64_t* pCells);

private:
	int64_t neighbor(int64_t cell, int i) const
	{
		const int64_t k(4 * cell + i);
		return pNeighbors64 != nullptr ? pNeighbors64[k] : static_cast<int64_t>(pNeighbors32[k]);
	}
	/// The sign of the cell's orientation with corner i replaced by q:
	/// negative when q lies beyond the facet opposite corner i.
	int facetSide(int64_t cell, int i, const double* q) const;
	/// True when every facet of the cell has q on its inner side or plane.
	bool contains(int64_t cell, const double* q) const;
	void centroid(int64_t cell, double* c) const;
	/// Picks the cells that walks may start from (vStarts).
	void chooseStarts();
	/// The cell a walk to q starts from when none is given.
	int64_t nearestStart(const double* q) const;
	/// Every cell tested in turn: the answer when a walk runs too long,
	/// which only a mesh that is not Delaunay can cause.
	int64_t scan(const double* q) const;

	const int32_t* pCorners;
	const int64_t* pNeighbors64;
	const int32_t* pNeighbors32;
	int64_t numCells;
	const double* pXyz;
	int64_t previous = -1;
	uint64_t randomState = 0x9e3779b97f4a7c15ULL;
	/// Per start cell: its centroid (x, y, z) and its number.
	std::vector<double> vStarts;
	/// Squared distance from q within which the previous cell is started from
	/// without looking at the others.
	double closeEnough2 = 0.0;
};

} // namespace VORN3D

#endif
