#include "MpiTransport.h"
#include "Clock.h"
#include "Transfer.h"

#include <memory>

namespace vorn3dmpi {

using vorn3dregions::Incoming;

namespace {

/// The receive buffer, held by the Incoming that points into it.
Incoming received(std::vector<double> vWords, const std::vector<int64_t>& vCounts)
{
	const auto pWords(std::make_shared<const std::vector<double>>(std::move(vWords)));
	Incoming in;
	int64_t at(0);
	for(int64_t count : vCounts)
	{
		in.vFrom.push_back(pWords->data() + at);
		in.vCount.push_back(count);
		at += count;
	}
	in.vHold.push_back(pWords);
	return in;
}

} // namespace

MpiTransport::MpiTransport(MPI_Comm comm_): comm(comm_), myRank(0), mySize(1)
{
	MPI_Comm_rank(comm, &myRank);
	MPI_Comm_size(comm, &mySize);
}

Incoming MpiTransport::exchange(std::vector<std::vector<double>> vOut)
{
	WaitClock clock;
	std::vector<int64_t> vCounts;
	std::vector<double> vWords(exchangeWords(comm, vOut, vCounts));
	return received(std::move(vWords), vCounts);
}

Incoming MpiTransport::allGather(std::vector<double> vMine)
{
	WaitClock clock;
	std::vector<int64_t> vCounts;
	std::vector<double> vWords(allGatherWords(comm, vMine, vCounts));
	return received(std::move(vWords), vCounts);
}

Incoming MpiTransport::gather(int root, std::vector<double> vMine)
{
	WaitClock clock;
	std::vector<int64_t> vCounts;
	std::vector<double> vWords(gatherWords(comm, root, vMine, vCounts));
	return received(std::move(vWords), vCounts);
}

long MpiTransport::sum(long value)
{
	WaitClock clock;
	long total(0);
	MPI_Allreduce(&value, &total, 1, MPI_LONG, MPI_SUM, comm);
	return total;
}

} // namespace vorn3dmpi
