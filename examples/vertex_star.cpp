// The cells around one vertex (its star).
#include <iostream>
#include <vector>

#include <vorn3d/Vorn_3D.h>

using namespace VORN3D;

int main()
{
	std::vector<Point3> vPoints;
	generateRandomPoints(1500, -1.0, 1.0, vPoints, 11);
	vPoints.emplace_back(0.0, 0.0, 0.0);
	Vorn_3D dt;
	std::vector<Point3*> vHandles;
	dt.insert(vPoints, vHandles);

	Point3* pCentre(vHandles.back());
	std::vector<Tet3*> vStar;
	dt.getTetsAroundVertex(pCentre, vStar);
	std::cout << "the vertex at the origin has " << vStar.size() << " incident tetrahedra" << std::endl;
	for(Tet3* pTet : vStar)
	{
		if(!pTet->hasVertex(pCentre)) return 1;
	}
	return vStar.size() >= 4 ? 0 : 1;
}
