// Circulating the cells around an edge with TetAroundEdgeIterator.
#include <iostream>
#include <vector>

#include <vorn3d/Vorn_3D.h>

using namespace VORN3D;

int main()
{
	std::vector<Point3> vPoints;
	generateRandomPoints(1500, 0.0, 1.0, vPoints, 5);
	Vorn_3D dt;
	dt.insert(vPoints);

	Tet3* pTet(dt.locate(Point3(0.5, 0.5, 0.5)));
	if(pTet == nullptr) return 1;
	// An edge is named by a cell and its two corners that are NOT on the edge:
	// here the edge joins corners 0 and 1.
	Edge3 edge(pTet->getEdge(2, 3));
	std::cout << "edge from (" << edge.getSourceVtx()->x() << ", " << edge.getSourceVtx()->y() << ", "
			  << edge.getSourceVtx()->z() << ")" << std::endl;

	TetAroundEdgeIterator start(edge);
	TetAroundEdgeIterator it(start);
	int numCells(0);
	bool bOnHull(false);
	do
	{
		++numCells;
		if(it.nextIsNull())
		{
			bOnHull = true; // the ring is open: the edge lies on the convex hull
			break;
		}
		++it;
	} while(it != start);
	std::cout << numCells << " cells around the edge" << (bOnHull ? " (hull edge)" : "") << std::endl;
	return numCells >= 1 ? 0 : 1;
}
