// Surface3: a triangle surface read from an STL file, with shared vertices and
// triangle-to-triangle neighbour links.
#ifndef VORN3D_SURFACE3_H
#define VORN3D_SURFACE3_H

#include <cstddef>
#include <string>
#include <vector>

#include "Point3.h"
#include "Triangle3.h"
#include "vorn3d_export.h"

namespace VORN3D {

/// A triangle surface: vertices, triangles and their neighbourhood.
///
/// readSTL() accepts ASCII and binary STL files. Corners with exactly equal
/// coordinates (0.0 and -0.0 count as equal) become one shared vertex, and
/// each triangle is linked to the triangle across each of its edges:
/// getNeig(i) of a triangle is the triangle on the other side of the edge
/// opposite its corner i. Such a link exists only where exactly two triangles
/// share the edge; border edges (one triangle) and non-manifold edges (more
/// than two) keep null neighbours and are counted in getEdgeCounts().
///
/// Ownership and lifetimes: the surface owns its vertices and triangles. The
/// Point3 and Triangle3 pointers it hands out stay valid until the surface is
/// cleared, reads another file or is destroyed. Vertices are numbered 0, 1, ...
/// in the order of their first appearance in the file, and each vertex carries
/// its number as its index (Point3::getIndex()). A surface handed to
/// Vorn_3D::addSurface() must have been created with new; it belongs to that
/// triangulation from then on, which deletes it when it is destroyed, and the
/// caller must not delete it.
///
/// The surface is independent of any triangulation: its vertices are not mesh
/// vertices (their incident cell is null). To tetrahedralise them, pass the
/// points from getPoints() to Vorn_3D::insert().
class VORN3D_API Surface3
{
public:
	/// Counts of the distinct edges of the surface, by the number of triangles
	/// that share them.
	struct EdgeCounts
	{
		/// All distinct edges.
		std::size_t numEdges = 0;
		/// Edges of exactly two triangles; these carry neighbour links.
		std::size_t numManifoldEdges = 0;
		/// Edges of one triangle only (the surface is open there).
		std::size_t numBorderEdges = 0;
		/// Edges of three or more triangles; no links across them.
		std::size_t numNonManifoldEdges = 0;
		/// Manifold edges whose two triangles run through them in the same
		/// direction, i.e. the triangles are oriented inconsistently.
		std::size_t numMisorientedEdges = 0;
	};

	/// An empty surface.
	Surface3();
	~Surface3();
	Surface3(const Surface3&) = delete;
	Surface3& operator=(const Surface3&) = delete;

	/// Reads an ASCII or a binary STL file and replaces the current content
	/// with it. A file whose size is 84 + 50 * n, n being the triangle count in
	/// bytes 80..83, is read as binary even if it begins with "solid"; other
	/// files must be ASCII STL. Facet normals of the file are ignored. Triangles
	/// with two corners at the same position are skipped with a warning.
	/// Prints a one-line report of the edges on standard output.
	/// Returns true when at least one triangle was read. On a missing, empty,
	/// truncated or malformed file (non-finite coordinates included) it prints
	/// a warning naming "Surface3::readSTL()" and the problem, leaves the
	/// surface empty and returns false.
	bool readSTL(const std::string& filename);
	/// Like readSTL(), but parses numBytes bytes at pData; sourceName stands for
	/// the file name in the messages.
	bool readSTLFromMemory(const char* pData, std::size_t numBytes, const std::string& sourceName);

	/// Removes all vertices and triangles; every pointer handed out dies.
	void clear();
	/// True when the surface has no triangles.
	bool isEmpty() const { return vTriangles.empty(); }
	/// True when the surface has triangles and every edge is shared by exactly
	/// two of them (orientation is not considered, see EdgeCounts).
	bool isClosed() const;

	/// Number of distinct vertices.
	std::size_t getNumVertices() const { return vVertices.size(); }
	/// Number of triangles.
	std::size_t getNumTriangles() const { return vTriangles.size(); }
	/// Vertex i, 0 <= i < getNumVertices().
	Point3* getVertex(std::size_t i);
	const Point3* getVertex(std::size_t i) const;
	/// Triangle i, 0 <= i < getNumTriangles(), in file order.
	Triangle3* getTriangle(std::size_t i);
	const Triangle3* getTriangle(std::size_t i) const;
	/// Appends pointers to all vertices, in vertex order.
	void getVertices(std::vector<Point3*>& vVertexPtrs);
	/// Appends copies of all vertices (coordinates and index, no cell link), in
	/// vertex order; ready to be passed to Vorn_3D::insert().
	void getPoints(std::vector<Point3>& vPoints) const;
	/// Appends pointers to all triangles, in file order.
	void getTriangles(std::vector<Triangle3*>& vTrianglePtrs);
	/// The edge counts of the current content (all zero when empty).
	const EdgeCounts& getEdgeCounts() const { return edgeCounts; }

private:
	// Reading: both fill vCornerCoords with three corners per triangle, or
	// print a warning and return false.
	bool parseBinary(const unsigned char* pData, std::size_t numBytes, const std::string& sourceName);
	bool parseAscii(const char* pData, std::size_t numBytes, const std::string& sourceName);
	// Turns vCornerCoords into shared vertices and triangles.
	bool buildFromCorners(const std::string& sourceName);
	// Links the triangles across their edges and fills edgeCounts.
	void establishNeighborships();

	// x, y, z of each corner, three corners per triangle; only used while
	// reading.
	std::vector<double> vCornerCoords;
	// Never resized once filled, so that pointers into them stay valid.
	std::vector<Point3> vVertices;
	std::vector<Triangle3> vTriangles;
	EdgeCounts edgeCounts;
};

} // namespace VORN3D

#endif
