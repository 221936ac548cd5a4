// A first look at Vorn3D: version, random points, their bounding box and one
// cell.
//
//   make demo
#include <vorn3d/Vorn_3D.h>

#include <iostream>
#include <vector>

using namespace VORN3D;

int main()
{
	std::cout << getVorn3DVersion() << std::endl;

	// 30 draws of three coordinates give 20 points (see generateRandomPoints).
	std::vector<Point3> vPoints;
	generateRandomPoints(30, -1.0, 1.0, vPoints, 42);
	std::cout << vPoints.size() << " random points, the first: ";
	vPoints[0].debug();

	Bbox3 box(vPoints);
	box.debug();
	box.enlargeBounds(0.1);
	std::cout << "10% larger: ";
	box.debug();

	// One cell by hand. A triangulation hands out its cells from a pool;
	// a cell made directly says so when it is constructed.
	Point3 aCorner[4] = {Point3(0, 0, 0), Point3(1, 0, 0), Point3(0, 1, 0), Point3(0, 0, 1)};
	Tet3 cell;
	// Positive orientation: (0,0,0), (1,0,0), (0,1,0) are seen
	// counter-clockwise from (0,0,1).
	cell.setProperties(&aCorner[0], &aCorner[1], &aCorner[2], &aCorner[3]);
	std::cout << cell;
	std::cout << "circumcenter: ";
	cell.getCircumcenter().debug();
	std::cout << "a corner at (1,0,0): " << (cell.hasVertex(Point3(1, 0, 0)) ? "yes" : "no") << std::endl;
	const Vector3 normal(getNormalVector(aCorner[0], aCorner[1], aCorner[2]));
	std::cout << "normal of the base facet: " << normal.x() << " " << normal.y() << " " << normal.z() << std::endl;
	return 0;
}
