// Reading point clouds and writing tetrahedral meshes for the demo program.
#ifndef VORN3D_APPS_POINTFILE_H
#define VORN3D_APPS_POINTFILE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <vorn3d/Vorn_3D.h>

namespace vorn3dapp {

/// Reads the points of a file: a PLY file (ASCII or binary, the x, y, z
/// properties of its vertex element) when it starts with "ply", otherwise
/// plain text with "x y z" on each line (blank lines and lines starting with
/// '#' are skipped). On failure returns false and sets errorMessage to a text
/// that names the file and, where it applies, the line.
bool readPoints(const std::string& fileName, std::vector<VORN3D::Point3>& vPoints, std::string& errorMessage);

/// Where the vertices of a binary PLY file lie, for a reader that reads
/// vertex i alone at dataStart + i * recordBytes: the vertex element comes
/// first and has fixed-size properties only.
struct PlyLayout
{
	uint64_t dataStart = 0;
	uint64_t numVertices = 0;
	uint64_t recordBytes = 0;
	uint64_t aOffset[3] = {0, 0, 0}; // x, y, z within a record
	int aSize[3] = {0, 0, 0};
	char aKind[3] = {'f', 'f', 'f'};
	bool bSwap = false;              // byte order differs from the host's
};

/// Reads the layout from head, the first bytes of fileName (enough to hold
/// the header). False, with the reason in errorMessage, when the file is not
/// a binary PLY whose vertices can be read that way.
bool binaryPlyLayout(const std::string& fileName, const std::string& head, PlyLayout& layout, std::string& errorMessage);

/// The coordinates of one vertex record laid out as layout says.
void decodePlyVertex(const PlyLayout& layout, const unsigned char* pRecord, double* pXyz);

/// Writes the points as a binary little-endian PLY file with double x, y, z:
/// the format vorn3d-mpi reads in shares. Written under a temporary name and
/// renamed at the end.
bool writePly(const std::string& fileName, const std::vector<VORN3D::Point3>& vPoints, std::string& errorMessage);

/// Writes the cells as a legacy VTK unstructured grid (cell type 10,
/// tetrahedron), binary unless bAscii. The file is written under a temporary
/// name and renamed at the end, so a failed run leaves no partial file.
bool writeVtk(const std::string& fileName, const std::vector<VORN3D::Point3*>& vVertices,
	const std::vector<VORN3D::Tet3*>& vTets, bool bAscii, std::string& errorMessage);

/// Writes tetrahedra as a VTK XML unstructured grid (.vtu): Float64 points,
/// Int64 connectivity and offsets, UInt8 cell types (10, tetrahedron), all
/// in appended raw binary with UInt64 block headers, so no count or size is
/// limited to 32 bits. Point i comes from pointAt(i, xyz), the corners of
/// cell k from cellAt(k, corners); with pGlobalIndex (numPoints values) the
/// points also carry the point data array "GlobalIndex". Written under a
/// temporary name and renamed at the end.
bool writeVtu(const std::string& fileName, size_t numPoints, const std::function<void(size_t, double*)>& pointAt,
	size_t numCells, const std::function<void(size_t, int64_t*)>& cellAt, const int64_t* pGlobalIndex,
	std::string& errorMessage);

/// The mesh as a .vtu file, points numbered in the order of vVertices.
bool writeVtu(const std::string& fileName, const std::vector<VORN3D::Point3*>& vVertices,
	const std::vector<VORN3D::Tet3*>& vTets, std::string& errorMessage);

/// Summary of a legacy VTK file read back (for tests): point count, cell
/// count, and whether every cell type is 10. Returns false if the file is not
/// a VTK unstructured grid this writer could have produced.
struct VtkSummary
{
	long numPoints = 0;
	long numCells = 0;
	bool bAllTetrahedra = false;
	bool bIndicesInRange = false;
};
bool readVtkSummary(const std::string& fileName, VtkSummary& summary, std::string& errorMessage);

} // namespace vorn3dapp

#endif
