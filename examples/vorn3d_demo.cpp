// A first look at Vorn3D: version, random points, their bounding box and one
// cell built from four of them.
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

	// The corners of the unit cell, in positive orientation: (0,0,0),
	// (1,0,0), (0,1,0) seen counter-clockwise from (0,0,1).
	std::vector<Point3> vCorners{Point3(0, 0, 0), Point3(1, 0, 0), Point3(0, 1, 0), Point3(0, 0, 1)};
	std::vector<Point3*> vHandles;
	Vorn_3D dt;
	dt.insert(vCorners, vHandles);
	std::vector<Tet3*> vCells;
	dt.getTetrahedra(vCells);
	for(Tet3* pCell : vCells)
	{
		std::cout << *pCell;
		const Point3 center(pCell->getCircumcenter());
		std::cout << "circumcenter: ";
		center.debug();
	}
	const Vector3 normal(getNormalVector(vCorners[0], vCorners[1], vCorners[2]));
	std::cout << "normal of the base facet: " << normal.x() << " " << normal.y() << " " << normal.z() << std::endl;
	return 0;
}
