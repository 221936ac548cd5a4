// The triangulation through its public façade only: handles, point location,
// the star of a vertex, exceptions reaching the caller, the messages whose
// text is fixed, and rejection of non-finite input without any loss.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "ExactPredicates.h"
#include "MeshInvariants.h"
#include "StdoutCapture.h"
#include "Vorn_3D.h"

using VORN3D::Point3;
using VORN3D::Tet3;
using VORN3D::Vorn_3D;

namespace {

// Random points with coordinates that are multiples of 6: midpoints of edges
// and centroids of facets are exact, so queries there are exactly on them.
std::vector<Point3> evenIntegerPoints(size_t n, unsigned seed)
{
	std::mt19937 rng(seed);
	std::uniform_int_distribution<int> dist(-500, 500);
	std::vector<Point3> v;
	for(size_t i = 0; i < n; ++i) v.push_back(Point3(6.0 * dist(rng), 6.0 * dist(rng), 6.0 * dist(rng)));
	return v;
}

// True when q lies in the closed cell (exactly).
bool cellContains(const Tet3* pTet, const Point3& q)
{
	const Point3& a(*pTet->getCorner(0));
	const Point3& b(*pTet->getCorner(1));
	const Point3& c(*pTet->getCorner(2));
	const Point3& d(*pTet->getCorner(3));
	// Each sub-cell with q in place of one corner must not be negative.
	return vtest::exactOrientation(q, b, c, d) >= 0 && vtest::exactOrientation(a, q, c, d) >= 0 &&
		vtest::exactOrientation(a, b, q, d) >= 0 && vtest::exactOrientation(a, b, c, q) >= 0;
}

struct Mesh
{
	Vorn_3D vorn;
	std::vector<Point3> vPoints;
	std::vector<Point3*> vHandles;
	std::vector<Tet3*> vTets;
	explicit Mesh(std::vector<Point3> v): vPoints(std::move(v))
	{
		vtest::StdoutCapture quiet;
		vorn.insert(vPoints, vHandles);
		vorn.getTetrahedra(vTets);
	}
};

} // namespace

TEST(Handles, BulkHandlesFollowInputOrderAndShareDuplicates)
{
	std::vector<Point3> v = {Point3(0, 0, 0), Point3(1, 0, 0), Point3(0, 1, 0), Point3(0, 0, 1), Point3(1, 0, 0),
		Point3(1, 1, 1), Point3(0, 0, 0)};
	Vorn_3D vorn;
	std::vector<Point3*> vHandles;
	{
		vtest::StdoutCapture quiet;
		vorn.insert(v, vHandles);
	}
	ASSERT_EQ(vHandles.size(), v.size());
	for(size_t i = 0; i < v.size(); ++i) EXPECT_EQ(*vHandles[i], v[i]) << i;
	EXPECT_EQ(vHandles[1], vHandles[4]);
	EXPECT_EQ(vHandles[0], vHandles[6]);
	std::vector<Point3*> vVertices;
	vorn.getVertices(vVertices);
	EXPECT_EQ(vVertices.size(), 5u);

	// A single insertion of a stored point returns the old vertex; the mesh
	// does not change.
	std::vector<Tet3*> vBefore, vAfter;
	vorn.getTetrahedra(vBefore);
	Point3 again(1.0, 1.0, 1.0);
	EXPECT_EQ(vorn.insert(again), vHandles[5]);
	vorn.getTetrahedra(vAfter);
	EXPECT_EQ(vBefore.size(), vAfter.size());
	vVertices.clear();
	vorn.getVertices(vVertices);
	EXPECT_EQ(vVertices.size(), 5u);

	// A new point gets a new vertex with its coordinates that is a corner.
	Point3 fresh(0.25, 0.25, 0.25);
	Point3* pFresh(vorn.insert(fresh));
	EXPECT_EQ(*pFresh, fresh);
	ASSERT_NE(pFresh->getOneTet(), nullptr);
	EXPECT_TRUE(pFresh->getOneTet()->hasVertex(pFresh));
}

TEST(Handles, InsertWithoutHandleVectorAndVertexPointersOutliveInsertions)
{
	std::vector<Point3> v(evenIntegerPoints(300, 11));
	Vorn_3D vorn;
	Point3 first(3.0, 5.0, 7.0);
	Point3* pFirst;
	{
		vtest::StdoutCapture quiet;
		pFirst = vorn.insert(first);
		vorn.insert(v);
	}
	// The vertex handed out before the bulk call is still the same vertex.
	EXPECT_EQ(*pFirst, first);
	std::vector<Point3*> vVertices;
	vorn.getVertices(vVertices);
	EXPECT_NE(std::find(vVertices.begin(), vVertices.end(), pFirst), vVertices.end());
	EXPECT_EQ(vVertices.size(), vtest::countDistinct(v) + 1);
}

TEST(Locate, InsideOnFacetOnEdgeOnVertexOutsideAndEmpty)
{
	Mesh mesh(evenIntegerPoints(400, 21));
	ASSERT_FALSE(mesh.vTets.empty());

	int numInteriorEdges(0), numHullEdges(0), numInteriorFacets(0);
	for(size_t t = 0; t < mesh.vTets.size(); t += 7)
	{
		const Tet3* pTet(mesh.vTets[t]);
		const Point3& a(*pTet->getCorner(0));
		const Point3& b(*pTet->getCorner(1));
		const Point3& c(*pTet->getCorner(2));
		const Point3& d(*pTet->getCorner(3));

		// Strictly inside: the weighted centre is inside exactly this cell.
		const Point3 inside((a.x() + b.x() + c.x() + d.x()) / 4, (a.y() + b.y() + c.y() + d.y()) / 4,
			(a.z() + b.z() + c.z() + d.z()) / 4);
		if(vtest::exactOrientation(inside, b, c, d) > 0 && vtest::exactOrientation(a, inside, c, d) > 0 &&
			vtest::exactOrientation(a, b, inside, d) > 0 && vtest::exactOrientation(a, b, c, inside) > 0)
		{
			EXPECT_EQ(mesh.vorn.locate(inside), pTet);
		}

		// A corner: some cell that has it as a corner.
		Tet3* pAtCorner(mesh.vorn.locate(b));
		ASSERT_NE(pAtCorner, nullptr);
		EXPECT_TRUE(pAtCorner->hasVertex(b));

		// The midpoint of edge (a, b), exact. Inside
		// the hull a cell holding it comes back, on the hull nothing.
		const Point3 mid((a.x() + b.x()) / 2, (a.y() + b.y()) / 2, (a.z() + b.z()) / 2);
		Tet3* pAtEdge(mesh.vorn.locate(mid));
		// An edge is on the hull when some hull facet holds both ends.
		bool bHullEdge(false);
		for(const Tet3* pOther : mesh.vTets)
		{
			if(!pOther->hasVertex(pTet->getCorner(0)) || !pOther->hasVertex(pTet->getCorner(1))) continue;
			for(int i = 0; i < 4; ++i)
			{
				if(pOther->getOppTet(i) == nullptr && pOther->getCorner(i) != pTet->getCorner(0) &&
					pOther->getCorner(i) != pTet->getCorner(1))
				{
					bHullEdge = true;
				}
			}
		}
		if(bHullEdge)
		{
			EXPECT_EQ(pAtEdge, nullptr);
			++numHullEdges;
		}
		else
		{
			ASSERT_NE(pAtEdge, nullptr);
			EXPECT_TRUE(cellContains(pAtEdge, mid));
			++numInteriorEdges;
		}

		// The centroid of facet 0 (b, c, d): on an interior
		// facet one of the two cells, on a hull facet nothing.
		const double fx((b.x() + c.x() + d.x()) / 3), fy((b.y() + c.y() + d.y()) / 3), fz((b.z() + c.z() + d.z()) / 3);
		const Point3 onFacet(fx, fy, fz);
		ASSERT_EQ(vtest::exactOrientation(b, c, d, onFacet), 0);
		{
			Tet3* pAtFacet(mesh.vorn.locate(onFacet));
			if(pTet->getOppTet(0) == nullptr)
			{
				EXPECT_EQ(pAtFacet, nullptr);
			}
			else
			{
				ASSERT_NE(pAtFacet, nullptr);
				EXPECT_TRUE(pAtFacet == pTet || pAtFacet == pTet->getOppTet(0));
				++numInteriorFacets;
			}
		}
	}
	EXPECT_GT(numInteriorEdges, 0);
	EXPECT_GT(numHullEdges, 0);
	EXPECT_GT(numInteriorFacets, 0);

	EXPECT_EQ(mesh.vorn.locate(Point3(1e6, 0.0, 0.0)), nullptr);
	EXPECT_EQ(mesh.vorn.locate(Point3(std::nan(""), 0.0, 0.0)), nullptr);
	EXPECT_EQ(mesh.vorn.locate(Point3(std::numeric_limits<double>::infinity(), 0.0, 0.0)), nullptr);

	Vorn_3D empty;
	EXPECT_EQ(empty.locate(Point3(0.0, 0.0, 0.0)), nullptr);
	EXPECT_FALSE(empty.is3D());
}

TEST(Star, TetsAroundVertexEqualTheCellsThatHaveIt)
{
	Mesh mesh(evenIntegerPoints(500, 31));
	std::vector<Point3*> vVertices;
	mesh.vorn.getVertices(vVertices);
	for(size_t k = 0; k < vVertices.size(); k += 5)
	{
		Point3* pVtx(vVertices[k]);
		std::vector<Tet3*> vStar;
		mesh.vorn.getTetsAroundVertex(pVtx, vStar);
		std::vector<Tet3*> vFiltered;
		for(Tet3* pTet : mesh.vTets)
		{
			if(pTet->hasVertex(pVtx)) vFiltered.push_back(pTet);
		}
		// Both lists come in address order.
		EXPECT_EQ(vStar, vFiltered);
		EXPECT_TRUE(std::is_sorted(vStar.begin(), vStar.end(), std::less<Tet3*>()));
	}

	// A stored vertex that is no corner is reported, not followed.
	Vorn_3D flat;
	std::vector<Point3> vLine = {Point3(0, 0, 0), Point3(1, 0, 0), Point3(2, 0, 0)};
	std::vector<Point3*> vHandles;
	{
		vtest::StdoutCapture quiet;
		flat.insert(vLine, vHandles);
	}
	std::vector<Tet3*> vStar;
	vtest::StdoutCapture capture;
	flat.getTetsAroundVertex(vHandles[0], vStar);
	EXPECT_EQ(capture.str(),
		"\n      Dt3::getTetsAroundVertex(), ERROR: pVtx does not belong to the triangulation\n");
	EXPECT_TRUE(vStar.empty());
}

TEST(Messages, BulkInsertionReportsItsSizeAndWarnsAboutFilledHandles)
{
	Vorn_3D vorn;
	std::vector<Point3> v(evenIntegerPoints(20, 41));
	std::vector<Point3*> vHandles;
	{
		vtest::StdoutCapture capture;
		vorn.insert(v, vHandles);
		EXPECT_EQ(capture.str(), "numPoints=20\n");
	}
	{
		// A second call with the filled vector: warning, then refilled.
		std::vector<Point3> v2(evenIntegerPoints(5, 42));
		vtest::StdoutCapture capture;
		vorn.insert(v2, vHandles);
		EXPECT_EQ(capture.str(), "\n      Dt3::insert(), WARNING: vUserHandles is not empty as it should be\nnumPoints=5\n");
		EXPECT_EQ(vHandles.size(), 5u);
	}
	{
		std::vector<Point3> vNone;
		std::vector<Point3*> vNoHandles;
		vtest::StdoutCapture capture;
		vorn.setVerbosity(true);
		vorn.insert(vNone, vNoHandles);
		EXPECT_EQ(capture.str(), "Dt3::insert(vector,vector) has been called\nnumPoints=0\n");
		vorn.setVerbosity(false);
	}
}

TEST(Messages, FirstCellBySingleInsertionLeavesTheHeldPointsOut)
{
	// Four coplanar points are held; the fifth makes the set 3D. Only the
	// first cell enters the mesh, announced by the empty batch.
	Vorn_3D vorn;
	std::vector<Point3> v = {Point3(0, 0, 0), Point3(1, 0, 0), Point3(0, 1, 0), Point3(1, 1, 0), Point3(0, 0, 1)};
	for(size_t i = 0; i + 1 < v.size(); ++i)
	{
		vtest::StdoutCapture capture;
		vorn.insert(v[i]);
		EXPECT_EQ(capture.str(), "");
		EXPECT_FALSE(vorn.is3D());
	}
	{
		vtest::StdoutCapture capture;
		vorn.insert(v.back());
		EXPECT_EQ(capture.str(), "Attention: triangulate has got an empty vector\n");
	}
	EXPECT_TRUE(vorn.is3D());
	std::vector<Tet3*> vTets;
	vorn.getTetrahedra(vTets);
	EXPECT_EQ(vTets.size(), 1u);
	std::vector<Point3*> vVertices;
	vorn.getVertices(vVertices);
	EXPECT_EQ(vVertices.size(), 5u);
	EXPECT_EQ(vtest::checkMesh(vorn), "");
}

TEST(Messages, NoCellYet)
{
	Vorn_3D vorn;
	std::vector<Tet3*> vTets;
	vtest::StdoutCapture capture;
	vorn.getTetrahedra(vTets);
	EXPECT_EQ(capture.str(), "Dt3::getAllTetrahedra(), oneTet==NULL\n");
	EXPECT_TRUE(vTets.empty());
}

TEST(Exceptions, ReachTheCaller)
{
	Mesh mesh(evenIntegerPoints(30, 51));
	std::vector<Tet3*> vFull(1, nullptr);
	vtest::StdoutCapture capture;
	EXPECT_THROW(mesh.vorn.getTetrahedra(vFull), VornException);
	EXPECT_NE(capture.str().find("Condition [ vTet.empty() failed ]"), std::string::npos);
}

TEST(BadInput, NonFiniteCoordinatesAreRejectedWithoutLoss)
{
	Mesh mesh(evenIntegerPoints(200, 61));
	std::vector<Point3*> vVerticesBefore;
	mesh.vorn.getVertices(vVerticesBefore);
	const std::vector<Tet3*> vTetsBefore(mesh.vTets);
	std::vector<std::vector<Point3*>> vCornersBefore;
	for(Tet3* pTet : vTetsBefore)
	{
		vCornersBefore.push_back({pTet->getCorner(0), pTet->getCorner(1), pTet->getCorner(2), pTet->getCorner(3)});
	}

	const double bad[3] = {std::nan(""), std::numeric_limits<double>::infinity(),
		-std::numeric_limits<double>::infinity()};
	for(int k = 0; k < 3; ++k)
	{
		std::vector<Point3> vInput(evenIntegerPoints(30, 62));
		vInput[17] = Point3(1.0, k == 1 ? bad[k] : 2.0, k == 1 ? 3.0 : bad[k]);
		// A handle vector with content: it must come back untouched.
		std::vector<Point3*> vHandles(3, vVerticesBefore[0]);
		{
			vtest::StdoutCapture capture;
			EXPECT_THROW(mesh.vorn.insert(vInput, vHandles), VornException);
			EXPECT_EQ(capture.str(), "\n      Dt3::insert(), ERROR: non-finite coordinate in input point 17\n");
		}
		EXPECT_EQ(vHandles, std::vector<Point3*>(3, vVerticesBefore[0]));

		Point3 single(bad[k], 0.0, 0.0);
		{
			vtest::StdoutCapture capture;
			EXPECT_THROW(mesh.vorn.insert(single), VornException);
			EXPECT_EQ(capture.str(), "\n      Dt3::insert(), ERROR: non-finite coordinate in input point 0\n");
		}
	}
	std::vector<Point3*> vVerticesAfter;
	mesh.vorn.getVertices(vVerticesAfter);
	EXPECT_EQ(vVerticesAfter, vVerticesBefore);
	std::vector<Tet3*> vTetsAfter;
	mesh.vorn.getTetrahedra(vTetsAfter);
	ASSERT_EQ(vTetsAfter, vTetsBefore);
	for(size_t i = 0; i < vTetsAfter.size(); ++i)
	{
		for(int c = 0; c < 4; ++c) EXPECT_EQ(vTetsAfter[i]->getCorner(c), vCornersBefore[i][static_cast<size_t>(c)]);
	}
	// And the mesh still takes points.
	std::vector<Point3> vMore(evenIntegerPoints(50, 63));
	std::vector<Point3*> vMoreHandles;
	{
		vtest::StdoutCapture quiet;
		mesh.vorn.insert(vMore, vMoreHandles);
	}
	EXPECT_EQ(vtest::checkMesh(mesh.vorn), "");
}
