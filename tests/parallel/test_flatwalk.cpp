// The exact orientation and the flat-array walk of the parallel library,
// against exact rational arithmetic (GMP) that shares none of their code.
// Linked with the shared libraries only, as a user would.
#include <vorn3d/FlatWalk3.h>
#include <vorn3d/ParallelDelaunay3.h>

#include <gmpxx.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <ostream>
#include <random>
#include <string>
#include <vector>

using namespace VORN3D;

namespace {

int rationalOrientation(const double* a, const double* b, const double* c, const double* d)
{
	mpq_class u[3], v[3], w[3];
	for(int k = 0; k < 3; ++k)
	{
		u[k] = mpq_class(b[k]) - a[k];
		v[k] = mpq_class(c[k]) - a[k];
		w[k] = mpq_class(d[k]) - a[k];
	}
	const mpq_class det(u[0] * (v[1] * w[2] - v[2] * w[1]) + u[1] * (v[2] * w[0] - v[0] * w[2]) +
		u[2] * (v[0] * w[1] - v[1] * w[0]));
	return sgn(det);
}

/// Orientation of cell with corner i replaced by q, exactly.
int rationalSide(const FlatMesh3& mesh, const std::vector<double>& xyz, int64_t cell, int i, const double* q)
{
	const double* p[4];
	for(int j = 0; j < 4; ++j) p[j] = &xyz[3 * static_cast<size_t>(mesh.vCorners[static_cast<size_t>(4 * cell + j)])];
	p[i] = q;
	return rationalOrientation(p[0], p[1], p[2], p[3]);
}

} // namespace

// Near-degenerate quadruples: the fourth point on the plane (or all four on
// a line) of the others up to rounding, or exactly on it (small integers
// times a power of two), then moved by single ulps. Enough of them must fool
// the plain floating-point determinant, and some must be exactly flat.
TEST(ExactOrientation, AgreesWithRationalsOnNearlyFlatInput)
{
	std::mt19937 rng(7);
	std::uniform_real_distribution<double> unit(-1.0, 1.0);
	int numFlat(0), numFooled(0);
	for(int trial = 0; trial < 6000; ++trial)
	{
		const double scale(std::ldexp(1.0, static_cast<int>(rng() % 60) - 30));
		double p[4][3];
		const int kind(trial % 3);
		for(int j = 0; j < 3; ++j)
			for(int k = 0; k < 3; ++k)
				p[j][k] = kind == 2 ? scale * static_cast<double>(static_cast<int>(rng() % 2001) - 1000) : scale * unit(rng);
		const double s(unit(rng)), t(unit(rng)), r(unit(rng));
		for(int k = 0; k < 3; ++k)
		{
			if(kind == 1) p[2][k] = p[0][k] + r * (p[1][k] - p[0][k]);
			p[3][k] = kind == 2 ? p[1][k] + p[2][k] - p[0][k] : p[0][k] + s * (p[1][k] - p[0][k]) + t * (p[2][k] - p[0][k]);
		}
		const int moved(static_cast<int>(rng() % 4)), axis(static_cast<int>(rng() % 3));
		const int ulps(static_cast<int>(rng() % 3) - 1);
		for(int u = 0; u < std::abs(ulps); ++u)
			p[moved][axis] = std::nextafter(p[moved][axis], ulps > 0 ? 2e9 : -2e9);
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

struct WalkCase
{
	const char* name;
	bool bGrid;
};

void PrintTo(const WalkCase& c, std::ostream* os) { *os << c.name; }

class FlatWalk : public ::testing::TestWithParam<WalkCase>
{
};

// Random queries, queries on vertices, edges and facets, far away and
// non-finite, on a random mesh and on a cospherical grid meshed without
// perturbation. Every answer cell must contain its query; every -1 must be
// strictly outside some hull facet (or not finite).
TEST_P(FlatWalk, AnswersContainTheQueryAndMinusOneIsOutsideTheHull)
{
	std::mt19937 rng(11);
	std::uniform_real_distribution<double> unit(0.0, 1.0);
	std::vector<double> xyz;
	const double size(GetParam().bGrid ? 5.0 : 1.0);
	if(GetParam().bGrid)
	{
		for(int i = 0; i < 216; ++i) xyz.insert(xyz.end(), {double(i % 6), double(i / 6 % 6), double(i / 36)});
	}
	else
	{
		for(int i = 0; i < 3 * 1500; ++i) xyz.push_back(unit(rng));
	}
	const int64_t numPoints(static_cast<int64_t>(xyz.size() / 3));
	FlatMesh3 mesh;
	buildParallel(xyz.data(), numPoints, 2, !GetParam().bGrid, mesh);
	ASSERT_GT(mesh.numCells(), 0);

	std::vector<double> queries;
	for(int i = 0; i < 3 * 1500; ++i) queries.push_back(-0.3 * size + 1.6 * size * unit(rng));
	for(int64_t c = 0; c < mesh.numCells(); c += 7)
	{
		const double* p[4];
		for(int j = 0; j < 4; ++j) p[j] = &xyz[3 * static_cast<size_t>(mesh.vCorners[static_cast<size_t>(4 * c + j)])];
		// A vertex, an edge midpoint and a point inside a facet (exact on the grid).
		for(int k = 0; k < 3; ++k)
			queries.insert(queries.end(), {p[0][k], 0.5 * (p[0][k] + p[1][k]), 0.25 * (p[1][k] + p[2][k]) + 0.5 * p[3][k]});
	}
	const double inf(std::numeric_limits<double>::infinity());
	queries.insert(queries.end(), {1e300, 0.5, 0.5, -1e-300, 0.5, 0.5, std::nan(""), 0.5, 0.5, 0.5, inf, 0.5});
	const int64_t numQueries(static_cast<int64_t>(queries.size() / 3));

	std::vector<int32_t> vNeighbors32(mesh.vNeighbors.begin(), mesh.vNeighbors.end());
	FlatWalk3 walk(mesh, xyz.data());
	FlatWalk3 walk32(mesh.vCorners.data(), vNeighbors32.data(), mesh.numCells(), xyz.data());
	std::vector<int64_t> vFound(static_cast<size_t>(numQueries));
	walk.locate(queries.data(), numQueries, vFound.data());
	int numOutside(0);
	for(int64_t k = 0; k < numQueries; ++k)
	{
		const double* q(&queries[3 * static_cast<size_t>(k)]);
		const int64_t cell(vFound[static_cast<size_t>(k)]);
		// The same from a scattered start, through 32-bit neighbour numbers.
		const int64_t cell32(walk32.locate(q, (k * 7919) % mesh.numCells()));
		ASSERT_EQ(cell32 == -1, cell == -1) << "query " << k;
		if(cell >= 0)
		{
			for(int i = 0; i < 4; ++i)
			{
				ASSERT_GE(rationalSide(mesh, xyz, cell, i, q), 0) << "query " << k;
				ASSERT_GE(rationalSide(mesh, xyz, cell32, i, q), 0) << "query " << k;
			}
			continue;
		}
		++numOutside;
		if(!std::isfinite(q[0]) || !std::isfinite(q[1]) || !std::isfinite(q[2])) continue;
		bool bOutside(false);
		for(int64_t c = 0; c < mesh.numCells() && !bOutside; ++c)
			for(int i = 0; i < 4 && !bOutside; ++i)
				bOutside = mesh.vNeighbors[static_cast<size_t>(4 * c + i)] < 0 && rationalSide(mesh, xyz, c, i, q) < 0;
		ASSERT_TRUE(bOutside) << "query " << k << " answered -1 inside the hull";
	}
	EXPECT_GT(numOutside, 100);
	EXPECT_EQ(vFound[static_cast<size_t>(numQueries - 3)], -1); // -1e-300: just outside the face x = 0
	EXPECT_EQ(FlatWalk3(FlatMesh3(), xyz.data()).locate(xyz.data()), -1);
}

INSTANTIATE_TEST_SUITE_P(Meshes, FlatWalk, ::testing::Values(WalkCase{"random", false}, WalkCase{"grid", true}),
	[](const ::testing::TestParamInfo<WalkCase>& info) { return std::string(info.param.name); });
