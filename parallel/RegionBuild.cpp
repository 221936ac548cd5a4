// buildParallel on threads (see RegionBuild.h). Each thread collects its
// region's points from the input, runs the rounds of DistributedMesh over
// ThreadTransport, numbers the cells it reports after those of the regions
// before it, writes them and their neighbours inside the region straight into
// the output arrays, and frees its Vorn_3D; the facets whose neighbour lies in
// another region are then matched, one bucket of facet keys per thread.
#include "RegionBuild.h"

#include <vorn3d/Tet3.h>
#include <vorn3d/Vorn_3D.h>

#include <algorithm>
#include <exception>
#include <limits>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "DistributedMesh.h"
#include "Partition.h"
#include "PhaseClock.h"
#include "Resident.h"
#include "ThreadTransport.h"

namespace vorn3dregions {

using VORN3D::FlatMesh3;
using VORN3D::Point3;
using VORN3D::Tet3;

namespace {

/// A facet of a cell whose neighbour across it is not in the same region's
/// share: its corners (input indices, sorted) and where the neighbour goes
/// (4 * cell + facet).
struct OpenFacet
{
	int32_t g[3];
	int64_t slot;
	bool operator<(const OpenFacet& o) const
	{
		return g[0] != o.g[0] ? g[0] < o.g[0] : (g[1] != o.g[1] ? g[1] < o.g[1] : g[2] < o.g[2]);
	}
	bool sameFacet(const OpenFacet& o) const { return g[0] == o.g[0] && g[1] == o.g[1] && g[2] == o.g[2]; }
	/// Which thread matches this facet.
	size_t bucket(size_t numBuckets) const
	{
		const uint64_t h((static_cast<uint64_t>(static_cast<uint32_t>(g[0])) * 0x9E3779B97F4A7C15ULL) ^
			(static_cast<uint64_t>(static_cast<uint32_t>(g[1])) * 0xC2B2AE3D27D4EB4FULL) ^ static_cast<uint64_t>(static_cast<uint32_t>(g[2])));
		return static_cast<size_t>((h ^ (h >> 29)) % numBuckets);
	}
};

/// What the threads of one build share.
struct Build
{
	Build(const double* pXyz_, int64_t numPoints_, int numThreads, bool bPerturb_, FlatMesh3& mesh_):
		pXyz(pXyz_), numPoints(numPoints_), bPerturb(bPerturb_), mesh(mesh_), team(numThreads),
		vFacets(static_cast<size_t>(numThreads), std::vector<std::vector<OpenFacet>>(static_cast<size_t>(numThreads))),
		vErrors(static_cast<size_t>(numThreads))
	{
		// The cuts come from a sample, as in vorn3d-mpi.
		const size_t n(static_cast<size_t>(numPoints));
		const size_t stride(vorn3dregions::sampleStride(n));
		for(size_t i = 0; i < n; i += stride)
		{
			vSample.emplace_back(pXyz[3 * i], pXyz[3 * i + 1], pXyz[3 * i + 2]);
			vSampleGid.push_back(static_cast<int64_t>(i));
		}
		pTree.reset(new SplitTree(vSample, numThreads));
		for(const Point3& p : vSample) vSampleOwner.push_back(pTree->regionOf(p));
	}

	const double* pXyz;
	int64_t numPoints;
	bool bPerturb;
	FlatMesh3& mesh;
	ThreadTeam team;
	std::vector<Point3> vSample;
	std::vector<int64_t> vSampleGid;
	std::vector<int> vSampleOwner;
	std::unique_ptr<SplitTree> pTree;
	/// Per region and matching thread: the open facets of the region's cells.
	std::vector<std::vector<std::vector<OpenFacet>>> vFacets;
	/// Set when the regions disagree (degenerate input without perturbation)
	/// or fetch too much from each other: the one-object path takes over.
	bool bGiveUp = false;
	std::vector<std::exception_ptr> vErrors;
};

/// One region's part of the build, on its own thread.
void buildRegion(Build& build, int rank)
{
	PhaseClock phases(rank);
	ThreadTransport transport(build.team, rank);
	const int size(transport.size());
	const size_t n(static_cast<size_t>(build.numPoints));
	const double* pXyz(build.pXyz);

	// The own points, their indices increasing, then a few sample points of
	// other regions that give the library a cubic box to order its
	// insertions in.
	std::vector<Point3> vMine;
	std::vector<int64_t> vGid;
	std::vector<int> vOwner;
	const size_t expected(n / static_cast<size_t>(size) + n / (8 * static_cast<size_t>(size)) + 16);
	vorn3dregions::reserveResident(vMine, expected);
	vorn3dregions::reserveResident(vGid, expected);
	const double inf(std::numeric_limits<double>::infinity());
	Box own{{inf, inf, inf}, {-inf, -inf, -inf}};
	for(size_t i = 0; i < n; ++i)
	{
		const Point3 p(pXyz[3 * i], pXyz[3 * i + 1], pXyz[3 * i + 2]);
		if(build.pTree->regionOf(p) != rank) continue;
		vMine.push_back(p);
		vGid.push_back(static_cast<int64_t>(i));
		for(int a = 0; a < 3; ++a)
		{
			own.lo[a] = std::min(own.lo[a], pXyz[3 * i + static_cast<size_t>(a)]);
			own.hi[a] = std::max(own.hi[a], pXyz[3 * i + static_cast<size_t>(a)]);
		}
	}
	vOwner.assign(vMine.size(), rank);
	std::vector<Box> vBoxes(static_cast<size_t>(size));
	{
		const Incoming boxes(transport.allGather({own.lo[0], own.lo[1], own.lo[2], own.hi[0], own.hi[1], own.hi[2]}));
		for(int q = 0; q < size; ++q)
		{
			const double* p(boxes.from(q));
			vBoxes[static_cast<size_t>(q)] = Box{{p[0], p[1], p[2]}, {p[3], p[4], p[5]}};
		}
	}
	for(size_t i : vorn3dregions::cubingPoints(build.vSample, build.vSampleOwner, rank, own))
	{
		vMine.push_back(build.vSample[i]);
		vGid.push_back(build.vSampleGid[i]);
		vOwner.push_back(build.vSampleOwner[i]);
	}

	phases.end("collect");
	std::unique_ptr<DistributedMesh> pMesh(new DistributedMesh(transport, vBoxes, build.bPerturb, false));
	pMesh->triangulateOwn(vMine, vGid, vOwner);
	phases.end("local");
	std::vector<Point3>().swap(vMine);
	std::vector<int>().swap(vOwner);
	// A region whose points lie in one plane has cells with huge spheres,
	// which would fetch much of the other regions' points, slowly: the one
	// object is faster.
	if(transport.sum(pMesh->ownPointsFlat() ? 1 : 0) > 0)
	{
		if(rank == 0) build.bGiveUp = true;
		return;
	}
	pMesh->exchangeGhostLayer();
	phases.end("ghost");
	// Rounds until no region receives a point. An input on which the
	// regions keep fetching (say, each region's points in one plane, whose
	// local cells have huge spheres) would be slower split than in one
	// object: once the regions have fetched half as many points as the
	// input holds, the one-object path takes over.
	int64_t numFetched(0);
	for(long numAdded(1); numAdded > 0;)
	{
		numAdded = transport.sum(pMesh->certifyRound());
		numFetched += numAdded;
		if(numFetched > build.numPoints / 2)
		{
			if(rank == 0) build.bGiveUp = true;
			return;
		}
	}
	phases.end("rounds");

	const long numMine(pMesh->reportedCells(nullptr));
	if(pMesh->countInconsistentFacets() > 0)
	{
		// Every region sees the same sum and leaves here.
		if(rank == 0) build.bGiveUp = true;
		return;
	}
	phases.end("report+check");
	// The cells are numbered region by region.
	int64_t first(0), numCells(0);
	{
		const Incoming counts(transport.allGather({static_cast<double>(numMine)}));
		for(int q = 0; q < size; ++q)
		{
			const int64_t count(static_cast<int64_t>(counts.from(q)[0]));
			if(q < rank) first += count;
			numCells += count;
		}
	}
	FlatMesh3& mesh(build.mesh);
	// The arrays are reserved once; their pages come in on every thread
	// at once (a first write to fresh memory costs a fault per page), and
	// then the zeros of resize go to resident memory.
	if(rank == 0)
	{
		mesh.numPoints = build.numPoints;
		mesh.vCorners.reserve(4 * static_cast<size_t>(numCells));
		mesh.vNeighbors.reserve(4 * static_cast<size_t>(numCells));
		mesh.vRepresentative.reserve(n);
	}
	transport.sum(0);
	vorn3dregions::makePartResident(mesh.vCorners, rank, size);
	vorn3dregions::makePartResident(mesh.vNeighbors, rank, size);
	vorn3dregions::makePartResident(mesh.vRepresentative, rank, size);
	transport.sum(0);
	// The zeros of resize, one array per thread (the largest first).
	if(rank == 0) mesh.vNeighbors.resize(4 * static_cast<size_t>(numCells));
	if(rank == 1 % size) mesh.vCorners.resize(4 * static_cast<size_t>(numCells));
	if(rank == 2 % size) mesh.vRepresentative.resize(n);
	transport.sum(0); // the arrays are sized
	phases.end("resize");

	// Each point names itself unless it repeats an earlier one (below).
	for(size_t i = n * static_cast<size_t>(rank) / static_cast<size_t>(size); i < n * static_cast<size_t>(rank + 1) / static_cast<size_t>(size); ++i)
		mesh.vRepresentative[i] = static_cast<int32_t>(i);
	// The cells reported here get their numbers (from first on) in their
	// custom index, the others -1; a neighbour reported elsewhere, or none,
	// leaves an open facet for the matching below.
	const std::vector<Tet3*>& vCells(pMesh->localCells());
	int local(0);
	for(Tet3* pTet : vCells) pTet->setCustomIndex(pTet->getCustomIndex() == rank ? local++ : -1);
	std::vector<std::vector<OpenFacet>>& vOpen(build.vFacets[static_cast<size_t>(rank)]);
	static constexpr int OUTWARD[4][3] = {{1, 2, 3}, {0, 3, 2}, {0, 1, 3}, {0, 2, 1}};
	for(const Tet3* pTet : vCells)
	{
		if(pTet->getCustomIndex() < 0) continue;
		const size_t cell(static_cast<size_t>(first + pTet->getCustomIndex()));
		int32_t aGid[4];
		for(int i = 0; i < 4; ++i)
		{
			aGid[i] = static_cast<int32_t>(pMesh->globalIndex(pTet->getCorner(i)));
			mesh.vCorners[4 * cell + static_cast<size_t>(i)] = aGid[i];
		}
		for(int i = 0; i < 4; ++i)
		{
			const Tet3* pOpp(pTet->getOppTet(i));
			int64_t& neighbor(mesh.vNeighbors[4 * cell + static_cast<size_t>(i)]);
			if(pOpp != nullptr && pOpp->getCustomIndex() >= 0)
			{
				neighbor = first + pOpp->getCustomIndex();
				continue;
			}
			neighbor = -1;
			OpenFacet facet{{aGid[OUTWARD[i][0]], aGid[OUTWARD[i][1]], aGid[OUTWARD[i][2]]}, static_cast<int64_t>(4 * cell) + i};
			std::sort(facet.g, facet.g + 3);
			vOpen[facet.bucket(static_cast<size_t>(size))].push_back(facet);
		}
	}
	const std::vector<std::pair<int64_t, int64_t>> vCopies(pMesh->ownCopies());
	// The region's mesh is exported: its memory goes before the matching.
	phases.end("export");
	pMesh.reset();
	transport.sum(0); // every region's cells and open facets are written
	phases.end("free");

	for(const auto& copy : vCopies) mesh.vRepresentative[static_cast<size_t>(copy.first)] = static_cast<int32_t>(copy.second);
	// The open facets of this thread's bucket, from every region: a facet
	// found twice joins its two cells; once, it is on the convex hull.
	std::vector<OpenFacet> vMatch;
	for(int q = 0; q < size; ++q)
	{
		std::vector<OpenFacet>& vFrom(build.vFacets[static_cast<size_t>(q)][static_cast<size_t>(rank)]);
		vMatch.insert(vMatch.end(), vFrom.begin(), vFrom.end());
		std::vector<OpenFacet>().swap(vFrom);
	}
	std::sort(vMatch.begin(), vMatch.end());
	for(size_t k = 0; k + 1 < vMatch.size(); ++k)
	{
		if(!vMatch[k].sameFacet(vMatch[k + 1])) continue;
		mesh.vNeighbors[static_cast<size_t>(vMatch[k].slot)] = vMatch[k + 1].slot / 4;
		mesh.vNeighbors[static_cast<size_t>(vMatch[k + 1].slot)] = vMatch[k].slot / 4;
		++k;
	}
	phases.end("match");
}

} // namespace

bool buildInRegions(const double* pXyz, int64_t numPoints, int numThreads, bool bPerturb, FlatMesh3& mesh)
{
	Build build(pXyz, numPoints, numThreads, bPerturb, mesh);
	std::vector<std::thread> vThreads;
	try
	{
		for(int rank = 0; rank < numThreads; ++rank)
		{
			vThreads.emplace_back([&build, rank] {
				try
				{
					buildRegion(build, rank);
				}
				catch(...)
				{
					build.vErrors[static_cast<size_t>(rank)] = std::current_exception();
					build.team.abort();
				}
			});
		}
	}
	catch(...)
	{
		// A thread that could not start: the others stop at their next call.
		build.team.abort();
		for(std::thread& thread : vThreads) thread.join();
		throw;
	}
	for(std::thread& thread : vThreads) thread.join();
	// The first failure that is not another thread's leaving.
	std::exception_ptr pAborted;
	for(const std::exception_ptr& pError : build.vErrors)
	{
		if(!pError) continue;
		try
		{
			std::rethrow_exception(pError);
		}
		catch(const vorn3dregions::TeamAborted&)
		{
			pAborted = pError;
			continue;
		}
		catch(...)
		{
		}
		std::rethrow_exception(pError);
	}
	if(pAborted) std::rethrow_exception(pAborted);
	if(build.bGiveUp)
	{
		mesh = FlatMesh3();
		return false;
	}
	return true;
}

} // namespace vorn3dregions
