// The threaded builder against one Vorn_3D object: the same cells for 1 to 4
// threads on uniform, clustered, elongated, spherical and degenerate sets,
// with exact (GMP) orientation, consistent neighbours across the regions and
// repeated points named by their first index.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <vorn3d/ParallelDelaunay3.h>
#include <vorn3d/VornException.h>
#include <vorn3d/Vorn_3D.h>

#include "ExactPredicates.h"

using VORN3D::FlatMesh3;
using VORN3D::Point3;

namespace {

using Quad = std::array<int32_t, 4>;
using Tri = std::array<int32_t, 3>;

std::vector<Point3> makePoints(const std::string& kind, int n)
{
	std::mt19937 rng(777);
	std::uniform_real_distribution<double> uni(0.0, 1.0);
	std::normal_distribution<double> gauss(0.0, 0.02);
	std::vector<Point3> vCentres;
	for(int i = 0; i < 6; ++i) vCentres.emplace_back(uni(rng), uni(rng), uni(rng));
	const int side(static_cast<int>(std::cbrt(n)));
	std::vector<Point3> v;
	for(int i = 0; i < n; ++i)
	{
		double x(uni(rng)), y(uni(rng)), z(uni(rng));
		if(kind == "clustered")
		{
			const Point3& c(vCentres[static_cast<size_t>(i) % vCentres.size()]);
			x = c.x() + gauss(rng), y = c.y() + gauss(rng), z = c.z() + gauss(rng);
		}
		else if(kind == "elongated") x *= 1000.0;
		else if(kind == "sphere")
		{
			const double t(std::acos(2.0 * x - 1.0)), p(6.283185307179586 * y);
			x = std::sin(t) * std::cos(p), y = std::sin(t) * std::sin(p), z = std::cos(t);
		}
		else if(kind == "twoplanes") // each region flat: one object takes over
			z = i % 2;
		else if(kind == "grid") // past side^3 points the grid repeats itself
			x = i % side, y = (i / side) % side, z = i / (side * side) % side;
		v.emplace_back(x, y, z);
	}
	return v;
}

/// Cells of one Vorn_3D, each vertex named by its first input index.
std::set<Quad> referenceCells(std::vector<Point3> vPoints, bool bPerturb)
{
	VORN3D::Vorn_3D single;
	single.setPerturbation(bPerturb);
	std::vector<Point3*> vHandles;
	single.insert(vPoints, vHandles);
	for(size_t i = vHandles.size(); i-- > 0;) vHandles[i]->setIndex(static_cast<int>(i));
	std::vector<VORN3D::Tet3*> vTets;
	single.getTetrahedra(vTets);
	std::set<Quad> cells;
	for(const VORN3D::Tet3* pTet : vTets)
	{
		Quad q;
		for(int i = 0; i < 4; ++i) q[static_cast<size_t>(i)] = pTet->getCorner(i)->getIndex();
		std::sort(q.begin(), q.end());
		cells.insert(q);
	}
	return cells;
}

Tri facetOf(const FlatMesh3& mesh, int64_t cell, int i)
{
	Tri f;
	for(int k = 0, at = 0; k < 4; ++k)
	{
		if(k != i) f[static_cast<size_t>(at++)] = mesh.vCorners[static_cast<size_t>(4 * cell + k)];
	}
	std::sort(f.begin(), f.end());
	return f;
}

/// Checks that need no reference: representatives, exact positive
/// orientation, neighbours across the same facet both ways, -1 exactly on
/// the facets of one cell; with bDelaunay each interior facet is locally
/// Delaunay (exact insphere).
void checkStructure(const std::vector<Point3>& vPoints, const FlatMesh3& mesh, bool bDelaunay)
{
	ASSERT_EQ(mesh.numPoints, static_cast<int64_t>(vPoints.size()));
	ASSERT_EQ(mesh.vRepresentative.size(), vPoints.size());
	std::map<std::array<double, 3>, int32_t> first;
	for(size_t i = 0; i < vPoints.size(); ++i)
	{
		const int32_t expected(first.emplace(std::array<double, 3>{{vPoints[i].x(), vPoints[i].y(), vPoints[i].z()}}, static_cast<int32_t>(i)).first->second);
		ASSERT_EQ(mesh.vRepresentative[i], expected) << "point " << i;
	}
	ASSERT_EQ(mesh.vNeighbors.size(), mesh.vCorners.size());
	const auto pt([&](int64_t cell, int i) -> const Point3& {
		return vPoints[static_cast<size_t>(mesh.vCorners[static_cast<size_t>(4 * cell + i)])];
	});
	std::map<Tri, int> facetCount;
	for(int64_t c = 0; c < mesh.numCells(); ++c)
	{
		for(int i = 0; i < 4; ++i)
		{
			const int32_t v(mesh.vCorners[static_cast<size_t>(4 * c + i)]);
			ASSERT_EQ(mesh.vRepresentative[static_cast<size_t>(v)], v) << "corner is no first occurrence";
			++facetCount[facetOf(mesh, c, i)];
		}
		ASSERT_EQ(vtest::exactOrientation(pt(c, 0), pt(c, 1), pt(c, 2), pt(c, 3)), 1) << "cell " << c;
	}
	for(int64_t c = 0; c < mesh.numCells(); ++c)
	{
		for(int i = 0; i < 4; ++i)
		{
			const int64_t d(mesh.vNeighbors[static_cast<size_t>(4 * c + i)]);
			const Tri f(facetOf(mesh, c, i));
			if(d < 0)
			{
				ASSERT_EQ(facetCount[f], 1) << "cell " << c << " facet " << i << " has a cell behind it";
				continue;
			}
			ASSERT_LT(d, mesh.numCells());
			int j(0);
			while(j < 4 && mesh.vNeighbors[static_cast<size_t>(4 * d + j)] != c) ++j;
			ASSERT_LT(j, 4) << "cell " << d << " does not name " << c;
			ASSERT_EQ(facetOf(mesh, d, j), f) << "cells " << c << " and " << d;
			if(bDelaunay)
			{
				ASSERT_LE(vtest::exactInSphere(pt(c, 0), pt(c, 1), pt(c, 2), pt(c, 3), pt(d, j)), 0);
			}
		}
	}
}

struct Case
{
	const char* kind;
	int n;
	bool bPerturb;
	int numThreads;
};

/// The reference cells of each set, computed once.
const std::set<Quad>& referenceOf(const Case& c, const std::vector<Point3>& vPoints)
{
	static std::map<std::string, std::set<Quad>> cache;
	const std::string key(c.kind);
	auto at(cache.find(key));
	if(at == cache.end()) at = cache.emplace(key, referenceCells(vPoints, c.bPerturb)).first;
	return at->second;
}

class ParallelBuild: public ::testing::TestWithParam<Case>
{
};

TEST_P(ParallelBuild, SameCellsAsOneObject)
{
	const Case& c(GetParam());
	const std::vector<Point3> vPoints(makePoints(c.kind, c.n));
	const FlatMesh3 mesh(VORN3D::buildParallel(vPoints, c.numThreads, c.bPerturb));
	checkStructure(vPoints, mesh, false);
	std::set<Quad> cells;
	for(int64_t k = 0; k < mesh.numCells(); ++k)
	{
		Quad q;
		std::copy(mesh.vCorners.begin() + 4 * k, mesh.vCorners.begin() + 4 * k + 4, q.begin());
		std::sort(q.begin(), q.end());
		ASSERT_TRUE(cells.insert(q).second) << "a cell is reported twice";
	}
	const std::set<Quad>& reference(referenceOf(c, vPoints));
	ASSERT_TRUE(cells == reference) << mesh.numCells() << " cells, one object " << reference.size();
}

std::vector<Case> allCases()
{
	// A few thousand points: at least 1000 per thread, so that 4 threads
	// make 4 regions. The grid repeats 304 of its 16^3 points.
	const Case sets[] = {{"uniform", 4000, false, 0}, {"clustered", 4000, false, 0}, {"elongated", 4000, false, 0},
		{"sphere", 4000, false, 0}, {"twoplanes", 4000, false, 0}, {"grid", 4400, true, 0}};
	std::vector<Case> v;
	for(Case c : sets)
	{
		for(c.numThreads = 1; c.numThreads <= 4; ++c.numThreads) v.push_back(c);
	}
	return v;
}

INSTANTIATE_TEST_SUITE_P(Sets, ParallelBuild, ::testing::ValuesIn(allCases()),
	[](const ::testing::TestParamInfo<Case>& info) {
		return std::string(info.param.kind) + "_" + std::to_string(info.param.numThreads) + "threads";
	});

TEST(ParallelBuildDegenerate, GridWithoutPerturbationIsADelaunayMesh)
{
	// Without perturbation the regions may break the grid's ties each their
	// own way; whatever the path, the result is a Delaunay mesh of the points.
	const std::vector<Point3> vPoints(makePoints("grid", 2400));
	const FlatMesh3 mesh(VORN3D::buildParallel(vPoints, 2, false));
	checkStructure(vPoints, mesh, true);
	ASSERT_GT(mesh.numCells(), 0);
}

TEST(ParallelBuildInput, NonFiniteCoordinateThrows)
{
	std::vector<Point3> vPoints(makePoints("uniform", 10000));
	std::vector<double> vXyz;
	for(const Point3& p : vPoints) vXyz.insert(vXyz.end(), {p.x(), p.y(), p.z()});
	for(double bad : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()})
	{
		vXyz[3 * 7000 + 1] = bad;
		FlatMesh3 mesh;
		EXPECT_THROW(VORN3D::buildParallel(vXyz.data(), 10000, 2, false, mesh), VornInputError);
	}
}

} // namespace
