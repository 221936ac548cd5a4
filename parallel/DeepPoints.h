// DeepPoints: the proof that the cells around most own points need no
// query, from a grid whose cells are all occupied.
#ifndef VORN3D_PARALLEL_DEEPPOINTS_H
#define VORN3D_PARALLEL_DEEPPOINTS_H

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include <vorn3d/Point3.h>

#include "Geometry.h"

namespace vorn3dregions {

using VORN3D::Point3;

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

} // namespace vorn3dregions

#endif
