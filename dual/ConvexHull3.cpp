// The convex hull from the Delaunay cells (facets without a neighbour), and
// a filter that drops points certainly inside it before any hull is built.
#include "Dual3.h"
#include "FacetGeometry3.h"
#include "FlatCells3.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

namespace VORN3D {

namespace {

// Corners of the facet opposite corner i, ordered so that the right-hand
// normal points out of a positively oriented cell.
const int aOutwardFacet[4][3] = {{1, 2, 3}, {0, 3, 2}, {0, 1, 3}, {0, 2, 1}};

template<class Index>
void hullPass(ConvexHull3& hull, const int32_t* pCorners, const Index* pNeighbors, int64_t numCells, const double* pXyz)
{
	const size_t m(static_cast<size_t>(numCells));
	// Facet numbers: the hull facets of cell k are numbered from vFirst[k]
	// on, in the order of their opposite corner.
	std::vector<int32_t> vFirst(m + 1, 0);
	for(size_t k = 0; k < m; ++k)
	{
		const Index* nb(pNeighbors + 4 * k);
		vFirst[k + 1] = vFirst[k] + (nb[0] < 0) + (nb[1] < 0) + (nb[2] < 0) + (nb[3] < 0);
	}
	const size_t numFacets(static_cast<size_t>(vFirst[m]));
	hull.vFacets.resize(3 * numFacets);
	hull.vNeighbors.resize(3 * numFacets);
	hull.vEquations.resize(4 * numFacets);
	const auto facetNumber = [&](int64_t cell, int opp) {
		const Index* nb(pNeighbors + 4 * cell);
		int32_t f(vFirst[static_cast<size_t>(cell)]);
		for(int i = 0; i < opp; ++i) f += nb[i] < 0;
		return f;
	};
	const auto point = [&](int32_t p) { return pXyz + 3 * static_cast<size_t>(p); };

	// A reference point inside the hull keeps the volume sum well conditioned.
	double ref[3] = {0.0, 0.0, 0.0};
	for(int i = 0; m > 0 && i < 4; ++i)
		for(int c = 0; c < 3; ++c) ref[c] += 0.25 * point(pCorners[i])[c];
	hull.volume = 0.0;
	hull.area = 0.0;
	for(size_t k = 0; k < m; ++k)
	{
		const int32_t* pCell(pCorners + 4 * k);
		for(int opp = 0; opp < 4; ++opp)
		{
			if(pNeighbors[4 * k + static_cast<size_t>(opp)] >= 0) continue;
			const size_t f(static_cast<size_t>(facetNumber(static_cast<int64_t>(k), opp)));
			int32_t aCorner[3];
			for(int j = 0; j < 3; ++j)
			{
				const int q(aOutwardFacet[opp][j]);
				aCorner[j] = pCell[q];
				hull.vFacets[3 * f + static_cast<size_t>(j)] = aCorner[j];
				// Across the edge opposite corner j: turn around that edge
				// through the inside until the ring meets the hull again.
				const int32_t s(pCell[aOutwardFacet[opp][(j + 1) % 3]]), t(pCell[aOutwardFacet[opp][(j + 2) % 3]]);
				flat::EdgeWalk<Index> walk{pCorners, pNeighbors, s, t, pCell[opp], static_cast<int64_t>(k), q};
				size_t numSteps(0);
				while(walk.step())
					if(++numSteps > m)
					{
						walk.bBroken = true;
						break;
					}
				if(walk.bBroken)
					throw std::invalid_argument("ConvexHull3::compute(): the cells' neighbours do not lead around every "
												"hull edge to the hull again: no tetrahedralisation");
				hull.vNeighbors[3 * f + static_cast<size_t>(j)] = facetNumber(walk.cur, walk.exitPos);
			}
			addFacetGeometry(hull, f, point(aCorner[0]), point(aCorner[1]), point(aCorner[2]), ref);
		}
	}
}

} // namespace

bool ConvexHull3::throughMesh(const double* pXyz, int64_t numPoints)
{
	const std::vector<int32_t> vKept(hullCandidates(pXyz, numPoints));
	std::vector<Point3> vPoints;
	vPoints.reserve(vKept.size());
	for(int32_t i : vKept) vPoints.emplace_back(pXyz[3 * i], pXyz[3 * i + 1], pXyz[3 * i + 2]);
	Vorn_3D dt;
	std::vector<Point3*> vHandles;
	dt.insert(vPoints, vHandles);
	if(!dt.is3D()) return false;
	numberVertices(vHandles);
	for(size_t i = 0; i < vHandles.size(); ++i)
	{
		const int first(vHandles[i]->getIndex());
		if(static_cast<size_t>(first) != i) vDuplicates.insert(vDuplicates.end(), {vKept[i], vKept[static_cast<size_t>(first)]});
	}
	std::vector<Tet3*> vCells;
	collectCells(dt, vCells, true);
	compute(vCells);
	for(int32_t& corner : vFacets) corner = vKept[static_cast<size_t>(corner)];
	return true;
}

void ConvexHull3::compute(const std::vector<Tet3*>& vCells)
{
	FlatCells3 flat;
	flattenCells(vCells, flat);
	compute(flat.vCorners.data(), flat.vNeighbors.data(), static_cast<int64_t>(vCells.size()), flat.vXyz.data());
}

void ConvexHull3::compute(const int32_t* pCorners, const int64_t* pNeighbors, int64_t numCells, const double* pXyz)
{
	hullPass(*this, pCorners, pNeighbors, numCells, pXyz);
}

void ConvexHull3::compute(const int32_t* pCorners, const int32_t* pNeighbors, int64_t numCells, const double* pXyz)
{
	hullPass(*this, pCorners, pNeighbors, numCells, pXyz);
}

std::vector<int32_t> hullCandidates(const double* points, int64_t n)
{
	std::vector<int32_t> vAll(static_cast<size_t>(n));
	for(int64_t i = 0; i < n; ++i) vAll[static_cast<size_t>(i)] = static_cast<int32_t>(i);
	if(n < 64) return vAll;

	// The point extreme in each of the 26 directions of {-1, 0, 1}^3.
	int aDir[26][3];
	int numDir(0);
	for(int dx = -1; dx <= 1; ++dx)
		for(int dy = -1; dy <= 1; ++dy)
			for(int dz = -1; dz <= 1; ++dz)
				if(dx != 0 || dy != 0 || dz != 0)
				{
					aDir[numDir][0] = dx;
					aDir[numDir][1] = dy;
					aDir[numDir][2] = dz;
					++numDir;
				}
	int64_t aBest[26];
	double aBestValue[26];
	std::fill(aBest, aBest + 26, int64_t(0));
	std::fill(aBestValue, aBestValue + 26, -std::numeric_limits<double>::infinity());
	double lo[3], hi[3];
	for(int c = 0; c < 3; ++c) lo[c] = hi[c] = points[c];
	for(int64_t i = 0; i < n; ++i)
	{
		const double* p(points + 3 * i);
		for(int c = 0; c < 3; ++c)
		{
			lo[c] = std::min(lo[c], p[c]);
			hi[c] = std::max(hi[c], p[c]);
		}
		for(int d = 0; d < numDir; ++d)
		{
			const double value(aDir[d][0] * p[0] + aDir[d][1] * p[1] + aDir[d][2] * p[2]);
			if(value > aBestValue[d])
			{
				aBestValue[d] = value;
				aBest[d] = i;
			}
		}
	}
	// Their hull, exactly, from a tetrahedralisation of them alone.
	std::sort(aBest, aBest + numDir);
	const int numExtreme(static_cast<int>(std::unique(aBest, aBest + numDir) - aBest));
	Vorn_3D dt;
	std::vector<Point3> vExtreme;
	for(int e = 0; e < numExtreme; ++e)
	{
		const double* p(points + 3 * aBest[e]);
		vExtreme.emplace_back(p[0], p[1], p[2]);
	}
	dt.insert(vExtreme);
	if(!dt.is3D()) return vAll;
	std::vector<Tet3*> vCells;
	collectCells(dt, vCells, true);
	// Planes n.(x - a) of the hull facets, n outward. For any point x of the
	// bounding box the computed value differs from the exact one by less
	// than 10 eps L^3 (L the box diagonal: every difference of coordinates is
	// at most L, |n| at most L^2, each of the few roundings relative); a
	// point is dropped only below -1e-12 L^3, a thousand times further out.
	struct Plane
	{
		double n[3], a[3];
	};
	std::vector<Plane> vPlanes;
	for(Tet3* pTet : vCells)
	{
		for(int opp = 0; opp < 4; ++opp)
		{
			if(pTet->getOppTet(opp) != nullptr) continue;
			const Point3* p0(pTet->getCorner(aOutwardFacet[opp][0]));
			const Point3* p1(pTet->getCorner(aOutwardFacet[opp][1]));
			const Point3* p2(pTet->getCorner(aOutwardFacet[opp][2]));
			const double u[3] = {p1->x() - p0->x(), p1->y() - p0->y(), p1->z() - p0->z()};
			const double v[3] = {p2->x() - p0->x(), p2->y() - p0->y(), p2->z() - p0->z()};
			vPlanes.push_back(Plane{{u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0]},
				{p0->x(), p0->y(), p0->z()}});
		}
	}
	const double L(std::sqrt((hi[0] - lo[0]) * (hi[0] - lo[0]) + (hi[1] - lo[1]) * (hi[1] - lo[1]) +
		(hi[2] - lo[2]) * (hi[2] - lo[2])));
	const double margin(1e-12 * L * L * L);
	if(!(margin > 0.0) || !std::isfinite(margin)) return vAll;
	std::vector<int32_t> vKept;
	for(int64_t i = 0; i < n; ++i)
	{
		const double* p(points + 3 * i);
		bool bInside(true);
		for(const Plane& plane : vPlanes)
		{
			const double s(plane.n[0] * (p[0] - plane.a[0]) + plane.n[1] * (p[1] - plane.a[1]) +
				plane.n[2] * (p[2] - plane.a[2]));
			if(!(s < -margin))
			{
				bInside = false;
				break;
			}
		}
		if(!bInside) vKept.push_back(static_cast<int32_t>(i));
	}
	// The extreme points themselves are hull vertices; the test keeps them
	// (they lie on their planes), so nothing to add.
	return vKept;
}

} // namespace VORN3D
