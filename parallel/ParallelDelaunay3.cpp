// buildParallel: small inputs, one thread and degenerate input the regions
// cannot agree on go to one Vorn_3D (buildInOneObject); the rest to the
// threaded build of RegionBuild.cpp.
#include "ParallelDelaunay3.h"

#include <vorn3d/Tet3.h>
#include <vorn3d/VornException.h>
#include <vorn3d/Vorn_3D.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <thread>

#include "PhaseClock.h"
#include "RegionBuild.h"
#include "Resident.h"

namespace VORN3D {

namespace {

using vorn3dregions::PhaseClock;

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
	PhaseClock phases(-1);
	dt.insert(vPoints, vHandles);
	phases.end("insert");

	mesh.numPoints = numPoints;
	vorn3dregions::reserveResident(mesh.vRepresentative, n);
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
	phases.end("cells");
	vorn3dregions::reserveResident(mesh.vCorners, 4 * numCells);
	vorn3dregions::reserveResident(mesh.vNeighbors, 4 * numCells);
	mesh.vCorners.resize(4 * numCells);
	mesh.vNeighbors.resize(4 * numCells);
	phases.end("resize");
	for(size_t k = 0; k < numCells; ++k)
	{
		for(int i = 0; i < 4; ++i)
		{
			mesh.vCorners[4 * k + static_cast<size_t>(i)] = vTets[k]->getCorner(i)->getIndex();
			const Tet3* pOpp(vTets[k]->getOppTet(i));
			mesh.vNeighbors[4 * k + static_cast<size_t>(i)] = pOpp == nullptr ? -1 : pOpp->getCustomIndex();
		}
	}
	phases.end("export");
}


} // namespace

void buildParallel(const double* pXyz, int64_t numPoints, int numThreads, bool bPerturb, FlatMesh3& mesh)
{
	if(numPoints < 0 || numPoints > std::numeric_limits<int32_t>::max())
		throw VornException("buildParallel: " + std::to_string(numPoints) + " points, at most 2^31 - 1 can be numbered");
	mesh = FlatMesh3();
	if(numThreads <= 0) numThreads = static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
	numThreads = static_cast<int>(std::min<int64_t>(numThreads, numPoints / vorn3dregions::MIN_POINTS_PER_THREAD));
	// Non-finite input goes to the one-object path, which rejects it.
	bool bFinite(true);
	for(int64_t k = 0; k < 3 * numPoints && bFinite; ++k) bFinite = std::isfinite(pXyz[k]);
	if(numThreads > 1 && bFinite && vorn3dregions::buildInRegions(pXyz, numPoints, numThreads, bPerturb, mesh)) return;
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
