// Single insertions. Each call returns the vertex that represents the point.
//
// Until four points that are not coplanar exist there is no tetrahedron:
// points are held back, and only the four that form the first cell enter the
// mesh at that moment. Start with a bulk insertion (or with four points in
// general position) when every point must be a vertex of the mesh.
#include <iostream>
#include <vector>

#include <vorn3d/Vorn_3D.h>

using namespace VORN3D;

int main()
{
	Vorn_3D dt;
	// Four corners of a tetrahedron first, so the mesh is 3D from then on.
	Point3 a(0, 0, 0), b(10, 0, 0), c(0, 10, 0), d(0, 0, 10);
	dt.insert(a);
	dt.insert(b);
	dt.insert(c);
	dt.insert(d);

	std::vector<Point3> vMore;
	generateRandomPoints(300, 0.0, 10.0, vMore, 7);
	for(Point3& p : vMore) dt.insert(p);

	Point3 again(0, 0, 0);
	Point3* pFirst(dt.insert(again)); // a duplicate returns the existing vertex
	std::vector<Tet3*> vTets;
	dt.getTetrahedra(vTets);
	std::cout << "tetrahedra: " << vTets.size() << ", origin vertex at (" << pFirst->x() << ", " << pFirst->y()
			  << ", " << pFirst->z() << ")" << std::endl;
	return (dt.is3D() && !vTets.empty() && *pFirst == again) ? 0 : 1;
}
