// What the parts of DistributedMesh share: the layout of records and
// queries in messages, the facet order of a cell, and small helpers for
// exchanging records and silencing the library's reports.
#ifndef VORN3D_DISTRIBUTED_MESHRECORDS_H
#define VORN3D_DISTRIBUTED_MESHRECORDS_H

#include <mpi.h>

#include <cstddef>
#include <cstdint>
#include <iostream>
#include <streambuf>
#include <vector>

#include <vorn3d/Point3.h>

#include "Clock.h"
#include "Transfer.h"

namespace vorn3dmpi {

using VORN3D::Point3;

// A record is a point in messages: x, y, z and the global index (gidWord).
constexpr size_t REC = 4;
// A ball query: centre, radius, whether the answer may be cut, and the
// cell's four corners.
constexpr int QUERY = 17;
// The most points one answer to a ball query carries, and the most points
// inside the sphere that such an answer looks at.
constexpr size_t MAX_ANSWER = 64;
constexpr size_t MAX_FOUND = 4 * MAX_ANSWER;

// Corners of facet i (the one opposite corner i) in the order whose normal
// (b-a)x(c-a) points out of a positively oriented cell.
constexpr int OUTWARD[4][3] = {{1, 2, 3}, {0, 3, 2}, {0, 1, 3}, {0, 2, 1}};

// The library reports each bulk insertion on standard output; this program
// prints its own report instead.
class NullBuffer: public std::streambuf
{
protected:
	int overflow(int c) override { return traits_type::not_eof(c); }
};

class QuietOutput
{
public:
	QuietOutput(): pOld(std::cout.rdbuf(&null)) {}
	~QuietOutput() { std::cout.rdbuf(pOld); }

private:
	NullBuffer null;
	std::streambuf* pOld;
};

inline void xyz(const Point3* p, double* out)
{
	out[0] = p->x();
	out[1] = p->y();
	out[2] = p->z();
}

/// Sends vOut[q] to every process q; returns what arrived, in rank order,
/// with the number of words from each process in vCounts.
inline std::vector<double> exchange(MPI_Comm comm, const std::vector<std::vector<double>>& vOut, std::vector<int64_t>& vCounts)
{
	WaitClock clock;
	return exchangeWords(comm, vOut, vCounts);
}

/// The owner of every record of an exchange's answer.
inline std::vector<int> ownersOf(const std::vector<int64_t>& vCounts)
{
	std::vector<int> vOwner;
	for(size_t q = 0; q < vCounts.size(); ++q) vOwner.insert(vOwner.end(), static_cast<size_t>(vCounts[q]) / REC, static_cast<int>(q));
	return vOwner;
}

} // namespace vorn3dmpi

#endif
