// Reading point clouds and writing tetrahedral meshes for the demo program.
#ifndef VORN3D_APPS_POINTFILE_H
#define VORN3D_APPS_POINTFILE_H

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

/// Writes the cells as a legacy VTK unstructured grid (cell type 10,
/// tetrahedron), binary unless bAscii. The file is written under a temporary
/// name and renamed at the end, so a failed run leaves no partial file.
bool writeVtk(const std::string& fileName, const std::vector<VORN3D::Point3*>& vVertices,
	const std::vector<VORN3D::Tet3*>& vTets, bool bAscii, std::string& errorMessage);

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
