// The exact orientation and the flat-array walk of the parallel library,
// against exact rational arithmetic (GMP) that shares none of their code.
// Linked with the shared libraries only, as a user would.
#include <vorn3d/FlatWalk3.h>
#include <vorn3d/ParallelDelaunay3.h>

#include <gmpxx.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

using namespace VORN3D;

namespace {

/// Sign of det[b - a, c - a, d - a], exactly.
int rationalOrientation(const double* a, const double* b, const double* c, const double* d)
{
	mpq_class u[3], v[3], w[3];
	for(int k = 0; k < 3; ++k) u[k] = mpq_class(b[k]) - a[k], v[k] = mpq_class(c[k]) - a[k], w[k] = mpq_class(d[k]) - a[k];
	return sgn(u[0] * (v[1] * w[2] - v[2] * w[1]) + u[1] * (v[2] * w[0] - v[0] * w[2]) + u[2] * (v[0] * w[1] - v[1] * w[0]));
}

/// Exact orientation of the cell with corner i replaced by q.
int rationalSide(const FlatMesh3& mesh, const std::vector<double>& xyz, int64_t cell, int i, const double* q)
{
	const double* p[4];
	for(int j = 0; j < 4; ++j) p[j] = &xyz[3 * static_cast<size_t>(mesh.vCorners[static_cast<size_t>(4 * cell + j)])];
	p[i] = q;
	return rationalOrientation(p[0], p[1], p[2], p[3]);
}

} // namespace

// The fourth point on the plane of the others (kind 1: all four on a line)
// up to rounding, or exactly (small integers times a power of two), or the
// first three in a plane of constant coordinate and on a line in it up to
// rounding, the fourth anywhere; then moved by single ulps. Many must fool
// the plain determinant.
TEST(ExactOrientation, AgreesWithRationalsOnNearlyFlatInput)
{
	std::mt19937 rng(7);
	std::uniform_real_distribution<double> unit(-1.0, 1.0);
	int numFlat(0), numFooled(0);
	for(int trial = 0; trial < 8000; ++trial)
	{
		const double scale(std::ldexp(1.0, static_cast<int>(rng() % 60) - 30));
		const int kind(trial % 4);
		double p[4][3];
		for(int j = 0; j < 3; ++j)
			for(int k = 0; k < 3; ++k) p[j][k] = scale * (kind == 2 ? static_cast<double>(rng() % 2001) - 1000.0 : unit(rng));
		const double s(unit(rng)), t(unit(rng)), r(unit(rng));
		for(int k = 0; k < 3; ++k)
		{
			if(kind == 1 || kind == 3) p[2][k] = p[0][k] + r * (p[1][k] - p[0][k]);
			p[3][k] = kind == 2 ? p[1][k] + p[2][k] - p[0][k] : p[0][k] + s * (p[1][k] - p[0][k]) + t * (p[2][k] - p[0][k]);
		}
		if(kind == 3)
		{
			const int axis(trial / 4 % 3);
			p[1][axis] = p[2][axis] = p[0][axis];
			p[3][axis] = p[0][axis] + scale * unit(rng);
		}
		double& moved(p[rng() % 4][rng() % 3]);
		const int ulps(static_cast<int>(rng() % 3) - 1);
		if(ulps != 0) moved = std::nextafter(moved, ulps * 2e9);
		const int expected(rationalOrientation(p[0], p[1], p[2], p[3]));
		double e[3][3];
		for(int j = 0; j < 3; ++j)
			for(int k = 0; k < 3; ++k) e[j][k] = p[j + 1][k] - p[0][k];
		const double naive(e[0][0] * (e[1][1] * e[2][2] - e[1][2] * e[2][1]) +
			e[0][1] * (e[1][2] * e[2][0] - e[1][0] * e[2][2]) + e[0][2] * (e[1][0] * e[2][1] - e[1][1] * e[2][0]));
		numFlat += expected == 0;
		numFooled += (naive > 0) - (naive < 0) != expected;
		ASSERT_EQ(exactOrientation(p[0], p[1], p[2], p[3]), expected) << "trial " << trial;
		ASSERT_EQ(exactOrientation(p[1], p[0], p[2], p[3]), -expected) << "trial " << trial;
		ASSERT_EQ(exactOrientation(p[1], p[2], p[3], p[0]), -expected) << "trial " << trial;
	}
	EXPECT_GT(numFlat, 300);
	EXPECT_GT(numFooled, 300);
}

class FlatWalk : public ::testing::TestWithParam<bool>
{
};

// Random queries, queries on vertices, edges and facets, just and far
// outside and non-finite, on a random mesh and on a cospherical grid meshed
// without perturbation (GetParam()). Every answer cell must contain its
// query; every -1 must lie strictly outside some hull facet (or not be
// finite). A second walker starts each query from a scattered cell, through
// 32-bit neighbour numbers.
TEST_P(FlatWalk, AnswersContainTheQueryAndMinusOneIsOutsideTheHull)
{
	const bool bGrid(GetParam());
	std::mt19937 rng(11);
	std::uniform_real_distribution<double> unit(0.0, 1.0);
	std::vector<double> xyz;
	for(int i = 0; i < (bGrid ? 216 : 1500); ++i)
	{
		if(bGrid) xyz.insert(xyz.end(), {double(i % 6), double(i / 6 % 6), double(i / 36)});
		else xyz.insert(xyz.end(), {unit(rng), unit(rng), unit(rng)});
	}
	FlatMesh3 mesh;
	buildParallel(xyz.data(), static_cast<int64_t>(xyz.size() / 3), 2, !bGrid, mesh);
	ASSERT_GT(mesh.numCells(), 0);

	const double size(bGrid ? 5.0 : 1.0), inf(std::numeric_limits<double>::infinity());
	std::vector<double> queries{-1e-300, 0.5, 0.5, 1e300, 0.5, 0.5, std::nan(""), 0.5, 0.5, 0.5, inf, 0.5};
	for(int i = 0; i < 3 * 1500; ++i) queries.push_back(size * (1.6 * unit(rng) - 0.3));
	for(int64_t c = 0; c < mesh.numCells(); c += 7)
	{
		const double* p[4];
		for(int j = 0; j < 4; ++j) p[j] = &xyz[3 * static_cast<size_t>(mesh.vCorners[static_cast<size_t>(4 * c + j)])];
		// A vertex, an edge midpoint, a point in a facet (the last two exact on the grid).
		for(int k = 0; k < 3; ++k)
			queries.insert(queries.end(), {p[0][k], 0.5 * (p[0][k] + p[1][k]), 0.25 * (p[1][k] + p[2][k]) + 0.5 * p[3][k]});
	}
	const int64_t numQueries(static_cast<int64_t>(queries.size() / 3));
	std::vector<int32_t> vNeighbors32(mesh.vNeighbors.begin(), mesh.vNeighbors.end());
	FlatWalk3 walk(mesh, xyz.data()), walk32(mesh.vCorners.data(), vNeighbors32.data(), mesh.numCells(), xyz.data());
	std::vector<int64_t> vFound(static_cast<size_t>(numQueries));
	walk.locate(queries.data(), numQueries, vFound.data());
	EXPECT_EQ(vFound[0], -1);
	EXPECT_GT(std::count(vFound.begin(), vFound.end(), -1), 100);
	for(int64_t k = 0; k < numQueries; ++k)
	{
		const double* q(&queries[3 * static_cast<size_t>(k)]);
		const int64_t cell(vFound[static_cast<size_t>(k)]), cell32(walk32.locate(q, (k * 7919) % mesh.numCells()));
		ASSERT_EQ(cell32 == -1, cell == -1) << "query " << k;
		for(int i = 0; i < 4 && cell >= 0; ++i)
			ASSERT_TRUE(rationalSide(mesh, xyz, cell, i, q) >= 0 && rationalSide(mesh, xyz, cell32, i, q) >= 0) << k;
		if(cell >= 0 || !std::isfinite(q[0] + q[1] + q[2])) continue;
		bool bOutside(false);
		for(int64_t c = 0; c < 4 * mesh.numCells() && !bOutside; ++c)
			bOutside = mesh.vNeighbors[static_cast<size_t>(c)] < 0 && rationalSide(mesh, xyz, c / 4, int(c % 4), q) < 0;
		ASSERT_TRUE(bOutside) << "query " << k << " answered -1 inside the hull";
	}
	EXPECT_EQ(FlatWalk3(FlatMesh3(), xyz.data()).locate(xyz.data()), -1);
}

INSTANTIATE_TEST_SUITE_P(Meshes, FlatWalk, ::testing::Bool(),
	[](const ::testing::TestParamInfo<bool>& info) { return info.param ? "grid" : "random"; });
