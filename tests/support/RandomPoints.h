// Uniform random points for the kernel tests, reproducible from a seed.
#ifndef VORN3D_TEST_RANDOMPOINTS_H
#define VORN3D_TEST_RANDOMPOINTS_H

#include <random>
#include <vector>

#include "Point3.h"

namespace vtest {

/// n points uniform in [lo, hi)^3, drawn x, y, z in turn from rng.
inline std::vector<VORN3D::Point3> randomPoints(size_t n, std::mt19937& rng, double lo = 0.0, double hi = 1.0)
{
	std::uniform_real_distribution<double> dist(lo, hi);
	std::vector<VORN3D::Point3> v;
	for(size_t i = 0; i < n; ++i)
	{
		const double x(dist(rng)), y(dist(rng)), z(dist(rng));
		v.push_back(VORN3D::Point3(x, y, z));
	}
	return v;
}

/// The same from a fresh generator seeded with seed, in [0, scale)^3.
inline std::vector<VORN3D::Point3> randomPoints(size_t n, unsigned seed, double scale = 1.0)
{
	std::mt19937 rng(seed);
	return randomPoints(n, rng, 0.0, scale);
}

} // namespace vtest

#endif
