// Splitting the input into one region per process, balanced by count.
#ifndef VORN3D_DISTRIBUTED_PARTITION_H
#define VORN3D_DISTRIBUTED_PARTITION_H

#include <vector>

#include <vorn3d/Vorn_3D.h>

#include "Geometry.h"

namespace vorn3dmpi {

/// A k-d split of the points into numParts regions: each step cuts the
/// longest side of the current points' bounding box at the median
/// coordinate (of a sample of at most about 200,000 points), giving the
/// lower half of the parts their share of the count.
/// Points with a coordinate equal to the cut go to the lower side, so equal
/// points always share one region. Every process that calls this with the
/// same points gets the same answer. vOwner receives the region of each
/// point; vBoxes the bounding box of each region's points (empty for a
/// region without points).
void partitionPoints(const std::vector<VORN3D::Point3>& vPoints, int numParts, std::vector<int>& vOwner,
	std::vector<Box>& vBoxes);

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

} // namespace vorn3dmpi

#endif
