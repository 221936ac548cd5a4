#include "ThreadTransport.h"

namespace vorn3dregions {

ThreadTeam::ThreadTeam(int numThreads_): numThreads(numThreads_)
{
	vSlots[0].resize(static_cast<size_t>(numThreads));
	vSlots[1].resize(static_cast<size_t>(numThreads));
}

void ThreadTeam::arrive()
{
	std::unique_lock<std::mutex> lock(mutex);
	if(bAborted) throw TeamAborted();
	const uint64_t mine(generation);
	if(++numWaiting == numThreads)
	{
		numWaiting = 0;
		++generation;
		arrived.notify_all();
		return;
	}
	arrived.wait(lock, [&] { return generation != mine || bAborted; });
	if(generation == mine) throw TeamAborted();
}

void ThreadTeam::abort()
{
	std::lock_guard<std::mutex> lock(mutex);
	bAborted = true;
	arrived.notify_all();
}

ThreadTransport::ThreadTransport(ThreadTeam& team_, int rank_): team(team_), myRank(rank_) {}

Incoming ThreadTransport::exchange(std::vector<std::vector<double>> vOut)
{
	std::vector<ThreadTeam::Slot>& vSlots(team.slots(numCalls++));
	vSlots[static_cast<size_t>(myRank)].pOut = std::make_shared<const std::vector<std::vector<double>>>(std::move(vOut));
	team.arrive();
	Incoming in;
	for(const ThreadTeam::Slot& slot : vSlots)
	{
		const std::vector<double>& vFor((*slot.pOut)[static_cast<size_t>(myRank)]);
		in.vFrom.push_back(vFor.data());
		in.vCount.push_back(static_cast<int64_t>(vFor.size()));
		in.vHold.push_back(slot.pOut);
	}
	return in;
}

Incoming ThreadTransport::fromMine(int root)
{
	std::vector<ThreadTeam::Slot>& vSlots(team.slots(numCalls - 1));
	Incoming in;
	for(const ThreadTeam::Slot& slot : vSlots)
	{
		const bool bTake(root < 0 || root == myRank);
		in.vFrom.push_back(bTake ? slot.pMine->data() : nullptr);
		in.vCount.push_back(bTake ? static_cast<int64_t>(slot.pMine->size()) : 0);
		if(bTake) in.vHold.push_back(slot.pMine);
	}
	return in;
}

Incoming ThreadTransport::allGather(std::vector<double> vMine)
{
	team.slots(numCalls++)[static_cast<size_t>(myRank)].pMine = std::make_shared<const std::vector<double>>(std::move(vMine));
	team.arrive();
	return fromMine(-1);
}

Incoming ThreadTransport::gather(int root, std::vector<double> vMine)
{
	team.slots(numCalls++)[static_cast<size_t>(myRank)].pMine = std::make_shared<const std::vector<double>>(std::move(vMine));
	team.arrive();
	return fromMine(root);
}

long ThreadTransport::sum(long value)
{
	std::vector<ThreadTeam::Slot>& vSlots(team.slots(numCalls++));
	vSlots[static_cast<size_t>(myRank)].value = value;
	team.arrive();
	long total(0);
	for(const ThreadTeam::Slot& slot : vSlots) total += slot.value;
	return total;
}

} // namespace vorn3dregions
