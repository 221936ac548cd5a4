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

// A node of the split tree: a cut of one axis, or (axis -1) a leaf that is
// region firstPart.
struct Node
{
	int axis;
	double cut;
	int low, high;
	int firstPart;
};

/// Splits the sample points [pBegin, pEnd) into numParts regions; returns the
/// node's position in vTree.
int split(const std::vector<Point3>& vPoints, unsigned* pBegin, unsigned* pEnd, int firstPart, int numParts,
	std::vector<Node>& vTree)
{
	const int self(static_cast<int>(vTree.size()));
	vTree.push_back(Node{-1, 0.0, -1, -1, firstPart});
	if(numParts == 1 || pEnd - pBegin < 2) return self;
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
	const int low(split(vPoints, pBegin, pHigh, firstPart, lowParts, vTree));
	const int high(split(vPoints, pHigh, pEnd, firstPart + lowParts, numParts - lowParts, vTree));
	vTree[static_cast<size_t>(self)] = Node{axis, cut, low, high, firstPart};
	return self;
}

} // namespace

void partitionPoints(const std::vector<Point3>& vPoints, int numParts, std::vector<int>& vOwner, std::vector<Box>& vBoxes)
{
	// The cuts are medians of a sample (the same on every process); all
	// points then follow the cuts, so equal points share a region.
	const size_t stride(std::max<size_t>(1, vPoints.size() / 200000));
	std::vector<unsigned> vSample;
	for(size_t i = 0; i < vPoints.size(); i += stride) vSample.push_back(static_cast<unsigned>(i));
	std::vector<Node> vTree;
	split(vPoints, vSample.data(), vSample.data() + vSample.size(), 0, numParts, vTree);
	vOwner.resize(vPoints.size());
	for(size_t i = 0; i < vPoints.size(); ++i)
	{
		const Node* pNode(&vTree[0]);
		while(pNode->axis >= 0)
			pNode = &vTree[static_cast<size_t>(coord(vPoints[i], pNode->axis) <= pNode->cut ? pNode->low : pNode->high)];
		vOwner[i] = pNode->firstPart;
	}

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
