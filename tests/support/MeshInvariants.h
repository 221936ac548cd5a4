// Structural and geometric invariants of a tetrahedral mesh, checked without
// the kernel's own code: exact rational predicates, explicit facet and edge
// sets, Euler's relation and a closed, convex hull surface.
#ifndef VORN3D_TEST_MESHINVARIANTS_H
#define VORN3D_TEST_MESHINVARIANTS_H

#include <string>
#include <vector>

#include "Point3.h"
#include "Tet3.h"

namespace VORN3D {
class Vorn_3D;
class Dt3;
} // namespace VORN3D

namespace vtest {

/// Checks the cells vTets (the whole mesh) against the vertex list
/// vVertices (the store). Returns an empty string when everything holds,
/// otherwise a description of the first fault:
///  - neighbour links symmetric, sharing exactly the facet's three corners;
///  - every cell positively oriented (exact);
///  - across every interior facet the far corner not strictly inside the
///    circumsphere (exact), if bDelaunay;
///  - every corner is a stored vertex; every vertex with an incident cell
///    has a live incident cell that has it as a corner;
///  - no live cell visited;
///  - V - E + F - C = 1;
///  - hull facets form a closed, consistently oriented and convex surface.
/// pNumVertices receives the number of corners when not null.
std::string checkMesh(const std::vector<VORN3D::Tet3*>& vTets, const std::vector<VORN3D::Point3*>& vVertices,
	bool bDelaunay = true, size_t* pNumVertices = nullptr);

/// The same for a whole triangulation.
std::string checkMesh(const VORN3D::Vorn_3D& vorn, bool bDelaunay = true, size_t* pNumVertices = nullptr);
/// The same for a kernel; also compares its live-cell count.
std::string checkMesh(const VORN3D::Dt3& dt, bool bDelaunay = true);

/// checkMesh, and the vertices are exactly the distinct points of vInput:
/// every input point is a corner, and there are as many corners as
/// distinct coordinate triples.
std::string checkMeshOf(const VORN3D::Vorn_3D& vorn, const std::vector<VORN3D::Point3>& vInput);

} // namespace vtest

#endif
