// HullTree: the other processes' hull vertices in a tree of boxes, searched
// for the points beyond a hull facet.
#ifndef VORN3D_PARALLEL_HULLTREE_H
#define VORN3D_PARALLEL_HULLTREE_H

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "Geometry.h"
#include "MeshRecords.h"

namespace vorn3dregions {

/// The other processes' hull vertices in a tree of boxes (a k-d split at
/// medians), so that a search for the points beyond a hull facet descends
/// only where they may be.
class HullTree
{
public:
	explicit HullTree(const std::vector<double>& vRecords): vRec(vRecords)
	{
		const size_t num(vRec.size() / REC);
		vOrder.resize(num);
		for(size_t i = 0; i < num; ++i) vOrder[i] = static_cast<uint32_t>(i);
		if(num > 0) build(0, num);
	}

	/// Depth first, the child nearer to near first; a subtree is entered
	/// only if keep(its box) says so, and visit(record) sees every record
	/// of the leaves entered.
	template<class Keep, class Visit> void search(const double* near, Keep& keep, Visit& visit) const
	{
		if(!vNodes.empty()) descend(0, near, keep, visit);
	}

private:
	struct Node
	{
		Box box;
		size_t begin, end;
		int left, right; // -1 in a leaf
	};

	int build(size_t begin, size_t end)
	{
		const int at(static_cast<int>(vNodes.size()));
		vNodes.push_back(Node{Box{}, begin, end, -1, -1});
		Box box{{INFINITY, INFINITY, INFINITY}, {-INFINITY, -INFINITY, -INFINITY}};
		for(size_t i = begin; i < end; ++i)
		{
			const double* p(&vRec[REC * vOrder[i]]);
			for(int a = 0; a < 3; ++a)
			{
				box.lo[a] = std::min(box.lo[a], p[a]);
				box.hi[a] = std::max(box.hi[a], p[a]);
			}
		}
		vNodes[static_cast<size_t>(at)].box = box;
		if(end - begin <= 8) return at;
		int axis(0);
		for(int a = 1; a < 3; ++a)
		{
			if(box.hi[a] - box.lo[a] > box.hi[axis] - box.lo[axis]) axis = a;
		}
		const size_t mid(begin + (end - begin) / 2);
		std::nth_element(vOrder.begin() + static_cast<std::ptrdiff_t>(begin), vOrder.begin() + static_cast<std::ptrdiff_t>(mid),
			vOrder.begin() + static_cast<std::ptrdiff_t>(end),
			[&](uint32_t i, uint32_t j) { return vRec[REC * i + static_cast<size_t>(axis)] < vRec[REC * j + static_cast<size_t>(axis)]; });
		const int left(build(begin, mid));
		const int right(build(mid, end));
		vNodes[static_cast<size_t>(at)].left = left;
		vNodes[static_cast<size_t>(at)].right = right;
		return at;
	}

	static double distance2(const Box& box, const double* p)
	{
		double d2(0.0);
		for(int a = 0; a < 3; ++a)
		{
			const double g(p[a] < box.lo[a] ? box.lo[a] - p[a] : (p[a] > box.hi[a] ? p[a] - box.hi[a] : 0.0));
			d2 += g * g;
		}
		return d2;
	}

	template<class Keep, class Visit> void descend(int at, const double* near, Keep& keep, Visit& visit) const
	{
		const Node& node(vNodes[static_cast<size_t>(at)]);
		if(!keep(node.box)) return;
		if(node.left < 0)
		{
			for(size_t i = node.begin; i < node.end; ++i) visit(static_cast<size_t>(vOrder[i]));
			return;
		}
		int first(node.left), second(node.right);
		if(distance2(vNodes[static_cast<size_t>(second)].box, near) < distance2(vNodes[static_cast<size_t>(first)].box, near))
			std::swap(first, second);
		descend(first, near, keep, visit);
		descend(second, near, keep, visit);
	}

	const std::vector<double>& vRec;
	std::vector<uint32_t> vOrder;
	std::vector<Node> vNodes;
};

} // namespace vorn3dregions

#endif
