// The transport between threads of one process: a receiver reads the
// senders' buffers in place. A sender hands its buffers over (moved, not
// copied) for the receivers to hold; the last holder frees them.
#ifndef VORN3D_PARALLEL_THREADTRANSPORT_H
#define VORN3D_PARALLEL_THREADTRANSPORT_H

#include <condition_variable>
#include <cstdint>
#include <exception>
#include <memory>
#include <mutex>
#include <vector>

#include "Transport.h"

namespace vorn3dregions {

/// What every thread of a build shares: the barrier and the slots where the
/// threads put what they send. Two sets of slots alternate, so a thread that
/// is one call ahead does not overwrite slots still being read (it cannot
/// get two calls ahead: each call waits for all threads).
class ThreadTeam
{
public:
	explicit ThreadTeam(int numThreads);
	int size() const { return numThreads; }
	/// Waits until all threads arrive. Throws TeamAborted once abort() was
	/// called, so that no thread waits for one that has left.
	void arrive();
	/// Called by a thread that leaves by an exception: the others stop at
	/// their next call.
	void abort();

	struct Slot
	{
		std::shared_ptr<const std::vector<std::vector<double>>> pOut;
		std::shared_ptr<const std::vector<double>> pMine;
		long value = 0;
	};
	std::vector<Slot>& slots(long call) { return vSlots[static_cast<size_t>(call & 1)]; }

private:
	int numThreads;
	std::mutex mutex;
	std::condition_variable arrived;
	int numWaiting = 0;
	uint64_t generation = 0;
	bool bAborted = false;
	std::vector<Slot> vSlots[2];
};

/// Thrown in the other threads when one thread of the team left.
struct TeamAborted: std::exception
{
	const char* what() const noexcept override { return "another thread of the build failed"; }
};

class ThreadTransport: public Transport
{
public:
	ThreadTransport(ThreadTeam& team, int rank);
	int rank() const override { return myRank; }
	int size() const override { return team.size(); }
	Incoming exchange(std::vector<std::vector<double>> vOut) override;
	Incoming allGather(std::vector<double> vMine) override;
	Incoming gather(int root, std::vector<double> vMine) override;
	long sum(long value) override;

private:
	Incoming fromMine(int root);
	ThreadTeam& team;
	int myRank;
	long numCalls = 0;
};

} // namespace vorn3dregions

#endif
