// Dt3: kernel state, construction and teardown, and the insertion driver
// (bulk and single insertion, batches, the per-point dispatch).
#include "Dt3.h"

#include "Surface3.h"

#include <algorithm>
#include <cmath>
#include <iostream>
#include <limits>
#include <string>

namespace VORN3D {

Dt3::Dt3(Vorn_3D* pOwner_):
	numStoredTCS(0), sphereQuickFactor(insphereQuickFactor(predicates.isperrboundA)),
	orientBoundFactor(predicates.o3derrboundA), sphereBoundFactor(predicates.isperrboundA), bWideRange(false),
	bFullDimensional(false), bPerturbation(false), pOwner(pOwner_), bVerbose(false), numPoolTets(0), pRecentTet(nullptr),
	bInsertionOpen(false), nextLabel(0), labelLeaseDepth(0)
{
	ttsPool.init();
	tetPool.init();
	vDoomedTets.reserve(512);
	vFreeTets.reserve(512);
	vBuckets.assign(1024, nullptr);
	vStack.reserve(512);
	(void)pOwner;
}

Dt3::~Dt3()
{
	// Surfaces go first; everything else is released by the members in
	// reverse order of declaration: vertex store, lists, buckets, pools.
	for(Surface3* pSurface : vSurfaces) delete pSurface;
	std::vector<Surface3*>().swap(vSurfaces);
}

void Dt3::setWideRange(bool bWide)
{
	// A NaN factor makes every bound test of the inline filters fail, so they
	// pass each call on to the predicate object, which is exact for all
	// finite coordinates. The common path keeps its instructions: only the
	// factor it multiplies by changes.
	bWideRange = bWide;
	orientBoundFactor = bWide ? std::numeric_limits<double>::quiet_NaN() : predicates.o3derrboundA;
	sphereBoundFactor = bWide ? std::numeric_limits<double>::quiet_NaN() : predicates.isperrboundA;
}

void Dt3::setPerturbation(bool b)
{
	if(b == bPerturbation) return;
	// Cells built under one rule are not Delaunay under the other: the
	// setting belongs to the whole point set.
	if(hc.size() != 0)
	{
		printError("Dt3::setPerturbation()", "the perturbation can only be changed before the first insertion");
		throw VornException();
	}
	bPerturbation = b;
}

void Dt3::rejectNonFinite(size_t position) const
{
	const std::string message("non-finite coordinate in input point " + std::to_string(position));
	printError("Dt3::insert()", message);
	throw VornInputError("Dt3::insert(), ERROR: " + message);
}

namespace {
inline bool isFinitePoint(const Point3& p)
{
	return std::isfinite(p.x()) && std::isfinite(p.y()) && std::isfinite(p.z());
}
} // namespace

Tet3* Dt3::startTetNear(const Point3& p)
{
	const Point3* pVtx(startGrid.find(p));
	if(pVtx != nullptr) return pVtx->getOneTet();
	Tet3* pTet(hc.getNearTet(p));
	// The store looks only forward along the curve; past its last vertex with
	// a cell the most recent insertion's cell is as good a start as any.
	if(pTet == nullptr) pTet = pRecentTet;
	return pTet;
}

void Dt3::prepareStartGrid(const std::vector<Point3*>& vNew)
{
	const Bbox3& box(hc.getBox());
	const size_t numExpected(std::max(hc.size(), vNew.size()));
	const bool bSameBox(box.getMinX() == startGridBox.getMinX() && box.getMinY() == startGridBox.getMinY() &&
		box.getMinZ() == startGridBox.getMinZ() && box.getMaxX() == startGridBox.getMaxX() &&
		box.getMaxY() == startGridBox.getMaxY() && box.getMaxZ() == startGridBox.getMaxZ());
	// The store enlarges its box beyond the points and the grid is laid out
	// for twice the points it holds, so both causes come back only after the
	// point set has grown by a constant factor: the rebuilds cost O(1) per
	// point overall.
	if(startGrid.isBuilt() && bSameBox && numExpected <= 2 * startGrid.getCapacity()) return;
	startGridBox = box;
	// The buckets cover the points themselves, not the store's larger box.
	double aLow[3] = {std::numeric_limits<double>::max(), std::numeric_limits<double>::max(),
		std::numeric_limits<double>::max()};
	double aHigh[3] = {-aLow[0], -aLow[1], -aLow[2]};
	auto addToBox = [&aLow, &aHigh](const Point3* p) {
		const double a[3] = {p->x(), p->y(), p->z()};
		for(int i = 0; i < 3; ++i)
		{
			aLow[i] = std::min(aLow[i], a[i]);
			aHigh[i] = std::max(aHigh[i], a[i]);
		}
	};
	for(const Point3* p : vNew) addToBox(p);
	hc.findFirstVertex([&addToBox](const Point3* p) {
		addToBox(p);
		return false;
	});
	if(!(aLow[0] <= aHigh[0])) return;
	startGrid.reset(aLow, aHigh, std::max<size_t>(numExpected, 64));
	// Every vertex already in the mesh goes back into the new buckets; those
	// whose cell has a hull facet (hull vertices among them) only where no
	// other vertex is.
	StartGrid3& grid(startGrid);
	hc.findFirstVertex([&grid](Point3* p) {
		const Tet3* pTet(p->getOneTet());
		if(pTet != nullptr && pTet->getOppTet(0) != nullptr && pTet->getOppTet(1) != nullptr &&
			pTet->getOppTet(2) != nullptr && pTet->getOppTet(3) != nullptr)
			grid.record(p);
		return false;
	});
	hc.findFirstVertex([&grid](Point3* p) {
		if(p->getOneTet() != nullptr) grid.recordIfEmpty(p);
		return false;
	});
}

void Dt3::insert(std::vector<Point3>& vInput, std::vector<Point3*>& vUserHandles)
{
	// Reject bad input before anything, the caller's handles included, moves.
	bool bAllInFilterRange(true);
	for(size_t i = 0; i < vInput.size(); ++i)
	{
		if(!isFinitePoint(vInput[i])) rejectNonFinite(i);
		if(!inFilterRange(vInput[i])) bAllInFilterRange = false;
	}
	if(!bAllInFilterRange) setWideRange(true);
	if(bVerbose) std::cout << "Dt3::insert(vector,vector) has been called" << std::endl;
	if(!vUserHandles.empty())
	{
		printWarning("Dt3::insert()", "vUserHandles is not empty as it should be");
		vUserHandles.clear();
	}
	std::cout << "numPoints=" << vInput.size() << std::endl;
	if(vInput.empty()) return;
	const LabelLease lease(*this);

	std::vector<Point3*> vOrdered;
	hc.insert(vInput, vUserHandles, vOrdered);
	if(bFullDimensional)
	{
		Tet3* pStart(vOrdered.empty() ? pRecentTet : startTetNear(*vOrdered[0]));
		triangulate(vOrdered, pStart);
		return;
	}
	Tet3* pFirstTet(buildFirstTet());
	if(pFirstTet == nullptr) return;
	pRecentTet = pFirstTet;
	if(hc.size() != vInput.size())
	{
		// Earlier calls held vertices back: they enter the mesh now too.
		std::vector<Point3*> vAll;
		hc.getVertices(vAll);
		triangulate(vAll, pFirstTet);
	}
	else
	{
		triangulate(vOrdered, pFirstTet);
	}
}

Point3* Dt3::insert(const Point3& p)
{
	if(!isFinitePoint(p)) rejectNonFinite(0);
	if(!inFilterRange(p)) setWideRange(true);
	const LabelLease lease(*this);
	Tet3* pDuplicateTet(nullptr);
	Point3* pVtx(hc.insert(p, pDuplicateTet));
	if(bFullDimensional)
	{
		prepareStartGrid(std::vector<Point3*>());
		Tet3* pStartTet(pDuplicateTet != nullptr ? pDuplicateTet : startTetNear(*pVtx));
		ASSERT_CONDITION(!pStartTet->hasBeenVisited);
		pRecentTet = insertOne(pVtx, pStartTet);
		return pVtx;
	}
	Tet3* pFirstTet(buildFirstTet());
	if(pFirstTet != nullptr)
	{
		pRecentTet = pFirstTet;
		// Only the first cell enters the mesh here; the other held vertices
		// wait for a bulk insertion.
		if(hc.size() >= 5)
		{
			std::vector<Point3*> vNone;
			triangulate(vNone, pFirstTet);
		}
	}
	return pVtx;
}

void Dt3::splitIntoBatches(const std::vector<Point3*>& vVertices, size_t lo, size_t hi, int level, int maxLevel,
	std::vector<std::vector<Point3*>>& vBatches)
{
	// The middle vertex of every range goes to the range's level, so each
	// level samples the whole (Hilbert ordered) set twice as densely as the
	// one before.
	while(hi - lo > 1 && level < maxLevel)
	{
		const size_t mid(lo + (hi - lo) / 2);
		vBatches[level].push_back(vVertices[mid]);
		splitIntoBatches(vVertices, lo, mid, level + 1, maxLevel, vBatches);
		lo = mid + 1;
		++level;
	}
	for(size_t i = lo; i < hi; ++i) vBatches[level].push_back(vVertices[i]);
}

void Dt3::triangulate(std::vector<Point3*>& vVertices, Tet3* pLastTet)
{
	if(pLastTet == nullptr) goToHell("pLastTet==NULL in Dt3::triangulate");
	const LabelLease lease(*this);
	if(vVertices.empty())
	{
		std::cout << "Attention: triangulate has got an empty vector" << std::endl;
		return;
	}
	prepareStartGrid(vVertices);
	const size_t n(vVertices.size());
	const int maxLevel(std::max(0, static_cast<int>(std::ceil(std::log(static_cast<double>(n)) / std::log(2.0))) - 4));
	std::vector<std::vector<Point3*>> vBatches(static_cast<size_t>(maxLevel) + 1);
	splitIntoBatches(vVertices, 0, n, 0, maxLevel, vBatches);

	for(size_t r = 0; r < vBatches.size(); ++r)
	{
		std::vector<Point3*>& vBatch(vBatches[r]);
		// Alternate the direction so that each batch starts where the
		// previous one ended.
		if(r % 2 == 0)
		{
			for(size_t i = vBatch.size(); i-- > 0;) pLastTet = insertOne(vBatch[i], nearerStart(*vBatch[i], pLastTet));
		}
		else
		{
			for(size_t i = 0; i < vBatch.size(); ++i) pLastTet = insertOne(vBatch[i], nearerStart(*vBatch[i], pLastTet));
		}
		pRecentTet = pLastTet;
	}
}

Tet3* Dt3::insertOne(Point3*& pVtx, Tet3* pStart)
{
	bInsertionOpen = true;
	Tet3* pRet(insertOneUnguarded(pVtx, pStart));
	bInsertionOpen = false;
	return pRet;
}

Tet3* Dt3::insertOneUnguarded(Point3*& pVtx, Tet3* pStart)
{
	Tet3* pCurTet(pStart);
	ASSERT_CONDITION(!pCurTet->hasBeenVisited);
	ASSERT_CONDITION(numStoredTCS==0);
	ASSERT_CONDITION(vHashCollisions.empty());
	ttsPool.reset();

	const int locateResult(locateComplete(pVtx, pCurTet));
	VORN3D_WALK_STATS_END();
	if(locateResult == -2) return insertVertex(pVtx, pCurTet, locateResult);
	if(locateResult >= 0)
	{
		Tet3* pRet(insertOutsideHull(pVtx, pCurTet, locateResult));
		ASSERT_CONDITION(pRet!=0);
		ASSERT_CONDITION(!pRet->hasBeenVisited);
		// A vertex on the hull is a poor start: the cells around it can be
		// long slivers along the hull, from which a walk to a point nearby
		// may wander far. It only fills buckets that have nothing better.
		startGrid.recordIfEmpty(pVtx);
		return pRet;
	}
	ASSERT_CONDITION(locateResult==-1);

	// Inside the hull: the cells removed by the previous insertion become
	// reusable now, not earlier, so that they stay readable until here.
	vDoomedTets.swap(vFreeTets);
	markDoomed(pCurTet);
	pCurTet->hasBeenVisited = true;
	vStack.push_back(pCurTet);
	Tet3* pRet(growAndFillCavity(pVtx));
	// Inside the hull now and for good: the start that the grid prefers,
	// unless its cells are long slivers (as near the flat sides of a long
	// box), from which a walk to a point nearby may wander far.
	if(startGrid.isCompact(pRet)) startGrid.record(pVtx);
	else startGrid.recordIfEmpty(pVtx);
	return pRet;
}

Tet3* Dt3::insertVertex(Point3*& pVtx, Tet3* pTet, int locateResult)
{
	ASSERT_CONDITION(locateResult==-2);
	for(int i = 0; i < 4; ++i)
	{
		Point3* pCorner(pTet->getCorner(i));
		if(pCorner->x() == pVtx->x() && pCorner->y() == pVtx->y() && pCorner->z() == pVtx->z())
		{
			pVtx = pCorner;
			return pTet;
		}
	}
	printError("insertVertex()", "Proxy not found");
	return nullptr;
}

Tet3* Dt3::insertOutsideHull(Point3*& pVtx, Tet3* pTet, int locateResult)
{
	Tet3* pCurTet(pTet);
	const int opp3ICI(locateResult);
	ASSERT_CONDITION(pCurTet!=0);
	ASSERT_CONDITION(opp3ICI>-1);
	ASSERT_CONDITION(numStoredTCS==0);
	vDoomedTets.swap(vFreeTets);

	vCHTets.clear();
	vCHTetsKeep.clear();
	vCHDoomed.clear();
	collectVisibleCHTets(pVtx, pCurTet, opp3ICI, vCHTets);
	splitCHTets(vCHTets, vCHTetsKeep, vCHDoomed, pVtx);
	Tet3* pNewTet1(createCHTets(vCHTetsKeep, pVtx));
	Tet3* pNewTet2(nullptr);
	if(!vCHDoomed.empty()) pNewTet2 = fillCavityOfDoomedTets(vCHDoomed, pVtx);
	// New hull facets have no partner; they stay null neighbours.
	flushHashCollisions();
	resetFacetPairing();
	if(pNewTet1 != nullptr) return pNewTet1;
	if(pNewTet2 != nullptr) return pNewTet2;
	ASSERT_CONDITION(pNewTet1!=0);
	return nullptr;
}

} // namespace VORN3D
