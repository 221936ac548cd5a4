// vorn3d._core: the compiled part of the Python package vorn3d.
//
// A Triangulation owns one Vorn_3D and keeps the numbering that Python sees:
// every vertex carries the first input index of its coordinates (the Point3
// index) and every cell its row in `simplices` (the cell's custom index), so
// that a located cell is a simplex number in O(1). The package's __init__.py
// converts and checks the input and derives the other members from the
// arrays made here.
#include <vorn3d/FlatWalk3.h>
#include <vorn3d/ParallelDelaunay3.h>
#include <vorn3d/Vorn_3D.h>

#include "vorn3d_dual.h"

#include <Dual3.h>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <limits>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace py = pybind11;
using namespace VORN3D;

namespace {

using PointArray = py::array_t<double, py::array::c_style | py::array::forcecast>;

/// Raised as vorn3d.DelaunayError (a RuntimeError).
struct DelaunayError : std::runtime_error
{
	using std::runtime_error::runtime_error;
};

// The library keeps a few process-wide values (cell numbering, counters), and
// the capture below swaps std::cout's buffer: one library call at a time, in
// whichever Python thread it comes from.
std::mutex libraryMutex;

/// Redirects what the library writes to std::cout while it lives: passed on
/// to the buffer it replaced when verbose, dropped otherwise. Nothing is
/// kept, so a long run with a chatty library costs no memory; failures are
/// reported through the exceptions themselves.
class CoutCapture : public std::streambuf
{
public:
	explicit CoutCapture(bool bPassOn_): pPrevious(std::cout.rdbuf(this)), bPassOn(bPassOn_) {}
	~CoutCapture() override { std::cout.rdbuf(pPrevious); }
	CoutCapture(const CoutCapture&) = delete;
	CoutCapture& operator=(const CoutCapture&) = delete;

protected:
	int overflow(int c) override
	{
		if(c == traits_type::eof()) return traits_type::not_eof(c);
		if(bPassOn) pPrevious->sputc(static_cast<char>(c));
		return c;
	}
	std::streamsize xsputn(const char* s, std::streamsize n) override
	{
		if(bPassOn) pPrevious->sputn(s, n);
		return n;
	}
	int sync() override { return bPassOn ? pPrevious->pubsync() : 0; }

private:
	std::streambuf* pPrevious;
	bool bPassOn;
};

/// Runs work on the library without the GIL and with its output redirected.
/// Input the library rejected (VornInputError) becomes ValueError, any other
/// VornException DelaunayError, each with the exception's own report.
template<class Work>
void callLibrary(bool bVerbose, Work&& work)
{
	std::string failure;
	bool bBadInput(false);
	{
		py::gil_scoped_release noGil;
		std::lock_guard<std::mutex> lock(libraryMutex);
		CoutCapture capture(bVerbose);
		try
		{
			work();
		}
		catch(const VornInputError& e)
		{
			failure = e.detail();
			bBadInput = true;
		}
		catch(const VornException& e)
		{
			failure = *e.detail() != '\0' ? e.detail() : e.what();
		}
	}
	if(failure.empty()) return;
	if(bBadInput) throw py::value_error(failure);
	throw DelaunayError(failure);
}

/// Largest value an index array may hold and still be int32 (as numpy
/// widens its integer arrays only when their values need it). Lowered by the
/// tests to reach the int64 path on small meshes.
int64_t int32Limit = std::numeric_limits<int32_t>::max();

/// A numpy array that takes over the vector's buffer (no copy).
template<class T>
py::array toNumpy(std::vector<T>&& v, std::vector<py::ssize_t> shape)
{
	auto* pOwned(new std::vector<T>(std::move(v)));
	py::capsule owner(pOwned, [](void* p) { delete static_cast<std::vector<T>*>(p); });
	return py::array_t<T>(std::move(shape), pOwned->data(), owner);
}

/// Calls work with an int32_t or an int64_t null pointer: int32 when every
/// value of the array to be made is at most maxValue.
template<class Work>
auto withIndexType(int64_t maxValue, Work&& work)
{
	if(maxValue <= int32Limit) return work(static_cast<int32_t*>(nullptr));
	return work(static_cast<int64_t*>(nullptr));
}

void requireRows(const PointArray& a, const char* name)
{
	if(a.ndim() != 2 || a.shape(1) != 3) throw py::value_error(std::string(name) + " must have shape (n, 3)");
}

class Triangulation
{
public:
	Triangulation(bool bVerbose_, bool bPerturb): bVerbose(bVerbose_)
	{
		callLibrary(bVerbose, [this, bPerturb] {
			pDt.reset(new Vorn_3D);
			pDt->setVerbosity(bVerbose);
			pDt->setPerturbation(bPerturb);
		});
	}
	~Triangulation()
	{
		std::lock_guard<std::mutex> lock(libraryMutex);
		CoutCapture capture(bVerbose);
		pDt.reset();
	}
	Triangulation(const Triangulation&) = delete;
	Triangulation& operator=(const Triangulation&) = delete;

	/// Inserts the points, numbered on from the points inserted before, and
	/// returns (representative, simplices, neighbors): for each new point the
	/// input index of the vertex that stands for it, then the whole mesh,
	/// cells positively oriented, neighbour i across the facet opposite
	/// corner i (-1 on the hull). Cell numbers are int64 when there are more
	/// cells than int32 can number. With bVoronoi a fourth item follows: the
	/// Voronoi cells as voronoi_arrays gives them with drop_wedges, read from
	/// the mesh together with the cells (which then come in a spatial
	/// order), or None where the mesh has no cell or needs int64 numbers.
	py::tuple insert(const PointArray& points, bool bVoronoi)
	{
		requireRows(points, "points");
		const size_t n(static_cast<size_t>(points.shape(0)));
		// Point3 numbers its vertices with an int.
		if(n > static_cast<size_t>(std::numeric_limits<int32_t>::max() - numPoints))
			throw py::value_error("too many points for 32-bit indices");
		const double* xyz(points.data());
		const int32_t first(numPoints);
		std::vector<int32_t> vRepresentative(n), vSimplices;
		callLibrary(bVerbose, [&] {
			std::vector<Point3> vPoints;
			vPoints.reserve(n);
			for(size_t i = 0; i < n; ++i) vPoints.emplace_back(xyz[3 * i], xyz[3 * i + 1], xyz[3 * i + 2]);
			std::vector<Point3*> vHandles;
			pDt->insert(vPoints, vHandles);
			// A vertex is named after the first input point with its
			// coordinates; earlier calls have named theirs already.
			for(size_t i = 0; i < n; ++i)
			{
				Point3* pVtx(vHandles[i]);
				if(pVtx->getIndex() < 0) pVtx->setIndex(first + static_cast<int32_t>(i));
				vRepresentative[i] = pVtx->getIndex();
			}
		});
		numPoints += static_cast<int32_t>(n);
		std::vector<Tet3*>().swap(vWideCells);
		if(bVoronoi && pDt->is3D())
		{
			vorn3d_python::DualArrays arrays;
			FlatCells3 cells;
			bool bNarrow(false);
			callLibrary(bVerbose, [&] {
				try
				{
					arrays.computeVoronoi(*pDt, numPoints, cells);
					bNarrow = static_cast<int64_t>(cells.vCorners.size() / 4) - 1 <= int32Limit;
				}
				catch(const std::invalid_argument&)
				{
					// More cells than int32 numbers: exported below.
				}
				if(bNarrow) arrays.dropWedges();
			});
			if(bNarrow)
			{
				const py::ssize_t numCells(static_cast<py::ssize_t>(cells.vCorners.size() / 4));
				return py::make_tuple(toNumpy(std::move(vRepresentative), {static_cast<py::ssize_t>(n)}),
					toNumpy(std::move(cells.vCorners), {numCells, 4}), toNumpy(std::move(cells.vNeighbors), {numCells, 4}),
					arrays.take());
			}
		}
		std::vector<Tet3*> vTets;
		if(pDt->is3D()) callLibrary(bVerbose, [&] { pDt->getTetrahedra(vTets); });
		const size_t numCells(vTets.size());
		// Cells are numbered through their custom index while an int holds
		// every number; beyond that in address order, found by bisection.
		if(static_cast<int64_t>(numCells) - 1 > int32Limit)
		{
			std::sort(vTets.begin(), vTets.end());
			vWideCells = vTets;
		}
		else
		{
			for(size_t k = 0; k < numCells; ++k) vTets[k]->setCustomIndex(static_cast<int>(k));
		}
		vSimplices.resize(4 * numCells);
		for(size_t k = 0; k < numCells; ++k)
			for(int i = 0; i < 4; ++i) vSimplices[4 * k + static_cast<size_t>(i)] = vTets[k]->getCorner(i)->getIndex();
		py::array neighbors(withIndexType(static_cast<int64_t>(numCells) - 1, [&](auto* pType) {
			using Index = std::remove_pointer_t<decltype(pType)>;
			std::vector<Index> vNeighbors(4 * numCells);
			{
				py::gil_scoped_release noGil;
				for(size_t k = 0; k < numCells; ++k)
					for(int i = 0; i < 4; ++i) vNeighbors[4 * k + static_cast<size_t>(i)] =
						static_cast<Index>(cellNumber(vTets[k]->getOppTet(i)));
			}
			return toNumpy(std::move(vNeighbors), {static_cast<py::ssize_t>(numCells), 4});
		}));
		py::array simplices(toNumpy(std::move(vSimplices), {static_cast<py::ssize_t>(numCells), 4}));
		py::array representative(toNumpy(std::move(vRepresentative), {static_cast<py::ssize_t>(n)}));
		if(bVoronoi) return py::make_tuple(representative, simplices, neighbors, py::none());
		return py::make_tuple(representative, simplices, neighbors);
	}

	/// For each query row the number of a cell that contains it, -1 outside
	/// the convex hull (and for non-finite queries); int64 where the cell
	/// numbers are.
	py::array findSimplex(const PointArray& queries)
	{
		requireRows(queries, "xi");
		const size_t n(static_cast<size_t>(queries.shape(0)));
		const double* xyz(queries.data());
		return withIndexType(vWideCells.empty() ? 0 : std::numeric_limits<int64_t>::max(), [&](auto* pType) {
			using Index = std::remove_pointer_t<decltype(pType)>;
			std::vector<Index> vResult(n);
			callLibrary(bVerbose, [&] {
				for(size_t i = 0; i < n; ++i)
					vResult[i] = static_cast<Index>(cellNumber(pDt->locate(Point3(xyz[3 * i], xyz[3 * i + 1], xyz[3 * i + 2]))));
			});
			return toNumpy(std::move(vResult), {static_cast<py::ssize_t>(n)});
		});
	}

	bool is3D() const { return pDt->is3D(); }

private:
	/// The number of a cell of the current mesh, -1 for none.
	int64_t cellNumber(const Tet3* pTet) const
	{
		if(pTet == nullptr) return -1;
		if(vWideCells.empty()) return pTet->getCustomIndex();
		return std::lower_bound(vWideCells.begin(), vWideCells.end(), pTet) - vWideCells.begin();
	}

	std::unique_ptr<Vorn_3D> pDt;
	bool bVerbose;
	int32_t numPoints = 0;
	/// The cells in address order when there are too many for int numbers.
	std::vector<Tet3*> vWideCells;
};

/// Tetrahedralises (n, 3) points on `workers` threads (all hardware threads
/// when 0) and returns (representative, simplices, neighbors) as
/// Triangulation::insert does for its first call; no object stays behind.
py::tuple buildParallelArrays(const PointArray& points, int workers, bool bVerbose, bool bPerturb)
{
	requireRows(points, "points");
	const int64_t n(static_cast<int64_t>(points.shape(0)));
	if(n > std::numeric_limits<int32_t>::max()) throw py::value_error("too many points for 32-bit indices");
	FlatMesh3 mesh;
	callLibrary(bVerbose, [&] { buildParallel(points.data(), n, workers, bPerturb, mesh); });
	const int64_t numCells(mesh.numCells());
	py::array neighbors(withIndexType(numCells - 1, [&](auto* pType) {
		using Index = std::remove_pointer_t<decltype(pType)>;
		if constexpr(std::is_same_v<Index, int64_t>) return toNumpy(std::move(mesh.vNeighbors), {numCells, 4});
		else
		{
			std::vector<Index> vNarrow;
			{
				py::gil_scoped_release noGil;
				vNarrow.assign(mesh.vNeighbors.begin(), mesh.vNeighbors.end());
				std::vector<int64_t>().swap(mesh.vNeighbors);
			}
			return toNumpy(std::move(vNarrow), {numCells, 4});
		}
	}));
	return py::make_tuple(toNumpy(std::move(mesh.vRepresentative), {static_cast<py::ssize_t>(n)}),
		toNumpy(std::move(mesh.vCorners), {numCells, 4}), neighbors);
}

/// For each (n, 3) query row the number of a cell of the mesh given by
/// points, simplices and neighbors (as build_parallel returns them) that
/// contains it, -1 outside the convex hull and for non-finite queries; int64
/// when neighbors is. The arrays are checked first, as the caller may have
/// written into them.
py::array findSimplexFlat(const PointArray& points, const py::array_t<int32_t, py::array::c_style | py::array::forcecast>& simplices,
	const py::array& neighbors, const PointArray& queries)
{
	requireRows(points, "points");
	requireRows(queries, "xi");
	const bool bWide(neighbors.dtype().is(py::dtype::of<int64_t>()));
	using Wide = py::array_t<int64_t, py::array::c_style | py::array::forcecast>;
	using Narrow = py::array_t<int32_t, py::array::c_style | py::array::forcecast>;
	// Exactly one of these holds the neighbours.
	const Wide wide(bWide ? Wide::ensure(neighbors) : Wide());
	const Narrow narrow(bWide ? Narrow() : Narrow::ensure(neighbors));
	const py::array& held(bWide ? static_cast<const py::array&>(wide) : static_cast<const py::array&>(narrow));
	if(!held || simplices.ndim() != 2 || simplices.shape(1) != 4 || held.ndim() != 2 || held.shape(1) != 4 ||
		held.shape(0) != simplices.shape(0))
		throw py::value_error("simplices and neighbors must have one shape (m, 4)");
	const int64_t numCells(static_cast<int64_t>(simplices.shape(0)));
	const int64_t numPoints(static_cast<int64_t>(points.shape(0)));
	const int32_t* pCorners(simplices.data());
	bool bValid(true);
	{
		py::gil_scoped_release noGil;
		for(int64_t k = 0; k < 4 * numCells; ++k)
		{
			const int64_t across(bWide ? wide.data()[k] : narrow.data()[k]);
			bValid = bValid && pCorners[k] >= 0 && pCorners[k] < numPoints && across >= -1 && across < numCells;
		}
	}
	if(!bValid) throw py::value_error("simplices or neighbors hold an index out of range");
	const size_t n(static_cast<size_t>(queries.shape(0)));
	const double* xyz(queries.data());
	return withIndexType(bWide ? std::numeric_limits<int64_t>::max() : 0, [&](auto* pType) {
		using Index = std::remove_pointer_t<decltype(pType)>;
		std::vector<Index> vResult(n);
		{
			py::gil_scoped_release noGil;
			FlatWalk3 walk(bWide ? FlatWalk3(pCorners, wide.data(), numCells, points.data())
				: FlatWalk3(pCorners, narrow.data(), numCells, points.data()));
			for(size_t i = 0; i < n; ++i) vResult[i] = static_cast<Index>(walk.locate(xyz + 3 * i));
		}
		return toNumpy(std::move(vResult), {static_cast<py::ssize_t>(n)});
	});
}

/// The edges of a mesh as compressed rows: the vertices joined to vertex v
/// by an edge are indices[indptr[v]:indptr[v + 1]], in increasing order.
/// Each array is int32 when its values fit, int64 otherwise.
py::tuple vertexNeighbors(const py::array_t<int32_t, py::array::c_style | py::array::forcecast>& simplices,
	int32_t numPoints)
{
	if(simplices.ndim() != 2 || simplices.shape(1) != 4) throw py::value_error("simplices must have shape (m, 4)");
	if(numPoints < 0) throw py::value_error("npoints must not be negative");
	const size_t numCorners(static_cast<size_t>(simplices.size()));
	const int32_t* pCorner(simplices.data());
	// vStart[v + 1] counts, then starts, then ends the edges of vertex v.
	std::vector<size_t> vStart(static_cast<size_t>(numPoints) + 2, 0);
	std::vector<int32_t> vIndices;
	bool bInRange(true);
	{
		py::gil_scoped_release noGil;
		// Bucket the three edges leaving each corner of each cell by their
		// first vertex, then sort and deduplicate every bucket in place.
		for(size_t k = 0; k < numCorners; ++k)
		{
			if(pCorner[k] < 0 || pCorner[k] >= numPoints) bInRange = false;
			else vStart[static_cast<size_t>(pCorner[k]) + 2] += 3;
		}
		if(bInRange)
		{
			for(size_t v = 2; v < vStart.size(); ++v) vStart[v] += vStart[v - 1];
			vIndices.resize(3 * numCorners);
			for(size_t k = 0; k < numCorners; ++k)
			{
				const int32_t* pCell(pCorner + (k & ~size_t(3)));
				size_t& next(vStart[static_cast<size_t>(pCorner[k]) + 1]);
				for(size_t j = 0; j < 4; ++j)
					if(pCell[j] != pCorner[k]) vIndices[next++] = pCell[j];
			}
			// vStart[v + 1] is now the end of bucket v, vStart[v] its start;
			// after the loop vStart[v + 1] is the end of row v once compacted.
			size_t numKept(0), begin(0);
			for(size_t v = 0; v + 2 < vStart.size(); ++v)
			{
				const size_t end(vStart[v + 1]);
				std::sort(vIndices.begin() + static_cast<std::ptrdiff_t>(begin),
					vIndices.begin() + static_cast<std::ptrdiff_t>(end));
				int32_t previous(-1);
				for(size_t i = begin; i < end; ++i)
				{
					if(vIndices[i] != previous) vIndices[numKept++] = previous = vIndices[i];
				}
				begin = end;
				vStart[v + 1] = numKept;
			}
			vIndices.resize(numKept);
			vIndices.shrink_to_fit();
		}
	}
	if(!bInRange) throw py::value_error("simplices hold an index outside [0, npoints)");
	const size_t numRows(static_cast<size_t>(numPoints) + 1);
	py::array indptr(withIndexType(static_cast<int64_t>(vIndices.size()), [&](auto* pType) {
		using Index = std::remove_pointer_t<decltype(pType)>;
		std::vector<Index> v(numRows);
		for(size_t r = 0; r < numRows; ++r) v[r] = static_cast<Index>(vStart[r]);
		return toNumpy(std::move(v), {static_cast<py::ssize_t>(numRows)});
	}));
	std::vector<size_t>().swap(vStart);
	py::array indices(withIndexType(static_cast<int64_t>(numPoints) - 1, [&](auto* pType) {
		using Index = std::remove_pointer_t<decltype(pType)>;
		const py::ssize_t numIndices(static_cast<py::ssize_t>(vIndices.size()));
		if constexpr(std::is_same_v<Index, int32_t>) return toNumpy(std::move(vIndices), {numIndices});
		else return toNumpy(std::vector<Index>(vIndices.begin(), vIndices.end()), {numIndices});
	}));
	return py::make_tuple(indptr, indices);
}

/// The convex hull of (n, 3) points as a dict of arrays (see vorn3d_dual.h).
py::dict convexHull(const PointArray& points)
{
	requireRows(points, "points");
	vorn3d_python::DualArrays arrays;
	callLibrary(false, [&] { arrays.computeConvexHull(points.data(), static_cast<int64_t>(points.shape(0))); });
	return arrays.take();
}

} // namespace

PYBIND11_MODULE(_core, m)
{
	m.doc() = "Compiled core of vorn3d; use vorn3d.Delaunay.";
	py::register_exception<DelaunayError>(m, "DelaunayError", PyExc_RuntimeError);
	m.attr("__version__") = std::to_string(getMajorVersionNumber()) + "." + std::to_string(getMinorVersionNumber()) +
		"." + std::to_string(getRevisionNumber());
	py::class_<Triangulation>(m, "Triangulation", "One Delaunay tetrahedralisation and its numbering.")
		.def(py::init<bool, bool>(), py::arg("verbose"), py::arg("perturb") = false)
		.def("insert", &Triangulation::insert, py::arg("points"), py::arg("voronoi") = false,
			"Inserts (n, 3) points; returns (representative, simplices, neighbors), and with voronoi the "
			"Voronoi arrays of the mesh (or None) as a fourth item.")
		.def("find_simplex", &Triangulation::findSimplex, py::arg("xi"),
			"Cell number of each (n, 3) query row, -1 outside the hull.")
		.def_property_readonly("is_3d", &Triangulation::is3D, "True once a tetrahedron exists.");

	m.def("build_parallel", &buildParallelArrays, py::arg("points"), py::arg("workers"), py::arg("verbose"),
		py::arg("perturb"), "Tetrahedralises (n, 3) points on several threads; returns (representative, simplices, neighbors).");
	m.def("find_simplex_flat", &findSimplexFlat, py::arg("points"), py::arg("simplices"), py::arg("neighbors"),
		py::arg("xi"), "Cell number of each (n, 3) query row in the given mesh, -1 outside the hull.");
	m.def("convex_hull", &convexHull, py::arg("points"), "Convex hull of (n, 3) points as a dict of arrays.");
	vorn3d_python::bindDual(m);
	m.def("vertex_neighbors", &vertexNeighbors, py::arg("simplices"), py::arg("npoints"),
		"(indptr, indices) of the edges of the cells in simplices.");
	m.def(
		"_set_int32_limit", [](int64_t limit) { int32Limit = limit; }, py::arg("limit"),
		"For tests: index arrays whose values exceed limit become int64 (default 2**31 - 1).");
}
