#include "Bbox3.h"

#include <algorithm>
#include <iostream>

namespace VORN3D {

bool Bbox3::add(const std::vector<Point3>& vPoints)
{
	if(vPoints.empty()) return false;
	bool bChanged(false);
	size_t first(0);
	if(!isValid())
	{
		add(vPoints[0]);
		first = 1;
		bChanged = true;
	}
	for(size_t i = first; i < vPoints.size(); ++i)
	{
		if(addToValid(vPoints[i])) bChanged = true;
	}
	return bChanged;
}

Bbox3 Bbox3::operator+(Bbox3& other)
{
	minX = std::min(minX, other.minX);
	minY = std::min(minY, other.minY);
	minZ = std::min(minZ, other.minZ);
	maxX = std::max(maxX, other.maxX);
	maxY = std::max(maxY, other.maxY);
	maxZ = std::max(maxZ, other.maxZ);
	return *this;
}

void Bbox3::enlargeBounds(double factor)
{
	const double halfX((maxX - minX) * factor * 0.5);
	const double halfY((maxY - minY) * factor * 0.5);
	const double halfZ((maxZ - minZ) * factor * 0.5);
	minX -= halfX;
	maxX += halfX;
	minY -= halfY;
	maxY += halfY;
	minZ -= halfZ;
	maxZ += halfZ;
}

double Bbox3::getMinCoord() const
{
	return std::min(minX, std::min(minY, minZ));
}

double Bbox3::getMaxCoord() const
{
	return std::max(maxX, std::max(maxY, maxZ));
}

double Bbox3::getMaxRange() const
{
	return std::max(getRangeX(), std::max(getRangeY(), getRangeZ()));
}

void Bbox3::debug() const
{
	std::cout << "Bbox3: (" << minX << "," << minY << "," << minZ << ") -> (" << maxX << "," << maxY << "," << maxZ
			  << ")" << std::endl;
}

} // namespace VORN3D
