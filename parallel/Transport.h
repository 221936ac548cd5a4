// The collective operations that the regions of a split triangulation use
// to talk to each other, whether they are processes (MPI, in distributed/)
// or threads of one process (ThreadTransport).
//
// Messages are arrays of 8-byte words: coordinates as doubles, global
// indices as the bits of a 64-bit integer (gidWord). Every call is
// collective: all regions make the same calls in the same order.
#ifndef VORN3D_PARALLEL_TRANSPORT_H
#define VORN3D_PARALLEL_TRANSPORT_H

#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

namespace vorn3dregions {

/// A global index as a word of a message.
inline double gidWord(int64_t gid)
{
	double word;
	std::memcpy(&word, &gid, sizeof(word));
	return word;
}

/// The global index stored by gidWord.
inline int64_t gidOfWord(double word)
{
	int64_t gid;
	std::memcpy(&gid, &word, sizeof(gid));
	return gid;
}

/// The words that one collective call brought from every region, read where
/// they lie: a thread transport hands out the senders' own buffers, which
/// stay alive while any Incoming refers to them; an MPI transport its
/// receive buffer.
class Incoming
{
public:
	int numSources() const { return static_cast<int>(vFrom.size()); }
	/// The words from region q, and their number.
	const double* from(int q) const { return vFrom[static_cast<size_t>(q)]; }
	int64_t count(int q) const { return vCount[static_cast<size_t>(q)]; }
	int64_t total() const
	{
		int64_t sum(0);
		for(int64_t n : vCount) sum += n;
		return sum;
	}

	/// Filled by the transports: the buffers held, and per source region
	/// where its words start and how many there are.
	std::vector<std::shared_ptr<const void>> vHold;
	std::vector<const double*> vFrom;
	std::vector<int64_t> vCount;
};

class Transport
{
public:
	virtual ~Transport() = default;
	virtual int rank() const = 0;
	virtual int size() const = 0;
	/// Sends vOut[q] to region q, for every q (vOut has size() entries).
	virtual Incoming exchange(std::vector<std::vector<double>> vOut) = 0;
	/// Every region's vMine, to every region.
	virtual Incoming allGather(std::vector<double> vMine) = 0;
	/// Every region's vMine, to root only (the others receive nothing).
	virtual Incoming gather(int root, std::vector<double> vMine) = 0;
	/// The sum of value over all regions, on every region.
	virtual long sum(long value) = 0;
};

} // namespace vorn3dregions

#endif
