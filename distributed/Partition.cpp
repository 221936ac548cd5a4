#include "Partition.h"

#include <algorithm>
#include <limits>

namespace vorn3dmpi {

namespace {

using VORN3D::Point3;

double coord(const Point3& p, int axis)
{
	return axis == 0 ? p.x() : (axis == 1 ? p.y() : p.z());
}

Box boundingBox(const std::vector<Point3>& vPoints, const unsigned* pBegin, const unsigned* pEnd)
{
	const double inf(std::numeric_limits<double>::infinity());
	Box box{{inf, inf, inf}, {-inf, -inf, -inf}};
	for(const unsigned* p = pBegin; p != pEnd; ++p)
	{
		for(int axis = 0; axis < 3; ++axis)
		{
			const double value(coord(vPoints[*p], axis));
			box.lo[axis] = std::min(box.lo[axis], value);
			box.hi[axis] = std::max(box.hi[axis], value);
		}
	}
	return box;
}

void split(const std::vector<Point3>& vPoints, unsigned* pBegin, unsigned* pEnd, int firstPart, int numParts,
	std::vector<int>& vOwner)
{
	if(numParts == 1 || pEnd - pBegin < 2)
	{
		for(unsigned* p = pBegin; p != pEnd; ++p) vOwner[*p] = firstPart;
		return;
	}
	const Box box(boundingBox(vPoints, pBegin, pEnd));
	int axis(0);
	for(int i = 1; i < 3; ++i)
	{
		if(box.hi[i] - box.lo[i] > box.hi[axis] - box.lo[axis]) axis = i;
	}
	const int lowParts(numParts / 2);
	const long numLow(static_cast<long>((pEnd - pBegin) * static_cast<double>(lowParts) / numParts));
	unsigned* pMid(pBegin + std::max(1L, numLow) - 1);
	auto less([&](unsigned i, unsigned j) { return coord(vPoints[i], axis) < coord(vPoints[j], axis); });
	std::nth_element(pBegin, pMid, pEnd, less);
	const double cut(coord(vPoints[*pMid], axis));
	unsigned* pHigh(std::partition(pBegin, pEnd, [&](unsigned i) { return coord(vPoints[i], axis) <= cut; }));
	split(vPoints, pBegin, pHigh, firstPart, lowParts, vOwner);
	split(vPoints, pHigh, pEnd, firstPart + lowParts, numParts - lowParts, vOwner);
}

} // namespace

void partitionPoints(const std::vector<Point3>& vPoints, int numParts, std::vector<int>& vOwner, std::vector<Box>& vBoxes)
{
	std::vector<unsigned> vOrder(vPoints.size());
	for(size_t i = 0; i < vOrder.size(); ++i) vOrder[i] = static_cast<unsigned>(i);
	vOwner.assign(vPoints.size(), 0);
	split(vPoints, vOrder.data(), vOrder.data() + vOrder.size(), 0, numParts, vOwner);

	const double inf(std::numeric_limits<double>::infinity());
	vBoxes.assign(static_cast<size_t>(numParts), Box{{inf, inf, inf}, {-inf, -inf, -inf}});
	for(size_t i = 0; i < vPoints.size(); ++i)
	{
		Box& box(vBoxes[static_cast<size_t>(vOwner[i])]);
		for(int axis = 0; axis < 3; ++axis)
		{
			box.lo[axis] = std::min(box.lo[axis], coord(vPoints[i], axis));
			box.hi[axis] = std::max(box.hi[axis], coord(vPoints[i], axis));
		}
	}
}

} // namespace vorn3dmpi
