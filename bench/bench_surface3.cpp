// Reading speed of the STL reader: parsing, vertex merging and neighbour
// linking of a closed surface, from memory so that the disk does not count.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <iostream>
#include <sstream>
#include <streambuf>
#include <string>
#include <vector>

#include "Surface3.h"

namespace {

// The reader prints a report line per file; keep it out of the timings.
class NullBuffer : public std::streambuf
{
protected:
	int overflow(int c) override { return traits_type::not_eof(c); }
	std::streamsize xsputn(const char*, std::streamsize n) override { return n; }
};

// Triangles of the surface of the cube [0,n]^3, n*n squares per side.
std::vector<float> cubeSurfaceCorners(int n)
{
	const int aSide[6][9] = {{0, 0, 0, 0, 1, 0, 1, 0, 0}, {0, 0, 1, 1, 0, 0, 0, 1, 0}, {0, 0, 0, 1, 0, 0, 0, 0, 1},
			{0, 1, 0, 0, 0, 1, 1, 0, 0}, {0, 0, 0, 0, 0, 1, 0, 1, 0}, {1, 0, 0, 0, 1, 0, 0, 0, 1}};
	std::vector<float> vCorners;
	for(const auto& side : aSide)
	{
		const auto push = [&](int i, int j) {
			for(int k = 0; k < 3; ++k) vCorners.push_back(float(side[k] * n + i * side[3 + k] + j * side[6 + k]));
		};
		for(int i = 0; i < n; ++i)
		{
			for(int j = 0; j < n; ++j)
			{
				push(i, j);
				push(i + 1, j);
				push(i + 1, j + 1);
				push(i, j);
				push(i + 1, j + 1);
				push(i, j + 1);
			}
		}
	}
	return vCorners;
}

std::string binaryStl(const std::vector<float>& vCorners)
{
	const std::uint32_t numTriangles(std::uint32_t(vCorners.size() / 9));
	std::string bytes(80, '\0');
	bytes.append(reinterpret_cast<const char*>(&numTriangles), 4);
	const float aNormal[3] = {0, 0, 0};
	for(std::uint32_t t = 0; t < numTriangles; ++t)
	{
		bytes.append(reinterpret_cast<const char*>(aNormal), sizeof(aNormal));
		bytes.append(reinterpret_cast<const char*>(&vCorners[9 * t]), 9 * sizeof(float));
		bytes.append(2, '\0');
	}
	return bytes;
}

std::string asciiStl(const std::vector<float>& vCorners)
{
	std::ostringstream out;
	out << "solid bench\n";
	for(std::size_t t = 0; t < vCorners.size() / 9; ++t)
	{
		out << " facet normal 0 0 0\n  outer loop\n";
		for(int c = 0; c < 3; ++c)
		{
			out << "   vertex " << vCorners[9 * t + 3 * std::size_t(c)] << ".25 " << vCorners[9 * t + 3 * std::size_t(c) + 1]
				<< ".5 " << vCorners[9 * t + 3 * std::size_t(c) + 2] << ".125e+00\n";
		}
		out << "  endloop\n endfacet\n";
	}
	out << "endsolid bench\n";
	return out.str();
}

void readFrom(benchmark::State& state, const std::string& content)
{
	NullBuffer nullBuffer;
	std::streambuf* pOld(std::cout.rdbuf(&nullBuffer));
	VORN3D::Surface3 surface;
	for(auto _ : state)
	{
		const bool bOk(surface.readSTLFromMemory(content.data(), content.size(), "bench"));
		benchmark::DoNotOptimize(bOk);
	}
	std::cout.rdbuf(pOld);
	if(!surface.isClosed()) state.SkipWithError("surface not closed");
	state.SetItemsProcessed(std::int64_t(state.iterations()) * std::int64_t(surface.getNumTriangles()));
	state.counters["triangles"] = double(surface.getNumTriangles());
}

void BM_readBinarySTL(benchmark::State& state)
{
	readFrom(state, binaryStl(cubeSurfaceCorners(int(state.range(0)))));
}

void BM_readAsciiSTL(benchmark::State& state)
{
	readFrom(state, asciiStl(cubeSurfaceCorners(int(state.range(0)))));
}

} // namespace

// n = 40 gives 19 200 triangles, n = 290 about one million.
BENCHMARK(BM_readBinarySTL)->Arg(40)->Arg(290)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_readAsciiSTL)->Arg(40)->Arg(290)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
