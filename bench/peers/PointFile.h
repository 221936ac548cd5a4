// The point files of the side-by-side comparison and the result line that
// every runner prints.
//
// A point file is written once by vorn3d_gen_points and read by each runner,
// so that all programs triangulate bit-identical coordinates. Layout (native
// little-endian): 8 bytes magic "V3DPTS01", uint64 number of points, then
// x, y, z as doubles for each point.
#ifndef VORN3D_BENCH_POINTFILE_H
#define VORN3D_BENCH_POINTFILE_H

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

namespace vbench {

constexpr char POINT_FILE_MAGIC[8] = {'V', '3', 'D', 'P', 'T', 'S', '0', '1'};
// Every runner prints its result on a line of its own that starts with this,
// so the driver can skip whatever the libraries print themselves.
constexpr const char* RESULT_PREFIX = "VORN3D_BENCH_RESULT";

[[noreturn]] inline void fail(const std::string& what)
{
	std::printf("\nVORN3D_BENCH_ERROR %s\n", what.c_str());
	std::fflush(stdout);
	std::exit(2);
}

inline void writePointFile(const std::string& path, const std::vector<double>& vXyz)
{
	FILE* pFile = std::fopen(path.c_str(), "wb");
	if(pFile == nullptr) fail("cannot write " + path);
	const uint64_t numPoints = vXyz.size() / 3;
	bool bOk = std::fwrite(POINT_FILE_MAGIC, 1, 8, pFile) == 8;
	bOk = bOk && std::fwrite(&numPoints, sizeof(numPoints), 1, pFile) == 1;
	bOk = bOk && std::fwrite(vXyz.data(), sizeof(double), vXyz.size(), pFile) == vXyz.size();
	bOk = (std::fclose(pFile) == 0) && bOk;
	if(!bOk) fail("short write to " + path);
}

/// Reads the header and returns the number of points; the file stays open
/// at the first coordinate.
inline uint64_t openPointFile(const std::string& path, FILE*& pFile)
{
	pFile = std::fopen(path.c_str(), "rb");
	if(pFile == nullptr) fail("cannot read " + path);
	char aMagic[8];
	uint64_t numPoints(0);
	if(std::fread(aMagic, 1, 8, pFile) != 8 || std::memcmp(aMagic, POINT_FILE_MAGIC, 8) != 0) fail("not a point file: " + path);
	if(std::fread(&numPoints, sizeof(numPoints), 1, pFile) != 1) fail("truncated header: " + path);
	return numPoints;
}

/// Calls addPoint(x, y, z) for every point of the file. The file is read in
/// small chunks so that the reader adds next to nothing to the peak memory
/// that the runners report.
template<class AddPoint>
uint64_t readPointFile(const std::string& path, AddPoint addPoint, uint64_t& numPoints)
{
	FILE* pFile(nullptr);
	numPoints = openPointFile(path, pFile);
	std::vector<double> vChunk(3 * 8192);
	uint64_t numRead(0);
	while(numRead < numPoints)
	{
		const uint64_t numNow = std::min<uint64_t>(8192, numPoints - numRead);
		if(std::fread(vChunk.data(), sizeof(double), 3 * numNow, pFile) != 3 * numNow) fail("truncated data: " + path);
		for(uint64_t i = 0; i < numNow; ++i) addPoint(vChunk[3 * i], vChunk[3 * i + 1], vChunk[3 * i + 2]);
		numRead += numNow;
	}
	std::fclose(pFile);
	return numPoints;
}

/// Peak resident set size of this process so far, in KiB. VmHWM belongs to
/// the address space of this program; getrusage's ru_maxrss is kept across
/// exec and so starts at the size of the parent (the driver), which would
/// swamp the small sets. It serves only where /proc is missing.
inline long peakRssKib()
{
	if(FILE* pStatus = std::fopen("/proc/self/status", "r"))
	{
		char aLine[256];
		long kib(-1);
		while(std::fgets(aLine, sizeof(aLine), pStatus) != nullptr)
		{
			if(std::sscanf(aLine, "VmHWM: %ld kB", &kib) == 1) break;
		}
		std::fclose(pStatus);
		if(kib >= 0) return kib;
	}
	rusage usage;
	getrusage(RUSAGE_SELF, &usage);
	return usage.ru_maxrss;
}

/// CPU seconds of this process so far: unlike the wall clock, hardly
/// affected by other programs sharing the machine's cores.
inline double cpuSeconds()
{
	timespec t;
	clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
	return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

inline double secondsSince(std::chrono::steady_clock::time_point t0)
{
	return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

/// Absolute volume of the tetrahedron a, b, c, d. The runners add these up
/// over all cells: every program must cover the same convex hull once, which
/// checks even the degenerate sets, where the cells themselves may differ.
inline double tetVolume(double ax, double ay, double az, double bx, double by, double bz, double cx, double cy,
	double cz, double dx, double dy, double dz)
{
	const double ux = bx - ax, uy = by - ay, uz = bz - az;
	const double vx = cx - ax, vy = cy - ay, vz = cz - az;
	const double wx = dx - ax, wy = dy - ay, wz = dz - az;
	const double det = ux * (vy * wz - vz * wy) - uy * (vx * wz - vz * wx) + uz * (vx * wy - vy * wx);
	return std::fabs(det) / 6.0;
}

/// The summed absolute volume of the finite cells of a CGAL triangulation,
/// in long double so that rounding stays far below the tolerance with which
/// the driver compares the programs.
template<class Triangulation>
double finiteCellVolume(const Triangulation& dt)
{
	long double volumeSum(0.0L);
	for(auto it = dt.finite_cells_begin(); it != dt.finite_cells_end(); ++it)
	{
		const auto &a(it->vertex(0)->point()), &b(it->vertex(1)->point()), &c(it->vertex(2)->point()), &d(it->vertex(3)->point());
		volumeSum += tetVolume(a.x(), a.y(), a.z(), b.x(), b.y(), b.z(), c.x(), c.y(), c.z(), d.x(), d.y(), d.z());
	}
	return static_cast<double>(volumeSum);
}

/// What one run measured. baseKib is the peak before the insertion (input
/// points loaded), peakKib the peak right after the insertion, readBackKib
/// the peak after the cells have been read back (which may need memory of its
/// own, e.g. a sorted copy of all cell pointers).
struct RunResult
{
	std::string program;
	std::string version;
	uint64_t numPoints = 0;
	double insertSeconds = 0.0;
	double insertCpuSeconds = 0.0;
	double readBackSeconds = 0.0;
	uint64_t numCells = 0;
	uint64_t numVertices = 0;
	double volume = 0.0;
	long baseKib = 0;
	long peakKib = 0;
	long readBackKib = 0;
};

/// One line, key=value pairs separated by blanks; the leading line break
/// keeps it apart from output of the library that may lack one.
inline void printResult(const RunResult& r)
{
	std::fflush(stdout);
	std::printf("\n%s program=%s points=%llu insert_s=%.6f readback_s=%.6f cells=%llu vertices=%llu volume=%.17g base_kib=%ld peak_kib=%ld readback_peak_kib=%ld insert_cpu_s=%.6f version=%s\n",
		RESULT_PREFIX, r.program.c_str(), static_cast<unsigned long long>(r.numPoints), r.insertSeconds, r.readBackSeconds,
		static_cast<unsigned long long>(r.numCells), static_cast<unsigned long long>(r.numVertices), r.volume, r.baseKib, r.peakKib, r.readBackKib,
		r.insertCpuSeconds, r.version.c_str());
	std::fflush(stdout);
}

} // namespace vbench

#endif
