// Surface3: STL reading (ASCII and binary), vertex merging, neighbour links,
// edge counts and the messages for broken input.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <limits>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "StdoutCapture.h"
#include "Surface3.h"
#include "SurfaceChecks.h"
#include "Vorn_3D.h"

using VORN3D::Point3;
using VORN3D::Surface3;
using VORN3D::Triangle3;

namespace {

// Nine coordinates: three corners of one facet.
using Facet = std::array<double, 9>;

const std::string WARN_READ("\n      Surface3::readSTL(), WARNING: ");

std::string asciiStl(const std::vector<Facet>& vFacets, const std::string& name = "part")
{
	std::ostringstream out;
	out.precision(17);
	out << "solid " << name << "\n";
	for(const Facet& f : vFacets)
	{
		out << "  facet normal 0 0 0\n    outer loop\n";
		for(int c = 0; c < 3; ++c) out << "      vertex " << f[3 * c] << " " << f[3 * c + 1] << " " << f[3 * c + 2] << "\n";
		out << "    endloop\n  endfacet\n";
	}
	out << "endsolid " << name << "\n";
	return out.str();
}

void appendLittleEndian32(std::string& bytes, std::uint32_t value)
{
	for(int k = 0; k < 4; ++k) bytes.push_back(char((value >> (8 * k)) & 0xff));
}

void appendFloat(std::string& bytes, float value)
{
	std::uint32_t bits;
	std::memcpy(&bits, &value, sizeof(bits));
	appendLittleEndian32(bytes, bits);
}

// Binary STL; the header text is padded with zero bytes to 80 bytes.
std::string binaryStl(const std::vector<Facet>& vFacets, const std::string& header = "")
{
	std::string bytes(header.substr(0, 80));
	bytes.resize(80, '\0');
	appendLittleEndian32(bytes, std::uint32_t(vFacets.size()));
	for(const Facet& f : vFacets)
	{
		for(int k = 0; k < 3; ++k) appendFloat(bytes, 0.0f);
		for(double value : f) appendFloat(bytes, float(value));
		bytes.append(2, '\0');
	}
	return bytes;
}

// A file in the temporary directory, unique per process, removed at the end.
class TempFile
{
public:
	explicit TempFile(const std::string& content)
	{
		static int counter(0);
		path = ::testing::TempDir() + "vorn3d_surface3_" + std::to_string(getpid()) + "_" +
			   std::to_string(counter++) + ".stl";
		std::ofstream file(path, std::ios::binary);
		file.write(content.data(), std::streamsize(content.size()));
	}
	~TempFile() { std::remove(path.c_str()); }
	TempFile(const TempFile&) = delete;
	TempFile& operator=(const TempFile&) = delete;
	const std::string& getPath() const { return path; }

private:
	std::string path;
};

struct ReadOutcome
{
	bool bOk;
	std::string output;
};

ReadOutcome readFile(Surface3& surface, const std::string& path)
{
	vtest::StdoutCapture capture;
	const bool bOk(surface.readSTL(path));
	return ReadOutcome{bOk, capture.str()};
}

ReadOutcome readContent(Surface3& surface, const std::string& content)
{
	TempFile file(content);
	return readFile(surface, file.getPath());
}

std::string reportLine(int numTriangles, int numVertices, int numEdges, int numManifold, int numBorder,
		int numNonManifold, int numMisoriented)
{
	return "      Surface3::establishNeighborships(): " + std::to_string(numTriangles) + " triangles, " +
		   std::to_string(numVertices) + " vertices, " + std::to_string(numEdges) + " edges (" +
		   std::to_string(numManifold) + " manifold, " + std::to_string(numBorder) + " border, " +
		   std::to_string(numNonManifold) + " non-manifold, " + std::to_string(numMisoriented) + " misoriented)\n";
}

// Number of distinct corner positions, by an ordered set of coordinates
// (which, like the reader, does not tell 0.0 from -0.0).
std::size_t distinctCorners(const std::vector<Facet>& vFacets)
{
	std::set<std::tuple<double, double, double>> corners;
	for(const Facet& f : vFacets)
	{
		for(int c = 0; c < 3; ++c) corners.insert(std::make_tuple(f[3 * c], f[3 * c + 1], f[3 * c + 2]));
	}
	return corners.size();
}

// Triangle t has the corners of facet t, in the file's order.
void expectTrianglesMatchFacets(const Surface3& surface, const std::vector<Facet>& vFacets)
{
	ASSERT_EQ(surface.getNumTriangles(), vFacets.size());
	for(std::size_t t = 0; t < vFacets.size(); ++t)
	{
		for(int c = 0; c < 3; ++c)
		{
			const Point3* pCorner(surface.getTriangle(t)->getCorner(c));
			EXPECT_EQ(pCorner->x(), vFacets[t][3 * c]) << "triangle " << t << " corner " << c;
			EXPECT_EQ(pCorner->y(), vFacets[t][3 * c + 1]) << "triangle " << t << " corner " << c;
			EXPECT_EQ(pCorner->z(), vFacets[t][3 * c + 2]) << "triangle " << t << " corner " << c;
		}
	}
}

void expectEmpty(const Surface3& surface)
{
	EXPECT_TRUE(surface.isEmpty());
	EXPECT_EQ(surface.getNumTriangles(), 0u);
	EXPECT_EQ(surface.getNumVertices(), 0u);
	EXPECT_EQ(surface.getEdgeCounts().numEdges, 0u);
	EXPECT_FALSE(surface.isClosed());
}

// Outward-oriented tetrahedron on A=(0,0,0), B=(1,0,0), C=(0,1,0), D=(0,0,1):
// faces ACB, ABD, ADC, BCD.
std::vector<Facet> tetrahedron()
{
	return {Facet{0, 0, 0, 0, 1, 0, 1, 0, 0}, Facet{0, 0, 0, 1, 0, 0, 0, 0, 1}, Facet{0, 0, 0, 0, 0, 1, 0, 1, 0},
			Facet{1, 0, 0, 0, 1, 0, 0, 0, 1}};
}

} // namespace

TEST(Surface3Read, AsciiTetrahedronIsClosedAndFullyLinked)
{
	Surface3 surface;
	const ReadOutcome outcome(readContent(surface, asciiStl(tetrahedron())));
	ASSERT_TRUE(outcome.bOk) << outcome.output;
	EXPECT_EQ(outcome.output, reportLine(4, 4, 6, 6, 0, 0, 0));
	EXPECT_EQ(surface.getNumVertices(), 4u);
	expectTrianglesMatchFacets(surface, tetrahedron());
	EXPECT_TRUE(surface.isClosed());
	EXPECT_EQ(vtest::surfaceInvariantViolation(surface), "");
}

TEST(Surface3Read, RandomTriangleSoupsAgreeWithBruteForce)
{
	// Few distinct points, so that edges are shared by one, two or many
	// triangles and facets repeat; degenerate ones are avoided here.
	std::mt19937 random(777);
	for(int round = 0; round < 25; ++round)
	{
		std::vector<std::array<double, 3>> vPool;
		const int numPool(4 + int(random() % 6));
		for(int k = 0; k < numPool; ++k)
		{
			vPool.push_back({double(int(random() % 7) - 3) * 0.5, double(int(random() % 7) - 3) * 0.25, double(k)});
		}
		std::vector<Facet> vFacets;
		const int numFacets(1 + int(random() % 30));
		for(int f = 0; f < numFacets; ++f)
		{
			int a(int(random() % numPool)), b(int(random() % numPool)), c(int(random() % numPool));
			while(b == a) b = int(random() % numPool);
			while(c == a || c == b) c = int(random() % numPool);
			Facet facet;
			for(int k = 0; k < 3; ++k)
			{
				facet[k] = vPool[a][k];
				facet[3 + k] = vPool[b][k];
				facet[6 + k] = vPool[c][k];
			}
			vFacets.push_back(facet);
		}
		Surface3 ascii, binary;
		ASSERT_TRUE(readContent(ascii, asciiStl(vFacets)).bOk);
		ASSERT_TRUE(readContent(binary, binaryStl(vFacets)).bOk);
		for(const Surface3* pSurface : {&ascii, &binary})
		{
			EXPECT_EQ(pSurface->getNumVertices(), distinctCorners(vFacets)) << "round " << round;
			expectTrianglesMatchFacets(*pSurface, vFacets);
			EXPECT_EQ(vtest::surfaceInvariantViolation(*pSurface), "") << "round " << round;
		}
		EXPECT_EQ(ascii.getEdgeCounts().numNonManifoldEdges, binary.getEdgeCounts().numNonManifoldEdges);
		EXPECT_EQ(ascii.getEdgeCounts().numMisorientedEdges, binary.getEdgeCounts().numMisorientedEdges);
	}
}

// ---- Broken input: a warning, an empty surface, false ------------------

TEST(Surface3BrokenInput, MissingEmptyAndDirectory)
{
	Surface3 surface;
	ASSERT_TRUE(readContent(surface, asciiStl(tetrahedron())).bOk);
	const std::string missing(::testing::TempDir() + "vorn3d_surface3_no_such_file.stl");
	ReadOutcome outcome(readFile(surface, missing));
	EXPECT_FALSE(outcome.bOk);
	EXPECT_EQ(outcome.output, WARN_READ + "Cannot open file \"" + missing + "\"\n");
	expectEmpty(surface);

	TempFile empty("");
	outcome = readFile(surface, empty.getPath());
	EXPECT_FALSE(outcome.bOk);
	EXPECT_EQ(outcome.output, WARN_READ + "Empty file \"" + empty.getPath() + "\"\n");
	expectEmpty(surface);

	outcome = readFile(surface, ::testing::TempDir());
	EXPECT_FALSE(outcome.bOk);
	EXPECT_EQ(outcome.output, WARN_READ + "Cannot open file \"" + ::testing::TempDir() + "\", it is a directory\n");

	vtest::StdoutCapture capture;
	EXPECT_FALSE(surface.readSTLFromMemory(nullptr, 0, "buffer"));
	EXPECT_EQ(capture.str(), WARN_READ + "Empty file \"buffer\"\n");
}

TEST(Surface3BrokenInput, TruncatedAndDamagedBinary)
{
	Surface3 surface;
	const std::string bytes(binaryStl(tetrahedron(), "solid looks like text"));
	TempFile truncated(bytes.substr(0, bytes.size() - 10));
	ReadOutcome outcome(readFile(surface, truncated.getPath()));
	EXPECT_FALSE(outcome.bOk);
	EXPECT_EQ(outcome.output, WARN_READ + "\"" + truncated.getPath() +
			"\" is a truncated or damaged binary STL file: 274 bytes, but its header announces 4 triangles, "
			"which take 284 bytes\n");
	expectEmpty(surface);

	// Extra bytes after the last record break the size rule as well.
	outcome = readContent(surface, bytes + "x");
	EXPECT_FALSE(outcome.bOk);
	EXPECT_NE(outcome.output.find("285 bytes, but its header announces 4 triangles"), std::string::npos);

	TempFile tiny("\x01\x02garbage");
	outcome = readFile(surface, tiny.getPath());
	EXPECT_FALSE(outcome.bOk);
	EXPECT_EQ(outcome.output, WARN_READ + "\"" + tiny.getPath() +
			"\" is not an STL file (9 bytes: no ASCII \"solid\" header, too short for binary)\n");
	expectEmpty(surface);

	std::vector<Facet> vFacets(tetrahedron());
	vFacets[2][4] = std::numeric_limits<double>::quiet_NaN();
	TempFile withNaN(binaryStl(vFacets));
	outcome = readFile(surface, withNaN.getPath());
	EXPECT_FALSE(outcome.bOk);
	EXPECT_EQ(outcome.output, WARN_READ + "\"" + withNaN.getPath() +
			"\" is a damaged binary STL file: triangle 2 has a non-finite coordinate\n");
	expectEmpty(surface);

	TempFile noTriangles(binaryStl({}));
	outcome = readFile(surface, noTriangles.getPath());
	EXPECT_FALSE(outcome.bOk);
	EXPECT_EQ(outcome.output, WARN_READ + "\"" + noTriangles.getPath() + "\" contains no triangles\n");
	expectEmpty(surface);
}

TEST(Surface3BrokenInput, MalformedAscii)
{
	const std::string good(asciiStl(tetrahedron()));
	struct Case
	{
		std::string text;
		std::string problem;
	};
	const std::vector<Case> vCases{
			{good.substr(0, good.find("vertex", good.size() / 2) + 6), "unexpected end of file, expected a number"},
			{good.substr(0, good.find("endsolid")), "unexpected end of file, expected \"facet\" or \"endsolid\""},
			{"solid a\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\nvertex 0 1 0\nvertex 1 1 0\n",
					"expected \"endloop\" but found \"vertex\""},
			{"solid a\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\nvertex 0 1.2.3 0\n",
					"invalid number \"1.2.3\""},
			{"solid a\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\nvertex 0 +-1 0\n",
					"invalid number \"+-1\""},
			{"solid a\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\nvertex 0 1e999 0\n",
					"invalid number \"1e999\""},
			{"solid a\nfacet normal 0 0 1\nouter loop\nvertex nan 0 0\n", "non-finite coordinate \"nan\""},
			{"solid a\nfacet normal 0 0 1\nouter loop\nvertex -inf 0 0\n", "non-finite coordinate \"-inf\""},
			{"solid a\nfacet 0 0 1\n", "expected \"normal\" but found \"0\""},
			{"solid a\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\nvertex 0 1 0\nendloop\nendfacet\n"
			 "endsolid a\ntrailing words\n",
					"expected end of file or \"solid\" but found \"trailing\""},
			{"solid a\n" + std::string(100, 'x') + "\n",
					"expected \"facet\" or \"endsolid\" but found \"" + std::string(40, 'x') + "...\""},
	};
	const std::size_t aLine[] = {0, 0, 7, 6, 6, 6, 4, 4, 2, 10, 2};
	for(std::size_t k = 0; k < vCases.size(); ++k)
	{
		Surface3 surface;
		TempFile file(vCases[k].text);
		const ReadOutcome outcome(readFile(surface, file.getPath()));
		EXPECT_FALSE(outcome.bOk) << "case " << k;
		// The two cut-off files end at the line where they were cut.
		const std::size_t line(aLine[k] != 0 ? aLine[k] : std::size_t(std::count(vCases[k].text.begin(),
																		  vCases[k].text.end(), '\n')) + 1);
		EXPECT_EQ(outcome.output, WARN_READ + "\"" + file.getPath() + "\" is a malformed ASCII STL file, line " +
				std::to_string(line) + ": " + vCases[k].problem + "\n")
				<< "case " << k;
		expectEmpty(surface);
	}
}

TEST(Surface3BrokenInput, NothingUsableInside)
{
	Surface3 surface;
	TempFile noFacets("solid nothing\nendsolid nothing\n");
	ReadOutcome outcome(readFile(surface, noFacets.getPath()));
	EXPECT_FALSE(outcome.bOk);
	EXPECT_EQ(outcome.output, WARN_READ + "\"" + noFacets.getPath() + "\" contains no triangles\n");

	const std::vector<Facet> vNeedles{Facet{1, 2, 3, 1, 2, 3, 4, 5, 6}, Facet{0, 0, 0, 0, 0, 0, 0, 0, 0}};
	TempFile needles(binaryStl(vNeedles));
	outcome = readFile(surface, needles.getPath());
	EXPECT_FALSE(outcome.bOk);
	EXPECT_EQ(outcome.output, WARN_READ + "Skipped 2 degenerate triangles of \"" + needles.getPath() +
			"\" (two corners at the same position)\n" + WARN_READ + "\"" + needles.getPath() +
			"\" contains no triangles with three distinct corners\n");
	expectEmpty(surface);
}

// ---- Ownership --------------------------------------------------------

// A surface handed to a triangulation belongs to it: the triangulation deletes
// it when it is destroyed (a leak or a double delete fails the sanitizer run),
// and the surface's vertices can be inserted like any other points.
TEST(Surface3Ownership, TriangulationDeletesItsSurfaces)
{
	std::vector<Point3*> vHandles;
	VORN3D::Vorn_3D dt;
	Surface3* pCube(new Surface3);
	ASSERT_TRUE(readContent(*pCube, binaryStl(tetrahedron())).bOk);
	Surface3* pUnread(new Surface3);
	dt.addSurface(pCube);
	dt.addSurface(pUnread);
	// Handed over twice, or null: ignored, so nothing is deleted twice.
	dt.addSurface(pCube);
	dt.addSurface(nullptr);
	std::vector<Point3> vPoints;
	pCube->getPoints(vPoints);
	dt.insert(vPoints, vHandles);
	EXPECT_TRUE(dt.is3D());
	ASSERT_EQ(vHandles.size(), pCube->getNumVertices());
	// The surface keeps its own vertices, apart from the mesh's.
	for(std::size_t v = 0; v < vHandles.size(); ++v) EXPECT_NE(vHandles[v], pCube->getVertex(v));
}
