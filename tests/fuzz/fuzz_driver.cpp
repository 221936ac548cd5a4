// Stand-in for libFuzzer where clang's fuzzing runtime is missing: replays
// every file of the given corpus directories, then feeds a fixed number of
// mutants made from them by a seeded generator, so runs are repeatable.
//
//   fuzz_stl [-runs=N] [-seed=S] corpus_dir_or_file...
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerInitialize(int* pArgc, char*** pArgv);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size);

namespace {

using Bytes = std::vector<std::uint8_t>;

// Pieces that steer mutants towards the parser's branches.
const char* const aToken[] = {"solid", "facet", "normal", "outer", "loop", "vertex", "endloop", "endfacet",
		"endsolid", "nan", "-inf", "+", "-0", "1e308", "1e999", "0.1", "\r\n", "\n", " ", "\t", "\xEF\xBB\xBF"};

void setLittleEndian32(Bytes& bytes, std::size_t pos, std::uint32_t value)
{
	for(int k = 0; k < 4; ++k) bytes[pos + std::size_t(k)] = std::uint8_t(value >> (8 * k));
}

void mutate(Bytes& bytes, std::mt19937_64& random)
{
	const auto below = [&random](std::size_t n) { return n == 0 ? std::size_t(0) : std::size_t(random() % n); };
	switch(random() % 6)
	{
		case 0: // flip one bit
			if(!bytes.empty()) bytes[below(bytes.size())] ^= std::uint8_t(1u << (random() % 8));
			break;
		case 1: // insert random bytes
		{
			Bytes extra(1 + below(8));
			for(std::uint8_t& b : extra) b = std::uint8_t(random());
			bytes.insert(bytes.begin() + std::ptrdiff_t(below(bytes.size() + 1)), extra.begin(), extra.end());
			break;
		}
		case 2: // truncate
			bytes.resize(below(bytes.size() + 1));
			break;
		case 3: // insert a token
		{
			const char* pToken(aToken[below(sizeof(aToken) / sizeof(aToken[0]))]);
			bytes.insert(bytes.begin() + std::ptrdiff_t(below(bytes.size() + 1)), pToken, pToken + std::strlen(pToken));
			break;
		}
		case 4: // make the binary size rule hold, or nearly hold
			if(bytes.size() >= 84)
			{
				std::uint32_t count(std::uint32_t((bytes.size() - 84) / 50));
				if(random() % 4 == 0) count += std::uint32_t(random() % 3) - 1u;
				setLittleEndian32(bytes, 80, count);
				if(random() % 2 == 0) bytes.resize(84 + 50 * std::size_t(count < (1u << 20) ? count : 0));
			}
			break;
		default: // special float bit patterns in place of a coordinate
			if(bytes.size() >= 4)
			{
				const std::uint32_t aPattern[] = {0x7fc00000u, 0x7f800000u, 0xff800000u, 0x80000000u, 0x00000001u,
						0x7f7fffffu};
				setLittleEndian32(bytes, below(bytes.size() - 3), aPattern[below(6)]);
			}
			break;
	}
}

} // namespace

int main(int argc, char** argv)
{
	LLVMFuzzerInitialize(&argc, &argv);
	unsigned long long numRuns(10000), seed(1);
	std::vector<std::filesystem::path> vPaths;
	for(int a = 1; a < argc; ++a)
	{
		const std::string arg(argv[a]);
		if(arg.rfind("-runs=", 0) == 0) numRuns = std::strtoull(arg.c_str() + 6, nullptr, 10);
		else if(arg.rfind("-seed=", 0) == 0) seed = std::strtoull(arg.c_str() + 6, nullptr, 10);
		else if(arg.rfind("-", 0) == 0) continue; // libFuzzer options have no meaning here
		else if(!std::filesystem::is_directory(arg)) vPaths.push_back(arg);
		else
			for(const auto& entry : std::filesystem::directory_iterator(arg))
				if(entry.is_regular_file()) vPaths.push_back(entry.path());
	}
	std::sort(vPaths.begin(), vPaths.end());
	std::vector<Bytes> vCorpus;
	for(const auto& path : vPaths)
	{
		std::ifstream file(path, std::ios::binary);
		vCorpus.push_back(Bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>()));
	}
	if(vCorpus.empty()) vCorpus.push_back(Bytes());
	for(const Bytes& input : vCorpus) LLVMFuzzerTestOneInput(input.data(), input.size());
	std::mt19937_64 random(seed);
	for(unsigned long long run = 0; run < numRuns; ++run)
	{
		Bytes input(vCorpus[random() % vCorpus.size()]);
		for(int m = 1 + int(random() % 6); m > 0; --m) mutate(input, random);
		LLVMFuzzerTestOneInput(input.data(), input.size());
	}
	std::fprintf(stderr, "fuzz_stl driver: %zu corpus inputs and %llu mutants (seed %llu) passed\n", vCorpus.size(),
			numRuns, seed);
	return 0;
}
