// Writing the cells of all processes into one file, each process its part.
#ifndef VORN3D_DISTRIBUTED_OUTPUT_H
#define VORN3D_DISTRIBUTED_OUTPUT_H

#include <mpi.h>

#include <cstdint>
#include <string>
#include <vector>

#include <vorn3d/Vorn_3D.h>

namespace vorn3dmpi {

/// One line per cell, "a b c d" (global indices). Collective; false on every
/// process if the file could not be written.
bool writeCells(MPI_Comm comm, const std::string& fileName, const std::vector<int64_t>& vQuads);

/// A parallel VTK XML unstructured grid: fileName (ending in ".pvtu") lists
/// one piece per process, "<name>_<rank>.vtu" beside it. Each piece holds
/// this process's cells (vQuads, four global indices each) over the points
/// vGids (increasing, with coordinates vXyz), which carry their global index
/// as the point data "GlobalIndex". Collective; false on every process if a
/// file could not be written.
bool writePvtu(MPI_Comm comm, const std::string& fileName, const std::vector<int64_t>& vQuads,
	const std::vector<int64_t>& vGids, const std::vector<double>& vXyz);

/// Records (x, y, z, global index word) as the points of a piece: global
/// indices increasing in vGids, coordinates in vXyz.
void recordsToPiece(const std::vector<double>& vRecords, std::vector<int64_t>& vGids, std::vector<double>& vXyz);

/// The name of process rank's piece of fileName (see writePvtu).
std::string pieceName(const std::string& fileName, int rank);

} // namespace vorn3dmpi

#endif
