#include "Transfer.h"

#include <algorithm>
#include <cstddef>

namespace vorn3dmpi {

namespace {

// Words travel as opaque 64-bit integers: MPI copies them bit for bit.
const MPI_Datatype WORD = MPI_UINT64_T;

/// Sends vSendCount[q] words from pSend + vSendOffset[q] to each process q
/// (send ranges may overlap) and returns what arrived, in rank order.
std::vector<double> transfer(MPI_Comm comm, const double* pSend, const std::vector<int64_t>& vSendCount,
	const std::vector<int64_t>& vSendOffset, std::vector<int64_t>& vCounts, int64_t chunk)
{
	int rank(0), size(1);
	MPI_Comm_rank(comm, &rank);
	MPI_Comm_size(comm, &size);
	chunk = std::max<int64_t>(1, std::min(chunk, MAX_WORDS_PER_CALL));
	vCounts.assign(static_cast<size_t>(size), 0);
	MPI_Alltoall(vSendCount.data(), 1, MPI_INT64_T, vCounts.data(), 1, MPI_INT64_T, comm);
	std::vector<int64_t> vRecvOffset(static_cast<size_t>(size) + 1, 0);
	for(size_t q = 0; q < static_cast<size_t>(size); ++q) vRecvOffset[q + 1] = vRecvOffset[q] + vCounts[q];
	std::vector<double> vRecv(static_cast<size_t>(vRecvOffset.back()));

	// One collective call when every count and displacement fits; all
	// processes must agree on that.
	int64_t mostSent(0);
	for(size_t q = 0; q < static_cast<size_t>(size); ++q)
		mostSent = std::max(mostSent, vSendOffset[q] + vSendCount[q]);
	int64_t mine(std::max(mostSent, vRecvOffset.back())), most(0);
	MPI_Allreduce(&mine, &most, 1, MPI_INT64_T, MPI_MAX, comm);
	if(most <= chunk)
	{
		std::vector<int> vSc(static_cast<size_t>(size)), vSd(static_cast<size_t>(size)), vRc(static_cast<size_t>(size)),
			vRd(static_cast<size_t>(size));
		for(size_t q = 0; q < static_cast<size_t>(size); ++q)
		{
			vSc[q] = static_cast<int>(vSendCount[q]);
			vSd[q] = static_cast<int>(vSendOffset[q]);
			vRc[q] = static_cast<int>(vCounts[q]);
			vRd[q] = static_cast<int>(vRecvOffset[q]);
		}
		MPI_Alltoallv(pSend, vSc.data(), vSd.data(), WORD, vRecv.data(), vRc.data(), vRd.data(), WORD, comm);
		return vRecv;
	}

	// Otherwise point to point, in pieces of at most chunk words; messages
	// between two processes with one tag arrive in the order sent.
	std::vector<MPI_Request> vRequests;
	const int tag(7431);
	for(int q = 0; q < size; ++q)
	{
		const size_t at(static_cast<size_t>(q));
		if(q == rank)
		{
			std::copy(pSend + vSendOffset[at], pSend + vSendOffset[at] + vSendCount[at], vRecv.data() + vRecvOffset[at]);
			continue;
		}
		for(int64_t done = 0; done < vCounts[at]; done += chunk)
		{
			vRequests.emplace_back();
			MPI_Irecv(vRecv.data() + vRecvOffset[at] + done, static_cast<int>(std::min(chunk, vCounts[at] - done)), WORD, q,
				tag, comm, &vRequests.back());
		}
		for(int64_t done = 0; done < vSendCount[at]; done += chunk)
		{
			vRequests.emplace_back();
			MPI_Isend(pSend + vSendOffset[at] + done, static_cast<int>(std::min(chunk, vSendCount[at] - done)), WORD, q, tag,
				comm, &vRequests.back());
		}
	}
	MPI_Waitall(static_cast<int>(vRequests.size()), vRequests.data(), MPI_STATUSES_IGNORE);
	return vRecv;
}

} // namespace

std::vector<double> exchangeWords(MPI_Comm comm, const std::vector<std::vector<double>>& vOut, std::vector<int64_t>& vCounts,
	int64_t chunk)
{
	std::vector<int64_t> vCount(vOut.size()), vOffset(vOut.size());
	std::vector<double> vSend;
	size_t total(0);
	for(const std::vector<double>& v : vOut) total += v.size();
	vSend.reserve(total);
	for(size_t q = 0; q < vOut.size(); ++q)
	{
		vOffset[q] = static_cast<int64_t>(vSend.size());
		vCount[q] = static_cast<int64_t>(vOut[q].size());
		vSend.insert(vSend.end(), vOut[q].begin(), vOut[q].end());
	}
	return transfer(comm, vSend.data(), vCount, vOffset, vCounts, chunk);
}

std::vector<double> allGatherWords(MPI_Comm comm, const std::vector<double>& vMine, std::vector<int64_t>& vCounts,
	int64_t chunk)
{
	int size(1);
	MPI_Comm_size(comm, &size);
	const std::vector<int64_t> vCount(static_cast<size_t>(size), static_cast<int64_t>(vMine.size()));
	return transfer(comm, vMine.data(), vCount, std::vector<int64_t>(static_cast<size_t>(size), 0), vCounts, chunk);
}

std::vector<double> gatherWords(MPI_Comm comm, int root, const std::vector<double>& vMine, std::vector<int64_t>& vCounts,
	int64_t chunk)
{
	int size(1);
	MPI_Comm_size(comm, &size);
	std::vector<int64_t> vCount(static_cast<size_t>(size), 0);
	vCount[static_cast<size_t>(root)] = static_cast<int64_t>(vMine.size());
	return transfer(comm, vMine.data(), vCount, std::vector<int64_t>(static_cast<size_t>(size), 0), vCounts, chunk);
}

} // namespace vorn3dmpi
