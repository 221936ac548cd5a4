// vorn3d-mpi: the Delaunay tetrahedralisation of a point file, computed by
// several processes.
//
//   mpirun -np 4 vorn3d-mpi cloud.ply --cells cells.txt -o mesh.pvtu
//
// Every process reads its block of the file; the points go to the regions
// of a k-d split balanced by count (cut at the medians of a sample); each
// process triangulates its region and exchanges points with the others
// until all of its cells are certified (see DistributedMesh.h). Rank 0
// prints the time, the points moved and the peak memory of every phase.
#include <mpi.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <limits>
#include <string>
#include <vector>

#include <vorn3d/Vorn_3D.h>

#include "Clock.h"
#include "DistributedMesh.h"
#include "Resident.h"
#include "Output.h"
#include "Input.h"
#include "MpiTransport.h"
#include "Partition.h"
#include "Transfer.h"

using VORN3D::Point3;
using vorn3dmpi::cpuSeconds;
using vorn3dmpi::waitingCpuSeconds;

namespace {

const char* const USAGE =
	"usage: mpirun -np P vorn3d-mpi POINTS [--cells FILE] [-o OUT.pvtu]\n"
	"  POINTS        plain text \"x y z\" per line, or PLY (ASCII or binary)\n"
	"  --cells FILE  one line per tetrahedron: four 0-based indices into POINTS\n"
	"                (a repeated point is represented by its first occurrence)\n"
	"  -o OUT.pvtu   the tetrahedra as a parallel VTK XML unstructured grid: one\n"
	"                piece OUT_<rank>.vtu per process, its points carrying their\n"
	"                index into POINTS as \"GlobalIndex\"\n";

double peakMiB()
{
	if(FILE* pStatus = std::fopen("/proc/self/status", "r"))
	{
		char aLine[256];
		long kib(-1);
		while(std::fgets(aLine, sizeof(aLine), pStatus) != nullptr)
		{
			if(std::sscanf(aLine, "VmHWM: %ld kB", &kib) == 1) break;
		}
		std::fclose(pStatus);
		if(kib >= 0) return static_cast<double>(kib) / 1024.0;
	}
	return 0.0;
}

/// Collects the phases; each one's figures are reduced over the processes
/// when it ends, and rank 0 prints them.
class PhaseReport
{
public:
	explicit PhaseReport(MPI_Comm comm_): comm(comm_), start(std::chrono::steady_clock::now()), cpuStart(cpuSeconds()),
		waitStart(waitingCpuSeconds)
	{
		MPI_Comm_rank(comm, &rank);
		MPI_Comm_size(comm, &size);
	}
	/// Ends a phase; moved counts the points this process received in it.
	/// Prints the wall time, the processor time and the processor time
	/// outside the waiting MPI calls ("work"), each of the slowest process.
	/// Returns the sum of moved over all processes.
	long end(const std::string& name, long moved)
	{
		const double seconds(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
		const double phase[2] = {cpuSeconds() - cpuStart, cpuSeconds() - cpuStart - (waitingCpuSeconds - waitStart)};
		const double peak(peakMiB());
		double maxSeconds(0.0), maxPeak(0.0), maxPhase[2] = {0.0, 0.0};
		long total(0);
		MPI_Reduce(&seconds, &maxSeconds, 1, MPI_DOUBLE, MPI_MAX, 0, comm);
		MPI_Reduce(phase, maxPhase, 2, MPI_DOUBLE, MPI_MAX, 0, comm);
		MPI_Reduce(&peak, &maxPeak, 1, MPI_DOUBLE, MPI_MAX, 0, comm);
		MPI_Allreduce(&moved, &total, 1, MPI_LONG, MPI_SUM, comm);
		if(rank == 0)
		{
			std::printf("  %-22s %10.3f %10.3f %10.3f %14ld %12.1f\n", name.c_str(), maxSeconds, maxPhase[0], maxPhase[1], total,
				maxPeak);
			std::fflush(stdout);
		}
		totalSeconds += maxSeconds;
		if(name != "read" && name != "output")
		{
			computeSeconds += maxSeconds;
			computeCpuSeconds += phase[0];
			computeWorkSeconds += phase[1];
		}
		// The reports' own reductions count for no phase.
		cpuStart = cpuSeconds();
		waitStart = waitingCpuSeconds;
		start = std::chrono::steady_clock::now();
		return total;
	}
	double seconds() const { return totalSeconds; }
	/// All phases but reading the input and writing the output: wall time
	/// (the slowest process), this process's processor time and its work.
	double computeSeconds = 0.0;
	double computeCpuSeconds = 0.0;
	double computeWorkSeconds = 0.0;

private:
	MPI_Comm comm;
	int rank = 0, size = 1;
	std::chrono::steady_clock::time_point start;
	double cpuStart, waitStart;
	double totalSeconds = 0.0;
};

int run(MPI_Comm comm, int argc, char** argv)
{
	int rank(0), size(1);
	MPI_Comm_rank(comm, &rank);
	MPI_Comm_size(comm, &size);
	std::string inputFile, cellsFile, vtkFile;
	for(int i = 1; i < argc; ++i)
	{
		const std::string arg(argv[i]);
		if(arg == "-h" || arg == "--help")
		{
			if(rank == 0) std::printf("%s", USAGE);
			return 0;
		}
		std::string* pTarget(arg == "--cells" ? &cellsFile : (arg == "-o" ? &vtkFile : nullptr));
		std::string problem;
		if(pTarget != nullptr)
		{
			if(i + 1 < argc) *pTarget = argv[++i];
			else problem = arg + " needs a file name";
		}
		else if(!arg.empty() && arg[0] == '-') problem = "unknown option " + arg;
		else if(inputFile.empty()) inputFile = arg;
		else problem = "more than one points file given";
		if(!problem.empty())
		{
			if(rank == 0) std::fprintf(stderr, "vorn3d-mpi: %s\n%s", problem.c_str(), USAGE);
			return 2;
		}
	}
	if(inputFile.empty())
	{
		if(rank == 0) std::fprintf(stderr, "vorn3d-mpi: no points file given\n%s", USAGE);
		return 2;
	}
	if(!vtkFile.empty() && (vtkFile.size() <= 5 || vtkFile.compare(vtkFile.size() - 5, 5, ".pvtu") != 0))
	{
		if(rank == 0) std::fprintf(stderr, "vorn3d-mpi: -o needs a file name ending in .pvtu\n%s", USAGE);
		return 2;
	}

	if(rank == 0)
	{
		std::printf("%s, vorn3d-mpi on %d process%s\n", VORN3D::getVorn3DVersion().c_str(), size, size == 1 ? "" : "es");
		std::printf("  %-22s %10s %10s %10s %14s %12s\n", "phase", "time_s", "cpu_s", "work_s", "points_moved", "peak_MiB");
	}
	PhaseReport report(comm);

	vorn3dmpi::InputShare share;
	std::string errorMessage;
	if(!vorn3dmpi::readShare(comm, inputFile, share, errorMessage))
	{
		if(rank == 0) std::fprintf(stderr, "vorn3d-mpi: %s\n", errorMessage.c_str());
		return 1;
	}
	const uint64_t bytesRead(share.bytesRead);
	const bool bByShare(share.bByShare);
	report.end("read", 0);

	// The cuts come from a sample that every process gathers: the points of
	// its block whose input index is a multiple of the stride.
	const size_t numPoints(static_cast<size_t>(share.numTotal));
	const int64_t stride(static_cast<int64_t>(vorn3dregions::sampleStride(numPoints)));
	std::vector<double> vWords;
	for(size_t i = 0; i < share.vPoints.size(); ++i)
	{
		const int64_t gid(share.firstIndex + static_cast<int64_t>(i));
		if(gid % stride != 0) continue;
		const Point3& p(share.vPoints[i]);
		vWords.insert(vWords.end(), {p.x(), p.y(), p.z(), vorn3dmpi::gidWord(gid)});
	}
	std::vector<int64_t> vCounts;
	const std::vector<double> vSampleWords(vorn3dmpi::allGatherWords(comm, vWords, vCounts));
	std::vector<Point3> vSample;
	for(size_t at = 0; at < vSampleWords.size(); at += 4) vSample.emplace_back(vSampleWords[at], vSampleWords[at + 1], vSampleWords[at + 2]);
	const vorn3dregions::SplitTree tree(vSample, size);

	// Each point goes to its region's process as (x, y, z, input index);
	// the blocks arrive in rank order, so the own points' indices increase.
	std::vector<std::vector<double>> vOut(static_cast<size_t>(size));
	for(size_t i = 0; i < share.vPoints.size(); ++i)
	{
		const Point3& p(share.vPoints[i]);
		vOut[static_cast<size_t>(tree.regionOf(p))].insert(vOut[static_cast<size_t>(tree.regionOf(p))].end(),
			{p.x(), p.y(), p.z(), vorn3dmpi::gidWord(share.firstIndex + static_cast<int64_t>(i))});
	}
	share = vorn3dmpi::InputShare();
	std::vector<double> vOwnWords(vorn3dmpi::exchangeWords(comm, vOut, vCounts));
	std::vector<std::vector<double>>().swap(vOut);
	const long numMoved(static_cast<long>((vOwnWords.size() - static_cast<size_t>(vCounts[static_cast<size_t>(rank)])) / 4));

	// The own points, then a few sample points of other processes that give
	// the library a cubic box to order its insertions in.
	const size_t numOwnPoints(vOwnWords.size() / 4);
	std::vector<Point3> vMine;
	std::vector<int64_t> vGid;
	std::vector<int> vMineOwner;
	vorn3dregions::reserveResident(vMine, numOwnPoints + 3);
	vorn3dregions::reserveResident(vGid, numOwnPoints + 3);
	vorn3dregions::reserveResident(vMineOwner, numOwnPoints + 3);
	const double inf(std::numeric_limits<double>::infinity());
	double aBox[6] = {inf, inf, inf, -inf, -inf, -inf};
	for(size_t at = 0; at < vOwnWords.size(); at += 4)
	{
		vMine.emplace_back(vOwnWords[at], vOwnWords[at + 1], vOwnWords[at + 2]);
		vGid.push_back(vorn3dmpi::gidOfWord(vOwnWords[at + 3]));
		vMineOwner.push_back(rank);
		for(int axis = 0; axis < 3; ++axis)
		{
			aBox[axis] = std::min(aBox[axis], vOwnWords[at + static_cast<size_t>(axis)]);
			aBox[3 + axis] = std::max(aBox[3 + axis], vOwnWords[at + static_cast<size_t>(axis)]);
		}
	}
	std::vector<double>().swap(vOwnWords);
	std::vector<double> vAllBoxes(6 * static_cast<size_t>(size));
	MPI_Allgather(aBox, 6, MPI_DOUBLE, vAllBoxes.data(), 6, MPI_DOUBLE, comm);
	std::vector<vorn3dregions::Box> vBoxes(static_cast<size_t>(size));
	for(size_t q = 0; q < vBoxes.size(); ++q)
	{
		for(int axis = 0; axis < 3; ++axis)
		{
			vBoxes[q].lo[axis] = vAllBoxes[6 * q + static_cast<size_t>(axis)];
			vBoxes[q].hi[axis] = vAllBoxes[6 * q + 3 + static_cast<size_t>(axis)];
		}
	}
	if(size > 1)
	{
		std::vector<int> vSampleOwner(vSample.size());
		for(size_t i = 0; i < vSample.size(); ++i) vSampleOwner[i] = tree.regionOf(vSample[i]);
		for(size_t i : vorn3dregions::cubingPoints(vSample, vSampleOwner, rank, vBoxes[static_cast<size_t>(rank)]))
		{
			vMine.emplace_back(vSample[i].x(), vSample[i].y(), vSample[i].z());
			vGid.push_back(vorn3dmpi::gidOfWord(vSampleWords[4 * i + 3]));
			vMineOwner.push_back(vSampleOwner[i]);
		}
	}
	report.end("partition", numMoved);

	vorn3dmpi::MpiTransport transport(comm);
	vorn3dregions::DistributedMesh mesh(transport, vBoxes);
	report.end("local triangulation", mesh.triangulateOwn(vMine, vGid, vMineOwner));
	std::vector<Point3>().swap(vMine);
	report.end("ghost layer", mesh.exchangeGhostLayer());
	for(int round = 1;; ++round)
	{
		if(report.end("round " + std::to_string(round), mesh.certifyRound()) == 0) break;
	}

	// The cells' indices are collected only for an output that needs them.
	std::vector<int64_t> vQuads;
	const long numMine(mesh.reportedCells(cellsFile.empty() && vtkFile.empty() ? nullptr : &vQuads));
	// The points of the cells reported here, for the output's pieces.
	std::vector<int64_t> vPieceGids;
	std::vector<double> vPieceXyz;
	if(!vtkFile.empty()) mesh.reportedPoints(vPieceGids, vPieceXyz);
	const long numBad(mesh.countInconsistentFacets());
	report.end("cells and facet check", 0);
	if(numBad > 0)
	{
		// Degenerate input that processes triangulated differently: one
		// process triangulates everything instead.
		if(rank == 0)
			std::printf("  fallback: %ld facet%s reported inconsistently; all points triangulated on rank 0\n", numBad,
				numBad == 1 ? "" : "s");
		vorn3dregions::triangulateOnRoot(transport, mesh.ownPoints(), vQuads);
		if(!vtkFile.empty())
		{
			// Rank 0 reports every cell: its piece takes all points.
			std::vector<int64_t> vCounts;
			const std::vector<double> vRecords(vorn3dmpi::gatherWords(comm, 0, mesh.ownPoints(), vCounts));
			vorn3dmpi::recordsToPiece(vRecords, vPieceGids, vPieceXyz);
		}
		report.end("fallback on rank 0", static_cast<long>(rank == 0 ? 0 : mesh.ownPoints().size() / 4));
	}

	bool bWritten(true);
	if(!cellsFile.empty()) bWritten = vorn3dmpi::writeCells(comm, cellsFile, vQuads) && bWritten;
	if(!vtkFile.empty()) bWritten = vorn3dmpi::writePvtu(comm, vtkFile, vQuads, vPieceGids, vPieceXyz) && bWritten;
	report.end("output", 0);

	long long myCells(numBad > 0 ? static_cast<long long>(vQuads.size() / 4) : numMine), numCells(0);
	MPI_Reduce(&myCells, &numCells, 1, MPI_LONG_LONG, MPI_SUM, 0, comm);
	long unbounded(mesh.numUnboundedCells()), numUnbounded(0);
	MPI_Reduce(&unbounded, &numUnbounded, 1, MPI_LONG, MPI_SUM, 0, comm);
	const double peak(peakMiB());
	std::vector<double> vPeaks(static_cast<size_t>(size)), vCpu(static_cast<size_t>(size)), vWork(static_cast<size_t>(size));
	MPI_Gather(&peak, 1, MPI_DOUBLE, vPeaks.data(), 1, MPI_DOUBLE, 0, comm);
	MPI_Gather(&report.computeCpuSeconds, 1, MPI_DOUBLE, vCpu.data(), 1, MPI_DOUBLE, 0, comm);
	MPI_Gather(&report.computeWorkSeconds, 1, MPI_DOUBLE, vWork.data(), 1, MPI_DOUBLE, 0, comm);
	std::vector<unsigned long long> vBytes(static_cast<size_t>(size));
	const unsigned long long myBytes(bytesRead);
	MPI_Gather(&myBytes, 1, MPI_UNSIGNED_LONG_LONG, vBytes.data(), 1, MPI_UNSIGNED_LONG_LONG, 0, comm);
	if(rank == 0)
	{
		std::printf("  points                 %zu\n", numPoints);
		std::printf("  tetrahedra             %lld\n", numCells);
		std::printf("  total time             %.3f s\n", report.seconds());
		std::printf("  without read/output    %.3f s\n", report.computeSeconds);
		// On a shared machine the processor time shows the work apart from
		// the waiting for a core.
		std::printf("  CPU s per process     ");
		for(double value : vCpu) std::printf(" %.3f", value);
		std::printf("\n");
		// The same without the time spent waiting inside MPI calls.
		std::printf("  work s per process    ");
		for(double value : vWork) std::printf(" %.3f", value);
		std::printf("\n");
		// Binary PLY input is read in shares; any other is read whole.
		std::printf("  input bytes per process");
		for(unsigned long long value : vBytes) std::printf(" %llu", value);
		std::printf(bByShare ? " (binary PLY, read in shares)\n" : " (text or ASCII PLY, read whole)\n");
		std::printf("  peak MiB per process  ");
		for(double value : vPeaks) std::printf(" %.1f", value);
		std::printf("\n");
		if(numUnbounded > 0) std::printf("  unbounded spheres      %ld (answered with all points)\n", numUnbounded);
		if(!bWritten) std::fprintf(stderr, "vorn3d-mpi: an output file could not be written\n");
	}
	return bWritten ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
	MPI_Init(&argc, &argv);
	int status(0);
	try
	{
		status = run(MPI_COMM_WORLD, argc, argv);
	}
	catch(const std::exception& e)
	{
		std::fprintf(stderr, "vorn3d-mpi: %s\n", e.what());
		MPI_Abort(MPI_COMM_WORLD, 1);
	}
	MPI_Finalize();
	return status;
}
