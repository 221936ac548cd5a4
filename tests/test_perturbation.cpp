// Symbolic perturbation: the tie-break of the sphere test against an exact
// rational expansion of the perturbed determinant, and perturbed meshes of
// degenerate point sets against a brute-force perturbed empty-sphere check
// and against themselves in other insertion orders.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "MeshInvariants.h"
#include "PerturbedOracle.h"
#include "StdoutCapture.h"
#include "TrelTest3.h"
#include "Vorn_3D.h"

using namespace VORN3D;

namespace {

std::vector<Point3> grid(int n, double step = 1.0)
{
	std::vector<Point3> v;
	for(int i = 0; i < n; ++i)
		for(int j = 0; j < n; ++j)
			for(int k = 0; k < n; ++k) v.push_back(Point3(i * step, j * step, k * step));
	return v;
}

// The integer points of the sphere x^2 + y^2 + z^2 = r2.
std::vector<Point3> integerSphere(int r2)
{
	std::vector<Point3> v;
	const int r(int(std::sqrt(double(r2))) + 1);
	for(int x = -r; x <= r; ++x)
		for(int y = -r; y <= r; ++y)
			for(int z = -r; z <= r; ++z)
				if(x * x + y * y + z * z == r2) v.push_back(Point3(x, y, z));
	return v;
}

std::vector<Point3> shuffled(std::vector<Point3> v, unsigned seed)
{
	std::shuffle(v.begin(), v.end(), std::mt19937(seed));
	return v;
}

// Some of the points a second time, all shuffled.
std::vector<Point3> withDuplicates(std::vector<Point3> v, size_t numCopies, unsigned seed)
{
	const std::vector<Point3> vCopies(shuffled(v, seed + 1));
	v.insert(v.end(), vCopies.begin(), vCopies.begin() + long(std::min(numCopies, vCopies.size())));
	return shuffled(v, seed);
}

std::vector<Point3> randomIn(size_t n, unsigned seed, double lo, double hi)
{
	std::mt19937 rng(seed);
	std::uniform_real_distribution<double> u(lo, hi);
	std::vector<Point3> v;
	for(size_t i = 0; i < n; ++i) v.push_back(Point3(u(rng), u(rng), u(rng)));
	return v;
}

std::vector<Point3> twoPlanes(size_t n, unsigned seed)
{
	std::mt19937 rng(seed);
	std::vector<Point3> v;
	for(size_t i = 0; i < n; ++i) v.push_back(Point3(double(rng() % 7), double(rng() % 7), (i % 2) * 3.0));
	return v;
}

// Integer points on the circles x^2 + y^2 = 25 at three heights: every four
// on one circle are cocircular, every two circles cospherical.
std::vector<Point3> cocircularLayers()
{
	std::vector<Point3> v;
	for(const Point3& p : integerSphere(25))
	{
		if(p.z() == 0.0)
			for(int z = 0; z < 3; ++z) v.push_back(Point3(p.x(), p.y(), double(z)));
	}
	return v;
}

std::vector<Point3> gridPlusRandom()
{
	std::vector<Point3> v(grid(4));
	const std::vector<Point3> vRandom(randomIn(10, 4, 0.0, 3.0));
	v.insert(v.end(), vRandom.begin(), vRandom.end());
	return v;
}

// Five points exactly on one sphere, four of them not coplanar, put in
// positive order.
bool fiveOnASphere(const std::vector<Point3>& vSphere, std::mt19937& rng, const TrelTest3& tt, Point3 (&p)[5])
{
	std::vector<size_t> idx(vSphere.size());
	for(size_t i = 0; i < idx.size(); ++i) idx[i] = i;
	std::shuffle(idx.begin(), idx.end(), rng);
	for(int i = 0; i < 5; ++i) p[i] = vSphere[idx[size_t(i)]];
	const Orientation3 ori(tt.getOrientation3(p[0], p[1], p[2], p[3]));
	if(ori == ORIENTATION3_COPLANAR) return false;
	if(ori == ORIENTATION3_NEGATIVE) std::swap(p[0], p[1]);
	return true;
}

} // namespace

// Every tie of the sphere test is broken as the rational expansion of the
// perturbed determinant says: cospherical integer points, with the query in
// the plane of a facet (circles with an apex) and without, at ordinary
// scale and scaled far out of the range of the adaptive stages.
TEST(PerturbedPredicate, BreaksEveryTieAsTheExpandedDeterminant)
{
	const TrelTest3 tt;
	std::mt19937 rng(7);
	int numTies(0), numInPlane(0);
	for(const int r2 : {3, 9, 11, 25, 50, 75})
	{
		std::vector<Point3> vSphere(integerSphere(r2));
		for(const double scale : {1.0, std::ldexp(1.0, 400), std::ldexp(1.0, -300)})
		{
			std::vector<Point3> vScaled;
			for(const Point3& p : vSphere) vScaled.push_back(Point3(p.x() * scale, p.y() * scale, p.z() * scale));
			for(int round = 0; round < 60; ++round)
			{
				Point3 p[5];
				if(!fiveOnASphere(vScaled, rng, tt, p)) continue;
				const int expected(vtest::perturbedOutside(p[0], p[1], p[2], p[3], p[4]));
				ASSERT_EQ(tt.insphereSign(&p[0], &p[1], &p[2], &p[3], &p[4]), 0);
				const SphereInclusion got(tt.sphereInclusionPerturbed(&p[0], &p[1], &p[2], &p[3], &p[4]));
				ASSERT_EQ(got, expected > 0 ? SIC_OUTSIDE : SIC_INSIDE)
					<< "r2=" << r2 << " scale=" << scale << " " << p[0] << p[1] << p[2] << p[3] << " q=" << p[4];
				++numTies;
				for(int k = 0; k < 4; ++k)
				{
					Point3 cell[4] = {p[0], p[1], p[2], p[3]};
					cell[k] = p[4];
					numInPlane += tt.getOrientation3(cell[0], cell[1], cell[2], cell[3]) == ORIENTATION3_COPLANAR;
				}
			}
		}
	}
	EXPECT_GT(numTies, 500);
	EXPECT_GT(numInPlane, 50); // ties that needed the second orientation
	// Off the sphere the perturbation changes nothing.
	const std::vector<Point3> vRandom(randomIn(200, 3, -1.0, 1.0));
	for(size_t i = 0; i + 5 <= vRandom.size(); i += 5)
	{
		Point3 p[5] = {vRandom[i], vRandom[i + 1], vRandom[i + 2], vRandom[i + 3], vRandom[i + 4]};
		if(tt.getOrientation3(p[0], p[1], p[2], p[3]) == ORIENTATION3_NEGATIVE) std::swap(p[0], p[1]);
		EXPECT_EQ(tt.sphereInclusionPerturbed(&p[0], &p[1], &p[2], &p[3], &p[4]),
			tt.sphereInclusionTest(&p[0], &p[1], &p[2], &p[3], &p[4]));
	}
}

namespace {

struct PerturbedFamily
{
	friend void PrintTo(const PerturbedFamily& f, std::ostream* os) { *os << f.name; }
	const char* name;
	std::function<std::vector<Point3>()> make;
	bool bBruteForce; // small enough for the O(cells x points) rational check
};

using PerturbedMesh = ::testing::TestWithParam<PerturbedFamily>;

// Inserts vPoints with the perturbation on: in bulk calls of the given
// sizes (the rest in the last), then one by one from position numBulk on.
void build(Vorn_3D& vorn, const std::vector<Point3>& vPoints, std::vector<size_t> vBulkSizes, size_t numBulk)
{
	vorn.setPerturbation(true);
	size_t pos(0);
	for(size_t size : vBulkSizes)
	{
		size = std::min(size, numBulk - pos);
		std::vector<Point3> vStep(vPoints.begin() + long(pos), vPoints.begin() + long(pos + size));
		vorn.insert(vStep);
		pos += size;
	}
	std::vector<Point3> vRest(vPoints.begin() + long(pos), vPoints.begin() + long(numBulk));
	if(!vRest.empty()) vorn.insert(vRest);
	for(size_t i = numBulk; i < vPoints.size(); ++i)
	{
		Point3 p(vPoints[i]);
		vorn.insert(p);
	}
}

} // namespace

// One bulk call gives the perturbed Delaunay mesh (brute force in rationals
// on the small sets, structure and hull always); shuffled input, several
// bulk calls and single insertions give exactly the same cells.
TEST_P(PerturbedMesh, IsTheSameForEveryInsertionOrder)
{
	const std::vector<Point3> vPoints(GetParam().make());
	const size_t n(vPoints.size());
	vtest::StdoutCapture quiet;
	Vorn_3D reference;
	build(reference, vPoints, {}, n);
	ASSERT_EQ(vtest::checkMeshOf(reference, vPoints), "");
	ASSERT_TRUE(reference.checkValidity("perturbed", true));
	if(GetParam().bBruteForce)
	{
		ASSERT_EQ(vtest::perturbedEmptySphereViolation(reference), "");
	}
	const std::vector<vtest::CellCoords> vExpected(vtest::cellCoordinates(reference));
	for(unsigned seed = 1; seed <= 3; ++seed)
	{
		const std::vector<Point3> vOther(shuffled(vPoints, seed));
		Vorn_3D bulk, steps, singles;
		build(bulk, vOther, {}, n);
		EXPECT_EQ(vtest::cellCoordinates(bulk), vExpected) << "shuffle " << seed;
		build(steps, vOther, {n / 10 + 1, n / 3, 5}, n);
		EXPECT_EQ(vtest::cellCoordinates(steps), vExpected) << "several bulk calls, shuffle " << seed;
		// Singles once the mesh is 3D (before that, single insertions only
		// hold points back).
		build(singles, vOther, {}, n / 2);
		EXPECT_EQ(vtest::cellCoordinates(singles), vExpected) << "singles, shuffle " << seed;
	}
}

INSTANTIATE_TEST_SUITE_P(Degenerate, PerturbedMesh,
	::testing::Values(PerturbedFamily{"cube", [] { return grid(2); }, true},
		PerturbedFamily{"gridWithDuplicates", [] { return withDuplicates(grid(4), 20, 1); }, true},
		PerturbedFamily{"integerSphere50", [] { return integerSphere(50); }, true},
		PerturbedFamily{"integerSphere75WithCentre",
			[] {
				std::vector<Point3> v(integerSphere(75));
				v.push_back(Point3(0, 0, 0));
				return v;
			},
			true},
		PerturbedFamily{"twoPlanes", [] { return twoPlanes(80, 2); }, true},
		PerturbedFamily{"cocircularLayers", [] { return cocircularLayers(); }, true},
		PerturbedFamily{"gridPlusRandom", [] { return gridPlusRandom(); }, true},
		PerturbedFamily{"largeGridWithDuplicates", [] { return withDuplicates(grid(11, 0.25), 300, 3); }, false}),
	[](const ::testing::TestParamInfo<PerturbedFamily>& info) { return std::string(info.param.name); });

// The option is off by default, and it belongs to the whole point set: it
// can be set freely before the first point, and changing it later is
// refused with a message and VornException.
TEST(Perturbation, IsOffByDefaultAndSetBeforeTheFirstPoint)
{
	Vorn_3D vorn;
	EXPECT_FALSE(vorn.getPerturbation());
	vorn.setPerturbation(true);
	vorn.setPerturbation(false);
	vorn.setPerturbation(true);
	EXPECT_TRUE(vorn.getPerturbation());
	Point3 p(1, 2, 3);
	vorn.insert(p);
	vorn.setPerturbation(true); // no change: accepted
	vtest::StdoutCapture capture;
	EXPECT_THROW(vorn.setPerturbation(false), VornException);
	EXPECT_NE(capture.str().find(
				  "Dt3::setPerturbation(), ERROR: the perturbation can only be changed before the first insertion"),
		std::string::npos);
	EXPECT_TRUE(vorn.getPerturbation());
}

// Off, a cospherical point stays outside (the first comer wins): the
// perturbed and the plain cube differ in some order, and the plain mesh is
// still a valid Delaunay mesh.
TEST(Perturbation, OffKeepsThePlainRule)
{
	vtest::StdoutCapture quiet;
	const std::vector<Point3> vCube(grid(3));
	Vorn_3D perturbed;
	build(perturbed, vCube, {}, vCube.size());
	bool bDiffers(false);
	for(unsigned seed = 1; seed <= 5; ++seed)
	{
		std::vector<Point3> vOther(shuffled(vCube, seed));
		Vorn_3D plain;
		plain.insert(vOther);
		EXPECT_EQ(vtest::checkMeshOf(plain, vCube), "");
		bDiffers = bDiffers || vtest::cellCoordinates(plain) != vtest::cellCoordinates(perturbed);
	}
	EXPECT_TRUE(bDiffers);
}
