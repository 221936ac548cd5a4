// DistributedMesh, the local part: construction, inserting received
// points, triangulating the own points and sharing the own hull vertices.
#include "DistributedMesh.h"
#include "DeepPoints.h"
#include "HullTree.h"
#include "MeshRecords.h"
#include "PointGrid.h"
#include "Resident.h"

#include <algorithm>

namespace vorn3dregions {

using VORN3D::Point3;
using VORN3D::Tet3;

DistributedMesh::DistributedMesh(Transport& transport, const std::vector<Box>& vBoxes_, bool bPerturb, bool bQuiet_):
	net(transport), rank(transport.rank()), size(transport.size()), bQuiet(bQuiet_), vBoxes(vBoxes_), fetched{{0.0, 0.0, 0.0}, {-1.0, -1.0, -1.0}}, numOwnSlots(0), bAllNew(true), roundStamp(-1),
	pGrid(nullptr), pHullTree(nullptr), numUnbounded(0)
{
	vUnsentTo.resize(static_cast<size_t>(size));
	whole = vBoxes[0];
	for(const Box& box : vBoxes)
	{
		for(int a = 0; a < 3; ++a)
		{
			whole.lo[a] = std::min(whole.lo[a], box.lo[a]);
			whole.hi[a] = std::max(whole.hi[a], box.hi[a]);
		}
	}
	// Every process breaks the ties of degenerate input (a point exactly on
	// a circumsphere, or in the plane of a hull facet and on its circle) by
	// the same symbolic perturbation, which depends on coordinates alone.
	// The queries send points on a sphere or in a hull plane along with
	// those inside, so a cell certified here is a cell of the perturbed
	// mesh of all points, and neighbouring processes agree on shared facets.
	dt.setPerturbation(bPerturb);
	dt.setVerbosity(false);
}

DistributedMesh::~DistributedMesh()
{
	delete pGrid;
	delete pHullTree;
}

void DistributedMesh::insertPoints(std::vector<Point3>& vPoints, std::vector<Point3*>& vHandles)
{
	if(!bQuiet) return dt.insert(vPoints, vHandles);
	QuietOutput quiet;
	dt.insert(vPoints, vHandles);
}

void DistributedMesh::stageRecords(const double* pRecords, size_t num, const int* pOwner, int owner)
{
	vSlotGid.reserve(vSlotGid.size() + num);
	vSlotOwner.reserve(vSlotOwner.size() + num);
	for(size_t r = 0; r < num; ++r)
	{
		const double* pRec(pRecords + REC * r);
		const int64_t gid(gidOfWord(pRec[3]));
		const int recOwner(pOwner == nullptr ? owner : pOwner[r]);
		if(recOwner != rank && !ghostGids.insert(gid).second) continue;
		vSlotGid.push_back(gid);
		vSlotOwner.push_back(recOwner);
		vStaged.emplace_back(pRec[0], pRec[1], pRec[2]);
	}
}

long DistributedMesh::insertStaged()
{
	if(vStaged.empty()) return 0;
	const size_t firstSlot(vSlotGid.size() - vStaged.size());
	std::vector<Point3*> vHandles;
	insertPoints(vStaged, vHandles);
	for(size_t k = 0; k < vHandles.size(); ++k)
	{
		if(vHandles[k]->getIndex() >= 0) continue; // a copy of an earlier point
		vHandles[k]->setIndex(static_cast<int>(firstSlot + k));
		vNewVertices.push_back(vHandles[k]);
	}
	const long numInserted(static_cast<long>(vStaged.size()));
	vStaged.clear();
	return numInserted;
}

long DistributedMesh::insertRecords(const std::vector<double>& vRecords, const std::vector<int>& vOwner)
{
	stageRecords(vRecords.data(), vOwner.size(), vOwner.data(), rank);
	return insertStaged();
}

long DistributedMesh::insertRecords(const Incoming& in)
{
	for(int q = 0; q < in.numSources(); ++q) stageRecords(in.from(q), static_cast<size_t>(in.count(q)) / REC, nullptr, q);
	return insertStaged();
}

long DistributedMesh::triangulateOwn(std::vector<Point3>& vPoints, const std::vector<int64_t>& vGid,
	const std::vector<int>& vOwner)
{
	// The own points come first and so take the first slots.
	numOwnSlots = static_cast<int>(std::count(vOwner.begin(), vOwner.end(), rank));
	reserveResident(vSlotGid, vGid.size());
	vSlotGid.assign(vGid.begin(), vGid.end());
	reserveResident(vSlotOwner, vOwner.size());
	vSlotOwner.assign(vOwner.begin(), vOwner.end());
	for(size_t k = static_cast<size_t>(numOwnSlots); k < vGid.size(); ++k) ghostGids.insert(vGid[k]);
	std::vector<Point3*> vHandles;
	reserveResident(vHandles, vPoints.size());
	insertPoints(vPoints, vHandles);
	bOwnFlat = !dt.is3D();
	// Each distinct own point once, with the smallest global index of its
	// copies (the first copy, as the indices increase); the vertices of the
	// other processes' points; the lowest point.
	std::vector<char> vFirst(static_cast<size_t>(numOwnSlots), 0);
	std::vector<Point3*> vOthers;
	size_t lowest(0);
	const auto lower([&](size_t i, size_t j) {
		const Point3& p(vPoints[i]);
		const Point3& q(vPoints[j]);
		return p.x() != q.x() ? p.x() < q.x() : (p.y() != q.y() ? p.y() < q.y() : p.z() < q.z());
	});
	for(size_t k = 0; k < vHandles.size(); ++k)
	{
		if(vHandles[k]->getIndex() >= 0)
		{
			// A copy of an earlier point.
			if(k < static_cast<size_t>(numOwnSlots)) vCopies.emplace_back(vGid[k], gidOf(vHandles[k]));
			continue;
		}
		vHandles[k]->setIndex(static_cast<int>(k));
		if(k < static_cast<size_t>(numOwnSlots)) vFirst[k] = 1;
		else vOthers.push_back(vHandles[k]);
		if(lower(k, lowest)) lowest = k;
	}
	// One process alone has nobody to answer or ask: the rest prepares the
	// rounds.
	if(size == 1) return 0;
	pGrid = new PointGrid(vPoints, vGid, vFirst, vOwnRecords);
	if(!vOwnRecords.empty()) fetched = ghostLayer();

	// The first round looks only at the cells with a corner that is not
	// deep (below, the vertices it starts from); the others need no query.
	{
		const DeepPoints deep(vPoints, static_cast<size_t>(numOwnSlots), vBoxes[rank], [&](const Box& box) {
			for(int q = 0; q < size; ++q)
			{
				if(q != rank && boxesMeet(box, vBoxes[q]) && !boxPartCovered(box, vBoxes[q], fetched)) return false;
			}
			return true;
		});
		vDeep.assign(static_cast<size_t>(numOwnSlots), 0);
		for(size_t k = 0; k < static_cast<size_t>(numOwnSlots); ++k)
		{
			if(vHandles[k]->getIndex() != static_cast<int>(k)) continue;
			if(deep.isDeep(vPoints[k])) vDeep[k] = 1;
			else vNewVertices.push_back(vHandles[k]);
		}
		vNewVertices.insert(vNewVertices.end(), vOthers.begin(), vOthers.end());
	}

	// Any point of this process beyond a plane implies one of its hull
	// vertices beyond it; without a cell every vertex counts as one. A hull
	// vertex of the own points is on a hull facet of this mesh, or hidden
	// behind the other processes' points and then (its Voronoi cell, open
	// before, now closed by theirs) their neighbour: the own corners of the
	// cells at such points are taken as well. Should a degenerate input
	// leave one out, the facet check finds the hull facet it leaves open.
	// The hull facets are found by a walk over the hull surface from its
	// lowest vertex, through the stars of the hull vertices.
	std::vector<double> vHull;
	if(dt.is3D())
	{
		std::vector<char> vTaken(vSlotGid.size(), 0), vSeen(vSlotGid.size(), 0);
		const auto take([&](const Point3* pVtx) {
			char& taken(vTaken[static_cast<size_t>(pVtx->getIndex())]);
			if(taken || !isOwn(pVtx)) return;
			taken = 1;
			vHull.insert(vHull.end(), {pVtx->x(), pVtx->y(), pVtx->z(), gidWord(gidOf(pVtx))});
		});
		std::vector<Point3*> vQueue(1, vHandles[lowest]);
		vSeen[static_cast<size_t>(vQueue[0]->getIndex())] = 1;
		take(vQueue[0]);
		std::vector<Tet3*> vStar;
		while(!vQueue.empty())
		{
			Point3* pVtx(vQueue.back());
			vQueue.pop_back();
			vStar.clear();
			dt.getTetsAroundVertex(pVtx, vStar);
			for(const Tet3* pTet : vStar)
			{
				for(int i = 0; i < 4; ++i)
				{
					// A hull facet of this vertex: the other corners are on the hull.
					if(pTet->getOppTet(i) != nullptr || pTet->getCorner(i) == pVtx) continue;
					for(int k = 0; k < 3; ++k)
					{
						Point3* pNext(pTet->getCorner(OUTWARD[i][k]));
						char& seen(vSeen[static_cast<size_t>(pNext->getIndex())]);
						if(seen) continue;
						seen = 1;
						take(pNext);
						vQueue.push_back(pNext);
					}
				}
			}
		}
		for(Point3* pVtx : vOthers)
		{
			vStar.clear();
			dt.getTetsAroundVertex(pVtx, vStar);
			for(const Tet3* pTet : vStar)
			{
				for(int i = 0; i < 4; ++i) take(pTet->getCorner(i));
			}
		}
	}
	else vHull = vOwnRecords;

	const Incoming all(net.allGather(std::move(vHull)));
	for(int q = 0; q < size; ++q)
	{
		if(q == rank) continue; // our own hull stays out
		vHullRecords.insert(vHullRecords.end(), all.from(q), all.from(q) + all.count(q));
		vHullOwner.insert(vHullOwner.end(), static_cast<size_t>(all.count(q)) / REC, q);
	}
	pHullTree = new HullTree(vHullRecords);
	// A process whose points span no tetrahedron needs a point off their plane.
	if(!dt.is3D()) insertRecords(vHullRecords, vHullOwner);
	return static_cast<long>(vHullOwner.size());
}

} // namespace vorn3dregions
