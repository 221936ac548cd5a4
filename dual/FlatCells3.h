// Walking flat cell arrays (see FlatCells3 in Dual3.h): the circulation
// around an edge and the circumcentre, shared by the Voronoi cells and the
// convex hull.
#ifndef VORN3D_FLATCELLS3_H
#define VORN3D_FLATCELLS3_H

#include <cstdint>
#include <vector>

#if defined(__linux__)
#  include <sys/mman.h>
#endif

namespace VORN3D {

namespace flat {

/// Reserves room for n elements and, where the system offers it, has that
/// room mapped at once: the dual's arrays run to hundreds of megabytes that
/// are written once, and mapping them in one call costs less than a fault
/// on every page. (Large pages were tried: on virtual machines the first
/// touch of a large page costs several times the small pages' price.)
template<class T>
void reserveLarge(std::vector<T>& v, size_t n)
{
	v.reserve(n);
#if defined(MADV_POPULATE_WRITE)
	const uintptr_t page(4096);
	const uintptr_t begin((reinterpret_cast<uintptr_t>(v.data() + v.size()) + page - 1) & ~(page - 1));
	const uintptr_t end(reinterpret_cast<uintptr_t>(v.data() + v.capacity()) & ~(page - 1));
	// Only advice: where it is refused the pages come with the first writes.
	if(end > begin + (uintptr_t(1) << 20))
		static_cast<void>(madvise(reinterpret_cast<void*>(begin), end - begin, MADV_POPULATE_WRITE));
#endif
}

/// Position 0..3 of the point v among the corners d of a cell that has it.
inline int positionOf(const int32_t* d, int32_t v)
{
	return (d[1] == v) + 2 * (d[2] == v) + 3 * (d[3] == v);
}

/// A turn around the edge (s, t) of flat cells: at cell cur, whose corners
/// off the edge are y and the one at exitPos, the next cell is the one
/// across the facet opposite exitPos (the facet s, t, y). There y is
/// again off the edge and becomes the corner to leave by, so the turn keeps
/// its direction. Only corner numbers are compared: no neighbour lists its
/// way back. Cell k's corners start at pCorners[Stride * k] and its
/// neighbours at pNeighbors[Stride * k]: separate arrays of 4 per cell, or
/// one array of rows that hold both.
template<class Index, int Stride = 4>
struct EdgeWalk
{
	const int32_t* pCorners;
	const Index* pNeighbors;
	int32_t s, t, y;
	int64_t cur;
	int exitPos;
	/// Local edge (0..5, corner pairs 01 02 03 12 13 23) of (s, t) in cur
	/// after a step.
	int edge = -1;
	/// Set, with step returning false, where the next cell lacks s, t or
	/// y: arrays that are no tetrahedralisation.
	bool bBroken = false;

	/// Moves to the next cell; false, and no move, at the hull (or where
	/// the arrays are broken).
	bool step()
	{
		const Index next(pNeighbors[Stride * cur + exitPos]);
		if(next < 0) return false;
		const int32_t* d(pCorners + Stride * static_cast<int64_t>(next));
		static const int aEdgeOf[4][4] = {{-1, 0, 1, 2}, {0, -1, 3, 4}, {1, 3, -1, 5}, {2, 4, 5, -1}};
		const int ps(positionOf(d, s)), pt(positionOf(d, t)), py(positionOf(d, y));
		if(d[ps] != s || d[pt] != t || d[py] != y || ps == pt || ps == py || pt == py)
		{
			bBroken = true;
			return false;
		}
		edge = aEdgeOf[ps][pt];
		exitPos = py;
		y = d[6 - ps - pt - py];
		cur = static_cast<int64_t>(next);
		return true;
	}
};

/// Circumcentre of the cell a, b, c, d (3 coordinates each); see
/// circumcentre in Dual3.h.
void circumcentre(const double* a, const double* b, const double* c, const double* d, double aCentre[3]);

} // namespace flat

} // namespace VORN3D

#endif
