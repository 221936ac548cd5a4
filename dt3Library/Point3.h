// Point3, Vector3 and Segment3: the value types of the public interface.
#ifndef VORN3D_POINT3_H
#define VORN3D_POINT3_H

#include <cfloat>
#include <iosfwd>
#include <string>

#include "vorn3d_export.h"

namespace VORN3D {

class Tet3;

/// The difference of two points: three doubles and nothing else.
class VORN3D_API Vector3
{
public:
	Vector3(): x_(0.0), y_(0.0), z_(0.0) {}
	Vector3(double x, double y, double z): x_(x), y_(y), z_(z) {}
	double x() const { return x_; }
	double y() const { return y_; }
	double z() const { return z_; }
	/// Euclidean length.
	double length() const;
	/// Divides by the length. A vector of length 0 prints the warning
	/// "warning: normalize(const Vector3& other), Null length vector!" and
	/// becomes (0,0,0).
	void normalize();
	/// Cross product this x other.
	Vector3 cross(const Vector3& other) const;
	/// Dot product.
	double dot(const Vector3& other) const { return x_ * other.x_ + y_ * other.y_ + z_ * other.z_; }

private:
	double x_, y_, z_;
};

/// A point of 3D space, and the vertex type of the triangulation.
///
/// Besides its coordinates a point carries a link to one incident cell (null
/// while it is no vertex of a mesh) and an integer index (default -1) that the
/// caller may use freely. Coordinates are compared exactly, without tolerance.
/// Copy construction does not copy the cell link; assignment does.
class VORN3D_API Point3
{
public:
	/// Coordinates -DBL_MAX, no cell, index -1.
	Point3(): x_(-DBL_MAX), y_(-DBL_MAX), z_(-DBL_MAX), pOneTet(nullptr), index(-1) {}
	/// Coordinates as given, no cell, index -1.
	Point3(double x, double y, double z): x_(x), y_(y), z_(z), pOneTet(nullptr), index(-1) {}
	/// Copies the coordinates and the index; the copy has no incident cell.
	Point3(const Point3& other): x_(other.x_), y_(other.y_), z_(other.z_), pOneTet(nullptr), index(other.index) {}
	/// Copies all fields, the incident cell included.
	Point3& operator=(const Point3& other)
	{
		x_ = other.x_;
		y_ = other.y_;
		z_ = other.z_;
		pOneTet = other.pOneTet;
		index = other.index;
		return *this;
	}
	~Point3() {}

	/// Copies the coordinates, clears the incident cell, keeps the index.
	void init(const Point3& other)
	{
		x_ = other.x_;
		y_ = other.y_;
		z_ = other.z_;
		pOneTet = nullptr;
	}
	/// Overwrites the coordinates only.
	void exchange(double x, double y, double z)
	{
		x_ = x;
		y_ = y;
		z_ = z;
	}

	double x() const { return x_; }
	double y() const { return y_; }
	double z() const { return z_; }
	void xyz(double& x, double& y, double& z) const
	{
		x = x_;
		y = y_;
		z = z_;
	}

	/// Incident cell: one cell that has this point as a corner (null if none).
	void setOneTet(Tet3* pT) { pOneTet = pT; }
	Tet3* getOneTet() const { return pOneTet; }

	/// The caller's integer index (-1 by default).
	void setIndex(int i) { index = i; }
	int getIndex() const { return index; }

	/// True when x, y and z are exactly equal; cell and index are ignored.
	bool operator==(const Point3& other) const { return x_ == other.x_ && y_ == other.y_ && z_ == other.z_; }
	bool operator!=(const Point3& other) const { return !(*this == other); }
	/// Lexicographic order on (x, y, z). Only ">" is applied, so a NaN
	/// coordinate ties at its level.
	bool operator<(const Point3& b) const
	{
		if(b.x_ > x_) return true;
		if(x_ > b.x_) return false;
		if(b.y_ > y_) return true;
		if(y_ > b.y_) return false;
		return b.z_ > z_;
	}
	/// The vector (this - other).
	Vector3 operator-(const Point3& other) const { return Vector3(x_ - other.x_, y_ - other.y_, z_ - other.z_); }
	/// The translated point, with no cell and index -1.
	Point3 operator+(const Vector3& v) const { return Point3(v.x() + x_, v.y() + y_, v.z() + z_); }

	/// Prints "Point3: x,y,z" and a line end on standard output.
	void debug() const;

private:
	double x_;
	double y_;
	double z_;
	Tet3* pOneTet;
	int index;
};

/// A pair of point values (source, target); the copies carry no cell link.
class VORN3D_API Segment3
{
public:
	Segment3(const Point3& src, const Point3& trg): src_(src), trg_(trg) {}
	Segment3(const Segment3&) = default;
	Segment3(Segment3&&) = default;
	Segment3& operator=(const Segment3&) = default;
	Segment3& operator=(Segment3&&) = default;
	~Segment3() {}
	/// Copies of the end points (coordinates and index, no cell).
	Point3 getSrc() const { return Point3(src_); }
	Point3 getTrg() const { return Point3(trg_); }
	/// Prints "Segment3: " and both points, then a line end.
	void debug() const;

private:
	Point3 src_;
	Point3 trg_;
};

/// Writes the point's address, a tab and the coordinates (width 8 each,
/// separated by ", "). Used by the library's print-outs.
std::ostream& operator<<(std::ostream& stream, const Point3& pnt);

} // namespace VORN3D

#endif
