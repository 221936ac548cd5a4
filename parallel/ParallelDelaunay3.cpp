#include "ParallelDelaunay3.h"

#include <vorn3d/Tet3.h>
#include <vorn3d/VornException.h>
#include <vorn3d/Vorn_3D.h>

#include <limits>
#include <string>

namespace VORN3D {

namespace {

/// One Vorn_3D over all points, exported to mesh: the result every split
/// must reproduce, and the path for inputs too small to share.
void buildInOneObject(const double* pXyz, int64_t numPoints, bool bPerturb, FlatMesh3& mesh)
{
	const size_t n(static_cast<size_t>(numPoints));
	std::vector<Point3> vPoints;
	vPoints.reserve(n);
	for(size_t i = 0; i < n; ++i) vPoints.emplace_back(pXyz[3 * i], pXyz[3 * i + 1], pXyz[3 * i + 2]);
	Vorn_3D dt;
	dt.setVerbosity(false);
	dt.setPerturbation(bPerturb);
	std::vector<Point3*> vHandles;
	dt.insert(vPoints, vHandles);

	mesh.numPoints = numPoints;
	mesh.vRepresentative.resize(n);
	for(size_t i = 0; i < n; ++i)
	{
		Point3* pVtx(vHandles[i]);
		if(pVtx->getIndex() < 0) pVtx->setIndex(static_cast<int>(i));
		mesh.vRepresentative[i] = pVtx->getIndex();
	}
	std::vector<Tet3*> vTets;
	if(dt.is3D()) dt.getTetrahedra(vTets);
	const size_t numCells(vTets.size());
	// Cell numbers travel in the custom index while an int holds them.
	if(numCells > static_cast<size_t>(std::numeric_limits<int>::max()))
		throw VornException("buildParallel: more cells than one object can number");
	for(size_t k = 0; k < numCells; ++k) vTets[k]->setCustomIndex(static_cast<int>(k));
	mesh.vCorners.resize(4 * numCells);
	mesh.vNeighbors.resize(4 * numCells);
	for(size_t k = 0; k < numCells; ++k)
	{
		for(int i = 0; i < 4; ++i)
		{
			mesh.vCorners[4 * k + static_cast<size_t>(i)] = vTets[k]->getCorner(i)->getIndex();
			const Tet3* pOpp(vTets[k]->getOppTet(i));
			mesh.vNeighbors[4 * k + static_cast<size_t>(i)] = pOpp == nullptr ? -1 : pOpp->getCustomIndex();
		}
	}
}

} // namespace

void buildParallel(const double* pXyz, int64_t numPoints, int numThreads, bool bPerturb, FlatMesh3& mesh)
{
	if(numPoints < 0 || numPoints > std::numeric_limits<int32_t>::max())
		throw VornException("buildParallel: " + std::to_string(numPoints) + " points, at most 2^31 - 1 can be numbered");
	mesh = FlatMesh3();
	(void)numThreads;
	buildInOneObject(pXyz, numPoints, bPerturb, mesh);
}

FlatMesh3 buildParallel(const std::vector<Point3>& vPoints, int numThreads, bool bPerturb)
{
	std::vector<double> vXyz;
	vXyz.reserve(3 * vPoints.size());
	for(const Point3& p: vPoints) vXyz.insert(vXyz.end(), {p.x(), p.y(), p.z()});
	FlatMesh3 mesh;
	buildParallel(vXyz.data(), static_cast<int64_t>(vPoints.size()), numThreads, bPerturb, mesh);
	return mesh;
}

} // namespace VORN3D
