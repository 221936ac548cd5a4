// Attaching the caller's own numbers to cells and reading them back.
//
// The custom index of a cell is free for the caller between insertions; an
// insertion resets it on the cells it creates or removes, and cell pointers
// are valid only until the next insertion.
#include <iostream>
#include <vector>

#include <vorn3d/Vorn_3D.h>

using namespace VORN3D;

int main()
{
	std::vector<Point3> vPoints;
	generateRandomPoints(1500, 0.0, 1.0, vPoints, 9);
	Vorn_3D dt;
	dt.insert(vPoints);

	std::vector<Tet3*> vTets;
	dt.getTetrahedra(vTets);
	for(size_t i = 0; i < vTets.size(); ++i) vTets[i]->setCustomIndex(static_cast<int>(i));

	// For instance: a neighbour table by cell number.
	long numInteriorFacets(0);
	for(Tet3* pTet : vTets)
	{
		for(int f = 0; f < 4; ++f)
		{
			const Tet3* pNeighbour(pTet->getOppTet(f));
			if(pNeighbour != nullptr && pNeighbour->getCustomIndex() >= 0) ++numInteriorFacets;
		}
	}
	std::cout << vTets.size() << " cells, " << numInteriorFacets / 2 << " interior facets" << std::endl;
	return (numInteriorFacets % 2 == 0 && numInteriorFacets > 0) ? 0 : 1;
}
