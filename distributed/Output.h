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

/// A binary legacy VTK unstructured grid of tetrahedra. Its points are all
/// input points in input order (vAllPoints, needed on rank 0 only), so the
/// cells' global indices are its point numbers. Collective.
bool writeVtk(MPI_Comm comm, const std::string& fileName, const std::vector<VORN3D::Point3>& vAllPoints,
	const std::vector<int64_t>& vQuads);

} // namespace vorn3dmpi

#endif
