// Reading each process's share of the input points.
#ifndef VORN3D_DISTRIBUTED_INPUT_H
#define VORN3D_DISTRIBUTED_INPUT_H

#include <mpi.h>

#include <cstdint>
#include <string>
#include <vector>

#include <vorn3d/Vorn_3D.h>

namespace vorn3dmpi {

/// One process's share of the input: the points with input indices
/// firstIndex, firstIndex + 1, ... (a contiguous block, the blocks in rank
/// order), out of numTotal.
struct InputShare
{
	std::vector<VORN3D::Point3> vPoints;
	int64_t firstIndex = 0;
	int64_t numTotal = 0;
	/// Bytes this process read from the file.
	uint64_t bytesRead = 0;
	/// Whether each process read only its share (binary PLY).
	bool bByShare = false;
};

/// First input index of process rank's block of numTotal points.
int64_t shareStart(int64_t numTotal, int rank, int size);

/// Reads this process's share of fileName. A binary PLY file whose vertex
/// element comes first with fixed-size properties (what `vorn3d_demo POINTS
/// --write-ply FILE` writes) is read with MPI-IO, each process reading only
/// the records of its block; rank 0 also reads the header. Any other file the
/// demo reads (text, ASCII PLY) is read whole by every process, which keeps
/// its block. Collective; false on every process, with the reason in
/// errorMessage, if the file cannot be read.
bool readShare(MPI_Comm comm, const std::string& fileName, InputShare& share, std::string& errorMessage);

} // namespace vorn3dmpi

#endif
