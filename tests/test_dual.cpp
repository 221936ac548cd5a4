// Voronoi cells and convex hull of the dual layer, against oracles that do
// not share its code: volumes that must tile a known region, a lattice of
// unit cubes, exact (GMP) circumcentres and orientations, and the hull of
// the unfiltered tetrahedralisation.
#include <gtest/gtest.h>
#include <gmpxx.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <random>
#include <set>
#include <stdexcept>
#include <utility>
#include <vector>

#include "Dual3.h"
#include "ExactPredicates.h"
#include "RandomPoints.h"
#include "StdoutCapture.h"

using namespace VORN3D;

namespace {

const double inf(std::numeric_limits<double>::infinity());

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

std::vector<Point3> lattice(int k)
{
	std::vector<Point3> v;
	for(int x = 0; x < k; ++x)
		for(int y = 0; y < k; ++y)
			for(int z = 0; z < k; ++z) v.emplace_back(x, y, z);
	return v;
}

double dist(const Point3& p, const double* c)
{
	return std::sqrt((p.x() - c[0]) * (p.x() - c[0]) + (p.y() - c[1]) * (p.y() - c[1]) + (p.z() - c[2]) * (p.z() - c[2]));
}

// Points of the unit cube on a grid of step 2^-30, then their mirror images
// in the six faces (exact): the cells of the originals are the cube's
// share of each, so they tile it.
class MirroredCube : public ::testing::TestWithParam<int>
{
};

TEST_P(MirroredCube, CellsOfTheOriginalsTileTheCube)
{
	std::mt19937 rng(static_cast<unsigned>(GetParam()));
	std::uniform_int_distribution<int> grid(1, (1 << 30) - 1);
	std::vector<Point3> v;
	const size_t n(static_cast<size_t>(GetParam()));
	for(size_t i = 0; i < n; ++i)
	{
		// Half of them in a small corner cluster: cells of very different size.
		const double f(i % 2 ? 1.0 : 0.05);
		v.emplace_back(f * std::ldexp(grid(rng), -30), f * std::ldexp(grid(rng), -30), f * std::ldexp(grid(rng), -30));
	}
	for(size_t i = 0; i < n; ++i)
	{
		const Point3 p(v[i]);
		v.emplace_back(-p.x(), p.y(), p.z());
		v.emplace_back(2.0 - p.x(), p.y(), p.z());
		v.emplace_back(p.x(), -p.y(), p.z());
		v.emplace_back(p.x(), 2.0 - p.y(), p.z());
		v.emplace_back(p.x(), p.y(), -p.z());
		v.emplace_back(p.x(), p.y(), 2.0 - p.z());
	}
	Mesh mesh(v);
	Voronoi3 voronoi;
	voronoi.compute(mesh.vCells, static_cast<int32_t>(v.size()));
	double sum(0.0);
	for(size_t i = 0; i < n; ++i)
	{
		ASSERT_TRUE(voronoi.isBounded(static_cast<int32_t>(i)));
		ASSERT_GT(voronoi.vVolumes[i], 0.0);
		sum += voronoi.vVolumes[i];
	}
	EXPECT_NEAR(sum, 1.0, 1e-12);

	// Structure: one ridge per Delaunay edge, each vertex of a ridge a cell
	// that holds both of its points, and each Voronoi vertex equidistant
	// from its cell's corners.
	std::set<std::pair<int, int>> edges;
	for(const Tet3* pTet : mesh.vCells)
		for(int i = 0; i < 4; ++i)
			for(int j = i + 1; j < 4; ++j)
			{
				const int a(pTet->getCorner(i)->getIndex()), b(pTet->getCorner(j)->getIndex());
				edges.insert({std::min(a, b), std::max(a, b)});
			}
	ASSERT_EQ(static_cast<size_t>(voronoi.numRidges()), edges.size());
	std::set<std::pair<int, int>> ridges;
	for(int64_t r = 0; r < voronoi.numRidges(); ++r)
	{
		const int s(voronoi.vRidgePoints[2 * r]), t(voronoi.vRidgePoints[2 * r + 1]);
		ridges.insert({s, t});
		for(int64_t k = voronoi.vRidgeStart[r]; k < voronoi.vRidgeStart[r + 1]; ++k)
		{
			const int32_t vtx(voronoi.vRidgeVertices[k]);
			if(vtx < 0) continue;
			const Tet3* pTet(mesh.vCells[static_cast<size_t>(vtx)]);
			ASSERT_TRUE(pTet->hasVertex(v[static_cast<size_t>(s)]) && pTet->hasVertex(v[static_cast<size_t>(t)]));
		}
	}
	EXPECT_EQ(ridges, edges);
	for(size_t k = 0; k < mesh.vCells.size(); ++k)
	{
		const double* c(&voronoi.vVertices[3 * k]);
		const double r0(dist(*mesh.vCells[k]->getCorner(0), c));
		for(int i = 1; i < 4; ++i) ASSERT_NEAR(dist(*mesh.vCells[k]->getCorner(i), c), r0, 1e-9 * (1.0 + r0));
	}
}

INSTANTIATE_TEST_SUITE_P(Sizes, MirroredCube, ::testing::Values(60, 700));

TEST(Voronoi3, LatticeCellsAreUnitCubesAndHullPointsUnbounded)
{
	const int k(5);
	Mesh mesh(lattice(k));
	Voronoi3 voronoi;
	voronoi.compute(mesh.vCells, k * k * k);
	std::vector<int64_t> vRegionStart, vCellStart;
	std::vector<int32_t> vRegionVertices, vCellRidges;
	voronoi.regions(mesh.vCells, vRegionStart, vRegionVertices);
	voronoi.cellRidges(vCellStart, vCellRidges);
	for(int i = 0; i < k * k * k; ++i)
	{
		const Point3& p(mesh.vPoints[static_cast<size_t>(i)]);
		const bool bInterior(p.x() > 0 && p.x() < k - 1 && p.y() > 0 && p.y() < k - 1 && p.z() > 0 && p.z() < k - 1);
		if(bInterior) EXPECT_NEAR(voronoi.vVolumes[static_cast<size_t>(i)], 1.0, 1e-12) << i;
		else EXPECT_EQ(voronoi.vVolumes[static_cast<size_t>(i)], inf) << i;
		// The faces of a cube add up to its surface, 6; each names the point.
		double surface(0.0);
		for(int64_t f = vCellStart[static_cast<size_t>(i)]; f < vCellStart[static_cast<size_t>(i) + 1]; ++f)
		{
			const size_t r(static_cast<size_t>(vCellRidges[static_cast<size_t>(f)]));
			EXPECT_TRUE(voronoi.vRidgePoints[2 * r] == i || voronoi.vRidgePoints[2 * r + 1] == i);
			surface += voronoi.vRidgeAreas[r];
		}
		if(bInterior)
		{
			EXPECT_NEAR(surface, 6.0, 1e-12) << i;
		}
		// The region lists -1 first exactly for unbounded cells.
		const int64_t first(vRegionStart[static_cast<size_t>(i)]);
		EXPECT_EQ(vRegionVertices[static_cast<size_t>(first)] == -1, !bInterior);
	}
	// Faces between axis neighbours have area 1, those along the diagonals
	// of a cube (cospherical cells) area 0.
	for(int64_t r = 0; r < voronoi.numRidges(); ++r)
	{
		const Point3& s(mesh.vPoints[static_cast<size_t>(voronoi.vRidgePoints[2 * r])]);
		const Point3& t(mesh.vPoints[static_cast<size_t>(voronoi.vRidgePoints[2 * r + 1])]);
		const double d2((s.x() - t.x()) * (s.x() - t.x()) + (s.y() - t.y()) * (s.y() - t.y()) + (s.z() - t.z()) * (s.z() - t.z()));
		const double area(voronoi.vRidgeAreas[static_cast<size_t>(r)]);
		if(area == inf) continue;
		EXPECT_NEAR(area, d2 == 1.0 ? 1.0 : 0.0, 1e-12);
	}
}

// The circumcentre of one flat cell against the exact one (Cramer's rule in
// rationals). The relative error grows like the unit round-off over the
// flatness: about 1e-7 in double at eps = 1e-9, 1e-10 in long double.
class FlatCell : public ::testing::TestWithParam<double>
{
};

TEST_P(FlatCell, CircumcentreAgreesWithTheExactOne)
{
	// Three corners span a tilted plane; the fourth lies eps off it.
	const double eps(GetParam());
	const double n[3] = {0.3 / 0.9899494936611666, -0.5 / 0.9899494936611666, 0.8 / 0.9899494936611666};
	const double u[3] = {0.5 / 0.5830951894845301, 0.3 / 0.5830951894845301, 0.0};
	const double w[3] = {u[1] * n[2] - u[2] * n[1], u[2] * n[0] - u[0] * n[2], u[0] * n[1] - u[1] * n[0]};
	const double a[3] = {0.13, 0.71, 0.29};
	std::vector<Point3> v{Point3(a[0], a[1], a[2])};
	using Step = std::array<double, 3>;
	for(const Step& f : {Step{1.0, 0.0, 0.0}, Step{0.0, 1.0, 0.0}, Step{0.7, 0.9, eps}})
		v.emplace_back(a[0] + f[0] * u[0] + f[1] * w[0] + f[2] * n[0], a[1] + f[0] * u[1] + f[1] * w[1] + f[2] * n[1],
			a[2] + f[0] * u[2] + f[1] * w[2] + f[2] * n[2]);
	Mesh mesh(v);
	ASSERT_EQ(mesh.vCells.size(), 1u);
	const Tet3* pTet(mesh.vCells[0]);
	double c[3];
	circumcentre(pTet, c);
	// |x - a|^2 = |x - p|^2 for p = b, c, d: 2 (p - a).x = |p|^2 - |a|^2.
	mpq_class m[3][3], rhs[3];
	const Point3& p0(*pTet->getCorner(0));
	const mpq_class aa(mpq_class(p0.x()) * p0.x() + mpq_class(p0.y()) * p0.y() + mpq_class(p0.z()) * p0.z());
	for(int r = 0; r < 3; ++r)
	{
		const Point3& p(*pTet->getCorner(r + 1));
		m[r][0] = 2 * (mpq_class(p.x()) - p0.x());
		m[r][1] = 2 * (mpq_class(p.y()) - p0.y());
		m[r][2] = 2 * (mpq_class(p.z()) - p0.z());
		rhs[r] = mpq_class(p.x()) * p.x() + mpq_class(p.y()) * p.y() + mpq_class(p.z()) * p.z() - aa;
	}
	const auto det3 = [](const mpq_class (&x)[3][3]) {
		return mpq_class(x[0][0] * (x[1][1] * x[2][2] - x[1][2] * x[2][1]) -
			x[0][1] * (x[1][0] * x[2][2] - x[1][2] * x[2][0]) + x[0][2] * (x[1][0] * x[2][1] - x[1][1] * x[2][0]));
	};
	const mpq_class det(det3(m));
	double norm(0.0), err(0.0);
	for(int col = 0; col < 3; ++col)
	{
		mpq_class mc[3][3];
		for(int r = 0; r < 3; ++r)
			for(int j = 0; j < 3; ++j) mc[r][j] = j == col ? rhs[r] : m[r][j];
		const double exact(mpq_class(det3(mc) / det).get_d());
		norm = std::max(norm, std::fabs(exact));
		err = std::max(err, std::fabs(exact - c[col]));
	}
	EXPECT_LT(err, 1e-9 * norm + 1e-15) << "centre off by " << err << " at distance " << norm;
}

INSTANTIATE_TEST_SUITE_P(Flatness, FlatCell, ::testing::Values(1e-3, 1e-7, 1e-9));

// Hull facets against exact orientations of all points, the volume against
// the cells' volumes, neighbours against shared edges; the filter against
// the hull of all points.
class Hull : public ::testing::TestWithParam<int>
{
protected:
	static std::vector<Point3> points(int kind)
	{
		std::mt19937 rng(11);
		if(kind == 0) return vtest::randomPoints(2500, rng);
		std::normal_distribution<double> normal;
		std::vector<Point3> v;
		for(int i = 0; i < 400; ++i)
		{
			const double x(normal(rng)), y(normal(rng)), z(normal(rng));
			const double r(kind == 1 ? std::sqrt(x * x + y * y + z * z) : 1.0);
			v.emplace_back(x / r, y / r, z / r);
		}
		return v;
	}
};

TEST_P(Hull, FacetsVolumeNeighboursAndFilter)
{
	const std::vector<Point3> v(points(GetParam()));
	Mesh mesh(v);
	ConvexHull3 hull;
	hull.compute(mesh.vCells);
	const int64_t numFacets(hull.numFacets());
	std::set<int32_t> vertices(hull.vFacets.begin(), hull.vFacets.end());
	// A closed triangulated surface of genus 0: F = 2V - 4.
	EXPECT_EQ(numFacets, 2 * static_cast<int64_t>(vertices.size()) - 4);
	std::map<std::pair<int32_t, int32_t>, int64_t> facetOfEdge;
	for(int64_t f = 0; f < numFacets; ++f)
	{
		const int32_t* t(&hull.vFacets[3 * f]);
		for(const Point3& p : v)
			ASSERT_LE(vtest::exactOrientation(v[t[0]], v[t[1]], v[t[2]], p), 0) << "a point outside facet " << f;
		for(int j = 0; j < 3; ++j) facetOfEdge[{t[j], t[(j + 1) % 3]}] = f;
	}
	for(int64_t f = 0; f < numFacets; ++f)
	{
		const int32_t* t(&hull.vFacets[3 * f]);
		for(int j = 0; j < 3; ++j)
			EXPECT_EQ(hull.vNeighbors[3 * f + j], (facetOfEdge[{t[(j + 2) % 3], t[(j + 1) % 3]}]));
	}
	double volume(0.0);
	for(const Tet3* pTet : mesh.vCells)
	{
		const Point3 &a(*pTet->getCorner(0)), &b(*pTet->getCorner(1)), &c(*pTet->getCorner(2)), &d(*pTet->getCorner(3));
		const double u[3] = {b.x() - a.x(), b.y() - a.y(), b.z() - a.z()};
		const double w[3] = {c.x() - a.x(), c.y() - a.y(), c.z() - a.z()};
		const double z[3] = {d.x() - a.x(), d.y() - a.y(), d.z() - a.z()};
		volume += (u[0] * (w[1] * z[2] - w[2] * z[1]) - u[1] * (w[0] * z[2] - w[2] * z[0]) + u[2] * (w[0] * z[1] - w[1] * z[0])) / 6;
	}
	EXPECT_NEAR(hull.volume, volume, 1e-12 * volume);

	std::vector<double> xyz;
	for(const Point3& p : v) xyz.insert(xyz.end(), {p.x(), p.y(), p.z()});
	std::vector<int32_t> kept;
	{
		vtest::StdoutCapture quiet;
		kept = hullCandidates(xyz.data(), static_cast<int64_t>(v.size()));
	}
	for(int32_t vtx : vertices) EXPECT_TRUE(std::binary_search(kept.begin(), kept.end(), vtx)) << "dropped vertex " << vtx;
	// Not a filter in name only: most points of the cube go; on the sphere
	// every point is a vertex and stays.
	if(GetParam() == 0)
	{
		EXPECT_LT(kept.size(), v.size() / 10);
	}
	if(GetParam() == 1)
	{
		EXPECT_EQ(kept.size(), v.size());
	}
}

INSTANTIATE_TEST_SUITE_P(Kinds, Hull, ::testing::Values(0, 1, 2));

TEST(CollectCells, KeepsAGivenNumberingAndRefusesABrokenOne)
{
	Mesh mesh(vtest::randomPoints(300, 3u));
	std::vector<Tet3*> vReversed(mesh.vCells.rbegin(), mesh.vCells.rend());
	for(size_t k = 0; k < vReversed.size(); ++k) vReversed[k]->setCustomIndex(static_cast<int>(k));
	std::vector<Tet3*> vKept;
	collectCells(mesh.dt, vKept, false);
	ASSERT_EQ(vKept.size(), vReversed.size());
	for(const Tet3* pTet : vKept)
	{
		EXPECT_EQ(vReversed[static_cast<size_t>(pTet->getCustomIndex())], pTet);
		EXPECT_FALSE(pTet->hasBeenVisited);
	}
	vReversed[0]->setCustomIndex(1);
	EXPECT_THROW(collectCells(mesh.dt, vKept, false), std::invalid_argument);
}

} // namespace
