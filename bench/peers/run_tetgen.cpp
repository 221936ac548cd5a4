// Times TetGen's library call on one point file: plain Delaunay
// tetrahedralisation of the points, switch "Q" (quiet) only, no quality
// meshing. The time covers tetrahedralize() as a whole, which includes
// TetGen's own spatial sort and the copying of the tetrahedra into the
// output structure.
//
//   vorn3d_run_tetgen POINTFILE
#include <tetgen.h>

#include <chrono>

#include "PointFile.h"

int main(int argc, char** argv)
{
	if(argc != 2) vbench::fail("usage: vorn3d_run_tetgen POINTFILE");
	vbench::RunResult result;
	result.program = "tetgen";
	result.version = "1.5";

	tetgenio in, out;
	FILE* pFile(nullptr);
	const uint64_t numPoints = vbench::openPointFile(argv[1], pFile);
	std::fclose(pFile);
	in.firstnumber = 0;
	in.numberofpoints = static_cast<int>(numPoints);
	// tetgenio's destructor releases this with delete[].
	in.pointlist = new REAL[3 * numPoints];
	uint64_t i(0);
	vbench::readPointFile(argv[1], [&](double x, double y, double z) {
		in.pointlist[i++] = x;
		in.pointlist[i++] = y;
		in.pointlist[i++] = z;
	}, result.numPoints);
	result.baseKib = vbench::peakRssKib();

	char aSwitches[] = "Q";
	auto t0 = std::chrono::steady_clock::now();
	tetrahedralize(aSwitches, &in, &out);
	result.insertSeconds = vbench::secondsSince(t0);

	result.numCells = static_cast<uint64_t>(out.numberoftetrahedra);
	result.numVertices = static_cast<uint64_t>(out.numberofpoints);
	// TetGen hands its cells out inside tetrahedralize(): no separate read-back.
	result.peakKib = vbench::peakRssKib();
	result.readBackKib = result.peakKib;
	// Summed in long double so that rounding stays far below the tolerance
	// with which the driver compares the programs. Corner indices count from
	// in.firstnumber (0) and refer to TetGen's output points, which it
	// numbers itself (duplicates dropped).
	long double volumeSum(0.0L);
	for(int t = 0; t < out.numberoftetrahedra; ++t)
	{
		const int* aCorner = out.tetrahedronlist + t * out.numberofcorners;
		const REAL* a = out.pointlist + 3 * aCorner[0];
		const REAL* b = out.pointlist + 3 * aCorner[1];
		const REAL* c = out.pointlist + 3 * aCorner[2];
		const REAL* d = out.pointlist + 3 * aCorner[3];
		volumeSum += vbench::tetVolume(a[0], a[1], a[2], b[0], b[1], b[2], c[0], c[1], c[2], d[0], d[1], d[2]);
	}
	result.volume = static_cast<double>(volumeSum);
	vbench::printResult(result);
	return 0;
}
