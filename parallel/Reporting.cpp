// DistributedMesh, the end: which process reports each cell, the reported
// cells and points, and the check that the facets between processes match.
#include "DistributedMesh.h"
#include "MeshRecords.h"
#include "Resident.h"

#include <algorithm>
#include <array>
#include <unordered_map>

namespace vorn3dregions {

using VORN3D::Point3;
using VORN3D::Tet3;

int DistributedMesh::reporterOf(const Tet3* pTet) const
{
	const Point3* pMin(pTet->getCorner(0));
	for(int i = 1; i < 4; ++i)
	{
		if(gidOf(pTet->getCorner(i)) < gidOf(pMin)) pMin = pTet->getCorner(i);
	}
	return ownerOf(pMin);
}

long DistributedMesh::reportedCells(std::vector<int64_t>* pQuads)
{
	std::vector<Tet3*>& vTets(vCells);
	vTets.clear();
	// Room for about seven cells per vertex (6.8 in uniform points), made
	// resident at once; the library asks for more where more are needed.
	reserveResident(vTets, 7 * vSlotGid.size());
	if(dt.is3D()) dt.getTetrahedra(vTets); // a flat mesh has no cells
	// The reporting process of each cell goes into its custom index for the
	// facet check that follows. A cell of own corners only is reported here;
	// the border cells (a corner of another process, or a hull facet) are
	// the only ones that may be reported elsewhere or lie on the hull, so
	// every facet the check needs belongs to one of them.
	vBorderTets.clear();
	long numMine(0);
	for(Tet3* pTet : vTets)
	{
		int reporter(rank);
		if(!(isOwn(pTet->getCorner(0)) && isOwn(pTet->getCorner(1)) && isOwn(pTet->getCorner(2)) &&
			   isOwn(pTet->getCorner(3))))
		{
			reporter = reporterOf(pTet);
			vBorderTets.push_back(pTet);
		}
		else if(pTet->getOppTet(0) == nullptr || pTet->getOppTet(1) == nullptr || pTet->getOppTet(2) == nullptr ||
			pTet->getOppTet(3) == nullptr)
			vBorderTets.push_back(pTet);
		pTet->setCustomIndex(reporter);
		numMine += reporter == rank;
	}
	if(pQuads == nullptr) return numMine;
	pQuads->reserve(pQuads->size() + 4 * static_cast<size_t>(numMine));
	for(const Tet3* pTet : vTets)
	{
		if(pTet->getCustomIndex() != rank) continue;
		for(int i = 0; i < 4; ++i) pQuads->push_back(gidOf(pTet->getCorner(i)));
	}
	return numMine;
}

void DistributedMesh::reportedPoints(std::vector<int64_t>& vGids, std::vector<double>& vXyz) const
{
	std::vector<std::pair<int64_t, const Point3*>> vFound;
	std::vector<char> vTaken(vSlotGid.size(), 0);
	for(const Tet3* pTet : vCells)
	{
		if(pTet->getCustomIndex() != rank) continue;
		for(int i = 0; i < 4; ++i)
		{
			const Point3* pVtx(pTet->getCorner(i));
			char& taken(vTaken[static_cast<size_t>(pVtx->getIndex())]);
			if(taken) continue;
			taken = 1;
			vFound.emplace_back(gidOf(pVtx), pVtx);
		}
	}
	std::sort(vFound.begin(), vFound.end());
	vGids.clear();
	vXyz.clear();
	vGids.reserve(vFound.size());
	vXyz.reserve(3 * vFound.size());
	for(const auto& found : vFound)
	{
		vGids.push_back(found.first);
		vXyz.insert(vXyz.end(), {found.second->x(), found.second->y(), found.second->z()});
	}
}

namespace {

struct FacetKey
{
	int64_t g[3];
	bool operator==(const FacetKey& o) const { return g[0] == o.g[0] && g[1] == o.g[1] && g[2] == o.g[2]; }
};
struct FacetHash
{
	size_t operator()(const FacetKey& k) const
	{
		return std::hash<int64_t>()(k.g[0] * 1000003 ^ k.g[1] * 998244353 ^ k.g[2]);
	}
};

/// Sorts the three indices; returns the parity of the sorting permutation,
/// which tells the side of the facet that the cell lies on.
int sortFacet(int64_t* g)
{
	int parity(0);
	if(g[0] > g[1]) std::swap(g[0], g[1]), parity ^= 1;
	if(g[1] > g[2]) std::swap(g[1], g[2]), parity ^= 1;
	if(g[0] > g[1]) std::swap(g[0], g[1]), parity ^= 1;
	return parity;
}

} // namespace

long DistributedMesh::countInconsistentFacets()
{
	if(size == 1) return 0; // one mesh is consistent
	// Every facet of a reported cell that is not shared with another cell
	// reported here goes to the owner of its smallest index, which sees all
	// records of that facet: it must have one cell on each side, or be a hull
	// facet of exactly one cell. Facets inside one process's share are
	// consistent by construction of its mesh.
	std::vector<std::vector<double>> vOut(static_cast<size_t>(size));
	const auto send([&](const Tet3* pTet, int i, bool bHull) {
		const Point3* aCorner[3] = {pTet->getCorner(OUTWARD[i][0]), pTet->getCorner(OUTWARD[i][1]),
			pTet->getCorner(OUTWARD[i][2])};
		FacetKey key{{gidOf(aCorner[0]), gidOf(aCorner[1]), gidOf(aCorner[2])}};
		const int side(sortFacet(key.g));
		const Point3* pMin(aCorner[0]);
		for(int k = 1; k < 3; ++k)
		{
			if(gidOf(aCorner[k]) < gidOf(pMin)) pMin = aCorner[k];
		}
		std::vector<double>& vTo(vOut[static_cast<size_t>(ownerOf(pMin))]);
		vTo.insert(vTo.end(), {gidWord(key.g[0]), gidWord(key.g[1]), gidWord(key.g[2]),
			static_cast<double>(side + (bHull ? 2 : 0))});
	});
	const auto isBorder([&](const Tet3* pTet) {
		for(int i = 0; i < 4; ++i)
		{
			if(!isOwn(pTet->getCorner(i)) || pTet->getOppTet(i) == nullptr) return true;
		}
		return false;
	});
	for(const Tet3* pTet : vBorderTets)
	{
		const bool bMine(pTet->getCustomIndex() == rank);
		for(int i = 0; i < 4; ++i)
		{
			const Tet3* pNext(pTet->getOppTet(i));
			if(bMine)
			{
				if(pNext == nullptr || pNext->getCustomIndex() != rank) send(pTet, i, pNext == nullptr);
			}
			else if(pNext != nullptr && pNext->getCustomIndex() == rank && !isBorder(pNext))
			{
				// A cell reported here that is no border cell itself: its side
				// of the shared facet is sent from here.
				int j(0);
				while(pNext->getOppTet(j) != pTet) ++j;
				send(pNext, j, false);
			}
		}
	}
	const Incoming in(net.exchange(std::move(vOut)));
	// Per facet: the number of cells on side 0, on side 1, and of hull records.
	std::unordered_map<FacetKey, std::array<int, 3>, FacetHash> seen;
	for(int q = 0; q < size; ++q)
	{
		for(const double* p = in.from(q); p != in.from(q) + in.count(q); p += 4)
		{
			const FacetKey key{{gidOfWord(p[0]), gidOfWord(p[1]), gidOfWord(p[2])}};
			const int code(static_cast<int>(p[3]));
			std::array<int, 3>& counts(seen.emplace(key, std::array<int, 3>{{0, 0, 0}}).first->second);
			++counts[code & 1];
			counts[2] += code >> 1;
		}
	}
	long numBad(0);
	for(const auto& entry : seen)
	{
		const std::array<int, 3>& n(entry.second);
		const bool bInterior(n[0] == 1 && n[1] == 1 && n[2] == 0);
		const bool bHull(n[0] + n[1] == 1 && n[2] == 1);
		if(!bInterior && !bHull) ++numBad;
	}
	return net.sum(numBad);
}

} // namespace vorn3dregions
