// Point3, Vector3 and Segment3: exact comparisons, the deliberate difference
// between copy and assignment, and the print formats.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>
#include <regex>
#include <sstream>
#include <tuple>
#include <vector>

#include "Point3.h"
#include "StdoutCapture.h"

using VORN3D::Point3;
using VORN3D::Segment3;
using VORN3D::Tet3;
using VORN3D::Vector3;

namespace {

// A cell pointer that is only stored and compared, never followed.
Tet3* fakeCell(int which)
{
	static double aStorage[4];
	return reinterpret_cast<Tet3*>(&aStorage[which]);
}

std::string addressText(const void* p)
{
	std::ostringstream stream;
	stream << p;
	return stream.str();
}

const double notANumber(std::numeric_limits<double>::quiet_NaN());

} // namespace

TEST(Point3Construction, DefaultIsMostNegativeWithoutCellAndIndex)
{
	const Point3 p;
	EXPECT_EQ(p.x(), -DBL_MAX);
	EXPECT_EQ(p.y(), -DBL_MAX);
	EXPECT_EQ(p.z(), -DBL_MAX);
	EXPECT_EQ(p.getOneTet(), nullptr);
	EXPECT_EQ(p.getIndex(), -1);
	// Sorts before every finite point, also one that differs only in z.
	EXPECT_TRUE(p < Point3(-DBL_MAX, -DBL_MAX, -1e308));
	EXPECT_TRUE(p < Point3(0, 0, 0));
	EXPECT_FALSE(Point3(-DBL_MAX, -DBL_MAX, -1e308) < p);
	// Only an infinite coordinate goes below it.
	const double inf(std::numeric_limits<double>::infinity());
	EXPECT_TRUE(Point3(-inf, 0, 0) < p);
}

TEST(Point3Construction, CoordinateConstructorHasIndexMinusOne)
{
	Point3 p(1.5, -2, 3e-300);
	double x(0), y(0), z(0);
	p.xyz(x, y, z);
	EXPECT_EQ(x, 1.5);
	EXPECT_EQ(y, -2.0);
	EXPECT_EQ(z, 3e-300);
	EXPECT_EQ(p.getIndex(), -1);
	EXPECT_EQ(p.getOneTet(), nullptr);
}

TEST(Point3Copy, CopyDropsCellLinkButAssignmentKeepsIt)
{
	Point3 vertex(1, 2, 3);
	vertex.setIndex(42);
	vertex.setOneTet(fakeCell(0));

	const Point3 copied(vertex);
	EXPECT_EQ(copied, vertex);
	EXPECT_EQ(copied.getIndex(), 42);
	EXPECT_EQ(copied.getOneTet(), nullptr);

	Point3 assigned(7, 7, 7);
	assigned = vertex;
	EXPECT_EQ(assigned, vertex);
	EXPECT_EQ(assigned.getIndex(), 42);
	EXPECT_EQ(assigned.getOneTet(), fakeCell(0));

	// Standard containers copy-construct: a vector of vertices holds no links.
	const std::vector<Point3> vCopies(3, vertex);
	for(const Point3& p : vCopies) EXPECT_EQ(p.getOneTet(), nullptr);
}

TEST(Point3Copy, InitKeepsIndexAndExchangeKeepsEverythingButCoordinates)
{
	Point3 p(0, 0, 0);
	p.setIndex(7);
	p.setOneTet(fakeCell(1));
	Point3 source(4, 5, 6);
	source.setIndex(99);
	source.setOneTet(fakeCell(2));
	p.init(source);
	EXPECT_EQ(p, Point3(4, 5, 6));
	EXPECT_EQ(p.getIndex(), 7);
	EXPECT_EQ(p.getOneTet(), nullptr);

	p.setOneTet(fakeCell(3));
	p.exchange(-1, -2, -3);
	EXPECT_EQ(p, Point3(-1, -2, -3));
	EXPECT_EQ(p.getIndex(), 7);
	EXPECT_EQ(p.getOneTet(), fakeCell(3));
}

TEST(Point3Order, EqualityIgnoresCellAndIndex)
{
	Point3 a(1, 2, 3), b(1, 2, 3);
	a.setIndex(1);
	b.setIndex(2);
	b.setOneTet(fakeCell(0));
	EXPECT_TRUE(a == b);
	EXPECT_FALSE(a != b);
	EXPECT_FALSE(a < b);
	EXPECT_FALSE(b < a);
	EXPECT_FALSE(Point3(1, 2, 3) == Point3(1, 2, std::nextafter(3.0, 4.0)));
	EXPECT_TRUE(Point3(0.0, 0.0, 0.0) == Point3(-0.0, -0.0, -0.0));
}

TEST(Point3Order, AgreesWithLexicographicOrderOnFiniteValues)
{
	// Values with ties in every position, signed zeros and neighbours one ulp
	// apart; compared with the standard library's tuple order.
	const std::vector<double> vValues{-DBL_MAX, -1.0, -0.0, 0.0, std::nextafter(0.0, 1.0), 1.0,
		std::nextafter(1.0, 2.0), DBL_MAX};
	std::vector<Point3> vPoints;
	for(double x : vValues)
		for(double y : vValues)
			for(double z : vValues) vPoints.push_back(Point3(x, y, z));
	for(const Point3& a : vPoints)
	{
		for(const Point3& b : vPoints)
		{
			const bool bExpected(std::make_tuple(a.x(), a.y(), a.z()) < std::make_tuple(b.x(), b.y(), b.z()));
			ASSERT_EQ(a < b, bExpected) << a.x() << "," << a.y() << "," << a.z() << " vs " << b.x() << ","
										<< b.y() << "," << b.z();
			ASSERT_EQ(a == b, a.x() == b.x() && a.y() == b.y() && a.z() == b.z());
		}
	}
}

TEST(Point3Order, NanTiesAtItsLevelAndTheNextCoordinateDecides)
{
	const Point3 a(notANumber, 1, 2), b(0, 1, 3);
	EXPECT_TRUE(a < b);
	EXPECT_FALSE(b < a);
	const Point3 c(5, notANumber, 1), d(5, 0, 2);
	EXPECT_TRUE(c < d);
	EXPECT_FALSE(d < c);
	// A NaN in z ends the comparison as a tie; equality is false all the same.
	const Point3 e(1, 1, notANumber), f(1, 1, 0);
	EXPECT_FALSE(e < f);
	EXPECT_FALSE(f < e);
	EXPECT_FALSE(e == f);
	EXPECT_FALSE(e == e);
	// Earlier coordinates still decide before a NaN is reached.
	EXPECT_TRUE(Point3(0, notANumber, notANumber) < Point3(1, 0, 0));
}

TEST(Vector3Arithmetic, DifferenceAndTranslation)
{
	Point3 p(0.5, -1.25, 3);
	Point3 q(2, 4, -8);
	q.setIndex(5);
	q.setOneTet(fakeCell(0));
	const Vector3 v(q - p);
	EXPECT_EQ(v.x(), 1.5);
	EXPECT_EQ(v.y(), 5.25);
	EXPECT_EQ(v.z(), -11.0);
	const Point3 r(p + v);
	EXPECT_EQ(r, q);
	EXPECT_EQ(r.getIndex(), -1);
	EXPECT_EQ(r.getOneTet(), nullptr);
}

TEST(Vector3Arithmetic, LengthCrossAndNormalize)
{
	const Vector3 a(3, 4, 12);
	EXPECT_EQ(a.length(), 13.0);
	const Vector3 c(Vector3(1, 0, 0).cross(Vector3(0, 1, 0)));
	EXPECT_EQ(c.x(), 0.0);
	EXPECT_EQ(c.y(), 0.0);
	EXPECT_EQ(c.z(), 1.0);
	const Vector3 d(Vector3(1, 2, 3).cross(Vector3(4, 5, 6)));
	EXPECT_EQ(d.x(), -3.0);
	EXPECT_EQ(d.y(), 6.0);
	EXPECT_EQ(d.z(), -3.0);
	EXPECT_EQ(Vector3(1, 2, 3).dot(Vector3(4, 5, 6)), 32.0);

	Vector3 n(0, 0, -5);
	vtest::StdoutCapture capture;
	n.normalize();
	EXPECT_EQ(n.z(), -1.0);
	Vector3 zero(0, 0, 0);
	zero.normalize();
	EXPECT_EQ(capture.str(), "warning: normalize(const Vector3& other), Null length vector!\n");
	EXPECT_EQ(zero.x(), 0.0);
	EXPECT_EQ(zero.y(), 0.0);
	EXPECT_EQ(zero.z(), 0.0);
}

TEST(Point3Print, DebugLine)
{
	vtest::StdoutCapture capture;
	Point3(1, 2.5, 3).debug();
	Point3(-0.125, 1e20, 1.0 / 3.0).debug();
	EXPECT_EQ(capture.str(), "Point3: 1,2.5,3\nPoint3: -0.125,1e+20,0.333333\n");
}

TEST(Point3Print, StreamOperatorWritesAddressTabAndWidthEight)
{
	const Point3 p(1, 2.5, -3);
	std::ostringstream stream;
	stream << p;
	EXPECT_EQ(stream.str(), addressText(&p) + "\t       1,      2.5,       -3");
	// Wider numbers are not cut.
	const Point3 q(123456789, 0.000123, 1e-200);
	std::ostringstream wide;
	wide << q;
	EXPECT_EQ(wide.str(), addressText(&q) + "\t1.23457e+08, 0.000123,   1e-200");
}

TEST(Segment3, KeepsCopiesWithoutCellLinks)
{
	Point3 src(1, 2, 3), trg(4, 5, 6);
	src.setIndex(10);
	src.setOneTet(fakeCell(0));
	trg.setIndex(11);
	trg.setOneTet(fakeCell(1));
	const Segment3 segment(src, trg);
	EXPECT_EQ(segment.getSrc(), src);
	EXPECT_EQ(segment.getTrg(), trg);
	EXPECT_EQ(segment.getSrc().getIndex(), 10);
	EXPECT_EQ(segment.getTrg().getIndex(), 11);
	EXPECT_EQ(segment.getSrc().getOneTet(), nullptr);
	EXPECT_EQ(segment.getTrg().getOneTet(), nullptr);

	Segment3 other(Point3(0, 0, 0), Point3(0, 0, 0));
	other = segment;
	EXPECT_EQ(other.getTrg(), trg);
	const Segment3 moved(std::move(other));
	EXPECT_EQ(moved.getSrc(), src);
}

TEST(Segment3, DebugPrintsBothPointsThroughTheStreamOperator)
{
	const Segment3 segment(Point3(1, 2, 3), Point3(-4, 0.5, 6));
	vtest::StdoutCapture capture;
	segment.debug();
	std::smatch match;
	const std::string text(capture.str());
	ASSERT_TRUE(std::regex_match(text, match,
		std::regex("Segment3: (0x[0-9a-f]+)\t       1,        2,        3,(0x[0-9a-f]+)\t      -4,      0.5,        6\n")))
		<< text;
	// The addresses are those of the segment's own two points, which are
	// different objects from the arguments.
	EXPECT_NE(match[1].str(), match[2].str());
}
