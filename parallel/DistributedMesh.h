// One region's share of a Delaunay tetrahedralisation split into regions
// (processes of vorn3d-mpi, or threads of buildParallel), which talk through
// a Transport.
//
// Each process triangulates its own points in a Vorn_3D, then fetches the
// points of other processes that its cells need: a cell with a corner of its
// own is final once every process whose points may reach into the cell's
// circumsphere has sent all its points inside it, and a hull facet of such
// a cell is final once no other process has a point beyond it.
// Rounds repeat until no process receives anything new. A cell is then
// reported by the process that owns its corner of smallest global index.
//
// Where its parts live: LocalMesh.cpp (own points, received points, own hull
// shared), Rounds.cpp (ghost layer, certification rounds, queries and their
// answers), Reporting.cpp (reported cells and the facet check), Fallback.cpp
// (all points on rank 0); the helpers PointGrid.h, HullTree.h, DeepPoints.h
// and MeshRecords.h (message layout). The regions talk through Transport.h:
// MPI processes in distributed/ (vorn3d-mpi), threads in RegionBuild.cpp
// (buildParallel).
#ifndef VORN3D_PARALLEL_DISTRIBUTEDMESH_H
#define VORN3D_PARALLEL_DISTRIBUTEDMESH_H

#include <array>
#include <cstdint>
#include <unordered_set>
#include <utility>
#include <vector>

#include <vorn3d/Vorn_3D.h>

#include "Geometry.h"
#include "Transport.h"

namespace vorn3dregions {

class PointGrid;
class HullTree;

class DistributedMesh
{
public:
	/// vBoxes: the bounding box of every process's own points. bPerturb:
	/// whether the ties of degenerate input are broken by symbolic
	/// perturbation (then the processes agree on them; without it a
	/// disagreement shows in countInconsistentFacets). bQuiet silences the
	/// library's reports on standard output (not from several threads).
	DistributedMesh(Transport& transport, const std::vector<Box>& vBoxes, bool bPerturb = true, bool bQuiet = true);
	~DistributedMesh();
	DistributedMesh(const DistributedMesh&) = delete;
	DistributedMesh& operator=(const DistributedMesh&) = delete;

	/// Triangulates vPoints (vGid: their global indices; vOwner: their
	/// processes): first this process's own points, their indices
	/// increasing, then a few points of other processes. Shares the vertices
	/// of the own points' convex hull. Collective. Returns the number of hull
	/// vertices received.
	long triangulateOwn(std::vector<VORN3D::Point3>& vPoints, const std::vector<int64_t>& vGid,
		const std::vector<int>& vOwner);
	/// Fetches the neighbours' points within a layer around this process's
	/// box, so that the rounds start near their end. Collective; returns the
	/// number of points received.
	long exchangeGhostLayer();
	/// One certification round: the first over every cell with a corner
	/// that is not deep (see DeepPoints), each later one over the cells
	/// created since the one before (the stars of the points it added).
	/// Collective; returns the number of points added here.
	long certifyRound();
	/// Decides which process reports each cell and returns the number this
	/// process reports; with pQuads, also appends their four global indices
	/// each, corners in positive orientation.
	long reportedCells(std::vector<int64_t>* pQuads);
	/// Call after reportedCells: the distinct corners of the cells reported
	/// here, their global indices increasing in vGids, their coordinates in
	/// vXyz (three per point).
	void reportedPoints(std::vector<int64_t>& vGids, std::vector<double>& vXyz) const;
	/// Call after reportedCells (which marks the cells). Checks that every
	/// facet between cells reported by different processes is reported once
	/// from each side, and every hull facet once. Collective; returns the
	/// number of mismatches over all processes.
	long countInconsistentFacets();
	/// This process's points, each distinct point once: x, y, z, global index
	/// (empty on a single process, which needs no fallback).
	const std::vector<double>& ownPoints() const { return vOwnRecords; }
	/// Number of cells whose circumsphere could not be bounded in floating
	/// point (their queries went to every process, for all points).
	long numUnboundedCells() const { return numUnbounded; }
	/// Whether the points that triangulateOwn got span no tetrahedron (then
	/// the cells around them have huge spheres, and the rounds fetch much).
	bool ownPointsFlat() const { return bOwnFlat; }
	/// Call after reportedCells: every cell of the local mesh; the ones
	/// reported here carry this process's rank in their custom index.
	const std::vector<VORN3D::Tet3*>& localCells() const { return vCells; }
	/// The global index of a vertex (its first point).
	int64_t globalIndex(const VORN3D::Point3* pVtx) const { return gidOf(pVtx); }
	/// The own points that repeat an earlier own point: (global index, global
	/// index of the first point with the same coordinates).
	const std::vector<std::pair<int64_t, int64_t>>& ownCopies() const { return vCopies; }

private:
	// This process's own points take the first slots, so ownership needs no
	// table lookup on the common path.
	bool isOwn(const VORN3D::Point3* pVtx) const { return pVtx->getIndex() < numOwnSlots; }
	int ownerOf(const VORN3D::Point3* pVtx) const
	{
		return isOwn(pVtx) ? rank : vSlotOwner[static_cast<size_t>(pVtx->getIndex())];
	}
	/// An own vertex around which every cell's circumsphere is small and
	/// needs no query (see DeepPoints).
	bool isDeep(const VORN3D::Point3* pVtx) const
	{
		return isOwn(pVtx) && vDeep[static_cast<size_t>(pVtx->getIndex())] != 0;
	}
	int64_t gidOf(const VORN3D::Point3* pVtx) const { return vSlotGid[static_cast<size_t>(pVtx->getIndex())]; }
	/// Owner of the cell's corner with the smallest global index.
	int reporterOf(const VORN3D::Tet3* pTet) const;
	/// Whether process q may hold points inside the ball that are not here.
	bool needsQuery(const Ball& ball, int q) const;
	/// The box around this process's own box of which the ghost layer
	/// fetches every point.
	Box ghostLayer() const;
	/// Inserts records (x, y, z, gid) owned by vOwner; skips points present.
	long insertRecords(const std::vector<double>& vRecords, const std::vector<int>& vOwner);
	/// Inserts the records that each process sent (owned by their sender).
	long insertRecords(const Incoming& in);
	/// Points of this process inside the query (ball or box) not sent to q
	/// before, appended to vReply as records. With bLimited a ball's answer
	/// may be cut to the points deepest inside; then answerBall returns true.
	/// pCorners: the cell's corners (12 coordinates), for the sphere filter.
	bool answerBall(int q, const Ball& ball, const double* pCorners, bool bLimited, std::vector<double>& vReply);
	void answerBox(int q, const Box& box, std::vector<double>& vReply);
	/// The grid over the own points (which orders vOwnRecords).
	const PointGrid& grid() const { return *pGrid; }
	/// The points not yet sent to process q, as links in grid order: a
	/// point i not sent links to itself, a sent one to a later point (i + 1
	/// when it is sent, then shortcuts). Sized for the own points plus one.
	std::vector<uint32_t>& unsentTo(int q);
	/// The first point from position i on not sent (the size for none).
	static size_t nextUnsent(std::vector<uint32_t>& vUnsent, size_t i);
	/// Hull facet (a, b, c), outer side (b-a)x(c-a): the other processes' hull
	/// vertices that may be its Delaunay neighbour are added to vAdd.
	void collectBeyond(const double* a, const double* b, const double* c, std::vector<double>& vAdd, std::vector<int>& vAddOwner);

	/// dt.insert, silenced when bQuiet.
	void insertPoints(std::vector<VORN3D::Point3>& vPoints, std::vector<VORN3D::Point3*>& vHandles);
	/// Appends records (x, y, z, gid) to the points that insertStaged
	/// inserts: vOwner per record, or all owned by owner when vOwner is null.
	void stageRecords(const double* pRecords, size_t num, const int* pOwner, int owner);
	/// Inserts the staged points; returns their number.
	long insertStaged();

	Transport& net;
	int rank, size;
	bool bQuiet;
	// Points staged for insertion (see stageRecords).
	std::vector<VORN3D::Point3> vStaged;
	std::vector<std::pair<int64_t, int64_t>> vCopies;
	std::vector<Box> vBoxes;
	// The box of which this process holds every point (the ghost layer).
	Box fetched;
	// The box of all points (the union of vBoxes).
	Box whole;
	VORN3D::Vorn_3D dt;
	// Per slot (one per inserted point): global index and owning process.
	// A vertex's index field holds the slot of its first point.
	std::vector<int64_t> vSlotGid;
	std::vector<int> vSlotOwner;
	int numOwnSlots;
	// Per own slot: whether its vertex is deep.
	std::vector<char> vDeep;
	// Vertices inserted since the last round: the cells around them are the
	// ones the next round certifies. Before the first round: every vertex
	// that is not deep.
	std::vector<VORN3D::Point3*> vNewVertices;
	bool bAllNew;
	// Marks a cell as taken in the current round (in its custom index, which
	// reportedCells overwrites with the reporting process).
	int roundStamp;
	std::unordered_set<int64_t> ghostGids;
	std::vector<double> vOwnRecords;
	PointGrid* pGrid;
	std::vector<std::vector<uint32_t>> vUnsentTo;
	// Candidates of a ball query (squared distance, point), kept for their
	// memory.
	std::vector<std::pair<double, size_t>> vCandidates;
	// Other processes' hull vertices (records) and their owners.
	std::vector<double> vHullRecords;
	/// The round in which each hull record was last taken by collectBeyond:
	/// a record joins a round's additions once, however many facets find it.
	std::vector<long> vHullTakenInRound;
	long hullRound = 0;
	std::vector<int> vHullOwner;
	HullTree* pHullTree;
	// Cells whose last answer was cut short: asked again while they exist.
	using Corners = std::array<VORN3D::Point3*, 4>;
	std::vector<Corners> vRetry;
	// The cells of a pass over the whole mesh (kept, so that its memory is
	// reused).
	std::vector<VORN3D::Tet3*> vCells;
	// Cells with a corner of another process or a hull facet, as
	// reportedCells found them: only their facets may be shared with a cell
	// reported elsewhere.
	std::vector<VORN3D::Tet3*> vBorderTets;
	long numUnbounded;
	bool bOwnFlat = false;
};

/// The fallback: all distinct points (records of ownPoints) gathered on rank 0
/// and triangulated there in one Vorn_3D with the perturbation on. Collective;
/// vQuads receives the cells on rank 0 and stays empty elsewhere.
void triangulateOnRoot(Transport& transport, const std::vector<double>& vOwnRecords, std::vector<int64_t>& vQuads);

} // namespace vorn3dregions

#endif
