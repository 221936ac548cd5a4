#include "Triangle3.h"

#include <iostream>

namespace VORN3D {

int Triangle3::getIntraTriangleIndex(Point3* p) const
{
	if(aCorners[0] == p) return 0;
	if(aCorners[1] == p) return 1;
	if(aCorners[2] == p) return 2;
	std::cerr << "Triangle3::getIntraTriangleIndex(): invalid (p)" << std::endl;
	return -999;
}

int Triangle3::getIntraTriangleIndex(Point3* p1, Point3* p2) const
{
	for(int i = 0; i < 3; ++i)
	{
		// The edge opposite corner i joins the two other corners.
		const Point3* pA(aCorners[(i + 1) % 3]);
		const Point3* pB(aCorners[(i + 2) % 3]);
		if((pA == p1 && pB == p2) || (pA == p2 && pB == p1)) return i;
	}
	std::cerr << "Triangle3::getIntraTriangleIndex(): invalid (p1,p2)" << std::endl;
	std::cout << "Have searched for " << static_cast<const void*>(p1) << " and " << static_cast<const void*>(p2)
			  << " in " << *this << std::endl;
	return -999;
}

Point3 Triangle3::getBarycenter() const
{
	const double x((aCorners[0]->x() + aCorners[1]->x() + aCorners[2]->x()) / 3.0);
	const double y((aCorners[0]->y() + aCorners[1]->y() + aCorners[2]->y()) / 3.0);
	const double z((aCorners[0]->z() + aCorners[1]->z() + aCorners[2]->z()) / 3.0);
	return Point3(x, y, z);
}

std::ostream& operator<<(std::ostream& stream, const Triangle3& triangle)
{
	stream << "Triangle: " << std::endl;
	for(int i = 0; i < 3; ++i)
	{
		const Point3* pCorner(triangle.aCorners[i]);
		const Triangle3* pNeig(triangle.aNeighbors[i]);
		stream << "ith=" << i << ", vertex (" << static_cast<const void*>(pCorner) << "): ";
		if(pCorner != nullptr) stream << *pCorner;
		stream << "  oppTet=" << static_cast<const void*>(pNeig);
		// The neighbour's address is written twice on purpose: the second
		// copy marks a present neighbour as clearly as " (NULL)" marks a
		// missing one.
		if(pNeig == nullptr) stream << " (NULL)";
		else stream << " " << static_cast<const void*>(pNeig);
		stream << std::endl;
	}
	return stream;
}

} // namespace VORN3D
