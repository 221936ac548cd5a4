// Test data, timing and small geometric helpers for calling programs.
#ifndef VORN3D_TESTDATAGENERATORS_H
#define VORN3D_TESTDATAGENERATORS_H

#include <cstdint>
#include <string>
#include <vector>

#include "Point3.h"
#include "VornException.h"
#include "vorn3d_export.h"

namespace VORN3D {

/// Appends count pseudo-random values in [min, max) to out. A nonzero seed
/// reproduces the same sequence; seed 0 draws a new one on every call.
/// Throws VornException when min >= max.
VORN3D_API void generateRandomNumbers(uint64_t count, double min, double max, std::vector<double>& out, uint32_t seed);
/// Appends ceil(2*count/3) random points with coordinates in [min, max) to
/// out (the first numbers of 3*count draws). Throws when min >= max.
VORN3D_API void generateRandomPoints(uint64_t count, double min, double max, std::vector<Point3>& out, uint32_t seed);
/// Named wall-clock timer: the first call of a name starts it and returns
/// -1.0, the next stops it, prints and returns the elapsed seconds. Each
/// thread has its own timers.
VORN3D_API double timer(const std::string& name);
/// Unit normal of the triangle p0, p1, p2 (zero vector, with warnings, for a
/// degenerate triangle).
VORN3D_API Vector3 getNormalVector(const Point3& p0, const Point3& p1, const Point3& p2);

} // namespace VORN3D

/// Counts events by name; the name "GETCOUNTERS" prints the table instead.
/// One table for the whole process: counts from all threads add up.
VORN3D_API void benchCounter(std::string& name);

#endif
