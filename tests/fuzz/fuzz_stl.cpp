// Fuzz target for the STL reader: any byte sequence must either give a
// consistent surface or a warning and an empty surface, without crashing.
// Built against libFuzzer when clang provides it, otherwise linked with the
// replay-and-mutate driver in fuzz_driver.cpp.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <streambuf>
#include <string>

#include "Surface3.h"
#include "SurfaceChecks.h"

namespace {

// Swallows the reader's messages: thousands of inputs per second would
// otherwise flood the test log.
class NullBuffer : public std::streambuf
{
protected:
	int overflow(int c) override { return traits_type::not_eof(c); }
	std::streamsize xsputn(const char*, std::streamsize n) override { return n; }
};

void fail(const std::string& what)
{
	std::fprintf(stderr, "fuzz_stl: %s\n", what.c_str());
	std::abort();
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
	static NullBuffer nullBuffer;
	std::cout.rdbuf(&nullBuffer);
	return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size)
{
	VORN3D::Surface3 surface;
	const char* pChars(reinterpret_cast<const char*>(pData));
	const bool bRead(surface.readSTLFromMemory(pChars, size, "fuzz input"));
	if(bRead == surface.isEmpty()) fail("result disagrees with the content");
	const std::string violation(vtest::surfaceInvariantViolation(surface));
	if(!violation.empty()) fail(violation);

	// Reading again replaces the content and gives the same surface.
	const std::size_t numVertices(surface.getNumVertices());
	const VORN3D::Surface3::EdgeCounts counts(surface.getEdgeCounts());
	if(surface.readSTLFromMemory(pChars, size, "fuzz input") != bRead) fail("second read differs");
	if(surface.getNumVertices() != numVertices || surface.getEdgeCounts().numEdges != counts.numEdges ||
			surface.getEdgeCounts().numMisorientedEdges != counts.numMisorientedEdges)
	{
		fail("second read gives another surface");
	}
	return 0;
}
