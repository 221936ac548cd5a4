// The expansion arithmetic and the orientation and sphere predicates against
// exact rational arithmetic (GMP), over families of inputs chosen to defeat
// the floating-point filter; the traced entry points show which stage
// decided, so each family also proves that its stages are reached.
#include <gmpxx.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "ExactPredicates.h"
#include "StdoutCapture.h"
#include "Tet3.h"
#include "TrelTest3.h"
#include "VornException.h"
#include "expansionArith.h"

using namespace VORN3D;

namespace {

const TrelTest3& predicates()
{
	static const TrelTest3 tt;
	return tt;
}

mpq_class exactSum(int len, const double* e)
{
	mpq_class sum(0);
	for(int i = 0; i < len; ++i) sum += mpq_class(e[i]);
	return sum;
}

// Zero-eliminated expansion: no zero component unless it is the single 0.0,
// and each component below the lowest set bit of the next one.
::testing::AssertionResult isZeroElimExpansion(int len, const double* e)
{
	for(int i = 0; len > 1 && i < len; ++i)
		if(e[i] == 0.0) return ::testing::AssertionFailure() << "zero component " << i << " of " << len;
	for(int i = 0; i + 1 < len; ++i)
	{
		int exponent;
		const double mantissa(std::frexp(e[i + 1], &exponent));
		long long bits(static_cast<long long>(std::ldexp(mantissa, 53)));
		int lowBit(exponent - 53);
		while(bits % 2 == 0) bits /= 2, ++lowBit;
		if(!(std::fabs(e[i]) < std::ldexp(1.0, lowBit)))
			return ::testing::AssertionFailure() << "components " << i << " and " << i + 1 << " overlap";
	}
	return ::testing::AssertionSuccess();
}

double ulpMove(double x, int k)
{
	for(int i = 0; i < std::abs(k); ++i) x = std::nextafter(x, k > 0 ? INFINITY : -INFINITY);
	return x;
}

Orientation3 expectedOrientation(int sign)
{
	return sign > 0 ? ORIENTATION3_POSITIVE : (sign < 0 ? ORIENTATION3_NEGATIVE : ORIENTATION3_COPLANAR);
}

// Exactly on the sphere is outside, except where every term of the lifted
// determinant has a zero factor: then the filter takes the zero as inside.
SphereInclusion expectedInclusion(const Point3* c[4], const Point3& q)
{
	const int sign(vtest::exactLiftedSign(*c[0], *c[1], *c[2], *c[3], q));
	if(sign != 0) return sign > 0 ? SIC_INSIDE : SIC_OUTSIDE;
	std::array<int, 4> perm{{0, 1, 2, 3}};
	auto lift = [&](int i) { return !(*c[i] == q); };
	do
	{
		if(lift(perm[0]) && c[perm[1]]->z() != q.z() && c[perm[2]]->x() != q.x() && c[perm[3]]->y() != q.y())
			return SIC_OUTSIDE;
	} while(std::next_permutation(perm.begin(), perm.end()));
	return SIC_INSIDE;
}

std::unique_ptr<Tet3> makeCell(Point3* pa, Point3* pb, Point3* pc, Point3* pd)
{
	vtest::StdoutCapture quiet; // the default constructor announces itself
	std::unique_ptr<Tet3> pCell(new Tet3());
	pCell->setProperties(pa, pb, pc, pd);
	return pCell;
}

class Generator
{
public:
	explicit Generator(uint64_t seed): rng(seed) {}
	double uniform(double lo, double hi) { return std::uniform_real_distribution<double>(lo, hi)(rng); }
	int integer(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); }
	bool coin() { return integer(0, 1) == 1; }
	Point3 unit() { return Point3(uniform(-1, 1), uniform(-1, 1), uniform(-1, 1)); }
	Point3 grid(int e) { return Point3(integer(-e, e), integer(-e, e), integer(-e, e)); }
	// Random mantissa times 10^k, k in [-30, 30], random sign, sometimes zero.
	double wide()
	{
		if(integer(0, 15) == 0) return 0.0;
		const double v(uniform(1.0, 10.0) * std::pow(10.0, integer(-30, 30)));
		return coin() ? v : -v;
	}
	Point3 widePoint() { return Point3(wide(), wide(), wide()); }
	// Moves one point (or none) by up to 2 ulps per coordinate; zero stays.
	void jiggleOne(Point3* p, int n)
	{
		const int i(integer(0, n));
		auto j = [&](double v) { return v == 0.0 ? v : ulpMove(v, integer(-2, 2)); };
		if(i < n) p[i] = Point3(j(p[i].x()), j(p[i].y()), j(p[i].z()));
	}
	// d = a + s (b - a) + t (c - a): exact for integer data (then scaled by a
	// power of two and shifted), rounded for real data.
	void coplanar(Point3* p, bool bIntegers, bool bWide)
	{
		for(int i = 0; i < 3; ++i) p[i] = bIntegers ? grid(1000) : (bWide ? widePoint() : unit());
		const double s(bIntegers ? integer(-3, 3) : uniform(-2, 2)), t(bIntegers ? integer(-3, 3) : uniform(-2, 2));
		p[3] = Point3(p[0].x() + s * (p[1].x() - p[0].x()) + t * (p[2].x() - p[0].x()),
			p[0].y() + s * (p[1].y() - p[0].y()) + t * (p[2].y() - p[0].y()),
			p[0].z() + s * (p[1].z() - p[0].z()) + t * (p[2].z() - p[0].z()));
		if(!bIntegers) return;
		const double scale(std::ldexp(1.0, integer(-30, 30))), shift(std::ldexp(integer(-1000, 1000), integer(-10, 10)));
		for(int i = 0; i < 4; ++i) p[i] = Point3(p[i].x() * scale + shift, p[i].y() * scale + shift, p[i].z() * scale + shift);
	}
	// Exactly coplanar in x = y (axes permuted) with inexact differences.
	void diagonalPlane(Point3* p)
	{
		const int axes(integer(0, 2));
		for(int i = 0; i < 4; ++i)
		{
			const double u(coin() ? wide() : uniform(-1, 1)), v(coin() ? wide() : uniform(-1, 1));
			p[i] = axes == 0 ? Point3(u, u, v) : (axes == 1 ? Point3(u, v, u) : Point3(v, u, u));
		}
	}
	// Five points on one sphere, rounded to doubles.
	void roundedSphere(Point3* p, double radius, double centreRange)
	{
		const Point3 c(uniform(-centreRange, centreRange), uniform(-centreRange, centreRange), uniform(-centreRange, centreRange));
		for(int i = 0; i < 5; ++i)
		{
			Point3 d(unit());
			while(d.x() * d.x() + d.y() * d.y() + d.z() * d.z() < 0.01) d = unit();
			const double len(std::sqrt(d.x() * d.x() + d.y() * d.y() + d.z() * d.z()));
			p[i] = Point3(c.x() + radius * d.x() / len, c.y() + radius * d.y() / len, c.z() + radius * d.z() / len);
		}
	}
	// Signed permutations of (x, y, z), shifted: exactly cospherical.
	void signedPermutations(Point3* p, double x, double y, double z, double shift)
	{
		const double v[3] = {x, y, z};
		int n(0);
		for(int attempt = 0; attempt < 200 && n < 5; ++attempt)
		{
			std::array<int, 3> perm{{0, 1, 2}};
			std::shuffle(perm.begin(), perm.end(), rng);
			const Point3 q((coin() ? -1 : 1) * v[perm[0]] + shift, (coin() ? -1 : 1) * v[perm[1]] + shift,
				(coin() ? -1 : 1) * v[perm[2]] + shift);
			if(std::find(p, p + n, q) == p + n) p[n++] = q;
		}
		for(int i = std::max(n, 1); i < 5; ++i) p[i] = p[std::max(n - 1, 0)];
	}
	// Scales all points by one power of two so that the smallest nonzero
	// coordinate becomes 2^low (bLow) or the largest 2^high.
	void scaleTo(Point3* p, int n, bool bLow, int low, int high)
	{
		double smallest(INFINITY), largest(0.0);
		for(int i = 0; i < n; ++i)
			for(double v : {p[i].x(), p[i].y(), p[i].z()})
			{
				if(v != 0.0) smallest = std::min(smallest, std::fabs(v));
				largest = std::max(largest, std::fabs(v));
			}
		int e;
		std::frexp(bLow ? smallest : largest, &e);
		const int k(bLow ? low - (e - 1) : high - e);
		for(int i = 0; i < n; ++i) p[i] = Point3(std::ldexp(p[i].x(), k), std::ldexp(p[i].y(), k), std::ldexp(p[i].z(), k));
	}
	// Integer lattices of span 2..65537 with offsets up to 1e15, around the
	// limits below which integer input is evaluated directly in doubles.
	void lattice(Point3* p, int n, int round)
	{
		static const double aSpan[] = {2, 4, 511, 512, 513, 65535, 65536, 65537};
		static const double aOffset[] = {0.0, -300.0, 1e15};
		const double span(aSpan[round % 8]), offset(aOffset[(round / 8) % 3]);
		for(int i = 0; i < n; ++i)
			p[i] = Point3(offset + integer(0, int(span)), offset + integer(0, int(span)), offset + integer(0, int(span)));
		if(round % 5 == 0) p[0] = Point3(offset, offset, offset), p[1] = Point3(offset + span, offset, offset);
	}

	// Random sign, binary order uniform in [lo, hi] (below -1022 the value
	// rounds to a subnormal), now and then zero.
	double anyOrder(int lo, int hi)
	{
		if(integer(0, 15) == 0) return 0.0;
		const double v(std::ldexp(uniform(1.0, 2.0), integer(lo, hi)));
		return coin() ? v : -v;
	}
	void anyOrderPoints(Point3* p, int n, int lo, int hi)
	{
		for(int i = 0; i < n; ++i) p[i] = Point3(anyOrder(lo, hi), anyOrder(lo, hi), anyOrder(lo, hi));
	}
	// Each axis scaled by its own power of two: orientation signs survive,
	// exactly, unless a value rounds into the subnormals.
	void scaleAxesApart(Point3* p, int n)
	{
		const int a(integer(-1100, 960)), b(integer(-1100, 960)), c(integer(-1100, 960));
		for(int i = 0; i < n; ++i) p[i] = Point3(std::ldexp(p[i].x(), a), std::ldexp(p[i].y(), b), std::ldexp(p[i].z(), c));
	}

private:
	std::mt19937_64 rng;
};

// A family: fills the points of case n; stages that must decide some case;
// the sphere test (five points) or the orientation (four).
struct Family
{
	friend void PrintTo(const Family& family, std::ostream* os) { *os << family.name; }
	const char* name;
	int numCases;
	std::function<void(Generator&, Point3*, int)> make;
	std::vector<PredicateStage> vStages;
	bool bSphere;
};

std::string stageCounts(const long* aCount)
{
	std::string s;
	for(int i = 0; i < 7; ++i) s += " " + std::to_string(aCount[i]);
	return s;
}

} // namespace

TEST(ExpansionArithmetic, TransformationsSumAndScaleAreExact)
{
	const TrelTest3& tt(predicates());
	// The values the error bounds are derived from.
	EXPECT_EQ(tt.splitter, 134217729.0);
	EXPECT_EQ(tt.epsilon, std::ldexp(1.0, -53));
	Generator gen(11);
	for(int n = 0; n < 4000; ++n)
	{
		const double a(gen.wide()), b(gen.wide()), a0(a * 0x1p-60), b0(b * 0x1p-61);
		double x, y, q[4], hi, lo;
		expansion::twoSum(a, b, x, y);
		ASSERT_EQ(mpq_class(x) + mpq_class(y), mpq_class(a) + mpq_class(b));
		ASSERT_EQ(x, a + b);
		expansion::twoDiff(a, b, x, y);
		ASSERT_EQ(mpq_class(x) + mpq_class(y), mpq_class(a) - mpq_class(b));
		expansion::twoProduct(tt, a, b, x, y);
		ASSERT_EQ(mpq_class(x) + mpq_class(y), mpq_class(a) * mpq_class(b));
		if(std::fabs(a) >= std::fabs(b))
		{
			expansion::fastTwoSum(a, b, x, y);
			ASSERT_EQ(mpq_class(x) + mpq_class(y), mpq_class(a) + mpq_class(b));
		}
		expansion::split(tt, a, hi, lo);
		ASSERT_EQ(mpq_class(hi) + mpq_class(lo), mpq_class(a));
		int e;
		ASSERT_EQ(std::ldexp(std::frexp(hi, &e), 26), std::trunc(std::ldexp(std::frexp(hi, &e), 26)));
		expansion::twoTwoDiff(a, a0, b, b0, q);
		ASSERT_EQ(exactSum(4, q), (mpq_class(a) + mpq_class(a0)) - (mpq_class(b) + mpq_class(b0)));
		expansion::twoSum(a, b, x, y);
		expansion::twoOneProduct(tt, x, y, a0, q);
		ASSERT_EQ(exactSum(4, q), (mpq_class(x) + mpq_class(y)) * mpq_class(a0));
		expansion::twoByTwo(tt, a, b, a0, b0, q);
		ASSERT_EQ(exactSum(4, q), mpq_class(a) * mpq_class(b) - mpq_class(a0) * mpq_class(b0));
	}
	// Random expansions grown with the routines themselves on exactly sized
	// heap arrays (reads past the end show under the sanitizer): value,
	// invariants and the sign of the top component against GMP; zero results
	// are the single 0.
	gen = Generator(12);
	auto sign = [](double v) { return v > 0.0 ? 1 : (v < 0.0 ? -1 : 0); };
	for(int n = 0; n < 1500; ++n)
	{
		std::vector<double> vE(1, gen.wide());
		for(int t = gen.integer(1, 12); t > 0; --t)
		{
			const double term(gen.coin() ? gen.wide() : -vE.back());
			std::vector<double> vSum(vE.size() + 1);
			const int len(expansion::fast_expansion_sum_zeroelim(int(vE.size()), vE.data(), 1, &term, vSum.data()));
			ASSERT_EQ(exactSum(len, vSum.data()), exactSum(int(vE.size()), vE.data()) + mpq_class(term));
			ASSERT_TRUE(isZeroElimExpansion(len, vSum.data()));
			vSum.resize(len);
			vE.swap(vSum);
		}
		const mpq_class value(exactSum(int(vE.size()), vE.data()));
		EXPECT_EQ(sgn(value), sign(vE.back()));
		const double b(n % 50 == 0 ? 0.0 : (gen.coin() ? gen.wide() : gen.uniform(-3, 3)));
		std::vector<double> vScaled(2 * vE.size());
		const int numScaled(expansion::scale_expansion_zeroelim(tt, int(vE.size()), vE.data(), b, vScaled.data()));
		ASSERT_EQ(exactSum(numScaled, vScaled.data()), value * mpq_class(b));
		ASSERT_TRUE(isZeroElimExpansion(numScaled, vScaled.data()));
		EXPECT_EQ(sgn(value * mpq_class(b)), sign(vScaled[numScaled - 1]));
		std::vector<double> vBoth(vE.size() + numScaled);
		expansion::negate(numScaled, vScaled.data());
		const int numBoth(expansion::fast_expansion_sum_zeroelim(int(vE.size()), vE.data(), numScaled, vScaled.data(), vBoth.data()));
		ASSERT_EQ(exactSum(numBoth, vBoth.data()), value - value * mpq_class(b));
		ASSERT_TRUE(isZeroElimExpansion(numBoth, vBoth.data()));
		double plain(vBoth[0]);
		for(int i = 1; i < numBoth; ++i) plain += vBoth[i];
		EXPECT_EQ(expansion::estimate(numBoth, vBoth.data()), plain);
	}
}

using PredicateFamily = ::testing::TestWithParam<Family>;

// Both entry points against GMP on every case. An exact zero past the filter
// is decided by the exact-input or the last stage, never by an error bound.
TEST_P(PredicateFamily, AgreesWithExactArithmetic)
{
	const Family& family(GetParam());
	const TrelTest3& tt(predicates());
	Generator gen(std::hash<std::string>()(family.name) + family.bSphere);
	long aCount[7] = {0, 0, 0, 0, 0, 0, 0};
	int numMismatches(0);
	for(int n = 0; n < family.numCases; ++n)
	{
		Point3 p[5];
		family.make(gen, p, n);
		const Point3* c[4] = {&p[0], &p[1], &p[2], &p[3]};
		PredicateStage stage(STAGE_CORNER_GUARD);
		int expected, traced, plain;
		bool bExactZero;
		if(family.bSphere)
		{
			expected = expectedInclusion(c, p[4]);
			traced = tt.sphereInclusionTestTraced(c[0], c[1], c[2], c[3], &p[4], stage);
			plain = tt.sphereInclusionTest(c[0], c[1], c[2], c[3], &p[4]);
			bExactZero = expected == SIC_OUTSIDE && vtest::exactLiftedSign(p[0], p[1], p[2], p[3], p[4]) == 0;
		}
		else
		{
			expected = expectedOrientation(vtest::exactOrientation(p[0], p[1], p[2], p[3]));
			traced = tt.getOrientation3Traced(p[0], p[1], p[2], p[3], stage);
			plain = tt.getOrientation3(p[0], p[1], p[2], p[3]);
			bExactZero = expected == ORIENTATION3_COPLANAR;
		}
		++aCount[stage];
		if((traced != expected || plain != expected) && ++numMismatches < 5)
			ADD_FAILURE() << "case " << n << ": got " << plain << "/" << traced << " at stage " << stage << ", exact " << expected;
		if(bExactZero && (stage == STAGE_B || (stage == STAGE_C && !family.bSphere)))
			ADD_FAILURE() << "case " << n << ": an exact zero decided by an error bound";
	}
	EXPECT_EQ(numMismatches, 0);
	for(PredicateStage s : family.vStages) EXPECT_GT(aCount[s], 0) << "stage " << s << ";" << stageCounts(aCount);
	EXPECT_EQ(aCount[STAGE_CORNER_GUARD], 0);
}

INSTANTIATE_TEST_SUITE_P(Orientation, PredicateFamily,
	::testing::Values(
		Family{"uniform", 20000, [](Generator& g, Point3* p, int) { for(int i = 0; i < 4; ++i) p[i] = g.unit(); },
			{STAGE_FILTER}, false},
		Family{"wide", 20000,
			[](Generator& g, Point3* p, int n) {
				if(n % 2) g.coplanar(p, false, true);
				else for(int i = 0; i < 4; ++i) p[i] = g.widePoint();
			},
			{STAGE_FILTER, STAGE_B}, false},
		Family{"coplanarIntegersJiggled", 30000, [](Generator& g, Point3* p, int) { g.coplanar(p, true, false); g.jiggleOne(p, 4); },
			{STAGE_FILTER, STAGE_EXACT_INPUT, STAGE_C, STAGE_D}, false},
		Family{"diagonalPlaneJiggled", 15000, [](Generator& g, Point3* p, int) { g.diagonalPlane(p); g.jiggleOne(p, 4); },
			{STAGE_B, STAGE_C, STAGE_D}, false},
		Family{"nearlyCoplanarJiggled", 15000, [](Generator& g, Point3* p, int) { g.coplanar(p, false, false); g.jiggleOne(p, 4); },
			{STAGE_B, STAGE_C}, false},
		Family{"smallGrids", 20000, [](Generator& g, Point3* p, int n) { for(int i = 0; i < 4; ++i) p[i] = g.grid(n % 2 ? 3 : 1); },
			{STAGE_FILTER, STAGE_EXACT_INPUT}, false},
		Family{"extremeScales", 6000,
			[](Generator& g, Point3* p, int n) {
				if(n % 3 == 0) g.coplanar(p, true, false);
				else if(n % 3 == 1) g.diagonalPlane(p);
				else g.coplanar(p, false, false);
				g.jiggleOne(p, 4);
				g.scaleTo(p, 4, n % 2 == 0, -250, 300);
			},
			{STAGE_C, STAGE_D}, false},
		Family{"integerLattices", 9600, [](Generator& g, Point3* p, int n) { g.lattice(p, 4, n / 400); },
			{STAGE_FILTER, STAGE_EXACT_INPUT}, false},
		// The whole double range, subnormals included: orders spread over one
		// call, narrow windows anywhere (scaled into the range), and exactly
		// or nearly coplanar sets with the axes scaled apart.
		Family{"anyOrder", 6000,
			[](Generator& g, Point3* p, int n) {
				const int window(g.integer(-1074, 1000));
				if(n % 4 == 0) g.anyOrderPoints(p, 4, -1080, 1023);
				else if(n % 4 == 1) g.anyOrderPoints(p, 4, window - 40, std::min(window + 20, 1023));
				else
				{
					g.coplanar(p, n % 4 == 2, false);
					g.jiggleOne(p, 4);
					g.scaleAxesApart(p, 4);
				}
			},
			{STAGE_FILTER, STAGE_WIDE}, false}),
	[](const ::testing::TestParamInfo<Family>& info) { return std::string(info.param.name); });

INSTANTIATE_TEST_SUITE_P(Sphere, PredicateFamily,
	::testing::Values(
		Family{"uniform", 20000, [](Generator& g, Point3* p, int) { for(int i = 0; i < 5; ++i) p[i] = g.unit(); },
			{STAGE_FILTER}, true},
		Family{"wide", 20000,
			[](Generator& g, Point3* p, int n) {
				if(n % 2) g.roundedSphere(p, std::fabs(g.wide()) + 1e-30, std::fabs(g.wide()));
				else for(int i = 0; i < 5; ++i) p[i] = g.widePoint();
			},
			{STAGE_FILTER, STAGE_B}, true},
		Family{"roundedSphere", 15000, [](Generator& g, Point3* p, int) { g.roundedSphere(p, g.uniform(0.1, 10), 10); },
			{STAGE_B, STAGE_C}, true},
		Family{"cosphericalIntegersJiggled", 15000,
			[](Generator& g, Point3* p, int) {
				g.signedPermutations(p, g.integer(-1000, 1000), g.integer(-1000, 1000), g.integer(-1000, 1000), g.integer(-100, 100));
				g.jiggleOne(p, 5);
			},
			{STAGE_FILTER, STAGE_EXACT_INPUT, STAGE_C, STAGE_D}, true},
		Family{"cosphericalInexact", 12000,
			[](Generator& g, Point3* p, int) {
				g.signedPermutations(p, g.uniform(-1, 1), g.wide(), g.uniform(-1e3, 1e3), 0.0);
				g.jiggleOne(p, 5);
			},
			{STAGE_B, STAGE_C, STAGE_D}, true},
		Family{"smallGrids", 18000, [](Generator& g, Point3* p, int n) { for(int i = 0; i < 5; ++i) p[i] = g.grid(n % 2 ? 2 : 1); },
			{STAGE_FILTER, STAGE_EXACT_INPUT}, true},
		Family{"extremeScales", 6000,
			[](Generator& g, Point3* p, int n) {
				if(n % 3 == 0) g.signedPermutations(p, g.uniform(-1, 1), g.uniform(-1e-6, 1e-6), g.uniform(-1e6, 1e6), 0.0);
				else if(n % 3 == 1)
					g.signedPermutations(p, g.integer(-1000, 1000), g.integer(-1000, 1000), g.integer(-1000, 1000), g.integer(-9, 9));
				else g.roundedSphere(p, 1.0, 1.0);
				g.jiggleOne(p, 5);
				g.scaleTo(p, 5, n % 2 == 0, -128, 200);
			},
			{STAGE_C, STAGE_D}, true},
		Family{"integerLattices", 9600,
			[](Generator& g, Point3* p, int n) {
				g.lattice(p, 5, n / 400);
				if(vtest::exactOrientation(p[0], p[1], p[2], p[3]) < 0) std::swap(p[0], p[1]);
				while(p[4] == p[0] || p[4] == p[1] || p[4] == p[2] || p[4] == p[3]) p[4] = Point3(p[4].x() + 1, p[4].y(), p[4].z());
			},
			{STAGE_FILTER, STAGE_EXACT_INPUT}, true},
		// The whole double range: orders spread over one call, narrow windows,
		// exactly cospherical points with coordinates of any order, rounded
		// spheres scaled to any order, now and then a query equal to a corner.
		Family{"anyOrder", 4000,
			[](Generator& g, Point3* p, int n) {
				const int window(g.integer(-1074, 1000));
				if(n % 4 == 0) g.anyOrderPoints(p, 5, -1080, 1020);
				else if(n % 4 == 1) g.anyOrderPoints(p, 5, window - 40, std::min(window + 20, 1020));
				else if(n % 4 == 2) g.signedPermutations(p, g.anyOrder(-1080, 1020), g.anyOrder(-1080, 1020), g.anyOrder(-1080, 1020), 0.0);
				else
				{
					g.roundedSphere(p, 1.0, 1.0);
					g.scaleTo(p, 5, true, g.integer(-1100, 950), 0);
				}
				g.jiggleOne(p, 5);
				if(g.integer(0, 9) == 0) p[4] = p[g.integer(0, 3)];
			},
			{STAGE_FILTER, STAGE_WIDE}, true}),
	[](const ::testing::TestParamInfo<Family>& info) { return std::string(info.param.name); });

TEST(Predicates, UnitCellCornersCospherePointsAndFacetForm)
{
	const TrelTest3& tt(predicates());
	Point3 a(0, 0, 0), b(1, 0, 0), c(0, 1, 0), d(0, 0, 1);
	EXPECT_EQ(tt.getOrientation3(a, b, c, d), ORIENTATION3_POSITIVE);
	EXPECT_EQ(tt.getOrientation3(&b, &a, &c, &d), ORIENTATION3_NEGATIVE);
	std::unique_ptr<Tet3> pCell(makeCell(&a, &b, &c, &d));
	const Point3 centre(0.5, 0.5, 0.5), onSphere(1, 1, 0), inside(ulpMove(1.0, -1), 1, 0), outside(ulpMove(1.0, 1), 1, 0);
	EXPECT_EQ(tt.sphereInclusionTest(pCell.get(), &centre), SIC_INSIDE);
	EXPECT_EQ(tt.sphereInclusionTest(pCell.get(), &onSphere), SIC_OUTSIDE); // on the sphere: no conflict
	EXPECT_EQ(tt.sphereInclusionTest(pCell.get(), &inside), SIC_INSIDE);
	EXPECT_EQ(tt.sphereInclusionTest(pCell.get(), &outside), SIC_OUTSIDE);
	// A corner object, or a copy of one, is inside through the filter.
	Point3* aCorner[4] = {&a, &b, &c, &d};
	for(Point3* pCorner : aCorner)
	{
		const Point3 twin(*pCorner);
		PredicateStage stage(STAGE_D);
		EXPECT_EQ(tt.sphereInclusionTest(pCell.get(), pCorner), SIC_INSIDE);
		EXPECT_EQ(tt.sphereInclusionTestTraced(&a, &b, &c, &d, &twin, stage), SIC_INSIDE);
		EXPECT_EQ(stage, STAGE_FILTER);
	}
	// NaN defeats the filter: a corner object as query is then reported.
	Point3 nanCorner(NAN, 0, 0);
	std::unique_ptr<Tet3> pNanCell(makeCell(&nanCorner, &b, &c, &d));
	EXPECT_EQ(tt.sphereInclusionTest(pNanCell.get(), &nanCorner), SIC_CORNER);
	EXPECT_EQ(tt.sphereInclusionTest(pNanCell.get(), &d), SIC_CORNER);

	// Facet form: facet i sees corner i positive, and any q on corner i's
	// side of the plane through the other three (in index order).
	Generator gen(21);
	for(int n = 0; n < 300; ++n)
	{
		Point3 p[4] = {gen.unit(), gen.unit(), gen.unit(), gen.unit()};
		if(vtest::exactOrientation(p[0], p[1], p[2], p[3]) < 0) std::swap(p[0], p[1]);
		std::unique_ptr<Tet3> pRandom(makeCell(&p[0], &p[1], &p[2], &p[3]));
		const Point3 q(n % 3 == 0 ? p[n % 4] : gen.unit());
		for(int i = 0; i < 4; ++i)
		{
			const Point3& f0(p[i == 0 ? 1 : 0]);
			const Point3& f1(p[i <= 1 ? 2 : 1]);
			const Point3& f2(p[i <= 2 ? 3 : 2]);
			EXPECT_EQ(tt.getOrientation3(pRandom.get(), i, &p[i]), ORIENTATION3_POSITIVE);
			EXPECT_EQ(tt.getOrientation3(pRandom.get(), i, &q),
				expectedOrientation(vtest::exactOrientation(f0, f1, f2, q) * vtest::exactOrientation(f0, f1, f2, p[i])));
		}
		const Point3 r(gen.unit());
		EXPECT_EQ(tt.sphereInclusionTest(pRandom.get(), &r),
			vtest::exactInSphere(p[0], p[1], p[2], p[3], r) > 0 ? SIC_INSIDE : SIC_OUTSIDE);
	}
}

// The quick test of the sphere filter may only accept what the permanent
// bound accepts, and must accept nearly all easy cases; the cases at its
// threshold come within a factor 100 of the bound.
TEST(Predicates, QuickAcceptOnlyWhereThePermanentBoundAccepts)
{
	Generator gen(47);
	const double factor(insphereQuickFactor(predicates().isperrboundA));
	double worstRatio(0.0);
	int numUniformQuick(0);
	for(int n = 0; n < 30000; ++n)
	{
		Point3 p[5];
		if(n < 10000) for(Point3& q : p) q = gen.unit();
		else if(n % 2) gen.roundedSphere(p, gen.uniform(0.1, 10.0), 10.0);
		else
		{
			const double r(gen.uniform(0.5, 2.0)), step(std::ldexp(gen.uniform(-1, 1), -gen.integer(10, 60)));
			p[0] = Point3(r, r, r), p[1] = Point3(r, -r, -r), p[2] = Point3(-r, r, -r), p[3] = Point3(-r, -r, r);
			p[4] = Point3(r + step * r, r + step * gen.uniform(-1, 1), -r);
		}
		InsphereTerms<double> t;
		insphereTerms(p[0], p[1], p[2], p[3], p[4], t);
		if(!insphereQuickAccept(t, factor)) continue;
		numUniformQuick += n < 10000;
		const double errbound(predicates().isperrboundA * inspherePermanent(t));
		ASSERT_GT(std::fabs(t.det), errbound) << "case " << n;
		worstRatio = std::max(worstRatio, errbound / std::fabs(t.det));
	}
	EXPECT_GT(numUniformQuick, 9900);
	EXPECT_GT(worstRatio, 0.01);
	// The bound is tight where every lift is the largest and every coordinate
	// difference as large as it can be: corners at (+-1, +-1, +-1) from q give
	// a permanent of 72 with lifts of 3. A determinant below 72 isperrboundA
	// must be refused whatever it is.
	Point3 c[4] = {Point3(1, 1, 1), Point3(1, -1, -1), Point3(-1, 1, -1), Point3(-1, -1, 1)};
	InsphereTerms<double> t;
	insphereTerms(c[0], c[1], c[2], c[3], Point3(0, 0, 0), t);
	ASSERT_EQ(inspherePermanent(t), 72.0);
	for(double k : {1.0, 10.0, 40.0, 71.0})
	{
		t.det = k * predicates().isperrboundA;
		EXPECT_FALSE(insphereQuickAccept(t, factor)) << k;
	}
}

TEST(Predicates, NamesPrintOutAndFailures)
{
	const TrelTest3& tt(predicates());
	EXPECT_EQ(tt.getOrientationName(ORIENTATION3_POSITIVE), "ORI3_ORIENTATION3_POSITIVE");
	EXPECT_EQ(tt.getOrientationName(ORIENTATION3_NEGATIVE), "ORI3_ORIENTATION3_NEGATIVE");
	EXPECT_EQ(tt.getOrientationName(ORIENTATION3_COPLANAR), "ORI3_ZERO");
	{
		vtest::StdoutCapture capture;
		tt.printOrientation("ori", ORIENTATION3_POSITIVE);
		tt.printOrientation("x", ORIENTATION3_NEGATIVE);
		tt.printOrientation("y", ORIENTATION3_COPLANAR);
		EXPECT_EQ(capture.str(), "ori: positive\nx: negative\ny: coplanar\n");
	}
	{
		vtest::StdoutCapture capture;
		EXPECT_THROW(tt.getOrientationName(static_cast<Orientation3>(3)), VornException);
		EXPECT_EQ(capture.str().rfind("\n      Vorn, , ERROR: Condition [ false failed ]\n      dt3Library/TrelTest3.cpp:", 0), 0u)
			<< capture.str();
	}
	const Point3 q(0, 0, 0);
	EXPECT_DEATH(
		{
			dup2(STDERR_FILENO, STDOUT_FILENO);
			tt.getOrientation3(static_cast<const Tet3*>(nullptr), 0, &q);
		},
		"goToHell, ERROR:  reason: getOrientation3, pC==NULL");
}
