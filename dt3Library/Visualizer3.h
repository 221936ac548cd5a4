// Visualizer3: writes debug scenes in the OOGL object file format.
//
// A scene is one top-level LIST whose members are VECT (points and
// polylines), OFF (triangles) and SPHERE objects, in the order written.
// Colours are strings of four numbers "r g b a" in 0..1, copied verbatim into
// the file. Internal to the library.
#ifndef VORN3D_VISUALIZER3_H
#define VORN3D_VISUALIZER3_H

#include <fstream>
#include <string>
#include <vector>

#include "Point3.h"

namespace VORN3D {

class Tet3;

class Visualizer3
{
public:
	/// Opens the file and starts the top-level list. A file that cannot be
	/// opened ends the process with exit status 1.
	explicit Visualizer3(const std::string& filename);
	/// Closes the list and the file, as close().
	~Visualizer3();
	Visualizer3(const Visualizer3&) = delete;
	Visualizer3& operator=(const Visualizer3&) = delete;

	/// Writes the closing "}" and closes the file; does nothing once closed.
	void close();

	/// The colour at the thread's colour number (only 0..13 are handed out).
	std::string getColor();
	/// getColor(), then advances the thread's colour number cyclically over
	/// 0..13, so successive objects differ in colour, across writers too.
	std::string getNextColor();
	/// Sets the thread's colour number, e.g. to restart a colour sequence.
	static void setColorNumber(int number);

	/// Isolated points, drawn with the given line width. An empty list only
	/// warns.
	void writePoints(const std::vector<Point3>& vPoints, unsigned int linewidth, const std::string& color);
	void writePoint(const Point3& p, unsigned int linewidth, const std::string& color);
	/// The segment from a to b.
	void writeSegment(const Point3& a, const Point3& b, const std::string& color);
	/// A convex polygon (at least 3 points) as a fan of triangles, or, for the
	/// colour "BOUNDARY", its closed outline in opaque black.
	void writePolygon(const std::vector<Point3>& vPoints, const std::string& color);
	/// The four facets of a cell through writePolygon.
	void writeTet(Tet3* c, const std::string& color);
	/// A sphere drawn by its edges.
	void writeBall(const Point3& center, double sqRadius);

	/// Number of entries of colorArray and colorNames.
	static constexpr int numColors = 27;
	/// The colour values "r g b a", and their names at the same index.
	static const char* const colorArray[numColors];
	static const char* const colorNames[numColors];

private:
	std::ofstream file;
	// Shared by all writers of a thread so that colours keep cycling across
	// scenes; per thread, so that each thread's scenes look the same however
	// threads interleave.
	static thread_local int colorNumber;
};

} // namespace VORN3D

#endif
