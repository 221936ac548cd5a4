// DistributedMesh, the certification rounds: the ghost layer, the ball
// queries of uncertified cells and their answers, and the search beyond hull
// facets among the other processes' hull vertices.
#include "DistributedMesh.h"
#include "HullTree.h"
#include "MeshRecords.h"
#include "PointGrid.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vorn3dregions {

using VORN3D::Point3;
using VORN3D::Tet3;

bool DistributedMesh::answerBall(int q, const Ball& ball, const double* pCorners, bool bLimited, std::vector<double>& vReply)
{
	std::vector<uint32_t>& vUnsent(unsentTo(q));
	const auto next([&](size_t i) { return nextUnsent(vUnsent, i); });
	std::vector<std::pair<double, size_t>>& vFound(vCandidates);
	vFound.clear();
	const double r(reach(ball)), r2(r * r);
	const SphereFilter filter(pCorners);
	// A large sphere (a flat cell near the hull, or nearly cospherical
	// points) may hold many points; any one of them removes the cell, so
	// with bLimited the deepest few of the first MAX_FOUND go now, and the
	// cell asks once more, for all the rest, if it survives them.
	grid().visitBall(ball.c, r, [&](size_t i) {
		// Up to the rounding of the distance, as the ball's reach allows
		// (an infinite ball takes every point).
		const double* p(&vOwnRecords[REC * i]);
		const double dx(p[0] - ball.c[0]), dy(p[1] - ball.c[1]), dz(p[2] - ball.c[2]);
		const double dist2(dx * dx + dy * dy + dz * dz);
		if(!(dist2 <= r2) && r2 < INFINITY) return true;
		// The ball is wider than the sphere; points surely outside stay.
		if(filter.side(p) < 0) return true;
		vFound.emplace_back(dist2, i);
		return !bLimited || vFound.size() < MAX_FOUND;
	}, next);
	const bool bTruncated(bLimited && vFound.size() > MAX_ANSWER);
	if(bTruncated)
	{
		std::partial_sort(vFound.begin(), vFound.begin() + MAX_ANSWER, vFound.end());
		vFound.resize(MAX_ANSWER);
	}
	for(const auto& found : vFound)
	{
		vUnsent[found.second] = static_cast<uint32_t>(found.second + 1);
		vReply.insert(vReply.end(), &vOwnRecords[REC * found.second], &vOwnRecords[REC * found.second] + REC);
	}
	return bTruncated;
}

void DistributedMesh::answerBox(int q, const Box& box, std::vector<double>& vReply)
{
	std::vector<uint32_t>& vUnsent(unsentTo(q));
	grid().visitBox(box, [&](size_t i) {
		const double* p(&vOwnRecords[REC * i]);
		for(int a = 0; a < 3; ++a)
		{
			if(p[a] < box.lo[a] || p[a] > box.hi[a]) return true;
		}
		vUnsent[i] = static_cast<uint32_t>(i + 1);
		vReply.insert(vReply.end(), p, p + REC);
		return true;
	}, [&](size_t i) { return nextUnsent(vUnsent, i); });
}

std::vector<uint32_t>& DistributedMesh::unsentTo(int q)
{
	std::vector<uint32_t>& vUnsent(vUnsentTo[static_cast<size_t>(q)]);
	if(vUnsent.empty())
	{
		vUnsent.resize(vOwnRecords.size() / REC + 1);
		for(size_t i = 0; i < vUnsent.size(); ++i) vUnsent[i] = static_cast<uint32_t>(i);
	}
	return vUnsent;
}

size_t DistributedMesh::nextUnsent(std::vector<uint32_t>& vUnsent, size_t i)
{
	// Path halving: every link followed is shortened, so that runs of sent
	// points are skipped in nearly constant time.
	while(vUnsent[i] != i)
	{
		vUnsent[i] = vUnsent[vUnsent[i]];
		i = vUnsent[i];
	}
	return i;
}

bool DistributedMesh::needsQuery(const Ball& ball, int q) const
{
	// Every point of q inside the ghost layer is here already.
	return q != rank && ballMeetsBox(ball, vBoxes[q]) && !ballPartCovered(ball, vBoxes[q], fetched);
}

Box DistributedMesh::ghostLayer() const
{
	// A few mean point spacings: enough for the circumspheres of most cells
	// near the box's sides.
	const Box& own(vBoxes[rank]);
	const size_t numOwn(vOwnRecords.size() / REC);
	double volume(1.0);
	int numAxes(0);
	for(int a = 0; a < 3; ++a)
	{
		if(own.hi[a] > own.lo[a])
		{
			volume *= own.hi[a] - own.lo[a];
			++numAxes;
		}
	}
	const double spacing(numAxes == 0 ? 0.0 : std::pow(volume / static_cast<double>(numOwn), 1.0 / numAxes));
	const double width(2.5 * spacing);
	return Box{{own.lo[0] - width, own.lo[1] - width, own.lo[2] - width}, {own.hi[0] + width, own.hi[1] + width, own.hi[2] + width}};
}

long DistributedMesh::exchangeGhostLayer()
{
	std::vector<std::vector<double>> vQueries(static_cast<size_t>(size));
	const size_t numOwn(vOwnRecords.size() / REC);
	if(numOwn > 0)
	{
		const Box& layer(fetched);
		for(int q = 0; q < size; ++q)
		{
			const Box& other(vBoxes[q]);
			bool bMeets(q != rank);
			for(int a = 0; a < 3 && bMeets; ++a) bMeets = other.lo[a] <= layer.hi[a] && other.hi[a] >= layer.lo[a];
			if(bMeets) vQueries[q].insert(vQueries[q].end(), {layer.lo[0], layer.lo[1], layer.lo[2], layer.hi[0], layer.hi[1], layer.hi[2]});
		}
	}
	const Incoming in(net.exchange(std::move(vQueries)));
	std::vector<std::vector<double>> vReplies(static_cast<size_t>(size));
	for(int q = 0; q < size; ++q)
	{
		const double* p(in.from(q));
		for(int64_t k = 0; k < in.count(q); k += 6, p += 6)
		{
			const Box box{{p[0], p[1], p[2]}, {p[3], p[4], p[5]}};
			answerBox(q, box, vReplies[q]);
		}
	}
	return insertRecords(net.exchange(std::move(vReplies)));
}

void DistributedMesh::collectBeyond(const double* a, const double* b, const double* c, std::vector<double>& vAdd,
	std::vector<int>& vAddOwner)
{
	vHullTakenInRound.resize(vHullOwner.size(), -1);
	const auto take([&](size_t r) {
		if(vHullTakenInRound[r] == hullRound) return;
		vHullTakenInRound[r] = hullRound;
		vAdd.insert(vAdd.end(), &vHullRecords[REC * r], &vHullRecords[REC * r] + REC);
		vAddOwner.push_back(vHullOwner[r]);
	});
	// A facet in a side plane of the box of all points has no point beyond
	// it. The points of that plane that may replace it lie inside or on its
	// circumcircle, which is where the plane cuts the circumsphere of its
	// cell: the cell's ball query fetches them (points on the sphere
	// included), so nothing is searched here. A search by the growing
	// spheres would visit every point of the plane for every such facet
	// (none of them is ever beyond, so no bound ever narrows it).
	for(int k = 0; k < 3; ++k)
	{
		const double v(a[k]);
		if(b[k] == v && c[k] == v && (v == whole.lo[k] || v == whole.hi[k])) return;
	}

	const GrowingSphere sphere(a, b, c);
	// Once a candidate bounds the first key by firstHi, only the sphere of
	// that key needs a search; the search starts near the facet.
	double firstHi(std::numeric_limits<double>::infinity());
	std::vector<std::pair<double, size_t>>& vFound(vCandidates);
	vFound.clear();
	const auto keep([&](const Box& box) { return sphere.mayHoldKeyBelow(box, firstHi); });
	const auto visit([&](size_t r) {
		const double* p(&vHullRecords[REC * r]);
		if(ghostGids.count(gidOfWord(p[3])) != 0) return;
		double lo, hi;
		if(!sphere.keyInterval(p, lo, hi)) return;
		vFound.emplace_back(lo, r);
		firstHi = std::min(firstHi, hi);
	});
	double near[3];
	sphere.circleCentre(near);
	pHullTree->search(near, keep, visit);
	// The true first point has a key at most firstHi; every candidate that
	// may be that low is taken.
	for(const auto& candidate : vFound)
	{
		if(candidate.first <= firstHi) take(candidate.second);
	}
}

long DistributedMesh::certifyRound()
{
	if(size == 1) return 0; // nobody to ask
	// A cell that a round certified stays: its answers held every point
	// inside its sphere (or it is asked again, below). So only the cells
	// created since, each with a corner inserted since, need a look.
	--roundStamp;
	++hullRound;
	std::vector<std::vector<double>> vQueries(static_cast<size_t>(size));
	std::vector<std::vector<Corners>> vAsked(static_cast<size_t>(size));
	std::vector<double> vAdd;
	std::vector<int> vAddOwner;
	// Asks for the points in the cell's sphere and beyond its hull facets.
	const auto certify([&](const Tet3* pTet, bool bRetry) {
		bool aOwned[4], bDeepCorner(false);
		double aXyz[4][3];
		for(int i = 0; i < 4; ++i)
		{
			aOwned[i] = isOwn(pTet->getCorner(i));
			bDeepCorner = bDeepCorner || isDeep(pTet->getCorner(i));
			xyz(pTet->getCorner(i), aXyz[i]);
		}
		if(!(aOwned[0] || aOwned[1] || aOwned[2] || aOwned[3])) return;
		// A deep corner bounds the sphere to a ball that needs no query
		// (and is on no hull facet, so only the sphere is skipped).
		if(!bDeepCorner)
		{
			const Ball ball(enclosingCircumball(aXyz[0], aXyz[1], aXyz[2], aXyz[3]));
			if(std::isinf(ball.radius)) ++numUnbounded;
			for(int q = 0; q < size; ++q)
			{
				if(!needsQuery(ball, q)) continue;
				vQueries[q].insert(vQueries[q].end(), {ball.c[0], ball.c[1], ball.c[2], ball.radius, bRetry ? 0.0 : 1.0});
				vQueries[q].insert(vQueries[q].end(), &aXyz[0][0], &aXyz[0][0] + 12);
				vAsked[q].push_back(Corners{{pTet->getCorner(0), pTet->getCorner(1), pTet->getCorner(2), pTet->getCorner(3)}});
			}
		}
		// Every hull facet of the cell, also one without an own corner: the
		// cell may be reported here, and its facet then counts as a hull
		// facet of the whole set.
		for(int i = 0; i < 4; ++i)
		{
			const int* f(OUTWARD[i]);
			if(pTet->getOppTet(i) == nullptr) collectBeyond(aXyz[f[0]], aXyz[f[1]], aXyz[f[2]], vAdd, vAddOwner);
		}
	});

	if(bAllNew)
	{
		// The first round: every cell with a corner that is not deep, found
		// by a walk over them from each such vertex (a vertex's star is
		// connected through the facets at it, so the walks reach them all).
		// Each cell is certified as the walk takes it, while it is at hand.
		const auto anyShallow([&](const Tet3* pTet) {
			return !isDeep(pTet->getCorner(0)) || !isDeep(pTet->getCorner(1)) || !isDeep(pTet->getCorner(2)) ||
				!isDeep(pTet->getCorner(3));
		});
		std::vector<Tet3*>& vStack(vCells);
		vStack.clear();
		for(Point3* pVtx : vNewVertices)
		{
			Tet3* pStart(pVtx->getOneTet());
			if(pStart == nullptr || pStart->getCustomIndex() == roundStamp) continue;
			pStart->setCustomIndex(roundStamp);
			vStack.push_back(pStart);
			while(!vStack.empty())
			{
				Tet3* pTet(vStack.back());
				vStack.pop_back();
				certify(pTet, false);
				for(int i = 0; i < 4; ++i)
				{
					Tet3* pNext(pTet->getOppTet(i));
					if(pNext == nullptr || pNext->getCustomIndex() == roundStamp || !anyShallow(pNext)) continue;
					pNext->setCustomIndex(roundStamp);
					vStack.push_back(pNext);
				}
			}
		}
	}
	else
	{
		// Later rounds: the cells created since the round before, each with
		// a corner inserted since.
		std::vector<Tet3*>& vStar(vCells);
		for(Point3* pVtx : vNewVertices)
		{
			vStar.clear();
			dt.getTetsAroundVertex(pVtx, vStar);
			for(Tet3* pTet : vStar)
			{
				if(pTet->getCustomIndex() == roundStamp) continue;
				pTet->setCustomIndex(roundStamp);
				certify(pTet, false);
			}
		}
	}
	bAllNew = false;
	vNewVertices.clear();
	// Cells whose answer was cut short, where they still exist.
	std::vector<Tet3*>& vAround(vCells);
	for(const Corners& cell : vRetry)
	{
		vAround.clear();
		dt.getTetsAroundVertex(cell[0], vAround);
		for(Tet3* pTet : vAround)
		{
			if(pTet->getCustomIndex() == roundStamp || !pTet->hasVertex(cell[1]) || !pTet->hasVertex(cell[2]) ||
				!pTet->hasVertex(cell[3]))
				continue;
			pTet->setCustomIndex(roundStamp);
			certify(pTet, true);
		}
	}
	vRetry.clear();

	const Incoming in(net.exchange(std::move(vQueries)));
	std::vector<std::vector<double>> vReplies(static_cast<size_t>(size)), vCut(static_cast<size_t>(size));
	for(int q = 0; q < size; ++q)
	{
		const double* p(in.from(q));
		for(int64_t k = 0; k < in.count(q) / QUERY; ++k, p += QUERY)
		{
			const Ball ball{{p[0], p[1], p[2]}, p[3]};
			if(answerBall(q, ball, p + 5, p[4] != 0.0, vReplies[q])) vCut[q].push_back(static_cast<double>(k));
		}
	}
	const Incoming points(net.exchange(std::move(vReplies)));
	const Incoming cut(net.exchange(std::move(vCut)));
	for(int q = 0; q < size; ++q)
	{
		for(int64_t k = 0; k < cut.count(q); ++k) vRetry.push_back(vAsked[q][static_cast<size_t>(cut.from(q)[k])]);
	}
	// The answers first, then the hull points found here.
	for(int q = 0; q < size; ++q) stageRecords(points.from(q), static_cast<size_t>(points.count(q)) / REC, nullptr, q);
	stageRecords(vAdd.data(), vAddOwner.size(), vAddOwner.data(), rank);
	return insertStaged();
}

} // namespace vorn3dregions
