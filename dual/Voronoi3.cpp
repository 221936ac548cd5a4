// Voronoi cells from the Delaunay cells: circumcentres, then one circulation
// around each Delaunay edge for the ridge between its end points.
#include "Dual3.h"
#include "FlatCells3.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>

namespace VORN3D {

namespace {

// Local edges 0..5 of a cell: the two corners of edge e, and the two corners off it.
const int aEdgeCorners[6][2] = {{0, 1}, {0, 2}, {0, 3}, {1, 2}, {1, 3}, {2, 3}};
const int aEdgeOffCorners[6][2] = {{2, 3}, {1, 3}, {1, 2}, {0, 3}, {0, 2}, {0, 1}};


template<class Real>
void centreRelative(const Real B[3], const Real C[3], const Real D[3], Real aOffset[3], Real& det)
{
	const Real CxD[3] = {C[1] * D[2] - C[2] * D[1], C[2] * D[0] - C[0] * D[2], C[0] * D[1] - C[1] * D[0]};
	const Real DxB[3] = {D[1] * B[2] - D[2] * B[1], D[2] * B[0] - D[0] * B[2], D[0] * B[1] - D[1] * B[0]};
	const Real BxC[3] = {B[1] * C[2] - B[2] * C[1], B[2] * C[0] - B[0] * C[2], B[0] * C[1] - B[1] * C[0]};
	const Real bb(B[0] * B[0] + B[1] * B[1] + B[2] * B[2]);
	const Real cc(C[0] * C[0] + C[1] * C[1] + C[2] * C[2]);
	const Real dd(D[0] * D[0] + D[1] * D[1] + D[2] * D[2]);
	det = B[0] * CxD[0] + B[1] * CxD[1] + B[2] * CxD[2];
	const Real f(Real(0.5) / det);
	for(int k = 0; k < 3; ++k) aOffset[k] = (bb * CxD[k] + cc * DxB[k] + dd * BxC[k]) * f;
}

/// Boxes of a grid over a bounding box, numbered along a Morton curve, for
/// about 512 items per box. A box's few hundred cells are a few tens of
/// kilobytes, which stay in the cache while the box is worked through.
class MortonGrid
{
public:
	MortonGrid(size_t numItems, const double lo[3], const double hi[3])
	{
		const double boxes(std::max(1.0, static_cast<double>(numItems) / 512.0));
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

/// The cells as the Voronoi pass works on them: rows in a spatial order and
/// points renumbered in the order the rows first name them, so that the
/// cells and points of a box lie together in memory. A row holds a cell's
/// four corners, then its four neighbours (rows, -1 on the hull): a step of
/// a circulation reads one 32-byte row. vCellNumber and vPointNumber give
/// the numbers the results use (vCellNumber is empty where they are the
/// rows).
struct LocalCells
{
	std::vector<int32_t> vRows, vCellNumber, vPointNumber;
	std::vector<double> vXyz;

	size_t numRows() const { return vRows.size() / 8; }

	/// Room for m cells and numPoints points; returns the table of local
	/// point numbers for localPoint, every entry -1.
	std::vector<int32_t> reserve(size_t m, int32_t numPoints)
	{
		flat::reserveLarge(vRows, 8 * m);
		vXyz.reserve(3 * static_cast<size_t>(numPoints));
		vPointNumber.reserve(static_cast<size_t>(numPoints));
		return std::vector<int32_t>(static_cast<size_t>(numPoints), -1);
	}

	/// Local number of the point numbered p in the results, given a first
	/// time; vLocalOf holds -1 for points without one.
	int32_t localPoint(std::vector<int32_t>& vLocalOf, int32_t p, const double* pCoordinates)
	{
		int32_t& local(vLocalOf[static_cast<size_t>(p)]);
		if(local < 0)
		{
			local = static_cast<int32_t>(vPointNumber.size());
			vPointNumber.push_back(p);
			vXyz.insert(vXyz.end(), pCoordinates, pCoordinates + 3);
		}
		return local;
	}
};

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

/// The cells of a search lie all over the kernel's pool, and waiting for
/// each read in turn would cost most of a pass over them. The work on
/// vQueue[b] asks ahead for what later work reads: the cell 16 places on,
/// and for the cell 8 places on (asked for before) its neighbours' flags
/// and numbers (the first and the last bytes of a cell) and its first
/// numCorners corners. Only a hint: nothing depends on it but the time.
void prefetchAhead(const std::vector<Tet3*>& vQueue, size_t b, int numCorners)
{
#if defined(__GNUC__)
	if(b + 16 < vQueue.size()) __builtin_prefetch(vQueue[b + 16]);
	if(b + 8 >= vQueue.size()) return;
	const Tet3* pAhead(vQueue[b + 8]);
	for(int i = 0; i < 4; ++i)
	{
		const Tet3* pOpp(pAhead->getOppTet(i));
		if(pOpp != nullptr)
		{
			__builtin_prefetch(pOpp);
			__builtin_prefetch(reinterpret_cast<const char*>(pOpp + 1) - 1);
		}
		if(i < numCorners) __builtin_prefetch(pAhead->getCorner(i));
	}
#else
	(void)vQueue;
	(void)b;
	(void)numCorners;
#endif
}

/// Local cells straight from the mesh, numbered 0..m-1 (custom index) in
/// the order of their rows. Each cell is read twice: once by a breadth-first
/// search, which also names it (custom index -1 - its place in the search)
/// and finds the box of its first corner, then once more in the search's
/// order to write its row, where a neighbour's row follows from its name
/// without a further pass over the cells.
void localFromDt(const Vorn_3D& dt, int32_t numPoints, LocalCells& local)
{
	std::vector<Point3*> vVertices;
	dt.getVertices(vVertices);
	Tet3* pStart(nullptr);
	double lo[3] = {HUGE_VAL, HUGE_VAL, HUGE_VAL}, hi[3] = {-HUGE_VAL, -HUGE_VAL, -HUGE_VAL};
	for(const Point3* p : vVertices)
	{
		if(p->getOneTet() == nullptr) continue;
		if(pStart == nullptr) pStart = p->getOneTet();
		const double c[3] = {p->x(), p->y(), p->z()};
		for(int k = 0; k < 3; ++k)
		{
			lo[k] = std::min(lo[k], c[k]);
			hi[k] = std::max(hi[k], c[k]);
		}
	}
	if(pStart == nullptr) return;
	// A tetrahedralisation has about 6.7 cells per vertex.
	const size_t guess(7 * vVertices.size() + 16);
	const MortonGrid grid(guess, lo, hi);
	std::vector<Tet3*> vQueue;
	std::vector<uint32_t> vBox;
	flat::reserveLarge(vQueue, guess);
	flat::reserveLarge(vBox, guess);
	const auto discover = [&vQueue](Tet3* pTet) {
		pTet->hasBeenVisited = true;
		pTet->setCustomIndex(-1 - static_cast<int>(std::min<size_t>(vQueue.size(), std::numeric_limits<int32_t>::max() - 1)));
		vQueue.push_back(pTet);
	};
	discover(pStart);
	for(size_t b = 0; b < vQueue.size(); ++b)
	{
		prefetchAhead(vQueue, b, 1);
		const Tet3* pTet(vQueue[b]);
		const Point3* p(pTet->getCorner(0));
		vBox.push_back(grid.box(p->x(), p->y(), p->z()));
		for(int i = 0; i < 4; ++i)
		{
			Tet3* pOpp(pTet->getOppTet(i));
			if(pOpp != nullptr && !pOpp->hasBeenVisited) discover(pOpp);
		}
	}
	const size_t m(vQueue.size());
	if(m > static_cast<size_t>(std::numeric_limits<int32_t>::max()))
	{
		for(Tet3* pTet : vQueue) pTet->hasBeenVisited = false;
		throw std::invalid_argument("Voronoi3::compute(): more cells than 32-bit vertex numbers can name");
	}
	sortByBox(grid, vBox);
	const std::vector<uint32_t>& vRowOf(vBox);
	std::vector<int32_t> vLocalOf(local.reserve(m, numPoints));
	local.vRows.resize(8 * m);
	for(size_t b = 0; b < m; ++b)
	{
		prefetchAhead(vQueue, b, 4);
		Tet3* pTet(vQueue[b]);
		const int32_t row(static_cast<int32_t>(vRowOf[b]));
		int32_t* pRow(&local.vRows[8 * static_cast<size_t>(row)]);
		for(int i = 0; i < 4; ++i)
		{
			const Point3* p(pTet->getCorner(i));
			const double aXyz[3] = {p->x(), p->y(), p->z()};
			pRow[i] = local.localPoint(vLocalOf, p->getIndex(), aXyz);
			// A neighbour not written yet still carries its name from the
			// search; one written before carries its row.
			const Tet3* pOpp(pTet->getOppTet(i));
			const int name(pOpp != nullptr ? pOpp->getCustomIndex() : 0);
			pRow[4 + i] = pOpp == nullptr ? -1 : name >= 0 ? name : static_cast<int32_t>(vRowOf[static_cast<size_t>(-1 - name)]);
		}
		pTet->setCustomIndex(row);
		pTet->hasBeenVisited = false;
	}
}

/// Local cells from flat cells in any order: rows in the order of the boxes
/// of the cells' first corners.
template<class Index>
void localFromFlat(const int32_t* pCorners, const Index* pNeighbors, int64_t numCells, const double* pXyz,
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
		prefetchAhead(vCells, k, 0);
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

namespace flat {

void circumcentre(const double* a, const double* b, const double* c, const double* d, double aCentre[3])
{
	const double* aOther[3] = {b, c, d};
	double B[3], C[3], D[3];
	double* aRow[3] = {B, C, D};
	for(int r = 0; r < 3; ++r)
		for(int k = 0; k < 3; ++k) aRow[r][k] = aOther[r][k] - a[k];
	double aOffset[3], det;
	centreRelative(B, C, D, aOffset, det);
	// The determinant is six times the volume; against the product of the
	// edge lengths it measures how flat the cell is. Below 1e-8 the
	// cancellation in det costs more than half of the double's digits.
	const double scale(std::sqrt((B[0] * B[0] + B[1] * B[1] + B[2] * B[2]) * (C[0] * C[0] + C[1] * C[1] + C[2] * C[2]) *
		(D[0] * D[0] + D[1] * D[1] + D[2] * D[2])));
	if(!(std::fabs(det) > 1e-8 * scale))
	{
		long double LB[3], LC[3], LD[3], LOffset[3], Ldet;
		long double* aLRow[3] = {LB, LC, LD};
		for(int r = 0; r < 3; ++r)
			for(int k = 0; k < 3; ++k) aLRow[r][k] = static_cast<long double>(aOther[r][k]) - a[k];
		centreRelative(LB, LC, LD, LOffset, Ldet);
		for(int k = 0; k < 3; ++k) aOffset[k] = static_cast<double>(LOffset[k]);
	}
	for(int k = 0; k < 3; ++k) aCentre[k] = a[k] + aOffset[k];
}

} // namespace flat

void circumcentre(const Tet3* pTet, double aCentre[3])
{
	double aCorner[4][3];
	for(int i = 0; i < 4; ++i)
	{
		const Point3* p(pTet->getCorner(i));
		aCorner[i][0] = p->x();
		aCorner[i][1] = p->y();
		aCorner[i][2] = p->z();
	}
	flat::circumcentre(aCorner[0], aCorner[1], aCorner[2], aCorner[3], aCentre);
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

namespace {

/// The Voronoi cells of local cells; out.numPoints is set.
void voronoiPass(Voronoi3& out, const LocalCells& local)
{
	const size_t m(local.numRows());
	const int32_t* pCorners(local.vRows.data());
	const int32_t* pNeighbors(pCorners + 4);
	const double* pXyz(local.vXyz.data());
	const int32_t* pOrder(local.vCellNumber.empty() ? nullptr : local.vCellNumber.data());
	const int32_t* pPointNumber(local.vPointNumber.data());
	const double inf(std::numeric_limits<double>::infinity());
	std::vector<double> vOwnCentres;
	std::vector<double>& vCentres(pOrder != nullptr ? vOwnCentres : out.vVertices);
	vCentres.clear();
	flat::reserveLarge(vCentres, 3 * m);
	for(size_t k = 0; k < m; ++k)
	{
		const int32_t* c(pCorners + 8 * k);
		double aCentre[3];
		flat::circumcentre(pXyz + 3 * static_cast<size_t>(c[0]), pXyz + 3 * static_cast<size_t>(c[1]),
			pXyz + 3 * static_cast<size_t>(c[2]), pXyz + 3 * static_cast<size_t>(c[3]), aCentre);
		vCentres.insert(vCentres.end(), aCentre, aCentre + 3);
	}
	if(pOrder != nullptr)
	{
		out.vVertices.resize(3 * m);
		for(size_t k = 0; k < m; ++k)
			std::copy(&vCentres[3 * k], &vCentres[3 * k] + 3, &out.vVertices[3 * static_cast<size_t>(pOrder[k])]);
	}

	// Each cell has 6 edges and a cell sits in the ring of each of them, so
	// the rings hold 6m entries; about 6m / 5.2 edges. Reserving that keeps
	// the pass free of reallocation in the common case.
	std::vector<int32_t>& vRing(out.vRidgeVertices);
	// Volumes by local point, handed out at the end.
	std::vector<double> vVolumes(local.vPointNumber.size(), 0.0);
	const double* pCentres(vCentres.data());
	out.vRidgePoints.clear();
	out.vRidgeStart.assign(1, 0);
	vRing.clear();
	out.vRidgeAreas.clear();
	const size_t numEdgesGuess(6 * m / 5 + 16);
	flat::reserveLarge(out.vRidgePoints, 2 * numEdgesGuess);
	flat::reserveLarge(out.vRidgeStart, numEdgesGuess + 1);
	flat::reserveLarge(out.vRidgeAreas, numEdgesGuess);
	flat::reserveLarge(vRing, 6 * m + m / 8 + 16);

	// Bit e of vDone[k] marks local edge e of cell k as done.
	std::vector<unsigned char> vDone;
	flat::reserveLarge(vDone, m);
	vDone.resize(m, 0);
	std::vector<int32_t> vBehind;
	for(size_t k = 0; k < m; ++k)
	{
		const int32_t* c(pCorners + 8 * k);
		for(int e = 0; e < 6; ++e)
		{
			if(vDone[k] & (1u << e)) continue;
			const int32_t s(c[aEdgeCorners[e][0]]), t(c[aEdgeCorners[e][1]]);
			const int off0(aEdgeOffCorners[e][0]), off1(aEdgeOffCorners[e][1]);
			const size_t first(vRing.size());
			vRing.push_back(static_cast<int32_t>(k));
			// Forward from this cell until the ring closes or meets the hull.
			flat::EdgeWalk<int32_t, 8> walk{pCorners, pNeighbors, s, t, c[off1], static_cast<int64_t>(k), off0};
			bool bOpen(false);
			for(;;)
			{
				if(!walk.step())
				{
					bOpen = true;
					break;
				}
				if(walk.cur == static_cast<int64_t>(k)) break;
				vDone[static_cast<size_t>(walk.cur)] |= static_cast<unsigned char>(1u << walk.edge);
				vRing.push_back(static_cast<int32_t>(walk.cur));
			}
			if(bOpen)
			{
				// The rest of the ring lies behind the start: turn the other
				// way, then put those cells in front, so that the ring runs
				// from one hull facet to the other.
				vBehind.clear();
				flat::EdgeWalk<int32_t, 8> back{pCorners, pNeighbors, s, t, c[off0], static_cast<int64_t>(k), off1};
				while(back.step())
				{
					vDone[static_cast<size_t>(back.cur)] |= static_cast<unsigned char>(1u << back.edge);
					vBehind.push_back(static_cast<int32_t>(back.cur));
				}
				vRing.insert(vRing.begin() + static_cast<std::ptrdiff_t>(first), vBehind.rbegin(), vBehind.rend());
				vRing.insert(vRing.begin() + static_cast<std::ptrdiff_t>(first), -1);
			}
			const int32_t sNumber(pPointNumber[s]), tNumber(pPointNumber[t]);
			out.vRidgePoints.push_back(std::min(sNumber, tNumber));
			out.vRidgePoints.push_back(std::max(sNumber, tNumber));
			out.vRidgeStart.push_back(static_cast<int64_t>(vRing.size()));
			if(bOpen)
			{
				if(pOrder != nullptr)
					for(size_t i = first + 1; i < vRing.size(); ++i) vRing[i] = pOrder[vRing[i]];
				out.vRidgeAreas.push_back(inf);
				vVolumes[static_cast<size_t>(s)] = inf;
				vVolumes[static_cast<size_t>(t)] = inf;
				continue;
			}
			// The polygon lies in the bisector plane of s and t: its area is
			// half the length of the summed cross products along the edge's
			// direction, and it is the base of two pyramids of height |st|/2.
			const double* pS(pXyz + 3 * static_cast<size_t>(s));
			const double* pT(pXyz + 3 * static_cast<size_t>(t));
			const double u[3] = {pT[0] - pS[0], pT[1] - pS[1], pT[2] - pS[2]};
			const double len(std::sqrt(u[0] * u[0] + u[1] * u[1] + u[2] * u[2]));
			const double* c0(pCentres + 3 * static_cast<size_t>(vRing[first]));
			double sum[3] = {0.0, 0.0, 0.0};
			double prev[3] = {0.0, 0.0, 0.0};
			for(size_t i = first + 1; i < vRing.size(); ++i)
			{
				const double* pC(pCentres + 3 * static_cast<size_t>(vRing[i]));
				const double d[3] = {pC[0] - c0[0], pC[1] - c0[1], pC[2] - c0[2]};
				sum[0] += prev[1] * d[2] - prev[2] * d[1];
				sum[1] += prev[2] * d[0] - prev[0] * d[2];
				sum[2] += prev[0] * d[1] - prev[1] * d[0];
				prev[0] = d[0];
				prev[1] = d[1];
				prev[2] = d[2];
			}
			const double area(0.5 * std::fabs(sum[0] * u[0] + sum[1] * u[1] + sum[2] * u[2]) / len);
			if(pOrder != nullptr)
				for(size_t i = first; i < vRing.size(); ++i) vRing[i] = pOrder[vRing[i]];
			out.vRidgeAreas.push_back(area);
			if(vVolumes[static_cast<size_t>(s)] != inf) vVolumes[static_cast<size_t>(s)] += area * len / 6.0;
			if(vVolumes[static_cast<size_t>(t)] != inf) vVolumes[static_cast<size_t>(t)] += area * len / 6.0;
		}
	}
	out.vVolumes.clear();
	flat::reserveLarge(out.vVolumes, static_cast<size_t>(out.numPoints));
	out.vVolumes.resize(static_cast<size_t>(out.numPoints), 0.0);
	for(size_t p = 0; p < vVolumes.size(); ++p) out.vVolumes[static_cast<size_t>(pPointNumber[p])] = vVolumes[p];
}
} // namespace

bool Voronoi3::isBounded(int32_t point) const
{
	return vVolumes[static_cast<size_t>(point)] != std::numeric_limits<double>::infinity();
}

void Voronoi3::compute(const Vorn_3D& dt, int32_t numPoints_)
{
	numPoints = numPoints_;
	LocalCells local;
	localFromDt(dt, numPoints, local);
	voronoiPass(*this, local);
}

void Voronoi3::compute(const std::vector<Tet3*>& vCells, int32_t numPoints_)
{
	numPoints = numPoints_;
	LocalCells local;
	localFromMesh(vCells, numPoints, local);
	voronoiPass(*this, local);
}

namespace {

template<class Index>
void computeFromFlat(Voronoi3& out, const int32_t* pCorners, const Index* pNeighbors, int64_t numCells, const double* pXyz)
{
	if(numCells > std::numeric_limits<int32_t>::max())
		throw std::invalid_argument("Voronoi3::compute(): more cells than 32-bit vertex numbers can name");
	LocalCells local;
	localFromFlat(pCorners, pNeighbors, numCells, pXyz, out.numPoints, local);
	voronoiPass(out, local);
}

} // namespace

void Voronoi3::compute(const int32_t* pCorners, const int64_t* pNeighbors, int64_t numCells, const double* pXyz,
	int32_t numPoints_)
{
	numPoints = numPoints_;
	computeFromFlat(*this, pCorners, pNeighbors, numCells, pXyz);
}

void Voronoi3::compute(const int32_t* pCorners, const int32_t* pNeighbors, int64_t numCells, const double* pXyz,
	int32_t numPoints_)
{
	numPoints = numPoints_;
	computeFromFlat(*this, pCorners, pNeighbors, numCells, pXyz);
}

void Voronoi3::regions(const std::vector<Tet3*>& vCells, std::vector<int64_t>& vStart,
	std::vector<int32_t>& vVertexList) const
{
	std::vector<int32_t> vCorners(4 * vCells.size());
	for(const Tet3* pTet : vCells)
		for(int i = 0; i < 4; ++i)
			vCorners[4 * static_cast<size_t>(pTet->getCustomIndex()) + static_cast<size_t>(i)] = pTet->getCorner(i)->getIndex();
	regions(vCorners.data(), static_cast<int64_t>(vCells.size()), vStart, vVertexList);
}

void Voronoi3::regions(const int32_t* pCorners, int64_t numCells, std::vector<int64_t>& vStart,
	std::vector<int32_t>& vVertexList) const
{
	// A counting sort of the cells by their corners, in the order of their
	// numbers, so that each list comes out increasing.
	const size_t numCorners(4 * static_cast<size_t>(numCells));
	vStart.assign(static_cast<size_t>(numPoints) + 1, 0);
	for(size_t j = 0; j < numCorners; ++j) ++vStart[static_cast<size_t>(pCorners[j]) + 1];
	for(size_t p = 0; p < static_cast<size_t>(numPoints); ++p)
		if(!isBounded(static_cast<int32_t>(p))) ++vStart[p + 1];
	for(size_t p = 1; p < vStart.size(); ++p) vStart[p] += vStart[p - 1];
	vVertexList.resize(static_cast<size_t>(vStart.back()));
	std::vector<int64_t> vNext(vStart.begin(), vStart.end() - 1);
	for(size_t p = 0; p < static_cast<size_t>(numPoints); ++p)
		if(!isBounded(static_cast<int32_t>(p))) vVertexList[static_cast<size_t>(vNext[p]++)] = -1;
	for(size_t j = 0; j < numCorners; ++j)
		vVertexList[static_cast<size_t>(vNext[static_cast<size_t>(pCorners[j])]++)] = static_cast<int32_t>(j / 4);
}

void Voronoi3::cellRidges(std::vector<int64_t>& vStart, std::vector<int32_t>& vRidges) const
{
	// A counting sort of the ridges by their two points.
	const size_t numFaces(vRidgeAreas.size());
	vStart.assign(static_cast<size_t>(numPoints) + 1, 0);
	for(int32_t p : vRidgePoints) ++vStart[static_cast<size_t>(p) + 1];
	for(size_t p = 1; p < vStart.size(); ++p) vStart[p] += vStart[p - 1];
	vRidges.resize(2 * numFaces);
	std::vector<int64_t> vNext(vStart.begin(), vStart.end() - 1);
	for(size_t r = 0; r < numFaces; ++r)
	{
		for(int j = 0; j < 2; ++j)
			vRidges[static_cast<size_t>(vNext[static_cast<size_t>(vRidgePoints[2 * r + j])]++)] =
				static_cast<int32_t>(r);
	}
}

} // namespace VORN3D
