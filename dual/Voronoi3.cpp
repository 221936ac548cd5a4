// Voronoi cells from the Delaunay cells: circumcentres, then one circulation
// around each Delaunay edge for the ridge between its end points.
#include "Dual3.h"
#include "FlatCells3.h"
#include "LocalCells3.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

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

} // namespace

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

namespace {

[[noreturn]] void throwBrokenRing()
{
	throw std::invalid_argument(
		"Voronoi3::compute(): the cells' neighbours do not close a ring around every edge: no tetrahedralisation");
}

/// The Voronoi cells of local cells; out.numPoints is set.
void voronoiPass(Voronoi3& out, const flat::LocalCells& local)
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
			// The polygon lies in the bisector plane of s and t: its area is
			// half the length of the summed cross products along the edge's
			// direction. They are summed on the way, the centres' loads
			// overlapping the walk's.
			flat::EdgeWalk<int32_t, 8> walk{pCorners, pNeighbors, s, t, c[off1], static_cast<int64_t>(k), off0};
			const double* c0(pCentres + 3 * k);
			double sum[3] = {0.0, 0.0, 0.0};
			double prev[3] = {0.0, 0.0, 0.0};
			bool bOpen(false);
			for(;;)
			{
				if(!walk.step())
				{
					if(walk.bBroken) throwBrokenRing();
					bOpen = true;
					break;
				}
				if(walk.cur == static_cast<int64_t>(k)) break;
				// Each cell lies once on each of its edges' rings: a walk that
				// comes back to one would never close.
				if(vDone[static_cast<size_t>(walk.cur)] & (1u << walk.edge)) throwBrokenRing();
				vDone[static_cast<size_t>(walk.cur)] |= static_cast<unsigned char>(1u << walk.edge);
				vRing.push_back(static_cast<int32_t>(walk.cur));
				const double* pC(pCentres + 3 * static_cast<size_t>(walk.cur));
				const double d[3] = {pC[0] - c0[0], pC[1] - c0[1], pC[2] - c0[2]};
				sum[0] += prev[1] * d[2] - prev[2] * d[1];
				sum[1] += prev[2] * d[0] - prev[0] * d[2];
				sum[2] += prev[0] * d[1] - prev[1] * d[0];
				prev[0] = d[0];
				prev[1] = d[1];
				prev[2] = d[2];
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
					if(vDone[static_cast<size_t>(back.cur)] & (1u << back.edge)) throwBrokenRing();
					vDone[static_cast<size_t>(back.cur)] |= static_cast<unsigned char>(1u << back.edge);
					vBehind.push_back(static_cast<int32_t>(back.cur));
				}
				if(back.bBroken) throwBrokenRing();
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
			// The polygon is the base of two pyramids of height |st|/2.
			const double* pS(pXyz + 3 * static_cast<size_t>(s));
			const double* pT(pXyz + 3 * static_cast<size_t>(t));
			const double u[3] = {pT[0] - pS[0], pT[1] - pS[1], pT[2] - pS[2]};
			const double len(std::sqrt(u[0] * u[0] + u[1] * u[1] + u[2] * u[2]));
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
	flat::LocalCells local;
	flat::localFromDt(dt, numPoints, local);
	voronoiPass(*this, local);
}

void Voronoi3::compute(const Vorn_3D& dt, int32_t numPoints_, FlatCells3& cells)
{
	numPoints = numPoints_;
	flat::LocalCells local;
	flat::localFromDt(dt, numPoints, local);
	const size_t m(local.numRows());
	cells.vCorners.clear();
	cells.vNeighbors.clear();
	flat::reserveLarge(cells.vCorners, 4 * m);
	flat::reserveLarge(cells.vNeighbors, 4 * m);
	const int32_t* pNumber(local.vPointNumber.data());
	for(size_t k = 0; k < m; ++k)
	{
		const int32_t* pRow(&local.vRows[8 * k]);
		for(int i = 0; i < 4; ++i) cells.vCorners.push_back(pNumber[pRow[i]]);
		cells.vNeighbors.insert(cells.vNeighbors.end(), pRow + 4, pRow + 8);
	}
	cells.vXyz.assign(3 * static_cast<size_t>(std::max(numPoints, int32_t(0))), 0.0);
	for(size_t p = 0; p < local.vPointNumber.size(); ++p)
		std::copy(&local.vXyz[3 * p], &local.vXyz[3 * p] + 3, &cells.vXyz[3 * static_cast<size_t>(pNumber[p])]);
	voronoiPass(*this, local);
}

void Voronoi3::compute(const std::vector<Tet3*>& vCells, int32_t numPoints_)
{
	numPoints = numPoints_;
	flat::LocalCells local;
	flat::localFromMesh(vCells, numPoints, local);
	voronoiPass(*this, local);
}

namespace {

template<class Index>
void computeFromFlat(Voronoi3& out, const int32_t* pCorners, const Index* pNeighbors, int64_t numCells, const double* pXyz)
{
	if(numCells > std::numeric_limits<int32_t>::max())
		throw std::invalid_argument("Voronoi3::compute(): more cells than 32-bit vertex numbers can name");
	flat::LocalCells local;
	flat::localFromFlat(pCorners, pNeighbors, numCells, pXyz, out.numPoints, local);
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
