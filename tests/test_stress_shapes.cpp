// Shapes that make the location walk long, checked by the test oracles alone;
// and a walk far longer than the watchdog allows, which must still end right.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "Dt3.h"
#include "ExactPredicates.h"
#include "MeshInvariants.h"
#include "StdoutCapture.h"
#include "Vorn_3D.h"

using VORN3D::Point3, VORN3D::Tet3;

namespace {

/// n points in the box e: uniform, on the unit cylinder along an axis, or the lattice (every third twice).
struct Shape
{
	const char* name;
	double e[3];
	int n;
	int cylinderAxis;
	bool bLattice;
	std::vector<Point3> points(unsigned seed = 1) const
	{
		std::mt19937 rng(seed);
		std::uniform_real_distribution<double> u(0.0, 1.0);
		std::vector<Point3> v;
		for(int i = 0; i < n; ++i)
		{
			double c[3] = {e[0] * u(rng), e[1] * u(rng), e[2] * u(rng)};
			const int a(cylinderAxis), b((a + 1) % 3), d((a + 2) % 3);
			if(a >= 0) c[d] = std::sin(6.283185307179586 * c[b] / e[b]), c[b] = std::cos(6.283185307179586 * c[b] / e[b]);
			if(bLattice) c[0] = i % int(e[0]), c[1] = (i / int(e[0])) % int(e[1]), c[2] = i / int(e[0] * e[1]);
			v.emplace_back(c[0], c[1], c[2]);
			if(bLattice && i % 3 == 0) v.push_back(v.back());
		}
		if(bLattice) std::shuffle(v.begin(), v.end(), rng);
		return v;
	}
};

class StressShapes : public ::testing::TestWithParam<Shape> {};

} // namespace

TEST_P(StressShapes, ExactDelaunayOfEveryPoint)
{
	const std::vector<Point3> vInput(GetParam().points());
	std::vector<Point3> v(vInput);
	VORN3D::Vorn_3D vorn;
	vtest::StdoutCapture quiet; // long walks may print the watchdog's line
	vorn.insert(v);
	vtest::MeshStats stats;
	EXPECT_EQ(vtest::checkMesh(vorn, true, &stats), "");
	EXPECT_EQ(vtest::checkInputCovered(vorn, vInput), "");
	EXPECT_EQ(stats.numVertices, vtest::countDistinct(vInput));
	if(!GetParam().bLattice) return;
	// Integer corners: every determinant and their sum are exact.
	std::vector<Tet3*> vTets;
	vorn.getTetrahedra(vTets);
	double sixVolume(0.0);
	for(const Tet3* t : vTets)
	{
		const Point3 *a(t->getCorner(0)), *b(t->getCorner(1)), *c(t->getCorner(2)), *d(t->getCorner(3));
		const double m[3][3] = {{b->x() - a->x(), b->y() - a->y(), b->z() - a->z()},
			{c->x() - a->x(), c->y() - a->y(), c->z() - a->z()}, {d->x() - a->x(), d->y() - a->y(), d->z() - a->z()}};
		sixVolume += std::fabs(m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
			m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) + m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]));
	}
	const double* e(GetParam().e);
	EXPECT_EQ(sixVolume, 6.0 * (e[0] - 1) * (e[1] - 1) * (e[2] - 1));
}

INSTANTIATE_TEST_SUITE_P(Shapes, StressShapes,
	::testing::Values(Shape{"BoxX", {1000, 1, 1}, 4000, -1, false}, Shape{"BoxY", {1, 1000, 1}, 4000, -1, false},
		Shape{"BoxZ", {1, 1, 1000}, 4000, -1, false}, Shape{"Pipeline", {1e4, 1, 1}, 4000, -1, false},
		Shape{"Ribbon", {1000, 1, 0.001}, 4000, -1, false}, Shape{"ThinSlab", {1, 1, 0.001}, 3000, -1, false},
		Shape{"WideSlab", {1000, 1000, 10}, 3000, -1, false}, Shape{"NeedleY", {1e-3, 1e4, 1e-3}, 3000, -1, false},
		Shape{"NeedleZ", {1e-3, 1e-3, 1e4}, 3000, -1, false}, Shape{"CylinderX", {1000, 1, 1}, 3000, 0, false},
		Shape{"CylinderY", {1, 1000, 1}, 3000, 1, false}, Shape{"LatticeX", {60, 3, 2}, 360, -1, true},
		Shape{"LatticeZ", {2, 4, 50}, 400, -1, true}),
	[](const ::testing::TestParamInfo<Shape>& info) { return std::string(info.param.name); });

TEST(LongWalk, ContinuesPastTheWatchdog)
{
	// A rod of 4 * 10^4 points: from one end to the other is a walk of more tests than one call may take.
	Point3 extra;
	VORN3D::Dt3 dt(nullptr);
	std::vector<Point3> v(Shape{"Rod", {4e4, 1, 1}, 40000, -1, false}.points(4));
	std::vector<Point3*> vHandles;
	vtest::StdoutCapture out;
	dt.insert(v, vHandles);
	const auto ends(std::minmax_element(
		vHandles.begin(), vHandles.end(), [](const Point3* p, const Point3* q) { return p->x() < q->x(); }));
	std::vector<Tet3*> vNear, vFar;
	dt.getTetsAroundVertex(*ends.first, vNear);
	dt.getTetsAroundVertex(*ends.second, vFar);
	Tet3* const pNear(vNear.at(0));
	const Point3 *a(vFar[0]->getCorner(0)), *b(vFar[0]->getCorner(1)), *c(vFar[0]->getCorner(2)), *d(vFar[0]->getCorner(3));
	const Point3 q((a->x() + b->x() + c->x() + d->x()) / 4, (a->y() + b->y() + c->y() + d->y()) / 4,
		(a->z() + b->z() + c->z() + d->z()) / 4);
	Tet3* pTet(pNear);
	EXPECT_EQ(dt.locateConflictTet(&q, pTet), -99);
	pTet = pNear;
	ASSERT_EQ(dt.locateComplete(&q, pTet), -1);
	for(int i = 0; i < 4; ++i)
	{
		Point3 corner[4] = {*pTet->getCorner(0), *pTet->getCorner(1), *pTet->getCorner(2), *pTet->getCorner(3)};
		corner[i] = q;
		EXPECT_GE(vtest::exactOrientation(corner[0], corner[1], corner[2], corner[3]), 0);
	}
	// An insertion whose walk starts at the other end used to fail.
	extra = q;
	std::vector<Point3*> vNew{&extra}, vAll;
	dt.triangulate(vNew, pNear);
	EXPECT_NE(out.str().find("watchDog: bad point"), std::string::npos);
	dt.getVertices(vAll);
	vAll.push_back(&extra);
	std::vector<Tet3*> vTets;
	dt.getAllTetrahedra(vTets);
	EXPECT_EQ(vtest::checkMesh(vTets, vAll), "");
	Tet3* pFound(dt.locate(q));
	ASSERT_NE(pFound, nullptr);
	EXPECT_GE(pFound->getIntraTetIndex(&extra), 0);
}
