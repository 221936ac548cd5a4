#include "HC3.h"

#include <algorithm>
#include <cassert>
#include <cstdlib>
#include <iostream>
#include <new>

#include "tools.h"

namespace VORN3D {

namespace {

// Hilbert curve as a state machine with 12 states (orientations of the
// sub-cube) and 8 octant codes c = 4*bx + 2*by + bz. Stored column-major:
// entry [c * 12 + s] belongs to state s and code c.

// Position of octant c along the curve inside a cube of state s. Column 0 of
// state 0 is the inverse Gray code of c.
const int32_t aDigit[96] = {
	0, 0, 0, 2, 4, 6, 4, 6, 2, 2, 4, 6,
	1, 7, 3, 3, 3, 5, 7, 7, 5, 1, 5, 1,
	3, 1, 7, 1, 5, 1, 3, 5, 3, 5, 7, 7,
	2, 6, 4, 0, 2, 2, 0, 4, 4, 6, 6, 0,
	7, 3, 1, 5, 7, 7, 5, 1, 1, 3, 3, 5,
	6, 4, 2, 4, 0, 4, 6, 0, 6, 0, 2, 2,
	4, 2, 6, 6, 6, 0, 2, 2, 0, 4, 0, 4,
	5, 5, 5, 7, 1, 3, 1, 3, 7, 7, 1, 3,
};

// State of the sub-cube at octant c of a cube of state s.
const int32_t aNext[96] = {
	1, 2, 0, 6, 11, 4, 5, 6, 10, 4, 7, 10,
	2, 6, 9, 0, 11, 4, 7, 1, 3, 4, 2, 3,
	3, 0, 10, 6, 0, 8, 5, 6, 1, 8, 11, 2,
	2, 7, 9, 11, 7, 8, 3, 10, 1, 8, 2, 6,
	4, 8, 1, 9, 5, 0, 1, 9, 10, 2, 7, 10,
	5, 8, 1, 0, 9, 6, 1, 4, 3, 7, 5, 3,
	3, 0, 11, 9, 0, 10, 11, 9, 5, 2, 8, 4,
	5, 7, 11, 8, 7, 6, 11, 10, 9, 3, 5, 4,
};

// Stable LSD radix sort of (key << 32 | low) values by their key bits alone:
// values with equal keys keep their order, so input with ascending low halves
// comes out sorted by key, then low half.
void radixSortByKey(std::vector<uint64_t>& v, int numBits)
{
	if(v.size() < 256)
	{
		std::stable_sort(v.begin(), v.end(), [](uint64_t a, uint64_t b) { return (a >> 32) < (b >> 32); });
		return;
	}
	const int digitBits(11);
	const size_t numBuckets(size_t(1) << digitBits);
	std::vector<uint64_t> vTmp(v.size());
	std::vector<size_t> vCount(numBuckets);
	for(int shift = 32; shift < 32 + numBits; shift += digitBits)
	{
		std::fill(vCount.begin(), vCount.end(), 0);
		for(const uint64_t x : v) ++vCount[(x >> shift) & (numBuckets - 1)];
		size_t sum(0);
		for(size_t& c : vCount)
		{
			const size_t num(c);
			c = sum;
			sum += num;
		}
		for(const uint64_t x : v) vTmp[vCount[(x >> shift) & (numBuckets - 1)]++] = x;
		v.swap(vTmp);
	}
}

// Sorts [first, last), a run of equal keys, by the coordinates of the points
// that pointOf gives for the low halves, keeping the order of equal points.
template <class PointOf> void sortRunByCoords(uint64_t* first, uint64_t* last, PointOf pointOf)
{
	std::stable_sort(first, last, [&pointOf](uint64_t a, uint64_t b) {
		return pointOf(static_cast<uint32_t>(a)) < pointOf(static_cast<uint32_t>(b));
	});
}

// End of the run of equal keys that starts at first.
template <class Iter> Iter runEnd(Iter first, Iter last)
{
	const uint64_t key(*first >> 32);
	++first;
	while(first != last && (*first >> 32) == key) ++first;
	return first;
}

} // namespace

// ---- IdxVtxSequence -------------------------------------------------------

void IdxVtxSequence::clear()
{
	vBlocks.clear();
	vBlockLast.clear();
	numEntries = 0;
}

void IdxVtxSequence::lowerBound(const IdxVtx* pProbe, size_t& block, size_t& idx) const
{
	const IdxVtxLess less;
	block = static_cast<size_t>(std::lower_bound(vBlockLast.begin(), vBlockLast.end(), pProbe, less) - vBlockLast.begin());
	if(block == vBlocks.size())
	{
		idx = 0;
		return;
	}
	const std::vector<IdxVtx*>& vBlock(vBlocks[block]);
	idx = static_cast<size_t>(std::lower_bound(vBlock.begin(), vBlock.end(), pProbe, less) - vBlock.begin());
}

IdxVtx* IdxVtxSequence::insertUnique(IdxVtx* pEntry)
{
	if(vBlocks.empty())
	{
		vBlocks.emplace_back();
		vBlocks.back().reserve(maxBlockSize + 1);
		vBlocks.back().push_back(pEntry);
		vBlockLast.push_back(pEntry);
		numEntries = 1;
		return pEntry;
	}
	size_t block, idx;
	lowerBound(pEntry, block, idx);
	if(block == vBlocks.size())
	{
		// After everything: append to the last block.
		--block;
		idx = vBlocks[block].size();
	}
	else if(!IdxVtxLess()(pEntry, vBlocks[block][idx]))
	{
		return vBlocks[block][idx];
	}
	std::vector<IdxVtx*>& vBlock(vBlocks[block]);
	vBlock.insert(vBlock.begin() + static_cast<std::ptrdiff_t>(idx), pEntry);
	vBlockLast[block] = vBlock.back();
	++numEntries;
	if(vBlock.size() > maxBlockSize)
	{
		// Split in the middle; the upper half becomes a block of its own.
		const size_t half(vBlock.size() / 2);
		std::vector<IdxVtx*> vUpper;
		vUpper.reserve(maxBlockSize + 1);
		vUpper.assign(vBlock.begin() + static_cast<std::ptrdiff_t>(half), vBlock.end());
		vBlock.resize(half);
		vBlockLast[block] = vBlock.back();
		IdxVtx* pUpperLast(vUpper.back());
		vBlocks.insert(vBlocks.begin() + static_cast<std::ptrdiff_t>(block + 1), std::move(vUpper));
		vBlockLast.insert(vBlockLast.begin() + static_cast<std::ptrdiff_t>(block + 1), pUpperLast);
	}
	return pEntry;
}

void IdxVtxSequence::assign(const std::vector<IdxVtx*>& vSorted)
{
	clear();
	const size_t num(vSorted.size());
	vBlocks.reserve(num / fillBlockSize + 1);
	vBlockLast.reserve(num / fillBlockSize + 1);
	for(size_t first = 0; first < num; first += fillBlockSize)
	{
		const size_t last(std::min(num, first + fillBlockSize));
		vBlocks.emplace_back();
		std::vector<IdxVtx*>& vBlock(vBlocks.back());
		vBlock.reserve(maxBlockSize + 1);
		vBlock.assign(vSorted.begin() + static_cast<std::ptrdiff_t>(first),
			vSorted.begin() + static_cast<std::ptrdiff_t>(last));
		vBlockLast.push_back(vBlock.back());
	}
	numEntries = num;
}

void IdxVtxSequence::appendTo(std::vector<IdxVtx*>& vEntries) const
{
	vEntries.reserve(vEntries.size() + numEntries);
	for(const std::vector<IdxVtx*>& vBlock : vBlocks) vEntries.insert(vEntries.end(), vBlock.begin(), vBlock.end());
}

bool IdxVtxSequence::isConsistent() const
{
	if(vBlocks.size() != vBlockLast.size()) return false;
	const IdxVtxLess less;
	size_t num(0);
	const IdxVtx* pPrev(nullptr);
	for(size_t b = 0; b < vBlocks.size(); ++b)
	{
		const std::vector<IdxVtx*>& vBlock(vBlocks[b]);
		if(vBlock.empty() || vBlock.size() > maxBlockSize || vBlockLast[b] != vBlock.back()) return false;
		for(const IdxVtx* pEntry : vBlock)
		{
			if(pEntry == nullptr || pEntry->pVtx == nullptr) return false;
			if(pPrev != nullptr && !less(pPrev, pEntry)) return false;
			pPrev = pEntry;
		}
		num += vBlock.size();
	}
	return num == numEntries;
}

// ---- HC3 ------------------------------------------------------------------

thread_local bool HC3::bFirstBulkEnlargement(true);

HC3::HC3(int numBits_):
	aBoxMin{-1.0, -1.0, -1.0}, aExtent{-1.0, -1.0, -1.0}, numBits(numBits_), bValid(false), pSpareEntry(nullptr)
{
	if(numBits < 0 || numBits >= 33 || numBits % 3 != 0)
	{
		std::cout << "HC3::HC3(..): invalid bitlength" << std::endl;
		assert(false);
		exit(1);
	}
	vertexPool.init();
	entryPool.init();
}

HC3::~HC3()
{
	// Entries and vertices are plain pool storage; the pools release them.
}

// Descends numBits/3 levels. At every level all three octant bits are decided
// against half the x extent, while each axis subtracts its own half extent.
// This mixing fixes the order of every non-cubic point set and is kept on
// purpose; it is still a total order together with the coordinate tie-break.
// The bits are random for scattered input, so the subtraction multiplies by
// the bit instead of branching on it (d - 0 * h is d exactly).
uint32_t HC3::computeKey(double x, double y, double z) const
{
	static const double aBitValue[2] = {0.0, 1.0};
	double dx(x - aBoxMin[0]);
	double dy(y - aBoxMin[1]);
	double dz(z - aBoxMin[2]);
	double hx(aExtent[0]);
	double hy(aExtent[1]);
	double hz(aExtent[2]);
	uint32_t key(0);
	int state(0);
	for(int shift = numBits - 3; shift >= 0; shift -= 3)
	{
		hx *= 0.5;
		hy *= 0.5;
		hz *= 0.5;
		const int bx(dx >= hx);
		const int by(dy >= hx);
		const int bz(dz >= hx);
		// The bits as doubles from a table: a conversion of the comparison
		// result may be compiled into a branch (clang does), which random
		// points mispredict on every other level.
		dx = dx - aBitValue[bx] * hx;
		dy = dy - aBitValue[by] * hy;
		dz = dz - aBitValue[bz] * hz;
		const int idx(((bx << 2) | (by << 1) | bz) * 12 + state);
		key += static_cast<uint32_t>(aDigit[idx]) << shift;
		state = aNext[idx];
	}
	return key;
}

uint32_t HC3::getKey(const Point3& p) const
{
	assert(bValid);
	return computeKey(p.x(), p.y(), p.z());
}

void HC3::recomputeKeys()
{
	aBoxMin[0] = bbox.getMinX();
	aBoxMin[1] = bbox.getMinY();
	aBoxMin[2] = bbox.getMinZ();
	aExtent[0] = bbox.getRangeX();
	aExtent[1] = bbox.getRangeY();
	aExtent[2] = bbox.getRangeZ();
	bValid = true;
	if(entries.empty()) return;

	std::vector<IdxVtx*> vOld;
	entries.appendTo(vOld);
	ASSERT_CONDITION(vOld.size() <= 0xffffffffu);
	std::vector<uint64_t> vKeyIdx(vOld.size());
	for(size_t i = 0; i < vOld.size(); ++i)
	{
		IdxVtx* pEntry(vOld[i]);
		const Point3& v(*pEntry->pVtx);
		pEntry->key = computeKey(v.x(), v.y(), v.z());
		vKeyIdx[i] = (static_cast<uint64_t>(pEntry->key) << 32) | i;
	}
	// Sort by key, then coordinates. Stored points are pairwise different,
	// so the new order is strict.
	radixSortByKey(vKeyIdx, numBits);
	const auto pointOf([&vOld](uint32_t i) -> const Point3& { return *vOld[i]->pVtx; });
	uint64_t* pBegin(vKeyIdx.data());
	uint64_t* pEnd(pBegin + vKeyIdx.size());
	for(uint64_t* pRun = pBegin; pRun != pEnd;)
	{
		uint64_t* pRunEnd(runEnd(pRun, pEnd));
		if(pRunEnd - pRun > 1) sortRunByCoords(pRun, pRunEnd, pointOf);
		pRun = pRunEnd;
	}
	std::vector<IdxVtx*> vSorted(vOld.size());
	for(size_t i = 0; i < vKeyIdx.size(); ++i) vSorted[i] = vOld[static_cast<uint32_t>(vKeyIdx[i])];
	entries.assign(vSorted);
}

IdxVtx* HC3::takeEntry()
{
	if(pSpareEntry != nullptr)
	{
		IdxVtx* pEntry(pSpareEntry);
		pSpareEntry = nullptr;
		return pEntry;
	}
	return entryPool.alloc();
}

Point3* HC3::newVertex(const Point3& p)
{
	// Pool storage is raw; construct the vertex in place: coordinates only,
	// no incident cell, index -1.
	return new(vertexPool.alloc()) Point3(p.x(), p.y(), p.z());
}

Point3* HC3::insert(const Point3& p, Tet3*& pDuplicateTet)
{
	pDuplicateTet = nullptr;
	if(bbox.add(p))
	{
		bbox.enlargeBounds(1.0);
		recomputeKeys();
	}
	IdxVtx* pEntry(takeEntry());
	pEntry->key = getKey(p);
	// The caller's point serves as the probe; it is replaced by a vertex of
	// our own if it turns out to be new.
	pEntry->pVtx = const_cast<Point3*>(&p);
	IdxVtx* pStored(entries.insertUnique(pEntry));
	if(pStored == pEntry)
	{
		pEntry->pVtx = newVertex(p);
		return pEntry->pVtx;
	}
	pSpareEntry = pEntry;
	pDuplicateTet = pStored->pVtx->getOneTet();
	return pStored->pVtx;
}

// The points are sorted by (key, input position); within a run of equal keys
// they are then taken in coordinate order, so that they meet the store in its
// own order and equal points meet each other. Among equal points the one with
// the lowest input position creates the vertex. Many new points are merged
// with the stored entries in one linear pass; a few are inserted one by one.
void HC3::insert(const std::vector<Point3>& vInput, std::vector<Point3*>& vUserHandles, std::vector<Point3*>& vOrdered)
{
	ASSERT_CONDITION(vUserHandles.empty());
	vOrdered.clear();
	if(bbox.add(vInput))
	{
		// Deliberately asymmetric: the first bulk box of the thread is
		// enlarged only slightly, every later growth by the full range.
		bbox.enlargeBounds(bFirstBulkEnlargement ? 0.1 : 1.0);
		bFirstBulkEnlargement = false;
		recomputeKeys();
	}
	const size_t numInput(vInput.size());
	if(numInput == 0) return;
	ASSERT_CONDITION(numInput <= 0xffffffffu);
	assert(bValid);

	std::vector<uint64_t> vKeyPos(numInput);
	for(size_t i = 0; i < numInput; ++i)
	{
		const Point3& p(vInput[i]);
		vKeyPos[i] = (static_cast<uint64_t>(computeKey(p.x(), p.y(), p.z())) << 32) | static_cast<uint64_t>(i);
	}
	radixSortByKey(vKeyPos, numBits);

	vUserHandles.resize(numInput);
	std::vector<char> vCreated(numInput, 0);
	const bool bMerge(entries.size() / 16 <= numInput);
	std::vector<IdxVtx*> vOld, vMerged;
	if(bMerge)
	{
		entries.appendTo(vOld);
		vMerged.reserve(vOld.size() + numInput);
	}
	const IdxVtxLess less;
	size_t oldIdx(0);
	std::vector<uint64_t> vRun;
	const auto pointOf([&vInput](uint32_t pos) -> const Point3& { return vInput[pos]; });
	const uint64_t* pEnd(vKeyPos.data() + numInput);
	// The points are read in curve order, scattered over the input: fetch
	// them a little ahead.
	const size_t prefetchDistance(16);
	for(size_t i = 0; i < numInput && i < prefetchDistance; ++i) __builtin_prefetch(&vInput[static_cast<uint32_t>(vKeyPos[i])]);
	for(const uint64_t* pRun = vKeyPos.data(); pRun != pEnd;)
	{
		if(pEnd - pRun > static_cast<std::ptrdiff_t>(prefetchDistance))
		{
			__builtin_prefetch(&vInput[static_cast<uint32_t>(pRun[prefetchDistance])]);
		}
		const uint64_t* pRunEnd(runEnd(pRun, pEnd));
		const uint64_t* pItem(pRun);
		const uint64_t* pItemEnd(pRunEnd);
		if(pRunEnd - pRun > 1)
		{
			vRun.assign(pRun, pRunEnd);
			sortRunByCoords(vRun.data(), vRun.data() + vRun.size(), pointOf);
			pItem = vRun.data();
			pItemEnd = pItem + vRun.size();
		}
		for(; pItem != pItemEnd; ++pItem)
		{
			const uint32_t pos(static_cast<uint32_t>(*pItem));
			const Point3& p(vInput[pos]);
			if(bMerge)
			{
				IdxVtx probe;
				probe.key = static_cast<uint32_t>(*pItem >> 32);
				probe.pVtx = const_cast<Point3*>(&p);
				while(oldIdx < vOld.size() && less(vOld[oldIdx], &probe)) vMerged.push_back(vOld[oldIdx++]);
				if(oldIdx < vOld.size() && !less(&probe, vOld[oldIdx]))
				{
					vUserHandles[pos] = vOld[oldIdx]->pVtx;
				}
				else if(!vMerged.empty() && !less(vMerged.back(), &probe))
				{
					// Equal to a point of this call placed just before.
					vUserHandles[pos] = vMerged.back()->pVtx;
				}
				else
				{
					IdxVtx* pEntry(takeEntry());
					pEntry->key = probe.key;
					pEntry->pVtx = newVertex(p);
					vMerged.push_back(pEntry);
					vUserHandles[pos] = pEntry->pVtx;
					vCreated[pos] = 1;
				}
			}
			else
			{
				IdxVtx* pEntry(takeEntry());
				pEntry->key = static_cast<uint32_t>(*pItem >> 32);
				pEntry->pVtx = const_cast<Point3*>(&p);
				IdxVtx* pStored(entries.insertUnique(pEntry));
				if(pStored == pEntry)
				{
					pEntry->pVtx = newVertex(p);
					vCreated[pos] = 1;
				}
				else
				{
					pSpareEntry = pEntry;
				}
				vUserHandles[pos] = pStored->pVtx;
			}
		}
		pRun = pRunEnd;
	}
	if(bMerge)
	{
		vMerged.insert(vMerged.end(), vOld.begin() + static_cast<std::ptrdiff_t>(oldIdx), vOld.end());
		entries.assign(vMerged);
	}

	// The new vertices in (key, input position) order.
	vOrdered.reserve(static_cast<size_t>(std::count(vCreated.begin(), vCreated.end(), 1)));
	for(const uint64_t keyPos : vKeyPos)
	{
		const uint32_t pos(static_cast<uint32_t>(keyPos));
		if(vCreated[pos]) vOrdered.push_back(vUserHandles[pos]);
	}
}

void HC3::getVertices(std::vector<Point3*>& vVertices) const
{
	vVertices.reserve(vVertices.size() + entries.size());
	for(const std::vector<IdxVtx*>& vBlock : entries.getBlocks())
	{
		for(const IdxVtx* pEntry : vBlock) vVertices.push_back(pEntry->pVtx);
	}
}

Tet3* HC3::getNearTet(const Point3& p)
{
	if(entries.empty()) return nullptr;
	IdxVtx probe;
	probe.key = getKey(p);
	probe.pVtx = nullptr;
	size_t block, idx;
	entries.lowerBound(&probe, block, idx);
	const std::vector<std::vector<IdxVtx*>>& vBlocks(entries.getBlocks());
	if(block == vBlocks.size())
	{
		// Beyond the last key: start at the last entry.
		block = vBlocks.size() - 1;
		idx = vBlocks[block].size() - 1;
	}
	const size_t startBlock(block), startIdx(idx);
	for(; block < vBlocks.size(); ++block, idx = 0)
	{
		const std::vector<IdxVtx*>& vBlock(vBlocks[block]);
		for(; idx < vBlock.size(); ++idx)
		{
			const Point3* pVtx(vBlock[idx]->pVtx);
			ASSERT_CONDITION(pVtx!=0);
			Tet3* pTet(pVtx->getOneTet());
			if(pTet != nullptr) return pTet;
		}
	}
	// Nothing meshed after the probe (e.g. a bulk batch whose new points all
	// lie at the end of the curve): the nearest meshed vertex before it serves
	// as well. Null only when no stored vertex has a cell yet.
	block = startBlock;
	idx = startIdx;
	while(true)
	{
		if(idx == 0)
		{
			if(block == 0) break;
			--block;
			idx = vBlocks[block].size();
			continue;
		}
		--idx;
		const Point3* pVtx(vBlocks[block][idx]->pVtx);
		ASSERT_CONDITION(pVtx!=0);
		Tet3* pTet(pVtx->getOneTet());
		if(pTet != nullptr) return pTet;
	}
	return nullptr;
}

size_t HC3::size() const
{
	return entries.size();
}

} // namespace VORN3D
