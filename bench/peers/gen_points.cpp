// Writes one point set of the comparison to a point file.
//
//   vorn3d_gen_points KIND N OUTFILE [SEED]
//
// KIND is one of
//   cube      N points uniform in [0,1)^3
//   ball      N points uniform in the unit ball
//   grid      the integer grid {0..N-1}^3 (N^3 points), in shuffled order
//   sphere    N points on the unit sphere (rounded to doubles, so almost but
//             not exactly cospherical)
//   clusters  N points in 50 Gaussian clusters (sigma 0.01) around centres
//             uniform in [0,1)^3
//   dups      N points of which 10% are exact copies of the other 90%, which
//             are uniform in [0,1)^3, in shuffled order
//   boxAxBxC  N points uniform in [0,A)x[0,B)x[0,C), e.g. box1000x1x1 or
//             box1e4x1x1 (an elongated or flat cloud)
//
// The random numbers come from our own splitmix64 stream and Box-Muller, not
// from <random>'s distributions, so a set is the same with every standard
// library.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "PointFile.h"

namespace {

class Random
{
public:
	explicit Random(uint64_t seed): state(seed) {}
	uint64_t next()
	{
		uint64_t z = (state += 0x9e3779b97f4a7c15ULL);
		z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
		z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
		return z ^ (z >> 31);
	}
	/// Uniform in [0,1) with 53 random bits.
	double uniform() { return static_cast<double>(next() >> 11) * 0x1.0p-53; }
	/// Uniform integer in [0, n).
	uint64_t below(uint64_t n) { return next() % n; }
	/// Standard normal (Box-Muller; the second value is dropped for simplicity).
	double gauss()
	{
		double u1 = uniform();
		while(u1 <= 0.0) u1 = uniform();
		const double u2 = uniform();
		return std::sqrt(-2.0 * std::log(u1)) * std::cos(6.283185307179586 * u2);
	}

private:
	uint64_t state;
};

void shuffle(std::vector<double>& vXyz, Random& rnd)
{
	const uint64_t numPoints = vXyz.size() / 3;
	for(uint64_t i = numPoints; i > 1; --i)
	{
		const uint64_t j = rnd.below(i);
		for(int c = 0; c < 3; ++c) std::swap(vXyz[3 * (i - 1) + c], vXyz[3 * j + c]);
	}
}

void addPoint(std::vector<double>& vXyz, double x, double y, double z)
{
	vXyz.push_back(x);
	vXyz.push_back(y);
	vXyz.push_back(z);
}

/// The extents of a kind "boxAxBxC"; false for any other kind.
bool parseBox(const std::string& kind, double aExtent[3])
{
	if(kind.compare(0, 3, "box") != 0) return false;
	const char* pText = kind.c_str() + 3;
	for(int c = 0; c < 3; ++c)
	{
		char* pEnd = nullptr;
		aExtent[c] = std::strtod(pText, &pEnd);
		if(pEnd == pText || !(aExtent[c] > 0.0) || *pEnd != (c < 2 ? 'x' : '\0')) return false;
		pText = pEnd + 1;
	}
	return true;
}

bool generate(const std::string& kind, uint64_t num, uint64_t seed, std::vector<double>& vXyz)
{
	Random rnd(seed);
	double aExtent[3];
	if(parseBox(kind, aExtent))
	{
		for(uint64_t i = 0; i < num; ++i)
			addPoint(vXyz, aExtent[0] * rnd.uniform(), aExtent[1] * rnd.uniform(), aExtent[2] * rnd.uniform());
	}
	else if(kind == "cube")
	{
		for(uint64_t i = 0; i < num; ++i) addPoint(vXyz, rnd.uniform(), rnd.uniform(), rnd.uniform());
	}
	else if(kind == "ball")
	{
		while(vXyz.size() < 3 * num)
		{
			const double x = 2.0 * rnd.uniform() - 1.0;
			const double y = 2.0 * rnd.uniform() - 1.0;
			const double z = 2.0 * rnd.uniform() - 1.0;
			if(x * x + y * y + z * z <= 1.0) addPoint(vXyz, x, y, z);
		}
	}
	else if(kind == "grid")
	{
		for(uint64_t i = 0; i < num; ++i)
			for(uint64_t j = 0; j < num; ++j)
				for(uint64_t k = 0; k < num; ++k) addPoint(vXyz, double(i), double(j), double(k));
		// Every program sorts spatially anyway; shuffling keeps the file
		// order from favouring any of them.
		shuffle(vXyz, rnd);
	}
	else if(kind == "sphere")
	{
		while(vXyz.size() < 3 * num)
		{
			const double x = rnd.gauss(), y = rnd.gauss(), z = rnd.gauss();
			const double len = std::sqrt(x * x + y * y + z * z);
			if(len > 1e-6) addPoint(vXyz, x / len, y / len, z / len);
		}
	}
	else if(kind == "clusters")
	{
		const int numCentres = 50;
		std::vector<double> vCentres;
		for(int c = 0; c < numCentres; ++c) addPoint(vCentres, rnd.uniform(), rnd.uniform(), rnd.uniform());
		for(uint64_t i = 0; i < num; ++i)
		{
			const uint64_t c = rnd.below(numCentres);
			addPoint(vXyz, vCentres[3 * c] + 0.01 * rnd.gauss(), vCentres[3 * c + 1] + 0.01 * rnd.gauss(),
				vCentres[3 * c + 2] + 0.01 * rnd.gauss());
		}
	}
	else if(kind == "dups")
	{
		const uint64_t numUnique = num - num / 10;
		for(uint64_t i = 0; i < numUnique; ++i) addPoint(vXyz, rnd.uniform(), rnd.uniform(), rnd.uniform());
		for(uint64_t i = numUnique; i < num; ++i)
		{
			const uint64_t j = rnd.below(numUnique);
			addPoint(vXyz, vXyz[3 * j], vXyz[3 * j + 1], vXyz[3 * j + 2]);
		}
		shuffle(vXyz, rnd);
	}
	else
	{
		return false;
	}
	return true;
}

} // namespace

int main(int argc, char** argv)
{
	if(argc != 4 && argc != 5)
	{
		std::printf("usage: %s cube|ball|grid|sphere|clusters|dups|boxAxBxC N OUTFILE [SEED]\n", argv[0]);
		return 1;
	}
	const std::string kind(argv[1]);
	const uint64_t num = std::stoull(argv[2]);
	const uint64_t seed = (argc == 5) ? std::stoull(argv[4]) : 20240601ULL;
	std::vector<double> vXyz;
	if(!generate(kind, num, seed, vXyz))
	{
		std::printf("unknown kind %s\n", kind.c_str());
		return 1;
	}
	vbench::writePointFile(argv[3], vXyz);
	std::printf("%s: %llu points\n", argv[3], static_cast<unsigned long long>(vXyz.size() / 3));
	return 0;
}
