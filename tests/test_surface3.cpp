// Surface3: random triangle soups read as ASCII and binary STL against a
// brute-force grouping of their edges, the exact message for each kind of
// broken file, and the ownership of surfaces handed to a triangulation.
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
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

using namespace VORN3D;

namespace {

using Facet = std::array<double, 9>; // three corners

std::string asciiStl(const std::vector<Facet>& vFacets)
{
	std::ostringstream out;
	out.precision(17);
	out << "solid part\n";
	for(const Facet& f : vFacets)
	{
		out << "  facet normal 0 0 0\n    outer loop\n";
		for(int c = 0; c < 3; ++c) out << "      vertex " << f[3 * c] << " " << f[3 * c + 1] << " " << f[3 * c + 2] << "\n";
		out << "    endloop\n  endfacet\n";
	}
	return out.str() + "endsolid part\n";
}

// Binary STL; the header text is padded with zero bytes to 80 bytes.
std::string binaryStl(const std::vector<Facet>& vFacets, const std::string& header = "")
{
	std::string bytes(header);
	bytes.resize(80, '\0');
	auto append32 = [&bytes](std::uint32_t v) {
		for(int k = 0; k < 4; ++k) bytes.push_back(char((v >> (8 * k)) & 0xff));
	};
	append32(std::uint32_t(vFacets.size()));
	for(const Facet& f : vFacets)
	{
		for(int k = 0; k < 3; ++k) append32(0);
		for(double value : f)
		{
			const float v(static_cast<float>(value));
			std::uint32_t bits;
			std::memcpy(&bits, &v, sizeof(bits));
			append32(bits);
		}
		bytes.append(2, '\0');
	}
	return bytes;
}

const std::vector<Facet> tetrahedron{Facet{0, 0, 0, 0, 1, 0, 1, 0, 0}, Facet{0, 0, 0, 1, 0, 0, 0, 0, 1},
	Facet{0, 0, 0, 0, 0, 1, 0, 1, 0}, Facet{1, 0, 0, 0, 1, 0, 0, 0, 1}};

// Reads content written to a file of this process; returns the output.
std::string read(Surface3& surface, const std::string& content, bool& bOk, std::string& path)
{
	path = "surface_" + std::to_string(getpid()) + ".stl";
	std::ofstream(path, std::ios::binary).write(content.data(), std::streamsize(content.size()));
	vtest::StdoutCapture capture;
	bOk = surface.readSTL(path);
	std::remove(path.c_str());
	return capture.str();
}

} // namespace

// Few distinct points, so that edges are shared by one, two or many
// triangles and facets repeat.
TEST(Surface3, RandomTriangleSoupsAgreeWithBruteForce)
{
	std::mt19937 random(777);
	for(int round = 0; round < 25; ++round)
	{
		const int numPool(4 + int(random() % 6));
		std::vector<std::array<double, 3>> vPool;
		std::set<std::tuple<double, double, double>> sCorners;
		for(int k = 0; k < numPool; ++k) vPool.push_back({double(int(random() % 7) - 3) * 0.5, double(int(random() % 7) - 3) * 0.25, double(k)});
		std::vector<Facet> vFacets(round == 0 ? tetrahedron : std::vector<Facet>());
		for(int f = 1 + int(random() % 30); round > 0 && f > 0; --f)
		{
			int a(int(random() % numPool)), b(int(random() % numPool)), c(int(random() % numPool));
			while(b == a) b = int(random() % numPool);
			while(c == a || c == b) c = int(random() % numPool);
			vFacets.push_back(Facet{vPool[a][0], vPool[a][1], vPool[a][2], vPool[b][0], vPool[b][1], vPool[b][2], vPool[c][0], vPool[c][1], vPool[c][2]});
		}
		for(const Facet& f : vFacets)
			for(int c = 0; c < 3; ++c) sCorners.insert(std::make_tuple(f[3 * c], f[3 * c + 1], f[3 * c + 2]));
		for(bool bBinary : {false, true})
		{
			Surface3 surface;
			bool bOk;
			std::string path;
			const std::string out(read(surface, bBinary ? binaryStl(vFacets) : asciiStl(vFacets), bOk, path));
			ASSERT_TRUE(bOk) << out;
			if(round == 0)
			{
				EXPECT_EQ(out, "      Surface3::establishNeighborships(): 4 triangles, 4 vertices, 6 edges (6 manifold, 0 border, "
							   "0 non-manifold, 0 misoriented)\n");
			}
			EXPECT_EQ(surface.getNumVertices(), sCorners.size()) << "round " << round;
			ASSERT_EQ(surface.getNumTriangles(), vFacets.size());
			for(std::size_t t = 0; t < vFacets.size(); ++t)
				for(int c = 0; c < 3; ++c)
					EXPECT_EQ(*surface.getTriangle(t)->getCorner(c), Point3(vFacets[t][3 * c], vFacets[t][3 * c + 1], vFacets[t][3 * c + 2]));
			EXPECT_EQ(vtest::surfaceInvariantViolation(surface), "") << "round " << round;
		}
	}
}

TEST(Surface3, EachBrokenFileHasItsMessageAndLeavesTheSurfaceEmpty)
{
	const std::string bytes(binaryStl(tetrahedron, "solid looks like text"));
	std::vector<Facet> vNaN(tetrahedron);
	vNaN[2][4] = NAN;
	const std::string ascii("solid a\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\n");
	const std::vector<std::pair<std::string, std::string>> vCases{
		{"", "Empty file \"@\""},
		{bytes.substr(0, bytes.size() - 10),
			"\"@\" is a truncated or damaged binary STL file: 274 bytes, but its header announces 4 triangles, which take 284 bytes"},
		{bytes + "x", "\"@\" is a truncated or damaged binary STL file: 285 bytes, but its header announces 4 triangles, which take 284 bytes"},
		{"\x01\x02garbage", "\"@\" is not an STL file (9 bytes: no ASCII \"solid\" header, too short for binary)"},
		{binaryStl(vNaN), "\"@\" is a damaged binary STL file: triangle 2 has a non-finite coordinate"},
		{binaryStl({}), "\"@\" contains no triangles"},
		{"solid nothing\nendsolid nothing\n", "\"@\" contains no triangles"},
		{binaryStl({Facet{1, 2, 3, 1, 2, 3, 4, 5, 6}, Facet{1, 2, 3, 4, 5, 6, 1, 2, 3}, Facet{4, 5, 6, 1, 2, 3, 1, 2, 3},
			 Facet{0, 0, 0, 0, 0, 0, 0, 0, 0}}),
			"Skipped 4 degenerate triangles of \"@\" (two corners at the same position)\n\n      Surface3::readSTL(), WARNING: \"@\" "
			"contains no triangles with three distinct corners"},
		{ascii, "\"@\" is a malformed ASCII STL file, line 6: unexpected end of file, expected \"vertex\""},
		{ascii + "vertex 0 1.2.3 0\n", "\"@\" is a malformed ASCII STL file, line 6: invalid number \"1.2.3\""},
		{ascii + "vertex nan 0 0\n", "\"@\" is a malformed ASCII STL file, line 6: non-finite coordinate \"nan\""},
		{ascii + "vertex 0 1 0\nvertex 1 1 0\n", "\"@\" is a malformed ASCII STL file, line 7: expected \"endloop\" but found \"vertex\""},
		{"solid a\n" + std::string(100, 'x') + "\n",
			"\"@\" is a malformed ASCII STL file, line 2: expected \"facet\" or \"endsolid\" but found \"" + std::string(40, 'x') + "...\""},
	};
	for(const auto& c : vCases)
	{
		Surface3 surface;
		bool bOk;
		std::string path;
		read(surface, asciiStl(tetrahedron), bOk, path);
		ASSERT_TRUE(bOk);
		const std::string out(read(surface, c.first, bOk, path));
		std::string expected("\n      Surface3::readSTL(), WARNING: " + c.second + "\n");
		for(size_t at = expected.find('@'); at != std::string::npos; at = expected.find('@')) expected.replace(at, 1, path);
		EXPECT_FALSE(bOk);
		EXPECT_EQ(out, expected);
		EXPECT_TRUE(surface.isEmpty() && surface.getNumVertices() == 0 && surface.getEdgeCounts().numEdges == 0);
	}
	Surface3 surface;
	vtest::StdoutCapture capture;
	EXPECT_FALSE(surface.readSTL("no_such_file.stl"));
	EXPECT_EQ(capture.str(), "\n      Surface3::readSTL(), WARNING: Cannot open file \"no_such_file.stl\"\n");
}

// A surface handed to a triangulation belongs to it: deleted with it (a leak
// or a double delete fails the sanitizer run); handing it over twice or a
// null pointer is ignored.
TEST(Surface3, TriangulationDeletesItsSurfaces)
{
	Vorn_3D dt;
	Surface3* pSurface(new Surface3);
	bool bOk;
	std::string path;
	read(*pSurface, binaryStl(tetrahedron), bOk, path);
	ASSERT_TRUE(bOk);
	dt.addSurface(pSurface);
	dt.addSurface(new Surface3);
	dt.addSurface(pSurface);
	dt.addSurface(nullptr);
	std::vector<Point3> vPoints;
	std::vector<Point3*> vHandles;
	pSurface->getPoints(vPoints);
	vtest::StdoutCapture quiet;
	dt.insert(vPoints, vHandles);
	EXPECT_TRUE(dt.is3D());
	for(std::size_t v = 0; v < vHandles.size(); ++v) EXPECT_NE(vHandles[v], pSurface->getVertex(v));
}
