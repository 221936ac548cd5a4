// Length of the location walk per insertion, in a copy of the library built
// with the walk counters on (see bench/CMakeLists.txt; the shipped library has
// none).
//
//   walk_stats POINTFILE [fixed|ideal]
//
// fixed (default): one bulk insertion through Vorn_3D, in the library's own
//   order, exactly as a user calls it.
// ideal: the same points in the order of a true Hilbert curve over the cube
//   spanned by the largest extent (every axis split at its own middle), then
//   the library's batches and walks on that order. The difference between the
//   two is what the library's fixed order costs on the set.
//
// Prints one line: walks, mean / 99th percentile / maximum tests per walk,
// walks over 2,000 tests, walks that met the watchdog (over 10,000), the
// insertion's wall time and the number of cells. The time includes the
// counters; compare it only with the other mode of this program.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "Dt3.h"
#include "PointFile.h"
#include "StdoutCapture.h"
#include "Vorn_3D.h"

using VORN3D::Point3;
using VORN3D::Tet3;

namespace VORN3D {
uint64_t walkStatsTests = 0;
std::vector<uint32_t> vWalkLengths;
void walkStatsEndOfWalk()
{
	vWalkLengths.push_back(static_cast<uint32_t>(walkStatsTests));
	walkStatsTests = 0;
}
} // namespace VORN3D

namespace {

/// Hilbert index of a point with 21-bit integer coordinates (Skilling's
/// transposition of the axes, then the bits interleaved), 63 bits.
uint64_t hilbertIndex(uint32_t aX[3])
{
	const int numBits(21);
	// Undo the excess work of the inverse transform.
	for(uint32_t q = 1u << (numBits - 1); q > 1; q >>= 1)
	{
		const uint32_t p(q - 1);
		for(int i = 0; i < 3; ++i)
		{
			if(aX[i] & q)
			{
				aX[0] ^= p;
			}
			else
			{
				const uint32_t t((aX[0] ^ aX[i]) & p);
				aX[0] ^= t;
				aX[i] ^= t;
			}
		}
	}
	// Gray encoding.
	for(int i = 1; i < 3; ++i) aX[i] ^= aX[i - 1];
	uint32_t t(0);
	for(uint32_t q = 1u << (numBits - 1); q > 1; q >>= 1)
	{
		if(aX[2] & q) t ^= q - 1;
	}
	for(int i = 0; i < 3; ++i) aX[i] ^= t;
	uint64_t key(0);
	for(int b = numBits - 1; b >= 0; --b)
	{
		for(int i = 0; i < 3; ++i) key = (key << 1) | ((aX[i] >> b) & 1u);
	}
	return key;
}

/// The points sorted along a Hilbert curve over the cube of the largest extent.
void sortIdeal(std::vector<Point3>& vPoints)
{
	double aMin[3] = {1e308, 1e308, 1e308}, aMax[3] = {-1e308, -1e308, -1e308};
	for(const Point3& p : vPoints)
	{
		const double a[3] = {p.x(), p.y(), p.z()};
		for(int c = 0; c < 3; ++c)
		{
			aMin[c] = std::min(aMin[c], a[c]);
			aMax[c] = std::max(aMax[c], a[c]);
		}
	}
	const double extent(std::max({aMax[0] - aMin[0], aMax[1] - aMin[1], aMax[2] - aMin[2]}));
	const double scale((1u << 21) * (1.0 - 1e-9) / extent);
	std::vector<std::pair<uint64_t, size_t>> vKeys;
	for(size_t i = 0; i < vPoints.size(); ++i)
	{
		const Point3& p(vPoints[i]);
		uint32_t aX[3] = {static_cast<uint32_t>((p.x() - aMin[0]) * scale),
			static_cast<uint32_t>((p.y() - aMin[1]) * scale), static_cast<uint32_t>((p.z() - aMin[2]) * scale)};
		vKeys.emplace_back(hilbertIndex(aX), i);
	}
	std::sort(vKeys.begin(), vKeys.end());
	std::vector<Point3> vSorted;
	vSorted.reserve(vPoints.size());
	for(const auto& key : vKeys) vSorted.push_back(vPoints[key.second]);
	vPoints.swap(vSorted);
}

} // namespace

int main(int argc, char** argv)
{
	if(argc < 2 || argc > 3) vbench::fail("usage: walk_stats POINTFILE [fixed|ideal]");
	const std::string mode(argc == 3 ? argv[2] : "fixed");
	if(mode != "fixed" && mode != "ideal") vbench::fail("mode must be fixed or ideal");
	std::vector<Point3> vPoints;
	uint64_t numPoints(0);
	vbench::readPointFile(argv[1], [&](double x, double y, double z) { vPoints.emplace_back(x, y, z); }, numPoints);

	size_t numCells(0);
	double seconds(0.0), cpuSeconds(0.0);
	std::string messages;
	{
		vtest::StdoutCapture capture;
		if(mode == "fixed")
		{
			VORN3D::Vorn_3D dt;
			std::vector<Point3*> vHandles;
			const double cpu0(vbench::cpuSeconds());
			const auto t0(std::chrono::steady_clock::now());
			dt.insert(vPoints, vHandles);
			seconds = vbench::secondsSince(t0);
			cpuSeconds = vbench::cpuSeconds() - cpu0;
			std::vector<Tet3*> vTets;
			dt.getTetrahedra(vTets);
			numCells = vTets.size();
		}
		else
		{
			sortIdeal(vPoints);
			// The first points through the store make the first cells; the rest
			// are vertices of this program's own, inserted in the order above.
			const size_t numFirst(std::min<size_t>(64, vPoints.size()));
			std::vector<Point3> vFirst(vPoints.begin(), vPoints.begin() + static_cast<long>(numFirst));
			std::vector<Point3> vRest(vPoints.begin() + static_cast<long>(numFirst), vPoints.end());
			std::vector<Point3*> vRestPtrs;
			for(Point3& p : vRest) vRestPtrs.push_back(&p);
			VORN3D::Dt3 dt(nullptr);
			std::vector<Point3*> vHandles;
			const double cpu0(vbench::cpuSeconds());
			const auto t0(std::chrono::steady_clock::now());
			dt.insert(vFirst, vHandles);
			std::vector<Tet3*> vStart;
			dt.getAllTetrahedra(vStart);
			if(vStart.empty()) vbench::fail("the first points are coplanar");
			dt.triangulate(vRestPtrs, vStart[0]);
			seconds = vbench::secondsSince(t0);
			cpuSeconds = vbench::cpuSeconds() - cpu0;
			numCells = dt.getNumTets();
		}
		messages = capture.str();
	}
	std::vector<uint32_t>& v(VORN3D::vWalkLengths);
	std::sort(v.begin(), v.end());
	double sum(0.0);
	for(uint32_t n : v) sum += n;
	const size_t numLong(static_cast<size_t>(v.end() - std::upper_bound(v.begin(), v.end(), 2000u)));
	const size_t numWatchdog(static_cast<size_t>(v.end() - std::upper_bound(v.begin(), v.end(), 10000u)));
	std::printf("%s %s walks=%zu mean=%.1f p99=%u max=%u over2000=%zu watchdog=%zu insert_s=%.3f cpu_s=%.3f cells=%zu\n", argv[1],
		mode.c_str(), v.size(), v.empty() ? 0.0 : sum / v.size(), v.empty() ? 0 : v[v.size() * 99 / 100],
		v.empty() ? 0 : v.back(), numLong, numWatchdog, seconds, cpuSeconds, numCells);
	return 0;
}
