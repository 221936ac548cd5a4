#include "Partition.h"

#include <algorithm>
#include <limits>

namespace vorn3dregions {

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

using Node = SplitTree::Node;

/// Splits the sample points [pBegin, pEnd) into numParts regions; returns the
/// node's position in vTree.
int split(const std::vector<Point3>& vPoints, unsigned* pBegin, unsigned* pEnd, int firstPart, int numParts,
	std::vector<Node>& vTree)
{
	const int self(static_cast<int>(vTree.size()));
	vTree.push_back(Node{-1, 0.0, -1, -1, firstPart});
	if(numParts == 1 || pEnd - pBegin < 2) return self;
	const Box box(boundingBox(vPoints, pBegin, pEnd));
	// The longest side is cut. Among sides of nearly the same length z goes
	// first, then y: the library's insertion order keeps its walks shortest
	// on a box whose x side is not the shortest (on half a cube, a cut across
	// x costs a quarter more walking than one across z).
	double longest(0.0);
	for(int i = 0; i < 3; ++i) longest = std::max(longest, box.hi[i] - box.lo[i]);
	int axis(2);
	while(axis > 0 && !(box.hi[axis] - box.lo[axis] >= 0.95 * longest)) --axis;
	const int lowParts(numParts / 2);
	const long numLow(static_cast<long>((pEnd - pBegin) * static_cast<double>(lowParts) / numParts));
	unsigned* pMid(pBegin + std::max(1L, numLow) - 1);
	auto less([&](unsigned i, unsigned j) { return coord(vPoints[i], axis) < coord(vPoints[j], axis); });
	std::nth_element(pBegin, pMid, pEnd, less);
	const double cut(coord(vPoints[*pMid], axis));
	unsigned* pHigh(std::partition(pBegin, pEnd, [&](unsigned i) { return coord(vPoints[i], axis) <= cut; }));
	const int low(split(vPoints, pBegin, pHigh, firstPart, lowParts, vTree));
	const int high(split(vPoints, pHigh, pEnd, firstPart + lowParts, numParts - lowParts, vTree));
	vTree[static_cast<size_t>(self)] = Node{axis, cut, low, high, firstPart};
	return self;
}

} // namespace

SplitTree::SplitTree(const std::vector<Point3>& vSample, int numParts)
{
	std::vector<unsigned> vOrder(vSample.size());
	for(size_t i = 0; i < vOrder.size(); ++i) vOrder[i] = static_cast<unsigned>(i);
	split(vSample, vOrder.data(), vOrder.data() + vOrder.size(), 0, numParts, vTree);
}

int SplitTree::regionOf(const Point3& p) const
{
	const Node* pNode(&vTree[0]);
	while(pNode->axis >= 0) pNode = &vTree[static_cast<size_t>(coord(p, pNode->axis) <= pNode->cut ? pNode->low : pNode->high)];
	return pNode->firstPart;
}

size_t sampleStride(size_t numPoints)
{
	return std::max<size_t>(1, numPoints / 200000);
}

std::vector<size_t> cubingPoints(const std::vector<Point3>& vPoints, const std::vector<int>& vOwner, int part,
	const Box& box)
{
	double longest(0.0);
	for(int axis = 0; axis < 3; ++axis) longest = std::max(longest, box.hi[axis] - box.lo[axis]);
	// Per axis: the best point so far and how far its side falls short of
	// the longest.
	size_t aBest[3];
	double aShort[3];
	for(int axis = 0; axis < 3; ++axis)
	{
		aBest[axis] = vPoints.size();
		aShort[axis] = longest - (box.hi[axis] - box.lo[axis]);
		if(aShort[axis] <= 0.02 * longest) aShort[axis] = -1.0; // close enough as it is
	}
	if(!(longest > 0.0) || (aShort[0] < 0.0 && aShort[1] < 0.0 && aShort[2] < 0.0)) return {};
	for(size_t i = 0; i < vPoints.size(); ++i)
	{
		if(vOwner[i] == part) continue;
		double c[3];
		for(int axis = 0; axis < 3; ++axis) c[axis] = coord(vPoints[i], axis);
		for(int axis = 0; axis < 3; ++axis)
		{
			if(aShort[axis] < 0.0) continue;
			const int b((axis + 1) % 3), d((axis + 2) % 3);
			if(c[b] < box.lo[b] || c[b] > box.hi[b] || c[d] < box.lo[d] || c[d] > box.hi[d]) continue;
			const double side(std::max(box.hi[axis], c[axis]) - std::min(box.lo[axis], c[axis]));
			if(side <= longest && longest - side < aShort[axis])
			{
				aShort[axis] = longest - side;
				aBest[axis] = i;
			}
		}
	}
	std::vector<size_t> vChosen;
	for(size_t best : aBest)
	{
		if(best < vPoints.size()) vChosen.push_back(best);
	}
	return vChosen;
}

} // namespace vorn3dregions
