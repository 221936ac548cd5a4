// Moving 8-byte words between processes with 64-bit counts.
//
// Messages of vorn3d-mpi are arrays of 8-byte words: coordinates as doubles,
// global indices as the bits of a 64-bit integer (never converted to a
// floating-point value). MPI counts and displacements are int, so a
// transfer whose counts pass what one call can carry goes in chunks.
#ifndef VORN3D_DISTRIBUTED_TRANSFER_H
#define VORN3D_DISTRIBUTED_TRANSFER_H

#include <mpi.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <vector>

#include "Transport.h"

namespace vorn3dmpi {

using vorn3dregions::gidOfWord;
using vorn3dregions::gidWord;

/// The most words one MPI call moves: every count and displacement handed to
/// MPI stays within int.
constexpr int64_t MAX_WORDS_PER_CALL = INT_MAX;

/// Sends vOut[q] to process q, for every q. Returns what arrived, in rank
/// order, and the number of words from each process in vCounts. Collective.
/// chunk (at most MAX_WORDS_PER_CALL) bounds the words of one MPI call;
/// tests lower it.
std::vector<double> exchangeWords(MPI_Comm comm, const std::vector<std::vector<double>>& vOut, std::vector<int64_t>& vCounts,
	int64_t chunk = MAX_WORDS_PER_CALL);

/// Every process's vMine, to every process, in rank order; vCounts as above.
/// Collective.
std::vector<double> allGatherWords(MPI_Comm comm, const std::vector<double>& vMine, std::vector<int64_t>& vCounts,
	int64_t chunk = MAX_WORDS_PER_CALL);

/// Every process's vMine, to root only (the others get nothing back).
/// Collective.
std::vector<double> gatherWords(MPI_Comm comm, int root, const std::vector<double>& vMine, std::vector<int64_t>& vCounts,
	int64_t chunk = MAX_WORDS_PER_CALL);

} // namespace vorn3dmpi

#endif
