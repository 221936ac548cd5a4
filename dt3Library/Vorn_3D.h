// Vorn3D: exact Delaunay tetrahedralisation of 3D points.
//
// Include this one header to get the whole public interface:
//   #include <vorn3d/Vorn_3D.h>
#ifndef VORN3D_VORN_3D_H
#define VORN3D_VORN_3D_H

#include <string>
#include <vector>

#include "Ball3.h"
#include "Bbox3.h"
#include "Facet3.h"
#include "Iterators.h"
#include "Point3.h"
#include "Surface3.h"
#include "Tet3.h"
#include "Triangle3.h"
#include "VornException.h"
#include "testDataGenerators.h"
#include "vorn3d_export.h"

namespace VORN3D {

class Dt3;
class Surface3;

/// The Delaunay tetrahedralisation of a set of points.
///
/// Create one object, insert points (one at a time or as a vector), then read
/// the cells back. All predicates are exact for the given double coordinates;
/// points with equal x, y and z are merged into one vertex.
///
/// Ownership and lifetimes: the object owns every vertex and cell. Vertex
/// pointers it hands out stay valid until the object is destroyed. Cell
/// pointers are valid only until the next insertion.
///
/// Threads: the library starts none. Use one object from one thread at a
/// time; separate objects may be used on separate threads at once. Cell
/// numbers, the first box enlargement, timers and scene colours are kept
/// per thread; event counts and fault-file numbers for the whole process.
class VORN3D_API Vorn_3D
{
public:
	Vorn_3D();
	~Vorn_3D();
	Vorn_3D(const Vorn_3D&) = delete;
	Vorn_3D& operator=(const Vorn_3D&) = delete;

	/// Inserts one point and returns the vertex that represents it: a new
	/// vertex, or the existing vertex with the same coordinates.
	Point3* insert(Point3& p);
	/// Inserts many points.
	void insert(std::vector<Point3>& vPoints);
	/// Inserts many points; vHandles receives one vertex per input point, in
	/// input order (duplicates share one vertex).
	void insert(std::vector<Point3>& vPoints, std::vector<Point3*>& vHandles);

	/// The cell that contains q (strictly inside, on its boundary inside the
	/// hull, or q equal to one of its corners); null when q is outside the
	/// convex hull or no cell exists yet.
	Tet3* locate(const Point3& q);

	/// All cells, in increasing order of address. v must be empty.
	void getTetrahedra(std::vector<Tet3*>& v) const;
	/// All vertices (also those held back before the first cell exists).
	void getVertices(std::vector<Point3*>& v) const;
	/// All cells that have pVtx as a corner, in increasing order of address.
	void getTetsAroundVertex(Point3* pVtx, std::vector<Tet3*>& v);
	/// True once a first non-degenerate tetrahedron exists.
	bool is3D() const;

	/// Checks orientation and neighbourhood of every cell and, with b, the
	/// empty-sphere property. Prints a report; returns false at the first
	/// fault, leaving a scene file of it behind.
	bool checkValidity(const std::string& name, bool b);
	/// Lists every cell on standard output.
	void print(const std::string& name);
	/// Writes all cells to an OOGL scene file, highlighting pVtx if given.
	void show(const std::string& filename, Point3* pVtx = nullptr);
	/// Switches the message printed at each bulk insertion.
	void setVerbosity(bool b);
	/// Switches symbolic perturbation (off by default). With it on, points
	/// exactly on a circumsphere (grids, points on a sphere or on common
	/// planes) are decided by one fixed rule that depends only on the
	/// coordinates, so the same points give the same cells in every
	/// insertion order, bulk or one by one, and the cells of CGAL's
	/// Delaunay_triangulation_3. Off, a point on a circumsphere counts as
	/// outside and the first comer wins. Set it before the first insertion;
	/// changing it once a point is stored prints an error and throws
	/// VornException.
	void setPerturbation(bool b);
	/// Whether symbolic perturbation is on.
	bool getPerturbation() const;
	/// Hands a triangle surface to the triangulation, which owns it from now
	/// on and deletes it when it is destroyed. The surface does not take part
	/// in the insertion; insert its vertices explicitly if they are wanted.
	/// The surface must come from new; null, or a surface handed over twice,
	/// is ignored.
	void addSurface(Surface3* pSurface);

private:
	Dt3* pImpl;
};

/// 0
VORN3D_API int getMajorVersionNumber();
/// 99
VORN3D_API int getMinorVersionNumber();
/// 0
VORN3D_API int getRevisionNumber();
/// false
VORN3D_API bool isRelease();
/// "Vorn3D, DEBUG, v0.99.0"
VORN3D_API std::string getVorn3DVersion();

} // namespace VORN3D

#endif
