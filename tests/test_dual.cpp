// Voronoi cells and convex hull of the dual layer, against oracles that do
// not share its code: a lattice of unit cubes and exact orientations. The
// Python tests compare the same arrays with scipy's, with exact circumcentres
// and with volumes and areas that tile a cube.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "Dual3.h"
#include "ExactPredicates.h"
#include "RandomPoints.h"
#include "StdoutCapture.h"

using namespace VORN3D;

namespace {

struct Mesh
{
	std::vector<Point3> vPoints;
	Vorn_3D dt;
	std::vector<Tet3*> vCells;

	explicit Mesh(std::vector<Point3> v): vPoints(std::move(v))
	{
		vtest::StdoutCapture quiet;
		std::vector<Point3*> vHandles;
		dt.insert(vPoints, vHandles);
		numberVertices(vHandles);
		collectCells(dt, vCells, true);
	}
};

// Every cell of a cubic lattice is inscribed in a unit cube, so every
// Voronoi vertex of a point's region is a corner of the point's cube.
TEST(Voronoi3, LatticeCellsAreUnitCubesAndHullPointsUnbounded)
{
	const int k(5);
	std::vector<Point3> v;
	for(int i = 0; i < k * k * k; ++i) v.emplace_back(i / (k * k), i / k % k, i % k);
	Mesh mesh(v);
	Voronoi3 voronoi;
	voronoi.compute(mesh.vCells, k * k * k);
	std::vector<int64_t> vRegionStart, vCellStart;
	std::vector<int32_t> vRegionVertices, vCellRidges;
	voronoi.regions(mesh.vCells, vRegionStart, vRegionVertices);
	voronoi.cellRidges(vCellStart, vCellRidges);
	for(int i = 0; i < k * k * k; ++i)
	{
		const double p[3] = {v[i].x(), v[i].y(), v[i].z()};
		const bool bInterior(std::min({p[0], p[1], p[2]}) > 0 && std::max({p[0], p[1], p[2]}) < k - 1);
		const double volume(voronoi.vVolumes[i]);
		EXPECT_EQ(voronoi.isBounded(i), bInterior) << i;
		EXPECT_TRUE(bInterior ? std::fabs(volume - 1.0) < 1e-12 : volume == std::numeric_limits<double>::infinity()) << i << ": " << volume;
		// The region lists -1 first exactly for unbounded cells.
		EXPECT_EQ(vRegionVertices[vRegionStart[i]] == -1, !bInterior) << i;
		for(int64_t j = vRegionStart[i] + !bInterior; j < vRegionStart[i + 1]; ++j)
		{
			const double* c(&voronoi.vVertices[3 * vRegionVertices[j]]);
			EXPECT_NEAR((c[0] - p[0]) * (c[0] - p[0]) + (c[1] - p[1]) * (c[1] - p[1]) + (c[2] - p[2]) * (c[2] - p[2]), 0.75, 1e-12) << i;
		}
		// The faces of a cube add up to its surface, 6; each names the point.
		double surface(0.0);
		for(int64_t f = vCellStart[i]; f < vCellStart[i + 1]; ++f)
		{
			const int32_t r(vCellRidges[f]);
			EXPECT_TRUE(voronoi.vRidgePoints[2 * r] == i || voronoi.vRidgePoints[2 * r + 1] == i);
			surface += voronoi.vRidgeAreas[r];
		}
		EXPECT_TRUE(!bInterior || std::fabs(surface - 6.0) < 1e-12) << i << ": " << surface;
	}
}

// Hull facets against exact orientations of all points and Euler's formula;
// the filter against the hull's vertices. Points in a cube, on a sphere
// (every point a vertex) and in a Gaussian cloud.
class Hull : public ::testing::TestWithParam<int>
{
};

TEST_P(Hull, FacetsAreOutwardAndTheFilterKeepsTheirVertices)
{
	std::mt19937 rng(11);
	std::vector<Point3> v(GetParam() == 0 ? vtest::randomPoints(2500, rng) : std::vector<Point3>());
	std::normal_distribution<double> normal;
	for(int i = 0; GetParam() > 0 && i < 400; ++i)
	{
		const double x(normal(rng)), y(normal(rng)), z(normal(rng));
		const double r(GetParam() == 1 ? std::sqrt(x * x + y * y + z * z) : 1.0);
		v.emplace_back(x / r, y / r, z / r);
	}
	Mesh mesh(v);
	ConvexHull3 hull;
	hull.compute(mesh.vCells);
	const std::set<int32_t> vertices(hull.vFacets.begin(), hull.vFacets.end());
	// A closed triangulated surface of genus 0: F = 2V - 4.
	EXPECT_EQ(hull.numFacets(), 2 * static_cast<int64_t>(vertices.size()) - 4);
	for(int64_t f = 0; f < hull.numFacets(); ++f)
		for(const Point3& p : v)
			ASSERT_LE(vtest::exactOrientation(v[hull.vFacets[3 * f]], v[hull.vFacets[3 * f + 1]], v[hull.vFacets[3 * f + 2]], p), 0)
				<< "a point outside facet " << f;
	std::vector<double> xyz;
	for(const Point3& p : v) xyz.insert(xyz.end(), {p.x(), p.y(), p.z()});
	const std::vector<int32_t> kept([&] {
		vtest::StdoutCapture quiet;
		return hullCandidates(xyz.data(), static_cast<int64_t>(v.size()));
	}());
	for(int32_t vtx : vertices) EXPECT_TRUE(std::binary_search(kept.begin(), kept.end(), vtx)) << "dropped vertex " << vtx;
	// Not a filter in name only: most points of the cube go.
	EXPECT_TRUE(GetParam() != 0 || kept.size() < v.size() / 10) << kept.size();
}

INSTANTIATE_TEST_SUITE_P(Kinds, Hull, ::testing::Values(0, 1, 2));

// The hull of points alone, on sets full of ties: lattices and points on the
// faces and edges of a cube or an octahedron (coplanar and collinear runs on
// the surface, many of them repeated), integer points on a sphere, and two
// of them scaled far out of the usual range of magnitudes. Oracles:
// exact orientations of every point against every facet (each point not a
// corner nor a duplicate strictly inside), the facets' adjacency, Euler's
// formula and the hull of the tetrahedralisation's boundary facets.
std::vector<Point3> awkwardPoints(int kind)
{
	if(kind >= 6)
	{
		// Faces of a cube at 2^300 and a lattice at 2^-300: beyond the
		// range where products of differences stay doubles.
		std::vector<Point3> v(awkwardPoints(kind == 6 ? 3 : 2));
		const int e(kind == 6 ? 300 : -300);
		for(Point3& p : v) p = Point3(std::ldexp(p.x(), e), std::ldexp(p.y(), e), std::ldexp(p.z(), e));
		return v;
	}
	std::mt19937 rng(23 + kind);
	std::uniform_int_distribution<int> coord(0, 8), pick(0, 5);
	std::vector<Point3> v;
	if(kind == 0) v = vtest::randomPoints(1500, rng);
	if(kind == 1)
	{
		std::normal_distribution<double> normal;
		for(int i = 0; i < 400; ++i)
		{
			const double x(normal(rng)), y(normal(rng)), z(normal(rng));
			const double r(std::sqrt(x * x + y * y + z * z));
			v.emplace_back(x / r, y / r, z / r);
		}
	}
	for(int rep = 0; kind == 2 && rep < 2; ++rep)
		for(int i = 0; i < 216; ++i) v.emplace_back(i % 6, (i / 6) % 6, i / 36);
	for(int i = 0; kind == 3 && i < 700; ++i)
	{
		// On a face of [0, 8]^3 (a third also on an edge), some inside.
		double c[3] = {double(coord(rng)), double(coord(rng)), double(coord(rng))};
		if(i % 7 != 0) c[pick(rng) % 3] = 8.0 * (pick(rng) % 2);
		if(i % 3 == 0) c[(pick(rng) + 1) % 3] = 0.0;
		v.emplace_back(c[0], c[1], c[2]);
	}
	for(int x = -9; kind == 4 && x <= 9; ++x)
		for(int y = -9; y <= 9; ++y)
			for(int z = -9; z <= 9; ++z)
				if(x * x + y * y + z * z == 81 || (x * x + y * y + z * z < 40 && (x + y + z) % 3 == 0)) v.emplace_back(x, y, z);
	for(int i = 0; kind == 5 && i < 600; ++i)
	{
		// |x| + |y| + |z| = 1 in eighths: the octahedron's faces and edges.
		int a(coord(rng)), b(coord(rng));
		if(a + b > 8)
		{
			a = 8 - a;
			b = 8 - b;
		}
		// Every fifth point in the plane z = 0, every eleventh just inside.
		const int e(i % 5 == 0 ? 0 : std::max(0, 8 - a - b - (i % 11 == 0)));
		const double sx(pick(rng) % 2 ? 1.0 : -1.0), sy(pick(rng) % 2 ? 1.0 : -1.0), sz(pick(rng) % 2 ? 1.0 : -1.0);
		v.emplace_back(sx * a / 8.0, sy * b / 8.0, sz * e / 8.0);
	}
	return v;
}

class PointHull : public ::testing::TestWithParam<int>
{
};

TEST_P(PointHull, EveryPointOnTheSurfaceIsACornerAndTheRestLieStrictlyInside)
{
	const std::vector<Point3> v(awkwardPoints(GetParam()));
	std::vector<double> xyz;
	for(const Point3& p : v) xyz.insert(xyz.end(), {p.x(), p.y(), p.z()});
	ConvexHull3 hull;
	{
		vtest::StdoutCapture quiet;
		ASSERT_TRUE(hull.fromPoints(xyz.data(), static_cast<int64_t>(v.size())));
	}
	const int64_t numFacets(hull.numFacets());
	ASSERT_EQ(hull.vNeighbors.size(), 3 * static_cast<size_t>(numFacets));
	ASSERT_EQ(hull.vEquations.size(), 4 * static_cast<size_t>(numFacets));
	const std::set<int32_t> corners(hull.vFacets.begin(), hull.vFacets.end());
	EXPECT_EQ(numFacets, 2 * static_cast<int64_t>(corners.size()) - 4);
	std::set<int32_t> duplicates;
	for(size_t k = 0; k < hull.vDuplicates.size(); k += 2)
	{
		const Point3& left(v[hull.vDuplicates[k]]);
		const Point3& kept(v[hull.vDuplicates[k + 1]]);
		EXPECT_TRUE(left.x() == kept.x() && left.y() == kept.y() && left.z() == kept.z());
		EXPECT_LT(hull.vDuplicates[k + 1], hull.vDuplicates[k]);
		EXPECT_EQ(corners.count(hull.vDuplicates[k]), 0u);
		duplicates.insert(hull.vDuplicates[k]);
	}
	std::vector<bool> vInside(v.size(), true);
	for(int64_t f = 0; f < numFacets; ++f)
	{
		const int32_t* t(&hull.vFacets[3 * static_cast<size_t>(f)]);
		for(size_t i = 0; i < v.size(); ++i)
		{
			const int s(vtest::exactOrientation(v[t[0]], v[t[1]], v[t[2]], v[i]));
			ASSERT_LE(s, 0) << "point " << i << " outside facet " << f;
			if(s == 0) vInside[i] = false;
		}
		for(int j = 0; j < 3; ++j)
		{
			// The facet across the edge opposite corner j runs it the other way.
			const int32_t g(hull.vNeighbors[3 * static_cast<size_t>(f) + static_cast<size_t>(j)]);
			ASSERT_TRUE(g >= 0 && g < numFacets && g != f);
			const int32_t* u(&hull.vFacets[3 * static_cast<size_t>(g)]);
			const int32_t x(t[(j + 1) % 3]), y(t[(j + 2) % 3]);
			EXPECT_TRUE((u[0] == y && u[1] == x) || (u[1] == y && u[2] == x) || (u[2] == y && u[0] == x)) << f << " " << j;
		}
	}
	for(size_t i = 0; i < v.size(); ++i)
	{
		const int32_t p(static_cast<int32_t>(i));
		if(corners.count(p) == 0 && duplicates.count(p) == 0)
		{
			EXPECT_TRUE(vInside[i]) << "point " << i << " on the surface";
		}
	}
	// The tetrahedralisation's boundary: the same corners and measures.
	Mesh mesh(v);
	ConvexHull3 reference;
	reference.compute(mesh.vCells);
	EXPECT_EQ(corners, std::set<int32_t>(reference.vFacets.begin(), reference.vFacets.end()));
	EXPECT_NEAR(hull.volume, reference.volume, 1e-12 * reference.volume);
	EXPECT_NEAR(hull.area, reference.area, 1e-12 * reference.area);
	for(int64_t f = 0; f < numFacets; ++f)
		for(int j = 0; j < 3; ++j)
		{
			const double* pEq(&hull.vEquations[4 * static_cast<size_t>(f)]);
			const Point3& c(v[hull.vFacets[3 * static_cast<size_t>(f) + static_cast<size_t>(j)]]);
			EXPECT_NEAR(pEq[0] * c.x() + pEq[1] * c.y() + pEq[2] * c.z() + pEq[3], 0.0, 1e-12 * (1.0 + std::fabs(pEq[3])));
		}
}

INSTANTIATE_TEST_SUITE_P(Kinds, PointHull, ::testing::Range(0, 8));

TEST(PointHull, SetsWithoutASolidGiveNoFacets)
{
	const double nan(std::numeric_limits<double>::quiet_NaN());
	const std::vector<std::vector<double>> sets = {
		{0, 0, 0, 1, 0, 0, 0, 1, 0},                                   // three points
		{0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0, 0.5, 0.25, 0, 3, -2, 0},  // one plane
		{1, 1, 1, 2, 2, 2, 3, 3, 3, -1, -1, -1, 0.5, 0.5, 0.5},        // one line
		{2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2, 2},                  // one point
		{0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, nan, 1, 1, 1},               // not a number
	};
	for(const std::vector<double>& xyz : sets)
	{
		ConvexHull3 hull;
		hull.vFacets = {0, 1, 2};
		EXPECT_FALSE(hull.fromPoints(xyz.data(), static_cast<int64_t>(xyz.size() / 3)));
		EXPECT_EQ(hull.numFacets(), 0);
	}
	// A tilted plane of many points, where no coordinate is constant.
	std::vector<double> tilted;
	for(int i = 0; i < 300; ++i)
	{
		const double a(i % 17), b(i / 17);
		tilted.insert(tilted.end(), {a, b, 3 * a - 2 * b + 1});
	}
	ConvexHull3 hull;
	EXPECT_FALSE(hull.fromPoints(tilted.data(), 300));
	tilted.insert(tilted.end(), {0.0, 0.0, 2.0});
	EXPECT_TRUE(hull.fromPoints(tilted.data(), 301));
	EXPECT_EQ(std::set<int32_t>(hull.vFacets.begin(), hull.vFacets.end()).count(300), 1u);
}

bool near(double a, double b)
{
	return a == b || std::fabs(a - b) <= 1e-9 * std::max(1.0, std::fabs(a));
}

/// voronoi is reference with Voronoi vertex k renamed vMoved[k]: the same
/// vertices, volumes and ridges (matched by their pair of points), each
/// ring from any start in either direction.
void expectSameDiagram(const Voronoi3& reference, const Voronoi3& voronoi, const std::vector<int64_t>& vMoved)
{
	const size_t m(vMoved.size());
	const int32_t n(reference.numPoints);
	for(size_t k = 0; k < m; ++k)
		for(int c = 0; c < 3; ++c) ASSERT_TRUE(near(reference.vVertices[3 * k + c], voronoi.vVertices[3 * vMoved[k] + c])) << k;
	for(int32_t p = 0; p < n; ++p) EXPECT_TRUE(near(reference.vVolumes[p], voronoi.vVolumes[p])) << p;
	// Ridges by their pair of points; a ring from either start, either way.
	std::map<std::pair<int32_t, int32_t>, int64_t> ridgeOf;
	for(int64_t r = 0; r < voronoi.numRidges(); ++r) ridgeOf[{voronoi.vRidgePoints[2 * r], voronoi.vRidgePoints[2 * r + 1]}] = r;
	ASSERT_EQ(ridgeOf.size(), static_cast<size_t>(reference.numRidges()));
	for(int64_t r = 0; r < reference.numRidges(); ++r)
	{
		const auto it(ridgeOf.find({reference.vRidgePoints[2 * r], reference.vRidgePoints[2 * r + 1]}));
		ASSERT_TRUE(it != ridgeOf.end()) << r;
		std::vector<int32_t> want, got(voronoi.vRidgeVertices.begin() + voronoi.vRidgeStart[it->second],
			voronoi.vRidgeVertices.begin() + voronoi.vRidgeStart[it->second + 1]);
		for(int64_t j = reference.vRidgeStart[r]; j < reference.vRidgeStart[r + 1]; ++j)
		{
			const int32_t vtx(reference.vRidgeVertices[j]);
			want.push_back(vtx < 0 ? -1 : static_cast<int32_t>(vMoved[static_cast<size_t>(vtx)]));
		}
		ASSERT_EQ(want.size(), got.size()) << r;
		if(want[0] == -1)
		{
			EXPECT_EQ(got[0], -1) << r;
			// An open ring runs from one hull facet to the other, either way.
			if(got[1] != want[1]) std::reverse(got.begin() + 1, got.end());
		}
		else
		{
			std::rotate(got.begin(), std::find(got.begin(), got.end(), want[0]), got.end());
			if(got.size() > 2 && got[1] != want[1]) std::reverse(got.begin() + 1, got.end());
		}
		EXPECT_EQ(want, got) << r;
		EXPECT_TRUE(near(reference.vRidgeAreas[r], voronoi.vRidgeAreas[it->second])) << r;
	}
}

// The flat entry points fed with cells in another order, each cell's corners
// turned by an even permutation and int64 neighbours, none of which the
// export from the mesh produces: the same diagram and hull, renamed. The
// entry straight from the mesh numbers the cells itself: the same diagram
// under its numbers.
// Random points, and a lattice whose cospherical cells give open rings along
// every hull edge.
class FlatInput : public ::testing::TestWithParam<int>
{
};

TEST_P(FlatInput, ShuffledCellsAndTheDirectEntryGiveTheMeshPathsResult)
{
	std::vector<Point3> v(vtest::randomPoints(1500, 5u));
	if(GetParam() == 1)
	{
		v.clear();
		for(int i = 0; i < 216; ++i) v.emplace_back(i / 36, i / 6 % 6, i % 6);
	}
	const int32_t n(static_cast<int32_t>(v.size()));
	Mesh mesh(v);
	Voronoi3 reference;
	reference.compute(mesh.vCells, n);
	ConvexHull3 referenceHull;
	referenceHull.compute(mesh.vCells);

	FlatCells3 flat;
	flattenCells(mesh.vCells, flat);
	const size_t m(mesh.vCells.size());
	std::mt19937 rng(GetParam() + 1);
	std::vector<int64_t> vMoved(m);
	for(size_t k = 0; k < m; ++k) vMoved[k] = static_cast<int64_t>(k);
	std::shuffle(vMoved.begin(), vMoved.end(), rng);
	const int aEven[4][4] = {{0, 1, 2, 3}, {1, 2, 0, 3}, {2, 0, 1, 3}, {1, 0, 3, 2}};
	std::vector<int32_t> vCorners(4 * m);
	std::vector<int64_t> vNeighbors(4 * m);
	for(size_t k = 0; k < m; ++k)
	{
		const int* aTurn(aEven[rng() % 4]);
		for(int i = 0; i < 4; ++i)
		{
			const size_t from(4 * k + static_cast<size_t>(aTurn[i])), to(4 * static_cast<size_t>(vMoved[k]) + static_cast<size_t>(i));
			vCorners[to] = flat.vCorners[from];
			vNeighbors[to] = flat.vNeighbors[from] < 0 ? -1 : vMoved[static_cast<size_t>(flat.vNeighbors[from])];
		}
	}
	Voronoi3 voronoi;
	voronoi.compute(vCorners.data(), vNeighbors.data(), static_cast<int64_t>(m), flat.vXyz.data(), n);
	ConvexHull3 hull;
	hull.compute(vCorners.data(), vNeighbors.data(), static_cast<int64_t>(m), flat.vXyz.data());

	expectSameDiagram(reference, voronoi, vMoved);
	// Hull facets as triangles turned to start at their least corner (a
	// flipped facet would not match), each with its neighbours across the
	// edges opposite its corners, turned alike.
	const auto facets = [](const ConvexHull3& h) {
		const auto first = [&](int64_t f) {
			const int32_t* t(&h.vFacets[3 * f]);
			return static_cast<int>(std::min_element(t, t + 3) - t);
		};
		const auto key = [&](int64_t f) {
			const int r(first(f));
			return std::array<int32_t, 3>{h.vFacets[3 * f + r], h.vFacets[3 * f + (r + 1) % 3], h.vFacets[3 * f + (r + 2) % 3]};
		};
		std::set<std::array<std::array<int32_t, 3>, 4>> all;
		for(int64_t f = 0; f < h.numFacets(); ++f)
		{
			const int r(first(f));
			all.insert({key(f), key(h.vNeighbors[3 * f + r]), key(h.vNeighbors[3 * f + (r + 1) % 3]),
				key(h.vNeighbors[3 * f + (r + 2) % 3])});
		}
		return all;
	};
	EXPECT_EQ(facets(referenceHull), facets(hull));
	EXPECT_TRUE(near(referenceHull.volume, hull.volume) && near(referenceHull.area, hull.area));

	Voronoi3 direct;
	direct.compute(mesh.dt, n);
	std::vector<int64_t> vRenamed(m);
	std::vector<bool> vTaken(m, false);
	for(size_t k = 0; k < m; ++k)
	{
		const Tet3* pTet(mesh.vCells[k]);
		const int number(pTet->getCustomIndex());
		ASSERT_TRUE(number >= 0 && static_cast<size_t>(number) < m && !vTaken[static_cast<size_t>(number)]) << k;
		EXPECT_FALSE(pTet->hasBeenVisited) << k;
		vTaken[static_cast<size_t>(number)] = true;
		vRenamed[k] = number;
	}
	expectSameDiagram(reference, direct, vRenamed);

	// With the cells handed out: row k is the cell numbered k, and a second
	// read of the mesh numbers the cells as the first did.
	Voronoi3 withCells;
	FlatCells3 cells;
	withCells.compute(mesh.dt, n, cells);
	ASSERT_EQ(cells.vCorners.size(), 4 * m);
	ASSERT_EQ(cells.vNeighbors.size(), 4 * m);
	ASSERT_EQ(cells.vXyz.size(), 3 * static_cast<size_t>(n));
	for(size_t k = 0; k < m; ++k)
	{
		const Tet3* pTet(mesh.vCells[k]);
		const size_t number(static_cast<size_t>(pTet->getCustomIndex()));
		ASSERT_EQ(static_cast<int64_t>(number), vRenamed[k]) << k;
		EXPECT_FALSE(pTet->hasBeenVisited) << k;
		for(int i = 0; i < 4; ++i)
		{
			const Point3* p(pTet->getCorner(i));
			EXPECT_EQ(cells.vCorners[4 * number + i], p->getIndex()) << k;
			const Tet3* pOpp(pTet->getOppTet(i));
			EXPECT_EQ(cells.vNeighbors[4 * number + i], pOpp != nullptr ? pOpp->getCustomIndex() : -1) << k;
			const double* pXyz(&cells.vXyz[3 * static_cast<size_t>(p->getIndex())]);
			EXPECT_TRUE(pXyz[0] == p->x() && pXyz[1] == p->y() && pXyz[2] == p->z()) << k;
		}
	}
	expectSameDiagram(reference, withCells, vRenamed);
}

INSTANTIATE_TEST_SUITE_P(Inputs, FlatInput, ::testing::Values(0, 1));

// Flat arrays whose neighbours are no tetrahedralisation's must be refused,
// not walked for ever or outside the arrays: neighbours that lack the edge
// being turned around, and neighbours that keep a turn inside one cell.
TEST(FlatInput, NeighboursOfNoTetrahedralisationAreRefused)
{
	Mesh mesh(vtest::randomPoints(400, 9u));
	FlatCells3 flat;
	flattenCells(mesh.vCells, flat);
	const int64_t m(static_cast<int64_t>(mesh.vCells.size()));
	const int32_t n(static_cast<int32_t>(mesh.vPoints.size()));
	const auto numHullFacets = [&](int64_t k) {
		return std::count(&flat.vNeighbors[4 * k], &flat.vNeighbors[4 * k] + 4, -1);
	};
	const auto sharesCorner = [&](int64_t a, int64_t b) {
		for(int i = 0; i < 4; ++i)
			if(std::count(&flat.vCorners[4 * b], &flat.vCorners[4 * b] + 4, flat.vCorners[4 * a + i]) > 0) return true;
		return false;
	};
	// An inner cell, a cell with one hull facet, and a cell far from both.
	int64_t inner(0), outer(0), far(0);
	while(numHullFacets(inner) != 0) ++inner;
	while(numHullFacets(outer) != 1) ++outer;
	while(sharesCorner(far, inner) || sharesCorner(far, outer)) ++far;
	const auto pointAll = [&](int64_t k, int64_t to) {
		std::vector<int32_t> v(flat.vNeighbors);
		for(int i = 0; i < 4; ++i)
			if(v[4 * k + i] >= 0) v[4 * k + i] = static_cast<int32_t>(to);
		return v;
	};
	const std::string voronoiMessage(
		"Voronoi3::compute(): the cells' neighbours do not close a ring around every edge: no tetrahedralisation");
	const std::string hullMessage("ConvexHull3::compute(): the cells' neighbours do not lead around every hull edge "
								  "to the hull again: no tetrahedralisation");
	for(int64_t to : {far, inner})
	{
		const std::vector<int32_t> v(pointAll(inner, to));
		Voronoi3 voronoi;
		try
		{
			voronoi.compute(flat.vCorners.data(), v.data(), m, flat.vXyz.data(), n);
			ADD_FAILURE() << "accepted, neighbours sent to " << to;
		}
		catch(const std::invalid_argument& e)
		{
			EXPECT_EQ(e.what(), voronoiMessage);
		}
	}
	// Around the edge (s, t) of the hull facet of outer: outer, c1, c2 and
	// on. c1 turned back to itself towards outer and c2 towards the cell
	// after it keep the turn between c1 and c2 for ever, every step into a
	// cell that has the facet crossed.
	const auto position = [&](int64_t k, int32_t p) {
		return static_cast<int>(std::find(&flat.vCorners[4 * k], &flat.vCorners[4 * k] + 4, p) - &flat.vCorners[4 * k]);
	};
	std::vector<int32_t> vBounce;
	for(int64_t c0 = 0; c0 < m && vBounce.empty(); ++c0)
	{
		if(numHullFacets(c0) != 1) continue;
		const int opp(static_cast<int>(std::find(&flat.vNeighbors[4 * c0], &flat.vNeighbors[4 * c0] + 4, -1) - &flat.vNeighbors[4 * c0]));
		const int q((opp + 1) % 4);
		const int32_t y(flat.vCorners[4 * c0 + opp]), yq(flat.vCorners[4 * c0 + q]);
		const int64_t c1(flat.vNeighbors[4 * c0 + q]);
		// c1's corner off the facet it shares with c0.
		int32_t y1(-1);
		for(int i = 0; i < 4; ++i)
			if(std::count(&flat.vCorners[4 * c0], &flat.vCorners[4 * c0] + 4, flat.vCorners[4 * c1 + i]) == 0)
				y1 = flat.vCorners[4 * c1 + i];
		const int64_t c2(flat.vNeighbors[4 * c1 + position(c1, y)]);
		if(c2 < 0 || flat.vNeighbors[4 * c2 + position(c2, y1)] < 0 || position(c2, yq) < 4) continue;
		vBounce = flat.vNeighbors;
		vBounce[4 * c1 + position(c1, y1)] = static_cast<int32_t>(c1);
		vBounce[4 * c2 + position(c2, y1)] = static_cast<int32_t>(c2);
	}
	ASSERT_FALSE(vBounce.empty());
	for(const std::vector<int32_t>& v : {pointAll(outer, far), vBounce})
	{
		ConvexHull3 hull;
		try
		{
			hull.compute(flat.vCorners.data(), v.data(), m, flat.vXyz.data());
			ADD_FAILURE() << "accepted";
		}
		catch(const std::invalid_argument& e)
		{
			EXPECT_EQ(e.what(), hullMessage);
		}
	}
}

TEST(CollectCells, KeepsAGivenNumberingAndRefusesABrokenOne)
{
	Mesh mesh(vtest::randomPoints(300, 3u));
	Voronoi3 byPosition;
	byPosition.compute(mesh.vCells, 300);
	std::vector<Tet3*> vReversed(mesh.vCells.rbegin(), mesh.vCells.rend());
	for(size_t k = 0; k < vReversed.size(); ++k) vReversed[k]->setCustomIndex(static_cast<int>(k));
	std::vector<Tet3*> vKept;
	collectCells(mesh.dt, vKept, false);
	ASSERT_EQ(vKept.size(), vReversed.size());
	for(const Tet3* pTet : vKept) EXPECT_TRUE(vReversed[static_cast<size_t>(pTet->getCustomIndex())] == pTet && !pTet->hasBeenVisited);
	// The Voronoi vertices follow the kept numbers; the volumes do not depend on them.
	Voronoi3 byNumber;
	byNumber.compute(vKept, 300);
	const size_t m(vKept.size());
	for(size_t k = 0; k < 3 * m; ++k) EXPECT_EQ(byPosition.vVertices[k], byNumber.vVertices[3 * (m - 1 - k / 3) + k % 3]) << k;
	for(int32_t p = 0; p < 300; ++p) EXPECT_EQ(byPosition.vVolumes[p], byNumber.vVolumes[p]) << p;
	vReversed[0]->setCustomIndex(1);
	EXPECT_THROW(collectCells(mesh.dt, vKept, false), std::invalid_argument);
}

} // namespace
