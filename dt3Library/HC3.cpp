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

} // namespace

bool HC3::bFirstBulkEnlargement(true);

HC3::HC3(int numBits_):
	aBoxMin{-1.0, -1.0, -1.0}, aExtent{-1.0, -1.0, -1.0}, numBits(numBits_), bValid(false), pSpareEntry(nullptr)
{
	if(numBits < 0 || numBits >= 33 || numBits % 3 != 0)
	{
		std::cout << "HC3::HC3(..): invalid bitlength" << std::endl;
		assert(false);
		exit(1);
	}
	vertexPool.init(4, -1);
	entryPool.init(4, -1);
}

HC3::~HC3()
{
	// Entries and vertices are plain pool storage; the pools release them.
	entrySet.clear();
}

// Descends numBits/3 levels. At every level all three octant bits are decided
// against half the x extent, while each axis subtracts its own half extent.
// This mixing fixes the order of every non-cubic point set and is kept on
// purpose; it is still a total order together with the coordinate tie-break.
uint32_t HC3::computeKey(double x, double y, double z) const
{
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
		if(bx) dx -= hx;
		if(by) dy -= hy;
		if(bz) dz -= hz;
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
	std::vector<IdxVtx*> vEntries(entrySet.begin(), entrySet.end());
	for(IdxVtx* pEntry : vEntries)
	{
		const Point3& v(*pEntry->pVtx);
		pEntry->key = computeKey(v.x(), v.y(), v.z());
	}
	// Stored points are pairwise different, so the new order is strict and
	// the sorted refill takes every entry back, in linear time.
	entrySet.clear();
	std::sort(vEntries.begin(), vEntries.end(), IdxVtxLess());
	entrySet.insert(vEntries.begin(), vEntries.end());
	bValid = true;
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
	const std::pair<EntrySet::iterator, bool> result(entrySet.insert(pEntry));
	if(result.second)
	{
		pEntry->pVtx = newVertex(p);
		return pEntry->pVtx;
	}
	pSpareEntry = pEntry;
	Point3* pStored((*result.first)->pVtx);
	pDuplicateTet = pStored->getOneTet();
	return pStored;
}

void HC3::insert(const std::vector<Point3>& vInput, std::vector<Point3*>& vUserHandles, std::vector<Point3*>& vOrdered)
{
	ASSERT_CONDITION(vUserHandles.empty());
	vOrdered.clear();
	if(bbox.add(vInput))
	{
		// Deliberately asymmetric: the first bulk box of the process is
		// enlarged only slightly, every later growth by the full range.
		bbox.enlargeBounds(bFirstBulkEnlargement ? 0.1 : 1.0);
		bFirstBulkEnlargement = false;
		recomputeKeys();
	}
	const size_t numInput(vInput.size());
	if(numInput == 0) return;
	ASSERT_CONDITION(numInput <= 0xffffffffu);
	assert(bValid);

	// Key in the high half, input position in the low half: sorting the
	// plain integers sorts by key, then position.
	std::vector<uint64_t> vKeyPos(numInput);
	for(size_t i = 0; i < numInput; ++i)
	{
		const Point3& p(vInput[i]);
		vKeyPos[i] = (static_cast<uint64_t>(computeKey(p.x(), p.y(), p.z())) << 32) | static_cast<uint64_t>(i);
	}
	std::sort(vKeyPos.begin(), vKeyPos.end());

	vUserHandles.resize(numInput);
	vOrdered.reserve(numInput);
	// Consecutive points mostly belong right after the previous one, so the
	// previous position is a good hint.
	EntrySet::iterator itHint(entrySet.end());
	for(const uint64_t keyPos : vKeyPos)
	{
		const size_t pos(static_cast<size_t>(keyPos & 0xffffffffu));
		const Point3& p(vInput[pos]);
		IdxVtx* pEntry(takeEntry());
		pEntry->key = static_cast<uint32_t>(keyPos >> 32);
		pEntry->pVtx = const_cast<Point3*>(&p);
		itHint = entrySet.insert(itHint, pEntry);
		if(*itHint == pEntry)
		{
			pEntry->pVtx = newVertex(p);
			vOrdered.push_back(pEntry->pVtx);
			vUserHandles[pos] = pEntry->pVtx;
		}
		else
		{
			pSpareEntry = pEntry;
			vUserHandles[pos] = (*itHint)->pVtx;
		}
	}
}

void HC3::getVertices(std::vector<Point3*>& vVertices) const
{
	vVertices.reserve(vVertices.size() + entrySet.size());
	for(const IdxVtx* pEntry : entrySet) vVertices.push_back(pEntry->pVtx);
}

Tet3* HC3::getNearTet(const Point3& p)
{
	if(entrySet.empty()) return nullptr;
	IdxVtx probe;
	probe.key = getKey(p);
	probe.pVtx = nullptr;
	EntrySet::const_iterator it(entrySet.lower_bound(&probe));
	if(it == entrySet.end()) --it;
	for(; it != entrySet.end(); ++it)
	{
		const Point3* pVtx((*it)->pVtx);
		ASSERT_CONDITION(pVtx!=0);
		Tet3* pTet(pVtx->getOneTet());
		if(pTet != nullptr) return pTet;
	}
	return nullptr;
}

size_t HC3::size() const
{
	return entrySet.size();
}

} // namespace VORN3D
