// The transfer helpers of vorn3d-mpi on several processes: every word
// arrives where it belongs, whether a transfer goes in one collective call or
// in chunks (forced here by chunk sizes of a few words), and global indices
// above 2^53, which no double holds exactly, come through unchanged.
// Prints "N passed, N failed" on rank 0; exits 1 on any failure.
#include <mpi.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "Transfer.h"

using namespace vorn3dmpi;

namespace {

int rank = 0, size = 1;
int numPassed = 0, numFailed = 0;

void check(bool bOk, const std::string& what)
{
	int mine(bOk ? 1 : 0), all(0);
	MPI_Allreduce(&mine, &all, 1, MPI_INT, MPI_MIN, MPI_COMM_WORLD);
	if(all) ++numPassed;
	else
	{
		++numFailed;
		if(!bOk) std::printf("FAILED on rank %d: %s\n", rank, what.c_str());
	}
}

/// Word k sent from process p to process q: an index past 2^53 with p, q and
/// k in its low bits, or a double.
int64_t expectedGid(int p, int q, int64_t k)
{
	return (int64_t(1) << 53) + 1 + (int64_t(p) << 40) + (int64_t(q) << 32) + k;
}
double expectedDouble(int p, int q, int64_t k) { return 0.5 + p * 1000.0 + q + k * 1e-3; }
int64_t countFrom(int p, int q, int seed) { return ((p * 7 + q * 3 + seed) % 5) * 3 + (p == q ? 2 : 0); }

} // namespace

int main(int argc, char** argv)
{
	MPI_Init(&argc, &argv);
	MPI_Comm_rank(MPI_COMM_WORLD, &rank);
	MPI_Comm_size(MPI_COMM_WORLD, &size);
	for(int64_t chunk : {int64_t(1), int64_t(2), int64_t(5), MAX_WORDS_PER_CALL})
	{
		const std::string name(" with chunk " + std::to_string(chunk));
		for(int seed = 0; seed < 3; ++seed)
		{
			// Even words are indices, odd ones doubles.
			std::vector<std::vector<double>> vOut(static_cast<size_t>(size));
			for(int q = 0; q < size; ++q)
				for(int64_t k = 0; k < countFrom(rank, q, seed); ++k)
					vOut[static_cast<size_t>(q)].push_back(k % 2 == 0 ? gidWord(expectedGid(rank, q, k)) : expectedDouble(rank, q, k));
			std::vector<int64_t> vCounts;
			const std::vector<double> vIn(exchangeWords(MPI_COMM_WORLD, vOut, vCounts, chunk));
			bool bOk(vCounts.size() == static_cast<size_t>(size));
			size_t at(0);
			for(int p = 0; bOk && p < size; ++p)
			{
				bOk = vCounts[static_cast<size_t>(p)] == countFrom(p, rank, seed);
				for(int64_t k = 0; bOk && k < vCounts[static_cast<size_t>(p)]; ++k, ++at)
					bOk = at < vIn.size() &&
						(k % 2 == 0 ? gidOfWord(vIn[at]) == expectedGid(p, rank, k) : vIn[at] == expectedDouble(p, rank, k));
			}
			check(bOk && at == vIn.size(), "exchangeWords" + name);
		}
		// Each process's own words, gathered everywhere and on the last rank.
		std::vector<double> vMine;
		for(int64_t k = 0; k < 3 + rank; ++k) vMine.push_back(gidWord(expectedGid(rank, rank, k)));
		std::vector<int64_t> vCounts;
		for(int root : {-1, size - 1})
		{
			const std::vector<double> vIn(root < 0 ? allGatherWords(MPI_COMM_WORLD, vMine, vCounts, chunk)
												   : gatherWords(MPI_COMM_WORLD, root, vMine, vCounts, chunk));
			const bool bReceives(root < 0 || root == rank);
			bool bOk(true);
			size_t at(0);
			for(int p = 0; p < size; ++p)
			{
				const int64_t expected(bReceives ? 3 + p : 0);
				bOk = bOk && vCounts[static_cast<size_t>(p)] == expected;
				for(int64_t k = 0; bOk && k < expected; ++k, ++at)
					bOk = at < vIn.size() && gidOfWord(vIn[at]) == expectedGid(p, p, k);
			}
			check(bOk && at == vIn.size(), (root < 0 ? "allGatherWords" : "gatherWords") + name);
		}
	}
	if(rank == 0) std::printf("%d passed, %d failed\n", numPassed, numFailed);
	MPI_Finalize();
	return numFailed == 0 ? 0 : 1;
}
