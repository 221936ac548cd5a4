// A user program built against the installed library: it must compile with
// the installed headers only, link against the installed shared library and
// see the exported classes, free functions and the exception type.
#ifdef VORN3D_CONSUMER_FULL
#include <vorn3d/Vorn_3D.h>
#else
#include <vorn3d/Ball3.h>
#include <vorn3d/Bbox3.h>
#include <vorn3d/Point3.h>
#include <vorn3d/Surface3.h>
#include <vorn3d/Tet3.h>
#include <vorn3d/Triangle3.h>
#include <vorn3d/VornException.h>
#include <vorn3d/testDataGenerators.h>
#endif

#include <cstring>
#include <iostream>
#include <string>
#include <vector>

using namespace VORN3D;

namespace {

int numFailed(0);

void check(bool bOk, const char* what)
{
	if(bOk) return;
	std::cout << "consumer: FAILED: " << what << std::endl;
	++numFailed;
}

void checkValueClassesAndFreeFunctions()
{
	Point3 a(0, 0, 0), b(1, 0, 0), c(0, 1, 0), d(0, 0, 1);
	check(a < b && a + (b - a) == b, "Point3 order and arithmetic");
	Bbox3 box;
	box.add(a);
	check(box.add(Point3(2, 3, 4)) && box.getMaxRange() == 4.0, "Bbox3 grows");
	check(Ball3(1, 2, 3, 9).getRadius() == 3.0, "Ball3::getRadius");
	check(Triangle3(&a, &b, &c).getIntraTriangleIndex(&b, &c) == 0, "Triangle3::getIntraTriangleIndex");
	// Static data and the stream operator of an exported class.
	const int firstLabel(Tet3::runningLabel);
	Tet3 cell;
	cell.setProperties(&a, &b, &c, &d);
	check(Tet3::runningLabel == firstLabel + 2 && d.getOneTet() == &cell, "Tet3 numbers and links its corners");
	std::cout << cell;
	std::vector<Point3> vPoints;
	generateRandomPoints(30, -1.0, 1.0, vPoints, 7);
	check(vPoints.size() == 20, "generateRandomPoints yields 2/3 of count");
	check(getNormalVector(a, b, c).z() == 1.0, "getNormalVector");
	std::string counterName("consumer");
	benchCounter(counterName);
	// The exception type crosses the library boundary: caught by its own
	// type, with its text as a std::exception.
	bool bCaught(false);
	try
	{
		std::vector<double> vNumbers;
		generateRandomNumbers(1, 1.0, 0.0, vNumbers, 1);
	}
	catch(const VornException& e)
	{
		bCaught = std::strncmp(static_cast<const std::exception&>(e).what(), "\n  VORN EXCEPTION", 17) == 0 &&
			std::strncmp(e.detail(), "Condition [ ", 12) == 0;
	}
	check(bCaught, "VornException caught");
	// Two triangles sharing an edge, as ASCII STL in memory.
	const std::string text("solid s\n"
						   "facet normal 0 0 1 outer loop vertex 0 0 0 vertex 1 0 0 vertex 1 1 0 endloop endfacet\n"
						   "facet normal 0 0 1 outer loop vertex 0 0 0 vertex 1 1 0 vertex 0 1 0 endloop endfacet\n"
						   "endsolid s\n");
	Surface3 surface;
	check(surface.readSTLFromMemory(text.data(), text.size(), "in memory"), "Surface3::readSTLFromMemory");
	check(surface.getNumVertices() == 4 && surface.getTriangle(0)->getNeig(1) == surface.getTriangle(1),
		"Surface3 merges corners and links neighbours");
}

#ifdef VORN3D_CONSUMER_FULL
void checkTriangulation()
{
	check(getVorn3DVersion() == "Vorn3D, DEBUG, v0.99.0" && getMajorVersionNumber() == 0 && getMinorVersionNumber() == 99 &&
			getRevisionNumber() == 0, "version");

	// A unit corner cell and one point beyond its slanted facet: two cells.
	std::vector<Point3> vInput{Point3(0, 0, 0), Point3(1, 0, 0), Point3(0, 1, 0), Point3(0, 0, 1), Point3(2, 2, 2)};
	std::vector<Point3*> vHandles;
	Vorn_3D dt;
	dt.insert(vInput, vHandles);
	std::vector<Tet3*> vCells;
	dt.getTetrahedra(vCells);
	check(dt.is3D() && vHandles.size() == vInput.size() && vCells.size() == 2, "two cells, one handle per point");
	Tet3* pCell(dt.locate(Point3(0.1, 0.1, 0.1)));
	check(pCell != nullptr && pCell->hasVertex(vHandles[0]), "Vorn_3D::locate");
	check(dt.locate(Point3(-1, -1, -1)) == nullptr, "Vorn_3D::locate outside the hull");
}
#endif

} // namespace

int main()
{
	checkValueClassesAndFreeFunctions();
#ifdef VORN3D_CONSUMER_FULL
	checkTriangulation();
#endif
	if(numFailed != 0) return 1;
	std::cout << "consumer: all checks passed" << std::endl;
	return 0;
}
