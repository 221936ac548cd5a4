// The dual layer in vorn3d._core; see vorn3d_dual.h.
#include "vorn3d_dual.h"

#include <Dual3.h>
#include <vorn3d/Vorn_3D.h>

#include <pybind11/numpy.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace py = pybind11;
using namespace VORN3D;

namespace vorn3d_python {

namespace {

/// A numpy array that takes over the vector's buffer (no copy).
template<class T>
py::array_t<T> adopt(std::vector<T>&& v, std::vector<py::ssize_t> shape)
{
	auto* pOwned(new std::vector<T>(std::move(v)));
	py::capsule owner(pOwned, [](void* p) { delete static_cast<std::vector<T>*>(p); });
	return py::array_t<T>(std::move(shape), pOwned->data(), owner);
}

py::ssize_t rows(size_t size, size_t width)
{
	return static_cast<py::ssize_t>(size / width);
}

} // namespace

struct DualArrays::Data
{
	std::unique_ptr<Voronoi3> pVoronoi;
	std::unique_ptr<ConvexHull3> pHull;
	std::vector<int32_t> vCandidates;
};

DualArrays::DualArrays(): pData(new Data) {}

DualArrays::~DualArrays()
{
	delete pData;
}

void DualArrays::computeVoronoi(Vorn_3D& dt, int32_t numPoints)
{
	std::vector<Tet3*> vCells;
	collectCells(dt, vCells, false);
	pData->pVoronoi.reset(new Voronoi3);
	pData->pVoronoi->compute(vCells, numPoints);
}

void DualArrays::computeHull(Vorn_3D& dt)
{
	std::vector<Tet3*> vCells;
	collectCells(dt, vCells, false);
	pData->pHull.reset(new ConvexHull3);
	pData->pHull->compute(vCells);
}

void DualArrays::computeHullCandidates(const double* points, int64_t n)
{
	pData->vCandidates = hullCandidates(points, n);
}

py::dict DualArrays::take()
{
	py::dict d;
	if(pData->pVoronoi)
	{
		Voronoi3& v(*pData->pVoronoi);
		const size_t numVertices(v.vVertices.size() / 3);
		d["vertices"] = adopt(std::move(v.vVertices), {static_cast<py::ssize_t>(numVertices), 3});
		d["ridge_points"] = adopt(std::move(v.vRidgePoints), {rows(v.vRidgePoints.size(), 2), 2});
		d["ridge_start"] = adopt(std::move(v.vRidgeStart), {static_cast<py::ssize_t>(v.vRidgeStart.size())});
		d["ridge_vertices"] = adopt(std::move(v.vRidgeVertices), {static_cast<py::ssize_t>(v.vRidgeVertices.size())});
		d["ridge_areas"] = adopt(std::move(v.vRidgeAreas), {static_cast<py::ssize_t>(v.vRidgeAreas.size())});
		d["volumes"] = adopt(std::move(v.vVolumes), {static_cast<py::ssize_t>(v.vVolumes.size())});
		pData->pVoronoi.reset();
	}
	if(!pData->vCandidates.empty())
	{
		const py::ssize_t n(static_cast<py::ssize_t>(pData->vCandidates.size()));
		d["candidates"] = adopt(std::move(pData->vCandidates), {n});
	}
	if(pData->pHull)
	{
		ConvexHull3& h(*pData->pHull);
		const py::ssize_t numFacets(static_cast<py::ssize_t>(h.numFacets()));
		d["simplices"] = adopt(std::move(h.vFacets), {numFacets, 3});
		d["neighbors"] = adopt(std::move(h.vNeighbors), {numFacets, 3});
		d["equations"] = adopt(std::move(h.vEquations), {numFacets, 4});
		d["volume"] = h.volume;
		d["area"] = h.area;
		pData->pHull.reset();
	}
	return d;
}

} // namespace vorn3d_python
