// The scene writer: the exact OOGL text of every object kind (the format is
// read by other programs), the announcements, the colour cycle shared by all
// writers, and the end of the process when the file cannot be opened.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "StdoutCapture.h"
#include "Tet3.h"
#include "TextFile.h"
#include "Visualizer3.h"

using namespace VORN3D;

namespace {

std::string triangleText(const std::string& a, const std::string& b, const std::string& c, const std::string& color)
{
	return "{\nOFF\n3 1 0\n" + a + "\n" + b + "\n" + c + "\n3 0 1 2 " + color + "\n}\n";
}

std::string segmentText(const std::string& a, const std::string& b)
{
	return "{\nVECT\n1 2 1\n2\n1\n" + a + "\n" + b + "\n0 0 0 1\n}\n";
}

} // namespace

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
