// Times CGAL's Delaunay_triangulation_3 (exact predicates, inexact
// constructions) on one point file, the way users normally call it: one
// insert of the whole range, which sorts the points along a Hilbert curve
// first.
//
//   vorn3d_run_cgal POINTFILE
#include <CGAL/Delaunay_triangulation_3.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/version.h>

#include <chrono>
#include <vector>

#include "PointFile.h"

using Kernel = CGAL::Exact_predicates_inexact_constructions_kernel;
using Delaunay = CGAL::Delaunay_triangulation_3<Kernel>;

int main(int argc, char** argv)
{
	if(argc != 2) vbench::fail("usage: vorn3d_run_cgal POINTFILE");
	vbench::RunResult result;
	result.program = "cgal";
	result.version = CGAL_VERSION_STR;

	std::vector<Kernel::Point_3> vPoints;
	FILE* pFile(nullptr);
	vPoints.reserve(vbench::openPointFile(argv[1], pFile));
	std::fclose(pFile);
	vbench::readPointFile(argv[1], [&](double x, double y, double z) { vPoints.emplace_back(x, y, z); }, result.numPoints);
	result.baseKib = vbench::peakRssKib();

	Delaunay dt;
	const double cpu0 = vbench::cpuSeconds();
	auto t0 = std::chrono::steady_clock::now();
	dt.insert(vPoints.begin(), vPoints.end());
	result.insertSeconds = vbench::secondsSince(t0);
	result.insertCpuSeconds = vbench::cpuSeconds() - cpu0;
	result.peakKib = vbench::peakRssKib();

	t0 = std::chrono::steady_clock::now();
	result.numCells = dt.number_of_finite_cells();
	result.numVertices = dt.number_of_vertices();
	result.readBackSeconds = vbench::secondsSince(t0);
	result.readBackKib = vbench::peakRssKib();
	result.volume = vbench::finiteCellVolume(dt);
	vbench::printResult(result);
	return 0;
}
