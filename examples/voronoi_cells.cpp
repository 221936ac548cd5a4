// Voronoi cells and the convex hull of random points, with the dual layer.
//
// The points of the unit cube are mirrored in its six faces; the cells of
// the original points are then exactly the cube's share of each point, so
// their volumes add up to 1. Run with a point count (default 5000) to see
// how long the cells take against the tetrahedralisation.
#include <ctime>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <random>
#include <vector>

#include <Dual3.h>
#include <vorn3d/Vorn_3D.h>

using namespace VORN3D;

namespace {

// Processor time of this program: on a shared machine it counts only the
// work done here.
double seconds(std::clock_t since)
{
	return static_cast<double>(std::clock() - since) / CLOCKS_PER_SEC;
}

} // namespace

int main(int argc, char** argv)
{
	// Coordinates on a grid of step 2^-30, so that the mirror images 2 - x
	// are exact. With a second argument the points are left unmirrored.
	const size_t count(argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 5000);
	std::mt19937_64 random(7);
	std::uniform_int_distribution<int64_t> grid(0, (int64_t(1) << 30) - 1);
	std::vector<Point3> vPoints;
	for(size_t i = 0; i < count; ++i)
		vPoints.emplace_back(std::ldexp(double(grid(random)), -30), std::ldexp(double(grid(random)), -30),
			std::ldexp(double(grid(random)), -30));
	const size_t n(argc > 2 ? 0 : count);
	for(size_t i = 0; i < n; ++i)
	{
		const Point3 p(vPoints[i]);
		vPoints.emplace_back(-p.x(), p.y(), p.z());
		vPoints.emplace_back(2.0 - p.x(), p.y(), p.z());
		vPoints.emplace_back(p.x(), -p.y(), p.z());
		vPoints.emplace_back(p.x(), 2.0 - p.y(), p.z());
		vPoints.emplace_back(p.x(), p.y(), -p.z());
		vPoints.emplace_back(p.x(), p.y(), 2.0 - p.z());
	}

	const auto t0(std::clock());
	Vorn_3D dt;
	std::vector<Point3*> vHandles;
	dt.insert(vPoints, vHandles);
	const double tDelaunay(seconds(t0));

	const auto t1(std::clock());
	numberVertices(vHandles);
	Voronoi3 voronoi;
	voronoi.compute(dt, static_cast<int32_t>(vPoints.size()));
	const double tCells(seconds(t1));

	double sum(0.0), largest(0.0);
	for(size_t i = 0; i < n; ++i)
	{
		const double v(voronoi.vVolumes[i]);
		sum += v;
		largest = std::max(largest, v);
	}
	// The Voronoi pass has numbered the cells; the hull reads them in that numbering.
	std::vector<Tet3*> vCells;
	collectCells(dt, vCells, false);
	ConvexHull3 hull;
	hull.compute(vCells);
	std::cout << vPoints.size() << " points (" << n << " in the cube and their mirror images), " << vCells.size()
			  << " cells, " << voronoi.numRidges() << " Voronoi faces\n"
			  << "processor time: Delaunay " << tDelaunay << " s, all Voronoi cells with volumes and face areas " << tCells << " s\n"
			  << "cells of the cube's points: total volume " << sum << " (the cube: 1), largest " << largest << "\n"
			  << "convex hull: " << hull.numFacets() << " facets, volume " << hull.volume << ", area " << hull.area
			  << std::endl;
	// The hull of the mirrored set contains the cube and lies in [-1, 2]^3,
	// so its volume lies between the cube's 1 and the box's 27; unmirrored
	// points have their hull inside the cube.
	const bool bOk(n > 0 ? std::fabs(sum - 1.0) < 1e-9 && hull.volume > 1.0 && hull.volume < 27.0
						 : hull.volume > 0.0 && hull.volume <= 1.0);
	return bOk ? 0 : 1;
}
