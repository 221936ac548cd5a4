// Tests of the expansion arithmetic and the orientation and sphere predicates.
//
// Every predicate answer is compared with the exact sign computed by GMP
// (ExactPredicates) on well over 10^5 inputs per predicate, drawn from
// families chosen to defeat the floating-point filter; the traced entry
// points show that each adaptive stage is actually reached.
#include <gmpxx.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "ExactPredicates.h"
#include "StdoutCapture.h"
#include "Tet3.h"
#include "VornException.h"
#include "TrelTest3.h"
#include "expansionArith.h"

using namespace VORN3D;

namespace {

const TrelTest3& predicates()
{
	static const TrelTest3 tt;
	return tt;
}

// ---------------------------------------------------------------- helpers

mpq_class exactSum(int len, const double* e)
{
	mpq_class sum(0);
	for(int i = 0; i < len; ++i) sum += mpq_class(e[i]);
	return sum;
}

// The invariants every expansion produced with zero elimination must keep:
// no zero component unless it is the single 0.0, strictly increasing
// magnitudes with no two components overlapping in their bits.
::testing::AssertionResult isZeroElimExpansion(int len, const double* e)
{
	if(len < 1) return ::testing::AssertionFailure() << "empty expansion";
	if(len == 1) return ::testing::AssertionSuccess();
	for(int i = 0; i < len; ++i)
	{
		if(e[i] == 0.0) return ::testing::AssertionFailure() << "zero component " << i << " of " << len;
	}
	for(int i = 0; i + 1 < len; ++i)
	{
		// Nonoverlapping: the smaller component lies below the lowest set bit
		// of the larger one.
		const mpq_class big(std::fabs(e[i + 1]));
		const mpq_class small(std::fabs(e[i]));
		mpz_class num(mpz_class(big.get_num()));
		mpq_class lowBit(1);
		lowBit /= mpq_class(big.get_den());
		while(mpz_even_p(num.get_mpz_t()))
		{
			num /= 2;
			lowBit *= 2;
		}
		if(!(small < lowBit))
			return ::testing::AssertionFailure() << "components " << i << " and " << i + 1 << " overlap";
	}
	return ::testing::AssertionSuccess();
}

// Moves x by k units in the last place, in the direction of the sign of k.
double ulpMove(double x, int k)
{
	const double target(k > 0 ? std::numeric_limits<double>::infinity() : -std::numeric_limits<double>::infinity());
	for(int i = 0; i < std::abs(k); ++i) x = std::nextafter(x, target);
	return x;
}

Orientation3 expectedOrientation(int sign)
{
	if(sign > 0) return ORIENTATION3_POSITIVE;
	if(sign < 0) return ORIENTATION3_NEGATIVE;
	return ORIENTATION3_COPLANAR;
}

// True when every one of the 72 terms of the lifted determinant (q as origin)
// has a zero factor: lift of one corner, z of a second, x of a third and y
// of the fourth, over all assignments. Then the filter sees a zero
// permanent and takes the zero determinant as inside.
bool insphereHasNoNonzeroTerm(const Point3* aCorner[4], const Point3& q)
{
	bool bLift[4], bX[4], bY[4], bZ[4];
	for(int i = 0; i < 4; ++i)
	{
		bX[i] = aCorner[i]->x() != q.x();
		bY[i] = aCorner[i]->y() != q.y();
		bZ[i] = aCorner[i]->z() != q.z();
		bLift[i] = bX[i] || bY[i] || bZ[i];
	}
	std::array<int, 4> perm{{0, 1, 2, 3}};
	do
	{
		if(bLift[perm[0]] && bZ[perm[1]] && bX[perm[2]] && bY[perm[3]]) return false;
	} while(std::next_permutation(perm.begin(), perm.end()));
	return true;
}

SphereInclusion expectedInclusion(const Point3* aCorner[4], const Point3& q)
{
	const int sign(vtest::exactLiftedSign(*aCorner[0], *aCorner[1], *aCorner[2], *aCorner[3], q));
	if(sign > 0) return SIC_INSIDE;
	if(sign < 0) return SIC_OUTSIDE;
	// Exactly on the sphere (or a flat cell): outside, unless the filter
	// accepted a zero permanent.
	return insphereHasNoNonzeroTerm(aCorner, q) ? SIC_INSIDE : SIC_OUTSIDE;
}

std::string describe(const Point3& p)
{
	char buffer[160];
	std::snprintf(buffer, sizeof(buffer), "(%a, %a, %a)", p.x(), p.y(), p.z());
	return buffer;
}

// Counts how often each stage settled an answer, and checks every answer
// against the oracle.
struct StageTally
{
	long aCount[7] = {0, 0, 0, 0, 0, 0, 0};
	long numCases = 0;
	long numMismatches = 0;

	void checkOrientation(const Point3& a, const Point3& b, const Point3& c, const Point3& d)
	{
		const TrelTest3& tt(predicates());
		PredicateStage stage(STAGE_CORNER_GUARD);
		const Orientation3 traced(tt.getOrientation3Traced(a, b, c, d, stage));
		const Orientation3 plain(tt.getOrientation3(a, b, c, d));
		const Orientation3 expected(expectedOrientation(vtest::exactOrientation(a, b, c, d)));
		++aCount[stage];
		++numCases;
		if(traced != expected || plain != expected)
		{
			if(++numMismatches <= 10)
			{
				ADD_FAILURE() << "orientation of " << describe(a) << " " << describe(b) << " " << describe(c) << " "
							  << describe(d) << ": got " << plain << "/" << traced << " (stage " << stage
							  << "), exact " << expected;
			}
		}
	}

	void checkInclusion(const Point3& a, const Point3& b, const Point3& c, const Point3& d, const Point3& q)
	{
		const TrelTest3& tt(predicates());
		const Point3* aCorner[4] = {&a, &b, &c, &d};
		PredicateStage stage(STAGE_CORNER_GUARD);
		const SphereInclusion traced(tt.sphereInclusionTestTraced(&a, &b, &c, &d, &q, stage));
		const SphereInclusion plain(tt.sphereInclusionTest(&a, &b, &c, &d, &q));
		const SphereInclusion expected(expectedInclusion(aCorner, q));
		++aCount[stage];
		++numCases;
		if(traced != expected || plain != expected)
		{
			if(++numMismatches <= 10)
			{
				ADD_FAILURE() << "sphere test of " << describe(a) << " " << describe(b) << " " << describe(c) << " "
							  << describe(d) << " against " << describe(q) << ": got " << plain << "/" << traced
							  << " (stage " << stage << "), exact " << expected;
			}
		}
	}

	void add(const StageTally& other)
	{
		for(int i = 0; i < 7; ++i) aCount[i] += other.aCount[i];
		numCases += other.numCases;
		numMismatches += other.numMismatches;
	}

	std::string summary() const
	{
		return "filter " + std::to_string(aCount[STAGE_FILTER]) + ", B " + std::to_string(aCount[STAGE_B]) +
			", exact input " + std::to_string(aCount[STAGE_EXACT_INPUT]) + ", C " + std::to_string(aCount[STAGE_C]) +
			", D/exact " + std::to_string(aCount[STAGE_D]) + ", corner guard " +
			std::to_string(aCount[STAGE_CORNER_GUARD]) + ", wide " + std::to_string(aCount[STAGE_WIDE]) + " of " +
			std::to_string(numCases);
	}
};

// ------------------------------------------------------------- generators

class Generator
{
public:
	explicit Generator(uint64_t seed): rng(seed) {}

	double uniform(double lo, double hi) { return std::uniform_real_distribution<double>(lo, hi)(rng); }
	int integer(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); }
	bool coin() { return integer(0, 1) == 1; }

	Point3 uniformPoint() { return Point3(uniform(-1.0, 1.0), uniform(-1.0, 1.0), uniform(-1.0, 1.0)); }
	Point3 gridPoint(int lo, int hi) { return Point3(integer(lo, hi), integer(lo, hi), integer(lo, hi)); }

	// A random mantissa times 10^k, k uniform in [-30, 30], random sign, and
	// now and then exactly zero.
	double wideMagnitude()
	{
		if(integer(0, 15) == 0) return 0.0;
		const double value(uniform(1.0, 10.0) * std::pow(10.0, integer(-30, 30)));
		return coin() ? value : -value;
	}
	Point3 widePoint() { return Point3(wideMagnitude(), wideMagnitude(), wideMagnitude()); }

	// Each coordinate moved by 0, 1 or 2 ulps up or down. Zero stays zero: its
	// neighbours are subnormal, outside the range where the predicates are exact.
	double jiggle(double v) { return v == 0.0 ? v : ulpMove(v, integer(-2, 2)); }
	Point3 jiggle(const Point3& p) { return Point3(jiggle(p.x()), jiggle(p.y()), jiggle(p.z())); }
	// Jiggles one of the points, or none.
	void jiggleOne(Point3* aPoint, int numPoints)
	{
		const int which(integer(0, numPoints));
		if(which < numPoints) aPoint[which] = jiggle(aPoint[which]);
	}

	// Four exactly coplanar points with integer coordinates: d is an integer
	// combination of the edges from a. Scaled by a power of two and shifted
	// by a dyadic offset, they stay exactly coplanar.
	void coplanarIntegers(Point3* aPoint)
	{
		const Point3 a(gridPoint(-1000, 1000)), b(gridPoint(-1000, 1000)), c(gridPoint(-1000, 1000));
		const int s(integer(-3, 3)), t(integer(-3, 3));
		const Point3 d(a.x() + s * (b.x() - a.x()) + t * (c.x() - a.x()), a.y() + s * (b.y() - a.y()) + t * (c.y() - a.y()),
			a.z() + s * (b.z() - a.z()) + t * (c.z() - a.z()));
		const double scale(std::ldexp(1.0, integer(-30, 30)));
		const double shift(std::ldexp(static_cast<double>(integer(-1000, 1000)), integer(-10, 10)));
		const Point3 aRaw[4] = {a, b, c, d};
		for(int i = 0; i < 4; ++i)
		{
			aPoint[i] = Point3(aRaw[i].x() * scale + shift, aRaw[i].y() * scale + shift, aRaw[i].z() * scale + shift);
		}
	}

	// Four exactly coplanar points in a plane x = y (or a permutation of the
	// axes) with arbitrary doubles: the coordinate differences are inexact.
	void coplanarDoubles(Point3* aPoint)
	{
		const int axes(integer(0, 2));
		for(int i = 0; i < 4; ++i)
		{
			const double u(wideOrUnit()), v(wideOrUnit());
			if(axes == 0) aPoint[i] = Point3(u, u, v);
			else if(axes == 1) aPoint[i] = Point3(u, v, u);
			else aPoint[i] = Point3(v, u, u);
		}
	}

	// Four nearly coplanar points: d = a + s (b - a) + t (c - a) rounded.
	void nearlyCoplanar(Point3* aPoint, bool bWide)
	{
		for(int i = 0; i < 3; ++i) aPoint[i] = bWide ? widePoint() : uniformPoint();
		const double s(uniform(-2.0, 2.0)), t(uniform(-2.0, 2.0));
		const Point3& a(aPoint[0]);
		const Point3& b(aPoint[1]);
		const Point3& c(aPoint[2]);
		aPoint[3] = Point3(a.x() + s * (b.x() - a.x()) + t * (c.x() - a.x()),
			a.y() + s * (b.y() - a.y()) + t * (c.y() - a.y()), a.z() + s * (b.z() - a.z()) + t * (c.z() - a.z()));
	}

	// Five points on one sphere, each rounded to doubles.
	void roundedSphere(Point3* aPoint, double radius, double centreRange)
	{
		const Point3 centre(uniform(-centreRange, centreRange), uniform(-centreRange, centreRange),
			uniform(-centreRange, centreRange));
		for(int i = 0; i < 5; ++i)
		{
			double x, y, z, len;
			do
			{
				x = uniform(-1.0, 1.0);
				y = uniform(-1.0, 1.0);
				z = uniform(-1.0, 1.0);
				len = std::sqrt(x * x + y * y + z * z);
			} while(len < 0.1 || len > 1.0);
			aPoint[i] = Point3(centre.x() + radius * x / len, centre.y() + radius * y / len, centre.z() + radius * z / len);
		}
	}

	// Five distinct signed permutations of (x, y, z): exactly on the sphere
	// of radius |(x, y, z)| about the origin. With integer x, y, z and an
	// integer shift the set stays exactly cospherical.
	void signedPermutations(Point3* aPoint, double x, double y, double z, double shift)
	{
		const double aValue[3] = {x, y, z};
		int numDistinct(0);
		for(int attempt = 0; attempt < 200 && numDistinct < 5; ++attempt)
		{
			std::array<int, 3> perm{{0, 1, 2}};
			std::shuffle(perm.begin(), perm.end(), rng);
			const double px(coin() ? -aValue[perm[0]] : aValue[perm[0]]);
			const double py(coin() ? -aValue[perm[1]] : aValue[perm[1]]);
			const double pz(coin() ? -aValue[perm[2]] : aValue[perm[2]]);
			const Point3 p(px + shift, py + shift, pz + shift);
			if(std::find(aPoint, aPoint + numDistinct, p) == aPoint + numDistinct) aPoint[numDistinct++] = p;
		}
		// Too few distinct ones (zero or equal values): repeat the last.
		for(int i = std::max(numDistinct, 1); i < 5; ++i) aPoint[i] = aPoint[numDistinct > 0 ? numDistinct - 1 : 0];
	}

private:
	double wideOrUnit() { return coin() ? wideMagnitude() : uniform(-1.0, 1.0); }

	std::mt19937_64 rng;
};

std::unique_ptr<Tet3> makeCell(Point3* pa, Point3* pb, Point3* pc, Point3* pd)
{
	// The default constructor announces itself; the kernel never uses it.
	vtest::StdoutCapture quiet;
	std::unique_ptr<Tet3> pCell(new Tet3());
	pCell->setProperties(pa, pb, pc, pd);
	return pCell;
}

} // namespace

// ======================================================= the fifteen constants

TEST(PredicateConstants, MatchTheTableBitForBit)
{
	const TrelTest3& tt(predicates());
	EXPECT_EQ(tt.splitter, 134217729.0);
	EXPECT_EQ(tt.epsilon, std::ldexp(1.0, -53));
	EXPECT_EQ(tt.epsilon, 1.1102230246251565e-16);
	EXPECT_EQ(tt.resulterrbound, 3.3306690738754706e-16);
	EXPECT_EQ(tt.ccwerrboundA, 3.3306690738754716e-16);
	EXPECT_EQ(tt.ccwerrboundB, 2.2204460492503146e-16);
	EXPECT_EQ(tt.ccwerrboundC, 1.1093356479670487e-31);
	EXPECT_EQ(tt.o3derrboundA, 7.771561172376103e-16);
	EXPECT_EQ(tt.o3derrboundB, 3.330669073875473e-16);
	EXPECT_EQ(tt.o3derrboundC, 3.2047474274603644e-31);
	EXPECT_EQ(tt.iccerrboundA, 1.1102230246251577e-15);
	EXPECT_EQ(tt.iccerrboundB, 4.440892098500632e-16);
	EXPECT_EQ(tt.iccerrboundC, 5.423418723394464e-31);
	EXPECT_EQ(tt.isperrboundA, 1.7763568394002532e-15);
	EXPECT_EQ(tt.isperrboundB, 5.551115123125792e-16);
	EXPECT_EQ(tt.isperrboundC, 8.751425667295619e-31);
	// Exactly fifteen doubles and nothing else.
	EXPECT_EQ(sizeof(TrelTest3), 15 * sizeof(double));
}

// ================================================== error-free transformations

TEST(ExpansionArithmetic, TwoSumAndTwoProductOnTheirExamples)
{
	const TrelTest3& tt(predicates());
	double x, y;
	expansion::twoSum(1.0, std::ldexp(1.0, -60), x, y);
	EXPECT_EQ(x, 1.0);
	EXPECT_EQ(y, std::ldexp(1.0, -60));
	expansion::twoProduct(tt, 134217729.0, 134217729.0, x, y);
	EXPECT_EQ(x, std::ldexp(1.0, 54) + std::ldexp(1.0, 28));
	EXPECT_EQ(y, 1.0);
	expansion::fastTwoSum(std::ldexp(1.0, 70), -3.0, x, y);
	EXPECT_EQ(mpq_class(x) + mpq_class(y), mpq_class(std::ldexp(1.0, 70)) - 3);
	double hi, lo;
	expansion::split(tt, 1.0 / 3.0, hi, lo);
	EXPECT_EQ(mpq_class(hi) + mpq_class(lo), mpq_class(1.0 / 3.0));
}

TEST(ExpansionArithmetic, TransformationsAreExactOnRandomInputs)
{
	const TrelTest3& tt(predicates());
	Generator gen(11);
	for(int n = 0; n < 4000; ++n)
	{
		const double a(gen.wideMagnitude()), b(gen.wideMagnitude());
		const double a0(a * 0x1p-60), b0(b * 0x1p-61);
		double x, y;
		expansion::twoSum(a, b, x, y);
		ASSERT_EQ(x, a + b);
		ASSERT_EQ(mpq_class(x) + mpq_class(y), mpq_class(a) + mpq_class(b));
		expansion::twoDiff(a, b, x, y);
		ASSERT_EQ(x, a - b);
		ASSERT_EQ(mpq_class(x) + mpq_class(y), mpq_class(a) - mpq_class(b));
		expansion::twoProduct(tt, a, b, x, y);
		ASSERT_EQ(x, a * b);
		ASSERT_EQ(mpq_class(x) + mpq_class(y), mpq_class(a) * mpq_class(b));
		double hi, lo;
		expansion::split(tt, a, hi, lo);
		ASSERT_EQ(mpq_class(hi) + mpq_class(lo), mpq_class(a));
		// hi must have at most 26 significant bits (lo carries the rest, sign included).
		int exponent;
		const double mantissa(std::frexp(hi, &exponent));
		ASSERT_EQ(std::ldexp(mantissa, 26), std::trunc(std::ldexp(mantissa, 26)));

		double aQuad[4];
		expansion::twoTwoDiff(a, a0, b, b0, aQuad);
		ASSERT_EQ(exactSum(4, aQuad), (mpq_class(a) + mpq_class(a0)) - (mpq_class(b) + mpq_class(b0)));
		// twoOneProduct wants a nonoverlapping pair, which twoSum makes.
		double p1, p0;
		expansion::twoSum(a, b, p1, p0);
		expansion::twoOneProduct(tt, p1, p0, a0, aQuad);
		ASSERT_EQ(exactSum(4, aQuad), (mpq_class(p1) + mpq_class(p0)) * mpq_class(a0));
		expansion::twoByTwo(tt, a, b, a0, b0, aQuad);
		ASSERT_EQ(exactSum(4, aQuad), mpq_class(a) * mpq_class(b) - mpq_class(a0) * mpq_class(b0));
	}
}

// ========================================================= expansion routines

TEST(ExpansionArithmetic, ScaleByZeroGivesTheSingleZero)
{
	const TrelTest3& tt(predicates());
	double e[2], h[4];
	expansion::twoSum(1.0, std::ldexp(1.0, -80), e[1], e[0]);
	ASSERT_EQ(e[0], std::ldexp(1.0, -80));
	EXPECT_EQ(expansion::scale_expansion_zeroelim(tt, 2, e, 0.0, h), 1);
	EXPECT_EQ(h[0], 0.0);
}

TEST(ExpansionArithmetic, SumWithNegationGivesTheSingleZero)
{
	double e[3] = {std::ldexp(1.0, -90), std::ldexp(3.0, -20), 7.0};
	double f[3] = {-e[0], -e[1], -e[2]};
	double h[6];
	EXPECT_EQ(expansion::fast_expansion_sum_zeroelim(3, e, 3, f, h), 1);
	EXPECT_EQ(h[0], 0.0);
	expansion::negate(3, f);
	const int len(expansion::fast_expansion_sum_zeroelim(3, e, 3, f, h));
	EXPECT_EQ(exactSum(len, h), 2 * exactSum(3, e));
}

// Builds random expansions with the routines themselves, on exactly sized
// heap arrays (so a read past the end shows under the address sanitizer),
// and checks value, invariants and sign against GMP.
TEST(ExpansionArithmetic, SumAndScaleAreExactAndKeepTheInvariants)
{
	const TrelTest3& tt(predicates());
	Generator gen(12);
	for(int n = 0; n < 1500; ++n)
	{
		std::vector<double> vE(1, gen.wideMagnitude());
		const int numTerms(gen.integer(1, 12));
		for(int t = 0; t < numTerms; ++t)
		{
			std::vector<double> vTerm(1, gen.coin() ? gen.wideMagnitude() : -vE.back());
			std::vector<double> vSum(vE.size() + 1);
			const int len(expansion::fast_expansion_sum_zeroelim(
				static_cast<int>(vE.size()), vE.data(), 1, vTerm.data(), vSum.data()));
			ASSERT_LE(len, static_cast<int>(vE.size()) + 1);
			ASSERT_EQ(exactSum(len, vSum.data()), exactSum(static_cast<int>(vE.size()), vE.data()) + mpq_class(vTerm[0]));
			ASSERT_TRUE(isZeroElimExpansion(len, vSum.data()));
			vSum.resize(len);
			vE.swap(vSum);
		}
		const mpq_class value(exactSum(static_cast<int>(vE.size()), vE.data()));
		EXPECT_EQ(sgn(value), vE.back() > 0.0 ? 1 : (vE.back() < 0.0 ? -1 : 0));

		const double b(gen.coin() ? gen.wideMagnitude() : gen.uniform(-3.0, 3.0));
		std::vector<double> vScaled(2 * vE.size());
		const int numScaled(
			expansion::scale_expansion_zeroelim(tt, static_cast<int>(vE.size()), vE.data(), b, vScaled.data()));
		ASSERT_LE(numScaled, static_cast<int>(2 * vE.size()));
		ASSERT_EQ(exactSum(numScaled, vScaled.data()), value * mpq_class(b));
		ASSERT_TRUE(isZeroElimExpansion(numScaled, vScaled.data()));
		EXPECT_EQ(sgn(value * mpq_class(b)), vScaled[numScaled - 1] > 0.0 ? 1 : (vScaled[numScaled - 1] < 0.0 ? -1 : 0));

		// Two multi-component expansions at once.
		std::vector<double> vBoth(vE.size() + numScaled);
		const int numBoth(expansion::fast_expansion_sum_zeroelim(
			static_cast<int>(vE.size()), vE.data(), numScaled, vScaled.data(), vBoth.data()));
		ASSERT_EQ(exactSum(numBoth, vBoth.data()), value + value * mpq_class(b));
		ASSERT_TRUE(isZeroElimExpansion(numBoth, vBoth.data()));

		// The estimate is the plain left-to-right sum.
		double plain(vBoth[0]);
		for(int i = 1; i < numBoth; ++i) plain += vBoth[i];
		EXPECT_EQ(expansion::estimate(numBoth, vBoth.data()), plain);
	}
}

// =========================================================== listed results

TEST(OrientationPredicate, UnitCornerCellIsPositive)
{
	const TrelTest3& tt(predicates());
	const Point3 a(0, 0, 0), b(1, 0, 0), c(0, 1, 0), d(0, 0, 1);
	EXPECT_EQ(tt.getOrientation3(a, b, c, d), ORIENTATION3_POSITIVE);
	EXPECT_EQ(tt.getOrientation3(&a, &b, &c, &d), ORIENTATION3_POSITIVE);
	EXPECT_EQ(tt.getOrientation3(b, a, c, d), ORIENTATION3_NEGATIVE);
	EXPECT_EQ(tt.getOrientation3(a, b, c, Point3(3, -2, 0)), ORIENTATION3_COPLANAR);
	// All four points equal: a zero permanent is decided coplanar by the filter.
	PredicateStage stage(STAGE_D);
	EXPECT_EQ(tt.getOrientation3Traced(a, a, a, a, stage), ORIENTATION3_COPLANAR);
	EXPECT_EQ(stage, STAGE_FILTER);
}

TEST(OrientationPredicate, CoplanarPointsOffByUlpsGoPastTheFilter)
{
	const TrelTest3& tt(predicates());
	// The diagonal plane x + y + z = 1 through the unit points, and a point on
	// it whose differences are not exact: only the exact stages can tell.
	const Point3 a(1, 0, 0), b(0, 1, 0), c(0, 0, 1);
	const Point3 onPlane(0.5, 0.25 + 0x1p-40, 0.25 - 0x1p-40);
	PredicateStage stage(STAGE_FILTER);
	EXPECT_EQ(tt.getOrientation3Traced(a, b, c, onPlane, stage), ORIENTATION3_COPLANAR);
	EXPECT_NE(stage, STAGE_FILTER);
	const Point3 above(onPlane.x(), onPlane.y(), ulpMove(onPlane.z(), 1));
	const Point3 below(onPlane.x(), onPlane.y(), ulpMove(onPlane.z(), -1));
	EXPECT_EQ(tt.getOrientation3Traced(a, b, c, above, stage), expectedOrientation(vtest::exactOrientation(a, b, c, above)));
	EXPECT_NE(stage, STAGE_FILTER);
	// Away from the origin is the positive side of (a, b, c).
	EXPECT_EQ(tt.getOrientation3(a, b, c, above), ORIENTATION3_POSITIVE);
	EXPECT_EQ(tt.getOrientation3(a, b, c, below), ORIENTATION3_NEGATIVE);
}

TEST(SpherePredicate, UnitCornerCell)
{
	const TrelTest3& tt(predicates());
	Point3 a(0, 0, 0), b(1, 0, 0), c(0, 1, 0), d(0, 0, 1);
	std::unique_ptr<Tet3> pCell(makeCell(&a, &b, &c, &d));
	const Point3 centre(0.5, 0.5, 0.5), far(5, 5, 5), onSphere(1, 1, 0);
	EXPECT_EQ(tt.sphereInclusionTest(pCell.get(), &centre), SIC_INSIDE);
	EXPECT_EQ(tt.sphereInclusionTest(pCell.get(), &far), SIC_OUTSIDE);
	// Exactly on the sphere is no conflict.
	EXPECT_EQ(tt.sphereInclusionTest(pCell.get(), &onSphere), SIC_OUTSIDE);
	// Just inside and just outside (1,1,0), along the diagonal.
	const Point3 inside(ulpMove(1.0, -1), 1, 0), outside(ulpMove(1.0, 1), 1, 0);
	EXPECT_EQ(tt.sphereInclusionTest(pCell.get(), &inside), SIC_INSIDE);
	EXPECT_EQ(tt.sphereInclusionTest(pCell.get(), &outside), SIC_OUTSIDE);
}

TEST(SpherePredicate, CornerAsQueryIsInsideThroughTheFilter)
{
	const TrelTest3& tt(predicates());
	Point3 a(0, 0, 0), b(1, 0, 0), c(0, 1, 0), d(0, 0, 1);
	std::unique_ptr<Tet3> pCell(makeCell(&a, &b, &c, &d));
	const Point3* aCorner[4] = {&a, &b, &c, &d};
	for(int i = 0; i < 4; ++i)
	{
		EXPECT_EQ(tt.sphereInclusionTest(pCell.get(), aCorner[i]), SIC_INSIDE) << "corner object " << i;
		const Point3 twin(*aCorner[i]);
		PredicateStage stage(STAGE_D);
		EXPECT_EQ(tt.sphereInclusionTestTraced(&a, &b, &c, &d, &twin, stage), SIC_INSIDE) << "copy of corner " << i;
		EXPECT_EQ(stage, STAGE_FILTER);
	}
}

TEST(SpherePredicate, CosphericalPointIsOutsideWhateverStageDecides)
{
	const TrelTest3& tt(predicates());
	// Integer corners and integer differences: stage B sees the exact zero.
	Point3 a(0, 0, 0), b(2, 0, 0), c(0, 2, 0), d(0, 0, 2);
	const Point3 q(2, 2, 0);
	PredicateStage stage(STAGE_FILTER);
	EXPECT_EQ(tt.sphereInclusionTestTraced(&a, &b, &c, &d, &q, stage), SIC_OUTSIDE);
	EXPECT_EQ(stage, STAGE_EXACT_INPUT);
	// Signed permutations of (x, y, z) with unrelated magnitudes lie exactly on
	// one sphere but their differences are inexact: the exact stage decides.
	const double x(1.0 / 3.0), y(1e-9 / 7.0), z(12345.678);
	Point3 p0(x, y, z), p1(-x, y, z), p2(x, -y, z), p3(x, y, -z);
	const Point3 p4(y, z, x);
	const Point3* aCorner[4] = {&p0, &p1, &p2, &p3};
	if(vtest::exactOrientation(p0, p1, p2, p3) < 0) std::swap(aCorner[0], aCorner[1]);
	ASSERT_EQ(vtest::exactOrientation(*aCorner[0], *aCorner[1], *aCorner[2], *aCorner[3]), 1);
	ASSERT_EQ(vtest::exactInSphere(*aCorner[0], *aCorner[1], *aCorner[2], *aCorner[3], p4), 0);
	EXPECT_EQ(tt.sphereInclusionTestTraced(aCorner[0], aCorner[1], aCorner[2], aCorner[3], &p4, stage), SIC_OUTSIDE);
	EXPECT_EQ(stage, STAGE_D);
}

TEST(SpherePredicate, CornerGuardCatchesAnUndecidableCornerObject)
{
	// NaN coordinates defeat every comparison of the filter; the query being
	// a corner object is then reported as such.
	const TrelTest3& tt(predicates());
	const double nan(std::numeric_limits<double>::quiet_NaN());
	Point3 a(nan, 0, 0), b(1, 0, 0), c(0, 1, 0), d(0, 0, 1);
	std::unique_ptr<Tet3> pCell(makeCell(&a, &b, &c, &d));
	EXPECT_EQ(tt.sphereInclusionTest(pCell.get(), &a), SIC_CORNER);
	EXPECT_EQ(tt.sphereInclusionTest(pCell.get(), &c), SIC_CORNER);
}

// ================================================================ facet form

TEST(OrientationPredicate, FacetFormSeesTheOppositeCornerPositive)
{
	const TrelTest3& tt(predicates());
	Generator gen(21);
	for(int n = 0; n < 300; ++n)
	{
		Point3 aPoint[4] = {gen.uniformPoint(), gen.uniformPoint(), gen.uniformPoint(), gen.uniformPoint()};
		const int ori(vtest::exactOrientation(aPoint[0], aPoint[1], aPoint[2], aPoint[3]));
		if(ori == 0) continue;
		if(ori < 0) std::swap(aPoint[0], aPoint[1]);
		std::unique_ptr<Tet3> pCell(makeCell(&aPoint[0], &aPoint[1], &aPoint[2], &aPoint[3]));
		const Point3 q(n % 3 == 0 ? aPoint[n % 4] : gen.uniformPoint());
		for(int i = 0; i < 4; ++i)
		{
			EXPECT_EQ(tt.getOrientation3(pCell.get(), i, &aPoint[i]), ORIENTATION3_POSITIVE);
			// q against facet i: compare its side with that of corner i, using
			// the facet's corners in index order (the oracle knows no table).
			int aFacet[3], numFacet(0);
			for(int j = 0; j < 4; ++j)
			{
				if(j != i) aFacet[numFacet++] = j;
			}
			const Point3& f0(aPoint[aFacet[0]]);
			const Point3& f1(aPoint[aFacet[1]]);
			const Point3& f2(aPoint[aFacet[2]]);
			const int side(vtest::exactOrientation(f0, f1, f2, q) * vtest::exactOrientation(f0, f1, f2, aPoint[i]));
			EXPECT_EQ(tt.getOrientation3(pCell.get(), i, &q), expectedOrientation(side)) << "facet " << i;
		}
	}
}

TEST(OrientationPredicateDeathTest, NullCellStopsTheProgram)
{
	const TrelTest3& tt(predicates());
	const Point3 q(0, 0, 0);
	// The message goes to standard output; route it to the death test's stderr.
	EXPECT_DEATH(
		{
			dup2(STDERR_FILENO, STDOUT_FILENO);
			tt.getOrientation3(static_cast<const Tet3*>(nullptr), 0, &q);
		},
		"goToHell, ERROR:  reason: getOrientation3, pC==NULL");
}

#ifndef NDEBUG
TEST(OrientationPredicateDeathTest, FacetIndexOutOfRangeFailsTheAssertion)
{
	const TrelTest3& tt(predicates());
	Point3 a(0, 0, 0), b(1, 0, 0), c(0, 1, 0), d(0, 0, 1);
	std::unique_ptr<Tet3> pCell(makeCell(&a, &b, &c, &d));
	EXPECT_DEATH(tt.getOrientation3(pCell.get(), 4, &a), "range03\\(ith\\)");
	EXPECT_DEATH(tt.getOrientation3(pCell.get(), -1, &a), "range03\\(ith\\)");
}
#endif

// ============================================================= name routines

TEST(OrientationNames, TextsAndPrintOut)
{
	const TrelTest3& tt(predicates());
	EXPECT_EQ(tt.getOrientationName(ORIENTATION3_POSITIVE), "ORI3_ORIENTATION3_POSITIVE");
	EXPECT_EQ(tt.getOrientationName(ORIENTATION3_NEGATIVE), "ORI3_ORIENTATION3_NEGATIVE");
	EXPECT_EQ(tt.getOrientationName(ORIENTATION3_COPLANAR), "ORI3_ZERO");
	vtest::StdoutCapture capture;
	tt.printOrientation("ori", ORIENTATION3_POSITIVE);
	tt.printOrientation("second one", ORIENTATION3_NEGATIVE);
	tt.printOrientation("x", ORIENTATION3_COPLANAR);
	tt.printOrientation("bad", static_cast<Orientation3>(3));
	EXPECT_EQ(capture.str(), "ori: positive\nsecond one: negative\nx: coplanar\nbad: ");
}

TEST(OrientationNames, UnknownValueFailsTheConditionFalse)
{
	const TrelTest3& tt(predicates());
	vtest::StdoutCapture capture;
	EXPECT_THROW(tt.getOrientationName(static_cast<Orientation3>(3)), VornException);
	const std::string text(capture.str());
	EXPECT_EQ(text.rfind("\n      Vorn, , ERROR: Condition [ false failed ]\n      dt3Library/TrelTest3.cpp:", 0), 0u)
		<< text;
}

// ================================================= comparison with the oracle

TEST(OrientationPredicate, AgreesWithExactArithmeticOnUniformAndWideInput)
{
	Generator gen(31);
	StageTally tally;
	for(int n = 0; n < 20000; ++n)
	{
		tally.checkOrientation(gen.uniformPoint(), gen.uniformPoint(), gen.uniformPoint(), gen.uniformPoint());
	}
	Point3 aPoint[4];
	for(int n = 0; n < 20000; ++n)
	{
		// Magnitudes from 1e-30 to 1e30 within one call; every other case
		// nearly coplanar so that the filter has work to refuse.
		if(n % 2 == 0)
		{
			for(int i = 0; i < 4; ++i) aPoint[i] = gen.widePoint();
		}
		else
		{
			gen.nearlyCoplanar(aPoint, true);
		}
		tally.checkOrientation(aPoint[0], aPoint[1], aPoint[2], aPoint[3]);
	}
	EXPECT_EQ(tally.numMismatches, 0);
	std::cout << "      stages: " << tally.summary() << std::endl;
}

TEST(OrientationPredicate, AgreesWithExactArithmeticNearDegeneracies)
{
	Generator gen(32);
	StageTally tally;
	Point3 aPoint[4];
	for(int n = 0; n < 30000; ++n)
	{
		// Exactly coplanar integer or dyadic points, one of them moved by up
		// to 2 ulps per coordinate (or none).
		gen.coplanarIntegers(aPoint);
		gen.jiggleOne(aPoint, 4);
		tally.checkOrientation(aPoint[0], aPoint[1], aPoint[2], aPoint[3]);
	}
	for(int n = 0; n < 15000; ++n)
	{
		// Exactly coplanar with inexact differences, then jiggled.
		gen.coplanarDoubles(aPoint);
		gen.jiggleOne(aPoint, 4);
		tally.checkOrientation(aPoint[0], aPoint[1], aPoint[2], aPoint[3]);
	}
	for(int n = 0; n < 15000; ++n)
	{
		gen.nearlyCoplanar(aPoint, false);
		gen.jiggleOne(aPoint, 4);
		tally.checkOrientation(aPoint[0], aPoint[1], aPoint[2], aPoint[3]);
	}
	for(int n = 0; n < 20000; ++n)
	{
		// Small grids: coplanar, collinear and repeated points abound.
		const int extent(n % 2 == 0 ? 1 : 3);
		tally.checkOrientation(gen.gridPoint(-extent, extent), gen.gridPoint(-extent, extent),
			gen.gridPoint(-extent, extent), gen.gridPoint(-extent, extent));
	}
	EXPECT_EQ(tally.numMismatches, 0);
	std::cout << "      stages: " << tally.summary() << std::endl;
	// Every stage must have decided some of these.
	EXPECT_GT(tally.aCount[STAGE_FILTER], 0);
	EXPECT_GT(tally.aCount[STAGE_B], 0);
	EXPECT_GT(tally.aCount[STAGE_EXACT_INPUT], 0);
	EXPECT_GT(tally.aCount[STAGE_C], 0);
	EXPECT_GT(tally.aCount[STAGE_D], 0);
	EXPECT_EQ(tally.aCount[STAGE_CORNER_GUARD], 0);
}

TEST(SpherePredicate, AgreesWithExactArithmeticOnUniformAndWideInput)
{
	Generator gen(41);
	StageTally tally;
	for(int n = 0; n < 20000; ++n)
	{
		tally.checkInclusion(
			gen.uniformPoint(), gen.uniformPoint(), gen.uniformPoint(), gen.uniformPoint(), gen.uniformPoint());
	}
	Point3 aPoint[5];
	for(int n = 0; n < 20000; ++n)
	{
		// Magnitudes from 1e-30 to 1e30 within one call; every other case on a
		// sphere (rounded) whose radius is itself a wide magnitude.
		if(n % 2 == 0)
		{
			for(int i = 0; i < 5; ++i) aPoint[i] = gen.widePoint();
		}
		else
		{
			const double radius(std::fabs(gen.wideMagnitude()) + 1e-30);
			gen.roundedSphere(aPoint, radius, std::fabs(gen.wideMagnitude()));
		}
		tally.checkInclusion(aPoint[0], aPoint[1], aPoint[2], aPoint[3], aPoint[4]);
	}
	EXPECT_EQ(tally.numMismatches, 0);
	std::cout << "      stages: " << tally.summary() << std::endl;
}

TEST(SpherePredicate, AgreesWithExactArithmeticNearDegeneracies)
{
	Generator gen(42);
	StageTally tally;
	Point3 aPoint[5];
	for(int n = 0; n < 15000; ++n)
	{
		// Five points on a common sphere, coordinates rounded to doubles.
		gen.roundedSphere(aPoint, gen.uniform(0.1, 10.0), 10.0);
		tally.checkInclusion(aPoint[0], aPoint[1], aPoint[2], aPoint[3], aPoint[4]);
	}
	for(int n = 0; n < 15000; ++n)
	{
		// Exactly cospherical integers (signed permutations about an integer
		// centre), one point moved by up to 2 ulps per coordinate.
		gen.signedPermutations(aPoint, gen.integer(-1000, 1000), gen.integer(-1000, 1000), gen.integer(-1000, 1000),
			gen.integer(-100, 100));
		gen.jiggleOne(aPoint, 5);
		tally.checkInclusion(aPoint[0], aPoint[1], aPoint[2], aPoint[3], aPoint[4]);
	}
	for(int n = 0; n < 12000; ++n)
	{
		// Exactly cospherical about the origin with unrelated magnitudes, so
		// the differences are inexact; sometimes jiggled.
		gen.signedPermutations(aPoint, gen.uniform(-1.0, 1.0), gen.wideMagnitude(), gen.uniform(-1e3, 1e3), 0.0);
		gen.jiggleOne(aPoint, 5);
		tally.checkInclusion(aPoint[0], aPoint[1], aPoint[2], aPoint[3], aPoint[4]);
	}
	for(int n = 0; n < 18000; ++n)
	{
		// Small grids: cospherical, coplanar and repeated points abound, and
		// the query often has a corner's coordinates.
		const int extent(n % 2 == 0 ? 1 : 2);
		tally.checkInclusion(gen.gridPoint(-extent, extent), gen.gridPoint(-extent, extent),
			gen.gridPoint(-extent, extent), gen.gridPoint(-extent, extent), gen.gridPoint(-extent, extent));
	}
	EXPECT_EQ(tally.numMismatches, 0);
	std::cout << "      stages: " << tally.summary() << std::endl;
	EXPECT_GT(tally.aCount[STAGE_FILTER], 0);
	EXPECT_GT(tally.aCount[STAGE_B], 0);
	EXPECT_GT(tally.aCount[STAGE_EXACT_INPUT], 0);
	EXPECT_GT(tally.aCount[STAGE_C], 0);
	EXPECT_GT(tally.aCount[STAGE_D], 0);
	EXPECT_EQ(tally.aCount[STAGE_CORNER_GUARD], 0);
}

// The quick test of the sphere filter may only accept a determinant that the
// permanent bound accepts too; it should accept nearly every easy case.
TEST(SpherePredicate, QuickAcceptOnlyWhereThePermanentBoundAccepts)
{
	Generator gen(47);
	const double factor(insphereQuickFactor(predicates().isperrboundA));
	Point3 aPoint[5];
	int numCases(0), numQuick(0), numUniform(0), numUniformQuick(0);
	double worstRatio(0.0); // largest permanent bound / |det| among accepted cases
	auto check = [&](bool bUniform) {
		InsphereTerms<double> t;
		insphereTerms(aPoint[0], aPoint[1], aPoint[2], aPoint[3], aPoint[4], t);
		const bool bQuick(insphereQuickAccept(t, factor));
		const double errbound(predicates().isperrboundA * inspherePermanent(t));
		++numCases;
		numUniform += bUniform;
		if(!bQuick) return;
		++numQuick;
		numUniformQuick += bUniform;
		EXPECT_GT(std::fabs(t.det), errbound) << describe(aPoint[0]) << describe(aPoint[1]) << describe(aPoint[2])
											   << describe(aPoint[3]) << " q " << describe(aPoint[4]);
		worstRatio = std::max(worstRatio, errbound / std::fabs(t.det));
	};
	for(int n = 0; n < 20000; ++n)
	{
		for(int i = 0; i < 5; ++i) aPoint[i] = gen.uniformPoint();
		check(true);
	}
	for(int n = 0; n < 40000; ++n)
	{
		switch(n % 5)
		{
			case 0:
				for(int i = 0; i < 5; ++i) aPoint[i] = gen.widePoint();
				break;
			case 1: gen.roundedSphere(aPoint, gen.uniform(0.1, 10.0), 10.0); break;
			case 2:
				gen.nearlyCoplanar(aPoint, n % 2 == 0);
				aPoint[4] = gen.uniformPoint();
				break;
			case 3:
				for(int i = 0; i < 5; ++i) aPoint[i] = gen.gridPoint(-2, 2);
				break;
			default:
			{
				// Scaled to both ends of the quick test's range (largest lift
				// 2^-180 and 2^180) and beyond, one corner sometimes much
				// closer to q than the others.
				const double scale(std::ldexp(1.0, gen.integer(-95, 95)));
				for(int i = 0; i < 5; ++i)
				{
					const Point3 p(gen.uniformPoint());
					aPoint[i] = Point3(p.x() * scale, p.y() * scale, p.z() * scale);
				}
				if(gen.integer(0, 1) == 1)
				{
					const double tiny(std::ldexp(scale, -gen.integer(0, 600)));
					aPoint[0] = Point3(aPoint[4].x() + tiny, aPoint[4].y() - tiny, aPoint[4].z() + tiny);
				}
			}
		}
		check(false);
	}
	// Near the quick test's threshold: a regular tetrahedron in a cube, q a
	// further corner of the cube (so on the sphere) moved off it by amounts
	// that cross the threshold.
	for(int k = 10; k <= 60; ++k)
	{
		for(int n = 0; n < 40; ++n)
		{
			const double r(gen.uniform(0.5, 2.0)), step(std::ldexp(gen.uniform(-1.0, 1.0), -k));
			aPoint[0] = Point3(r, r, r);
			aPoint[1] = Point3(r, -r, -r);
			aPoint[2] = Point3(-r, r, -r);
			aPoint[3] = Point3(-r, -r, r);
			aPoint[4] = Point3(r + step * r, r + step * gen.uniform(-1.0, 1.0), -r);
			check(false);
		}
	}
	std::cout << "      quick test accepted " << numQuick << " of " << numCases << " cases; worst bound/|det| "
			  << worstRatio << std::endl;
	EXPECT_GT(numUniformQuick, numUniform * 99 / 100);
	EXPECT_LT(worstRatio, 1.0);
	// The threshold cases came close to it: a factor far too small would
	// have shown here.
	EXPECT_GT(worstRatio, 0.01);
}

TEST(SpherePredicate, OraclesAgreeOnPositiveCells)
{
	// The circumcentre oracle and the lifted determinant are different
	// formulas; on positive cells they must give the same sign.
	Generator gen(43);
	Point3 aPoint[5];
	for(int n = 0; n < 3000; ++n)
	{
		if(n % 2 == 0) gen.roundedSphere(aPoint, 1.0, 1.0);
		else gen.signedPermutations(aPoint, gen.integer(-9, 9), gen.integer(-9, 9), gen.integer(-9, 9), 0.0);
		const int ori(vtest::exactOrientation(aPoint[0], aPoint[1], aPoint[2], aPoint[3]));
		if(ori == 0) continue;
		if(ori < 0) std::swap(aPoint[0], aPoint[1]);
		ASSERT_EQ(vtest::exactInSphere(aPoint[0], aPoint[1], aPoint[2], aPoint[3], aPoint[4]),
			vtest::exactLiftedSign(aPoint[0], aPoint[1], aPoint[2], aPoint[3], aPoint[4]));
	}
}

TEST(SpherePredicate, CellFormAgreesWithThePointForm)
{
	const TrelTest3& tt(predicates());
	Generator gen(44);
	Point3 aPoint[5];
	for(int n = 0; n < 2000; ++n)
	{
		gen.roundedSphere(aPoint, 1.0, 2.0);
		if(vtest::exactOrientation(aPoint[0], aPoint[1], aPoint[2], aPoint[3]) < 0) std::swap(aPoint[0], aPoint[1]);
		std::unique_ptr<Tet3> pCell(makeCell(&aPoint[0], &aPoint[1], &aPoint[2], &aPoint[3]));
		const int inside(vtest::exactInSphere(aPoint[0], aPoint[1], aPoint[2], aPoint[3], aPoint[4]));
		EXPECT_EQ(tt.sphereInclusionTest(pCell.get(), &aPoint[4]), inside > 0 ? SIC_INSIDE : SIC_OUTSIDE);
	}
}

// ====================================================== ends of the safe range

namespace {

// Scales the coordinates by 2^k (exact as long as nothing leaves the range).
Point3 scaledPoint(const Point3& p, int k)
{
	return Point3(std::ldexp(p.x(), k), std::ldexp(p.y(), k), std::ldexp(p.z(), k));
}

} // namespace

TEST(OrientationPredicate, ExactAtBothEndsOfTheSafeRange)
{
	// Nonzero coordinates down to 2^-250 and up to 2^300.
	Generator gen(51);
	StageTally tally;
	Point3 aPoint[4];
	for(int n = 0; n < 6000; ++n)
	{
		const bool bLow(n % 2 == 0);
		if(n % 3 == 0) gen.coplanarIntegers(aPoint);
		else if(n % 3 == 1) gen.coplanarDoubles(aPoint);
		else gen.nearlyCoplanar(aPoint, false);
		gen.jiggleOne(aPoint, 4);
		// Bring the smallest nonzero coordinate to 2^-250, or the largest to 2^300.
		double smallest(std::numeric_limits<double>::infinity()), largest(0.0);
		for(int i = 0; i < 4; ++i)
		{
			for(double v : {aPoint[i].x(), aPoint[i].y(), aPoint[i].z()})
			{
				if(v != 0.0) smallest = std::min(smallest, std::fabs(v));
				largest = std::max(largest, std::fabs(v));
			}
		}
		int exponent;
		std::frexp(bLow ? smallest : largest, &exponent);
		const int shift(bLow ? -250 - (exponent - 1) : 300 - exponent);
		for(int i = 0; i < 4; ++i) aPoint[i] = scaledPoint(aPoint[i], shift);
		tally.checkOrientation(aPoint[0], aPoint[1], aPoint[2], aPoint[3]);
	}
	EXPECT_EQ(tally.numMismatches, 0);
	std::cout << "      stages: " << tally.summary() << std::endl;
	EXPECT_GT(tally.aCount[STAGE_D], 0);
	EXPECT_GT(tally.aCount[STAGE_C], 0);
}

TEST(SpherePredicate, ExactAtBothEndsOfTheSafeRange)
{
	// Nonzero coordinates down to 2^-128 and up to 2^200.
	Generator gen(52);
	StageTally tally;
	Point3 aPoint[5];
	for(int n = 0; n < 6000; ++n)
	{
		const bool bLow(n % 2 == 0);
		if(n % 3 == 0)
			gen.signedPermutations(aPoint, gen.uniform(-1.0, 1.0), gen.uniform(-1e-6, 1e-6), gen.uniform(-1e6, 1e6), 0.0);
		else if(n % 3 == 1)
			gen.signedPermutations(
				aPoint, gen.integer(-1000, 1000), gen.integer(-1000, 1000), gen.integer(-1000, 1000), gen.integer(-9, 9));
		else gen.roundedSphere(aPoint, 1.0, 1.0);
		gen.jiggleOne(aPoint, 5);
		double smallest(std::numeric_limits<double>::infinity()), largest(0.0);
		for(int i = 0; i < 5; ++i)
		{
			for(double v : {aPoint[i].x(), aPoint[i].y(), aPoint[i].z()})
			{
				if(v != 0.0) smallest = std::min(smallest, std::fabs(v));
				largest = std::max(largest, std::fabs(v));
			}
		}
		int exponent;
		std::frexp(bLow ? smallest : largest, &exponent);
		const int shift(bLow ? -128 - (exponent - 1) : 200 - exponent);
		for(int i = 0; i < 5; ++i) aPoint[i] = scaledPoint(aPoint[i], shift);
		tally.checkInclusion(aPoint[0], aPoint[1], aPoint[2], aPoint[3], aPoint[4]);
	}
	EXPECT_EQ(tally.numMismatches, 0);
	std::cout << "      stages: " << tally.summary() << std::endl;
	EXPECT_GT(tally.aCount[STAGE_D], 0);
	EXPECT_GT(tally.aCount[STAGE_C], 0);
}

// Integer coordinates with small differences are evaluated exactly in
// doubles. The answers and the stages must be those of the expansions: the
// signs of the GMP oracle, and for exact zeros the exact-input stage. Ranges
// reach past the limits of the shortcut (differences of 512 for the sphere,
// 65536 for the orientation) so that both sides of each limit are covered, and
// a large common offset keeps the coordinates integral but huge.
TEST(IntegerInput, SignsAndStagesMatchTheOracleOnLatticesAndAtTheLimits)
{
	const TrelTest3& tt(predicates());
	std::mt19937 rng(77);
	const double aSpan[] = {2.0, 4.0, 511.0, 512.0, 513.0, 65535.0, 65536.0, 65537.0};
	const double aOffset[] = {0.0, -300.0, 1e15};
	int numZeroOrient(0), numZeroSphere(0);
	for(double span : aSpan)
	{
		for(double offset : aOffset)
		{
			std::uniform_int_distribution<int> pick(0, static_cast<int>(span));
			for(int n = 0; n < 400; ++n)
			{
				Point3 p[5];
				for(Point3& q : p)
				{
					q = Point3(offset + pick(rng), offset + pick(rng), offset + pick(rng));
				}
				// Force the extreme difference now and then.
				if(n % 5 == 0) p[0] = Point3(offset, offset, offset), p[1] = Point3(offset + span, offset, offset);
				PredicateStage stage(STAGE_D);
				const Orientation3 ori(tt.getOrientation3Traced(p[0], p[1], p[2], p[3], stage));
				const int exactOri(vtest::exactOrientation(p[0], p[1], p[2], p[3]));
				EXPECT_EQ(ori, exactOri > 0 ? ORIENTATION3_POSITIVE :
								 (exactOri < 0 ? ORIENTATION3_NEGATIVE : ORIENTATION3_COPLANAR));
				if(exactOri == 0)
				{
					++numZeroOrient;
					// A zero with an all-zero permanent is the filter's own.
					if(stage != STAGE_FILTER)
					{
						EXPECT_EQ(stage, STAGE_EXACT_INPUT);
					}
					continue;
				}
				if(exactOri < 0) std::swap(p[0], p[1]);
				const SphereInclusion sic(tt.sphereInclusionTestTraced(&p[0], &p[1], &p[2], &p[3], &p[4], stage));
				const int exactSphere(vtest::exactLiftedSign(p[0], p[1], p[2], p[3], p[4]));
				const bool bCorner(p[4] == p[0] || p[4] == p[1] || p[4] == p[2] || p[4] == p[3]);
				if(bCorner) continue;
				EXPECT_EQ(sic, exactSphere > 0 ? SIC_INSIDE : SIC_OUTSIDE);
				if(exactSphere == 0)
				{
					++numZeroSphere;
					EXPECT_EQ(stage, STAGE_EXACT_INPUT);
				}
			}
		}
	}
	// The small lattices make both kinds of degeneracy frequent.
	EXPECT_GT(numZeroOrient, 50);
	EXPECT_GT(numZeroSphere, 20);
}

TEST(IntegerInput, HalfIntegerCoordinatesTakeTheExpansionsAndAgree)
{
	const TrelTest3& tt(predicates());
	// The cospherical lattice case at half scale: not integral, so the
	// expansions decide, with exact differences; and the same at full scale.
	for(double scale : {0.5, 1.0})
	{
		Point3 a(0, 0, 0), b(scale, 0, 0), c(0, scale, 0), d(0, 0, scale);
		const Point3 q(scale, scale, 0);
		ASSERT_EQ(vtest::exactLiftedSign(a, b, c, d, q), 0);
		PredicateStage stage(STAGE_FILTER);
		EXPECT_EQ(tt.sphereInclusionTestTraced(&a, &b, &c, &d, &q, stage), SIC_OUTSIDE);
		EXPECT_EQ(stage, STAGE_EXACT_INPUT);
		// A tilted plane, so that the permanent is not zero.
		const Point3 e(scale, 0, scale), f(0, scale, scale), flat(scale, scale, 2 * scale);
		EXPECT_EQ(tt.getOrientation3Traced(a, e, f, flat, stage), ORIENTATION3_COPLANAR);
		EXPECT_EQ(stage, STAGE_EXACT_INPUT);
	}
}

// ============================================== the whole range of doubles

namespace {

// Random sign, binary order uniform in [loOrder, hiOrder] (below -1022 the
// value rounds to a subnormal), now and then zero.
double anyOrder(Generator& gen, int loOrder, int hiOrder)
{
	if(gen.integer(0, 15) == 0) return 0.0;
	const double v(std::ldexp(gen.uniform(1.0, 2.0), gen.integer(loOrder, hiOrder)));
	return gen.coin() ? v : -v;
}

Point3 anyOrderPoint(Generator& gen, int loOrder, int hiOrder)
{
	return Point3(anyOrder(gen, loOrder, hiOrder), anyOrder(gen, loOrder, hiOrder), anyOrder(gen, loOrder, hiOrder));
}

// Scales each axis by its own power of two: orientation signs, coplanarity
// included, survive (exactly, unless a value rounds into the subnormals).
Point3 axisScaled(const Point3& p, const int aShift[3])
{
	return Point3(std::ldexp(p.x(), aShift[0]), std::ldexp(p.y(), aShift[1]), std::ldexp(p.z(), aShift[2]));
}

} // namespace

// Orders from the subnormals to the largest doubles, within one call or
// spread over the calls: independent points, narrow windows at any order,
// and exactly or nearly coplanar sets with each axis scaled apart.
TEST(OrientationPredicate, ExactForCoordinatesOfAnyOrder)
{
	Generator gen(61);
	StageTally tally;
	Point3 aPoint[4];
	for(int n = 0; n < 6000; ++n)
	{
		const int family(n % 4), window(gen.integer(-1074, 1000));
		if(family == 0) for(Point3& p : aPoint) p = anyOrderPoint(gen, -1080, 1023);
		if(family == 1) for(Point3& p : aPoint) p = anyOrderPoint(gen, window - 40, std::min(window + 20, 1023));
		if(family >= 2)
		{
			if(family == 2) gen.coplanarIntegers(aPoint);
			else gen.nearlyCoplanar(aPoint, false);
			gen.jiggleOne(aPoint, 4);
			const int aShift[3] = {gen.integer(-1100, 960), gen.integer(-1100, 960), gen.integer(-1100, 960)};
			for(Point3& p : aPoint) p = axisScaled(p, aShift);
		}
		tally.checkOrientation(aPoint[0], aPoint[1], aPoint[2], aPoint[3]);
	}
	EXPECT_EQ(tally.numMismatches, 0);
	std::cout << "      stages: " << tally.summary() << std::endl;
	EXPECT_GT(tally.aCount[STAGE_WIDE], 1500);
	EXPECT_GT(tally.numCases - tally.aCount[STAGE_WIDE], 1000); // scaled into the range
}

// The same for the sphere test: independent points, narrow windows, sets
// exactly on a sphere about the origin whose coordinates are of any orders
// (signed permutations of one triple), rounded spheres scaled to any order,
// and queries equal to a corner.
TEST(SpherePredicate, ExactForCoordinatesOfAnyOrder)
{
	Generator gen(62);
	StageTally tally;
	Point3 aPoint[5];
	for(int n = 0; n < 3000; ++n)
	{
		const int family(n % 4), window(gen.integer(-1074, 1000));
		if(family == 0) for(Point3& p : aPoint) p = anyOrderPoint(gen, -1080, 1020);
		if(family == 1) for(Point3& p : aPoint) p = anyOrderPoint(gen, window - 40, std::min(window + 20, 1020));
		if(family == 2)
			gen.signedPermutations(aPoint, anyOrder(gen, -1080, 1020), anyOrder(gen, -1080, 1020),
				anyOrder(gen, -1080, 1020), 0.0);
		if(family == 3)
		{
			gen.roundedSphere(aPoint, 1.0, 1.0);
			const int shift(gen.integer(-1100, 1000));
			for(Point3& p : aPoint) p = scaledPoint(p, shift);
		}
		gen.jiggleOne(aPoint, 5);
		if(gen.integer(0, 9) == 0) aPoint[4] = aPoint[gen.integer(0, 3)];
		tally.checkInclusion(aPoint[0], aPoint[1], aPoint[2], aPoint[3], aPoint[4]);
	}
	EXPECT_EQ(tally.numMismatches, 0);
	std::cout << "      stages: " << tally.summary() << std::endl;
	EXPECT_GT(tally.aCount[STAGE_WIDE], 700);
	EXPECT_GT(tally.numCases - tally.aCount[STAGE_WIDE], 700);
}
