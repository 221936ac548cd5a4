// Point location, then a walk from the found cell to its neighbours.
#include <iostream>
#include <vector>

#include <vorn3d/Vorn_3D.h>

using namespace VORN3D;

int main()
{
	std::vector<Point3> vPoints;
	generateRandomPoints(1500, 0.0, 1.0, vPoints, 3);
	Vorn_3D dt;
	dt.insert(vPoints);

	const Point3 query(0.5, 0.5, 0.5);
	Tet3* pTet(dt.locate(query));
	if(pTet == nullptr)
	{
		std::cout << "query is outside the convex hull" << std::endl;
		return 1;
	}
	std::cout << "the query lies in the cell with corners:" << std::endl;
	for(int i = 0; i < 4; ++i)
	{
		const Point3* pCorner(pTet->getCorner(i));
		std::cout << "  " << pCorner->x() << " " << pCorner->y() << " " << pCorner->z() << std::endl;
	}
	// Neighbour i lies across the facet opposite corner i; null on the hull.
	int numNeighbours(0);
	for(int i = 0; i < 4; ++i)
	{
		Tet3* pNeighbour(pTet->getOppTet(i));
		if(pNeighbour == nullptr) continue;
		++numNeighbours;
		// The neighbour sees this cell across its own facet with this index.
		const int back(pNeighbour->getIntraTetIndex(pTet));
		if(pNeighbour->getOppTet(back) != pTet) return 1;
	}
	std::cout << numNeighbours << " neighbours" << std::endl;

	const Point3 outside(5.0, 5.0, 5.0);
	return dt.locate(outside) == nullptr ? 0 : 1;
}
