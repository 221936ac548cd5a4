// vorn3d._core: the compiled part of the Python package vorn3d.
//
// A Triangulation owns one Vorn_3D and keeps the numbering that Python sees:
// every vertex carries the first input index of its coordinates (the Point3
// index) and every cell its row in `simplices` (the cell's custom index), so
// that a located cell is a simplex number in O(1). The package's __init__.py
// converts and checks the input and derives the other members from the
// arrays made here.
#include <vorn3d/Vorn_3D.h>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <limits>
#include <memory>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <utility>
#include <vector>

namespace py = pybind11;
using namespace VORN3D;

namespace {

using PointArray = py::array_t<double, py::array::c_style | py::array::forcecast>;
using IndexArray = py::array_t<int32_t>;

/// Raised as vorn3d.DelaunayError (a RuntimeError).
struct DelaunayError : std::runtime_error
{
	using std::runtime_error::runtime_error;
};

// The library keeps a few process-wide values (cell numbering, counters), and
// the capture below swaps std::cout's buffer: one library call at a time, in
// whichever Python thread it comes from.
std::mutex libraryMutex;

/// Collects what the library writes to std::cout while it lives and, when
/// asked, passes it on to the buffer it replaced.
class CoutCapture : public std::streambuf
{
public:
	explicit CoutCapture(bool bPassOn_): pPrevious(std::cout.rdbuf(this)), bPassOn(bPassOn_) {}
	~CoutCapture() override { std::cout.rdbuf(pPrevious); }
	CoutCapture(const CoutCapture&) = delete;
	CoutCapture& operator=(const CoutCapture&) = delete;
	const std::string& text() const { return captured; }

protected:
	int overflow(int c) override
	{
		if(c == traits_type::eof()) return traits_type::not_eof(c);
		captured.push_back(static_cast<char>(c));
		if(bPassOn) pPrevious->sputc(static_cast<char>(c));
		return c;
	}
	std::streamsize xsputn(const char* s, std::streamsize n) override
	{
		captured.append(s, static_cast<size_t>(n));
		if(bPassOn) pPrevious->sputn(s, n);
		return n;
	}
	int sync() override { return bPassOn ? pPrevious->pubsync() : 0; }

private:
	std::streambuf* pPrevious;
	bool bPassOn;
	std::string captured;
};

/// The library's report of a failure: its output from the first line that
/// names an error on, each line trimmed, joined by blanks.
std::string failureText(const std::string& output, const char* fallback)
{
	std::istringstream in(output);
	std::string line, text;
	while(std::getline(in, line))
	{
		const size_t first(line.find_first_not_of(" \t"));
		if(first == std::string::npos) continue;
		if(text.empty() && line.find("ERROR") == std::string::npos) continue;
		if(!text.empty()) text += ' ';
		text += line.substr(first);
	}
	return text.empty() ? fallback : text;
}

/// Runs work on the library without the GIL and with its output captured.
/// A VornException becomes ValueError when the library rejected the input,
/// DelaunayError otherwise.
template<class Work>
void callLibrary(bool bVerbose, Work&& work)
{
	std::string failure;
	{
		py::gil_scoped_release noGil;
		std::lock_guard<std::mutex> lock(libraryMutex);
		CoutCapture capture(bVerbose);
		try
		{
			work();
		}
		catch(const VornException& e)
		{
			failure = failureText(capture.text(), e.what());
		}
	}
	if(failure.empty()) return;
	if(failure.find("non-finite coordinate") != std::string::npos) throw py::value_error(failure);
	throw DelaunayError(failure);
}

/// A numpy array that takes over the vector's buffer (no copy).
IndexArray toNumpy(std::vector<int32_t>&& v, std::vector<py::ssize_t> shape)
{
	auto* pOwned(new std::vector<int32_t>(std::move(v)));
	py::capsule owner(pOwned, [](void* p) { delete static_cast<std::vector<int32_t>*>(p); });
	return IndexArray(std::move(shape), pOwned->data(), owner);
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
	/// corner i (-1 on the hull).
	py::tuple insert(const PointArray& points)
	{
		requireRows(points, "points");
		const size_t n(static_cast<size_t>(points.shape(0)));
		if(n > static_cast<size_t>(std::numeric_limits<int32_t>::max() - numPoints))
			throw py::value_error("too many points for 32-bit indices");
		const double* xyz(points.data());
		const int32_t first(numPoints);
		std::vector<int32_t> vRepresentative(n), vSimplices, vNeighbors;
		callLibrary(bVerbose, [&] {
			{
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
			}
			if(!pDt->is3D()) return;
			std::vector<Tet3*> vTets;
			pDt->getTetrahedra(vTets);
			for(size_t k = 0; k < vTets.size(); ++k) vTets[k]->setCustomIndex(static_cast<int>(k));
			vSimplices.resize(4 * vTets.size());
			vNeighbors.resize(4 * vTets.size());
			int32_t* pS(vSimplices.data());
			int32_t* pN(vNeighbors.data());
			for(const Tet3* pTet : vTets)
			{
				for(int i = 0; i < 4; ++i, ++pS, ++pN)
				{
					*pS = pTet->getCorner(i)->getIndex();
					const Tet3* pOpp(pTet->getOppTet(i));
					*pN = pOpp != nullptr ? pOpp->getCustomIndex() : -1;
				}
			}
		});
		numPoints += static_cast<int32_t>(n);
		const py::ssize_t numCells(static_cast<py::ssize_t>(vSimplices.size() / 4));
		return py::make_tuple(toNumpy(std::move(vRepresentative), {static_cast<py::ssize_t>(n)}),
			toNumpy(std::move(vSimplices), {numCells, 4}), toNumpy(std::move(vNeighbors), {numCells, 4}));
	}

	/// For each query row the number of a cell that contains it, -1 outside
	/// the convex hull (and for non-finite queries).
	IndexArray findSimplex(const PointArray& queries)
	{
		requireRows(queries, "xi");
		const size_t n(static_cast<size_t>(queries.shape(0)));
		const double* xyz(queries.data());
		std::vector<int32_t> vResult(n);
		callLibrary(bVerbose, [&] {
			for(size_t i = 0; i < n; ++i)
			{
				const Tet3* pTet(pDt->locate(Point3(xyz[3 * i], xyz[3 * i + 1], xyz[3 * i + 2])));
				vResult[i] = pTet != nullptr ? pTet->getCustomIndex() : -1;
			}
		});
		return toNumpy(std::move(vResult), {static_cast<py::ssize_t>(n)});
	}

	bool is3D() const { return pDt->is3D(); }

private:
	std::unique_ptr<Vorn_3D> pDt;
	bool bVerbose;
	int32_t numPoints = 0;
};

/// The edges of a mesh as compressed rows: the vertices joined to vertex v
/// by an edge are indices[indptr[v]:indptr[v + 1]], in increasing order.
py::tuple vertexNeighbors(const py::array_t<int32_t, py::array::c_style | py::array::forcecast>& simplices,
	int32_t numPoints)
{
	if(simplices.ndim() != 2 || simplices.shape(1) != 4) throw py::value_error("simplices must have shape (m, 4)");
	if(numPoints < 0) throw py::value_error("npoints must not be negative");
	const size_t numCorners(static_cast<size_t>(simplices.size()));
	const int32_t* pCorner(simplices.data());
	std::vector<int32_t> vIndptr(static_cast<size_t>(numPoints) + 1, 0), vIndices;
	bool bInRange(true);
	{
		py::gil_scoped_release noGil;
		// Bucket the three edges leaving each corner of each cell by their
		// first vertex, then sort and deduplicate every bucket in place.
		std::vector<size_t> vStart(vIndptr.size() + 1, 0);
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
			// vStart[v + 1] is now the end of bucket v, vStart[v] its start.
			size_t numKept(0);
			for(size_t v = 0; v + 1 < vIndptr.size(); ++v)
			{
				std::sort(vIndices.begin() + static_cast<std::ptrdiff_t>(vStart[v]),
					vIndices.begin() + static_cast<std::ptrdiff_t>(vStart[v + 1]));
				int32_t previous(-1);
				for(size_t i = vStart[v]; i < vStart[v + 1]; ++i)
				{
					if(vIndices[i] != previous) vIndices[numKept++] = previous = vIndices[i];
				}
				vIndptr[v + 1] = static_cast<int32_t>(numKept);
			}
			vIndices.resize(numKept);
			vIndices.shrink_to_fit();
		}
	}
	if(!bInRange) throw py::value_error("simplices hold an index outside [0, npoints)");
	const py::ssize_t numIndices(static_cast<py::ssize_t>(vIndices.size()));
	return py::make_tuple(toNumpy(std::move(vIndptr), {static_cast<py::ssize_t>(numPoints) + 1}),
		toNumpy(std::move(vIndices), {numIndices}));
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
		.def("insert", &Triangulation::insert, py::arg("points"),
			"Inserts (n, 3) points; returns (representative, simplices, neighbors).")
		.def("find_simplex", &Triangulation::findSimplex, py::arg("xi"),
			"Cell number of each (n, 3) query row, -1 outside the hull.")
		.def_property_readonly("is_3d", &Triangulation::is3D, "True once a tetrahedron exists.");
	m.def("vertex_neighbors", &vertexNeighbors, py::arg("simplices"), py::arg("npoints"),
		"(indptr, indices) of the edges of the cells in simplices.");
}
