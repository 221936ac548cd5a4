// Dt3: the triangulation kernel behind one Vorn_3D object.
//
// Incremental Delaunay insertion (Bowyer-Watson) on a mesh of Tet3 cells
// without a cell at infinity: a hull facet is a facet whose neighbour is null.
// The class is split by concern over several source files:
//   Dt3.cpp           state, construction/teardown, insertion driver, batches
//   Dt3_locate.cpp    the visibility walk
//   Dt3_cavity.cpp    cavity search and fill, facet pairing
//   Dt3_firstTet.cpp  the start while the point set is not yet 3D
//   Dt3_hull.cpp      insertion outside the convex hull
//   Dt3_queries.cpp   all cells, vertices, star of a vertex, locate
//   Dt3_check.cpp     validity check, print and show
// The small routines every insertion runs many times are inline below the
// class. Internal to the library.
#ifndef VORN3D_DT3_H
#define VORN3D_DT3_H

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iostream>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Facet3.h"
#include "HC3.h"
#include "Iterators.h"
#include "Point3.h"
#include "SimplePool.h"
#include "StartGrid3.h"
#include "Tet3.h"
#include "TrelTest3.h"
#include "tools.h"

namespace VORN3D {

class Vorn_3D;
class Surface3;

// Counting the walk's tests, for the walk benchmark only: it compiles the
// sources with VORN3D_WALK_STATS and defines these two. The library's own
// builds compile both hooks to nothing.
#ifdef VORN3D_WALK_STATS
extern uint64_t walkStatsTests;
void walkStatsEndOfWalk();
#define VORN3D_WALK_STATS_TEST() (++::VORN3D::walkStatsTests)
#define VORN3D_WALK_STATS_END() ::VORN3D::walkStatsEndOfWalk()
#else
#define VORN3D_WALK_STATS_TEST() ((void)0)
#define VORN3D_WALK_STATS_END() ((void)0)
#endif

/// A new-cell facet waiting for its partner: the facet of pTet opposite
/// corner ith, which holds the new vertex and the edge (pLowVtx, pHighVtx).
struct TwoTetStruct
{
	Point3* pLowVtx;
	Point3* pHighVtx;
	Tet3* pTet;
	int ith;
};

class Dt3
{
public:
	/// pOwner is the façade that owns this kernel (may be null).
	explicit Dt3(Vorn_3D* pOwner);
	/// Deletes the owned surfaces first, then every vertex and cell.
	~Dt3();
	Dt3(const Dt3&) = delete;
	Dt3& operator=(const Dt3&) = delete;

	// ---- insertion (Dt3.cpp) ----

	/// Bulk insertion. vUserHandles receives one vertex per input point, in
	/// input order (duplicates share a vertex). A non-finite coordinate is
	/// reported and throws VornException before anything changes.
	void insert(std::vector<Point3>& vInput, std::vector<Point3*>& vUserHandles);
	/// Single insertion; returns the vertex that stands for p (an older one
	/// with the same coordinates if there is one). While the mesh is not 3D
	/// the point is only stored; see buildFirstTet.
	Point3* insert(const Point3& p);
	/// Inserts vertices already in the vertex store in batches of doubling
	/// size, starting the first walk at pLastTet.
	void triangulate(std::vector<Point3*>& vVertices, Tet3* pLastTet);
	/// Inserts one vertex, walking from pStart; returns a live cell near the
	/// vertex, the start of the next walk. pVtx is replaced by the existing
	/// vertex when the point is a duplicate.
	Tet3* insertOne(Point3*& pVtx, Tet3* pStart);
	/// Duplicate case: points pVtx at the corner of pTet with its coordinates.
	Tet3* insertVertex(Point3*& pVtx, Tet3* pTet, int locateResult);
	/// Point outside the hull, seen through facet locateResult of pTet.
	Tet3* insertOutsideHull(Point3*& pVtx, Tet3* pTet, int locateResult);

	// ---- location (Dt3_locate.cpp) ----

	/// Visibility walk from pStartTet. Returns -1 (inside or on the boundary
	/// of a cell inside the hull), -2 (equal to a corner), 0..3 (outside,
	/// seen through that hull facet) or -99 (watchdog); pStartTet is left at
	/// the cell where the walk ended.
	int locateConflictTet(const Point3* pVtx, Tet3*& pStartTet);
	/// The walk of locateConflictTet, continued from wherever its watchdog
	/// stops it until it ends with -1, -2 or a hull facet. Only a broken mesh
	/// makes it fail, after more tests than a walk visiting every live cell
	/// once can take.
	int locateComplete(const Point3* pVtx, Tet3*& pTet);

	// ---- cavity and pairing (Dt3_cavity.cpp, inline below) ----

	/// A positively oriented cell from a recycled or pooled slot.
	Tet3* createTet(Point3* p0, Point3* p1, Point3* p2, Point3* p3);
	/// The new cell joining pVtx (corner 0) to facet i of pTet, with the
	/// orientation of pTet.
	Tet3* createTetFromFacet(Tet3* pTet, int i, Point3* pVtx);
	/// Links fromTet (facet ith) and toTet (facet jth) as neighbours.
	void registerTets(Tet3* fromTet, int ith, Tet3* toTet, int jth);
	/// Pairs the facet i of pNew through the edge (pLow, pHigh) with the
	/// other new cell that has it, or stores it until that cell comes.
	void registerPendingFacet(int key, Tet3* pNew, int i, Point3* pLow, Point3* pHigh);
	/// The rare case of registerPendingFacet: the bucket holds another edge.
	void registerCollidingFacet(Tet3* pNew, int i, Point3* pLow, Point3* pHigh);
	/// Registers the three facets of a new cell that contain its corner 0.
	void registerNewFacets(Tet3* pNew);
	/// Puts the lower address first, with its index.
	static void orderByAddress(Point3*& pA, Point3*& pB, int& kA, int& kB);
	/// Removes a cell from the mesh: custom index -1, onto vDoomedTets.
	void markDoomed(Tet3* pTet);
	/// Empties the facet-pairing table after a hull insertion, whose new hull
	/// facets stay unpaired.
	void resetFacetPairing();
	/// Re-registers the records parked in vHashCollisions and clears it.
	void flushHashCollisions();
	/// Bowyer-Watson for a point inside the hull: grows the cavity from the
	/// located cell T0 (already doomed, visited and on the work stack) and
	/// fills it. Returns the last new cell.
	Tet3* growAndFillCavity(Point3* pVtx);
	/// Fills the hole left by the listed cells (visited and doomed by the
	/// hull insertion) with cells joining pVtx to its visible boundary.
	/// Returns the last new cell; an empty list is a usage fault and throws.
	Tet3* fillCavityOfDoomedTets(const std::vector<Tet3*>& vDoomedList, Point3* pVtx);

	// ---- first cell (Dt3_firstTet.cpp) ----

	/// The first cell from the first four stored vertices that are not
	/// coplanar; null while there are none. Switches the kernel to 3D.
	Tet3* buildFirstTet();
	/// Exact test whether three points lie on one line.
	bool isCollinear(const Point3& a, const Point3& b, const Point3& c) const;

	// ---- outside the hull (Dt3_hull.cpp) ----

	/// Appends every cell that owns a hull facet visible from pVtx, walking
	/// the hull from facet opp3ICI of pTet (repeats possible).
	void collectVisibleCHTets(Point3*& pVtx, Tet3* pTet, int opp3ICI, std::vector<Tet3*>& vCHTets);
	/// Splits vCHTets into cells that stay and cells in conflict with pVtx,
	/// and dooms the conflicting neighbours of the latter as well.
	void splitCHTets(const std::vector<Tet3*>& vCHTets, std::vector<Tet3*>& vCHTetsKeep,
		std::vector<Tet3*>& vCHDoomed, Point3* pVtx);
	/// New cells on the visible hull facets of the cells that stay; returns
	/// the last one, null for an empty list.
	Tet3* createCHTets(const std::vector<Tet3*>& vCHTetsKeep, Point3* pVtx);

	// ---- queries (Dt3_queries.cpp) ----

	/// All cells reachable from the first vertex with a cell, in address
	/// order. vTet must be empty.
	void getAllTetrahedra(std::vector<Tet3*>& vTet) const;
	/// All cells reachable from pStartTet, in address order, by a walk over
	/// the neighbour links: what getAllTetrahedra returns; its general path
	/// when the pool scan cannot be trusted.
	void collectReachableTets(Tet3* pStartTet, std::vector<Tet3*>& vTet) const;
	/// All stored vertices, in the store's (Hilbert) order, appended.
	void getVertices(std::vector<Point3*>& vVertices) const;
	/// All cells that have pVtx as a corner, in address order.
	void getTetsAroundVertex(Point3* pVtx, std::vector<Tet3*>& vTets);
	/// The cell that contains q (or has it as a corner); null when q is
	/// outside the hull, not finite, or no cell exists.
	Tet3* locate(const Point3& q);
	bool is3D() const { return bFullDimensional; }

	// ---- diagnostics (Dt3_check.cpp) ----

	/// Orientation and (with bCheckSphereInc) empty-sphere check across every
	/// facet. Prints a report; at the first fault writes a scene file of it
	/// and returns false. A visited live cell throws.
	bool checkValidity(const std::string& s, bool bCheckVisited, bool bCheckSphereInc);
	/// Every cell on standard output.
	void print(const std::string& s);
	/// Scene file of all cells, pVtx highlighted if not null.
	void show(const std::string& fileName, Point3* pVtx);
	/// "00000_", "00001_", ...: unique prefixes for fault files, counted over
	/// all threads of the process.
	static std::string nextFileNumber();

	// ---- settings ----

	void setVerbosity(bool b) { bVerbose = b; }
	/// Switches the symbolic perturbation of the sphere test: points exactly
	/// on a circumsphere, or in the plane of a hull facet and on its
	/// circumcircle, are decided by the perturbed rule of TrelTest3, and the
	/// mesh is the same for every insertion order. Off by default (such a
	/// point is outside). It can change only while no point is stored: a
	/// change later prints an error and throws VornException.
	void setPerturbation(bool b);
	bool getPerturbation() const { return bPerturbation; }
	/// The sphere test the insertion uses: the plain one, or the perturbed
	/// one when the perturbation is on.
	SphereInclusion sphereTest(const Tet3* pTet, const Point3* pQ) const { return sphereInclusion(pTet, pQ); }
	/// Whether a point outside the hull, or on it, takes away hull facet ith
	/// of pTet: beyond its plane, or with the perturbation on, in its plane and
	/// inside its circumcircle by the perturbed rule.
	bool hullFacetInConflict(const Tet3* pTet, int ith, const Point3* pQ) const;
	/// Takes ownership of a surface; it is deleted at teardown.
	/// Takes ownership of a surface; null and a surface already owned are
	/// ignored, so that teardown deletes each surface exactly once.
	void addSurface(Surface3* pSurface)
	{
		if(pSurface == nullptr || std::find(vSurfaces.begin(), vSurfaces.end(), pSurface) != vSurfaces.end()) return;
		vSurfaces.push_back(pSurface);
	}

	/// Number of live cells (pool slots in use minus recycled ones); O(1).
	size_t getNumTets() const { return numPoolTets - vDoomedTets.size() - vFreeTets.size(); }
	/// Read access for tests.
	int getNumStoredTCS() const { return numStoredTCS; }
	size_t getNumHashCollisions() const { return vHashCollisions.size(); }
	size_t getNumFilledBuckets() const
	{
		return vBuckets.size() - static_cast<size_t>(std::count(vBuckets.begin(), vBuckets.end(), nullptr));
	}
	const std::vector<Tet3*>& getDoomedTets() const { return vDoomedTets; }
	const std::vector<Tet3*>& getFreeTets() const { return vFreeTets; }

	/// Bucket of the edge (a, b), a below b: bits 5..9 of both addresses.
	static int pairingKey(const Point3* a, const Point3* b)
	{
		const uintptr_t lo(reinterpret_cast<uintptr_t>(a));
		const uintptr_t hi(reinterpret_cast<uintptr_t>(b));
		return static_cast<int>(((lo >> 5) & 31) ^ (hi & 992));
	}

private:
	/// Switches the inline filters to the wide-range mode and back.
	void setWideRange(bool bWide);
	/// A non-finite input coordinate: message and VornInputError.
	[[noreturn]] void rejectNonFinite(size_t position) const;
	/// Fills the batches of triangulate from the range [lo, hi) at level.
	static void splitIntoBatches(const std::vector<Point3*>& vVertices, size_t lo, size_t hi, int level, int maxLevel,
		std::vector<std::vector<Point3*>>& vBatches);
	/// A live cell near p to start a walk from: the start grid's, else the
	/// vertex store's, else the last cell an insertion returned.
	Tet3* startTetNear(const Point3& p);
	/// The nearer start for a walk to q: pLast (a live cell, normally the
	/// last one created) or the start grid's cell, compared by the distance
	/// of q to corner 0 of pLast and to the grid's vertex.
	Tet3* nearerStart(const Point3& q, Tet3* pLast) const;
	/// Lays the start grid out anew when the store's box has changed or the
	/// store has outgrown the grid; vNew are the vertices about to be
	/// inserted (normally already in the store).
	void prepareStartGrid(const std::vector<Point3*>& vNew);
	/// The rare part of locateComplete: the walks after the first watchdog.
	int continueLongWalk(const Point3* pVtx, Tet3*& pTet);
	/// insertOne without the bookkeeping of bInsertionOpen.
	Tet3* insertOneUnguarded(Point3*& pVtx, Tet3* pStart);

	// The fast floating-point filters of the two predicates, always inline
	// for the hot loops (clang would otherwise call them). They evaluate
	// exactly the predicate object's filter and hand every case it cannot
	// decide to the predicate object itself, so their answers are always the
	// predicate object's answers. They are exact only for coordinates in the
	// range of inFilterRange; once the mesh holds others, setWideRange(true)
	// makes them hand over every call except the sphere test's quick
	// acceptance, which checks its own range.
	Orientation3 orientation(const Tet3* pTet, int ith, const Point3* pQ) const;
	Orientation3 orientation(const Point3* pa, const Point3* pb, const Point3* pc, const Point3* pd) const;
	SphereInclusion sphereInclusion(const Tet3* pTet, const Point3* pQ) const;

	// Declaration order gives the teardown order: the vertex store goes
	// before the lists and the pools.
	SimplePool<TwoTetStruct> ttsPool;
	SimplePool<Tet3> tetPool;
	std::vector<Tet3*> vDoomedTets;
	std::vector<Tet3*> vFreeTets;
	std::vector<TwoTetStruct*> vBuckets;
	std::vector<TwoTetStruct*> vHashCollisions;
	int numStoredTCS;
	TrelTest3 predicates;
	/// The factor of insphereQuickAccept.
	double sphereQuickFactor;
	/// The factors of the filters' error bounds: the predicate object's, or
	/// NaN in wide-range mode, which fails every bound test.
	double orientBoundFactor;
	double sphereBoundFactor;
	bool bWideRange; // a coordinate outside inFilterRange has been inserted: the filters defer to TrelTest3
	bool bFullDimensional;
	bool bPerturbation; // ties of the sphere test are broken by symbolic perturbation
	HC3 hc;
	std::vector<Surface3*> vSurfaces;
	Vorn_3D* pOwner;
	bool bVerbose;

	// Work space reused by every insertion, so that no insertion allocates
	// once the containers have grown.
	std::vector<Tet3*> vStack;
	std::vector<TwoTetStruct*> vCollisionsToFlush;
	std::vector<Tet3*> vCHTets;
	std::vector<Tet3*> vCHTetsKeep;
	std::vector<Tet3*> vCHDoomed;
	std::vector<Edge3> vEdgeStack;
	std::set<Edge3> sEdgesSeen;
	std::vector<Tet3*> vStarTets;
	std::vector<std::pair<TwoTetStruct*, size_t>> vRecordBlocks;
	std::vector<Tet3*> vStarWork;
	/// Cells taken from the pool so far (recycled ones are not counted).
	size_t numPoolTets;
	/// The last cell an insertion returned: live, a fallback start.
	Tet3* pRecentTet;
	/// Where walks start: every vertex that enters the mesh is recorded.
	StartGrid3 startGrid;
	/// The store's box when the start grid was laid out.
	Bbox3 startGridBox;
	/// True from the start of a per-point insertion until it returns. Still
	/// true after a throw: the mesh may then be half changed, and queries
	/// must walk it instead of trusting the pool and the visited flags.
	bool bInsertionOpen;

	/// The thread's next cell number while an insertion call runs.
	/// Tet3::runningLabel is thread-local, and in a shared library every
	/// access to it is a call; the kernel reads it once before an insertion
	/// and writes it back once after (also after a throw), and numbers the
	/// cells it creates from this copy. Calls within that insertion use the
	/// same copy.
	class LabelLease
	{
	public:
		explicit LabelLease(Dt3& dt_): dt(dt_)
		{
			if(dt.labelLeaseDepth++ == 0) dt.nextLabel = Tet3::runningLabel;
		}
		~LabelLease()
		{
			if(--dt.labelLeaseDepth == 0) Tet3::runningLabel = dt.nextLabel;
		}
		LabelLease(const LabelLease&) = delete;
		LabelLease& operator=(const LabelLease&) = delete;

	private:
		Dt3& dt;
	};
	int nextLabel;
	int labelLeaseDepth;
};

// ---- the inline filters ----

__attribute__((always_inline)) inline Orientation3 Dt3::orientation(
	const Point3* pa, const Point3* pb, const Point3* pc, const Point3* pd) const
{
	const double adx(pa->x() - pd->x()), bdx(pb->x() - pd->x()), cdx(pc->x() - pd->x());
	const double ady(pa->y() - pd->y()), bdy(pb->y() - pd->y()), cdy(pc->y() - pd->y());
	const double adz(pa->z() - pd->z()), bdz(pb->z() - pd->z()), cdz(pc->z() - pd->z());
	const double bdxcdy(bdx * cdy), cdxbdy(cdx * bdy);
	const double cdxady(cdx * ady), adxcdy(adx * cdy);
	const double adxbdy(adx * bdy), bdxady(bdx * ady);
	const double det(adz * (bdxcdy - cdxbdy) + bdz * (cdxady - adxcdy) + cdz * (adxbdy - bdxady));
	const double permanent((std::fabs(bdxcdy) + std::fabs(cdxbdy)) * std::fabs(adz) +
		(std::fabs(cdxady) + std::fabs(adxcdy)) * std::fabs(bdz) + (std::fabs(adxbdy) + std::fabs(bdxady)) * std::fabs(cdz));
	// Written so that a NaN bound (wide-range mode) or a NaN determinant is
	// undecided too.
	const double errbound(orientBoundFactor * permanent);
	if(__builtin_expect(!(det >= errbound || -det >= errbound), 0)) return predicates.orientationOutOfLine(pa, pb, pc, pd);
	if(det < 0.0) return ORIENTATION3_POSITIVE;
	if(det > 0.0) return ORIENTATION3_NEGATIVE;
	return ORIENTATION3_COPLANAR;
}

__attribute__((always_inline)) inline Orientation3 Dt3::orientation(const Tet3* pTet, int ith, const Point3* pQ) const
{
	// Facet ith in the order that makes corner ith come out positive.
	static const int aFacetOrder[4][3] = {{1, 3, 2}, {0, 2, 3}, {0, 3, 1}, {0, 1, 2}};
	return orientation(pTet->getCorner(aFacetOrder[ith][0]), pTet->getCorner(aFacetOrder[ith][1]),
		pTet->getCorner(aFacetOrder[ith][2]), pQ);
}

__attribute__((always_inline)) inline SphereInclusion Dt3::sphereInclusion(const Tet3* pTet, const Point3* pQ) const
{
	// The predicate object's filter arithmetic, with only the cheap decision
	// inlined here; everything else is the predicate object's. Most calls are
	// settled by a test on the largest lift, which costs less than the
	// permanent and accepts only where the permanent test accepts too.
	InsphereTerms<double> t;
	insphereTerms(*pTet->getCorner(0), *pTet->getCorner(1), *pTet->getCorner(2), *pTet->getCorner(3), *pQ, t);
	if(__builtin_expect(insphereQuickAccept(t, sphereQuickFactor), 1)) return t.det > 0.0 ? SIC_OUTSIDE : SIC_INSIDE;
	const double errbound(sphereBoundFactor * inspherePermanent(t));
	// Non-strict on purpose, as in the predicate object: a zero permanent
	// accepts a zero determinant as inside.
	// With the perturbation on, a zero determinant is a tie for the
	// perturbed test to break, never inside.
	if((t.det >= errbound || -t.det >= errbound) && (t.det != 0.0 || !bPerturbation))
		return t.det > 0.0 ? SIC_OUTSIDE : SIC_INSIDE;
	if(bPerturbation) return predicates.sphereInclusionPerturbedOutOfLine(pTet, pQ, t.det);
	return predicates.sphereInclusionOutOfLine(pTet, pQ);
}

// ---- where walks start ----

inline Tet3* Dt3::nearerStart(const Point3& q, Tet3* pLast) const
{
	const Point3* pRef(pLast->getCorner(0));
	const double dx(q.x() - pRef->x()), dy(q.y() - pRef->y()), dz(q.z() - pRef->z());
	const double dist2(dx * dx + dy * dy + dz * dz);
	// Within a bucket's side the grid has nothing nearer to offer.
	if(dist2 <= startGrid.getNearEnough2()) return pLast;
	const Point3* pVtx(startGrid.find(q));
	if(pVtx == nullptr) return pLast;
	const double ex(q.x() - pVtx->x()), ey(q.y() - pVtx->y()), ez(q.z() - pVtx->z());
	if(ex * ex + ey * ey + ez * ez < dist2) return pVtx->getOneTet();
	return pLast;
}

// ---- the walk that does not give up ----

inline int Dt3::locateComplete(const Point3* pVtx, Tet3*& pTet)
{
	const int result(locateConflictTet(pVtx, pTet));
	if(__builtin_expect(result != -99, 1)) return result;
	return continueLongWalk(pVtx, pTet);
}

// ---- the inline part of cell creation and facet pairing ----

inline Tet3* Dt3::createTet(Point3* p0, Point3* p1, Point3* p2, Point3* p3)
{
	const Orientation3 ori(orientation(p0, p1, p2, p3));
	if(__builtin_expect(ori != ORIENTATION3_POSITIVE, 0))
	{
		const bool bNegative(ori == ORIENTATION3_NEGATIVE);
		std::cout << "Dt3::createTet(), ERROR: " << (bNegative ? "ORIENTATION3_NEGATIVE" : "ORIENTATION3_COPLANAR")
				  << " ORIENTATION OF: " << std::endl;
		const std::streamsize oldPrecision(std::cout.precision(15));
		std::cout << *p0 << std::endl << *p1 << std::endl << *p2 << std::endl << *p3 << std::endl;
		if(bNegative)
		{
			ASSERT_CONDITION(false);
		}
		std::cout << "..probably a legal situaion but observe!" << std::endl;
		std::cout.precision(oldPrecision);
	}
	Tet3* ret;
	if(!vFreeTets.empty())
	{
		ret = vFreeTets.back();
		vFreeTets.pop_back();
	}
	else
	{
		ret = tetPool.alloc();
		ASSERT_CONDITION(ret!=0);
		++numPoolTets;
	}
	assert(labelLeaseDepth > 0);
	ret->initCell(nextLabel, p0, p1, p2, p3);
	nextLabel = Tet3::labelAfter(nextLabel);
	return ret;
}

inline Tet3* Dt3::createTetFromFacet(Tet3* pTet, int i, Point3* pVtx)
{
	// The new vertex takes the place of corner i: same orientation as pTet,
	// and the old facet i lies opposite corner 0 of the new cell.
	Point3* c0;
	Point3* c1;
	Point3* c2;
	Point3* c3;
	pTet->getCorners(c0, c1, c2, c3);
	switch(i)
	{
		case 0: return createTet(pVtx, c1, c2, c3);
		case 1: return createTet(pVtx, c0, c3, c2);
		case 2: return createTet(pVtx, c0, c1, c3);
		default:
		{
			const int neigOpp(i);
			ASSERT_CONDITION(neigOpp==3);
			return createTet(pVtx, c0, c2, c1);
		}
	}
}

inline void Dt3::registerTets(Tet3* fromTet, int ith, Tet3* toTet, int jth)
{
	ASSERT_CONDITION(range03(ith));
	ASSERT_CONDITION(range03(jth));
	ASSERT_CONDITION(toTet!=0);
	if(__builtin_expect(fromTet == toTet, 0))
	{
		std::cout << "register tets has been called with fromTet==toTet==" << static_cast<const void*>(fromTet)
				  << std::endl;
		std::cout << *fromTet << std::endl;
		ASSERT_CONDITION(fromTet!=toTet);
	}
	fromTet->setOppTet(ith, toTet);
	toTet->setOppTet(jth, fromTet);
}

__attribute__((always_inline)) inline void Dt3::registerPendingFacet(int key, Tet3* pNew, int i, Point3* pLow,
	Point3* pHigh)
{
	TwoTetStruct*& pSlot(vBuckets[key]);
	if(pSlot == nullptr)
	{
		TwoTetStruct* pRec(ttsPool.alloc());
		pRec->pLowVtx = pLow;
		pRec->pHighVtx = pHigh;
		pRec->pTet = pNew;
		pRec->ith = i;
		pSlot = pRec;
		++numStoredTCS;
		return;
	}
	if(pSlot->pLowVtx == pLow && pSlot->pHighVtx == pHigh)
	{
		registerTets(pSlot->pTet, pSlot->ith, pNew, i);
		pSlot = nullptr;
		--numStoredTCS;
		return;
	}
	registerCollidingFacet(pNew, i, pLow, pHigh);
}

__attribute__((always_inline)) inline void Dt3::registerNewFacets(Tet3* pNew)
{
	// Sort corners 1..3 by address, carrying their indices; the facet
	// opposite each corner holds corner 0 and the other two. The order of
	// the addresses is random, so the exchanges are done without branches,
	// which would be mispredicted about every other time.
	Point3* p0;
	Point3* s0;
	Point3* s1;
	Point3* s2;
	pNew->getCorners(p0, s0, s1, s2);
	int k0(1), k1(2), k2(3);
	orderByAddress(s0, s1, k0, k1);
	orderByAddress(s1, s2, k1, k2);
	orderByAddress(s0, s1, k0, k1);
	registerPendingFacet(pairingKey(s1, s2), pNew, k0, s1, s2);
	registerPendingFacet(pairingKey(s0, s2), pNew, k1, s0, s2);
	registerPendingFacet(pairingKey(s0, s1), pNew, k2, s0, s1);
}

inline void Dt3::orderByAddress(Point3*& pA, Point3*& pB, int& kA, int& kB)
{
	// An exchange by masks: all ones when pB comes first, zero otherwise.
	uintptr_t a(reinterpret_cast<uintptr_t>(pA));
	uintptr_t b(reinterpret_cast<uintptr_t>(pB));
	const uintptr_t mask(uintptr_t(0) - uintptr_t(b < a));
	const uintptr_t flip((a ^ b) & mask);
	a ^= flip;
	b ^= flip;
	const int flipIndex((kA ^ kB) & static_cast<int>(mask));
	kA ^= flipIndex;
	kB ^= flipIndex;
	pA = reinterpret_cast<Point3*>(a);
	pB = reinterpret_cast<Point3*>(b);
}

inline void Dt3::markDoomed(Tet3* pTet)
{
	pTet->setCustomIndex(-1);
	vDoomedTets.push_back(pTet);
}

} // namespace VORN3D

#endif
