// The threaded builder on uniform random points, for scaling scripts:
//
//   parallel_build POINTS_N THREADS [--perturb]
//
// prints one line: "seconds S cells C peak_MiB M threads T points N", where S
// is the wall time of buildParallel alone (the points are drawn before),
// C the number of cells and M the peak resident memory of the process
// (VmHWM, input and output arrays included). THREADS 1 is the one-object
// path. The library's own reports on standard output are silenced.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <random>
#include <streambuf>
#include <vector>

#include <vorn3d/ParallelDelaunay3.h>

namespace {

double peakMiB()
{
	double mib(0.0);
	if(std::FILE* pStatus = std::fopen("/proc/self/status", "r"))
	{
		char aLine[256];
		long kib(0);
		while(std::fgets(aLine, sizeof(aLine), pStatus) != nullptr)
		{
			if(std::sscanf(aLine, "VmHWM: %ld kB", &kib) == 1) mib = static_cast<double>(kib) / 1024.0;
		}
		std::fclose(pStatus);
	}
	return mib;
}

class NullBuffer: public std::streambuf
{
protected:
	int overflow(int c) override { return traits_type::not_eof(c); }
};

} // namespace

int main(int argc, char** argv)
{
	if(argc < 3 || argc > 4 || (argc == 4 && std::strcmp(argv[3], "--perturb") != 0))
	{
		std::fprintf(stderr, "usage: parallel_build POINTS_N THREADS [--perturb]\n");
		return 2;
	}
	const long numPoints(std::atol(argv[1]));
	const int numThreads(std::atoi(argv[2]));
	const bool bPerturb(argc == 4);
	if(numPoints < 0)
	{
		std::fprintf(stderr, "parallel_build: POINTS_N must not be negative\n");
		return 2;
	}
	std::mt19937_64 rng(20261125);
	std::uniform_real_distribution<double> uni(0.0, 1.0);
	std::vector<double> vXyz(3 * static_cast<size_t>(numPoints));
	for(double& value : vXyz) value = uni(rng);

	VORN3D::FlatMesh3 mesh;
	NullBuffer null;
	std::streambuf* pOld(std::cout.rdbuf(&null));
	const auto start(std::chrono::steady_clock::now());
	VORN3D::buildParallel(vXyz.data(), numPoints, numThreads, bPerturb, mesh);
	const double seconds(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
	std::cout.rdbuf(pOld);
	std::printf("seconds %.3f cells %lld peak_MiB %.1f threads %d points %ld\n", seconds, static_cast<long long>(mesh.numCells()),
		peakMiB(), numThreads, numPoints);
	return 0;
}
