// Times Vorn3D on one point file through the public interface only, as an
// installed user calls it: one bulk insert with handles, then the cells are
// read back (timed separately).
//
//   vorn3d_run_vorn POINTFILE
#include <vorn3d/Vorn_3D.h>

#include <chrono>
#include <vector>

#include "PointFile.h"

int main(int argc, char** argv)
{
	if(argc != 2) vbench::fail("usage: vorn3d_run_vorn POINTFILE");
	vbench::RunResult result;
	result.program = "vorn";
	result.version = VORN3D::getVorn3DVersion();

	std::vector<VORN3D::Point3> vPoints;
	FILE* pFile(nullptr);
	vPoints.reserve(vbench::openPointFile(argv[1], pFile));
	std::fclose(pFile);
	vbench::readPointFile(argv[1], [&](double x, double y, double z) { vPoints.emplace_back(x, y, z); }, result.numPoints);
	result.baseKib = vbench::peakRssKib();

	VORN3D::Vorn_3D dt;
	std::vector<VORN3D::Point3*> vHandles;
	const double cpu0 = vbench::cpuSeconds();
	auto t0 = std::chrono::steady_clock::now();
	dt.insert(vPoints, vHandles);
	result.insertSeconds = vbench::secondsSince(t0);
	result.insertCpuSeconds = vbench::cpuSeconds() - cpu0;
	result.peakKib = vbench::peakRssKib();

	t0 = std::chrono::steady_clock::now();
	std::vector<VORN3D::Tet3*> vTets;
	dt.getTetrahedra(vTets);
	result.readBackSeconds = vbench::secondsSince(t0);
	std::vector<VORN3D::Point3*> vVertices;
	dt.getVertices(vVertices);
	result.numCells = vTets.size();
	result.numVertices = vVertices.size();
	result.readBackKib = vbench::peakRssKib();
	// Summed in long double so that rounding stays far below the tolerance
	// with which the driver compares the programs.
	long double volumeSum(0.0L);
	for(const VORN3D::Tet3* pTet: vTets)
	{
		const VORN3D::Point3 *a(pTet->getCorner(0)), *b(pTet->getCorner(1)), *c(pTet->getCorner(2)), *d(pTet->getCorner(3));
		volumeSum += vbench::tetVolume(a->x(), a->y(), a->z(), b->x(), b->y(), b->z(), c->x(), c->y(), c->z(), d->x(),
			d->y(), d->z());
	}
	result.volume = static_cast<double>(volumeSum);
	vbench::printResult(result);
	return 0;
}
