// What the parts of DistributedMesh share: the layout of records and
// queries in messages, the facet order of a cell, and silencing the
// library's reports.
#ifndef VORN3D_PARALLEL_MESHRECORDS_H
#define VORN3D_PARALLEL_MESHRECORDS_H

#include <cstddef>
#include <cstdint>
#include <iostream>
#include <streambuf>
#include <vector>

#include <vorn3d/Point3.h>

#include "Transport.h"

namespace vorn3dregions {

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

// The library reports each bulk insertion on standard output; a program that
// prints its own report (and runs one region per process, so that nothing
// else writes to standard output meanwhile) silences it.
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

} // namespace vorn3dregions

#endif
