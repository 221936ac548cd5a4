// The cells of a tetrahedralisation in a spatial order: collected from the
// mesh, or copied into the working rows of the Voronoi pass from the mesh
// or from flat arrays, all along a Morton curve of grid boxes.
#include "Dual3.h"
#include "FlatCells3.h"
#include "LocalCells3.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>

namespace VORN3D {

namespace {

/// Boxes of a grid over a bounding box, numbered along a Morton curve, for
/// about perBox items per box. Cells in any order within a box want small
/// boxes: a few hundred cells are a few tens of kilobytes, which stay in
/// the cache while the box is worked through. Cells in the order of a
/// flood within each box do well with boxes of some ten thousand: under a
/// megabyte of rows and centres, and few rings cross into the next boxes.
class MortonGrid
{
public:
	MortonGrid(size_t numItems, const double lo[3], const double hi[3], double perBox = 512.0)
	{
		const double boxes(std::max(1.0, static_cast<double>(numItems) / perBox));
		bits = std::min(10, std::max(1, static_cast<int>(std::lround(std::log2(boxes) / 3.0))));
		for(int k = 0; k < 3; ++k)
		{
			origin[k] = lo[k];
			scale[k] = hi[k] > lo[k] ? ((1 << bits) - 0.5) / (hi[k] - lo[k]) : 0.0;
		}
		for(uint32_t v = 0; v < (1u << bits); ++v)
		{
			// The low bits of v spread to every third bit.
			aSpread[v] = 0;
			for(int b = 0; b < bits; ++b) aSpread[v] |= ((v >> b) & 1u) << (3 * b);
		}
	}
	size_t numBoxes() const { return size_t(1) << (3 * bits); }
	uint32_t box(double x, double y, double z) const
	{
		return aSpread[cell(x, 0)] | aSpread[cell(y, 1)] << 1 | aSpread[cell(z, 2)] << 2;
	}

private:
	uint32_t cell(double c, int k) const
	{
		const double v((c - origin[k]) * scale[k]);
		// Points outside the bounding box (or not numbers) go to its border.
		const double top((1 << bits) - 1);
		return static_cast<uint32_t>(v >= 0.0 ? std::min(v, top) : 0.0);
	}
	int bits;
	double origin[3], scale[3];
	uint32_t aSpread[1 << 10];
};

/// Replaces the box of each item by the item's position in the order of the
/// boxes (a counting sort: two linear passes, no second array).
void sortByBox(const MortonGrid& grid, std::vector<uint32_t>& vBox)
{
	std::vector<size_t> vStart(grid.numBoxes() + 1, 0);
	for(uint32_t box : vBox) ++vStart[box + 1];
	for(size_t b = 1; b < vStart.size(); ++b) vStart[b] += vStart[b - 1];
	for(uint32_t& box : vBox) box = static_cast<uint32_t>(vStart[box]++);
}

/// Orders the cells by the box that holds their first corner, clears their
/// visited flags and, with bRenumber, numbers them in the new order. The
/// pool's memory order does not keep neighbours together, as the kernel
/// reuses the memory of removed cells.
void sortSpatially(std::vector<Tet3*>& vCells, const std::vector<Point3*>& vVertices, bool bRenumber)
{
	double lo[3] = {HUGE_VAL, HUGE_VAL, HUGE_VAL}, hi[3] = {-HUGE_VAL, -HUGE_VAL, -HUGE_VAL};
	for(const Point3* p : vVertices)
	{
		const double c[3] = {p->x(), p->y(), p->z()};
		for(int k = 0; k < 3; ++k)
		{
			lo[k] = std::min(lo[k], c[k]);
			hi[k] = std::max(hi[k], c[k]);
		}
	}
	const MortonGrid grid(vCells.size(), lo, hi);
	std::vector<uint32_t> vBox(vCells.size());
	for(size_t i = 0; i < vCells.size(); ++i)
	{
		Tet3* pTet(vCells[i]);
		pTet->hasBeenVisited = false;
		const Point3* p(pTet->getCorner(0));
		vBox[i] = grid.box(p->x(), p->y(), p->z());
	}
	sortByBox(grid, vBox);
	const std::vector<uint32_t>& vPosition(vBox);
	std::vector<Tet3*> vSorted(vCells.size());
	for(size_t i = 0; i < vCells.size(); ++i)
	{
		vSorted[static_cast<size_t>(vPosition[i])] = vCells[i];
		if(bRenumber) vCells[i]->setCustomIndex(static_cast<int>(vPosition[i]));
	}
	vCells.swap(vSorted);
}


} // namespace

namespace flat {

/// Local cells from mesh cells in a spatial order (collectCells), numbered
/// 0..m-1 by their custom index.
void localFromMesh(const std::vector<Tet3*>& vCells, int32_t numPoints, LocalCells& local)
{
	const size_t m(vCells.size());
	std::vector<int32_t> vLocalOf(local.reserve(m, numPoints));
	for(size_t k = 0; k < m; ++k)
	{
		const Tet3* pTet(vCells[k]);
		// The numbers are kept only from the first that is not the row.
		const int32_t number(pTet->getCustomIndex());
		if(number != static_cast<int32_t>(k) && local.vCellNumber.empty())
		{
			local.vCellNumber.resize(m);
			for(size_t j = 0; j < k; ++j) local.vCellNumber[j] = static_cast<int32_t>(j);
		}
		if(!local.vCellNumber.empty()) local.vCellNumber[k] = number;
		for(int i = 0; i < 4; ++i)
		{
			const Point3* p(pTet->getCorner(i));
			const double aXyz[3] = {p->x(), p->y(), p->z()};
			local.vRows.push_back(local.localPoint(vLocalOf, p->getIndex(), aXyz));
		}
		for(int i = 0; i < 4; ++i)
		{
			const Tet3* pOpp(pTet->getOppTet(i));
			local.vRows.push_back(pOpp != nullptr ? pOpp->getCustomIndex() : -1);
		}
	}
	if(local.vCellNumber.empty()) return;
	// The neighbours are named by their numbers: turn them into rows.
	std::vector<int32_t> vRow(m);
	for(size_t k = 0; k < m; ++k) vRow[static_cast<size_t>(local.vCellNumber[k])] = static_cast<int32_t>(k);
	for(size_t j = 0; j < local.vRows.size(); j += 8)
		for(size_t i = 4; i < 8; ++i)
		{
			int32_t& opp(local.vRows[j + i]);
			if(opp >= 0) opp = vRow[static_cast<size_t>(opp)];
		}
}

namespace {

/// A hint to the memory system; nothing depends on it but the time.
inline void prefetch(const void* p)
{
#if defined(__GNUC__)
	__builtin_prefetch(p);
#else
	(void)p;
#endif
}

/// Asks for what reading the neighbours of pTet touches: their flags and
/// numbers, the first and the last bytes of a cell.
inline void prefetchNeighbours(const Tet3* pTet)
{
	for(int i = 0; i < 4; ++i)
	{
		const Tet3* pOpp(pTet->getOppTet(i));
		if(pOpp == nullptr) continue;
		prefetch(pOpp);
		prefetch(reinterpret_cast<const char*>(pOpp + 1) - 1);
	}
}

/// The cells of a search lie all over the kernel's pool, and waiting for
/// each read in turn would cost most of a pass over them. The work on
/// vQueue[b] asks ahead for the cell 16 places on and for the neighbours
/// of the cell 8 places on (asked for before).
void prefetchAhead(const std::vector<Tet3*>& vQueue, size_t b)
{
	if(b + 16 < vQueue.size()) prefetch(vQueue[b + 16]);
	if(b + 8 < vQueue.size()) prefetchNeighbours(vQueue[b + 8]);
}

} // namespace

namespace {

/// Cells found but not yet written, in one first-in first-out list per box
/// of the grid: vCells holds them in the order found, vNext links each to
/// the next of its box (-1 at the end). The custom index of a listed cell
/// is -1 and its visited flag is set.
class BoxLists
{
public:
	BoxLists(const MortonGrid& grid_, size_t guess) :
		grid(grid_), vHead(grid_.numBoxes(), -1), vTail(grid_.numBoxes(), -1)
	{
		flat::reserveLarge(vCells, guess);
		flat::reserveLarge(vNext, guess);
	}

	size_t numFound() const { return vCells.size(); }

	/// Lists pTet in the box of its first corner.
	void add(Tet3* pTet)
	{
		if(vCells.size() == static_cast<size_t>(std::numeric_limits<int32_t>::max()))
		{
			for(Tet3* p : vCells) p->hasBeenVisited = false;
			throw std::invalid_argument("Voronoi3::compute(): more cells than 32-bit vertex numbers can name");
		}
		const Point3* p(pTet->getCorner(0));
		const uint32_t box(grid.box(p->x(), p->y(), p->z()));
		const int32_t k(static_cast<int32_t>(vCells.size()));
		pTet->hasBeenVisited = true;
		pTet->setCustomIndex(-1);
		vCells.push_back(pTet);
		vNext.push_back(-1);
		if(vTail[box] >= 0)
			vNext[static_cast<size_t>(vTail[box])] = k;
		else
			vHead[box] = k;
		vTail[box] = k;
	}

	/// Takes the first cell of a box; null where the box has none.
	Tet3* take(uint32_t box)
	{
		const int32_t k(vHead[box]);
		if(k < 0) return nullptr;
		vHead[box] = vNext[static_cast<size_t>(k)];
		if(vHead[box] < 0) vTail[box] = -1;
		return vCells[static_cast<size_t>(k)];
	}

	const MortonGrid& grid;

private:
	std::vector<Tet3*> vCells;
	std::vector<int32_t> vNext, vHead, vTail;
};

/// Up to 16 cells taken from a box ahead of their turn, so that their
/// memory can be asked for in time: a cell when it is taken, its
/// neighbours and corners 8 turns before its own, the local numbers of
/// its corners 4 turns before.
class TakeAhead
{
public:
	TakeAhead(BoxLists& lists_, const std::vector<int32_t>& vLocalOf_) : lists(lists_), vLocalOf(vLocalOf_) {}

	/// The next cell of the box, or null once it has none.
	Tet3* next(uint32_t box)
	{
		while(numHeld < 16)
		{
			Tet3* pTet(lists.take(box));
			if(pTet == nullptr) break;
			prefetch(pTet);
			aHeld[(first + numHeld++) & 15] = pTet;
		}
		if(numHeld == 0) return nullptr;
		Tet3* pTet(aHeld[first]);
		first = (first + 1) & 15;
		--numHeld;
		if(numHeld > 8)
		{
			const Tet3* pAhead(aHeld[(first + 7) & 15]);
			prefetchNeighbours(pAhead);
			for(int i = 0; i < 4; ++i) prefetch(pAhead->getCorner(i));
		}
		if(numHeld > 4)
		{
			const Tet3* pAhead(aHeld[(first + 3) & 15]);
			for(int i = 0; i < 4; ++i) prefetch(&vLocalOf[static_cast<size_t>(pAhead->getCorner(i)->getIndex())]);
		}
		return pTet;
	}

private:
	BoxLists& lists;
	const std::vector<int32_t>& vLocalOf;
	Tet3* aHeld[16];
	int first = 0, numHeld = 0;
};

} // namespace

/// Local cells straight from the mesh, each read once, numbered 0..m-1
/// (custom index) in the order of their rows. A flood from the cell of the
/// first box writes the cells box by box along the Morton curve: a cell is
/// listed in the box of its first corner when a neighbour finds it, and
/// written, with its number, when its box comes. A neighbour written
/// before gives its row at once and gets this cell's in return; one not yet
/// written gets it when it is. The visited flags mark the cells listed;
/// each is cleared when the last neighbour of its cell is written.
void localFromDt(const Vorn_3D& dt, int32_t numPoints, LocalCells& local)
{
	std::vector<Point3*> vVertices;
	dt.getVertices(vVertices);
	double lo[3] = {HUGE_VAL, HUGE_VAL, HUGE_VAL}, hi[3] = {-HUGE_VAL, -HUGE_VAL, -HUGE_VAL};
	for(const Point3* p : vVertices)
	{
		if(p->getOneTet() == nullptr) continue;
		const double c[3] = {p->x(), p->y(), p->z()};
		for(int k = 0; k < 3; ++k)
		{
			lo[k] = std::min(lo[k], c[k]);
			hi[k] = std::max(hi[k], c[k]);
		}
	}
	// A tetrahedralisation has about 6.7 cells per vertex.
	const size_t guess(7 * vVertices.size() + 16);
	const MortonGrid grid(guess, lo, hi, 32768.0);
	Tet3* pStart(nullptr);
	uint32_t startBox(0);
	for(const Point3* p : vVertices)
	{
		if(p->getOneTet() == nullptr) continue;
		const uint32_t box(grid.box(p->x(), p->y(), p->z()));
		if(pStart == nullptr || box < startBox)
		{
			pStart = p->getOneTet();
			startBox = box;
		}
	}
	if(pStart == nullptr) return;
	std::vector<int32_t> vLocalOf(local.reserve(guess, numPoints));
	BoxLists lists(grid, guess);
	TakeAhead ahead(lists, vLocalOf);
	lists.add(pStart);
	int32_t numRows(0);
	// Cells found in a box after its turn wait for another round.
	while(static_cast<size_t>(numRows) < lists.numFound())
		for(uint32_t box = 0; box < grid.numBoxes(); ++box)
			while(Tet3* pTet = ahead.next(box))
			{
				const int32_t row(numRows++);
				pTet->setCustomIndex(row);
				int32_t aRow[8];
				for(int i = 0; i < 4; ++i)
				{
					const Point3* p(pTet->getCorner(i));
					const double aXyz[3] = {p->x(), p->y(), p->z()};
					aRow[i] = local.localPoint(vLocalOf, p->getIndex(), aXyz);
				}
				bool bComplete(true);
				for(int i = 0; i < 4; ++i)
				{
					Tet3* pOpp(pTet->getOppTet(i));
					aRow[4 + i] = -1;
					if(pOpp == nullptr) continue;
					if(!pOpp->hasBeenVisited)
						lists.add(pOpp);
					else if(pOpp->getCustomIndex() >= 0)
					{
						// Written before: it names this cell across its corner
						// that is none of this cell's.
						const int32_t opp(pOpp->getCustomIndex());
						int32_t* pOther(&local.vRows[8 * static_cast<size_t>(opp)]);
						int j(0);
						while(j < 3 && (pOther[j] == aRow[0] || pOther[j] == aRow[1] || pOther[j] == aRow[2] || pOther[j] == aRow[3])) ++j;
						pOther[4 + j] = row;
						aRow[4 + i] = opp;
						if(pOther[4] != -2 && pOther[5] != -2 && pOther[6] != -2 && pOther[7] != -2)
							pOpp->hasBeenVisited = false;
						continue;
					}
					aRow[4 + i] = -2;
					bComplete = false;
				}
				local.vRows.insert(local.vRows.end(), aRow, aRow + 8);
				if(bComplete) pTet->hasBeenVisited = false;
			}
}

namespace {

/// Local cells from flat cells in any order: rows in the order of the boxes
/// of the cells' first corners.
template<class Index>
void localFromFlatAnyIndex(const int32_t* pCorners, const Index* pNeighbors, int64_t numCells, const double* pXyz,
	int32_t numPoints, LocalCells& local)
{
	const size_t m(static_cast<size_t>(numCells));
	double lo[3] = {HUGE_VAL, HUGE_VAL, HUGE_VAL}, hi[3] = {-HUGE_VAL, -HUGE_VAL, -HUGE_VAL};
	for(size_t p = 0; p < static_cast<size_t>(numPoints); ++p)
		for(int k = 0; k < 3; ++k)
		{
			lo[k] = std::min(lo[k], pXyz[3 * p + static_cast<size_t>(k)]);
			hi[k] = std::max(hi[k], pXyz[3 * p + static_cast<size_t>(k)]);
		}
	const MortonGrid grid(m, lo, hi);
	std::vector<uint32_t> vBox(m);
	for(size_t k = 0; k < m; ++k)
	{
		const double* c(pXyz + 3 * static_cast<size_t>(pCorners[4 * k]));
		vBox[k] = grid.box(c[0], c[1], c[2]);
	}
	sortByBox(grid, vBox);
	const std::vector<uint32_t>& vRow(vBox);
	local.vCellNumber.resize(m);
	for(size_t k = 0; k < m; ++k) local.vCellNumber[static_cast<size_t>(vRow[k])] = static_cast<int32_t>(k);
	std::vector<int32_t> vLocalOf(local.reserve(m, numPoints));
	for(size_t row = 0; row < m; ++row)
	{
		const size_t k(static_cast<size_t>(local.vCellNumber[row]));
		for(size_t i = 0; i < 4; ++i)
		{
			const int32_t p(pCorners[4 * k + i]);
			local.vRows.push_back(local.localPoint(vLocalOf, p, pXyz + 3 * static_cast<size_t>(p)));
		}
		for(size_t i = 0; i < 4; ++i)
		{
			const Index opp(pNeighbors[4 * k + i]);
			local.vRows.push_back(opp < 0 ? -1 : static_cast<int32_t>(vRow[static_cast<size_t>(opp)]));
		}
	}
}

} // namespace

void localFromFlat(const int32_t* pCorners, const int64_t* pNeighbors, int64_t numCells, const double* pXyz,
	int32_t numPoints, LocalCells& local)
{
	localFromFlatAnyIndex(pCorners, pNeighbors, numCells, pXyz, numPoints, local);
}

void localFromFlat(const int32_t* pCorners, const int32_t* pNeighbors, int64_t numCells, const double* pXyz,
	int32_t numPoints, LocalCells& local)
{
	localFromFlatAnyIndex(pCorners, pNeighbors, numCells, pXyz, numPoints, local);
}

} // namespace flat

void numberVertices(const std::vector<Point3*>& vHandles)
{
	// Backwards, so that the first position of each vertex is written last.
	for(size_t i = vHandles.size(); i-- > 0;) vHandles[i]->setIndex(static_cast<int>(i));
}

void collectCells(const Vorn_3D& dt, std::vector<Tet3*>& vCells, bool bRenumber)
{
	vCells.clear();
	std::vector<Point3*> vVertices;
	dt.getVertices(vVertices);
	Tet3* pStart(nullptr);
	for(Point3* pVtx : vVertices)
	{
		if(pVtx->getOneTet() != nullptr)
		{
			pStart = pVtx->getOneTet();
			break;
		}
	}
	if(pStart == nullptr) return;
	// Breadth-first: vCells itself is the queue. A tetrahedralisation has
	// about 6.7 cells per vertex.
	vCells.reserve(7 * vVertices.size() + 16);
	pStart->hasBeenVisited = true;
	vCells.push_back(pStart);
	for(size_t k = 0; k < vCells.size(); ++k)
	{
		flat::prefetchAhead(vCells, k);
		for(int i = 0; i < 4; ++i)
		{
			Tet3* pOpp(vCells[k]->getOppTet(i));
			if(pOpp != nullptr && !pOpp->hasBeenVisited)
			{
				pOpp->hasBeenVisited = true;
				vCells.push_back(pOpp);
			}
		}
	}
	sortSpatially(vCells, vVertices, bRenumber);
	if(bRenumber) return;
	std::vector<bool> vSeen(vCells.size(), false);
	for(const Tet3* pTet : vCells)
	{
		const int k(pTet->getCustomIndex());
		if(k < 0 || static_cast<size_t>(k) >= vSeen.size() || vSeen[static_cast<size_t>(k)])
			throw std::invalid_argument("collectCells(): the custom indices are no numbering 0.." +
				std::to_string(vSeen.size() - 1) + " of the cells");
		vSeen[static_cast<size_t>(k)] = true;
	}
}

void flattenCells(const std::vector<Tet3*>& vCells, FlatCells3& flat)
{
	const size_t m(vCells.size());
	flat.vCorners.clear();
	flat.vNeighbors.clear();
	flat.vXyz.clear();
	flat::reserveLarge(flat.vCorners, 4 * m);
	flat::reserveLarge(flat.vNeighbors, 4 * m);
	flat.vCorners.resize(4 * m);
	flat.vNeighbors.resize(4 * m);
	int32_t maxIndex(-1);
	for(const Tet3* pTet : vCells)
	{
		const size_t k(static_cast<size_t>(pTet->getCustomIndex()));
		for(int i = 0; i < 4; ++i)
		{
			const Point3* p(pTet->getCorner(i));
			const int32_t index(p->getIndex());
			flat.vCorners[4 * k + static_cast<size_t>(i)] = index;
			// Every vertex is written from each of its cells; in a spatial
			// order the later writes hit the cache.
			if(index > maxIndex)
			{
				maxIndex = index;
				if(3 * static_cast<size_t>(index) + 3 > flat.vXyz.size())
					flat.vXyz.resize(std::max(3 * static_cast<size_t>(index) + 3, 2 * flat.vXyz.size()));
			}
			double* pXyz(&flat.vXyz[3 * static_cast<size_t>(index)]);
			pXyz[0] = p->x();
			pXyz[1] = p->y();
			pXyz[2] = p->z();
			const Tet3* pOpp(pTet->getOppTet(i));
			flat.vNeighbors[4 * k + static_cast<size_t>(i)] = pOpp != nullptr ? pOpp->getCustomIndex() : -1;
		}
	}
	flat.vXyz.resize(3 * static_cast<size_t>(maxIndex + 1));
}

} // namespace VORN3D
