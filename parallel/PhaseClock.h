// Phase times of the parallel builder, printed in a profiling build only.
#ifndef VORN3D_PARALLEL_PHASECLOCK_H
#define VORN3D_PARALLEL_PHASECLOCK_H

#if defined(VORN3D_PARALLEL_PHASES)
#include <chrono>
#include <cstdio>
#include <ctime>
#endif

namespace vorn3dregions {

#if defined(VORN3D_PARALLEL_PHASES)
/// A profiling build (-DVORN3D_PARALLEL_PHASES) prints the wall and thread
/// processor seconds of each phase to standard error, per region (-1: the
/// one-object path).
class PhaseClock
{
public:
	explicit PhaseClock(int rank_): rank(rank_), wall(std::chrono::steady_clock::now()), cpu(cpuNow()) {}
	void end(const char* name)
	{
		const auto now(std::chrono::steady_clock::now());
		const double cpuAtEnd(cpuNow());
		std::fprintf(stderr, "  region %d %-12s wall %.3f cpu %.3f\n", rank, name, std::chrono::duration<double>(now - wall).count(),
			cpuAtEnd - cpu);
		wall = now;
		cpu = cpuAtEnd;
	}

private:
	static double cpuNow()
	{
		timespec ts;
		clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
		return static_cast<double>(ts.tv_sec) + 1e-9 * static_cast<double>(ts.tv_nsec);
	}
	int rank;
	std::chrono::steady_clock::time_point wall;
	double cpu;
};
#else
class PhaseClock
{
public:
	explicit PhaseClock(int) {}
	void end(const char*) {}
};
#endif

} // namespace vorn3dregions

#endif
