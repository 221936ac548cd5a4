// The dual of a Delaunay tetrahedralisation: Voronoi cells and the convex
// hull, as flat arrays, computed from a finished Vorn_3D through its public
// interface only.
//
// Numbering. Input points are named by their Point3 index, which the caller
// sets (numberVertices does it from the handle vector of a bulk insertion:
// every vertex gets the first input position with its coordinates). Cells
// are named by their custom index; collectCells numbers them 0..m-1, or
// reads a numbering the caller has made. A Voronoi vertex is the
// circumcentre of the cell with the same number.
//
// Both computations read the mesh and write only the custom indices (when
// asked to number the cells); like every read of the mesh they are valid
// until the next insertion.
#ifndef VORN3D_DUAL3_H
#define VORN3D_DUAL3_H

#include <vorn3d/Vorn_3D.h>

#include <cstdint>
#include <vector>

namespace VORN3D {

/// Sets the Point3 index of every vertex to the first position in vHandles
/// (the handle vector of Vorn_3D::insert) that maps to it; later duplicates
/// leave it as it is. Indices set before are overwritten.
void numberVertices(const std::vector<Point3*>& vHandles);

/// All cells of dt, in O(m) without an ordered set, in a spatial order (boxes
/// of a grid along a Morton curve), which keeps the passes over the edges in
/// the cache. With bRenumber the cells are numbered 0..m-1 in that order
/// (custom index = position in vCells); otherwise their custom indices stay,
/// and must be a numbering 0..m-1 (a wrong one throws std::invalid_argument).
/// vCells is replaced. The cells' visited flags are used during the traversal
/// and left false, as the kernel expects.
void collectCells(const Vorn_3D& dt, std::vector<Tet3*>& vCells, bool bRenumber);

/// Circumcentre of a cell, computed relative to its first corner; cells so
/// flat that double precision would lose the centre are redone in long
/// double. Writes x, y, z to aCentre.
void circumcentre(const Tet3* pTet, double aCentre[3]);

/// A tetrahedralisation as flat arrays, the input of the dual computations.
/// Cell k has the corners vCorners[4k .. 4k + 3] (point numbers, positively
/// oriented) and the neighbours vNeighbors[4k + i], the cell across the
/// facet opposite corner i (-1 on the convex hull); point p has the
/// coordinates vXyz[3p .. 3p + 2].
struct FlatCells3
{
	std::vector<int32_t> vCorners;
	std::vector<int32_t> vNeighbors;
	std::vector<double> vXyz;
};

/// Exports the cells of vCells, numbered 0..m-1 by their custom index, and
/// the corners' coordinates by Point3 index (0 for an index no corner has).
/// The rows follow the numbers, the work follows the order of vCells: with
/// the order and numbers of collectCells both are spatial.
void flattenCells(const std::vector<Tet3*>& vCells, FlatCells3& flat);

/// The Voronoi diagram of the vertices of a tetrahedralisation.
///
/// One face (ridge) per Delaunay edge, separating the edge's two end points;
/// its polygon is the ring of circumcentres of the cells around the edge, in
/// circulation order. A ridge of an edge on the convex hull is unbounded: its
/// vertex list starts with -1 (the vertex at infinity), then the ring from
/// one hull facet to the other. A point's cell is bounded exactly when the
/// point is not on the convex hull. Exactly cospherical input gives repeated
/// Voronoi vertices and ridges of area zero; nothing is merged.
class Voronoi3
{
public:
	/// Computes everything below. Vertices must carry Point3 indices in
	/// [0, numPoints) (see numberVertices); vCells holds every cell once,
	/// numbered 0..m-1 by its custom index, and is worked through in its
	/// order (collectCells gives both). Each edge of the mesh is visited once,
	/// by one circulation around it.
	void compute(const std::vector<Tet3*>& vCells, int32_t numPoints);
	/// The same straight from the mesh, the fastest way: the cells are
	/// numbered 0..m-1 (custom index) in a spatial order of its own, and
	/// Voronoi vertex k is the circumcentre of the cell numbered k. Vertices
	/// carry Point3 indices as above; the visited flags are left false.
	void compute(const Vorn_3D& dt, int32_t numPoints);
	/// The same, and the cells in that numbering as flat arrays: cell k of
	/// cells is the cell numbered k, with its corners and neighbours as
	/// compute(corners, neighbors, ...) takes them and vXyz by Point3 index
	/// (0 for an index no corner has). One read of the mesh gives both.
	void compute(const Vorn_3D& dt, int32_t numPoints, FlatCells3& cells);
	/// The same from flat arrays (see FlatCells3): numCells cells with
	/// corners in [0, numPoints) and neighbours as int64 or int32 numbers.
	/// Voronoi vertex k is the circumcentre of cell k. The cells may come in
	/// any order: the pass works on a copy in a spatial order (more than
	/// 2^31 - 1 cells throw std::invalid_argument). Coordinates are read for
	/// all numPoints points. Numbers must lie in range; neighbours that do
	/// not close a ring around every edge (arrays of no tetrahedralisation)
	/// throw std::invalid_argument, with the results left incomplete.
	void compute(const int32_t* pCorners, const int64_t* pNeighbors, int64_t numCells, const double* pXyz,
		int32_t numPoints);
	void compute(const int32_t* pCorners, const int32_t* pNeighbors, int64_t numCells, const double* pXyz,
		int32_t numPoints);

	int32_t numPoints = 0;
	/// 3 per Voronoi vertex: the circumcentre of the cell with that number.
	std::vector<double> vVertices;
	/// 2 per ridge: the input points it separates, lower index first.
	std::vector<int32_t> vRidgePoints;
	/// numRidges + 1 offsets: ridge r has vRidgeVertices[vRidgeStart[r] ..
	/// vRidgeStart[r + 1]).
	std::vector<int64_t> vRidgeStart;
	/// Voronoi vertices of each ridge in order around it; -1 first when the
	/// ridge is unbounded.
	std::vector<int32_t> vRidgeVertices;
	/// Area of each ridge; +infinity when unbounded.
	std::vector<double> vRidgeAreas;
	/// Volume of each input point's cell; +infinity when unbounded, 0 for an
	/// index that names no vertex (a duplicate point).
	std::vector<double> vVolumes;

	int64_t numRidges() const { return static_cast<int64_t>(vRidgeAreas.size()); }
	bool isBounded(int32_t point) const;
	/// Every point's cell as its faces: numPoints + 1 offsets into vRidges;
	/// the ridges of point p's cell are vRidges[vStart[p] .. vStart[p + 1]),
	/// increasing.
	void cellRidges(std::vector<int64_t>& vStart, std::vector<int32_t>& vRidges) const;
	/// The Voronoi vertices of every point's cell as numPoints + 1 offsets
	/// into vVertexList: those of point p (the cells with corner p,
	/// increasing) are vVertexList[vStart[p] .. vStart[p + 1]), preceded by
	/// -1 when the cell is unbounded. vCells as given to compute.
	void regions(const std::vector<Tet3*>& vCells, std::vector<int64_t>& vStart, std::vector<int32_t>& vVertexList) const;
	/// The same from the corners of numCells flat cells.
	void regions(const int32_t* pCorners, int64_t numCells, std::vector<int64_t>& vStart,
		std::vector<int32_t>& vVertexList) const;
};

/// The convex hull of the vertices of a tetrahedralisation: the cell facets
/// without a neighbour, as triangles of Point3 indices.
class ConvexHull3
{
public:
	/// vCells and indices as for Voronoi3::compute; facets are numbered in the
	/// order of the cells' numbers.
	void compute(const std::vector<Tet3*>& vCells);
	/// The same from flat arrays, as Voronoi3::compute; neighbours that do
	/// not lead around a hull edge to the hull again throw
	/// std::invalid_argument.
	void compute(const int32_t* pCorners, const int64_t* pNeighbors, int64_t numCells, const double* pXyz);
	void compute(const int32_t* pCorners, const int32_t* pNeighbors, int64_t numCells, const double* pXyz);

	/// The hull of numPoints points (3 doubles each) without a
	/// tetrahedralisation; facets name input positions and every sign is
	/// decided exactly. Triangles are never merged: a point on the surface
	/// that is not a corner of the polytope (one in the middle of a face or
	/// an edge) is a corner of some of them. A point equal to another is
	/// left out and listed in vDuplicates with the first kept point equal to
	/// it. Returns false, with no facet, when the points do not span a solid
	/// or a coordinate is not finite. Sets with a coordinate of magnitude
	/// outside 2^-200 .. 2^200 (other than 0) are hulled through a
	/// tetrahedralisation instead: the same answer, more slowly.
	bool fromPoints(const double* pXyz, int64_t numPoints);

	/// 3 per facet, counter-clockwise seen from outside (the right-hand
	/// normal points out of the hull).
	std::vector<int32_t> vFacets;
	/// 3 per facet: the facet across the edge opposite corner i.
	std::vector<int32_t> vNeighbors;
	/// 4 per facet: unit outward normal and offset, n.x + offset = 0 on it.
	std::vector<double> vEquations;
	double volume = 0.0;
	double area = 0.0;
	/// Pairs (left-out point, equal point kept); only from fromPoints.
	std::vector<int32_t> vDuplicates;

	int64_t numFacets() const { return static_cast<int64_t>(vFacets.size() / 3); }

private:
	/// fromPoints through a tetrahedralisation of the candidates, for
	/// coordinates outside 2^-200 .. 2^200 in magnitude.
	bool throughMesh(const double* pXyz, int64_t numPoints);
};

/// Positions in points (3 doubles each, n of them) of the points that may be
/// vertices of the convex hull: every point left out lies strictly inside
/// the hull of points that are kept. The points extreme in 26 directions span
/// a polytope; a point is dropped when it lies below each of its facet planes
/// by a margin far beyond the rounding error of the test, so the decision is
/// never wrong, only sometimes too careful. Returns all positions when fewer
/// than 4 extreme points span a solid.
std::vector<int32_t> hullCandidates(const double* points, int64_t n);

} // namespace VORN3D

#endif
