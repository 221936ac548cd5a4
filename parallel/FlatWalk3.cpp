#include "FlatWalk3.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace VORN3D {

FlatWalk3::FlatWalk3(const FlatMesh3& mesh, const double* pXyz_):
	FlatWalk3(mesh.vCorners.data(), mesh.vNeighbors.data(), mesh.numCells(), pXyz_)
{
}

FlatWalk3::FlatWalk3(const int32_t* pCorners_, const int64_t* pNeighbors, int64_t numCells_, const double* pXyz_):
	pCorners(pCorners_), pNeighbors64(pNeighbors), pNeighbors32(nullptr), numCells(numCells_), pXyz(pXyz_)
{
	chooseStarts();
}

FlatWalk3::FlatWalk3(const int32_t* pCorners_, const int32_t* pNeighbors, int64_t numCells_, const double* pXyz_):
	pCorners(pCorners_), pNeighbors64(nullptr), pNeighbors32(pNeighbors), numCells(numCells_), pXyz(pXyz_)
{
	chooseStarts();
}

void FlatWalk3::centroid(int64_t cell, double* c) const
{
	c[0] = c[1] = c[2] = 0.0;
	for(int j = 0; j < 4; ++j)
		for(int k = 0; k < 3; ++k) c[k] += 0.25 * pXyz[3 * static_cast<int64_t>(pCorners[4 * cell + j]) + k];
}

void FlatWalk3::chooseStarts()
{
	// Eight times the fourth root of the cell count, evenly spread over the
	// cell numbers: a walk from the nearest of them crosses about
	// (numCells / numStarts)^(1/3) cells, and choosing costs numStarts
	// distances (measured best on uniform points among 2, 8 and 32 times).
	const int64_t numStarts(numCells == 0 ? 0 :
		std::min<int64_t>(numCells, 8 * static_cast<int64_t>(std::ceil(std::pow(static_cast<double>(numCells), 0.25)))));
	vStarts.resize(static_cast<size_t>(4 * numStarts));
	double lo[3], hi[3];
	for(int64_t s = 0; s < numStarts; ++s)
	{
		const int64_t cell(s * numCells / numStarts);
		double* pStart(&vStarts[static_cast<size_t>(4 * s)]);
		centroid(cell, pStart);
		pStart[3] = static_cast<double>(cell);
		for(int k = 0; k < 3; ++k)
		{
			lo[k] = s == 0 ? pStart[k] : std::min(lo[k], pStart[k]);
			hi[k] = s == 0 ? pStart[k] : std::max(hi[k], pStart[k]);
		}
	}
	// A previous cell within half the start cells' spacing is kept without
	// looking at them: coherent queries then cost no search.
	if(numStarts > 0)
	{
		const double spacing(std::cbrt((hi[0] - lo[0]) * (hi[1] - lo[1]) * (hi[2] - lo[2]) / static_cast<double>(numStarts)));
		closeEnough2 = 0.25 * spacing * spacing;
	}
}

int64_t FlatWalk3::nearestStart(const double* q) const
{
	const auto distance2 = [q](const double* c) {
		return (c[0] - q[0]) * (c[0] - q[0]) + (c[1] - q[1]) * (c[1] - q[1]) + (c[2] - q[2]) * (c[2] - q[2]);
	};
	int64_t best(0);
	double bestDistance(std::numeric_limits<double>::infinity());
	if(previous >= 0)
	{
		double c[3];
		centroid(previous, c);
		best = previous;
		bestDistance = distance2(c);
		if(bestDistance <= closeEnough2) return best;
	}
	for(size_t s = 0; s < vStarts.size(); s += 4)
	{
		const double d(distance2(&vStarts[s]));
		if(d < bestDistance)
		{
			bestDistance = d;
			best = static_cast<int64_t>(vStarts[s + 3]);
		}
	}
	return best;
}

int FlatWalk3::facetSide(int64_t cell, int i, const double* q) const
{
	const double* p[4];
	for(int j = 0; j < 4; ++j) p[j] = pXyz + 3 * static_cast<int64_t>(pCorners[4 * cell + j]);
	p[i] = q;
	return exactOrientation(p[0], p[1], p[2], p[3]);
}

bool FlatWalk3::contains(int64_t cell, const double* q) const
{
	for(int i = 0; i < 4; ++i)
		if(facetSide(cell, i, q) < 0) return false;
	return true;
}

int64_t FlatWalk3::scan(const double* q) const
{
	for(int64_t cell = 0; cell < numCells; ++cell)
		if(contains(cell, q)) return cell;
	return -1;
}

int64_t FlatWalk3::locate(const double* q, int64_t startCell)
{
	if(numCells == 0 || !std::isfinite(q[0]) || !std::isfinite(q[1]) || !std::isfinite(q[2])) return -1;
	int64_t cell(startCell >= 0 && startCell < numCells ? startCell : nearestStart(q));
	int64_t from(-1);
	// On a Delaunay mesh this walk enters no cell twice, whichever facet it
	// takes among those that separate it from q: past numCells steps the
	// mesh is not Delaunay, and every cell is tested instead. The facets are
	// tried from a random one on, which ends walks in any other mesh with
	// probability one (and usually soon).
	for(int64_t steps = 0; steps <= numCells; ++steps)
	{
		randomState ^= randomState << 13;
		randomState ^= randomState >> 7;
		randomState ^= randomState << 17;
		const int first(static_cast<int>(randomState >> 62));
		int64_t next(-1);
		for(int t = 0; t < 4; ++t)
		{
			const int i((first + t) & 3);
			const int64_t across(neighbor(cell, i));
			// q lies strictly inside the facet just crossed.
			if(across == from && from >= 0) continue;
			if(facetSide(cell, i, q) >= 0) continue;
			// Beyond a hull facet's plane: outside the convex hull.
			if(across < 0)
			{
				previous = cell;
				return -1;
			}
			next = across;
			break;
		}
		if(next < 0)
		{
			previous = cell;
			return cell;
		}
		from = cell;
		cell = next;
	}
	const int64_t found(scan(q));
	if(found >= 0) previous = found;
	return found;
}

void FlatWalk3::locate(const double* pQueries, int64_t numQueries, int64_t* pCells)
{
	for(int64_t k = 0; k < numQueries; ++k) pCells[k] = locate(pQueries + 3 * k);
}

} // namespace VORN3D
