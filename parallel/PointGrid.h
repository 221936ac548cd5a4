// PointGrid: the grid over a process's own points that answers the other
// processes' ball and box queries.
#ifndef VORN3D_PARALLEL_POINTGRID_H
#define VORN3D_PARALLEL_POINTGRID_H

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include "Geometry.h"
#include "MeshRecords.h"
#include "Resident.h"

namespace vorn3dregions {

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

} // namespace vorn3dregions

#endif
