// Cost per call of the orientation and sphere predicates.
//
// Random input shows the filter's cost (it decides nearly every call);
// near-degenerate input is sorted by the stage that decides it, so each
// adaptive stage and the exact stage get their own figure.
//
//   make bench && build/bench/bench/bench_predicates
#include <benchmark/benchmark.h>

#include <array>
#include <cmath>
#include <random>
#include <vector>

#include "TrelTest3.h"

using namespace VORN3D;

namespace {

const char* const aStageName[5] = {"filter", "stage B", "exact input", "stage C", "stage D / exact"};
const int numCasesPerSet(1024);

struct Generator
{
	explicit Generator(uint64_t seed): rng(seed) {}
	double uniform(double lo, double hi) { return std::uniform_real_distribution<double>(lo, hi)(rng); }
	int integer(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); }
	Point3 uniformPoint() { return Point3(uniform(-1.0, 1.0), uniform(-1.0, 1.0), uniform(-1.0, 1.0)); }
	double jiggle(double v)
	{
		const int k(integer(-2, 2));
		for(int i = 0; i < std::abs(k); ++i) v = std::nextafter(v, k > 0 ? 1e300 : -1e300);
		return v;
	}
	Point3 jiggle(const Point3& p) { return Point3(jiggle(p.x()), jiggle(p.y()), jiggle(p.z())); }
	std::mt19937_64 rng;
};

// Near-degenerate orientation inputs: coplanar integers, coplanar points with
// inexact differences (plane x = y) and rounded coplanar combinations, with
// one point moved by up to two ulps per coordinate.
std::array<Point3, 4> nearlyCoplanar(Generator& gen)
{
	std::array<Point3, 4> aPoint;
	switch(gen.integer(0, 2))
	{
		case 0:
		{
			for(int i = 0; i < 3; ++i) aPoint[i] = Point3(gen.integer(-999, 999), gen.integer(-999, 999), gen.integer(-999, 999));
			const int s(gen.integer(-3, 3)), t(gen.integer(-3, 3));
			aPoint[3] = Point3(aPoint[0].x() + s * (aPoint[1].x() - aPoint[0].x()) + t * (aPoint[2].x() - aPoint[0].x()),
				aPoint[0].y() + s * (aPoint[1].y() - aPoint[0].y()) + t * (aPoint[2].y() - aPoint[0].y()),
				aPoint[0].z() + s * (aPoint[1].z() - aPoint[0].z()) + t * (aPoint[2].z() - aPoint[0].z()));
			break;
		}
		case 1:
			for(int i = 0; i < 4; ++i)
			{
				const double u(gen.uniform(-1.0, 1.0) * std::pow(10.0, gen.integer(-8, 8)));
				aPoint[i] = Point3(u, u, gen.uniform(-1.0, 1.0));
			}
			break;
		default:
		{
			for(int i = 0; i < 3; ++i) aPoint[i] = gen.uniformPoint();
			const double s(gen.uniform(-2.0, 2.0)), t(gen.uniform(-2.0, 2.0));
			aPoint[3] = Point3(aPoint[0].x() + s * (aPoint[1].x() - aPoint[0].x()) + t * (aPoint[2].x() - aPoint[0].x()),
				aPoint[0].y() + s * (aPoint[1].y() - aPoint[0].y()) + t * (aPoint[2].y() - aPoint[0].y()),
				aPoint[0].z() + s * (aPoint[1].z() - aPoint[0].z()) + t * (aPoint[2].z() - aPoint[0].z()));
		}
	}
	const int which(gen.integer(0, 4));
	if(which < 4) aPoint[which] = gen.jiggle(aPoint[which]);
	return aPoint;
}

// Near-degenerate sphere inputs: signed permutations of (x, y, z) lie exactly
// on one sphere; integer ones have exact differences, mixed magnitudes do not;
// plus points rounded onto a sphere. One point moved by up to two ulps.
std::array<Point3, 5> nearlyCospherical(Generator& gen)
{
	std::array<Point3, 5> aPoint;
	const int kind(gen.integer(0, 2));
	if(kind == 2)
	{
		for(int i = 0; i < 5; ++i)
		{
			const Point3 dir(gen.uniformPoint());
			const double len(std::sqrt(dir.x() * dir.x() + dir.y() * dir.y() + dir.z() * dir.z()));
			aPoint[i] = Point3(0.25 + dir.x() / len, -0.5 + dir.y() / len, 2.0 + dir.z() / len);
		}
	}
	else
	{
		const double aValue[3] = {kind == 0 ? gen.integer(1, 999) : gen.uniform(0.1, 1.0),
			kind == 0 ? gen.integer(1, 999) : gen.uniform(1e-7, 1e-6), kind == 0 ? gen.integer(1, 999) : gen.uniform(1e3, 1e4)};
		for(int i = 0; i < 5; ++i)
		{
			std::array<int, 3> perm{{0, 1, 2}};
			std::shuffle(perm.begin(), perm.end(), gen.rng);
			aPoint[i] = Point3(gen.integer(0, 1) ? -aValue[perm[0]] : aValue[perm[0]],
				gen.integer(0, 1) ? -aValue[perm[1]] : aValue[perm[1]], gen.integer(0, 1) ? -aValue[perm[2]] : aValue[perm[2]]);
		}
	}
	const int which(gen.integer(0, 5));
	if(which < 5) aPoint[which] = gen.jiggle(aPoint[which]);
	return aPoint;
}

template<class Cases>
bool allFull(const Cases* vByStage)
{
	for(int i = 0; i < 5; ++i)
	{
		if(vByStage[i].size() < numCasesPerSet) return false;
	}
	return true;
}

struct OrientationSets
{
	std::vector<std::array<Point3, 4>> vRandom;
	std::vector<std::array<Point3, 4>> vByStage[5];
};

struct SphereSets
{
	std::vector<std::array<Point3, 5>> vRandom;
	std::vector<std::array<Point3, 5>> vByStage[5];
};

const OrientationSets& orientationSets()
{
	static OrientationSets sets;
	if(!sets.vRandom.empty()) return sets;
	const TrelTest3 tt;
	Generator gen(7);
	for(int n = 0; n < numCasesPerSet; ++n)
	{
		sets.vRandom.push_back({gen.uniformPoint(), gen.uniformPoint(), gen.uniformPoint(), gen.uniformPoint()});
	}
	for(int n = 0; n < 2000000 && !allFull(sets.vByStage); ++n)
	{
		const std::array<Point3, 4> aPoint(nearlyCoplanar(gen));
		PredicateStage stage;
		tt.getOrientation3Traced(aPoint[0], aPoint[1], aPoint[2], aPoint[3], stage);
		if(stage <= STAGE_D && sets.vByStage[stage].size() < numCasesPerSet) sets.vByStage[stage].push_back(aPoint);
	}
	return sets;
}

const SphereSets& sphereSets()
{
	static SphereSets sets;
	if(!sets.vRandom.empty()) return sets;
	const TrelTest3 tt;
	Generator gen(8);
	for(int n = 0; n < numCasesPerSet; ++n)
	{
		std::array<Point3, 5> aPoint{
			{gen.uniformPoint(), gen.uniformPoint(), gen.uniformPoint(), gen.uniformPoint(), gen.uniformPoint()}};
		sets.vRandom.push_back(aPoint);
	}
	for(int n = 0; n < 2000000 && !allFull(sets.vByStage); ++n)
	{
		const std::array<Point3, 5> aPoint(nearlyCospherical(gen));
		PredicateStage stage;
		tt.sphereInclusionTestTraced(&aPoint[0], &aPoint[1], &aPoint[2], &aPoint[3], &aPoint[4], stage);
		if(stage <= STAGE_D && sets.vByStage[stage].size() < numCasesPerSet) sets.vByStage[stage].push_back(aPoint);
	}
	return sets;
}

template<class Cases, class Call>
void runOver(benchmark::State& state, const Cases& vCases, Call call)
{
	if(vCases.empty())
	{
		state.SkipWithError("no input reached this stage");
		return;
	}
	size_t index(0);
	for(auto _ : state)
	{
		benchmark::DoNotOptimize(call(vCases[index]));
		if(++index == vCases.size()) index = 0;
	}
	state.SetItemsProcessed(state.iterations());
}

void BM_OrientationRandom(benchmark::State& state)
{
	const TrelTest3 tt;
	runOver(state, orientationSets().vRandom,
		[&tt](const std::array<Point3, 4>& p) { return tt.getOrientation3(p[0], p[1], p[2], p[3]); });
}

void BM_OrientationByStage(benchmark::State& state)
{
	const TrelTest3 tt;
	state.SetLabel(aStageName[state.range(0)]);
	runOver(state, orientationSets().vByStage[state.range(0)],
		[&tt](const std::array<Point3, 4>& p) { return tt.getOrientation3(p[0], p[1], p[2], p[3]); });
}

void BM_SphereRandom(benchmark::State& state)
{
	const TrelTest3 tt;
	runOver(state, sphereSets().vRandom,
		[&tt](const std::array<Point3, 5>& p) { return tt.sphereInclusionTest(&p[0], &p[1], &p[2], &p[3], &p[4]); });
}

void BM_SphereByStage(benchmark::State& state)
{
	const TrelTest3 tt;
	state.SetLabel(aStageName[state.range(0)]);
	runOver(state, sphereSets().vByStage[state.range(0)],
		[&tt](const std::array<Point3, 5>& p) { return tt.sphereInclusionTest(&p[0], &p[1], &p[2], &p[3], &p[4]); });
}

} // namespace

BENCHMARK(BM_OrientationRandom);
BENCHMARK(BM_OrientationByStage)->DenseRange(STAGE_FILTER, STAGE_D);
BENCHMARK(BM_SphereRandom);
BENCHMARK(BM_SphereByStage)->DenseRange(STAGE_FILTER, STAGE_D);

BENCHMARK_MAIN();
