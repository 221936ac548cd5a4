// The value classes, the test-data generators, the pools, the message
// routines and the scene writer: orders and boxes against brute force on
// random data, the exact text of every message users see and the exact OOGL
// text of every object kind (the format is read by other programs).
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iomanip>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "SimplePool.h"
#include "StdoutCapture.h"
#include "Tet3.h"
#include "TextFile.h"
#include "Visualizer3.h"
#include "Vorn_3D.h"
#include "tools.h"

using namespace VORN3D;

TEST(Values, PointOrderAndBoxAgreeWithBruteForce)
{
	std::mt19937 rng(12345);
	std::uniform_int_distribution<int> coordinate(-3, 3);
	std::vector<Point3> vSoFar;
	Bbox3 box;
	for(int i = 0; i < 400; ++i)
	{
		const Point3 p(coordinate(rng), coordinate(rng), coordinate(rng)), q(coordinate(rng), coordinate(rng), coordinate(rng));
		EXPECT_EQ(p < q, std::make_tuple(p.x(), p.y(), p.z()) < std::make_tuple(q.x(), q.y(), q.z()));
		EXPECT_EQ(p == q, std::make_tuple(p.x(), p.y(), p.z()) == std::make_tuple(q.x(), q.y(), q.z()));
		const Bbox3 before(box);
		const bool bChanged(box.add(p));
		vSoFar.push_back(p);
		EXPECT_EQ(bChanged, box.getMinPoint() != before.getMinPoint() || box.getMaxPoint() != before.getMaxPoint());
		auto byX = [](const Point3& a, const Point3& b) { return a.x() < b.x(); };
		auto byZ = [](const Point3& a, const Point3& b) { return a.z() < b.z(); };
		EXPECT_EQ(box.getMinX(), std::min_element(vSoFar.begin(), vSoFar.end(), byX)->x());
		EXPECT_EQ(box.getMaxZ(), std::max_element(vSoFar.begin(), vSoFar.end(), byZ)->z());
	}
	Bbox3 vectorBox;
	EXPECT_TRUE(vectorBox.add(vSoFar));
	EXPECT_FALSE(vectorBox.add(vSoFar));
	EXPECT_TRUE(vectorBox.getMinPoint() == box.getMinPoint() && vectorBox.getMaxPoint() == box.getMaxPoint());
	// A NaN ties at its level and the next coordinate decides.
	EXPECT_TRUE(Point3(NAN, 1, 2) < Point3(0, 1, 3));
	EXPECT_FALSE(Point3(1, 1, NAN) < Point3(1, 1, 0));
	EXPECT_FALSE(Point3(1, 1, NAN) == Point3(1, 1, NAN));
	// Enlarging by a factor keeps the centre.
	Bbox3 grown(std::vector<Point3>{Point3(0, 0, 0), Point3(10, 20, 30)});
	grown.enlargeBounds(1.0);
	EXPECT_EQ(grown.getMinPoint(), Point3(-5, -10, -15));
	EXPECT_EQ(grown.getMaxPoint(), Point3(15, 30, 45));
}

TEST(Values, GeneratorsTimerAndNormal)
{
	std::vector<double> vValues;
	generateRandomNumbers(100000, -4.0, 4.0, vValues, 99);
	std::set<double> sSteps;
	for(double v : vValues)
	{
		ASSERT_TRUE(v >= -4.0 && v < 4.0);
		ASSERT_EQ((v + 4.0) * 4096.0, std::floor((v + 4.0) * 4096.0)); // a 15-bit grid
		sSteps.insert(v);
	}
	EXPECT_GT(sSteps.size(), 30000u);
	for(auto c : std::vector<std::pair<uint64_t, size_t>>{{0, 0}, {1, 1}, {3, 2}, {4, 3}, {100, 67}})
	{
		std::vector<Point3> vPoints;
		generateRandomPoints(c.first, 0.0, 1.0, vPoints, 3);
		EXPECT_EQ(vPoints.size(), c.second) << "count " << c.first;
	}
	std::vector<Point3> vPoints;
	generateRandomPoints(30, -2.0, 3.0, vPoints, 77);
	vValues.clear();
	generateRandomNumbers(90, -2.0, 3.0, vValues, 77);
	EXPECT_EQ(vPoints[1], Point3(vValues[3], vValues[4], vValues[5]));
	{
		vtest::StdoutCapture capture;
		EXPECT_EQ(timer("a"), -1.0);
		EXPECT_GE(timer("a"), 0.0);
		EXPECT_EQ(capture.str().rfind("\n*** Timer [a] start\n*** Timer [a] stop, elapsed time: 0.", 0), 0u);
		const Vector3 n(getNormalVector(Point3(0, 0, 0), Point3(0, 5, 0), Point3(3, 0, 0)));
		EXPECT_EQ(std::make_tuple(n.x(), n.y(), n.z()), std::make_tuple(0.0, 0.0, -1.0));
		getNormalVector(Point3(1, 2, 3), Point3(1, 2, 3), Point3(2, 4, 6));
		EXPECT_NE(capture.str().find("warning: normalize(const Vector3& other), Null length vector!\n"), std::string::npos);
	}
	std::cout << std::defaultfloat << std::setprecision(6);
}

// Growth of the cell pool: the first block, half of it, then doubling; every
// object is handed out once, the used blocks list them in order, and a reset
// hands out the first block again.
TEST(Values, PoolHandsOutEveryObjectOnce)
{
	SimplePool<Tet3> pool;
	pool.init();
	std::vector<Tet3*> vCells;
	for(int i = 0; i < 28 + 14 + 28 + 56 + 5; ++i) vCells.push_back(pool.alloc());
	EXPECT_EQ(pool.getSizes(), (std::vector<int>{28, 14, 28, 56, 112}));
	EXPECT_EQ(std::set<Tet3*>(vCells.begin(), vCells.end()).size(), vCells.size());
	std::vector<std::pair<Tet3*, size_t>> vBlocks;
	pool.getUsedBlocks(vBlocks);
	std::vector<Tet3*> vListed;
	for(const auto& block : vBlocks)
		for(size_t i = 0; i < block.second; ++i) vListed.push_back(block.first + i);
	EXPECT_EQ(vListed, vCells);
	pool.reset();
	EXPECT_EQ(pool.getNumContainers(), 1u);
	for(int i = 0; i < 28; ++i) EXPECT_EQ(pool.alloc(), vCells[i]);
	vtest::StdoutCapture capture;
	SimplePool<Tet3> other;
	other.init(4, 1);
	EXPECT_EQ(capture.str(), "TrelPool::init(..), Warning: increaseLimit=1\n");
	EXPECT_DEATH(other.init(), "");
}

namespace {

std::string triangleText(const std::string& a, const std::string& b, const std::string& c, const std::string& color)
{
	return "{\nOFF\n3 1 0\n" + a + "\n" + b + "\n" + c + "\n3 0 1 2 " + color + "\n}\n";
}

std::string segmentText(const std::string& a, const std::string& b)
{
	return "{\nVECT\n1 2 1\n2\n1\n" + a + "\n" + b + "\n0 0 0 1\n}\n";
}

const int conditionLine(__LINE__ + 3);
int failingCheck(int value)
{
	ASSERT_CONDITION(value==3);
	return value;
}

} // namespace

TEST(Messages, TextsOfWarningsErrorsConditionsAndCounters)
{
	{
		vtest::StdoutCapture capture;
		printWarning("Dt3::insert()", "something odd");
		printError("Tet3::getEdge()", "opp3ICI==opp2ICI=2");
		printHeadline("Check");
		EXPECT_EQ(failingCheck(3), 3);
		EXPECT_THROW(failingCheck(4), VornException);
		const std::string row(std::string(41, '*') + "\n");
		EXPECT_EQ(capture.str(), "\n      Dt3::insert(), WARNING: something odd\n\n      Tet3::getEdge(), ERROR: opp3ICI==opp2ICI=2\n"
								 "\n\n" + row + row + "                Check\n" + row + row +
								 "\n      Vorn, , ERROR: Condition [ value==3 failed ]\n      tests/test_values.cpp:" +
								 std::to_string(conditionLine) + "\n");
	}
	const std::string fixedText("\n  VORN EXCEPTION due to a bug _or_ wrong usage of Vorn. If you think it is a \n"
								"  bug then please report this incident and it will be fixed quickly: bugs@vorn3d.org");
	EXPECT_EQ(VornException().what(), fixedText);
	EXPECT_STREQ(VornException().detail(), "");
	// A failed condition carries its text and position; copies share them.
	const std::string detail("Condition [ value==3 failed ] at tests/test_values.cpp:" + std::to_string(conditionLine));
	try
	{
		vtest::StdoutCapture quiet;
		failingCheck(5);
		ADD_FAILURE() << "no exception";
	}
	catch(const VornException& e)
	{
		const VornException copy(e);
		EXPECT_EQ(copy.what(), fixedText + "\n  " + detail);
		EXPECT_EQ(copy.detail(), detail);
		EXPECT_EQ(dynamic_cast<const VornInputError*>(&e), nullptr);
	}
	EXPECT_DEATH(
		{
			std::cout.rdbuf(std::cerr.rdbuf());
			goToHell("impossible case");
		},
		"\n      goToHell, ERROR:  reason: impossible case\n");
	EXPECT_EQ(getVorn3DVersion(), "Vorn3D, DEBUG, v0.99.0");
	EXPECT_EQ(getMajorVersionNumber() * 10000 + getMinorVersionNumber() * 100 + getRevisionNumber(), 9900);
	EXPECT_FALSE(isRelease());
	// The counters, in a fresh process so that the table starts empty.
	GTEST_FLAG_SET(death_test_style, "threadsafe");
	EXPECT_EXIT(
		{
			vtest::StdoutCapture capture;
			std::string b("b");
			std::string a("a");
			std::string report("GETCOUNTERS");
			benchCounter(b);
			benchCounter(a);
			benchCounter(b);
			benchCounter(report);
			exit(capture.str() == "\nCounters: \na\t1\nb\t2\n\n" ? 0 : 1);
		},
		::testing::ExitedWithCode(0), "");
}

TEST(Visualizer3, EveryObjectKindAndTheColourCycle)
{
	const std::string name("vis_" + std::to_string(getpid()) + ".list");
	Point3 a(0, 0, 0), b(1, 0, 0), c(0, 2, 0), d(0, 0, 3);
	vtest::StdoutCapture capture;
	Tet3* pCell(new Tet3());
	pCell->setProperties(&a, &b, &c, &d);
	Visualizer3::setColorNumber(0);
	{
		Visualizer3 scene(name);
		scene.writePoints(std::vector<Point3>{Point3(1, 2, 3), Point3(-0.5, 0, 1e-7), Point3(4, 5, 6)}, 3, "C");
		scene.writePoints(std::vector<Point3>(), 1, "C");
		scene.writePolygon(std::vector<Point3>{a, b, Point3(1, 1, 0), Point3(0, 1, 0)}, "BOUNDARY");
		scene.writeTet(pCell, "T");
		scene.writeBall(Point3(1, -2, 0.5), 4.0);
		for(int i = 0; i < 15; ++i) EXPECT_EQ(scene.getNextColor(), Visualizer3::colorArray[i % 14]) << i;
		EXPECT_EQ(scene.getColor(), Visualizer3::colorArray[1]);
	}
	EXPECT_EQ(vtest::readFile(name),
		"LIST\n{\nLIST\n{\nappearance{linewidth 3}\nVECT\n3 3 1\n1 1 1 \n1 0 0 \n1 2 3\n-0.5 0 1e-07\n4 5 6\nC\n}\n" +
			segmentText("0 0 0", "1 0 0") + segmentText("1 0 0", "1 1 0") + segmentText("1 1 0", "0 1 0") +
			segmentText("0 1 0", "0 0 0") + triangleText("1 0 0", "0 2 0", "0 0 3", "T") +
			triangleText("0 0 0", "0 2 0", "0 0 3", "T") + triangleText("0 0 0", "1 0 0", "0 0 3", "T") +
			triangleText("0 0 0", "1 0 0", "0 2 0", "T") + "{\nappearance { +edge -face }\nSPHERE 2 1 -2 0.5\n}\n}\n");
	EXPECT_EQ(capture.str(), "Tet default constructor (is actually not called)\nVisualizer, writing " + name +
			"\n  Writing " + name + "\n\n      Visualizer3::writePoints, WARNING: vPoints.empty()\n");
	std::remove(name.c_str());
	delete pCell;
	EXPECT_EXIT(
		{
			dup2(STDERR_FILENO, STDOUT_FILENO);
			std::cout.rdbuf(std::cerr.rdbuf());
			Visualizer3 scene("no_such_directory/scene.list");
		},
		::testing::ExitedWithCode(1), "Visualizer, writing no_such_directory/scene.list\nno_such_directory/scene.list not open\n");
}
