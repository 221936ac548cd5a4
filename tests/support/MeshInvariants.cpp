#include "MeshInvariants.h"

#include <algorithm>
#include <array>
#include <sstream>
#include <tuple>

#include "Dt3.h"
#include "ExactPredicates.h"
#include "Vorn_3D.h"

using VORN3D::Point3;
using VORN3D::Tet3;

namespace vtest {

namespace {

// Corners of facet i (opposite corner i), written out independently of the
// cell's own tables: positively oriented as seen from corner i.
const int aFacet[4][3] = {{1, 3, 2}, {0, 2, 3}, {0, 3, 1}, {0, 1, 2}};

std::string describe(const Tet3* pTet)
{
	std::ostringstream os;
	os << "cell " << static_cast<const void*>(pTet) << " (";
	for(int i = 0; i < 4; ++i)
	{
		const Point3* p(pTet->getCorner(i));
		os << (i ? " | " : "") << p->x() << "," << p->y() << "," << p->z();
	}
	os << ")";
	return os.str();
}

} // namespace

std::string checkMesh(const std::vector<Tet3*>& vTets, const std::vector<Point3*>& vVertices, bool bDelaunay,
	size_t* pNumVertices)
{
	// Sorted vectors rather than hash sets: far fewer allocations, which
	// keeps the check quick in a debug build.
	typedef std::pair<const Point3*, const Point3*> PointPair;
	typedef std::array<const Point3*, 3> PointTriple;
	const std::less<const void*> before;
	std::vector<const Tet3*> vCells(vTets.begin(), vTets.end());
	std::sort(vCells.begin(), vCells.end(), before);
	if(std::adjacent_find(vCells.begin(), vCells.end()) != vCells.end()) return "a cell is listed twice";
	auto isCell = [&](const Tet3* p) { return std::binary_search(vCells.begin(), vCells.end(), p, before); };
	std::vector<const Point3*> vStore(vVertices.begin(), vVertices.end());
	std::sort(vStore.begin(), vStore.end(), before);

	std::vector<const Point3*> vCorners;
	std::vector<PointPair> vEdges;
	std::vector<PointTriple> vFacets;
	// Directed hull edges, each followed by the third corner of its facet.
	std::vector<PointTriple> vHullEdges;
	size_t numHullFacets(0);
	for(const Tet3* pTet : vTets)
	{
		if(pTet->hasBeenVisited) return "live " + describe(pTet) + " is visited";
		const Point3* c[4] = {pTet->getCorner(0), pTet->getCorner(1), pTet->getCorner(2), pTet->getCorner(3)};
		for(int i = 0; i < 4; ++i)
		{
			if(c[i] == nullptr) return describe(pTet) + " has a null corner";
			if(!std::binary_search(vStore.begin(), vStore.end(), c[i], before))
				return describe(pTet) + " has a corner that is not a stored vertex";
			vCorners.push_back(c[i]);
		}
		// Also catches a corner listed twice.
		if(exactOrientation(*c[0], *c[1], *c[2], *c[3]) != 1) return describe(pTet) + " is not positively oriented";
		for(int i = 0; i < 4; ++i)
		{
			for(int j = i + 1; j < 4; ++j) vEdges.push_back(before(c[i], c[j]) ? PointPair(c[i], c[j]) : PointPair(c[j], c[i]));
			const PointTriple facet = {c[aFacet[i][0]], c[aFacet[i][1]], c[aFacet[i][2]]};
			PointTriple sorted(facet);
			std::sort(sorted.begin(), sorted.end(), before);
			vFacets.push_back(sorted);
			const Tet3* pOpp(pTet->getOppTet(i));
			if(pOpp == nullptr)
			{
				++numHullFacets;
				for(int k = 0; k < 3; ++k) vHullEdges.push_back({facet[k], facet[(k + 1) % 3], facet[(k + 2) % 3]});
				continue;
			}
			if(!isCell(pOpp)) return describe(pTet) + " has a neighbour that is not a live cell";
			int back(-1);
			for(int j = 0; j < 4; ++j)
			{
				if(pOpp->getOppTet(j) != pTet) continue;
				if(back >= 0) return describe(pOpp) + " lists a neighbour twice";
				back = j;
			}
			if(back < 0) return "neighbour link not symmetric at " + describe(pTet);
			// The far corner must not be a corner of this cell (nor the cell
			// its own neighbour), and the other three exactly the facet's.
			const Point3* pFar(pOpp->getCorner(back));
			int numShared(0);
			for(int j = 0; j < 4; ++j)
				numShared += j != back && std::count(facet.begin(), facet.end(), pOpp->getCorner(j)) == 1;
			if(numShared != 3 || std::count(c, c + 4, pFar) != 0)
				return "neighbours " + describe(pTet) + " and " + describe(pOpp) + " do not share their facet";
			// The test is symmetric in the two cells: once per facet is enough.
			if(bDelaunay && before(pTet, pOpp) && exactInSphere(*c[0], *c[1], *c[2], *c[3], *pFar) > 0)
			{
				std::ostringstream os;
				os << "far corner " << pFar->x() << "," << pFar->y() << "," << pFar->z()
				   << " strictly inside the circumsphere of " << describe(pTet);
				return os.str();
			}
		}
	}
	for(const Point3* pVtx : vVertices)
	{
		const Tet3* pOne(pVtx->getOneTet());
		if(pOne == nullptr) continue;
		if(!isCell(pOne)) return "a vertex's incident cell is not a live cell";
		if(!pOne->hasVertex(pVtx)) return "a vertex's incident cell does not have it as a corner";
	}
	std::sort(vCorners.begin(), vCorners.end(), before);
	vCorners.erase(std::unique(vCorners.begin(), vCorners.end()), vCorners.end());
	for(const Point3* pCorner : vCorners)
		if(pCorner->getOneTet() == nullptr) return "a corner of the mesh has no incident cell";
	// Every directed hull edge once, its reverse once, and the facet across
	// it not bending outwards (the inner corner of each facet is on its
	// positive side).
	std::sort(vHullEdges.begin(), vHullEdges.end());
	for(size_t e = 0; e < vHullEdges.size(); ++e)
	{
		const Point3 *a(vHullEdges[e][0]), *b(vHullEdges[e][1]);
		if(e > 0 && vHullEdges[e - 1][0] == a && vHullEdges[e - 1][1] == b) return "a directed hull edge is used twice";
		const auto it(std::lower_bound(vHullEdges.begin(), vHullEdges.end(), PointTriple{b, a, nullptr}));
		if(it == vHullEdges.end() || (*it)[0] != b || (*it)[1] != a) return "the hull surface is not closed";
		if(exactOrientation(*a, *b, *vHullEdges[e][2], *(*it)[2]) < 0) return "the hull is not convex";
	}
	std::sort(vEdges.begin(), vEdges.end());
	vEdges.erase(std::unique(vEdges.begin(), vEdges.end()), vEdges.end());
	std::sort(vFacets.begin(), vFacets.end());
	vFacets.erase(std::unique(vFacets.begin(), vFacets.end()), vFacets.end());
	if(!vTets.empty())
	{
		const long long euler(static_cast<long long>(vCorners.size()) - static_cast<long long>(vEdges.size()) +
			static_cast<long long>(vFacets.size()) - static_cast<long long>(vTets.size()));
		if(euler != 1) return "V - E + F - C = " + std::to_string(euler);
		if(vFacets.size() * 2 != vTets.size() * 4 + numHullFacets) return "facet count does not match the links";
	}
	if(pNumVertices != nullptr) *pNumVertices = vCorners.size();
	return "";
}

std::string checkMesh(const VORN3D::Vorn_3D& vorn, bool bDelaunay, size_t* pNumVertices)
{
	std::vector<Tet3*> vTets;
	std::vector<Point3*> vVertices;
	vorn.getTetrahedra(vTets);
	vorn.getVertices(vVertices);
	return checkMesh(vTets, vVertices, bDelaunay, pNumVertices);
}

std::string checkMesh(const VORN3D::Dt3& dt, bool bDelaunay)
{
	std::vector<Tet3*> vTets;
	std::vector<Point3*> vVertices;
	dt.getAllTetrahedra(vTets);
	dt.getVertices(vVertices);
	const std::string result(checkMesh(vTets, vVertices, bDelaunay));
	if(!result.empty() || dt.getNumTets() == vTets.size()) return result;
	return "live-cell count " + std::to_string(dt.getNumTets()) + " differs from the reachable cells " +
		std::to_string(vTets.size());
}

std::string checkMeshOf(const VORN3D::Vorn_3D& vorn, const std::vector<Point3>& vInput)
{
	size_t numVertices(0);
	const std::string fault(checkMesh(vorn, true, &numVertices));
	if(!fault.empty()) return fault;
	typedef std::tuple<double, double, double> Coords;
	std::vector<Tet3*> vTets;
	vorn.getTetrahedra(vTets);
	std::vector<Coords> vCorners, vDistinct;
	for(const Tet3* pTet : vTets)
		for(int i = 0; i < 4; ++i)
		{
			const Point3& p(*pTet->getCorner(i));
			vCorners.emplace_back(p.x(), p.y(), p.z());
		}
	std::sort(vCorners.begin(), vCorners.end());
	for(size_t i = 0; i < vInput.size(); ++i)
	{
		vDistinct.emplace_back(vInput[i].x(), vInput[i].y(), vInput[i].z());
		if(!std::binary_search(vCorners.begin(), vCorners.end(), vDistinct.back()))
			return "input point " + std::to_string(i) + " is no vertex of the mesh";
	}
	std::sort(vDistinct.begin(), vDistinct.end());
	const size_t numDistinct(size_t(std::unique(vDistinct.begin(), vDistinct.end()) - vDistinct.begin()));
	if(numDistinct == numVertices) return "";
	return std::to_string(numVertices) + " vertices for " + std::to_string(numDistinct) + " distinct input points";
}

} // namespace vtest
