// The dual layer in vorn3d._core; see vorn3d_dual.h.
#include "vorn3d_dual.h"

#include <Dual3.h>

#include <pybind11/numpy.h>

#include <algorithm>
#include <limits>
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
	// (duplicate, first) pairs of input positions; only for computeConvexHull.
	std::vector<int32_t> vDuplicates;
	bool bHullOfPoints = false;
	bool bSolid = true;
};

DualArrays::DualArrays(): pData(new Data) {}

DualArrays::~DualArrays()
{
	delete pData;
}

template<class Index>
void DualArrays::computeVoronoi(const int32_t* pCorners, const Index* pNeighbors, int64_t numCells, const double* pXyz,
	int32_t numPoints)
{
	pData->pVoronoi.reset(new Voronoi3);
	pData->pVoronoi->compute(pCorners, pNeighbors, numCells, pXyz, numPoints);
}

void DualArrays::computeVoronoi(const Vorn_3D& dt, int32_t numPoints, FlatCells3& cells)
{
	pData->pVoronoi.reset(new Voronoi3);
	pData->pVoronoi->compute(dt, numPoints, cells);
}

void DualArrays::dropWedges()
{
	Voronoi3& v(*pData->pVoronoi);
	const size_t numRidges(v.vRidgeAreas.size());
	size_t numKept(0);
	int64_t begin(0);
	for(size_t r = 0; r < numRidges; ++r)
	{
		const int64_t end(v.vRidgeStart[r + 1]);
		if(end - begin >= 3)
		{
			const int64_t to(v.vRidgeStart[numKept]);
			if(to != begin)
			{
				std::copy(v.vRidgeVertices.begin() + begin, v.vRidgeVertices.begin() + end, v.vRidgeVertices.begin() + to);
				v.vRidgePoints[2 * numKept] = v.vRidgePoints[2 * r];
				v.vRidgePoints[2 * numKept + 1] = v.vRidgePoints[2 * r + 1];
				v.vRidgeAreas[numKept] = v.vRidgeAreas[r];
			}
			v.vRidgeStart[++numKept] = to + (end - begin);
		}
		begin = end;
	}
	v.vRidgeVertices.resize(static_cast<size_t>(v.vRidgeStart[numKept]));
	v.vRidgeStart.resize(numKept + 1);
	v.vRidgePoints.resize(2 * numKept);
	v.vRidgeAreas.resize(numKept);
}

void DualArrays::computeConvexHull(const double* points, int64_t n)
{
	pData->bHullOfPoints = true;
	pData->pHull.reset(new ConvexHull3);
	pData->bSolid = pData->pHull->fromPoints(points, n);
	pData->vDuplicates = std::move(pData->pHull->vDuplicates);
	if(!pData->bSolid) pData->pHull.reset();
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
	if(pData->bHullOfPoints)
	{
		d["solid"] = pData->bSolid;
		const py::ssize_t numDuplicates(static_cast<py::ssize_t>(pData->vDuplicates.size() / 2));
		d["duplicates"] = adopt(std::move(pData->vDuplicates), {numDuplicates, 2});
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

namespace {

using Int64Array = py::array_t<int64_t, py::array::c_style | py::array::forcecast>;

/// The rows values[start[i]:start[i + 1]] as a list of lists of int. Each
/// distinct value is one shared int object, so that millions of entries
/// cost a reference each rather than an allocation.
py::list csrLists(const Int64Array& start, const Int64Array& values)
{
	if(start.ndim() != 1 || values.ndim() != 1 || start.size() < 1)
		throw py::value_error("start and values must be flat, start not empty");
	const int64_t* pStart(start.data());
	const int64_t* pValue(values.data());
	const py::ssize_t numRows(start.size() - 1);
	int64_t lo(0), hi(-1);
	for(py::ssize_t i = 0; i < values.size(); ++i)
	{
		lo = std::min(lo, pValue[i]);
		hi = std::max(hi, pValue[i]);
	}
	for(py::ssize_t r = 0; r < numRows; ++r)
		if(pStart[r] < 0 || pStart[r] > pStart[r + 1] || pStart[r + 1] > values.size())
			throw py::value_error("start must rise from 0 to len(values)");
	std::vector<py::int_> vInts;
	vInts.reserve(static_cast<size_t>(hi - lo + 1));
	for(int64_t v = lo; v <= hi; ++v) vInts.emplace_back(v);
	// Each new list is a container the cyclic collector would follow, and
	// it would run many times over the growing lists; lists of ints make no
	// cycles, so it is held off until they are built (five times faster for
	// 10^5 points' ridges).
	struct CollectorPause
	{
		py::module_ gc = py::module_::import("gc");
		bool bWasEnabled = gc.attr("isenabled")().cast<bool>();
		CollectorPause() { gc.attr("disable")(); }
		~CollectorPause()
		{
			if(bWasEnabled) gc.attr("enable")();
		}
	} pause;
	// Filled through the C API: each new list takes its items without the
	// checks and temporaries of item assignment.
	py::list rows(numRows);
	for(py::ssize_t r = 0; r < numRows; ++r)
	{
		PyObject* pRow(PyList_New(static_cast<py::ssize_t>(pStart[r + 1] - pStart[r])));
		if(pRow == nullptr) throw py::error_already_set();
		for(int64_t k = pStart[r]; k < pStart[r + 1]; ++k)
		{
			PyObject* pItem(vInts[static_cast<size_t>(pValue[k] - lo)].ptr());
			Py_INCREF(pItem);
			PyList_SET_ITEM(pRow, static_cast<py::ssize_t>(k - pStart[r]), pItem);
		}
		PyList_SET_ITEM(rows.ptr(), r, pRow);
	}
	return rows;
}

using CornerArray = py::array_t<int32_t, py::array::c_style | py::array::forcecast>;
using PointArray = py::array_t<double, py::array::c_style | py::array::forcecast>;

/// The Voronoi cells of a tetrahedralisation given as the arrays of a
/// Delaunay object, without its mesh; see DualArrays::take for the names.
template<class Index>
py::dict voronoiFromArrays(const CornerArray& simplices, const py::array_t<Index, py::array::c_style>& neighbors,
	const PointArray& points, bool bDropWedges)
{
	if(simplices.ndim() != 2 || simplices.shape(1) != 4 || neighbors.ndim() != 2 || neighbors.shape(1) != 4 ||
		neighbors.shape(0) != simplices.shape(0))
		throw py::value_error("simplices and neighbors must have the same shape (m, 4)");
	if(points.ndim() != 2 || points.shape(1) != 3) throw py::value_error("points must have shape (n, 3)");
	if(points.shape(0) > std::numeric_limits<int32_t>::max()) throw py::value_error("too many points for 32-bit indices");
	const int64_t numCells(simplices.shape(0));
	const int32_t numPoints(static_cast<int32_t>(points.shape(0)));
	const int32_t* pCorners(simplices.data());
	const Index* pNeighbors(neighbors.data());
	DualArrays arrays;
	bool bInRange(true);
	{
		py::gil_scoped_release noGil;
		// Numbers out of range would send the circulation outside the
		// arrays; the rest of a tetrahedralisation's structure is trusted.
		for(int64_t j = 0; j < 4 * numCells; ++j)
			bInRange &= pCorners[j] >= 0 && pCorners[j] < numPoints && pNeighbors[j] >= -1 && pNeighbors[j] < numCells;
		if(bInRange)
		{
			arrays.computeVoronoi(pCorners, pNeighbors, numCells, points.data(), numPoints);
			if(bDropWedges) arrays.dropWedges();
		}
	}
	if(!bInRange) throw py::value_error("simplices must name points, and neighbors cells or -1");
	return arrays.take();
}

/// The Voronoi vertices of every point's region in CSR form (start, values):
/// the cells with corner p in increasing order, after -1 where unbounded[p].
py::tuple regionArrays(const CornerArray& simplices, const py::array_t<bool, py::array::c_style | py::array::forcecast>& unbounded)
{
	if(simplices.ndim() != 2 || simplices.shape(1) != 4) throw py::value_error("simplices must have shape (m, 4)");
	if(unbounded.ndim() != 1 || unbounded.size() > std::numeric_limits<int32_t>::max())
		throw py::value_error("unbounded must be flat, one flag per point");
	const int32_t numPoints(static_cast<int32_t>(unbounded.size()));
	const int32_t* pCorners(simplices.data());
	const int64_t numCells(simplices.shape(0));
	for(int64_t j = 0; j < 4 * numCells; ++j)
		if(pCorners[j] < 0 || pCorners[j] >= numPoints) throw py::value_error("simplices must name points");
	// Voronoi3::regions reads only the point count and which cells are bounded.
	Voronoi3 flags;
	flags.numPoints = numPoints;
	flags.vVolumes.resize(static_cast<size_t>(numPoints));
	for(int32_t p = 0; p < numPoints; ++p)
		flags.vVolumes[static_cast<size_t>(p)] = unbounded.data()[p] ? std::numeric_limits<double>::infinity() : 0.0;
	std::vector<int64_t> vStart;
	std::vector<int32_t> vValues;
	{
		py::gil_scoped_release noGil;
		flags.regions(pCorners, numCells, vStart, vValues);
	}
	const py::ssize_t numStart(static_cast<py::ssize_t>(vStart.size())), numValues(static_cast<py::ssize_t>(vValues.size()));
	return py::make_tuple(adopt(std::move(vStart), {numStart}), adopt(std::move(vValues), {numValues}));
}

} // namespace

void bindDual(py::module_& m)
{
	m.def("voronoi_arrays", &voronoiFromArrays<int32_t>, py::arg("simplices"), py::arg("neighbors"), py::arg("points"),
		py::arg("drop_wedges") = false,
		"Voronoi cells (dict of arrays) of the tetrahedralisation with these simplices, neighbors (int32) and points; "
		"with drop_wedges, without the ridges of fewer than three vertices (-1 and one more).");
	m.def("voronoi_arrays", &voronoiFromArrays<int64_t>, py::arg("simplices"), py::arg("neighbors"), py::arg("points"),
		py::arg("drop_wedges") = false, "The same with int64 neighbors.");
	m.def("region_arrays", &regionArrays, py::arg("simplices"), py::arg("unbounded"),
		"(start, values): the cells with corner p, increasing, after -1 where unbounded[p].");
	m.def("csr_lists", &csrLists, py::arg("start"), py::arg("values"),
		"The rows values[start[i]:start[i + 1]] as a list of lists of int.");
}

} // namespace vorn3d_python
