// Times CGAL's parallel Delaunay_triangulation_3 (TBB, a lock grid over the
// points' bounding box) on one point file and a number of threads: the peer
// of Vorn3D's threaded builder.
//
//   vorn3d_run_cgal_parallel POINTFILE THREADS
#include <CGAL/Delaunay_triangulation_3.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/version.h>

#include <tbb/global_control.h>

#include <chrono>
#include <cstdlib>
#include <vector>

#include "PointFile.h"

using Kernel = CGAL::Exact_predicates_inexact_constructions_kernel;
using Tds = CGAL::Triangulation_data_structure_3<CGAL::Triangulation_vertex_base_3<Kernel>,
	CGAL::Delaunay_triangulation_cell_base_3<Kernel>, CGAL::Parallel_tag>;
using Delaunay = CGAL::Delaunay_triangulation_3<Kernel, Tds>;

int main(int argc, char** argv)
{
	if(argc != 3) vbench::fail("usage: vorn3d_run_cgal_parallel POINTFILE THREADS");
	const int numThreads(std::atoi(argv[2]));
	if(numThreads < 1) vbench::fail("THREADS must be at least 1");
	tbb::global_control limit(tbb::global_control::max_allowed_parallelism, static_cast<size_t>(numThreads));
	vbench::RunResult result;
	result.program = "cgal-parallel";
	result.version = CGAL_VERSION_STR;

	std::vector<Kernel::Point_3> vPoints;
	FILE* pFile(nullptr);
	vPoints.reserve(vbench::openPointFile(argv[1], pFile));
	std::fclose(pFile);
	vbench::readPointFile(argv[1], [&](double x, double y, double z) { vPoints.emplace_back(x, y, z); }, result.numPoints);
	result.baseKib = vbench::peakRssKib();

	CGAL::Bbox_3 box;
	for(const Kernel::Point_3& p: vPoints) box += p.bbox();
	const double cpu0 = vbench::cpuSeconds();
	auto t0 = std::chrono::steady_clock::now();
	// The lock grid is part of the parallel build; it is made inside the
	// timed span.
	Delaunay::Lock_data_structure locks(box, 50);
	Delaunay dt(vPoints.begin(), vPoints.end(), &locks);
	result.insertSeconds = vbench::secondsSince(t0);
	result.insertCpuSeconds = vbench::cpuSeconds() - cpu0;
	result.peakKib = vbench::peakRssKib();

	result.numCells = dt.number_of_finite_cells();
	result.numVertices = dt.number_of_vertices();
	result.readBackKib = vbench::peakRssKib();
	result.volume = vbench::finiteCellVolume(dt);
	vbench::printResult(result);
	return 0;
}
