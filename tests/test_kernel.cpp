// The kernel against oracles that share none of its code: brute-force
// Delaunay on small sets, and the structural and exact invariants of the mesh
// on families of degenerate and adversarial input; then its queries, its
// messages and its validity check on meshes corrupted by hand.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <functional>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "BruteForceDelaunay.h"
#include "Dt3.h"
#include "ExactPredicates.h"
#include "MeshInvariants.h"
#include "RandomPoints.h"
#include "StdoutCapture.h"
#include "TextFile.h"
#include "Vorn_3D.h"

using namespace VORN3D;
using vtest::randomPoints;

namespace {

std::vector<Point3> grid(int nx, int ny, int nz, double step = 1.0)
{
	std::vector<Point3> v;
	for(int i = 0; i < nx; ++i)
		for(int j = 0; j < ny; ++j)
			for(int k = 0; k < nz; ++k) v.push_back(Point3(i * step, j * step, k * step));
	return v;
}

std::vector<Point3> onSphere(int n, unsigned seed)
{
	std::mt19937 rng(seed);
	std::normal_distribution<double> dist(0.0, 1.0);
	std::vector<Point3> v;
	for(int i = 0; i < n; ++i)
	{
		const double x(dist(rng)), y(dist(rng)), z(dist(rng)), r(std::sqrt(x * x + y * y + z * z));
		v.push_back(Point3(x / r, y / r, z / r));
	}
	return v;
}

// The cells as sorted quadruples of input indices.
std::vector<std::array<int, 4>> cellsAsIndices(const Vorn_3D& vorn, const std::vector<Point3*>& vHandles)
{
	std::map<const Point3*, int> mIndex;
	for(size_t i = 0; i < vHandles.size(); ++i) mIndex.emplace(vHandles[i], int(i));
	std::vector<Tet3*> vTets;
	vorn.getTetrahedra(vTets);
	std::vector<std::array<int, 4>> vResult;
	for(const Tet3* pTet : vTets)
	{
		std::array<int, 4> q;
		for(int i = 0; i < 4; ++i) q[i] = mIndex.at(pTet->getCorner(i));
		std::sort(q.begin(), q.end());
		vResult.push_back(q);
	}
	std::sort(vResult.begin(), vResult.end());
	return vResult;
}

// A sequence of insertions: each step is one bulk call, or single calls when
// bSingle. The expected vertex count is that of the distinct points.
struct Scenario
{
	friend void PrintTo(const Scenario& s, std::ostream* os) { *os << s.name; }
	const char* name;
	std::function<std::vector<std::vector<Point3>>()> make;
	bool bSingle;
};

} // namespace

TEST(BruteForce, SmallRandomSetsBulkAndSingly)
{
	std::mt19937 rng(20240611);
	for(int round = 0; round < 60; ++round)
	{
		const size_t n(5 + size_t(round) % 36);
		std::vector<Point3> vPoints(randomPoints(n, rng, -10.0, 10.0));
		std::vector<std::array<int, 4>> vExpected(vtest::bruteForceDelaunay(vPoints));
		std::sort(vExpected.begin(), vExpected.end());
		Vorn_3D vorn;
		std::vector<Point3*> vHandles;
		vtest::StdoutCapture quiet;
		if(round % 3 == 0 && n >= 8)
		{
			// A first bulk of six, then single insertions.
			std::vector<Point3> vFirst(vPoints.begin(), vPoints.begin() + 6);
			vorn.insert(vFirst, vHandles);
			for(size_t i = 6; i < n; ++i) vHandles.push_back(vorn.insert(vPoints[i]));
		}
		else
		{
			vorn.insert(vPoints, vHandles);
		}
		ASSERT_EQ(vHandles.size(), n);
		ASSERT_EQ(cellsAsIndices(vorn, vHandles), vExpected) << "round " << round << ", n=" << n;
	}
}

class MeshFamily : public ::testing::TestWithParam<Scenario>
{
};

TEST_P(MeshFamily, IsAValidDelaunayMeshOfTheDistinctInputPoints)
{
	Vorn_3D vorn;
	std::vector<Point3> vAll;
	for(std::vector<Point3>& vStep : GetParam().make())
	{
		vtest::StdoutCapture quiet;
		if(GetParam().bSingle)
			for(Point3& p : vStep) vorn.insert(p);
		else vorn.insert(vStep);
		vAll.insert(vAll.end(), vStep.begin(), vStep.end());
	}
	vtest::MeshStats stats;
	std::string fault, coverage;
	{
		vtest::StdoutCapture quiet;
		fault = vtest::checkMesh(vorn, true, &stats);
		coverage = vtest::checkInputCovered(vorn, vAll);
		EXPECT_TRUE(vorn.checkValidity("family", true));
	}
	EXPECT_EQ(fault, "");
	EXPECT_EQ(coverage, "");
	EXPECT_EQ(stats.numVertices, vtest::countDistinct(vAll));
}

using Steps = std::vector<std::vector<Point3>>;

std::vector<Point3> shuffled(std::vector<Point3> v, unsigned seed)
{
	std::shuffle(v.begin(), v.end(), std::mt19937(seed));
	return v;
}

std::vector<Point3> withCopies(std::vector<Point3> v, size_t numCopies)
{
	v.insert(v.end(), v.begin(), v.begin() + long(numCopies));
	return shuffled(v, 1);
}

std::vector<Point3> twoPlanes()
{
	std::vector<Point3> v(grid(10, 10, 1));
	for(const Point3& p : grid(7, 7, 1, 1.5)) v.push_back(Point3(p.x() + 0.3, p.y() + 0.1, 5.0));
	return v;
}

INSTANTIATE_TEST_SUITE_P(Families, MeshFamily,
	::testing::Values(Scenario{"random3000", [] { return Steps{randomPoints(3000, 1)}; }, false},
		Scenario{"threeBulkCalls", [] { return Steps{randomPoints(500, 2), randomPoints(20, 3, 3.0), randomPoints(700, 4)}; }, false},
		Scenario{"singlesOnly", [] { return Steps{randomPoints(400, 5, 2.0)}; }, true},
		Scenario{"singlesAfterBulk", [] { return Steps{randomPoints(5, 6), randomPoints(300, 7, 3.0)}; }, true},
		Scenario{"integerGrid", [] { return Steps{grid(9, 9, 9)}; }, false},
		Scenario{"flatAndThinGrids", [] { return Steps{grid(12, 12, 1), grid(2, 12, 12, 0.5), grid(30, 2, 2, 0.25)}; }, false},
		Scenario{"gridSingly", [] { return Steps{shuffled(grid(5, 5, 5, 0.5), 2)}; }, true},
		Scenario{"sphereWithCentre", [] { return Steps{onSphere(400, 3), {Point3(0, 0, 0)}}; }, false},
		Scenario{"twoParallelPlanes", [] { return Steps{twoPlanes()}; }, false},
		Scenario{"coplanarThenLift", [] { return Steps{grid(8, 8, 1), {Point3(3.5, 3.5, 1.0)}, grid(3, 3, 1, 2.0)}; }, false},
		Scenario{"collinearAndDuplicatesFirst",
			[] { return Steps{grid(20, 1, 1), grid(20, 1, 1), {Point3(1, 1, 0), Point3(1, 1, 1), Point3(1, 1, 1)}, randomPoints(100, 8, 20.0)}; },
			false},
		Scenario{"halfDuplicates", [] { return Steps{withCopies(randomPoints(1000, 9), 500), randomPoints(500, 9)}; }, false},
		Scenario{"duplicatesSingly", [] { return Steps{withCopies(randomPoints(150, 10), 40)}; }, true},
		Scenario{"sortedAlongX",
			[] {
				std::vector<Point3> v(randomPoints(2000, 11));
				std::sort(v.begin(), v.end());
				return Steps{v};
			},
			false}),
	[](const ::testing::TestParamInfo<Scenario>& info) { return std::string(info.param.name); });

// ---------------------------------------------------------------- queries

struct Mesh
{
	Vorn_3D vorn;
	std::vector<Point3> vInput;
	std::vector<Point3*> vHandles;
	std::vector<Tet3*> vTets;
	explicit Mesh(std::vector<Point3> v): vInput(std::move(v))
	{
		vtest::StdoutCapture quiet;
		vorn.insert(vInput, vHandles);
		vorn.getTetrahedra(vTets);
	}
};

// Points with even integer coordinates: midpoints and centroids stay exact.
std::vector<Point3> evenIntegerPoints(int n, unsigned seed)
{
	std::mt19937 rng(seed);
	std::uniform_int_distribution<int> dist(0, 40);
	std::vector<Point3> v;
	for(int i = 0; i < n; ++i) v.push_back(Point3(2 * dist(rng), 2 * dist(rng), 2 * dist(rng)));
	return v;
}

TEST(Queries, LocateInsideOnVertexEdgeFacetAndOutside)
{
	Mesh mesh(evenIntegerPoints(400, 21));
	int numInteriorFacets(0), numHullFacets(0);
	for(size_t t = 0; t < mesh.vTets.size(); t += 5)
	{
		Tet3* pTet(mesh.vTets[t]);
		const Point3 &a(*pTet->getCorner(0)), &b(*pTet->getCorner(1)), &c(*pTet->getCorner(2)), &d(*pTet->getCorner(3));
		const Point3 inside((a.x() + b.x() + c.x() + d.x()) / 4, (a.y() + b.y() + c.y() + d.y()) / 4,
			(a.z() + b.z() + c.z() + d.z()) / 4);
		EXPECT_EQ(mesh.vorn.locate(inside), pTet);
		Tet3* pAtCorner(mesh.vorn.locate(b));
		ASSERT_NE(pAtCorner, nullptr);
		EXPECT_TRUE(pAtCorner->hasVertex(b));
		// Centroid of facet 0: one of the two cells, or nothing on the hull.
		const Point3 onFacet((b.x() + c.x() + d.x()) / 3, (b.y() + c.y() + d.y()) / 3, (b.z() + c.z() + d.z()) / 3);
		if(vtest::exactOrientation(b, c, d, onFacet) != 0) continue;
		Tet3* pAtFacet(mesh.vorn.locate(onFacet));
		if(pTet->getOppTet(0) == nullptr)
		{
			EXPECT_EQ(pAtFacet, nullptr);
			++numHullFacets;
		}
		else
		{
			EXPECT_TRUE(pAtFacet == pTet || pAtFacet == pTet->getOppTet(0));
			++numInteriorFacets;
		}
	}
	EXPECT_GT(numInteriorFacets, 0);
	EXPECT_GT(numHullFacets, 0);
	EXPECT_EQ(mesh.vorn.locate(Point3(1e6, 0.0, 0.0)), nullptr);
	EXPECT_EQ(mesh.vorn.locate(Point3(NAN, 0.0, 0.0)), nullptr);
	EXPECT_EQ(mesh.vorn.locate(Point3(0.0, 0.0, INFINITY)), nullptr);
	Vorn_3D empty;
	EXPECT_EQ(empty.locate(Point3(0.0, 0.0, 0.0)), nullptr);
	EXPECT_FALSE(empty.is3D());
}

// Stars against a filter over all cells, also one too large for the linear
// search (the centre of points on a sphere); all cells against a plain walk.
TEST(Queries, StarsAndAllCellsAgreeWithIndependentWalks)
{
	std::vector<Point3> v(onSphere(300, 3));
	v.push_back(Point3(0, 0, 0));
	for(const Point3& p : randomPoints(200, 4, 0.5)) v.push_back(p);
	Mesh mesh(v);
	std::set<Tet3*> sSeen{mesh.vTets[0]};
	std::vector<Tet3*> vQueue{mesh.vTets[0]};
	for(size_t i = 0; i < vQueue.size(); ++i)
		for(int j = 0; j < 4; ++j)
			if(vQueue[i]->getOppTet(j) != nullptr && sSeen.insert(vQueue[i]->getOppTet(j)).second)
				vQueue.push_back(vQueue[i]->getOppTet(j));
	EXPECT_EQ(mesh.vTets, std::vector<Tet3*>(sSeen.begin(), sSeen.end()));
	size_t largest(0);
	for(size_t k = 0; k < mesh.vHandles.size(); k += 7)
	{
		Point3* pVtx(k < 300 ? mesh.vHandles[k] : mesh.vHandles[300]);
		std::vector<Tet3*> vStar, vFiltered;
		mesh.vorn.getTetsAroundVertex(pVtx, vStar);
		for(Tet3* pTet : mesh.vTets)
			if(pTet->hasVertex(pVtx)) vFiltered.push_back(pTet);
		EXPECT_EQ(vStar, vFiltered);
		largest = std::max(largest, vStar.size());
	}
	EXPECT_GT(largest, 100u);
	// A vertex that is no corner is reported.
	Vorn_3D flat;
	std::vector<Point3> vLine = {Point3(0, 0, 0), Point3(1, 0, 0), Point3(2, 0, 0)};
	std::vector<Point3*> vHandles;
	std::vector<Tet3*> vStar;
	vtest::StdoutCapture capture;
	flat.insert(vLine, vHandles);
	flat.getTetsAroundVertex(vHandles[0], vStar);
	EXPECT_EQ(capture.str(), "numPoints=3\n\n      Dt3::getTetsAroundVertex(), ERROR: pVtx does not belong to the triangulation\n");
	EXPECT_TRUE(vStar.empty());
}

// ------------------------------------------------------------- messages

TEST(Messages, InsertionReportsWarningsAndTheFirstCell)
{
	Vorn_3D vorn;
	std::vector<Point3> v(evenIntegerPoints(20, 41)), v2(evenIntegerPoints(5, 42)), vNone;
	std::vector<Point3*> vHandles, vNoHandles;
	std::vector<Tet3*> vTets;
	{
		vtest::StdoutCapture capture;
		vorn.getTetrahedra(vTets);
		EXPECT_EQ(capture.str(), "Dt3::getAllTetrahedra(), oneTet==NULL\n");
	}
	{
		vtest::StdoutCapture capture;
		vorn.insert(v, vHandles);
		vorn.insert(v2, vHandles);
		vorn.setVerbosity(true);
		vorn.insert(vNone, vNoHandles);
		vorn.setVerbosity(false);
		EXPECT_EQ(capture.str(), "numPoints=20\n\n      Dt3::insert(), WARNING: vUserHandles is not empty as it should be\n"
								 "numPoints=5\nDt3::insert(vector,vector) has been called\nnumPoints=0\n");
		EXPECT_EQ(vHandles.size(), 5u);
	}
	// Four coplanar points are held quietly; the fifth builds the first cell.
	Vorn_3D single;
	std::vector<Point3> w = {Point3(0, 0, 0), Point3(1, 0, 0), Point3(0, 1, 0), Point3(1, 1, 0), Point3(0, 0, 1)};
	vtest::StdoutCapture capture;
	for(Point3& p : w) single.insert(p);
	EXPECT_EQ(capture.str(), "Attention: triangulate has got an empty vector\n");
	EXPECT_TRUE(single.is3D());
	single.getTetrahedra(vTets);
	EXPECT_EQ(vTets.size(), 1u);
	// A failed condition reaches the caller.
	EXPECT_THROW(single.getTetrahedra(vTets), VornException);
	EXPECT_NE(capture.str().find("Condition [ vTet.empty() failed ]"), std::string::npos);
}

TEST(Messages, NonFiniteCoordinatesAreRejectedWithoutLoss)
{
	Mesh mesh(evenIntegerPoints(200, 61));
	const double bad[3] = {NAN, INFINITY, -INFINITY};
	for(int k = 0; k < 3; ++k)
	{
		std::vector<Point3> vInput(evenIntegerPoints(30, 62));
		vInput[17] = Point3(k == 0 ? bad[k] : 1.0, k == 1 ? bad[k] : 2.0, k == 2 ? bad[k] : 3.0);
		std::vector<Point3*> vHandles(3, mesh.vHandles[0]);
		{
			vtest::StdoutCapture capture;
			EXPECT_THROW(mesh.vorn.insert(vInput, vHandles), VornException);
			EXPECT_THROW(mesh.vorn.insert(vInput[17]), VornException);
			EXPECT_EQ(capture.str(), "\n      Dt3::insert(), ERROR: non-finite coordinate in input point 17\n"
									 "\n      Dt3::insert(), ERROR: non-finite coordinate in input point 0\n");
		}
		EXPECT_EQ(vHandles, std::vector<Point3*>(3, mesh.vHandles[0]));
		std::vector<Tet3*> vTets;
		mesh.vorn.getTetrahedra(vTets);
		EXPECT_EQ(vTets, mesh.vTets);
	}
	EXPECT_EQ(vtest::checkMesh(mesh.vorn), "");
}

// ---------------------------------------------------------- kernel parts

// The walk's codes on one cell: -1 inside, -2 on a corner, else the hull
// facet that sees the point (on a hull facet's plane: that facet).
TEST(Kernel, WalkCodesOnOneCell)
{
	Dt3 dt(nullptr);
	std::vector<Point3> v = {Point3(0, 0, 0), Point3(4, 0, 0), Point3(0, 4, 0), Point3(0, 0, 4)};
	std::vector<Point3*> vHandles;
	std::vector<Tet3*> vTets;
	{
		vtest::StdoutCapture quiet;
		dt.insert(v, vHandles);
		dt.getAllTetrahedra(vTets);
	}
	Tet3* pTet(vTets.at(0));
	const Point3 inside(1, 1, 1);
	EXPECT_EQ(dt.locateConflictTet(&inside, pTet), -1);
	for(Point3* pCorner : vHandles)
	{
		const Point3 copy(*pCorner);
		pTet = vTets[0];
		EXPECT_EQ(dt.locateConflictTet(&copy, pTet), -2);
	}
	for(const Point3& outside : {Point3(-1, 1, 1), Point3(1, -1, 1), Point3(1, 1, -1), Point3(3, 3, 3)})
	{
		pTet = vTets[0];
		const int code(dt.locateConflictTet(&outside, pTet));
		ASSERT_GE(code, 0);
		int a, b, c;
		pTet->getFacetIndices(code, a, b, c);
		const Point3 &pa(*pTet->getCorner(a)), &pb(*pTet->getCorner(b)), &pc(*pTet->getCorner(c));
		EXPECT_EQ(vtest::exactOrientation(pa, pb, pc, *pTet->getCorner(code)), -1);
		EXPECT_GE(vtest::exactOrientation(pa, pb, pc, outside), 0);
	}
	// In the plane of the hull facet z = 0: that facet; on a hull edge: one
	// of the two hull facets at it.
	for(const Point3& onHull : {Point3(1, 1, 0), Point3(2, 0, 0)})
	{
		pTet = vTets[0];
		const int code(dt.locateConflictTet(&onHull, pTet));
		ASSERT_GE(code, 0);
		const Point3 opposite(*pTet->getCorner(code));
		EXPECT_TRUE(opposite == Point3(0, 0, 4) || (onHull.y() == 0 && opposite == Point3(0, 4, 0)));
	}
}

// Points on growing shells, each outside the current hull: the facet table
// is empty after every insertion, the mesh stays valid.
TEST(Kernel, FacetPairingTableIsEmptyAfterEveryInsertionOutsideTheHull)
{
	Dt3 dt(nullptr);
	std::vector<Point3*> vHandles;
	std::vector<Point3> v(randomPoints(50, 11));
	vtest::StdoutCapture quiet;
	dt.insert(v, vHandles);
	std::vector<Point3> vShell(onSphere(300, 12));
	for(int i = 0; i < 300; ++i)
	{
		const double r(2.0 + 0.01 * i);
		dt.insert(Point3(0.5 + r * vShell[i].x(), 0.5 + r * vShell[i].y(), 0.5 + r * vShell[i].z()));
		ASSERT_EQ(dt.getNumFilledBuckets(), 0u) << "insertion " << i;
		ASSERT_EQ(dt.getNumStoredTCS(), 0);
	}
	EXPECT_EQ(vtest::checkMesh(dt), "");
}

// ------------------------------------------------------- validity check

namespace {

size_t countOf(const std::string& text, const std::string& what)
{
	size_t n(0);
	for(size_t pos = text.find(what); pos != std::string::npos; pos = text.find(what, pos + 1)) ++n;
	return n;
}

// Five points whose Delaunay mesh is three cells around the edge de, rebuilt
// by hand as the non-Delaunay pair abcd, acbe across the facet abc (the third
// cell leaves the way the kernel removes cells: flagged as visited).
struct FlippedPair
{
	Dt3 dt;
	std::vector<Point3*> v;
	Tet3* pT1;
	Tet3* pT2;
	FlippedPair(): dt(nullptr)
	{
		std::vector<Point3> vIn = {Point3(0, 0, 0), Point3(4, 0, 0), Point3(0, 4, 0), Point3(1, 1, 1), Point3(1, 1, -1)};
		std::vector<Tet3*> vTets;
		vtest::StdoutCapture quiet;
		dt.insert(vIn, v);
		EXPECT_TRUE(dt.checkValidity("three", true, true));
		dt.getAllTetrahedra(vTets);
		pT1 = vTets.at(0);
		pT2 = vTets.at(1);
		vTets.at(2)->hasBeenVisited = true;
		pT1->setProperties(v[0], v[1], v[2], v[3]);
		pT2->setProperties(v[0], v[2], v[1], v[4]);
		pT1->setOppTet(3, pT2);
		pT2->setOppTet(3, pT1);
	}
	// The name the next fault file gets (asking uses a number up).
	std::string nextFile(const std::string& name) const
	{
		char buffer[16];
		snprintf(buffer, sizeof(buffer), "%05d_", std::stoi(Dt3::nextFileNumber()) + 1);
		return buffer + name;
	}
};

} // namespace

TEST(CheckValidity, NonDelaunayPairFailsOnlyWithTheSphereTest)
{
	FlippedPair pair;
	{
		vtest::StdoutCapture quiet;
		EXPECT_TRUE(pair.dt.checkValidity("two", true, false));
	}
	const std::string fileName(pair.nextFile("sphereIncBug.list"));
	vtest::StdoutCapture capture;
	EXPECT_FALSE(pair.dt.checkValidity("two", true, true));
	EXPECT_NE(capture.str().find("checkValidity: ERROR ERROR ERROR"), std::string::npos);
	EXPECT_NE(capture.str().find("Dt3::checkValidity, HUH - sphereIncTest failed: "), std::string::npos);
	const std::string scene(vtest::readFile(fileName));
	EXPECT_EQ(countOf(scene, "OFF"), 4u);
	EXPECT_EQ(countOf(scene, "1 1 1 0.5"), 1u);
	EXPECT_EQ(countOf(scene, "SPHERE "), 1u);
	std::remove(fileName.c_str());
	// Through the facade, the flag switches both tests.
	Vorn_3D vorn;
	std::vector<Point3> v(randomPoints(100, 5));
	vorn.insert(v);
	EXPECT_TRUE(vorn.checkValidity("facade", true));
	EXPECT_NE(capture.str().find("   with --checkSphereInc\n"), std::string::npos);
}

TEST(CheckValidity, NeighbourOnTheWrongSideOrInThePlaneFails)
{
	for(bool bCoplanar : {false, true})
	{
		FlippedPair pair;
		// The far corner of pT2 becomes d (on pT1's own side) or a point in
		// the plane of abc.
		Point3 flat(1, 1, 0);
		pair.pT2->setCorner(3, bCoplanar ? &flat : pair.v[3]);
		const std::string fileName(pair.nextFile("negSideBug.list"));
		vtest::StdoutCapture capture;
		EXPECT_FALSE(pair.dt.checkValidity("wrong side", true, false));
		const std::string out(capture.str());
		EXPECT_NE(out.find("ERROR: checkValidity at [wrong side]"), std::string::npos);
		EXPECT_NE(out.find(bCoplanar ? "checkValidity: coplanar\n" : "checkValidity: positive\n"), std::string::npos);
		EXPECT_NE(out.find("  Dt3::show(): vTets.size()=2\n"), std::string::npos);
		EXPECT_EQ(countOf(vtest::readFile(fileName), "OFF"), 8u);
		std::remove(fileName.c_str());
	}
	FlippedPair pair;
	pair.pT1->hasBeenVisited = true;
	vtest::StdoutCapture capture;
	EXPECT_THROW(pair.dt.checkValidity("dirty", true, true), VornException);
	EXPECT_NE(capture.str().find("\n      Dt3::CheckValidity(), ERROR: pcurrentTet->hasBeenvisited=true\n"), std::string::npos);
}

TEST(CheckValidity, FirstFaultFileOfAProcessIsNumberedZero)
{
	GTEST_FLAG_SET(death_test_style, "threadsafe");
	EXPECT_EXIT(
		{
			FlippedPair pair;
			std::remove("00000_sphereIncBug.list");
			bool bPassed;
			{
				vtest::StdoutCapture quiet;
				bPassed = pair.dt.checkValidity("fresh", true, true);
			}
			const bool bFound(!vtest::readFile("00000_sphereIncBug.list").empty());
			std::remove("00000_sphereIncBug.list");
			exit(!bPassed && bFound ? 0 : 1);
		},
		::testing::ExitedWithCode(0), "");
}
