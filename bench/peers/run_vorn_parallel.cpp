// Times Vorn3D's threaded builder on one point file and a number of threads,
// through the installed package as a user calls it. Its time includes the
// flat arrays of cells and neighbours it returns; THREADS 1 is one Vorn_3D
// with the same arrays, the reference of the speed-up.
//
//   vorn3d_run_vorn_parallel POINTFILE THREADS [--perturb]
#include <vorn3d/ParallelDelaunay3.h>
#include <vorn3d/Vorn_3D.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "PointFile.h"

int main(int argc, char** argv)
{
	if(argc < 3 || argc > 4 || (argc == 4 && std::strcmp(argv[3], "--perturb") != 0))
		vbench::fail("usage: vorn3d_run_vorn_parallel POINTFILE THREADS [--perturb]");
	const int numThreads(std::atoi(argv[2]));
	if(numThreads < 1) vbench::fail("THREADS must be at least 1");
	vbench::RunResult result;
	result.program = "vorn-parallel";
	result.version = VORN3D::getVorn3DVersion();

	std::vector<double> vXyz;
	FILE* pFile(nullptr);
	vXyz.reserve(3 * vbench::openPointFile(argv[1], pFile));
	std::fclose(pFile);
	vbench::readPointFile(argv[1], [&](double x, double y, double z) { vXyz.insert(vXyz.end(), {x, y, z}); }, result.numPoints);
	result.baseKib = vbench::peakRssKib();

	VORN3D::FlatMesh3 mesh;
	const double cpu0 = vbench::cpuSeconds();
	auto t0 = std::chrono::steady_clock::now();
	VORN3D::buildParallel(vXyz.data(), static_cast<int64_t>(result.numPoints), numThreads, argc == 4, mesh);
	result.insertSeconds = vbench::secondsSince(t0);
	result.insertCpuSeconds = vbench::cpuSeconds() - cpu0;
	result.peakKib = vbench::peakRssKib();
	result.readBackKib = result.peakKib;

	result.numCells = static_cast<uint64_t>(mesh.numCells());
	std::vector<char> vIsVertex(result.numPoints, 0);
	for(int32_t corner: mesh.vCorners) vIsVertex[static_cast<size_t>(corner)] = 1;
	for(char b: vIsVertex) result.numVertices += static_cast<uint64_t>(b);
	long double volumeSum(0.0L);
	for(size_t k = 0; k < mesh.vCorners.size(); k += 4)
	{
		const double* c[4];
		for(int i = 0; i < 4; ++i) c[i] = &vXyz[3 * static_cast<size_t>(mesh.vCorners[k + static_cast<size_t>(i)])];
		volumeSum += vbench::tetVolume(c[0][0], c[0][1], c[0][2], c[1][0], c[1][1], c[1][2], c[2][0], c[2][1], c[2][2],
			c[3][0], c[3][1], c[3][2]);
	}
	result.volume = static_cast<double>(volumeSum);
	vbench::printResult(result);
	return 0;
}
