// The working copy of the Voronoi pass: cells as rows in a spatial order.
// Internal to the dual layer.
#ifndef VORN3D_LOCALCELLS3_H
#define VORN3D_LOCALCELLS3_H

#include "FlatCells3.h"

#include <vorn3d/Vorn_3D.h>

#include <cstdint>
#include <vector>

namespace VORN3D {

namespace flat {

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

/// Rows from mesh cells numbered 0..m-1 by their custom index, in the order
/// of vCells (collectCells gives a spatial one).
void localFromMesh(const std::vector<Tet3*>& vCells, int32_t numPoints, LocalCells& local);
/// Rows straight from the mesh, in a spatial order; numbers the cells by
/// their rows (custom index).
void localFromDt(const Vorn_3D& dt, int32_t numPoints, LocalCells& local);
/// Rows from flat cells in any order, in a spatial order; vCellNumber gives
/// each row's cell number.
void localFromFlat(const int32_t* pCorners, const int64_t* pNeighbors, int64_t numCells, const double* pXyz,
	int32_t numPoints, LocalCells& local);
void localFromFlat(const int32_t* pCorners, const int32_t* pNeighbors, int64_t numCells, const double* pXyz,
	int32_t numPoints, LocalCells& local);

} // namespace flat

} // namespace VORN3D

#endif
