// Voronoi cells from the Delaunay cells: circumcentres, then one circulation
// around each Delaunay edge for the ridge between its end points.
#include "Dual3.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>

namespace VORN3D {

namespace {

// Local edges 0..5 of a cell: the two corners of edge e, and the two corners off it (the first pair of
// Edge3's opp3ICI, opp2ICI for that edge).
const int aEdgeCorners[6][2] = {{0, 1}, {0, 2}, {0, 3}, {1, 2}, {1, 3}, {2, 3}};
const int aEdgeOffCorners[6][2] = {{2, 3}, {1, 3}, {1, 2}, {0, 3}, {0, 2}, {0, 1}};

// Local edge of a circulator's current edge, by its (opp3ICI, opp2ICI): the
// edge joining the other two corners.
const int aEdgeOffOpp[4][4] = {{-1, 5, 4, 3}, {5, -1, 2, 1}, {4, 2, -1, 0}, {3, 1, 0, -1}};

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

/// Spreads the low 10 bits of v to every third bit.
uint32_t spreadBits(uint32_t v)
{
	uint32_t spread(0);
	for(int b = 0; b < 10; ++b) spread |= ((v >> b) & 1u) << (3 * b);
	return spread;
}

/// Orders the cells by the box of a grid, in Morton order, that holds their
/// first corner (a counting sort: two linear passes), clears their visited
/// flags and, with bRenumber, numbers them in the new order. A box holds a
/// few hundred cells, a few tens of kilobytes that stay in the cache while
/// the box is worked through; the pool's memory order does not give this, as
/// the kernel reuses the memory of removed cells.
void sortSpatially(std::vector<Tet3*>& vCells, const std::vector<Point3*>& vVertices, bool bRenumber)
{
	const double boxes(std::max(1.0, static_cast<double>(vCells.size()) / 512.0));
	const int bits(std::min(10, std::max(1, static_cast<int>(std::lround(std::log2(boxes) / 3.0)))));
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
	double scale[3];
	for(int k = 0; k < 3; ++k) scale[k] = hi[k] > lo[k] ? ((1 << bits) - 0.5) / (hi[k] - lo[k]) : 0.0;
	uint32_t aSpread[1 << 10];
	for(uint32_t v = 0; v < (1u << bits); ++v) aSpread[v] = spreadBits(v);
	std::vector<uint32_t> vBox(vCells.size());
	std::vector<size_t> vStart((size_t(1) << (3 * bits)) + 1, 0);
	for(size_t i = 0; i < vCells.size(); ++i)
	{
		Tet3* pTet(vCells[i]);
		pTet->hasBeenVisited = false;
		const Point3* p(pTet->getCorner(0));
		const uint32_t box(aSpread[static_cast<uint32_t>((p->x() - lo[0]) * scale[0])] |
			aSpread[static_cast<uint32_t>((p->y() - lo[1]) * scale[1])] << 1 |
			aSpread[static_cast<uint32_t>((p->z() - lo[2]) * scale[2])] << 2);
		vBox[i] = box;
		++vStart[box + 1];
	}
	for(size_t b = 1; b < vStart.size(); ++b) vStart[b] += vStart[b - 1];
	std::vector<Tet3*> vSorted(vCells.size());
	for(size_t i = 0; i < vCells.size(); ++i)
	{
		const size_t k(vStart[vBox[i]]++);
		vSorted[k] = vCells[i];
		if(bRenumber) vCells[i]->setCustomIndex(static_cast<int>(k));
	}
	vCells.swap(vSorted);
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

void circumcentre(const Tet3* pTet, double aCentre[3])
{
	const Point3& a(*pTet->getCorner(0));
	const Point3* aOther[3] = {pTet->getCorner(1), pTet->getCorner(2), pTet->getCorner(3)};
	double B[3], C[3], D[3];
	double* aRow[3] = {B, C, D};
	for(int r = 0; r < 3; ++r)
	{
		aRow[r][0] = aOther[r]->x() - a.x();
		aRow[r][1] = aOther[r]->y() - a.y();
		aRow[r][2] = aOther[r]->z() - a.z();
	}
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
		{
			aLRow[r][0] = static_cast<long double>(aOther[r]->x()) - a.x();
			aLRow[r][1] = static_cast<long double>(aOther[r]->y()) - a.y();
			aLRow[r][2] = static_cast<long double>(aOther[r]->z()) - a.z();
		}
		centreRelative(LB, LC, LD, LOffset, Ldet);
		for(int k = 0; k < 3; ++k) aOffset[k] = static_cast<double>(LOffset[k]);
	}
	aCentre[0] = a.x() + aOffset[0];
	aCentre[1] = a.y() + aOffset[1];
	aCentre[2] = a.z() + aOffset[2];
}

bool Voronoi3::isBounded(int32_t point) const
{
	return vVolumes[static_cast<size_t>(point)] != std::numeric_limits<double>::infinity();
}

void Voronoi3::compute(const std::vector<Tet3*>& vCells, int32_t numPoints_)
{
	numPoints = numPoints_;
	const size_t m(vCells.size());
	const double inf(std::numeric_limits<double>::infinity());
	vVertices.resize(3 * m);
	for(const Tet3* pTet : vCells) circumcentre(pTet, &vVertices[3 * static_cast<size_t>(pTet->getCustomIndex())]);

	// Each cell has 6 edges and a cell sits in the ring of each of them, so
	// the rings hold 6m entries; about 6m / 5.2 edges. Reserving that keeps
	// the pass free of reallocation in the common case.
	vRidgePoints.clear();
	vRidgeStart.assign(1, 0);
	vRidgeVertices.clear();
	vRidgeAreas.clear();
	const size_t numEdgesGuess(6 * m / 5 + 16);
	vRidgePoints.reserve(2 * numEdgesGuess);
	vRidgeStart.reserve(numEdgesGuess + 1);
	vRidgeAreas.reserve(numEdgesGuess);
	vRidgeVertices.reserve(6 * m + m / 8 + 16);
	vVolumes.assign(static_cast<size_t>(numPoints), 0.0);

	// Bit e of vDone[k] marks local edge e of cell k as done.
	std::vector<unsigned char> vDone(m, 0);
	std::vector<int32_t> vBehind;
	for(Tet3* pTet : vCells)
	{
		const size_t k(static_cast<size_t>(pTet->getCustomIndex()));
		for(int e = 0; e < 6; ++e)
		{
			if(vDone[k] & (1u << e)) continue;
			const Point3* pS(pTet->getCorner(aEdgeCorners[e][0]));
			const Point3* pT(pTet->getCorner(aEdgeCorners[e][1]));
			const size_t first(vRidgeVertices.size());
			// Forward from this cell until the ring closes or meets the hull.
			bool bOpen(false);
			const TetAroundEdgeIterator start(Edge3(pTet, aEdgeOffCorners[e][0], aEdgeOffCorners[e][1]));
			TetAroundEdgeIterator it(start);
			for(;;)
			{
				const Tet3* pCur(*it);
				const int32_t cur(pCur->getCustomIndex());
				vRidgeVertices.push_back(cur);
				vDone[static_cast<size_t>(cur)] |=
					static_cast<unsigned char>(1u << aEdgeOffOpp[it.getOpp3Index()][it.getOpp2Index()]);
				if(it.nextIsNull())
				{
					bOpen = true;
					break;
				}
				++it;
				if(*it == pTet) break;
			}
			if(bOpen)
			{
				// The rest of the ring lies behind the start: circulate the
				// other way, then put those cells in front, so that the ring
				// runs from one hull facet to the other.
				vBehind.clear();
				TetAroundEdgeIterator back(Edge3(pTet, aEdgeOffCorners[e][1], aEdgeOffCorners[e][0]));
				while(!back.nextIsNull())
				{
					++back;
					const int32_t cur((*back)->getCustomIndex());
					vBehind.push_back(cur);
					vDone[static_cast<size_t>(cur)] |=
						static_cast<unsigned char>(1u << aEdgeOffOpp[back.getOpp3Index()][back.getOpp2Index()]);
				}
				vRidgeVertices.insert(vRidgeVertices.begin() + static_cast<std::ptrdiff_t>(first),
					vBehind.rbegin(), vBehind.rend());
				vRidgeVertices.insert(vRidgeVertices.begin() + static_cast<std::ptrdiff_t>(first), -1);
			}
			const int32_t s(pS->getIndex()), t(pT->getIndex());
			vRidgePoints.push_back(std::min(s, t));
			vRidgePoints.push_back(std::max(s, t));
			vRidgeStart.push_back(static_cast<int64_t>(vRidgeVertices.size()));
			if(bOpen)
			{
				vRidgeAreas.push_back(inf);
				vVolumes[static_cast<size_t>(s)] = inf;
				vVolumes[static_cast<size_t>(t)] = inf;
				continue;
			}
			// The polygon lies in the bisector plane of s and t: its area is
			// half the length of the summed cross products along the edge's
			// direction, and it is the base of two pyramids of height |st|/2.
			const double u[3] = {pT->x() - pS->x(), pT->y() - pS->y(), pT->z() - pS->z()};
			const double len(std::sqrt(u[0] * u[0] + u[1] * u[1] + u[2] * u[2]));
			const double* c0(&vVertices[3 * static_cast<size_t>(vRidgeVertices[first])]);
			double sum[3] = {0.0, 0.0, 0.0};
			double prev[3] = {0.0, 0.0, 0.0};
			for(size_t i = first + 1; i < vRidgeVertices.size(); ++i)
			{
				const double* c(&vVertices[3 * static_cast<size_t>(vRidgeVertices[i])]);
				const double d[3] = {c[0] - c0[0], c[1] - c0[1], c[2] - c0[2]};
				sum[0] += prev[1] * d[2] - prev[2] * d[1];
				sum[1] += prev[2] * d[0] - prev[0] * d[2];
				sum[2] += prev[0] * d[1] - prev[1] * d[0];
				prev[0] = d[0];
				prev[1] = d[1];
				prev[2] = d[2];
			}
			const double area(0.5 * std::fabs(sum[0] * u[0] + sum[1] * u[1] + sum[2] * u[2]) / len);
			vRidgeAreas.push_back(area);
			if(vVolumes[static_cast<size_t>(s)] != inf) vVolumes[static_cast<size_t>(s)] += area * len / 6.0;
			if(vVolumes[static_cast<size_t>(t)] != inf) vVolumes[static_cast<size_t>(t)] += area * len / 6.0;
		}
	}

}

void Voronoi3::regions(const std::vector<Tet3*>& vCells, std::vector<int64_t>& vStart,
	std::vector<int32_t>& vVertexList) const
{
	// A counting sort of the cells by their corners, in the order of their
	// numbers, so that each list comes out increasing.
	const size_t m(vCells.size());
	std::vector<const Tet3*> vOrdered(m);
	for(const Tet3* pTet : vCells) vOrdered[static_cast<size_t>(pTet->getCustomIndex())] = pTet;
	vStart.assign(static_cast<size_t>(numPoints) + 1, 0);
	for(const Tet3* pTet : vCells)
		for(int i = 0; i < 4; ++i) ++vStart[static_cast<size_t>(pTet->getCorner(i)->getIndex()) + 1];
	for(size_t p = 0; p < static_cast<size_t>(numPoints); ++p)
		if(!isBounded(static_cast<int32_t>(p))) ++vStart[p + 1];
	for(size_t p = 1; p < vStart.size(); ++p) vStart[p] += vStart[p - 1];
	vVertexList.resize(static_cast<size_t>(vStart.back()));
	std::vector<int64_t> vNext(vStart.begin(), vStart.end() - 1);
	for(size_t p = 0; p < static_cast<size_t>(numPoints); ++p)
		if(!isBounded(static_cast<int32_t>(p))) vVertexList[static_cast<size_t>(vNext[p]++)] = -1;
	for(size_t k = 0; k < m; ++k)
	{
		const Tet3* pTet(vOrdered[k]);
		for(int i = 0; i < 4; ++i)
			vVertexList[static_cast<size_t>(vNext[static_cast<size_t>(pTet->getCorner(i)->getIndex())]++)] =
				static_cast<int32_t>(k);
	}
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
