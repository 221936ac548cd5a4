// Validity check, print and show of the kernel: correct meshes pass, meshes
// corrupted by hand fail with the right report and fault file, a visited
// live cell throws.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "Dt3.h"
#include "StdoutCapture.h"
#include "TextFile.h"
#include "Vorn_3D.h"

using VORN3D::Dt3;
using VORN3D::Point3;
using VORN3D::Tet3;

using vtest::readFile;

namespace {

size_t countOf(const std::string& text, const std::string& what)
{
	size_t n(0);
	for(size_t pos = text.find(what); pos != std::string::npos; pos = text.find(what, pos + what.size())) ++n;
	return n;
}

// The number that the next fault file will carry; asking uses one up.
int nextNumberAfterProbe()
{
	return std::stoi(Dt3::nextFileNumber()) + 1;
}

std::string fileNumber(int n)
{
	char buffer[16];
	snprintf(buffer, sizeof(buffer), "%05d_", n);
	return buffer;
}

// Five points whose Delaunay tetrahedralisation is three cells around the
// edge de; the two cells abcd and acbe across the facet abc are the
// non-Delaunay alternative (e lies inside the sphere of abcd).
struct FivePoints
{
	Dt3 dt;
	Point3* pA;
	Point3* pB;
	Point3* pC;
	Point3* pD;
	Point3* pE;
	FivePoints(): dt(nullptr)
	{
		std::vector<Point3> v = {Point3(0, 0, 0), Point3(4, 0, 0), Point3(0, 4, 0), Point3(1, 1, 1), Point3(1, 1, -1)};
		std::vector<Point3*> vHandles;
		vtest::StdoutCapture quiet;
		dt.insert(v, vHandles);
		pA = vHandles[0];
		pB = vHandles[1];
		pC = vHandles[2];
		pD = vHandles[3];
		pE = vHandles[4];
	}
	std::vector<Tet3*> cells()
	{
		std::vector<Tet3*> v;
		dt.getAllTetrahedra(v);
		return v;
	}
	// Rebuilds the mesh by hand as the two cells across abc. The third cell
	// leaves the mesh the way the kernel removes cells: flagged as visited.
	void flipToTwoCells(Tet3*& pT1, Tet3*& pT2)
	{
		std::vector<Tet3*> v(cells());
		ASSERT_EQ(v.size(), 3u);
		pT1 = v[0];
		pT2 = v[1];
		v[2]->hasBeenVisited = true;
		pT1->setProperties(pA, pB, pC, pD);
		pT2->setProperties(pA, pC, pB, pE);
		pT1->setOppTet(3, pT2);
		pT2->setOppTet(3, pT1);
	}
};

} // namespace

TEST(CheckValidity, KernelMeshesPassWithBothFlags)
{
	std::mt19937 rng(8);
	std::uniform_real_distribution<double> dist(0.0, 1.0);
	std::vector<Point3> v;
	for(int i = 0; i < 500; ++i)
	{
		const double x(dist(rng)), y(dist(rng)), z(dist(rng));
		v.push_back(Point3(x, y, z));
	}
	VORN3D::Vorn_3D vorn;
	std::vector<Point3*> vHandles;
	std::vector<Tet3*> vTets;
	{
		vtest::StdoutCapture quiet;
		vorn.insert(v, vHandles);
	}
	vorn.getTetrahedra(vTets);
	for(bool b : {false, true})
	{
		vtest::StdoutCapture capture;
		EXPECT_TRUE(vorn.checkValidity("random", b));
		const std::string n(std::to_string(vTets.size()));
		EXPECT_EQ(capture.str(), "\n\n** CheckValidity at [random]: Number of tetrahedra: " + n +
				"\n   with --checkvisited\n" + (b ? "   with --checkSphereInc\n" : "   without --checkSphereInc\n") +
				"   vTets.size()=" + n + "\n** CheckValidity at (random) has been finished, seems OK\n\n");
	}
}

TEST(CheckValidity, EmptyMeshPasses)
{
	Dt3 dt(nullptr);
	vtest::StdoutCapture capture;
	EXPECT_TRUE(dt.checkValidity("empty", true, true));
	EXPECT_NE(capture.str().find("Number of tetrahedra: 0\n"), std::string::npos);
	EXPECT_NE(capture.str().find("seems OK"), std::string::npos);
}

TEST(CheckValidity, NonDelaunayFlipFailsOnlyWithTheSphereTest)
{
	FivePoints five;
	ASSERT_EQ(five.cells().size(), 3u);
	{
		vtest::StdoutCapture quiet;
		ASSERT_TRUE(five.dt.checkValidity("three", true, true));
	}
	Tet3* pT1;
	Tet3* pT2;
	five.flipToTwoCells(pT1, pT2);
	ASSERT_EQ(five.cells().size(), 2u);
	{
		vtest::StdoutCapture quiet;
		EXPECT_TRUE(five.dt.checkValidity("two", true, false));
	}
	const int number(nextNumberAfterProbe());
	const std::string fileName(fileNumber(number) + "sphereIncBug.list");
	std::remove(fileName.c_str());
	vtest::StdoutCapture capture;
	EXPECT_FALSE(five.dt.checkValidity("two", true, true));
	const std::string out(capture.str());
	EXPECT_NE(out.find("checkValidity: ERROR ERROR ERROR"), std::string::npos);
	EXPECT_NE(out.find("Dt3::checkValidity, HUH - sphereIncTest failed: "), std::string::npos);
	EXPECT_EQ(out.find("seems OK"), std::string::npos);
	// The far corner that lies in the sphere is e or d, whichever cell was
	// checked first.
	const Tet3* pFirst(five.cells()[0]);
	const Point3* pFar(pFirst == pT1 ? five.pE : five.pD);
	std::ostringstream vertexText;
	vertexText << ", Vertex=" << static_cast<const void*>(pFar) << "=" << *pFar;
	EXPECT_NE(out.find(vertexText.str()), std::string::npos);
	// The fault file: the cell, the vertex and the circumsphere.
	const std::string scene(readFile(fileName));
	EXPECT_EQ(scene.substr(0, 7), "LIST\n{\n");
	EXPECT_EQ(countOf(scene, "OFF"), 4u);
	EXPECT_EQ(countOf(scene, "1 0 0 0.5"), 4u);
	EXPECT_EQ(countOf(scene, "1 1 1 0.5"), 1u);
	EXPECT_EQ(countOf(scene, "SPHERE "), 1u);
	std::remove(fileName.c_str());
}

TEST(CheckValidity, CellOnTheWrongSideFailsTheOrientationTest)
{
	FivePoints five;
	Tet3* pT1;
	Tet3* pT2;
	five.flipToTwoCells(pT1, pT2);
	// The far corner of pT2 seen from pT1 becomes d: on pT1's own side.
	pT2->setCorner(3, five.pD);
	const int number(nextNumberAfterProbe());
	const std::string fileName(fileNumber(number) + "negSideBug.list");
	std::remove(fileName.c_str());
	vtest::StdoutCapture capture;
	EXPECT_FALSE(five.dt.checkValidity("wrong side", true, false));
	const std::string out(capture.str());
	EXPECT_NE(out.find("ERROR: checkValidity at [wrong side]"), std::string::npos);
	std::ostringstream line;
	line << "Dt3::checkValidity, HUH, vertex " << static_cast<const void*>(five.pD)
		 << " should be on the negative side, tet=";
	EXPECT_NE(out.find(line.str()), std::string::npos);
	EXPECT_NE(out.find("oppIndex=3, Vertex="), std::string::npos);
	EXPECT_NE(out.find("checkValidity: positive\n"), std::string::npos);
	// The scene of the whole mesh with the vertex highlighted.
	EXPECT_NE(out.find("  Dt3::show(): vTets.size()=2\n"), std::string::npos);
	const std::string scene(readFile(fileName));
	EXPECT_EQ(countOf(scene, "OFF"), 8u);
	EXPECT_EQ(countOf(scene, "0 1 0 0.5"), 8u);
	EXPECT_EQ(countOf(scene, "1 0 0 0.5"), 1u);
	std::remove(fileName.c_str());
}

TEST(CheckValidity, VisitedLiveCellThrows)
{
	FivePoints five;
	std::vector<Tet3*> v(five.cells());
	v[1]->hasBeenVisited = true;
	vtest::StdoutCapture capture;
	EXPECT_THROW(five.dt.checkValidity("dirty", true, true), VornException);
	const std::string out(capture.str());
	EXPECT_NE(out.find("\n      Dt3::CheckValidity(), ERROR: pcurrentTet->hasBeenvisited=true\n"), std::string::npos);
	EXPECT_NE(out.find("Condition [ false failed ]"), std::string::npos);
	v[1]->hasBeenVisited = false;
}

TEST(FaultFiles, NumbersRunOnWithFiveDigits)
{
	const std::string first(Dt3::nextFileNumber());
	const std::string second(Dt3::nextFileNumber());
	ASSERT_EQ(first.size(), 6u);
	EXPECT_EQ(first[5], '_');
	EXPECT_EQ(std::stoi(second), std::stoi(first) + 1);
	EXPECT_EQ(second, fileNumber(std::stoi(first) + 1));
}

TEST(FaultFiles, FirstFaultOfAProcessIsNumberedZero)
{
	// A fresh process: the numbering starts at 00000_.
	GTEST_FLAG_SET(death_test_style, "threadsafe");
	EXPECT_EXIT(
		{
			FivePoints five;
			Tet3* pT1;
			Tet3* pT2;
			five.flipToTwoCells(pT1, pT2);
			std::remove("00000_sphereIncBug.list");
			bool bPassed;
			{
				vtest::StdoutCapture quiet;
				bPassed = five.dt.checkValidity("fresh", true, true);
			}
			std::ifstream in("00000_sphereIncBug.list");
			const bool bFound(in.good());
			std::remove("00000_sphereIncBug.list");
			exit(!bPassed && bFound ? 0 : 1);
		},
		::testing::ExitedWithCode(0), "");
}

TEST(PrintAndShow, ListEveryCell)
{
	FivePoints five;
	const size_t n(five.cells().size());
	{
		vtest::StdoutCapture capture;
		five.dt.print("five");
		const std::string out(capture.str());
		EXPECT_EQ(out.substr(0, 35), "\n\n**** Dt3::print(five), numTets=3\n");
		EXPECT_EQ(countOf(out, "Tetrahedron (ID="), n);
	}
	{
		vtest::StdoutCapture capture;
		five.dt.show("kernel_show.list", five.pE);
		EXPECT_NE(capture.str().find("  Dt3::show(): vTets.size()=3\n"), std::string::npos);
	}
	const std::string scene(readFile("kernel_show.list"));
	EXPECT_EQ(countOf(scene, "OFF"), 4 * n);
	// Four green corners per cell and the highlighted point in red.
	EXPECT_EQ(countOf(scene, "0 1 0 0.5"), 4 * n);
	EXPECT_EQ(countOf(scene, "VECT"), 4 * n + 1);
	std::remove("kernel_show.list");

	Dt3 empty(nullptr);
	vtest::StdoutCapture capture;
	empty.print("none");
	EXPECT_NE(capture.str().find("\n\n**** Dt3::print(none), numTets=0\n"), std::string::npos);
}
