// Test-data generators, the named timer and the normal vector.
#include <gtest/gtest.h>

#include <cmath>
#include <iomanip>
#include <limits>
#include <random>
#include <regex>
#include <set>
#include <sstream>
#include <vector>

#include "StdoutCapture.h"
#include "testDataGenerators.h"

using VORN3D::Point3;
using VORN3D::Vector3;
using VORN3D::generateRandomNumbers;
using VORN3D::generateRandomPoints;
using VORN3D::getNormalVector;
using VORN3D::timer;

namespace {

// The exact text of the failed "min<max" condition, with any line number.
const std::regex minMaxFailure(
	"\n      Vorn, , ERROR: Condition \\[ min<max failed \\]\n      dt3Library/testDataGenerators\\.cpp:[0-9]+\n");

// Restores std::cout's number format, which the timer changes on purpose.
class CoutFormatGuard
{
public:
	CoutFormatGuard(): flags(std::cout.flags()), precision(std::cout.precision()) {}
	~CoutFormatGuard()
	{
		std::cout.flags(flags);
		std::cout.precision(precision);
	}

private:
	std::ios::fmtflags flags;
	std::streamsize precision;
};

double orientation(const Point3& a, const Point3& b, const Point3& c, const Point3& d)
{
	const Vector3 B(b - a), C(c - a), D(d - a);
	return B.dot(C.cross(D));
}

} // namespace

TEST(GenerateRandomNumbers, SameNonzeroSeedSameSequence)
{
	std::vector<double> vFirst, vSecond, vOther;
	generateRandomNumbers(1000, -1.0, 1.0, vFirst, 4711);
	generateRandomNumbers(1000, -1.0, 1.0, vSecond, 4711);
	generateRandomNumbers(1000, -1.0, 1.0, vOther, 4712);
	EXPECT_EQ(vFirst.size(), 1000u);
	EXPECT_EQ(vFirst, vSecond);
	EXPECT_NE(vFirst, vOther);
}

TEST(GenerateRandomNumbers, UnseededCallsInTheSameSecondDiffer)
{
	std::vector<std::vector<double>> vRuns(5);
	for(std::vector<double>& vRun : vRuns) generateRandomNumbers(64, 0.0, 1.0, vRun, 0);
	for(size_t i = 0; i < vRuns.size(); ++i)
		for(size_t k = i + 1; k < vRuns.size(); ++k) EXPECT_NE(vRuns[i], vRuns[k]) << i << " " << k;
}

TEST(GenerateRandomNumbers, ValuesLieOnA15BitGridInsideTheRange)
{
	// With a power-of-two range every value is min + k * range / 32768 for
	// an integer k in 0..32767, exactly.
	std::vector<double> vValues;
	generateRandomNumbers(200000, -4.0, 4.0, vValues, 99);
	std::set<long> vSteps;
	for(double v : vValues)
	{
		ASSERT_GE(v, -4.0);
		ASSERT_LT(v, 4.0);
		const double step((v + 4.0) * 4096.0);
		ASSERT_EQ(step, std::floor(step)) << v;
		vSteps.insert(static_cast<long>(step));
	}
	EXPECT_LE(vSteps.size(), 32768u);
	// 200000 draws from 32768 values leave hardly any value out.
	EXPECT_GT(vSteps.size(), 32000u);
	EXPECT_EQ(*vSteps.begin(), 0);
	EXPECT_EQ(*vSteps.rbegin(), 32767);
}

TEST(GenerateRandomNumbers, AppendsToTheOutput)
{
	std::vector<double> vValues{42.0};
	generateRandomNumbers(3, 10.0, 11.0, vValues, 1);
	ASSERT_EQ(vValues.size(), 4u);
	EXPECT_EQ(vValues[0], 42.0);
	generateRandomNumbers(0, 10.0, 11.0, vValues, 1);
	EXPECT_EQ(vValues.size(), 4u);
}

TEST(GenerateRandomNumbers, EmptyOrReversedRangeFailsBeforeAppending)
{
	for(const std::pair<double, double>& range :
		{std::make_pair(1.0, 1.0), std::make_pair(2.0, 1.0), std::make_pair(std::nan(""), 1.0)})
	{
		std::vector<double> vValues{7.0};
		vtest::StdoutCapture capture;
		EXPECT_THROW(generateRandomNumbers(10, range.first, range.second, vValues, 5), VornException);
		EXPECT_TRUE(std::regex_match(capture.str(), minMaxFailure)) << capture.str();
		EXPECT_EQ(vValues, std::vector<double>{7.0});
	}
}

TEST(GenerateRandomPoints, YieldsTwoThirdsOfTheCountRoundedUp)
{
	const std::vector<std::pair<uint64_t, size_t>> vCases{
		{0, 0}, {1, 1}, {2, 2}, {3, 2}, {4, 3}, {5, 4}, {6, 4}, {7, 5}, {100, 67}, {999, 666}};
	for(const std::pair<uint64_t, size_t>& c : vCases)
	{
		std::vector<Point3> vPoints;
		generateRandomPoints(c.first, 0.0, 1.0, vPoints, 3);
		EXPECT_EQ(vPoints.size(), c.second) << "count " << c.first;
	}
}

TEST(GenerateRandomPoints, PointsAreTheFirstNumbersOfTheSameDraw)
{
	std::vector<Point3> vPoints{Point3(9, 9, 9)};
	generateRandomPoints(30, -2.0, 3.0, vPoints, 77);
	std::vector<double> vNumbers;
	generateRandomNumbers(90, -2.0, 3.0, vNumbers, 77);
	ASSERT_EQ(vPoints.size(), 21u);
	EXPECT_EQ(vPoints[0], Point3(9, 9, 9));
	for(size_t i = 1; i < vPoints.size(); ++i)
	{
		const size_t k(3 * (i - 1));
		EXPECT_EQ(vPoints[i], Point3(vNumbers[k], vNumbers[k + 1], vNumbers[k + 2]));
		EXPECT_EQ(vPoints[i].getIndex(), -1);
		EXPECT_EQ(vPoints[i].getOneTet(), nullptr);
	}
}

TEST(GenerateRandomPoints, EmptyRangeFailsBeforeAppending)
{
	std::vector<Point3> vPoints;
	vtest::StdoutCapture capture;
	EXPECT_THROW(generateRandomPoints(10, 0.0, 0.0, vPoints, 5), VornException);
	EXPECT_TRUE(std::regex_match(capture.str(), minMaxFailure)) << capture.str();
	EXPECT_TRUE(vPoints.empty());
}

TEST(Timer, StartStopAndRestart)
{
	CoutFormatGuard guard;
	vtest::StdoutCapture capture;
	EXPECT_EQ(timer("a"), -1.0);
	EXPECT_EQ(capture.str(), "\n*** Timer [a] start\n");
	const double elapsed(timer("a"));
	EXPECT_GE(elapsed, 0.0);
	EXPECT_LT(elapsed, 60.0);
	std::ostringstream seconds;
	seconds << std::fixed << std::setprecision(3) << elapsed;
	EXPECT_EQ(capture.str(), "\n*** Timer [a] start\n*** Timer [a] stop, elapsed time: " + seconds.str() + " s\n\n");
	// Fixed notation stays on standard output; the precision is back at 6.
	EXPECT_TRUE((std::cout.flags() & std::ios::fixed) != 0);
	EXPECT_EQ(std::cout.precision(), 6);
	// The name was removed, so the next call starts it again.
	EXPECT_EQ(timer("a"), -1.0);
	EXPECT_GE(timer("a"), 0.0);
}

TEST(Timer, NamesRunIndependentlyAndNest)
{
	CoutFormatGuard guard;
	vtest::StdoutCapture capture;
	EXPECT_EQ(timer("outer"), -1.0);
	EXPECT_EQ(timer("inner"), -1.0);
	// Busy work so that the outer timer sees more than the inner one.
	volatile double sink(0);
	for(int i = 0; i < 200000; ++i) sink = sink + std::sqrt(static_cast<double>(i));
	const double inner(timer("inner"));
	for(int i = 0; i < 200000; ++i) sink = sink + std::sqrt(static_cast<double>(i));
	const double outer(timer("outer"));
	EXPECT_GE(inner, 0.0);
	EXPECT_GE(outer, inner);
	EXPECT_TRUE(std::regex_match(capture.str(),
		std::regex("\n\\*\\*\\* Timer \\[outer\\] start\n\n\\*\\*\\* Timer \\[inner\\] start\n"
				   "\\*\\*\\* Timer \\[inner\\] stop, elapsed time: [0-9]+\\.[0-9]{3} s\n\n"
				   "\\*\\*\\* Timer \\[outer\\] stop, elapsed time: [0-9]+\\.[0-9]{3} s\n\n")))
		<< capture.str();
}

TEST(NormalVector, UnitNormalOnThePositiveSide)
{
	vtest::StdoutCapture capture;
	const Vector3 n(getNormalVector(Point3(0, 0, 0), Point3(1, 0, 0), Point3(0, 1, 0)));
	EXPECT_EQ(n.x(), 0.0);
	EXPECT_EQ(n.y(), 0.0);
	EXPECT_EQ(n.z(), 1.0);
	const Vector3 m(getNormalVector(Point3(0, 0, 0), Point3(0, 5, 0), Point3(3, 0, 0)));
	EXPECT_EQ(m.z(), -1.0);

	std::mt19937 generator(8);
	std::uniform_real_distribution<double> coordinate(-10.0, 10.0);
	const auto randomPoint([&]() { return Point3(coordinate(generator), coordinate(generator), coordinate(generator)); });
	for(int i = 0; i < 1000; ++i)
	{
		const Point3 p0(randomPoint()), p1(randomPoint()), p2(randomPoint()), q(randomPoint());
		const Vector3 normal(getNormalVector(p0, p1, p2));
		EXPECT_NEAR(normal.length(), 1.0, 1e-12);
		const Vector3 e1(p1 - p0), e2(p2 - p0);
		EXPECT_NEAR(normal.dot(e1), 0.0, 1e-9 * e1.length());
		EXPECT_NEAR(normal.dot(e2), 0.0, 1e-9 * e2.length());
		const double side(normal.dot(q - p0));
		const double orient(orientation(p0, p1, p2, q));
		if(std::fabs(side) > 1e-6)
		{
			EXPECT_EQ(side > 0, orient > 0);
		}
	}
	EXPECT_EQ(capture.str(), "");
}

TEST(NormalVector, DegenerateTrianglesGiveZeroWithWarnings)
{
	const std::string warning("warning: normalize(const Vector3& other), Null length vector!\n");
	vtest::StdoutCapture capture;
	const Vector3 same(getNormalVector(Point3(1, 2, 3), Point3(1, 2, 3), Point3(1, 2, 3)));
	EXPECT_EQ(capture.str(), warning + warning + warning);
	EXPECT_EQ(same.x(), 0.0);
	EXPECT_EQ(same.y(), 0.0);
	EXPECT_EQ(same.z(), 0.0);
	const Vector3 collinear(getNormalVector(Point3(0, 0, 0), Point3(1, 1, 1), Point3(2, 2, 2)));
	EXPECT_EQ(capture.str(), warning + warning + warning + warning);
	EXPECT_EQ(collinear.length(), 0.0);
}
