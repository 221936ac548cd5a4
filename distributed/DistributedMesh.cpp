#include "DistributedMesh.h"
#include "Clock.h"
#include "Resident.h"
#include "Transfer.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iostream>
#include <limits>
#include <streambuf>
#include <unordered_map>

namespace vorn3dmpi {

using VORN3D::Point3;
using VORN3D::Tet3;

namespace {

// A record is a point in messages: x, y, z and the global index (gidWord).
constexpr size_t REC = 4;
// A ball query: centre, radius, whether the answer may be cut, and the
// cell's four corners.
constexpr int QUERY = 17;
// The most points one answer to a ball query carries, and the most points
// inside the sphere that such an answer looks at.
constexpr size_t MAX_ANSWER = 64;
constexpr size_t MAX_FOUND = 4 * MAX_ANSWER;

// Corners of facet i (the one opposite corner i) in the order whose normal
// (b-a)x(c-a) points out of a positively oriented cell.
constexpr int OUTWARD[4][3] = {{1, 2, 3}, {0, 3, 2}, {0, 1, 3}, {0, 2, 1}};

// The library reports each bulk insertion on standard output; this program
// prints its own report instead.
class NullBuffer: public std::streambuf
{
protected:
	int overflow(int c) override { return traits_type::not_eof(c); }
};

class QuietOutput
{
public:
	QuietOutput(): pOld(std::cout.rdbuf(&null)) {}
	~QuietOutput() { std::cout.rdbuf(pOld); }

private:
	NullBuffer null;
	std::streambuf* pOld;
};

void xyz(const Point3* p, double* out)
{
	out[0] = p->x();
	out[1] = p->y();
	out[2] = p->z();
}

/// Sends vOut[q] to every process q; returns what arrived, in rank order,
/// with the number of words from each process in vCounts.
std::vector<double> exchange(MPI_Comm comm, const std::vector<std::vector<double>>& vOut, std::vector<int64_t>& vCounts)
{
	WaitClock clock;
	return exchangeWords(comm, vOut, vCounts);
}

/// The owner of every record of an exchange's answer.
std::vector<int> ownersOf(const std::vector<int64_t>& vCounts)
{
	std::vector<int> vOwner;
	for(size_t q = 0; q < vCounts.size(); ++q) vOwner.insert(vOwner.end(), static_cast<size_t>(vCounts[q]) / REC, static_cast<int>(q));
	return vOwner;
}

} // namespace

/// A uniform grid over this process's points, for the ball and box queries
/// of the other processes. It writes the points' records sorted by grid
/// cell, so that a query reads the points of a column of cells as one run
/// of memory; visit(i) names the record at position i of that order.
class PointGrid
{
public:
	/// Records (x, y, z, global index) of the points vPoints[k] with
	/// vTake[k] go to vRecords.
	PointGrid(const std::vector<Point3>& vPoints, const std::vector<int64_t>& vGid, const std::vector<char>& vTake,
		std::vector<double>& vRecords)
	{
		const double inf(std::numeric_limits<double>::infinity());
		size_t num(0);
		for(int a = 0; a < 3; ++a)
		{
			lo[a] = inf;
			hi[a] = -inf;
		}
		for(size_t k = 0; k < vTake.size(); ++k)
		{
			if(!vTake[k]) continue;
			++num;
			const double xyz[3] = {vPoints[k].x(), vPoints[k].y(), vPoints[k].z()};
			for(int a = 0; a < 3; ++a)
			{
				lo[a] = std::min(lo[a], xyz[a]);
				hi[a] = std::max(hi[a], xyz[a]);
			}
		}
		for(int a = 0; a < 3; ++a)
		{
			extent[a] = num == 0 ? 0.0 : hi[a] - lo[a];
			margin[a] = num == 0 ? 0.0 : 1e-9 * (std::fabs(lo[a]) + std::fabs(hi[a]));
		}
		// About two points per grid cell, cells as cubic as the box allows.
		const double volume(std::max(extent[0], 1e-300) * std::max(extent[1], 1e-300) * std::max(extent[2], 1e-300));
		const double side(std::cbrt(volume / std::max<double>(1.0, static_cast<double>(num) / 2.0)));
		for(int a = 0; a < 3; ++a)
		{
			dims[a] = static_cast<long>(std::min(1024.0, std::max(1.0, std::floor(extent[a] / side))));
			scale[a] = extent[a] > 0.0 ? static_cast<double>(dims[a]) / extent[a] : 0.0;
		}
		// A counting sort by cell: vStart[c + 1] counts the points of cell
		// c, then the sums make vStart[c] the first position of cell c. The
		// placement moves each vStart[c] to the end of its cell, so a shift
		// by one brings the starts back.
		const size_t numCells(static_cast<size_t>(dims[0] * dims[1] * dims[2]));
		reserveResident(vStart, numCells + 1);
		vStart.assign(numCells + 1, 0);
		for(size_t k = 0; k < vTake.size(); ++k)
		{
			if(vTake[k]) ++vStart[cellOf(vPoints[k]) + 1];
		}
		for(size_t c = 1; c <= numCells; ++c) vStart[c] += vStart[c - 1];
		reserveResident(vRecords, REC * num);
		vRecords.resize(REC * num);
		for(size_t k = 0; k < vTake.size(); ++k)
		{
			if(!vTake[k]) continue;
			double* pTo(&vRecords[REC * vStart[cellOf(vPoints[k])]++]);
			pTo[0] = vPoints[k].x();
			pTo[1] = vPoints[k].y();
			pTo[2] = vPoints[k].z();
			pTo[3] = gidWord(vGid[k]);
		}
		for(size_t c = numCells; c > 0; --c) vStart[c] = vStart[c - 1];
		vStart[0] = 0;
	}

	/// Calls visit(i) for every point in the grid cells that meet the box,
	/// until a visit returns false.
	template<class Visit, class Next> void visitBox(const Box& box, Visit visit, Next next) const
	{
		long from[3], to[3];
		for(int a = 0; a < 3; ++a)
		{
			if(!(box.hi[a] >= lo[a] && box.lo[a] <= lo[a] + extent[a])) return;
			from[a] = index(box.lo[a], a);
			to[a] = index(box.hi[a], a);
		}
		for(long i = from[0]; i <= to[0]; ++i)
			for(long j = from[1]; j <= to[1]; ++j)
				if(!visitColumn(i, j, from[2], to[2], visit, next)) return;
	}

	/// Calls visit(i) for every point in the grid cells that may meet the
	/// ball of centre c and radius r, until a visit returns false: column by
	/// column, so that a large sphere that only grazes the points costs a
	/// sweep over its cap.
	template<class Visit, class Next> void visitBall(const double* c, double r, Visit visit, Next next) const
	{
		if(std::isinf(r)) return visitBox(Box{{-r, -r, -r}, {r, r, r}}, visit, next);
		const Box box{{c[0] - r, c[1] - r, c[2] - r}, {c[0] + r, c[1] + r, c[2] + r}};
		long from[2], to[2];
		for(int a = 0; a < 2; ++a)
		{
			if(!(box.hi[a] >= lo[a] && box.lo[a] <= lo[a] + extent[a])) return;
			from[a] = index(box.lo[a], a);
			to[a] = index(box.hi[a], a);
		}
		const auto gap([&](long i, int a) {
			// Distance from c to the points of grid slab i of axis a: the
			// outer slabs end at the extreme coordinates (index() clamps to
			// them), and every bound is moved outwards by a margin for the
			// rounding of the bounds and of index().
			const double slabLo(i == 0 ? lo[a] : lo[a] + static_cast<double>(i) / scale[a]);
			const double slabHi(i == dims[a] - 1 ? hi[a] : lo[a] + static_cast<double>(i + 1) / scale[a]);
			const double g(c[a] < slabLo ? slabLo - c[a] : (c[a] > slabHi ? c[a] - slabHi : 0.0));
			return std::max(0.0, g - margin[a]);
		});
		for(long i = from[0]; i <= to[0]; ++i)
		{
			const double gx(gap(i, 0));
			// The slabs of axis 1 that the ball's section at slab i meets
			// (a huge sphere meets a thin lens of the grid, and most columns
			// of its bounding box would be tried in vain).
			const double restX((r * r - gx * gx) + 1e-12 * r * r);
			if(restX < 0.0) continue;
			long j0(from[1]), j1(to[1]);
			if(restX < INFINITY)
			{
				const double hy(std::sqrt(restX) * (1.0 + 1e-12) + margin[1]);
				j0 = std::max(j0, index(c[1] - hy, 1));
				j1 = std::min(j1, index(c[1] + hy, 1));
			}
			for(long j = j0; j <= j1; ++j)
			{
				const double gy(gap(j, 1));
				// Widened a little for the rounding of the slab bounds.
				const double rest((r * r - gx * gx - gy * gy) + 1e-12 * r * r);
				if(rest < 0.0) continue; // a NaN (inf - inf) goes on, below
				// An overflowing square (a sphere of astronomic size) takes
				// the whole column.
				const double h(rest < INFINITY ? std::sqrt(rest) * (1.0 + 1e-12) : INFINITY);
				if(!visitColumn(i, j, index(c[2] - h, 2), h < INFINITY ? index(c[2] + h, 2) : dims[2] - 1, visit, next)) return;
			}
		}
	}

private:
	/// The cells k0..k1 of column (i, j) are consecutive in the order;
	/// next(n) skips to the first position from n on that may be visited.
	template<class Visit, class Next> bool visitColumn(long i, long j, long k0, long k1, Visit& visit, Next& next) const
	{
		const size_t first(static_cast<size_t>((i * dims[1] + j) * dims[2]));
		const size_t end(vStart[first + static_cast<size_t>(k1) + 1]);
		for(size_t n = next(vStart[first + static_cast<size_t>(k0)]); n < end; n = next(n + 1))
		{
			if(!visit(n)) return false;
		}
		return true;
	}
	long index(double value, int a) const
	{
		const double cell(std::floor((value - lo[a]) * scale[a]));
		if(!(cell > 0.0)) return 0; // also NaN and -infinity
		return cell >= static_cast<double>(dims[a] - 1) ? dims[a] - 1 : static_cast<long>(cell);
	}
	size_t cellOf(const Point3& p) const
	{
		return static_cast<size_t>((index(p.x(), 0) * dims[1] + index(p.y(), 1)) * dims[2] + index(p.z(), 2));
	}

	double lo[3], hi[3], extent[3], scale[3], margin[3];
	long dims[3];
	std::vector<size_t> vStart;
};

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

/// Finds the own points around which every Delaunay cell is small. The box
/// is cut into cells of about eight points each; call a point deep when
/// every grid cell within rho of it holds a point, where rho exceeds a grid
/// cell's diagonal. A cell of a Delaunay mesh of these points (and any
/// others) with a deep corner v has a circumradius below rho: were it rho
/// or more, the ball of radius rho inside its circumsphere and touching it
/// at v would hold a whole grid cell, with the point in it, against the
/// empty circumsphere. So the cell's circumsphere lies in the ball of
/// radius 2 rho around v. The same ball beyond a hull facet at v shows that
/// a deep point is on no hull facet.
class DeepPoints
{
public:
	/// vPoints[0, num): the points, inside box. quiet(b) tells whether the
	/// points of all other processes inside box b are here already; a grid
	/// cell is deep only if its box, widened by twice rho, is quiet.
	template<class Quiet>
	DeepPoints(const std::vector<Point3>& vPoints, size_t num, const Box& box, Quiet quiet): rho(0.0), bUsable(false)
	{
		const size_t perCell(8);
		double volume(1.0), scaleOfCoordinates(0.0);
		for(int a = 0; a < 3; ++a)
		{
			lo[a] = box.lo[a];
			volume *= box.hi[a] - box.lo[a];
			scaleOfCoordinates = std::max({scaleOfCoordinates, std::fabs(box.lo[a]), std::fabs(box.hi[a])});
		}
		// Too few points, or flat ones, for a grid whose cells are full.
		if(!(volume > 0.0) || num < 27 * perCell) return;
		const double side(std::cbrt(volume / static_cast<double>(num / perCell)));
		double diagonal2(0.0);
		for(int a = 0; a < 3; ++a)
		{
			const double extent(box.hi[a] - box.lo[a]);
			dims[a] = static_cast<long>(std::min(1024.0, std::max(1.0, std::floor(extent / side))));
			scale[a] = static_cast<double>(dims[a]) / extent;
			const double cellSide(extent / static_cast<double>(dims[a]));
			diagonal2 += cellSide * cellSide;
		}
		// A margin for the rounding of the grid and of the coordinates.
		rho = std::sqrt(diagonal2) * (1.0 + 1e-6) + 1e-12 * scaleOfCoordinates;
		std::vector<char> vFull(static_cast<size_t>(dims[0] * dims[1] * dims[2]), 0);
		for(size_t k = 0; k < num; ++k) vFull[cellOf(vPoints[k])] = 1;
		// The grid cells that meet a ball of radius rho around a point of
		// cell c lie within reach[a] cells of c along axis a, also when the
		// point's cell was rounded to a neighbour. A grid cell is kept when
		// all within that reach are full (and inside the grid): three passes
		// of a minimum over a window, one per axis.
		const long step[3] = {dims[1] * dims[2], dims[2], 1};
		std::vector<long> vEmpty;
		for(int a = 0; a < 3; ++a)
		{
			const long reach(static_cast<long>(std::floor(rho * scale[a] + 1e-6)) + 1);
			if(dims[a] < 2 * reach + 1) return; // no cell is deep
			const int b((a + 1) % 3), c((a + 2) % 3);
			vEmpty.resize(static_cast<size_t>(dims[a] + 1));
			for(long i = 0; i < dims[b]; ++i)
				for(long j = 0; j < dims[c]; ++j)
				{
					const long base(i * step[b] + j * step[c]);
					const auto at([&](long k) -> char& { return vFull[static_cast<size_t>(base + k * step[a])]; });
					// vEmpty[k]: the empty cells before k on this line.
					vEmpty[0] = 0;
					for(long k = 0; k < dims[a]; ++k) vEmpty[static_cast<size_t>(k + 1)] = vEmpty[static_cast<size_t>(k)] + (at(k) ? 0 : 1);
					for(long k = 0; k < dims[a]; ++k)
					{
						at(k) = k >= reach && k + reach < dims[a] &&
							vEmpty[static_cast<size_t>(k + reach + 1)] == vEmpty[static_cast<size_t>(k - reach)];
					}
				}
		}
		const double margin(1e-12 * scaleOfCoordinates);
		for(long i = 0; i < dims[0]; ++i)
			for(long j = 0; j < dims[1]; ++j)
				for(long k = 0; k < dims[2]; ++k)
				{
					char& deep(vFull[static_cast<size_t>(i * step[0] + j * step[1] + k)]);
					if(!deep) continue;
					const long at[3] = {i, j, k};
					Box around;
					for(int a = 0; a < 3; ++a)
					{
						around.lo[a] = lo[a] + static_cast<double>(at[a]) / scale[a] - 2.0 * rho - margin;
						around.hi[a] = lo[a] + static_cast<double>(at[a] + 1) / scale[a] + 2.0 * rho + margin;
					}
					deep = quiet(around) ? 1 : 0;
				}
		vDeep.swap(vFull);
		bUsable = true;
	}

	bool isDeep(const Point3& p) const { return bUsable && vDeep[cellOf(p)] != 0; }

private:
	long index(double value, int a) const
	{
		const double cell(std::floor((value - lo[a]) * scale[a]));
		if(!(cell > 0.0)) return 0;
		return cell >= static_cast<double>(dims[a] - 1) ? dims[a] - 1 : static_cast<long>(cell);
	}
	size_t cellOf(const Point3& p) const
	{
		return static_cast<size_t>((index(p.x(), 0) * dims[1] + index(p.y(), 1)) * dims[2] + index(p.z(), 2));
	}

	double lo[3], scale[3];
	long dims[3];
	double rho;
	bool bUsable;
	std::vector<char> vDeep;
};

DistributedMesh::DistributedMesh(MPI_Comm comm_, const std::vector<Box>& vBoxes_):
	comm(comm_), rank(0), size(1), vBoxes(vBoxes_), fetched{{0.0, 0.0, 0.0}, {-1.0, -1.0, -1.0}}, numOwnSlots(0), bAllNew(true), roundStamp(-1),
	pGrid(nullptr), pHullTree(nullptr), numUnbounded(0)
{
	MPI_Comm_rank(comm, &rank);
	MPI_Comm_size(comm, &size);
	vUnsentTo.resize(static_cast<size_t>(size));
	// Every process breaks the ties of degenerate input (a point exactly on
	// a circumsphere, or in the plane of a hull facet and on its circle) by
	// the same symbolic perturbation, which depends on coordinates alone.
	// The queries send points on a sphere or in a hull plane along with
	// those inside, so a cell certified here is a cell of the perturbed
	// mesh of all points, and neighbouring processes agree on shared facets.
	dt.setPerturbation(true);
}

DistributedMesh::~DistributedMesh()
{
	delete pGrid;
	delete pHullTree;
}

long DistributedMesh::insertRecords(const std::vector<double>& vRecords, const std::vector<int>& vOwner)
{
	const size_t firstSlot(vSlotGid.size());
	std::vector<Point3> vNew;
	vNew.reserve(vOwner.size());
	vSlotGid.reserve(firstSlot + vOwner.size());
	vSlotOwner.reserve(firstSlot + vOwner.size());
	for(size_t r = 0; r < vOwner.size(); ++r)
	{
		const double* pRec(&vRecords[REC * r]);
		const int64_t gid(gidOfWord(pRec[3]));
		if(vOwner[r] != rank && !ghostGids.insert(gid).second) continue;
		vSlotGid.push_back(gid);
		vSlotOwner.push_back(vOwner[r]);
		vNew.emplace_back(pRec[0], pRec[1], pRec[2]);
	}
	if(vNew.empty()) return 0;
	std::vector<Point3*> vHandles;
	{
		QuietOutput quiet;
		dt.insert(vNew, vHandles);
	}
	for(size_t k = 0; k < vHandles.size(); ++k)
	{
		if(vHandles[k]->getIndex() >= 0) continue; // a copy of an earlier point
		vHandles[k]->setIndex(static_cast<int>(firstSlot + k));
		vNewVertices.push_back(vHandles[k]);
	}
	return static_cast<long>(vNew.size());
}

long DistributedMesh::triangulateOwn(std::vector<Point3>& vPoints, const std::vector<int64_t>& vGid,
	const std::vector<int>& vOwner)
{
	// The own points come first and so take the first slots.
	numOwnSlots = static_cast<int>(std::count(vOwner.begin(), vOwner.end(), rank));
	reserveResident(vSlotGid, vGid.size());
	vSlotGid.assign(vGid.begin(), vGid.end());
	reserveResident(vSlotOwner, vOwner.size());
	vSlotOwner.assign(vOwner.begin(), vOwner.end());
	for(size_t k = static_cast<size_t>(numOwnSlots); k < vGid.size(); ++k) ghostGids.insert(vGid[k]);
	std::vector<Point3*> vHandles;
	reserveResident(vHandles, vPoints.size());
	{
		QuietOutput quiet;
		dt.insert(vPoints, vHandles);
	}
	// Each distinct own point once, with the smallest global index of its
	// copies (the first copy, as the indices increase); the vertices of the
	// other processes' points; the lowest point.
	std::vector<char> vFirst(static_cast<size_t>(numOwnSlots), 0);
	std::vector<Point3*> vOthers;
	size_t lowest(0);
	const auto lower([&](size_t i, size_t j) {
		const Point3& p(vPoints[i]);
		const Point3& q(vPoints[j]);
		return p.x() != q.x() ? p.x() < q.x() : (p.y() != q.y() ? p.y() < q.y() : p.z() < q.z());
	});
	for(size_t k = 0; k < vHandles.size(); ++k)
	{
		if(vHandles[k]->getIndex() >= 0) continue; // a copy of an earlier point
		vHandles[k]->setIndex(static_cast<int>(k));
		if(k < static_cast<size_t>(numOwnSlots)) vFirst[k] = 1;
		else vOthers.push_back(vHandles[k]);
		if(lower(k, lowest)) lowest = k;
	}
	// One process alone has nobody to answer or ask: the rest prepares the
	// rounds.
	if(size == 1) return 0;
	pGrid = new PointGrid(vPoints, vGid, vFirst, vOwnRecords);
	if(!vOwnRecords.empty()) fetched = ghostLayer();

	// The first round looks only at the cells with a corner that is not
	// deep (below, the vertices it starts from); the others need no query.
	{
		const DeepPoints deep(vPoints, static_cast<size_t>(numOwnSlots), vBoxes[rank], [&](const Box& box) {
			for(int q = 0; q < size; ++q)
			{
				if(q != rank && boxesMeet(box, vBoxes[q]) && !boxPartCovered(box, vBoxes[q], fetched)) return false;
			}
			return true;
		});
		vDeep.assign(static_cast<size_t>(numOwnSlots), 0);
		for(size_t k = 0; k < static_cast<size_t>(numOwnSlots); ++k)
		{
			if(vHandles[k]->getIndex() != static_cast<int>(k)) continue;
			if(deep.isDeep(vPoints[k])) vDeep[k] = 1;
			else vNewVertices.push_back(vHandles[k]);
		}
		vNewVertices.insert(vNewVertices.end(), vOthers.begin(), vOthers.end());
	}

	// Any point of this process beyond a plane implies one of its hull
	// vertices beyond it; without a cell every vertex counts as one. A hull
	// vertex of the own points is on a hull facet of this mesh, or hidden
	// behind the other processes' points and then (its Voronoi cell, open
	// before, now closed by theirs) their neighbour: the own corners of the
	// cells at such points are taken as well. Should a degenerate input
	// leave one out, the facet check finds the hull facet it leaves open.
	// The hull facets are found by a walk over the hull surface from its
	// lowest vertex, through the stars of the hull vertices.
	std::vector<double> vHull;
	if(dt.is3D())
	{
		std::vector<char> vTaken(vSlotGid.size(), 0), vSeen(vSlotGid.size(), 0);
		const auto take([&](const Point3* pVtx) {
			char& taken(vTaken[static_cast<size_t>(pVtx->getIndex())]);
			if(taken || !isOwn(pVtx)) return;
			taken = 1;
			vHull.insert(vHull.end(), {pVtx->x(), pVtx->y(), pVtx->z(), gidWord(gidOf(pVtx))});
		});
		std::vector<Point3*> vQueue(1, vHandles[lowest]);
		vSeen[static_cast<size_t>(vQueue[0]->getIndex())] = 1;
		take(vQueue[0]);
		std::vector<Tet3*> vStar;
		while(!vQueue.empty())
		{
			Point3* pVtx(vQueue.back());
			vQueue.pop_back();
			vStar.clear();
			dt.getTetsAroundVertex(pVtx, vStar);
			for(const Tet3* pTet : vStar)
			{
				for(int i = 0; i < 4; ++i)
				{
					// A hull facet of this vertex: the other corners are on the hull.
					if(pTet->getOppTet(i) != nullptr || pTet->getCorner(i) == pVtx) continue;
					for(int k = 0; k < 3; ++k)
					{
						Point3* pNext(pTet->getCorner(OUTWARD[i][k]));
						char& seen(vSeen[static_cast<size_t>(pNext->getIndex())]);
						if(seen) continue;
						seen = 1;
						take(pNext);
						vQueue.push_back(pNext);
					}
				}
			}
		}
		for(Point3* pVtx : vOthers)
		{
			vStar.clear();
			dt.getTetsAroundVertex(pVtx, vStar);
			for(const Tet3* pTet : vStar)
			{
				for(int i = 0; i < 4; ++i) take(pTet->getCorner(i));
			}
		}
	}
	else vHull = vOwnRecords;

	std::vector<int64_t> vCounts;
	WaitClock clock;
	const std::vector<double> vAll(allGatherWords(comm, vHull, vCounts));
	const std::vector<int> vAllOwner(ownersOf(vCounts));
	for(size_t r = 0; r < vAllOwner.size(); ++r)
	{
		if(vAllOwner[r] == rank) continue; // our own hull stays out
		vHullRecords.insert(vHullRecords.end(), &vAll[REC * r], &vAll[REC * r] + REC);
		vHullOwner.push_back(vAllOwner[r]);
	}
	pHullTree = new HullTree(vHullRecords);
	// A process whose points span no tetrahedron needs a point off their plane.
	if(!dt.is3D()) insertRecords(vHullRecords, vHullOwner);
	return static_cast<long>(vHullOwner.size());
}

bool DistributedMesh::answerBall(int q, const Ball& ball, const double* pCorners, bool bLimited, std::vector<double>& vReply)
{
	std::vector<uint32_t>& vUnsent(unsentTo(q));
	const auto next([&](size_t i) { return nextUnsent(vUnsent, i); });
	std::vector<std::pair<double, size_t>>& vFound(vCandidates);
	vFound.clear();
	const double r(reach(ball)), r2(r * r);
	const SphereFilter filter(pCorners);
	// A large sphere (a flat cell near the hull, or nearly cospherical
	// points) may hold many points; any one of them removes the cell, so
	// with bLimited the deepest few of the first MAX_FOUND go now, and the
	// cell asks once more, for all the rest, if it survives them.
	grid().visitBall(ball.c, r, [&](size_t i) {
		// Up to the rounding of the distance, as the ball's reach allows
		// (an infinite ball takes every point).
		const double* p(&vOwnRecords[REC * i]);
		const double dx(p[0] - ball.c[0]), dy(p[1] - ball.c[1]), dz(p[2] - ball.c[2]);
		const double dist2(dx * dx + dy * dy + dz * dz);
		if(!(dist2 <= r2) && r2 < INFINITY) return true;
		// The ball is wider than the sphere; points surely outside stay.
		if(filter.side(p) < 0) return true;
		vFound.emplace_back(dist2, i);
		return !bLimited || vFound.size() < MAX_FOUND;
	}, next);
	const bool bTruncated(bLimited && vFound.size() > MAX_ANSWER);
	if(bTruncated)
	{
		std::partial_sort(vFound.begin(), vFound.begin() + MAX_ANSWER, vFound.end());
		vFound.resize(MAX_ANSWER);
	}
	for(const auto& found : vFound)
	{
		vUnsent[found.second] = static_cast<uint32_t>(found.second + 1);
		vReply.insert(vReply.end(), &vOwnRecords[REC * found.second], &vOwnRecords[REC * found.second] + REC);
	}
	return bTruncated;
}

void DistributedMesh::answerBox(int q, const Box& box, std::vector<double>& vReply)
{
	std::vector<uint32_t>& vUnsent(unsentTo(q));
	grid().visitBox(box, [&](size_t i) {
		const double* p(&vOwnRecords[REC * i]);
		for(int a = 0; a < 3; ++a)
		{
			if(p[a] < box.lo[a] || p[a] > box.hi[a]) return true;
		}
		vUnsent[i] = static_cast<uint32_t>(i + 1);
		vReply.insert(vReply.end(), p, p + REC);
		return true;
	}, [&](size_t i) { return nextUnsent(vUnsent, i); });
}

std::vector<uint32_t>& DistributedMesh::unsentTo(int q)
{
	std::vector<uint32_t>& vUnsent(vUnsentTo[static_cast<size_t>(q)]);
	if(vUnsent.empty())
	{
		vUnsent.resize(vOwnRecords.size() / REC + 1);
		for(size_t i = 0; i < vUnsent.size(); ++i) vUnsent[i] = static_cast<uint32_t>(i);
	}
	return vUnsent;
}

size_t DistributedMesh::nextUnsent(std::vector<uint32_t>& vUnsent, size_t i)
{
	// Path halving: every link followed is shortened, so that runs of sent
	// points are skipped in nearly constant time.
	while(vUnsent[i] != i)
	{
		vUnsent[i] = vUnsent[vUnsent[i]];
		i = vUnsent[i];
	}
	return i;
}

bool DistributedMesh::needsQuery(const Ball& ball, int q) const
{
	// Every point of q inside the ghost layer is here already.
	return q != rank && ballMeetsBox(ball, vBoxes[q]) && !ballPartCovered(ball, vBoxes[q], fetched);
}

Box DistributedMesh::ghostLayer() const
{
	// A few mean point spacings: enough for the circumspheres of most cells
	// near the box's sides.
	const Box& own(vBoxes[rank]);
	const size_t numOwn(vOwnRecords.size() / REC);
	double volume(1.0);
	int numAxes(0);
	for(int a = 0; a < 3; ++a)
	{
		if(own.hi[a] > own.lo[a])
		{
			volume *= own.hi[a] - own.lo[a];
			++numAxes;
		}
	}
	const double spacing(numAxes == 0 ? 0.0 : std::pow(volume / static_cast<double>(numOwn), 1.0 / numAxes));
	const double width(2.5 * spacing);
	return Box{{own.lo[0] - width, own.lo[1] - width, own.lo[2] - width}, {own.hi[0] + width, own.hi[1] + width, own.hi[2] + width}};
}

long DistributedMesh::exchangeGhostLayer()
{
	std::vector<std::vector<double>> vQueries(static_cast<size_t>(size));
	const size_t numOwn(vOwnRecords.size() / REC);
	if(numOwn > 0)
	{
		const Box& layer(fetched);
		for(int q = 0; q < size; ++q)
		{
			const Box& other(vBoxes[q]);
			bool bMeets(q != rank);
			for(int a = 0; a < 3 && bMeets; ++a) bMeets = other.lo[a] <= layer.hi[a] && other.hi[a] >= layer.lo[a];
			if(bMeets) vQueries[q].insert(vQueries[q].end(), {layer.lo[0], layer.lo[1], layer.lo[2], layer.hi[0], layer.hi[1], layer.hi[2]});
		}
	}
	std::vector<int64_t> vCounts;
	const std::vector<double> vIn(exchange(comm, vQueries, vCounts));
	std::vector<std::vector<double>> vReplies(static_cast<size_t>(size));
	size_t at(0);
	for(int q = 0; q < size; ++q)
	{
		for(int64_t k = 0; k < vCounts[q]; k += 6, at += 6)
		{
			const Box box{{vIn[at], vIn[at + 1], vIn[at + 2]}, {vIn[at + 3], vIn[at + 4], vIn[at + 5]}};
			answerBox(q, box, vReplies[q]);
		}
	}
	const std::vector<double> vPoints(exchange(comm, vReplies, vCounts));
	return insertRecords(vPoints, ownersOf(vCounts));
}

void DistributedMesh::collectBeyond(const double* a, const double* b, const double* c, std::vector<double>& vAdd,
	std::vector<int>& vAddOwner)
{
	const GrowingSphere sphere(a, b, c);
	// Once a candidate bounds the first key by firstHi, only the sphere of
	// that key needs a search; the search starts near the facet.
	double firstHi(std::numeric_limits<double>::infinity());
	std::vector<std::pair<double, size_t>>& vFound(vCandidates);
	vFound.clear();
	const auto keep([&](const Box& box) { return sphere.mayHoldKeyBelow(box, firstHi); });
	const auto visit([&](size_t r) {
		const double* p(&vHullRecords[REC * r]);
		if(ghostGids.count(gidOfWord(p[3])) != 0) return;
		double lo, hi;
		if(!sphere.keyInterval(p, lo, hi)) return;
		vFound.emplace_back(lo, r);
		firstHi = std::min(firstHi, hi);
	});
	double near[3];
	sphere.circleCentre(near);
	pHullTree->search(near, keep, visit);
	// The true first point has a key at most firstHi; every candidate that
	// may be that low is taken.
	vHullTakenInRound.resize(vHullOwner.size(), -1);
	for(const auto& candidate : vFound)
	{
		if(candidate.first > firstHi || vHullTakenInRound[candidate.second] == hullRound) continue;
		vHullTakenInRound[candidate.second] = hullRound;
		vAdd.insert(vAdd.end(), &vHullRecords[REC * candidate.second], &vHullRecords[REC * candidate.second] + REC);
		vAddOwner.push_back(vHullOwner[candidate.second]);
	}
}

long DistributedMesh::certifyRound()
{
	if(size == 1) return 0; // nobody to ask
	// A cell that a round certified stays: its answers held every point
	// inside its sphere (or it is asked again, below). So only the cells
	// created since, each with a corner inserted since, need a look.
	--roundStamp;
	++hullRound;
	std::vector<std::vector<double>> vQueries(static_cast<size_t>(size));
	std::vector<std::vector<Corners>> vAsked(static_cast<size_t>(size));
	std::vector<double> vAdd;
	std::vector<int> vAddOwner;
	// Asks for the points in the cell's sphere and beyond its hull facets.
	const auto certify([&](const Tet3* pTet, bool bRetry) {
		bool aOwned[4], bDeepCorner(false);
		double aXyz[4][3];
		for(int i = 0; i < 4; ++i)
		{
			aOwned[i] = isOwn(pTet->getCorner(i));
			bDeepCorner = bDeepCorner || isDeep(pTet->getCorner(i));
			xyz(pTet->getCorner(i), aXyz[i]);
		}
		if(!(aOwned[0] || aOwned[1] || aOwned[2] || aOwned[3])) return;
		// A deep corner bounds the sphere to a ball that needs no query
		// (and is on no hull facet, so only the sphere is skipped).
		if(!bDeepCorner)
		{
			const Ball ball(enclosingCircumball(aXyz[0], aXyz[1], aXyz[2], aXyz[3]));
			if(std::isinf(ball.radius)) ++numUnbounded;
			for(int q = 0; q < size; ++q)
			{
				if(!needsQuery(ball, q)) continue;
				vQueries[q].insert(vQueries[q].end(), {ball.c[0], ball.c[1], ball.c[2], ball.radius, bRetry ? 0.0 : 1.0});
				vQueries[q].insert(vQueries[q].end(), &aXyz[0][0], &aXyz[0][0] + 12);
				vAsked[q].push_back(Corners{{pTet->getCorner(0), pTet->getCorner(1), pTet->getCorner(2), pTet->getCorner(3)}});
			}
		}
		// Every hull facet of the cell, also one without an own corner: the
		// cell may be reported here, and its facet then counts as a hull
		// facet of the whole set.
		for(int i = 0; i < 4; ++i)
		{
			const int* f(OUTWARD[i]);
			if(pTet->getOppTet(i) == nullptr) collectBeyond(aXyz[f[0]], aXyz[f[1]], aXyz[f[2]], vAdd, vAddOwner);
		}
	});

	if(bAllNew)
	{
		// The first round: every cell with a corner that is not deep, found
		// by a walk over them from each such vertex (a vertex's star is
		// connected through the facets at it, so the walks reach them all).
		// Each cell is certified as the walk takes it, while it is at hand.
		const auto anyShallow([&](const Tet3* pTet) {
			return !isDeep(pTet->getCorner(0)) || !isDeep(pTet->getCorner(1)) || !isDeep(pTet->getCorner(2)) ||
				!isDeep(pTet->getCorner(3));
		});
		std::vector<Tet3*>& vStack(vCells);
		vStack.clear();
		for(Point3* pVtx : vNewVertices)
		{
			Tet3* pStart(pVtx->getOneTet());
			if(pStart == nullptr || pStart->getCustomIndex() == roundStamp) continue;
			pStart->setCustomIndex(roundStamp);
			vStack.push_back(pStart);
			while(!vStack.empty())
			{
				Tet3* pTet(vStack.back());
				vStack.pop_back();
				certify(pTet, false);
				for(int i = 0; i < 4; ++i)
				{
					Tet3* pNext(pTet->getOppTet(i));
					if(pNext == nullptr || pNext->getCustomIndex() == roundStamp || !anyShallow(pNext)) continue;
					pNext->setCustomIndex(roundStamp);
					vStack.push_back(pNext);
				}
			}
		}
	}
	else
	{
		// Later rounds: the cells created since the round before, each with
		// a corner inserted since.
		std::vector<Tet3*>& vStar(vCells);
		for(Point3* pVtx : vNewVertices)
		{
			vStar.clear();
			dt.getTetsAroundVertex(pVtx, vStar);
			for(Tet3* pTet : vStar)
			{
				if(pTet->getCustomIndex() == roundStamp) continue;
				pTet->setCustomIndex(roundStamp);
				certify(pTet, false);
			}
		}
	}
	bAllNew = false;
	vNewVertices.clear();
	// Cells whose answer was cut short, where they still exist.
	std::vector<Tet3*>& vAround(vCells);
	for(const Corners& cell : vRetry)
	{
		vAround.clear();
		dt.getTetsAroundVertex(cell[0], vAround);
		for(Tet3* pTet : vAround)
		{
			if(pTet->getCustomIndex() == roundStamp || !pTet->hasVertex(cell[1]) || !pTet->hasVertex(cell[2]) ||
				!pTet->hasVertex(cell[3]))
				continue;
			pTet->setCustomIndex(roundStamp);
			certify(pTet, true);
		}
	}
	vRetry.clear();

	std::vector<int64_t> vCounts;
	const std::vector<double> vIn(exchange(comm, vQueries, vCounts));
	std::vector<std::vector<double>> vReplies(static_cast<size_t>(size)), vCut(static_cast<size_t>(size));
	size_t at(0);
	for(int q = 0; q < size; ++q)
	{
		for(int64_t k = 0; k < vCounts[q] / QUERY; ++k, at += QUERY)
		{
			const Ball ball{{vIn[at], vIn[at + 1], vIn[at + 2]}, vIn[at + 3]};
			if(answerBall(q, ball, &vIn[at + 5], vIn[at + 4] != 0.0, vReplies[q])) vCut[q].push_back(k);
		}
	}
	std::vector<double> vPoints(exchange(comm, vReplies, vCounts));
	std::vector<int> vOwner(ownersOf(vCounts));
	const std::vector<double> vCutIn(exchange(comm, vCut, vCounts));
	at = 0;
	for(int q = 0; q < size; ++q)
	{
		for(int64_t k = 0; k < vCounts[q]; ++k, ++at) vRetry.push_back(vAsked[q][static_cast<size_t>(vCutIn[at])]);
	}
	vPoints.insert(vPoints.end(), vAdd.begin(), vAdd.end());
	vOwner.insert(vOwner.end(), vAddOwner.begin(), vAddOwner.end());
	return insertRecords(vPoints, vOwner);
}

int DistributedMesh::reporterOf(const Tet3* pTet) const
{
	const Point3* pMin(pTet->getCorner(0));
	for(int i = 1; i < 4; ++i)
	{
		if(gidOf(pTet->getCorner(i)) < gidOf(pMin)) pMin = pTet->getCorner(i);
	}
	return ownerOf(pMin);
}

long DistributedMesh::reportedCells(std::vector<int64_t>* pQuads)
{
	std::vector<Tet3*>& vTets(vCells);
	vTets.clear();
	// Room for about seven cells per vertex (6.8 in uniform points), made
	// resident at once; the library asks for more where more are needed.
	reserveResident(vTets, 7 * vSlotGid.size());
	dt.getTetrahedra(vTets);
	// The reporting process of each cell goes into its custom index for the
	// facet check that follows. A cell of own corners only is reported here;
	// the border cells (a corner of another process, or a hull facet) are
	// the only ones that may be reported elsewhere or lie on the hull, so
	// every facet the check needs belongs to one of them.
	vBorderTets.clear();
	long numMine(0);
	for(Tet3* pTet : vTets)
	{
		int reporter(rank);
		if(!(isOwn(pTet->getCorner(0)) && isOwn(pTet->getCorner(1)) && isOwn(pTet->getCorner(2)) &&
			   isOwn(pTet->getCorner(3))))
		{
			reporter = reporterOf(pTet);
			vBorderTets.push_back(pTet);
		}
		else if(pTet->getOppTet(0) == nullptr || pTet->getOppTet(1) == nullptr || pTet->getOppTet(2) == nullptr ||
			pTet->getOppTet(3) == nullptr)
			vBorderTets.push_back(pTet);
		pTet->setCustomIndex(reporter);
		numMine += reporter == rank;
	}
	if(pQuads == nullptr) return numMine;
	pQuads->reserve(pQuads->size() + 4 * static_cast<size_t>(numMine));
	for(const Tet3* pTet : vTets)
	{
		if(pTet->getCustomIndex() != rank) continue;
		for(int i = 0; i < 4; ++i) pQuads->push_back(gidOf(pTet->getCorner(i)));
	}
	return numMine;
}

void DistributedMesh::reportedPoints(std::vector<int64_t>& vGids, std::vector<double>& vXyz) const
{
	std::vector<std::pair<int64_t, const Point3*>> vFound;
	std::vector<char> vTaken(vSlotGid.size(), 0);
	for(const Tet3* pTet : vCells)
	{
		if(pTet->getCustomIndex() != rank) continue;
		for(int i = 0; i < 4; ++i)
		{
			const Point3* pVtx(pTet->getCorner(i));
			char& taken(vTaken[static_cast<size_t>(pVtx->getIndex())]);
			if(taken) continue;
			taken = 1;
			vFound.emplace_back(gidOf(pVtx), pVtx);
		}
	}
	std::sort(vFound.begin(), vFound.end());
	vGids.clear();
	vXyz.clear();
	vGids.reserve(vFound.size());
	vXyz.reserve(3 * vFound.size());
	for(const auto& found : vFound)
	{
		vGids.push_back(found.first);
		vXyz.insert(vXyz.end(), {found.second->x(), found.second->y(), found.second->z()});
	}
}

namespace {

struct FacetKey
{
	int64_t g[3];
	bool operator==(const FacetKey& o) const { return g[0] == o.g[0] && g[1] == o.g[1] && g[2] == o.g[2]; }
};
struct FacetHash
{
	size_t operator()(const FacetKey& k) const
	{
		return std::hash<int64_t>()(k.g[0] * 1000003 ^ k.g[1] * 998244353 ^ k.g[2]);
	}
};

/// Sorts the three indices; returns the parity of the sorting permutation,
/// which tells the side of the facet that the cell lies on.
int sortFacet(int64_t* g)
{
	int parity(0);
	if(g[0] > g[1]) std::swap(g[0], g[1]), parity ^= 1;
	if(g[1] > g[2]) std::swap(g[1], g[2]), parity ^= 1;
	if(g[0] > g[1]) std::swap(g[0], g[1]), parity ^= 1;
	return parity;
}

} // namespace

long DistributedMesh::countInconsistentFacets()
{
	if(size == 1) return 0; // one mesh is consistent
	// Every facet of a reported cell that is not shared with another cell
	// reported here goes to the owner of its smallest index, which sees all
	// records of that facet: it must have one cell on each side, or be a hull
	// facet of exactly one cell. Facets inside one process's share are
	// consistent by construction of its mesh.
	std::vector<std::vector<double>> vOut(static_cast<size_t>(size));
	const auto send([&](const Tet3* pTet, int i, bool bHull) {
		const Point3* aCorner[3] = {pTet->getCorner(OUTWARD[i][0]), pTet->getCorner(OUTWARD[i][1]),
			pTet->getCorner(OUTWARD[i][2])};
		FacetKey key{{gidOf(aCorner[0]), gidOf(aCorner[1]), gidOf(aCorner[2])}};
		const int side(sortFacet(key.g));
		const Point3* pMin(aCorner[0]);
		for(int k = 1; k < 3; ++k)
		{
			if(gidOf(aCorner[k]) < gidOf(pMin)) pMin = aCorner[k];
		}
		std::vector<double>& vTo(vOut[static_cast<size_t>(ownerOf(pMin))]);
		vTo.insert(vTo.end(), {gidWord(key.g[0]), gidWord(key.g[1]), gidWord(key.g[2]),
			static_cast<double>(side + (bHull ? 2 : 0))});
	});
	const auto isBorder([&](const Tet3* pTet) {
		for(int i = 0; i < 4; ++i)
		{
			if(!isOwn(pTet->getCorner(i)) || pTet->getOppTet(i) == nullptr) return true;
		}
		return false;
	});
	for(const Tet3* pTet : vBorderTets)
	{
		const bool bMine(pTet->getCustomIndex() == rank);
		for(int i = 0; i < 4; ++i)
		{
			const Tet3* pNext(pTet->getOppTet(i));
			if(bMine)
			{
				if(pNext == nullptr || pNext->getCustomIndex() != rank) send(pTet, i, pNext == nullptr);
			}
			else if(pNext != nullptr && pNext->getCustomIndex() == rank && !isBorder(pNext))
			{
				// A cell reported here that is no border cell itself: its side
				// of the shared facet is sent from here.
				int j(0);
				while(pNext->getOppTet(j) != pTet) ++j;
				send(pNext, j, false);
			}
		}
	}
	std::vector<int64_t> vCounts;
	const std::vector<double> vIn(exchange(comm, vOut, vCounts));
	// Per facet: the number of cells on side 0, on side 1, and of hull records.
	std::unordered_map<FacetKey, std::array<int, 3>, FacetHash> seen;
	for(size_t at = 0; at < vIn.size(); at += 4)
	{
		const FacetKey key{{gidOfWord(vIn[at]), gidOfWord(vIn[at + 1]), gidOfWord(vIn[at + 2])}};
		const int code(static_cast<int>(vIn[at + 3]));
		std::array<int, 3>& counts(seen.emplace(key, std::array<int, 3>{{0, 0, 0}}).first->second);
		++counts[code & 1];
		counts[2] += code >> 1;
	}
	long numBad(0);
	for(const auto& entry : seen)
	{
		const std::array<int, 3>& n(entry.second);
		const bool bInterior(n[0] == 1 && n[1] == 1 && n[2] == 0);
		const bool bHull(n[0] + n[1] == 1 && n[2] == 1);
		if(!bInterior && !bHull) ++numBad;
	}
	long total(0);
	WaitClock clock;
	MPI_Allreduce(&numBad, &total, 1, MPI_LONG, MPI_SUM, comm);
	return total;
}

void triangulateOnRoot(MPI_Comm comm, const std::vector<double>& vOwnRecords, std::vector<int64_t>& vQuads)
{
	int rank(0), size(1);
	MPI_Comm_rank(comm, &rank);
	MPI_Comm_size(comm, &size);
	std::vector<int64_t> vCounts;
	const std::vector<double> vAll(gatherWords(comm, 0, vOwnRecords, vCounts));
	vQuads.clear();
	if(rank != 0) return;
	std::vector<Point3> vPoints;
	for(size_t at = 0; at < vAll.size(); at += REC) vPoints.emplace_back(vAll[at], vAll[at + 1], vAll[at + 2]);
	VORN3D::Vorn_3D single;
	single.setPerturbation(true);
	std::vector<Point3*> vHandles;
	{
		QuietOutput quiet;
		single.insert(vPoints, vHandles);
	}
	// The records are distinct points, so each handle is its own vertex.
	for(size_t k = 0; k < vHandles.size(); ++k) vHandles[k]->setIndex(static_cast<int>(k));
	std::vector<Tet3*> vTets;
	single.getTetrahedra(vTets);
	for(const Tet3* pTet : vTets)
	{
		for(int i = 0; i < 4; ++i) vQuads.push_back(gidOfWord(vAll[REC * static_cast<size_t>(pTet->getCorner(i)->getIndex()) + 3]));
	}
}

} // namespace vorn3dmpi
