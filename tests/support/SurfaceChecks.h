// Structural invariants of a Surface3, checked by brute force: every edge
// use of every triangle is grouped in a map, independently of the linking
// code, and compared with the stored neighbours and the reported counts.
// Header-only so that the fuzz target, built apart from the test support
// library, can use it too.
#ifndef VORN3D_TEST_SURFACECHECKS_H
#define VORN3D_TEST_SURFACECHECKS_H

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "Surface3.h"

namespace vtest {

/// Empty when the surface is consistent, otherwise what is wrong.
inline std::string surfaceInvariantViolation(const VORN3D::Surface3& surface)
{
	using VORN3D::Point3;
	using VORN3D::Triangle3;
	const std::size_t numVertices(surface.getNumVertices());
	const std::size_t numTriangles(surface.getNumTriangles());
	const VORN3D::Surface3::EdgeCounts& counts(surface.getEdgeCounts());
	if(surface.isEmpty() != (numTriangles == 0)) return "isEmpty() disagrees with the triangle count";
	if(numTriangles == 0 && numVertices != 0) return "vertices without triangles";

	// Vertices: numbered by position, no mesh link, pairwise distinct.
	std::map<const Point3*, std::size_t> vertexNumber;
	std::set<std::tuple<double, double, double>> coordinates;
	for(std::size_t v = 0; v < numVertices; ++v)
	{
		const Point3* pV(surface.getVertex(v));
		if(pV->getIndex() != int(v)) return "vertex " + std::to_string(v) + " has index " + std::to_string(pV->getIndex());
		if(pV->getOneTet() != nullptr) return "vertex " + std::to_string(v) + " has a cell link";
		if(!coordinates.insert(std::make_tuple(pV->x(), pV->y(), pV->z())).second)
			return "vertex " + std::to_string(v) + " duplicates the coordinates of another vertex";
		vertexNumber[pV] = v;
	}

	// Triangles: three distinct corners taken from this surface.
	std::vector<bool> vUsed(numVertices, false);
	std::map<std::pair<std::size_t, std::size_t>, std::vector<std::pair<std::size_t, int>>> edgeUses;
	for(std::size_t t = 0; t < numTriangles; ++t)
	{
		const Triangle3* pT(surface.getTriangle(t));
		std::size_t aV[3];
		for(int i = 0; i < 3; ++i)
		{
			auto it(vertexNumber.find(pT->getCorner(i)));
			if(it == vertexNumber.end()) return "triangle " + std::to_string(t) + " has a foreign corner";
			aV[i] = it->second;
			vUsed[aV[i]] = true;
		}
		if(aV[0] == aV[1] || aV[1] == aV[2] || aV[0] == aV[2]) return "triangle " + std::to_string(t) + " is degenerate";
		for(int i = 0; i < 3; ++i)
		{
			const std::size_t a(aV[(i + 1) % 3]);
			const std::size_t b(aV[(i + 2) % 3]);
			edgeUses[std::make_pair(std::min(a, b), std::max(a, b))].push_back(std::make_pair(t, i));
		}
	}
	for(std::size_t v = 0; v < numVertices; ++v)
		if(!vUsed[v]) return "vertex " + std::to_string(v) + " is used by no triangle";

	// Neighbours and counts from the grouped edge uses.
	std::size_t numManifold(0), numBorder(0), numNonManifold(0), numMisoriented(0);
	for(const auto& entry : edgeUses)
	{
		const auto& vUses(entry.second);
		if(vUses.size() == 2)
		{
			++numManifold;
			const Triangle3* pA(surface.getTriangle(vUses[0].first));
			const Triangle3* pB(surface.getTriangle(vUses[1].first));
			if(pA->getNeig(vUses[0].second) != pB || pB->getNeig(vUses[1].second) != pA)
				return "the triangles of a shared edge are not linked to each other";
			// Direction in which each triangle runs through the edge.
			const Point3* pFromA(pA->getCorner((vUses[0].second + 1) % 3));
			const Point3* pFromB(pB->getCorner((vUses[1].second + 1) % 3));
			if(pFromA == pFromB) ++numMisoriented;
		}
		else
		{
			++(vUses.size() == 1 ? numBorder : numNonManifold);
			for(const auto& use : vUses)
				if(surface.getTriangle(use.first)->getNeig(use.second) != nullptr)
					return "a border or non-manifold edge has a neighbour";
		}
	}
	if(counts.numEdges != edgeUses.size()) return "wrong number of edges";
	if(counts.numManifoldEdges != numManifold) return "wrong number of manifold edges";
	if(counts.numBorderEdges != numBorder) return "wrong number of border edges";
	if(counts.numNonManifoldEdges != numNonManifold) return "wrong number of non-manifold edges";
	if(counts.numMisorientedEdges != numMisoriented) return "wrong number of misoriented edges";
	if(numTriangles > 0 && surface.isClosed() != (numBorder == 0 && numNonManifold == 0)) return "isClosed() is wrong";
	return "";
}

} // namespace vtest

#endif
