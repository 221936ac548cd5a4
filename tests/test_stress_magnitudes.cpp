// Whole meshes at magnitudes far from 1: a large offset, tiny, huge and
// subnormal coordinates, sets that mix many orders of magnitude, and
// power-of-two scaled copies. Checked with the exact invariants of the mesh
// (GMP), the convexity of its hull, coverage of the input, and for the copies
// the combinatorics of the unscaled mesh.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "ExactPredicates.h"
#include "MeshInvariants.h"
#include "RandomPoints.h"
#include "StdoutCapture.h"
#include "Vorn_3D.h"

using VORN3D::Point3;
using VORN3D::Tet3;
using VORN3D::Vorn_3D;

namespace {

// The hull is convex when it is closed (checkMesh) and no hull facet has a
// vertex of a hull facet across one of its edges strictly outside its plane.
std::string checkHullConvex(const Vorn_3D& vorn)
{
	std::vector<Tet3*> vTets;
	vorn.getTetrahedra(vTets);
	std::vector<std::array<const Point3*, 4>> vFacets; // three corners, then the inner corner
	std::map<std::pair<const Point3*, const Point3*>, std::vector<size_t>> edgeFacets;
	for(Tet3* pTet : vTets)
	{
		for(int i = 0; i < 4; ++i)
		{
			if(pTet->getOppTet(i) != nullptr) continue;
			std::array<const Point3*, 4> facet{{nullptr, nullptr, nullptr, pTet->getCorner(i)}};
			for(int k = 1; k < 4; ++k) facet[k - 1] = pTet->getCorner((i + k) % 4);
			for(int k = 0; k < 3; ++k)
				edgeFacets[std::minmax(facet[k], facet[(k + 1) % 3])].push_back(vFacets.size());
			vFacets.push_back(facet);
		}
	}
	for(const auto& entry : edgeFacets)
	{
		for(size_t f : entry.second)
		{
			const std::array<const Point3*, 4>& F(vFacets[f]);
			const int inner(vtest::exactOrientation(*F[0], *F[1], *F[2], *F[3]));
			for(size_t g : entry.second)
			{
				for(int k = 0; k < 3; ++k)
				{
					const int side(vtest::exactOrientation(*F[0], *F[1], *F[2], *vFacets[g][k]));
					if(side != 0 && side != inner) return "the hull is not convex";
				}
			}
		}
	}
	return vFacets.empty() ? "no hull" : "";
}

// Inserts the points and checks the mesh; fills vHandles.
void insertAndCheck(Vorn_3D& vorn, std::vector<Point3>& vPoints, std::vector<Point3*>& vHandles)
{
	{
		vtest::StdoutCapture quiet;
		vorn.insert(vPoints, vHandles);
	}
	vtest::MeshStats stats;
	EXPECT_EQ(vtest::checkMesh(vorn, true, &stats), "");
	EXPECT_EQ(vtest::checkInputCovered(vorn, vPoints), "");
	EXPECT_EQ(checkHullConvex(vorn), "");
	EXPECT_EQ(stats.numVertices, vtest::countDistinct(vPoints));
}

std::vector<Point3> uniformIn(size_t n, unsigned seed, double lo, double hi)
{
	std::mt19937 rng(seed);
	return vtest::randomPoints(n, rng, lo, hi);
}

// Coordinates of random sign whose decimal order is uniform in [lo, hi].
std::vector<Point3> mixedOrders(size_t n, unsigned seed, double lo, double hi)
{
	std::mt19937 rng(seed);
	std::uniform_real_distribution<double> order(lo, hi);
	auto value = [&]() { return (rng() % 2 ? 1.0 : -1.0) * std::pow(10.0, order(rng)); };
	std::vector<Point3> v;
	for(size_t i = 0; i < n; ++i) v.push_back(Point3(value(), value(), value()));
	return v;
}

// Uniform points in [0, 1)^3, each coordinate rounded to 30 bits, times
// 2^shift: exact for every shift down to -1044 (multiples of 2^-1074).
std::vector<Point3> scaledGrid(size_t n, unsigned seed, int shift)
{
	std::vector<Point3> v(vtest::randomPoints(n, seed));
	for(Point3& p : v)
	{
		auto snap = [shift](double c) { return std::ldexp(std::floor(std::ldexp(c, 30)), shift - 30); };
		p = Point3(snap(p.x()), snap(p.y()), snap(p.z()));
	}
	return v;
}

struct Family
{
	const char* name;
	std::vector<Point3> (*make)();
};

const Family aFamily[] = {
	{"offset1e8", [] { return uniformIn(1000, 1u, 1e8, 1e8 + 1.0); }},
	{"near1e150", [] { return uniformIn(1000, 2u, 1e150, 2e150); }},
	{"near1em150", [] { return uniformIn(1000, 3u, 1e-150, 2e-150); }},
	{"near1e300", [] { return uniformIn(1000, 4u, 1e300, 1.7e300); }},
	{"near1em300", [] { return uniformIn(1000, 5u, -1e-300, 1e-300); }},
	{"subnormal", [] { return scaledGrid(1000, 6u, -1044); }},
	{"mixed1e30", [] { return mixedOrders(1000, 7u, -30.0, 30.0); }},
	{"mixedAll", [] { return mixedOrders(100, 8u, -320.0, 308.2); }},
};

class MagnitudeFamily : public ::testing::TestWithParam<Family>
{
};

} // namespace

TEST_P(MagnitudeFamily, GivesTheExactDelaunayMesh)
{
	std::vector<Point3> vPoints(GetParam().make());
	Vorn_3D vorn;
	std::vector<Point3*> vHandles;
	insertAndCheck(vorn, vPoints, vHandles);
}

INSTANTIATE_TEST_SUITE_P(Stress, MagnitudeFamily, ::testing::ValuesIn(aFamily),
	[](const ::testing::TestParamInfo<Family>& info) { return std::string(info.param.name); });

// Scaling by a power of two keeps every predicate sign, so the scaled set
// has the same (unique, for points in general position) Delaunay mesh: the
// same cells as sets of input positions.
TEST(ScaledCopy, HasTheCellsOfTheUnscaledSet)
{
	auto cellsOf = [](int shift) {
		std::vector<Point3> vPoints(scaledGrid(500, 9u, shift));
		Vorn_3D vorn;
		std::vector<Point3*> vHandles;
		insertAndCheck(vorn, vPoints, vHandles);
		std::map<const Point3*, size_t> position;
		for(size_t i = 0; i < vHandles.size(); ++i) position.emplace(vHandles[i], i);
		std::vector<Tet3*> vTets;
		vorn.getTetrahedra(vTets);
		std::vector<std::array<size_t, 4>> vCells;
		for(Tet3* pTet : vTets)
		{
			std::array<size_t, 4> cell;
			for(int i = 0; i < 4; ++i) cell[i] = position.at(pTet->getCorner(i));
			std::sort(cell.begin(), cell.end());
			vCells.push_back(cell);
		}
		std::sort(vCells.begin(), vCells.end());
		return vCells;
	};
	const std::vector<std::array<size_t, 4>> vReference(cellsOf(0));
	for(int shift : {-1044, -700, 990}) EXPECT_EQ(cellsOf(shift), vReference) << "shift " << shift;
}

// A mesh in the ordinary range answers queries, and takes single points,
// whose coordinates are tiny, subnormal or huge.
TEST(OrdinaryMesh, LocatesAndInsertsPointsOfAnyMagnitude)
{
	std::vector<Point3> vPoints(uniformIn(800, 10u, -1.0, 1.0));
	Vorn_3D vorn;
	std::vector<Point3*> vHandles;
	insertAndCheck(vorn, vPoints, vHandles);
	const std::vector<Point3> vQuery(mixedOrders(60, 11u, -330.0, -100.0));
	for(const Point3& q : vQuery)
	{
		const Tet3* pTet(vorn.locate(q));
		ASSERT_NE(pTet, nullptr);
		// q inside or on the cell: replacing any corner by q keeps the sign.
		std::array<const Point3*, 4> aCorner{{pTet->getCorner(0), pTet->getCorner(1), pTet->getCorner(2), pTet->getCorner(3)}};
		const int cellSign(vtest::exactOrientation(*aCorner[0], *aCorner[1], *aCorner[2], *aCorner[3]));
		for(int i = 0; i < 4; ++i)
		{
			std::array<const Point3*, 4> aWithQ(aCorner);
			aWithQ[i] = &q;
			const int sign(vtest::exactOrientation(*aWithQ[0], *aWithQ[1], *aWithQ[2], *aWithQ[3]));
			EXPECT_TRUE(sign == 0 || sign == cellSign);
		}
	}
	EXPECT_EQ(vorn.locate(Point3(1e300, 0.0, 0.0)), nullptr);
	std::vector<Point3> vAll(vPoints);
	std::vector<Point3> vSingles(vQuery);
	vSingles.push_back(Point3(1e300, -1e-300, 0.5));
	for(Point3& p : vSingles)
	{
		vtest::StdoutCapture quiet;
		vorn.insert(p);
		vAll.push_back(p);
	}
	EXPECT_EQ(vtest::checkMesh(vorn), "");
	EXPECT_EQ(vtest::checkInputCovered(vorn, vAll), "");
	EXPECT_EQ(checkHullConvex(vorn), "");
}
