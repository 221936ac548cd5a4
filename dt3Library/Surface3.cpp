#include "Surface3.h"

#include <algorithm>
#include <cassert>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string_view>
#include <system_error>

#include "tools.h"

namespace VORN3D {

namespace {

const char* const READ_WHO("Surface3::readSTL()");
const char* const LINK_WHO("Surface3::establishNeighborships()");

// Binary STL: 80 header bytes, a 32-bit triangle count, then 50 bytes per
// triangle (normal, three corners as 32-bit floats, 2 attribute bytes).
const std::size_t BINARY_HEADER_BYTES(84);
const std::size_t BINARY_RECORD_BYTES(50);

std::string quoted(const std::string& name)
{
	return "\"" + name + "\"";
}

std::uint32_t readLittleEndian32(const unsigned char* p)
{
	return std::uint32_t(p[0]) | (std::uint32_t(p[1]) << 8) | (std::uint32_t(p[2]) << 16) |
		   (std::uint32_t(p[3]) << 24);
}

float readLittleEndianFloat(const unsigned char* p)
{
	const std::uint32_t bits(readLittleEndian32(p));
	float value;
	std::memcpy(&value, &bits, sizeof(value));
	return value;
}

bool isBlank(char c)
{
	return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

char lowerAscii(char c)
{
	return (c >= 'A' && c <= 'Z') ? char(c - 'A' + 'a') : c;
}

// Keywords are accepted in any letter case; some exporters write capitals.
bool startsWithKeyword(std::string_view token, std::string_view keyword)
{
	if(token.size() < keyword.size()) return false;
	for(std::size_t i = 0; i < keyword.size(); ++i)
	{
		if(lowerAscii(token[i]) != keyword[i]) return false;
	}
	return true;
}

bool isKeyword(std::string_view token, std::string_view keyword)
{
	return token.size() == keyword.size() && startsWithKeyword(token, keyword);
}

// The size rule decides first: real binary files may begin with "solid".
bool hasBinarySize(const unsigned char* pData, std::size_t numBytes)
{
	if(numBytes < BINARY_HEADER_BYTES) return false;
	const std::uint64_t numTriangles(readLittleEndian32(pData + 80));
	return std::uint64_t(numBytes) == BINARY_HEADER_BYTES + BINARY_RECORD_BYTES * numTriangles;
}

// ASCII STL is text that starts with "solid". Binary data nearly always holds
// control bytes (the triangle count alone has a zero byte below 2^24), which
// tells a damaged binary file with a "solid" header from a text file.
bool looksLikeAscii(const char* pData, std::size_t numBytes)
{
	std::size_t pos(0);
	if(numBytes >= 3 && std::memcmp(pData, "\xEF\xBB\xBF", 3) == 0) pos = 3;
	while(pos < numBytes && isBlank(pData[pos])) ++pos;
	if(!startsWithKeyword(std::string_view(pData + pos, numBytes - pos), "solid")) return false;
	for(std::size_t i = 0; i < numBytes; ++i)
	{
		const unsigned char c(static_cast<unsigned char>(pData[i]));
		if((c < 0x20 && !isBlank(char(c))) || c == 0x7f) return false;
	}
	return true;
}

// Splits ASCII STL text into blank-separated tokens and keeps the line number
// for the messages.
class AsciiScanner
{
public:
	AsciiScanner(const char* pData, std::size_t numBytes): pos(pData), end(pData + numBytes), lineNumber(1) {}

	// False at the end of the text.
	bool next(std::string_view& token)
	{
		while(pos < end && isBlank(*pos))
		{
			if(*pos == '\n') ++lineNumber;
			++pos;
		}
		if(pos == end) return false;
		const char* start(pos);
		while(pos < end && !isBlank(*pos)) ++pos;
		token = std::string_view(start, std::size_t(pos - start));
		return true;
	}
	// Solid names run to the end of their line and may contain blanks.
	void skipRestOfLine()
	{
		while(pos < end && *pos != '\n') ++pos;
	}
	std::size_t line() const { return lineNumber; }

private:
	const char* pos;
	const char* end;
	std::size_t lineNumber;
};

// A token shown in a message; fuzzed or broken files can have huge ones.
std::string shownToken(std::string_view token)
{
	const std::size_t MAX_SHOWN(40);
	if(token.size() <= MAX_SHOWN) return quoted(std::string(token));
	return quoted(std::string(token.substr(0, MAX_SHOWN)) + "...");
}

// Locale-independent, exact conversion of a decimal number. from_chars does
// not take a leading '+', which some writers emit in exponents and mantissas.
bool parseNumber(std::string_view token, double& value)
{
	const char* pBegin(token.data());
	const char* pEnd(pBegin + token.size());
	if(pBegin < pEnd && *pBegin == '+')
	{
		++pBegin;
		if(pBegin < pEnd && *pBegin == '-') return false;
	}
	if(pBegin == pEnd) return false;
	const std::from_chars_result result(std::from_chars(pBegin, pEnd, value));
	return result.ec == std::errc() && result.ptr == pEnd;
}

// One use of an edge by a triangle, filed under the edge's lower vertex.
struct EdgeUse
{
	std::uint32_t highVertex;
	// 3 * triangle number + the index of the corner opposite the edge.
	std::uint32_t triangleUse;
	// The triangle runs through the edge from the lower to the higher vertex.
	bool bAscending;
};

// Marks an empty hash slot or a group without a vertex.
const std::uint32_t NO_NUMBER(0xffffffffu);

std::uint64_t mixBits(std::uint64_t h)
{
	// Finaliser of the splitmix64 generator: every input bit reaches every
	// output bit, so near-equal coordinates spread over the table.
	h ^= h >> 30;
	h *= 0xbf58476d1ce4e5b9ull;
	h ^= h >> 27;
	h *= 0x94d049bb133111ebull;
	h ^= h >> 31;
	return h;
}

std::uint64_t hashCoordinates(const double* pXYZ)
{
	std::uint64_t aBits[3];
	std::memcpy(aBits, pXYZ, sizeof(aBits));
	return mixBits(aBits[0] ^ mixBits(aBits[1] ^ mixBits(aBits[2])));
}

} // namespace

Surface3::Surface3() = default;

Surface3::~Surface3() = default;

void Surface3::clear()
{
	std::vector<double>().swap(vCornerCoords);
	std::vector<Triangle3>().swap(vTriangles);
	std::vector<Point3>().swap(vVertices);
	edgeCounts = EdgeCounts();
}

bool Surface3::isClosed() const
{
	return !vTriangles.empty() && edgeCounts.numManifoldEdges == edgeCounts.numEdges;
}

Point3* Surface3::getVertex(std::size_t i)
{
	assert(i < vVertices.size());
	return &vVertices[i];
}

const Point3* Surface3::getVertex(std::size_t i) const
{
	assert(i < vVertices.size());
	return &vVertices[i];
}

Triangle3* Surface3::getTriangle(std::size_t i)
{
	assert(i < vTriangles.size());
	return &vTriangles[i];
}

const Triangle3* Surface3::getTriangle(std::size_t i) const
{
	assert(i < vTriangles.size());
	return &vTriangles[i];
}

void Surface3::getVertices(std::vector<Point3*>& vVertexPtrs)
{
	vVertexPtrs.reserve(vVertexPtrs.size() + vVertices.size());
	for(Point3& vertex : vVertices) vVertexPtrs.push_back(&vertex);
}

void Surface3::getPoints(std::vector<Point3>& vPoints) const
{
	vPoints.reserve(vPoints.size() + vVertices.size());
	for(const Point3& vertex : vVertices) vPoints.push_back(Point3(vertex));
}

void Surface3::getTriangles(std::vector<Triangle3*>& vTrianglePtrs)
{
	vTrianglePtrs.reserve(vTrianglePtrs.size() + vTriangles.size());
	for(Triangle3& triangle : vTriangles) vTrianglePtrs.push_back(&triangle);
}

bool Surface3::readSTL(const std::string& filename)
{
	clear();
	std::error_code errorCode;
	// A directory opens like a file on some systems and then reads as empty.
	if(std::filesystem::is_directory(filename, errorCode))
	{
		printWarning(READ_WHO, "Cannot open file " + quoted(filename) + ", it is a directory");
		return false;
	}
	std::ifstream file(filename, std::ios::binary);
	if(!file)
	{
		printWarning(READ_WHO, "Cannot open file " + quoted(filename));
		return false;
	}
	std::vector<char> vBytes;
	file.seekg(0, std::ios::end);
	const std::streamoff fileSize(file.tellg());
	file.seekg(0, std::ios::beg);
	if(fileSize > 0) vBytes.reserve(std::size_t(fileSize));
	char buffer[1 << 16];
	for(;;)
	{
		const std::streamsize numRead(file.rdbuf()->sgetn(buffer, sizeof(buffer)));
		if(numRead <= 0) break;
		vBytes.insert(vBytes.end(), buffer, buffer + numRead);
	}
	return readSTLFromMemory(vBytes.data(), vBytes.size(), filename);
}

bool Surface3::readSTLFromMemory(const char* pData, std::size_t numBytes, const std::string& sourceName)
{
	clear();
	if(pData == nullptr || numBytes == 0)
	{
		printWarning(READ_WHO, "Empty file " + quoted(sourceName));
		return false;
	}
	const unsigned char* pBytes(reinterpret_cast<const unsigned char*>(pData));
	bool bParsed(false);
	if(hasBinarySize(pBytes, numBytes))
	{
		bParsed = parseBinary(pBytes, numBytes, sourceName);
	}
	else if(looksLikeAscii(pData, numBytes))
	{
		bParsed = parseAscii(pData, numBytes, sourceName);
	}
	else if(numBytes < BINARY_HEADER_BYTES)
	{
		printWarning(READ_WHO, quoted(sourceName) + " is not an STL file (" + std::to_string(numBytes) +
				" bytes: no ASCII \"solid\" header, too short for binary)");
	}
	else
	{
		const std::uint64_t numAnnounced(readLittleEndian32(pBytes + 80));
		printWarning(READ_WHO, quoted(sourceName) + " is a truncated or damaged binary STL file: " +
				std::to_string(numBytes) + " bytes, but its header announces " + std::to_string(numAnnounced) +
				" triangles, which take " +
				std::to_string(BINARY_HEADER_BYTES + BINARY_RECORD_BYTES * numAnnounced) + " bytes");
	}
	if(!bParsed || !buildFromCorners(sourceName))
	{
		clear();
		return false;
	}
	establishNeighborships();
	return true;
}

bool Surface3::parseBinary(const unsigned char* pData, std::size_t numBytes, const std::string& sourceName)
{
	const std::size_t numFacets((numBytes - BINARY_HEADER_BYTES) / BINARY_RECORD_BYTES);
	vCornerCoords.resize(9 * numFacets);
	double* pOut(vCornerCoords.data());
	for(std::size_t f = 0; f < numFacets; ++f)
	{
		// Skip the normal: it is recomputed from the corners where needed.
		const unsigned char* pCorner(pData + BINARY_HEADER_BYTES + BINARY_RECORD_BYTES * f + 12);
		for(int k = 0; k < 9; ++k)
		{
			const float value(readLittleEndianFloat(pCorner + 4 * k));
			if(!std::isfinite(value))
			{
				printWarning(READ_WHO, quoted(sourceName) + " is a damaged binary STL file: triangle " +
						std::to_string(f) + " has a non-finite coordinate");
				return false;
			}
			*pOut++ = double(value);
		}
	}
	return true;
}

bool Surface3::parseAscii(const char* pData, std::size_t numBytes, const std::string& sourceName)
{
	AsciiScanner scanner(pData, numBytes);
	std::string_view token;
	const auto fail = [&](const std::string& detail) {
		printWarning(READ_WHO, quoted(sourceName) + " is a malformed ASCII STL file, line " +
				std::to_string(scanner.line()) + ": " + detail);
		return false;
	};
	const auto expect = [&](std::string_view keyword) {
		if(!scanner.next(token))
			return fail("unexpected end of file, expected \"" + std::string(keyword) + "\"");
		if(!isKeyword(token, keyword))
			return fail("expected \"" + std::string(keyword) + "\" but found " + shownToken(token));
		return true;
	};
	const auto number = [&](double& value, bool bFiniteOnly) {
		if(!scanner.next(token)) return fail("unexpected end of file, expected a number");
		if(!parseNumber(token, value)) return fail("invalid number " + shownToken(token));
		if(bFiniteOnly && !std::isfinite(value)) return fail("non-finite coordinate " + shownToken(token));
		return true;
	};

	// The caller has seen "solid"; the rest of that line is the solid's name.
	scanner.next(token);
	scanner.skipRestOfLine();
	double aValue[3];
	for(;;)
	{
		if(!scanner.next(token)) return fail("unexpected end of file, expected \"facet\" or \"endsolid\"");
		if(startsWithKeyword(token, "endsolid"))
		{
			scanner.skipRestOfLine();
			// Some writers put several solids into one file.
			if(!scanner.next(token)) return true;
			if(!startsWithKeyword(token, "solid"))
				return fail("expected end of file or \"solid\" but found " + shownToken(token));
			scanner.skipRestOfLine();
			continue;
		}
		if(!isKeyword(token, "facet"))
			return fail("expected \"facet\" or \"endsolid\" but found " + shownToken(token));
		if(!expect("normal")) return false;
		for(double& value : aValue)
		{
			// Normals are ignored; broken exporters write NaN there.
			if(!number(value, false)) return false;
		}
		if(!expect("outer") || !expect("loop")) return false;
		for(int corner = 0; corner < 3; ++corner)
		{
			if(!expect("vertex")) return false;
			for(double& value : aValue)
			{
				if(!number(value, true)) return false;
			}
			vCornerCoords.insert(vCornerCoords.end(), aValue, aValue + 3);
		}
		if(!expect("endloop") || !expect("endfacet")) return false;
	}
}

bool Surface3::buildFromCorners(const std::string& sourceName)
{
	const std::size_t numCorners(vCornerCoords.size() / 3);
	const std::size_t numFacets(numCorners / 3);
	if(numFacets == 0)
	{
		printWarning(READ_WHO, quoted(sourceName) + " contains no triangles");
		return false;
	}
	// 32-bit numbers keep the tables below small; 1.4 billion triangles would
	// be a file of more than 70 GB.
	if(numCorners >= std::size_t(NO_NUMBER))
	{
		printWarning(READ_WHO, quoted(sourceName) + " has too many triangles (" + std::to_string(numFacets) + ")");
		return false;
	}
	double* pCoords(vCornerCoords.data());
	// -0.0 + 0.0 is +0.0: both zeros then hash and merge as one value.
	for(std::size_t i = 0; i < vCornerCoords.size(); ++i) pCoords[i] += 0.0;

	// Group the corners by exact coordinates with an open-addressing hash
	// table; groups are numbered in order of first appearance.
	std::vector<std::uint32_t> vGroupOfCorner(numCorners);
	std::vector<std::uint32_t> vFirstCornerOfGroup;
	{
		std::size_t numSlots(16);
		while(numSlots < numCorners + numCorners / 2) numSlots *= 2;
		std::vector<std::uint32_t> vSlots(numSlots, NO_NUMBER);
		const std::size_t slotMask(numSlots - 1);
		for(std::size_t c = 0; c < numCorners; ++c)
		{
			const double* pXYZ(pCoords + 3 * c);
			std::size_t slot(std::size_t(hashCoordinates(pXYZ)) & slotMask);
			for(;;)
			{
				const std::uint32_t group(vSlots[slot]);
				if(group == NO_NUMBER)
				{
					vSlots[slot] = std::uint32_t(vFirstCornerOfGroup.size());
					vGroupOfCorner[c] = vSlots[slot];
					vFirstCornerOfGroup.push_back(std::uint32_t(c));
					break;
				}
				const double* pOther(pCoords + 3 * std::size_t(vFirstCornerOfGroup[group]));
				if(pOther[0] == pXYZ[0] && pOther[1] == pXYZ[1] && pOther[2] == pXYZ[2])
				{
					vGroupOfCorner[c] = group;
					break;
				}
				slot = (slot + 1) & slotMask;
			}
		}
	}

	// Number the vertices in order of first appearance, leaving out corners
	// that only degenerate triangles use.
	const auto isDegenerate = [&vGroupOfCorner](std::size_t f) {
		const std::uint32_t* pGroup(&vGroupOfCorner[3 * f]);
		return pGroup[0] == pGroup[1] || pGroup[1] == pGroup[2] || pGroup[0] == pGroup[2];
	};
	std::vector<std::uint32_t> vVertexOfGroup(vFirstCornerOfGroup.size(), NO_NUMBER);
	std::vector<std::uint32_t> vFirstCorner;
	std::size_t numDegenerate(0);
	for(std::size_t f = 0; f < numFacets; ++f)
	{
		if(isDegenerate(f))
		{
			++numDegenerate;
			continue;
		}
		for(std::size_t c = 3 * f; c < 3 * f + 3; ++c)
		{
			if(vVertexOfGroup[vGroupOfCorner[c]] == NO_NUMBER)
			{
				vVertexOfGroup[vGroupOfCorner[c]] = std::uint32_t(vFirstCorner.size());
				vFirstCorner.push_back(std::uint32_t(c));
			}
		}
	}
	if(numDegenerate > 0)
	{
		printWarning(READ_WHO, "Skipped " + std::to_string(numDegenerate) + " degenerate triangles of " +
				quoted(sourceName) + " (two corners at the same position)");
	}
	if(numDegenerate == numFacets)
	{
		printWarning(READ_WHO, quoted(sourceName) + " contains no triangles with three distinct corners");
		return false;
	}

	// Both vectors get their final size here and never grow again, which keeps
	// the pointers stored in the triangles valid.
	vVertices.reserve(vFirstCorner.size());
	for(std::size_t v = 0; v < vFirstCorner.size(); ++v)
	{
		const double* pXYZ(pCoords + 3 * std::size_t(vFirstCorner[v]));
		vVertices.push_back(Point3(pXYZ[0], pXYZ[1], pXYZ[2]));
		vVertices.back().setIndex(v <= std::size_t(INT_MAX) ? int(v) : -1);
	}
	vTriangles.reserve(numFacets - numDegenerate);
	for(std::size_t f = 0; f < numFacets; ++f)
	{
		if(isDegenerate(f)) continue;
		const std::uint32_t* pGroup(&vGroupOfCorner[3 * f]);
		vTriangles.emplace_back(&vVertices[vVertexOfGroup[pGroup[0]]], &vVertices[vVertexOfGroup[pGroup[1]]],
				&vVertices[vVertexOfGroup[pGroup[2]]]);
	}
	std::vector<double>().swap(vCornerCoords);
	return true;
}

void Surface3::establishNeighborships()
{
	edgeCounts = EdgeCounts();
	const Point3* pFirstVertex(vVertices.data());
	const auto vertexNumber = [pFirstVertex](const Point3* p) { return std::uint32_t(p - pFirstVertex); };
	// Each edge use is filed under the lower vertex of its edge (a counting
	// sort), so that the uses of one edge meet in one small bucket.
	const std::size_t numUses(3 * vTriangles.size());
	std::vector<std::uint32_t> vBucketStart(vVertices.size() + 1, 0);
	for(Triangle3& triangle : vTriangles)
	{
		for(int oppICI = 0; oppICI < 3; ++oppICI)
		{
			triangle.setNeig(oppICI, nullptr);
			const std::uint32_t from(vertexNumber(triangle.getCorner((oppICI + 1) % 3)));
			const std::uint32_t to(vertexNumber(triangle.getCorner((oppICI + 2) % 3)));
			++vBucketStart[std::size_t(std::min(from, to)) + 1];
		}
	}
	for(std::size_t v = 0; v < vVertices.size(); ++v) vBucketStart[v + 1] += vBucketStart[v];
	std::vector<EdgeUse> vUses(numUses);
	{
		std::vector<std::uint32_t> vFill(vBucketStart.begin(), vBucketStart.end() - 1);
		for(std::size_t t = 0; t < vTriangles.size(); ++t)
		{
			for(int oppICI = 0; oppICI < 3; ++oppICI)
			{
				// The edge opposite corner i runs from corner i+1 to corner i+2.
				const std::uint32_t from(vertexNumber(vTriangles[t].getCorner((oppICI + 1) % 3)));
				const std::uint32_t to(vertexNumber(vTriangles[t].getCorner((oppICI + 2) % 3)));
				vUses[vFill[std::min(from, to)]++] =
						EdgeUse{std::max(from, to), std::uint32_t(3 * t + std::size_t(oppICI)), from < to};
			}
		}
	}

	for(std::size_t v = 0; v < vVertices.size(); ++v)
	{
		EdgeUse* pBegin(vUses.data() + vBucketStart[v]);
		EdgeUse* pEnd(vUses.data() + vBucketStart[v + 1]);
		std::sort(pBegin, pEnd, [](const EdgeUse& a, const EdgeUse& b) { return a.highVertex < b.highVertex; });
		for(EdgeUse* pFirst = pBegin; pFirst < pEnd;)
		{
			EdgeUse* pLast(pFirst + 1);
			while(pLast < pEnd && pLast->highVertex == pFirst->highVertex) ++pLast;
			++edgeCounts.numEdges;
			switch(pLast - pFirst)
			{
				case 1:
					++edgeCounts.numBorderEdges;
					break;
				case 2:
				{
					Triangle3& triangleA(vTriangles[pFirst[0].triangleUse / 3]);
					Triangle3& triangleB(vTriangles[pFirst[1].triangleUse / 3]);
					triangleA.setNeig(int(pFirst[0].triangleUse % 3), &triangleB);
					triangleB.setNeig(int(pFirst[1].triangleUse % 3), &triangleA);
					++edgeCounts.numManifoldEdges;
					// Consistently oriented neighbours run through their common
					// edge in opposite directions.
					if(pFirst[0].bAscending == pFirst[1].bAscending) ++edgeCounts.numMisorientedEdges;
					break;
				}
				default:
					++edgeCounts.numNonManifoldEdges;
					break;
			}
			pFirst = pLast;
		}
	}

	std::cout << "      " << LINK_WHO << ": " << vTriangles.size() << " triangles, " << vVertices.size()
			  << " vertices, " << edgeCounts.numEdges << " edges (" << edgeCounts.numManifoldEdges << " manifold, "
			  << edgeCounts.numBorderEdges << " border, " << edgeCounts.numNonManifoldEdges << " non-manifold, "
			  << edgeCounts.numMisorientedEdges << " misoriented)" << std::endl;
	if(edgeCounts.numNonManifoldEdges > 0)
	{
		printWarning(LINK_WHO, "edges shared by more than two triangles: " +
				std::to_string(edgeCounts.numNonManifoldEdges) + "; no neighbour links across them");
	}
}

} // namespace VORN3D
