// Visualizer3: the exact layout of every object kind, the colour table and
// its shared counter, and a small OOGL reader that checks the counts in a
// scene against the data written.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

#include "SimplePool.h"
#include "StdoutCapture.h"
#include "TextFile.h"
#include "Tet3.h"
#include "Visualizer3.h"

using VORN3D::Point3;
using VORN3D::SimplePool;
using VORN3D::Tet3;
using VORN3D::Visualizer3;

using vtest::readFile;

namespace {

// A file name of its own for each test and process: tests run in parallel
// in one working directory.
std::string sceneName()
{
	const ::testing::TestInfo* pInfo(::testing::UnitTest::GetInstance()->current_test_info());
	return std::string("vis_") + pInfo->test_suite_name() + "_" + pInfo->name() + "_" + std::to_string(getpid()) +
		".list";
}

// Writes a scene with the given body and returns the file's text.
template <class F> std::string writeScene(F body)
{
	const std::string name(sceneName());
	{
		vtest::StdoutCapture capture;
		Visualizer3 scene(name);
		body(scene);
	}
	const std::string text(readFile(name));
	std::remove(name.c_str());
	return text;
}

std::string segmentText(const std::string& a, const std::string& b, const std::string& color)
{
	return "{\nVECT\n1 2 1\n2\n1\n" + a + "\n" + b + "\n" + color + "\n}\n";
}

std::string triangleText(const std::string& a, const std::string& b, const std::string& c, const std::string& color)
{
	return "{\nOFF\n3 1 0\n" + a + "\n" + b + "\n" + c + "\n3 0 1 2 " + color + "\n}\n";
}

// ---- a small reader of the OOGL subset that the writer produces ----

struct SceneSummary
{
	int numVect = 0;
	int numVectVertices = 0;
	int numOff = 0;
	int numOffFaces = 0;
	int numSphere = 0;
	std::vector<double> vRadii;
};

class OoglReader
{
public:
	explicit OoglReader(const std::string& text)
	{
		std::string token;
		for(char ch : text)
		{
			if(ch == '{' || ch == '}' || std::isspace(static_cast<unsigned char>(ch)))
			{
				if(!token.empty()) vTokens.push_back(token);
				token.clear();
				if(ch == '{' || ch == '}') vTokens.push_back(std::string(1, ch));
			}
			else token += ch;
		}
		if(!token.empty()) vTokens.push_back(token);
	}

	// The whole file: one top-level LIST and nothing after it.
	SceneSummary read()
	{
		expect("LIST");
		readGroup();
		if(position != vTokens.size()) throw std::runtime_error("text after the top-level list");
		return summary;
	}

private:
	const std::string& next()
	{
		if(position >= vTokens.size()) throw std::runtime_error("unexpected end of file");
		return vTokens[position++];
	}
	const std::string& peek() const
	{
		static const std::string end;
		return position < vTokens.size() ? vTokens[position] : end;
	}
	void expect(const std::string& what)
	{
		const std::string& token(next());
		if(token != what) throw std::runtime_error("expected " + what + ", got " + token);
	}
	double number()
	{
		const std::string& token(next());
		size_t used(0);
		const double value(std::stod(token, &used));
		if(used != token.size()) throw std::runtime_error("not a number: " + token);
		return value;
	}
	int count()
	{
		const double value(number());
		if(value < 0 || value != static_cast<int>(value)) throw std::runtime_error("not a count");
		return static_cast<int>(value);
	}
	void readColor()
	{
		for(int i = 0; i < 4; ++i)
		{
			const double c(number());
			if(c < 0.0 || c > 1.0) throw std::runtime_error("colour component out of 0..1");
		}
	}

	// "{" [appearance {...}] objects "}"
	void readGroup()
	{
		expect("{");
		if(peek() == "appearance")
		{
			next();
			expect("{");
			while(next() != "}")
			{
			}
		}
		while(peek() != "}") readObject();
		expect("}");
	}

	void readObject()
	{
		const std::string kind(peek());
		if(kind == "{") return readGroup();
		next();
		if(kind == "LIST") return readGroup();
		if(kind == "VECT") return readVect();
		if(kind == "OFF") return readOff();
		if(kind == "SPHERE") return readSphere();
		throw std::runtime_error("unknown object " + kind);
	}

	void readVect()
	{
		const int numPolylines(count()), numVertices(count()), numColors(count());
		int sumVertices(0), sumColors(0);
		for(int i = 0; i < numPolylines; ++i) sumVertices += count();
		for(int i = 0; i < numPolylines; ++i) sumColors += count();
		if(sumVertices != numVertices) throw std::runtime_error("VECT vertex counts do not add up");
		if(sumColors != numColors) throw std::runtime_error("VECT colour counts do not add up");
		for(int i = 0; i < 3 * numVertices; ++i) number();
		for(int i = 0; i < numColors; ++i) readColor();
		++summary.numVect;
		summary.numVectVertices += numVertices;
	}

	void readOff()
	{
		const int numVertices(count()), numFaces(count());
		count();
		for(int i = 0; i < 3 * numVertices; ++i) number();
		for(int f = 0; f < numFaces; ++f)
		{
			const int numCorners(count());
			for(int k = 0; k < numCorners; ++k)
			{
				if(count() >= numVertices) throw std::runtime_error("OFF face index out of range");
			}
			readColor();
		}
		++summary.numOff;
		summary.numOffFaces += numFaces;
	}

	void readSphere()
	{
		summary.vRadii.push_back(number());
		number();
		number();
		number();
		++summary.numSphere;
	}

	std::vector<std::string> vTokens;
	size_t position = 0;
	SceneSummary summary;
};

template <class F> void withStdoutOnStderr(F f)
{
	std::cout.rdbuf(std::cerr.rdbuf());
	f();
}

class CellFixture : public ::testing::Test
{
protected:
	void SetUp() override
	{
		pool.init();
		pCell = pool.alloc();
		pCell->setProperties(&a, &b, &c, &d);
	}
	Point3 a{0, 0, 0}, b{1, 0, 0}, c{0, 2, 0}, d{0, 0, 3};
	SimplePool<Tet3> pool;
	Tet3* pCell;
};

} // namespace

TEST(Visualizer3Scene, EmptySceneAndAnnouncements)
{
	const std::string name(sceneName());
	vtest::StdoutCapture capture;
	{
		Visualizer3 scene(name);
	}
	EXPECT_EQ(capture.str(), "Visualizer, writing " + name + "\n  Writing " + name + "\n");
	EXPECT_EQ(readFile(name), "LIST\n{\n}\n");
	EXPECT_NO_THROW(OoglReader(readFile(name)).read());
	std::remove(name.c_str());
}

TEST(Visualizer3Scene, CloseWritesTheEndOnce)
{
	const std::string name(sceneName());
	vtest::StdoutCapture capture;
	{
		Visualizer3 scene(name);
		scene.close();
		EXPECT_EQ(readFile(name), "LIST\n{\n}\n");
		scene.close();
		// Writing after close goes nowhere.
		scene.writeSegment(Point3(0, 0, 0), Point3(1, 1, 1), "1 0 0 1");
	}
	EXPECT_EQ(readFile(name), "LIST\n{\n}\n");
	std::remove(name.c_str());
}

TEST(Visualizer3Scene, PointsAsOneVectWithTheColourOnTheFirst)
{
	const std::string text(writeScene([](Visualizer3& scene) {
		scene.writePoints(std::vector<Point3>{Point3(1, 2, 3), Point3(-0.5, 0, 1e-7), Point3(4, 5, 6)}, 3,
			Visualizer3::colorArray[11]);
	}));
	EXPECT_EQ(text, "LIST\n{\n"
					"LIST\n{\nappearance{linewidth 3}\n"
					"VECT\n"
					"3 3 1\n"
					"1 1 1 \n"
					"1 0 0 \n"
					"1 2 3\n-0.5 0 1e-07\n4 5 6\n"
					"1 0 0 0.5\n"
					"}\n"
					"}\n");
	const SceneSummary summary(OoglReader(text).read());
	EXPECT_EQ(summary.numVect, 1);
	EXPECT_EQ(summary.numVectVertices, 3);
}

TEST(Visualizer3Scene, OnePointAndNoPoints)
{
	std::string warnings;
	const std::string text(writeScene([&warnings](Visualizer3& scene) {
		scene.writePoint(Point3(7, 8, 9), 1, "0 0 0 1");
		vtest::StdoutCapture capture;
		scene.writePoints(std::vector<Point3>(), 1, "0 0 0 1");
		warnings = capture.str();
	}));
	EXPECT_EQ(text, "LIST\n{\nLIST\n{\nappearance{linewidth 1}\nVECT\n1 1 1\n1 \n1 \n7 8 9\n0 0 0 1\n}\n}\n");
	EXPECT_EQ(warnings, "\n      Visualizer3::writePoints, WARNING: vPoints.empty()\n");
}

TEST(Visualizer3Scene, Segment)
{
	const std::string text(writeScene(
		[](Visualizer3& scene) { scene.writeSegment(Point3(0, 0.25, -1), Point3(1e10, 2, 3), "0.1 0.2 0.3 1"); }));
	EXPECT_EQ(text, "LIST\n{\n" + segmentText("0 0.25 -1", "1e+10 2 3", "0.1 0.2 0.3 1") + "}\n");
}

TEST(Visualizer3Scene, PolygonAsTriangleFan)
{
	const std::vector<Point3> vQuad{Point3(0, 0, 0), Point3(1, 0, 0), Point3(1, 1, 0), Point3(0, 1, 0)};
	const std::string color(Visualizer3::colorArray[18]);
	const std::string text(writeScene([&](Visualizer3& scene) { scene.writePolygon(vQuad, color); }));
	EXPECT_EQ(text, "LIST\n{\n" + triangleText("0 0 0", "1 0 0", "1 1 0", color) +
			triangleText("0 0 0", "1 1 0", "0 1 0", color) + "}\n");
	// The colour with a tab is copied verbatim.
	EXPECT_NE(text.find("3 0 1 2 0.49\t0.99 0.00 0.5\n"), std::string::npos);
	const SceneSummary summary(OoglReader(text).read());
	EXPECT_EQ(summary.numOff, 2);
	EXPECT_EQ(summary.numOffFaces, 2);
}

TEST(Visualizer3Scene, BoundaryPolygonAsClosedBlackOutline)
{
	const std::vector<Point3> vQuad{Point3(0, 0, 0), Point3(1, 0, 0), Point3(1, 1, 0), Point3(0, 1, 0)};
	const std::string text(writeScene([&](Visualizer3& scene) { scene.writePolygon(vQuad, "BOUNDARY"); }));
	EXPECT_EQ(text, "LIST\n{\n" + segmentText("0 0 0", "1 0 0", "0 0 0 1") + segmentText("1 0 0", "1 1 0", "0 0 0 1") +
			segmentText("1 1 0", "0 1 0", "0 0 0 1") + segmentText("0 1 0", "0 0 0", "0 0 0 1") + "}\n");
}

TEST_F(CellFixture, CellAsFourTriangles)
{
	const std::string text(writeScene([&](Visualizer3& scene) { scene.writeTet(pCell, "1 1 0 0.5"); }));
	// Facet i: the other three corners in increasing index.
	EXPECT_EQ(text, "LIST\n{\n" + triangleText("1 0 0", "0 2 0", "0 0 3", "1 1 0 0.5") +
			triangleText("0 0 0", "0 2 0", "0 0 3", "1 1 0 0.5") +
			triangleText("0 0 0", "1 0 0", "0 0 3", "1 1 0 0.5") +
			triangleText("0 0 0", "1 0 0", "0 2 0", "1 1 0 0.5") + "}\n");
}

TEST_F(CellFixture, CellAsBoundaryOutlines)
{
	const std::string text(writeScene([&](Visualizer3& scene) { scene.writeTet(pCell, "BOUNDARY"); }));
	const SceneSummary summary(OoglReader(text).read());
	EXPECT_EQ(summary.numVect, 12);
	EXPECT_EQ(summary.numVectVertices, 24);
	EXPECT_EQ(summary.numOff, 0);
	EXPECT_NE(text.find(segmentText("0 2 0", "0 0 3", "0 0 0 1") + segmentText("0 0 3", "1 0 0", "0 0 0 1")),
		std::string::npos);
}

TEST(Visualizer3Scene, BallAsSphereOfTheRadius)
{
	const std::string text(writeScene([](Visualizer3& scene) { scene.writeBall(Point3(1, -2, 0.5), 4.0); }));
	EXPECT_EQ(text, "LIST\n{\n{\nappearance { +edge -face }\nSPHERE 2 1 -2 0.5\n}\n}\n");
}

TEST_F(CellFixture, MixedSceneCountsAgreeWithTheData)
{
	std::vector<Point3> vPoints;
	for(int i = 0; i < 7; ++i) vPoints.push_back(Point3(i, i * i, -i));
	const std::vector<Point3> vPentagon{
		Point3(0, 0, 0), Point3(2, 0, 0), Point3(3, 1, 0), Point3(1, 3, 0), Point3(-1, 1, 0)};
	const std::string text(writeScene([&](Visualizer3& scene) {
		scene.writePoints(vPoints, 2, scene.getNextColor());
		scene.writeSegment(vPoints[0], vPoints[1], scene.getNextColor());
		scene.writePolygon(vPentagon, scene.getNextColor());
		scene.writePolygon(vPentagon, "BOUNDARY");
		scene.writeTet(pCell, scene.getNextColor());
		scene.writeBall(Point3(0, 0, 0), 9.0);
		scene.writeBall(Point3(1, 1, 1), 0.25);
		scene.writePoint(vPoints[3], 5, scene.getNextColor());
	}));
	const SceneSummary summary(OoglReader(text).read());
	// VECT: the point set, one segment, five outline segments, one point.
	EXPECT_EQ(summary.numVect, 1 + 1 + 5 + 1);
	EXPECT_EQ(summary.numVectVertices, 7 + 2 + 10 + 1);
	// OFF: three fan triangles of the pentagon and four cell facets.
	EXPECT_EQ(summary.numOff, 3 + 4);
	EXPECT_EQ(summary.numOffFaces, 7);
	EXPECT_EQ(summary.numSphere, 2);
	EXPECT_EQ(summary.vRadii, (std::vector<double>{3.0, 0.5}));
}

TEST(Visualizer3Reader, RejectsInconsistentCounts)
{
	// The reader must catch what it is there to catch.
	EXPECT_THROW(OoglReader("LIST\n{\n{\nVECT\n1 2 1\n3\n1\n0 0 0\n1 1 1\n1 0 0 1\n}\n}\n").read(), std::runtime_error);
	EXPECT_THROW(OoglReader("LIST\n{\n{\nOFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 3 1 0 0 1\n}\n}\n").read(),
		std::runtime_error);
	EXPECT_THROW(OoglReader("LIST\n{\n").read(), std::runtime_error);
	EXPECT_NO_THROW(OoglReader("LIST\n{\n{\nVECT\n1 2 1\n2\n1\n0 0 0\n1 1 1\n1 0 0 1\n}\n}\n").read());
}

TEST(Visualizer3Colors, TableIsKeptExactly)
{
	const char* const aValue[27] = {"0 0.749 1 0.5", "0 0.1 .803 0.5", "1 1 0 0.5", "1 0.411 0.705 0.5",
		"0.1 0.1 0.1 0.5", "0.823 0.705 0.549 0.5", "0.545 0.271 0.074 0.5", "1 0.627 0 0.5",
		"0.627 0.125 0.941 0.5", ".745 .745 .745 0.5", ".445 .445 .445 0.5", "1 0 0 0.5", "0 1 0 0.5", "1 1 1 0.5",
		".86 .08 .24 0.5", "1 .55 0 0.5", ".85 .65 .13 0.5", ".5 .5 .0 0.5", "0.49\t0.99 0.00 0.5",
		"0.68 1.00 0.18 0.5", "0.60\t0.98 0.60 0.5", "0.00 0.98 0.60 0.5", "0.13 0.70 0.67 0.5",
		"0.00 1.00 1.00 0.5", "0.27 0.51 0.71 0.5", "0.10 0.10 0.44 0.5", "0.96 0.87 0.7 0.5"};
	const char* const aName[27] = {"LIGHTBLUE", "DARKBLUE", "YELLOW", "PINK", "BLACK", "LIGHTBROWN", "DARKBROWN",
		"ORANGE", "PURPLE", "GRAY", "LIGHTGRAY", "RED", "GREEN", "WHITE", "CRIMSON", "CDARKORANGE", "CGOLDENROD",
		"COLIVE", "CLAWNGREEN", "CGREENYELLOW", "CPALEGREEN", "CMEDSPRINGGREEN", "CLIGHTSEAGREAN", "CCYAN",
		"CSTEELBLUE", "MIDNIGHTBLUE", "CWHEAT"};
	ASSERT_EQ(Visualizer3::numColors, 27);
	for(int i = 0; i < 27; ++i)
	{
		EXPECT_EQ(std::string(Visualizer3::colorArray[i]), aValue[i]) << i;
		EXPECT_EQ(std::string(Visualizer3::colorNames[i]), aName[i]) << i;
		// Every value reads as four numbers with an alpha of 0.5.
		std::istringstream stream(Visualizer3::colorArray[i]);
		double r, g, b, alpha;
		EXPECT_TRUE(static_cast<bool>(stream >> r >> g >> b >> alpha)) << i;
		EXPECT_EQ(alpha, 0.5);
	}
}

TEST(Visualizer3Colors, CounterCyclesOverTheFirstFourteenAcrossWriters)
{
	const std::string nameA(sceneName() + "A"), nameB(sceneName() + "B");
	vtest::StdoutCapture capture;
	Visualizer3::setColorNumber(0);
	{
		Visualizer3 first(nameA);
		Visualizer3 second(nameB);
		// getColor alone does not advance.
		EXPECT_EQ(first.getColor(), Visualizer3::colorArray[0]);
		EXPECT_EQ(first.getColor(), Visualizer3::colorArray[0]);
		for(int i = 0; i < 15; ++i)
		{
			Visualizer3& scene(i % 2 == 0 ? first : second);
			EXPECT_EQ(scene.getNextColor(), Visualizer3::colorArray[i % 14]) << i;
		}
		EXPECT_EQ(second.getColor(), Visualizer3::colorArray[1]);
	}
	std::remove(nameA.c_str());
	std::remove(nameB.c_str());
	EXPECT_EQ(capture.str().find("Attention"), std::string::npos);
}

TEST(Visualizer3Colors, NumberBeyondTheCycleGivesTheLastColour)
{
	const std::string name(sceneName());
	vtest::StdoutCapture capture;
	{
		Visualizer3 scene(name);
		Visualizer3::setColorNumber(20);
		const std::string before(capture.str());
		EXPECT_EQ(scene.getColor(), "1 1 1 0.5");
		EXPECT_EQ(capture.str().substr(before.size()),
			"Attention, returning colorArray[13] which is the last available color\n");
	}
	std::remove(name.c_str());
}

TEST(Visualizer3Death, FileThatCannotBeOpenedEndsTheProcess)
{
	EXPECT_EXIT(withStdoutOnStderr([] { Visualizer3 scene("no_such_directory/scene.list"); }),
		::testing::ExitedWithCode(1),
		"Visualizer, writing no_such_directory/scene.list\nno_such_directory/scene.list not open\n");
}

TEST(Visualizer3Death, NullCellIsReported)
{
	const std::string name(sceneName());
	EXPECT_DEATH(withStdoutOnStderr([&name] {
		Visualizer3 scene(name);
		scene.writeTet(nullptr, "1 1 1 1");
	}),
		"\n      Visualizer3:.writeTet\\(\\), ERROR: c==NULL\n");
	std::remove(name.c_str());
}

#ifndef NDEBUG
TEST(Visualizer3Death, PolygonNeedsThreePoints)
{
	const std::string name(sceneName());
	EXPECT_DEATH(
		{
			Visualizer3 scene(name);
			scene.writePolygon(std::vector<Point3>{Point3(0, 0, 0), Point3(1, 0, 0)}, "BOUNDARY");
		},
		"vPoints.size\\(\\)>2");
	std::remove(name.c_str());
}
#endif
