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

// The closed surface of the cube [0,n]^3, each face split into n*n squares of
// two triangles, all oriented outwards; integer coordinates are exact in float.
std::vector<Facet> cubeSurface(int n)
{
	struct Side
	{
		int o[3], u[3], v[3];
	};
	// u x v points out of the cube on every side.
	const Side aSide[6] = {{{0, 0, 0}, {0, 1, 0}, {1, 0, 0}}, {{0, 0, 1}, {1, 0, 0}, {0, 1, 0}},
			{{0, 0, 0}, {1, 0, 0}, {0, 0, 1}}, {{0, 1, 0}, {0, 0, 1}, {1, 0, 0}}, {{0, 0, 0}, {0, 0, 1}, {0, 1, 0}},
			{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
	std::vector<Facet> vFacets;
	for(const Side& side : aSide)
	{
		const auto at = [&](int i, int j, int k) { return double(side.o[k] * n + i * side.u[k] + j * side.v[k]); };
		for(int i = 0; i < n; ++i)
		{
			for(int j = 0; j < n; ++j)
			{
				vFacets.push_back(Facet{at(i, j, 0), at(i, j, 1), at(i, j, 2), at(i + 1, j, 0), at(i + 1, j, 1),
						at(i + 1, j, 2), at(i + 1, j + 1, 0), at(i + 1, j + 1, 1), at(i + 1, j + 1, 2)});
				vFacets.push_back(Facet{at(i, j, 0), at(i, j, 1), at(i, j, 2), at(i + 1, j + 1, 0),
						at(i + 1, j + 1, 1), at(i + 1, j + 1, 2), at(i, j + 1, 0), at(i, j + 1, 1), at(i, j + 1, 2)});
			}
		}
	}
	return vFacets;
}

// Cycles the corners of a facet: same triangle, same orientation.
Facet rotated(const Facet& f, int shift)
{
	Facet r;
	for(int c = 0; c < 3; ++c)
	{
		for(int k = 0; k < 3; ++k) r[3 * c + k] = f[3 * ((c + shift) % 3) + k];
	}
	return r;
}

Facet reversed(const Facet& f)
{
	Facet r(f);
	for(int k = 0; k < 3; ++k) std::swap(r[3 + k], r[6 + k]);
	return r;
}

} // namespace

// ---- Well-formed files -------------------------------------------------

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

	// Worked out by hand: triangle 0 = ACB; across CB lies BCD (3), across BA
	// lies ABD (1), across AC lies ADC (2).
	Triangle3* aT[4];
	for(int t = 0; t < 4; ++t) aT[t] = surface.getTriangle(std::size_t(t));
	EXPECT_EQ(aT[0]->getNeig(0), aT[3]);
	EXPECT_EQ(aT[0]->getNeig(1), aT[1]);
	EXPECT_EQ(aT[0]->getNeig(2), aT[2]);
	// Triangle 3 = BCD: across CD lies ADC, across DB lies ABD, across BC ACB.
	EXPECT_EQ(aT[3]->getNeig(0), aT[2]);
	EXPECT_EQ(aT[3]->getNeig(1), aT[1]);
	EXPECT_EQ(aT[3]->getNeig(2), aT[0]);
	for(int t = 0; t < 4; ++t)
	{
		for(int i = 0; i < 3; ++i)
		{
			// The neighbour has the same edge and points back.
			Triangle3* pNeig(aT[t]->getNeig(i));
			ASSERT_NE(pNeig, nullptr);
			const int j(pNeig->getIntraTriangleIndex(aT[t]->getCorner((i + 1) % 3), aT[t]->getCorner((i + 2) % 3)));
			ASSERT_NE(j, -999);
			EXPECT_EQ(pNeig->getNeig(j), aT[t]);
		}
	}
}

TEST(Surface3Read, BinaryTetrahedronGivesTheSameSurfaceAsAscii)
{
	Surface3 ascii, binary;
	ASSERT_TRUE(readContent(ascii, asciiStl(tetrahedron())).bOk);
	const ReadOutcome outcome(readContent(binary, binaryStl(tetrahedron(), "written by a test")));
	ASSERT_TRUE(outcome.bOk) << outcome.output;
	EXPECT_EQ(outcome.output, reportLine(4, 4, 6, 6, 0, 0, 0));
	expectTrianglesMatchFacets(binary, tetrahedron());
	EXPECT_EQ(vtest::surfaceInvariantViolation(binary), "");
	for(std::size_t t = 0; t < 4; ++t)
	{
		for(int i = 0; i < 3; ++i)
		{
			const std::ptrdiff_t asciiNeig(ascii.getTriangle(t)->getNeig(i) - ascii.getTriangle(0));
			const std::ptrdiff_t binaryNeig(binary.getTriangle(t)->getNeig(i) - binary.getTriangle(0));
			EXPECT_EQ(asciiNeig, binaryNeig);
		}
	}
}

TEST(Surface3Read, BinaryWithSolidHeaderIsReadAsBinary)
{
	Surface3 surface;
	const std::string bytes(binaryStl(tetrahedron(), "solid part exported as binary"));
	ASSERT_EQ(bytes.compare(0, 5, "solid"), 0);
	const ReadOutcome outcome(readContent(surface, bytes));
	ASSERT_TRUE(outcome.bOk) << outcome.output;
	EXPECT_EQ(surface.getNumTriangles(), 4u);
	EXPECT_TRUE(surface.isClosed());

	// Header padded with blanks instead of zero bytes: the count field is the
	// only non-text there.
	std::string blankHeader(binaryStl(tetrahedron(), std::string("solid blanks") + std::string(68, ' ')));
	ASSERT_TRUE(readContent(surface, blankHeader).bOk);
	expectTrianglesMatchFacets(surface, tetrahedron());
}

TEST(Surface3Read, OpenSurfaceCountsBorderEdges)
{
	// Unit square as two triangles sharing the diagonal O-P.
	const std::vector<Facet> vSquare{Facet{0, 0, 0, 1, 0, 0, 1, 1, 0}, Facet{0, 0, 0, 1, 1, 0, 0, 1, 0}};
	Surface3 surface;
	const ReadOutcome outcome(readContent(surface, asciiStl(vSquare)));
	ASSERT_TRUE(outcome.bOk);
	EXPECT_EQ(outcome.output, reportLine(2, 4, 5, 1, 4, 0, 0));
	const Surface3::EdgeCounts& counts(surface.getEdgeCounts());
	EXPECT_EQ(counts.numEdges, 5u);
	EXPECT_EQ(counts.numManifoldEdges, 1u);
	EXPECT_EQ(counts.numBorderEdges, 4u);
	EXPECT_FALSE(surface.isClosed());
	Triangle3* pT0(surface.getTriangle(0));
	Triangle3* pT1(surface.getTriangle(1));
	EXPECT_EQ(pT0->getNeig(0), nullptr);
	EXPECT_EQ(pT0->getNeig(1), pT1);
	EXPECT_EQ(pT0->getNeig(2), nullptr);
	EXPECT_EQ(pT1->getNeig(0), nullptr);
	EXPECT_EQ(pT1->getNeig(1), nullptr);
	EXPECT_EQ(pT1->getNeig(2), pT0);
	EXPECT_EQ(vtest::surfaceInvariantViolation(surface), "");
}

TEST(Surface3Read, EdgeOfThreeTrianglesStaysUnlinkedAndIsReported)
{
	// Three fins around the edge (0,0,0)-(0,0,1).
	const std::vector<Facet> vFins{Facet{0, 0, 0, 0, 0, 1, 1, 0, 0}, Facet{0, 0, 1, 0, 0, 0, 0, 1, 0},
			Facet{0, 0, 0, 0, 0, 1, -1, -1, 0}};
	Surface3 surface;
	const ReadOutcome outcome(readContent(surface, binaryStl(vFins)));
	ASSERT_TRUE(outcome.bOk);
	EXPECT_EQ(outcome.output, reportLine(3, 5, 7, 0, 6, 1, 0) +
			"\n      Surface3::establishNeighborships(), WARNING: edges shared by more than two triangles: 1; "
			"no neighbour links across them\n");
	EXPECT_EQ(surface.getEdgeCounts().numNonManifoldEdges, 1u);
	for(std::size_t t = 0; t < 3; ++t)
	{
		for(int i = 0; i < 3; ++i) EXPECT_EQ(surface.getTriangle(t)->getNeig(i), nullptr);
	}
	EXPECT_EQ(vtest::surfaceInvariantViolation(surface), "");

	// A fourth fin: two pairs could be formed, but none is chosen.
	std::vector<Facet> vFourFins(vFins);
	vFourFins.push_back(Facet{0, 0, 1, 0, 0, 0, 1, 1, 0});
	ASSERT_TRUE(readContent(surface, asciiStl(vFourFins)).bOk);
	EXPECT_EQ(surface.getEdgeCounts().numNonManifoldEdges, 1u);
	EXPECT_EQ(surface.getEdgeCounts().numManifoldEdges, 0u);
	EXPECT_EQ(vtest::surfaceInvariantViolation(surface), "");
}

TEST(Surface3Read, InconsistentOrientationIsCountedButStillLinked)
{
	std::vector<Facet> vFacets(tetrahedron());
	vFacets[3] = reversed(vFacets[3]);
	Surface3 surface;
	const ReadOutcome outcome(readContent(surface, asciiStl(vFacets)));
	ASSERT_TRUE(outcome.bOk);
	EXPECT_EQ(outcome.output, reportLine(4, 4, 6, 6, 0, 0, 3));
	EXPECT_TRUE(surface.isClosed());
	EXPECT_EQ(vtest::surfaceInvariantViolation(surface), "");
}

TEST(Surface3Read, EqualCornersAreMergedNegativeZeroIncluded)
{
	// The same tetrahedron with A written as (-0,0,-0) in two of its facets.
	std::vector<Facet> vFacets(tetrahedron());
	vFacets[1][0] = -0.0;
	vFacets[2][2] = -0.0;
	Surface3 surface;
	ASSERT_TRUE(readContent(surface, binaryStl(vFacets)).bOk);
	EXPECT_EQ(surface.getNumVertices(), 4u);
	EXPECT_TRUE(surface.isClosed());
	ASSERT_TRUE(readContent(surface, asciiStl(vFacets)).bOk);
	EXPECT_EQ(surface.getNumVertices(), 4u);
	EXPECT_TRUE(surface.isClosed());
	// Vertices are numbered by first appearance: A, C, B, D.
	const double aExpected[4][3] = {{0, 0, 0}, {0, 1, 0}, {1, 0, 0}, {0, 0, 1}};
	for(std::size_t v = 0; v < 4; ++v)
	{
		const Point3* pV(surface.getVertex(v));
		EXPECT_EQ(pV->x(), aExpected[v][0]);
		EXPECT_EQ(pV->y(), aExpected[v][1]);
		EXPECT_EQ(pV->z(), aExpected[v][2]);
		EXPECT_EQ(pV->getIndex(), int(v));
	}
	// Coordinates that differ in the last bit stay apart.
	vFacets = tetrahedron();
	vFacets[1][3] = std::nextafter(1.0, 2.0);
	ASSERT_TRUE(readContent(surface, asciiStl(vFacets)).bOk);
	EXPECT_EQ(surface.getNumVertices(), 5u);
	EXPECT_EQ(surface.getEdgeCounts().numBorderEdges, 4u);
}

TEST(Surface3Read, ClosedSubdividedCubeInShuffledOrder)
{
	const int n(5);
	std::vector<Facet> vFacets(cubeSurface(n));
	std::mt19937 random(12345);
	std::shuffle(vFacets.begin(), vFacets.end(), random);
	for(Facet& f : vFacets) f = rotated(f, int(random() % 3));
	for(int format = 0; format < 2; ++format)
	{
		Surface3 surface;
		const ReadOutcome outcome(readContent(surface, format == 0 ? asciiStl(vFacets) : binaryStl(vFacets)));
		ASSERT_TRUE(outcome.bOk);
		// Euler: V - E + F = 2 with F = 12 n^2 and E = 18 n^2.
		EXPECT_EQ(outcome.output, reportLine(12 * n * n, 6 * n * n + 2, 18 * n * n, 18 * n * n, 0, 0, 0));
		EXPECT_TRUE(surface.isClosed());
		expectTrianglesMatchFacets(surface, vFacets);
		EXPECT_EQ(vtest::surfaceInvariantViolation(surface), "");
	}
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

TEST(Surface3Read, DegenerateTrianglesAreSkipped)
{
	std::vector<Facet> vFacets(tetrahedron());
	// Two corners equal; its third corner (5,5,5) appears nowhere else.
	vFacets.insert(vFacets.begin() + 1, Facet{1, 0, 0, 1, 0, 0, 5, 5, 5});
	Surface3 surface;
	const ReadOutcome outcome(readContent(surface, asciiStl(vFacets, "with a needle")));
	ASSERT_TRUE(outcome.bOk);
	EXPECT_NE(outcome.output.find(WARN_READ + "Skipped 1 degenerate triangles of \""), std::string::npos)
			<< outcome.output;
	EXPECT_NE(outcome.output.find(reportLine(4, 4, 6, 6, 0, 0, 0)), std::string::npos);
	EXPECT_EQ(surface.getNumVertices(), 4u);
	expectTrianglesMatchFacets(surface, tetrahedron());

	// Collinear but distinct corners are kept: the topology is sound.
	std::vector<Facet> vFlat{Facet{0, 0, 0, 1, 0, 0, 2, 0, 0}};
	ASSERT_TRUE(readContent(surface, binaryStl(vFlat)).bOk);
	EXPECT_EQ(surface.getNumTriangles(), 1u);
}

TEST(Surface3Read, AsciiVariantsWrittenByOtherTools)
{
	// Capital keywords, CRLF line ends, tabs, a name with blanks, signs and
	// exponents, NaN normals, a byte order mark and two solids in one file.
	const std::string text("\xEF\xBB\xBFsolid my part (mm)\r\n"
						   "FACET NORMAL nan nan nan\r\n OUTER LOOP\r\n"
						   "\tVERTEX +0.0e+00 0 0\r\n\tVERTEX 0 1E0 0\r\n\tVERTEX 0.1 -0 +1.0000000000000002\r\n"
						   " ENDLOOP\r\nENDFACET\r\n"
						   "endsolid my part (mm)\r\n"
						   "solid second\n"
						   "facet normal 0 0 1 outer loop vertex 0 0 0 vertex 1 0 0 vertex 0 1 0 endloop endfacet\n"
						   "endsolid\n");
	Surface3 surface;
	const ReadOutcome outcome(readContent(surface, text));
	ASSERT_TRUE(outcome.bOk) << outcome.output;
	ASSERT_EQ(surface.getNumTriangles(), 2u);
	EXPECT_EQ(surface.getNumVertices(), 4u);
	const Point3* pCorner(surface.getTriangle(0)->getCorner(2));
	// Parsed to the nearest double, not through float.
	EXPECT_EQ(pCorner->x(), 0.1);
	EXPECT_EQ(pCorner->z(), std::nextafter(1.0, 2.0));
	EXPECT_FALSE(std::signbit(pCorner->y()));
	EXPECT_EQ(vtest::surfaceInvariantViolation(surface), "");
}

TEST(Surface3Read, AccessorsAppendAndCopyWithoutMeshLink)
{
	Surface3 surface;
	ASSERT_TRUE(readContent(surface, asciiStl(tetrahedron())).bOk);
	Point3 dummy(9, 9, 9);
	std::vector<Point3*> vVertexPtrs{&dummy};
	surface.getVertices(vVertexPtrs);
	ASSERT_EQ(vVertexPtrs.size(), 5u);
	EXPECT_EQ(vVertexPtrs[0], &dummy);
	for(std::size_t v = 0; v < 4; ++v) EXPECT_EQ(vVertexPtrs[v + 1], surface.getVertex(v));

	std::vector<Point3> vPoints;
	surface.getPoints(vPoints);
	ASSERT_EQ(vPoints.size(), 4u);
	for(std::size_t v = 0; v < 4; ++v)
	{
		EXPECT_EQ(vPoints[v], *surface.getVertex(v));
		EXPECT_EQ(vPoints[v].getIndex(), int(v));
		EXPECT_EQ(vPoints[v].getOneTet(), nullptr);
	}
	std::vector<Triangle3*> vTrianglePtrs;
	surface.getTriangles(vTrianglePtrs);
	ASSERT_EQ(vTrianglePtrs.size(), 4u);
	EXPECT_EQ(vTrianglePtrs[3], surface.getTriangle(3));
}

TEST(Surface3Read, NewReadReplacesContentAndClearEmpties)
{
	Surface3 surface;
	ASSERT_TRUE(readContent(surface, asciiStl(cubeSurface(2))).bOk);
	const std::vector<Facet> vOne{Facet{0, 0, 0, 1, 0, 0, 0, 1, 0}};
	ASSERT_TRUE(readContent(surface, binaryStl(vOne)).bOk);
	EXPECT_EQ(surface.getNumTriangles(), 1u);
	EXPECT_EQ(surface.getNumVertices(), 3u);
	EXPECT_EQ(surface.getEdgeCounts().numBorderEdges, 3u);
	EXPECT_EQ(vtest::surfaceInvariantViolation(surface), "");
	surface.clear();
	expectEmpty(surface);
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

	// A count far beyond the data must not be trusted for allocation.
	std::string hugeCount(bytes);
	hugeCount.replace(80, 4, "\xff\xff\xff\xff");
	TempFile huge(hugeCount);
	outcome = readFile(surface, huge.getPath());
	EXPECT_FALSE(outcome.bOk);
	EXPECT_NE(outcome.output.find("284 bytes, but its header announces 4294967295 triangles, which take "
								  "214748364834 bytes"),
			std::string::npos)
			<< outcome.output;

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
	vFacets[2][4] = std::numeric_limits<double>::infinity();
	EXPECT_FALSE(readContent(surface, binaryStl(vFacets)).bOk);
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
	ASSERT_TRUE(readContent(*pCube, binaryStl(cubeSurface(2))).bOk);
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
	std::vector<Point3*> vVertices;
	dt.getVertices(vVertices);
	EXPECT_EQ(vVertices.size(), pCube->getNumVertices());
	// The surface keeps its own vertices, apart from the mesh's.
	for(std::size_t v = 0; v < vHandles.size(); ++v)
	{
		EXPECT_NE(vHandles[v], pCube->getVertex(v));
		EXPECT_EQ(*vHandles[v], *pCube->getVertex(v));
	}
	EXPECT_EQ(pCube->getVertex(0)->getOneTet(), nullptr);
	EXPECT_EQ(vtest::surfaceInvariantViolation(*pCube), "");
}
