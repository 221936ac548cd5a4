// Processor time of this process, and the part of it spent inside the MPI
// calls that wait for other processes: on a shared machine (or while MPI
// polls for a slower process) the rest is the work itself.
#ifndef VORN3D_DISTRIBUTED_CLOCK_H
#define VORN3D_DISTRIBUTED_CLOCK_H

#include <sys/resource.h>

namespace vorn3dmpi {

inline double cpuSeconds()
{
	rusage usage{};
	getrusage(RUSAGE_SELF, &usage);
	return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
		1e-6 * static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
}

/// Processor seconds spent inside the collective calls so far.
inline double waitingCpuSeconds = 0.0;

/// Adds the processor time of its lifetime to waitingCpuSeconds.
class WaitClock
{
public:
	WaitClock(): start(cpuSeconds()) {}
	~WaitClock() { waitingCpuSeconds += cpuSeconds() - start; }
	WaitClock(const WaitClock&) = delete;
	WaitClock& operator=(const WaitClock&) = delete;

private:
	double start;
};

} // namespace vorn3dmpi

#endif
