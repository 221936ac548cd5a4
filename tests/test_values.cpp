// Bbox3, Ball3 and Triangle3: box growth and its changed-or-not result,
// enlargement, the self-modifying operator+, sphere radius and print, and
// the triangle's index lookups and failure messages.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cfloat>
#include <random>
#include <regex>
#include <sstream>
#include <vector>

#include "Ball3.h"
#include "Bbox3.h"
#include "StdoutCapture.h"
#include "Triangle3.h"

using VORN3D::Ball3;
using VORN3D::Bbox3;
using VORN3D::Point3;
using VORN3D::Triangle3;

namespace {

// The six fields, for comparing whole boxes.
std::vector<double> fields(const Bbox3& box)
{
	return {box.getMinX(), box.getMinY(), box.getMinZ(), box.getMaxX(), box.getMaxY(), box.getMaxZ()};
}

std::string addressText(const void* p)
{
	std::ostringstream stream;
	stream << p;
	return stream.str();
}

// Redirects std::cerr into a string for the scope.
class StderrCapture
{
public:
	StderrCapture(): pOld(std::cerr.rdbuf(buffer.rdbuf())) {}
	~StderrCapture() { std::cerr.rdbuf(pOld); }
	std::string str() const { return buffer.str(); }

private:
	std::ostringstream buffer;
	std::streambuf* pOld;
};

} // namespace

TEST(Bbox3Growth, EmptyBoxIsInvalidUntilTheFirstPoint)
{
	Bbox3 box;
	EXPECT_FALSE(box.isValid());
	EXPECT_EQ(fields(box), (std::vector<double>{DBL_MAX, DBL_MAX, DBL_MAX, -DBL_MAX, -DBL_MAX, -DBL_MAX}));
	EXPECT_TRUE(box.add(Point3(1, -2, 3)));
	EXPECT_TRUE(box.isValid());
	EXPECT_EQ(fields(box), (std::vector<double>{1, -2, 3, 1, -2, 3}));
	EXPECT_EQ(box.getMinPoint(), box.getMaxPoint());
	EXPECT_EQ(box.getMinPoint().getIndex(), -1);
	EXPECT_EQ(box.getMaxPoint().getOneTet(), nullptr);
	// The same point again changes nothing.
	EXPECT_FALSE(box.add(Point3(1, -2, 3)));
}

TEST(Bbox3Growth, AddReportsChangeExactlyWhenAFieldMoves)
{
	// Small integer coordinates give many points inside and on the box, and
	// many that move one side only.
	std::mt19937 generator(12345);
	std::uniform_int_distribution<int> coordinate(-20, 20);
	for(int round = 0; round < 20; ++round)
	{
		Bbox3 box;
		std::vector<Point3> vSoFar;
		for(int i = 0; i < 200; ++i)
		{
			const Point3 p(coordinate(generator), coordinate(generator), coordinate(generator));
			const std::vector<double> vBefore(fields(box));
			const bool bChanged(box.add(p));
			vSoFar.push_back(p);
			EXPECT_EQ(bChanged, fields(box) != vBefore);
			// The box is exactly the extent of the points added so far.
			const auto byX([](const Point3& a, const Point3& b) { return a.x() < b.x(); });
			const auto byY([](const Point3& a, const Point3& b) { return a.y() < b.y(); });
			const auto byZ([](const Point3& a, const Point3& b) { return a.z() < b.z(); });
			ASSERT_EQ(box.getMinX(), std::min_element(vSoFar.begin(), vSoFar.end(), byX)->x());
			ASSERT_EQ(box.getMaxX(), std::max_element(vSoFar.begin(), vSoFar.end(), byX)->x());
			ASSERT_EQ(box.getMinY(), std::min_element(vSoFar.begin(), vSoFar.end(), byY)->y());
			ASSERT_EQ(box.getMaxY(), std::max_element(vSoFar.begin(), vSoFar.end(), byY)->y());
			ASSERT_EQ(box.getMinZ(), std::min_element(vSoFar.begin(), vSoFar.end(), byZ)->z());
			ASSERT_EQ(box.getMaxZ(), std::max_element(vSoFar.begin(), vSoFar.end(), byZ)->z());
		}
		// The same points as one vector give the same box.
		EXPECT_EQ(fields(Bbox3(vSoFar)), fields(box));
	}
}

TEST(Bbox3Growth, AddingVectors)
{
	Bbox3 box;
	EXPECT_FALSE(box.add(std::vector<Point3>()));
	EXPECT_FALSE(box.isValid());
	// An invalid box always changes, also with one point.
	EXPECT_TRUE(box.add(std::vector<Point3>{Point3(0, 0, 0)}));
	EXPECT_TRUE(box.isValid());
	EXPECT_FALSE(box.add(std::vector<Point3>()));
	EXPECT_TRUE(box.add(std::vector<Point3>{Point3(0, 0, 0), Point3(1, 2, 3), Point3(-1, 0, 0)}));
	EXPECT_EQ(fields(box), (std::vector<double>{-1, 0, 0, 1, 2, 3}));
	// Points inside or on the box leave it unchanged.
	EXPECT_FALSE(box.add(std::vector<Point3>{Point3(0, 1, 1), Point3(1, 2, 3), Point3(-1, 0, 0)}));
	EXPECT_EQ(fields(box), (std::vector<double>{-1, 0, 0, 1, 2, 3}));
	// One coordinate beyond one side is a change.
	EXPECT_TRUE(box.add(std::vector<Point3>{Point3(0, 1, 1), Point3(0, 1, 3.5)}));
	EXPECT_EQ(box.getMaxZ(), 3.5);
	// Negative zero against a zero side is no change.
	EXPECT_FALSE(box.add(Point3(-0.0, 0, 0)));
}

TEST(Bbox3Growth, PlusExtendsTheLeftOperandAndReturnsItsCopy)
{
	Bbox3 a(std::vector<Point3>{Point3(0, 0, 0), Point3(1, 1, 1)});
	Bbox3 b(std::vector<Point3>{Point3(-1, 0.5, 0.5), Point3(0.5, 0.5, 4)});
	const std::vector<double> vB(fields(b));
	const Bbox3 sum(a + b);
	EXPECT_EQ(fields(sum), (std::vector<double>{-1, 0, 0, 1, 1, 4}));
	EXPECT_EQ(fields(a), fields(sum));
	EXPECT_EQ(fields(b), vB);
	// Adding an empty box changes nothing.
	Bbox3 empty;
	a + empty;
	EXPECT_EQ(fields(a), fields(sum));
	// Assignment copies the six fields.
	Bbox3 c;
	c = a;
	EXPECT_EQ(fields(c), fields(a));
}

TEST(Bbox3Growth, EnlargeBoundsAroundTheSameCentre)
{
	const std::vector<Point3> vCorners{Point3(0, 0, 0), Point3(10, 20, 30)};
	Bbox3 box(vCorners);
	box.enlargeBounds(0);
	EXPECT_EQ(fields(box), (std::vector<double>{0, 0, 0, 10, 20, 30}));
	box.enlargeBounds(1);
	EXPECT_EQ(fields(box), (std::vector<double>{-5, -10, -15, 15, 30, 45}));
	box.enlargeBounds(-0.5);
	EXPECT_EQ(fields(box), (std::vector<double>{0, 0, 0, 10, 20, 30}));
	Bbox3 tenPercent(vCorners);
	tenPercent.enlargeBounds(0.1);
	EXPECT_DOUBLE_EQ(tenPercent.getRangeX(), 11.0);
	EXPECT_DOUBLE_EQ(tenPercent.getMinY(), -1.0);
	EXPECT_DOUBLE_EQ(tenPercent.getMaxZ(), 31.5);
}

TEST(Bbox3Growth, ExtentQueries)
{
	const Bbox3 box(std::vector<Point3>{Point3(-3, 2, 1), Point3(5, 4, 9)});
	EXPECT_EQ(box.getRangeX(), 8.0);
	EXPECT_EQ(box.getRangeY(), 2.0);
	EXPECT_EQ(box.getRangeZ(), 8.0);
	EXPECT_EQ(box.getMaxRange(), 8.0);
	EXPECT_EQ(box.getMinCoord(), -3.0);
	EXPECT_EQ(box.getMaxCoord(), 9.0);
	EXPECT_EQ(box.getMinPoint(), Point3(-3, 2, 1));
	EXPECT_EQ(box.getMaxPoint(), Point3(5, 4, 9));
}

TEST(Bbox3Print, Debug)
{
	vtest::StdoutCapture capture;
	Bbox3(std::vector<Point3>{Point3(-3, 2.5, 1), Point3(5, 4, 1e10)}).debug();
	Bbox3().debug();
	EXPECT_EQ(capture.str(), "Bbox3: (-3,2.5,1) -> (5,4,1e+10)\n"
							 "Bbox3: (1.79769e+308,1.79769e+308,1.79769e+308) -> "
							 "(-1.79769e+308,-1.79769e+308,-1.79769e+308)\n");
}

TEST(Ball3, RadiusCentreAndCopies)
{
	const Ball3 ball(1, 2, 3, 4);
	EXPECT_EQ(ball.getRadius(), 2.0);
	EXPECT_EQ(ball.getSqRadius(), 4.0);
	EXPECT_EQ(ball.getCenter(), Point3(1, 2, 3));
	EXPECT_EQ(ball.getCenter().getIndex(), -1);
	EXPECT_EQ(ball.getCenter().getOneTet(), nullptr);
	const Ball3 copy(ball);
	EXPECT_EQ(copy.getCenter(), ball.getCenter());
	EXPECT_EQ(copy.getSqRadius(), 4.0);
	Ball3 assigned(0, 0, 0, 0);
	assigned = ball;
	EXPECT_EQ(assigned.getCenter(), Point3(1, 2, 3));
	EXPECT_EQ(assigned.getRadius(), 2.0);
	EXPECT_EQ(Ball3(0, 0, 0, 2).getRadius(), std::sqrt(2.0));
}

TEST(Ball3, DebugPrintsTheRadiusNotItsSquare)
{
	const Ball3 ball(0, 0.5, -1, 6.25);
	vtest::StdoutCapture capture;
	ball.debug();
	EXPECT_TRUE(std::regex_match(capture.str(), std::regex("Ball3: 0x[0-9a-f]+\t       0,      0.5,       -1, r=2.5\n")))
		<< capture.str();
}

class Triangle3Test : public ::testing::Test
{
protected:
	Point3 a{0, 0, 0}, b{3, 0, 0}, c{0, 6, 3}, outside{1, 1, 1};
	Triangle3 triangle{&a, &b, &c};
};

TEST_F(Triangle3Test, CornersNeighboursAndBarycenter)
{
	EXPECT_EQ(triangle.getCorner(0), &a);
	EXPECT_EQ(triangle.getCorner(1), &b);
	EXPECT_EQ(triangle.getCorner(2), &c);
	for(int i = 0; i < 3; ++i) EXPECT_EQ(triangle.getNeig(i), nullptr);
	Triangle3 other(&b, &a, &outside);
	triangle.setNeig(2, &other);
	EXPECT_EQ(triangle.getNeig(2), &other);
	EXPECT_EQ(triangle.getNeig(0), nullptr);
	const Point3 center(triangle.getBarycenter());
	EXPECT_EQ(center, Point3(1, 2, 1));
	EXPECT_EQ(center.getIndex(), -1);
	EXPECT_EQ(center.getOneTet(), nullptr);
	// Assignment is memberwise.
	Triangle3 copy(&outside, &outside, &outside);
	copy = triangle;
	EXPECT_EQ(copy.getCorner(1), &b);
	EXPECT_EQ(copy.getNeig(2), &other);
}

TEST_F(Triangle3Test, IndexOfACorner)
{
	StderrCapture errors;
	EXPECT_EQ(triangle.getIntraTriangleIndex(&a), 0);
	EXPECT_EQ(triangle.getIntraTriangleIndex(&b), 1);
	EXPECT_EQ(triangle.getIntraTriangleIndex(&c), 2);
	EXPECT_EQ(errors.str(), "");
	// By pointer: a point with the coordinates of a corner is no corner.
	Point3 twin(a);
	vtest::StdoutCapture capture;
	EXPECT_EQ(triangle.getIntraTriangleIndex(&twin), -999);
	EXPECT_EQ(errors.str(), "Triangle3::getIntraTriangleIndex(): invalid (p)\n");
	EXPECT_EQ(capture.str(), "");
}

TEST_F(Triangle3Test, IndexOppositeAnEdgeInEitherOrder)
{
	Point3* aCorners[3] = {&a, &b, &c};
	StderrCapture errors;
	for(int i = 0; i < 3; ++i)
	{
		Point3* p1(aCorners[(i + 1) % 3]);
		Point3* p2(aCorners[(i + 2) % 3]);
		EXPECT_EQ(triangle.getIntraTriangleIndex(p1, p2), i);
		EXPECT_EQ(triangle.getIntraTriangleIndex(p2, p1), i);
		// The opposite corner is not on the edge it names.
		EXPECT_NE(triangle.getCorner(i), p1);
		EXPECT_NE(triangle.getCorner(i), p2);
	}
	EXPECT_EQ(errors.str(), "");
}

TEST_F(Triangle3Test, EdgeNotInTheTrianglePrintsTheTriangle)
{
	Triangle3 neighbour(&b, &a, &outside);
	triangle.setNeig(2, &neighbour);
	StderrCapture errors;
	vtest::StdoutCapture capture;
	EXPECT_EQ(triangle.getIntraTriangleIndex(&a, &outside), -999);
	EXPECT_EQ(errors.str(), "Triangle3::getIntraTriangleIndex(): invalid (p1,p2)\n");
	const std::string expected("Have searched for " + addressText(&a) + " and " + addressText(&outside) +
		" in Triangle: \n" + "ith=0, vertex (" + addressText(&a) + "): " + addressText(&a) +
		"\t       0,        0,        0  oppTet=0 (NULL)\n" + "ith=1, vertex (" + addressText(&b) +
		"): " + addressText(&b) + "\t       3,        0,        0  oppTet=0 (NULL)\n" + "ith=2, vertex (" +
		addressText(&c) + "): " + addressText(&c) + "\t       0,        6,        3  oppTet=" +
		addressText(&neighbour) + " " + addressText(&neighbour) + "\n\n");
	EXPECT_EQ(capture.str(), expected);
	// A degenerate "edge" of one corner twice is not an edge either.
	EXPECT_EQ(triangle.getIntraTriangleIndex(&a, &a), -999);
}

#ifndef NDEBUG
TEST(Triangle3Death, IndexOutOfRangeFailsTheAssertion)
{
	Point3 a(0, 0, 0);
	Triangle3 triangle(&a, &a, &a);
	EXPECT_DEATH(triangle.getCorner(3), "i>-1 && i<3");
	EXPECT_DEATH(triangle.getNeig(-1), "i>-1 && i<3");
	EXPECT_DEATH(triangle.setNeig(3, nullptr), "i>-1 && i<3");
}
#endif
