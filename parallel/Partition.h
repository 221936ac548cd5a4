// Splitting the input into one region per process, balanced by count.
#ifndef VORN3D_PARALLEL_PARTITION_H
#define VORN3D_PARALLEL_PARTITION_H

#include <vector>

#include <vorn3d/Vorn_3D.h>

#include "Geometry.h"

namespace vorn3dregions {

/// A k-d split into numParts regions, balanced by count: each step cuts the
/// longest side of the current sample points' bounding box at their median
/// coordinate, giving the lower half of the parts their share of the count.
/// The cuts come from a sample of the points (the same sample gives the same
/// cuts on every process); regionOf follows them for any point, so the
/// sample decides the split of the whole input. A point with a coordinate
/// equal to a cut goes to the lower side, so equal points share a region.
class SplitTree
{
public:
	SplitTree(const std::vector<VORN3D::Point3>& vSample, int numParts);
	int regionOf(const VORN3D::Point3& p) const;

	// A cut of one axis, or (axis -1) a leaf that is region firstPart.
	struct Node
	{
		int axis;
		double cut;
		int low, high;
		int firstPart;
	};

private:
	std::vector<Node> vTree;
};

/// The sample for SplitTree: the points whose input index is a multiple
/// of this stride (at most about 200,000 points).
size_t sampleStride(size_t numPoints);

/// Points of other regions (indices into vPoints) that make the bounding box
/// of region part nearly a cube where the points allow: for each side much
/// shorter than the longest, the point whose coordinate on that axis brings
/// the side closest to the longest, among the points that lie within the
/// box on the other two axes. The library orders its insertions by a key
/// that is exact only on a cubic box (on half a cube its walks are three
/// times as long), and a point of another region costs nothing in
/// correctness: it is one more ghost point.
std::vector<size_t> cubingPoints(const std::vector<VORN3D::Point3>& vPoints, const std::vector<int>& vOwner, int part,
	const Box& box);

} // namespace vorn3dregions

#endif
