// Bulk insertion with handles: one vertex pointer per input point, in input
// order; duplicate points share one vertex.
#include <iostream>
#include <vector>

#include <vorn3d/Vorn_3D.h>

using namespace VORN3D;

int main()
{
	std::vector<Point3> vPoints;
	generateRandomPoints(3000, 0.0, 100.0, vPoints, 42); // 2000 points, reproducible
	vPoints.push_back(vPoints[0]);						  // an exact duplicate

	Vorn_3D dt;
	std::vector<Point3*> vHandles;
	dt.insert(vPoints, vHandles);

	std::vector<Tet3*> vTets;
	dt.getTetrahedra(vTets);
	std::vector<Point3*> vVertices;
	dt.getVertices(vVertices);
	std::cout << vPoints.size() << " points, " << vVertices.size() << " vertices, " << vTets.size()
			  << " tetrahedra" << std::endl;

	// The handle of input point i is the vertex that represents it.
	const bool bSameVertex(vHandles.front() == vHandles.back());
	std::cout << "duplicate shares the first point's vertex: " << (bSameVertex ? "yes" : "no") << std::endl;
	return (vHandles.size() == vPoints.size() && bSameVertex && dt.is3D()) ? 0 : 1;
}
