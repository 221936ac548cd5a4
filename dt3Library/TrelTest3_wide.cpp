// The predicates for calls with a coordinate outside the range of the
// expansions (see TrelTest3.h): tiny, huge or subnormal values.
//
// Both determinants are homogeneous in the coordinates (the orientation of
// degree 3, the lifted sphere determinant of degree 5), so multiplying every
// coordinate of a call by the same power of two keeps every sign, and the
// multiplication is exact while no scaled value leaves the normal range.
// When the nonzero coordinates of a call span no more binary orders than the
// range is wide, they are scaled into it and the ordinary stages decide, as
// fast as ever. Otherwise (1e-300 next to 1e300, a subnormal next to 1.0) a
// filter in long double decides where that type has the exponent range for
// it, and the rest is evaluated in integers: every finite double is an odd integer
// times a power of two, so over the smallest such power in the call all
// coordinates are integers, and the determinant of those integers, computed
// term by term as the filter computes it, has the sign of the true one. The
// integers live in fixed arrays on the stack, sized for the widest possible
// call (values from 2^-1074 to 2^1024); each operation runs only over the
// limbs that the call's numbers actually use.
#include <algorithm>
#include <cstdint>
#include <cstring>

#include "TrelTest3.h"
#include "tools.h"

namespace VORN3D {

namespace {

// ---------------------------------------------------------------- integers

// Products of two limbs and sums with carries, exactly (a GCC and Clang
// extension; __extension__ keeps -Wpedantic quiet about it).
__extension__ typedef unsigned __int128 DoubleLimb;

// A signed integer of at most N 64-bit limbs: magnitude little-endian, len
// limbs in use (no leading zero limb; 0 for zero), and a sign flag.
template <int N> struct FixedInt
{
	int len;
	bool bNegative;
	uint64_t limb[N];
};

// Compares |a| with |b|: -1, 0 or 1.
template <int N> int compareMagnitude(const FixedInt<N>& a, const FixedInt<N>& b)
{
	if(a.len != b.len) return a.len < b.len ? -1 : 1;
	for(int i = a.len; i-- > 0;)
	{
		if(a.limb[i] != b.limb[i]) return a.limb[i] < b.limb[i] ? -1 : 1;
	}
	return 0;
}

template <int N> void trim(FixedInt<N>& a)
{
	while(a.len > 0 && a.limb[a.len - 1] == 0) --a.len;
	if(a.len == 0) a.bNegative = false;
}

// out = a + b (bSubtract: a - b). out must not be a or b. The callers size N
// from bounds on the values, so the final carry always finds a limb; the
// condition guards that reasoning.
template <int N> void addSigned(const FixedInt<N>& a, const FixedInt<N>& b, bool bSubtract, FixedInt<N>& out)
{
	const bool bNegativeB(b.bNegative != bSubtract);
	if(a.bNegative == bNegativeB)
	{
		const FixedInt<N>& longer(a.len >= b.len ? a : b);
		const FixedInt<N>& shorter(a.len >= b.len ? b : a);
		DoubleLimb carry(0);
		int i(0);
		for(; i < shorter.len; ++i)
		{
			carry += DoubleLimb(longer.limb[i]) + shorter.limb[i];
			out.limb[i] = static_cast<uint64_t>(carry);
			carry >>= 64;
		}
		for(; i < longer.len; ++i)
		{
			carry += longer.limb[i];
			out.limb[i] = static_cast<uint64_t>(carry);
			carry >>= 64;
		}
		if(carry != 0)
		{
			ASSERT_CONDITION(i<N);
			out.limb[i++] = static_cast<uint64_t>(carry);
		}
		out.len = i;
		out.bNegative = a.bNegative;
		return;
	}
	// Opposite signs: the smaller magnitude from the larger one.
	const bool bAIsLarger(compareMagnitude(a, b) >= 0);
	const FixedInt<N>& larger(bAIsLarger ? a : b);
	const FixedInt<N>& smaller(bAIsLarger ? b : a);
	uint64_t borrow(0);
	for(int i = 0; i < larger.len; ++i)
	{
		const DoubleLimb diff(
			DoubleLimb(larger.limb[i]) - (i < smaller.len ? smaller.limb[i] : uint64_t(0)) - borrow);
		out.limb[i] = static_cast<uint64_t>(diff);
		borrow = static_cast<uint64_t>(diff >> 127);
	}
	out.len = larger.len;
	out.bNegative = bAIsLarger ? a.bNegative : bNegativeB;
	trim(out);
}

// out = a * b, schoolbook; A + B limbs always hold the product.
template <int A, int B> void multiply(const FixedInt<A>& a, const FixedInt<B>& b, FixedInt<A + B>& out)
{
	if(a.len == 0 || b.len == 0)
	{
		out.len = 0;
		out.bNegative = false;
		return;
	}
	std::memset(out.limb, 0, sizeof(uint64_t) * static_cast<size_t>(a.len + b.len));
	for(int i = 0; i < a.len; ++i)
	{
		const DoubleLimb ai(a.limb[i]);
		DoubleLimb carry(0);
		for(int j = 0; j < b.len; ++j)
		{
			// At most (2^64 - 1)^2 + 2 (2^64 - 1) = 2^128 - 1.
			carry += ai * b.limb[j] + out.limb[i + j];
			out.limb[i + j] = static_cast<uint64_t>(carry);
			carry >>= 64;
		}
		out.limb[i + b.len] = static_cast<uint64_t>(carry);
	}
	out.len = a.len + b.len;
	out.bNegative = a.bNegative != b.bNegative;
	trim(out);
}

// Limb counts. A coordinate over the call's lowest exponent is below
// 2^(1024 + 1074) = 2^2098; a difference below 2^2099 (33 limbs). Products
// of two differences and the 2x2 minors and lifts (sums of up to three
// such products) stay below 2^4200; the 3x3 minors below 2^6300 and the
// sphere determinant below 2^10502. The multiplications need the sum of
// their operands' limbs, which also covers these bounds.
const int diffLimbs(33);
typedef FixedInt<diffLimbs> Diff;
typedef FixedInt<2 * diffLimbs> Quad;
typedef FixedInt<3 * diffLimbs> Cubic;
typedef FixedInt<5 * diffLimbs> Quintic;

// -------------------------------------------------------------- the calls

// One coordinate as sign * odd * 2^exponent (odd = 0 for zero).
struct Decomposed
{
	uint64_t odd;
	int exponent;
	bool bNegative;
};

Decomposed decompose(double v)
{
	uint64_t bits;
	std::memcpy(&bits, &v, sizeof(bits));
	Decomposed d;
	d.bNegative = (bits >> 63) != 0;
	const int biased(static_cast<int>((bits >> 52) & 0x7ff));
	const uint64_t fraction(bits & ((uint64_t(1) << 52) - 1));
	if(biased == 0 && fraction == 0)
	{
		d.odd = 0;
		d.exponent = 0;
		return d;
	}
	// Subnormals have no hidden bit and the exponent of the smallest normals.
	uint64_t significand(biased == 0 ? fraction : fraction | (uint64_t(1) << 52));
	int exponent(biased == 0 ? -1074 : biased - 1075);
	const int numTrailingZeros(__builtin_ctzll(significand));
	significand >>= numTrailingZeros;
	exponent += numTrailingZeros;
	d.odd = significand;
	d.exponent = exponent;
	return d;
}

// The binary orders of the nonzero coordinates of one call: the range they
// span decides between scaling and the integer evaluation. Bit operations
// only: this runs on every call of a mesh in the wide-range mode.
class OrderSpan
{
public:
	OrderSpan(const Point3* const* apPoint, int numPoints)
	{
		for(int i = 0; i < numPoints; ++i)
		{
			add(apPoint[i]->x());
			add(apPoint[i]->y());
			add(apPoint[i]->z());
		}
	}

	// NaN or infinity: no exact answer exists, and the ordinary stages give
	// theirs (the sphere test's corner guard, for instance).
	bool hasNonFinite() const { return bNonFinite; }

	// The power of two that brings every nonzero coordinate to an order in
	// [lo, hi), if one exists.
	bool fitShift(int lo, int hi, int& shift) const
	{
		shift = 0;
		if(minOrder > maxOrder) return true; // all zero
		if(maxOrder - minOrder > hi - 1 - lo) return false;
		if(minOrder < lo) shift = lo - minOrder;
		else if(maxOrder >= hi) shift = hi - 1 - maxOrder;
		return true;
	}

private:
	void add(double v)
	{
		uint64_t bits;
		std::memcpy(&bits, &v, sizeof(bits));
		const int biased(static_cast<int>((bits >> 52) & 0x7ff));
		const uint64_t fraction(bits & ((uint64_t(1) << 52) - 1));
		int order;
		if(biased == 0x7ff)
		{
			bNonFinite = true;
			return;
		}
		if(biased != 0) order = biased - 1023;
		else if(fraction != 0) order = -1074 + 63 - __builtin_clzll(fraction);
		else return;
		minOrder = std::min(minOrder, order);
		maxOrder = std::max(maxOrder, order);
	}

	bool bNonFinite = false;
	int minOrder = 1 << 20;
	int maxOrder = -(1 << 20);
};

// The coordinates of one call (NP points) as integers over the call's
// lowest binary exponent.
template <int NP> class WideCall
{
public:
	explicit WideCall(const Point3* const* apPoint)
	{
		bool bAnyNonzero(false);
		for(int i = 0; i < NP; ++i)
		{
			const double aValue[3] = {apPoint[i]->x(), apPoint[i]->y(), apPoint[i]->z()};
			for(int axis = 0; axis < 3; ++axis)
			{
				const Decomposed d(decompose(aValue[axis]));
				aCoord[i][axis] = d;
				if(d.odd == 0) continue;
				if(!bAnyNonzero || d.exponent < lowExponent) lowExponent = d.exponent;
				bAnyNonzero = true;
			}
		}
	}

	// Coordinate axis of point i minus that of point j, exactly, in units
	// of 2^lowExponent.
	void difference(int i, int j, int axis, Diff& out) const
	{
		Diff a, b;
		toInteger(aCoord[i][axis], a);
		toInteger(aCoord[j][axis], b);
		addSigned(a, b, true, out);
	}

	// True when coordinate axis of points i and j are equal.
	bool equal(int i, int j, int axis) const
	{
		const Decomposed& a(aCoord[i][axis]);
		const Decomposed& b(aCoord[j][axis]);
		if(a.odd == 0 || b.odd == 0) return a.odd == b.odd;
		return a.odd == b.odd && a.exponent == b.exponent && a.bNegative == b.bNegative;
	}

private:
	void toInteger(const Decomposed& d, Diff& out) const
	{
		if(d.odd == 0)
		{
			out.len = 0;
			out.bNegative = false;
			return;
		}
		// |value| < 2^1024 over 2^lowExponent >= 2^-1074: below 2^2098, which
		// 33 limbs hold. The odd part (below 2^53) spreads over two limbs.
		const int shift(d.exponent - lowExponent);
		const int numZeroLimbs(shift / 64);
		const int bitShift(shift % 64);
		const uint64_t high(bitShift == 0 ? 0 : d.odd >> (64 - bitShift));
		const int numUsed(high != 0 ? 2 : 1);
		ASSERT_CONDITION(numZeroLimbs+numUsed<=diffLimbs);
		for(int k = 0; k < numZeroLimbs; ++k) out.limb[k] = 0;
		out.limb[numZeroLimbs] = d.odd << bitShift;
		if(numUsed == 2) out.limb[numZeroLimbs + 1] = high;
		out.len = numZeroLimbs + numUsed;
		out.bNegative = d.bNegative;
	}

	Decomposed aCoord[NP][3];
	int lowExponent = 0;
};

// 2^k for |k| <= 1022, from its bits.
double powerOfTwo(int k)
{
	const uint64_t bits(static_cast<uint64_t>(1023 + k) << 52);
	double v;
	std::memcpy(&v, &bits, sizeof(v));
	return v;
}

// p times 2^shift, in two exact steps (|shift| may exceed the exponent range
// of one factor). The callers' shifts keep every result normal, and the
// intermediate lies between the input and the result, so nothing rounds.
Point3 scaled(const Point3& p, int shift)
{
	const double first(powerOfTwo(shift / 2)), second(powerOfTwo(shift - shift / 2));
	return Point3(p.x() * first * second, p.y() * first * second, p.z() * first * second);
}

// a * b - c * d
template <int N> void crossTerm(const FixedInt<N>& a, const FixedInt<N>& b, const FixedInt<N>& c,
	const FixedInt<N>& d, FixedInt<2 * N>& out)
{
	FixedInt<2 * N> ab, cd;
	multiply(a, b, ab);
	multiply(c, d, cd);
	addSigned(ab, cd, true, out);
}

// z1 s1 + z2 s2 + z3 s3 (the middle term subtracted when bSubtract2) for
// differences z and 2x2 minors s.
void tripleTerm(const Diff& z1, const Quad& s1, const Diff& z2, const Quad& s2, bool bSubtract2, const Diff& z3,
	const Quad& s3, Cubic& out)
{
	Cubic t1, t2, t3, sum;
	multiply(z1, s1, t1);
	multiply(z2, s2, t2);
	multiply(z3, s3, t3);
	addSigned(t1, t2, bSubtract2, sum);
	addSigned(sum, t3, false, out);
}

// The sign of the orient3d determinant det[a-d; b-d; c-d], exactly.
int wideOrientationSign(const WideCall<4>& call)
{
	// Corners 0, 1, 2 against corner 3, as the filter computes them.
	Diff dx[3], dy[3], dz[3];
	for(int i = 0; i < 3; ++i)
	{
		call.difference(i, 3, 0, dx[i]);
		call.difference(i, 3, 1, dy[i]);
		call.difference(i, 3, 2, dz[i]);
	}
	// adz (bdx cdy - cdx bdy) + bdz (cdx ady - adx cdy) + cdz (adx bdy - bdx ady)
	Quad minor[3];
	for(int i = 0; i < 3; ++i)
	{
		const int j((i + 1) % 3), k((i + 2) % 3);
		crossTerm(dx[j], dy[k], dx[k], dy[j], minor[i]);
	}
	Cubic det;
	tripleTerm(dz[0], minor[0], dz[1], minor[1], false, dz[2], minor[2], det);
	return det.len == 0 ? 0 : (det.bNegative ? -1 : 1);
}

// The sign of the sphere determinant of the filter (corners 0..3, query 4
// as the origin), exactly.
int wideInsphereSign(const WideCall<5>& call)
{
	Diff ex[4], ey[4], ez[4];
	for(int i = 0; i < 4; ++i)
	{
		call.difference(i, 4, 0, ex[i]);
		call.difference(i, 4, 1, ey[i]);
		call.difference(i, 4, 2, ez[i]);
	}
	enum { A, B, C, D };
	// The 2x2 minors pq = pex qey - qex pey.
	Quad ab, bc, cd, da, ac, bd;
	crossTerm(ex[A], ey[B], ex[B], ey[A], ab);
	crossTerm(ex[B], ey[C], ex[C], ey[B], bc);
	crossTerm(ex[C], ey[D], ex[D], ey[C], cd);
	crossTerm(ex[D], ey[A], ex[A], ey[D], da);
	crossTerm(ex[A], ey[C], ex[C], ey[A], ac);
	crossTerm(ex[B], ey[D], ex[D], ey[B], bd);
	// abc = aez bc - bez ac + cez ab, and so on.
	Cubic abc, bcd, cda, dab;
	tripleTerm(ez[A], bc, ez[B], ac, true, ez[C], ab, abc);
	tripleTerm(ez[B], cd, ez[C], bd, true, ez[D], bc, bcd);
	tripleTerm(ez[C], da, ez[D], ac, false, ez[A], cd, cda);
	tripleTerm(ez[D], ab, ez[A], bd, false, ez[B], da, dab);
	Quad lift[4];
	for(int i = 0; i < 4; ++i)
	{
		Quad xx, yy, zz, xy;
		multiply(ex[i], ex[i], xx);
		multiply(ey[i], ey[i], yy);
		multiply(ez[i], ez[i], zz);
		addSigned(xx, yy, false, xy);
		addSigned(xy, zz, false, lift[i]);
	}
	// (dlift abc - clift dab) + (blift cda - alift bcd)
	Quintic t1, t2, t3, t4, s1, s2, det;
	multiply(lift[D], abc, t1);
	multiply(lift[C], dab, t2);
	multiply(lift[B], cda, t3);
	multiply(lift[A], bcd, t4);
	addSigned(t1, t2, true, s1);
	addSigned(t3, t4, true, s2);
	addSigned(s1, s2, false, det);
	return det.len == 0 ? 0 : (det.bNegative ? -1 : 1);
}

// True when the permanent of the sphere determinant is zero: each of its
// terms is a lift of one corner times the z, x and y differences of the
// other three (in every assignment), and none of them is without a zero
// factor. The filter then takes a zero determinant as inside.
bool insphereZeroPermanent(const WideCall<5>& call)
{
	bool abDiffers[4][3];
	bool abLift[4];
	for(int i = 0; i < 4; ++i)
	{
		for(int axis = 0; axis < 3; ++axis) abDiffers[i][axis] = !call.equal(i, 4, axis);
		abLift[i] = abDiffers[i][0] || abDiffers[i][1] || abDiffers[i][2];
	}
	for(int iLift = 0; iLift < 4; ++iLift)
	{
		for(int iz = 0; iz < 4; ++iz)
		{
			for(int ix = 0; ix < 4; ++ix)
			{
				if(iz == iLift || ix == iLift || ix == iz) continue;
				const int iy(6 - iLift - iz - ix);
				if(abLift[iLift] && abDiffers[iz][2] && abDiffers[ix][0] && abDiffers[iy][1]) return false;
			}
		}
	}
	return true;
}

// Whether long double has a far wider exponent range than double (the x87
// extended format, or quad): then no product of degree 5 or less of double
// differences overflows or underflows in it, the relative error bounds of
// the filters hold for every call, and an extended-precision filter settles
// most wide calls before the integers. Probed at run time, as an emulator
// may compute long double in double precision.
bool hasWideLongDouble()
{
	volatile long double tiny(0x1p-1074L), huge(0x1p1023L);
	const long double tiny5(tiny * tiny * tiny * tiny * tiny);
	const long double huge5(huge * huge * huge * huge * huge * 0x1p15L);
	return tiny5 > 0.0L && huge5 - huge5 == 0.0L;
}

// The orientation filter in long double, with the bound (7 + 56 eps) eps
// for its unit roundoff: the sign of the orient3d determinant (1, -1), or 0
// when it cannot tell (a zero determinant always ends here).
int orientationExtended(const Point3& a, const Point3& b, const Point3& c, const Point3& d)
{
	static const long double eps(extendedUnitRoundoff());
	static const long double boundFactor((7.0L + 56.0L * eps) * eps);
	typedef long double F;
	const F adx(F(a.x()) - F(d.x())), bdx(F(b.x()) - F(d.x())), cdx(F(c.x()) - F(d.x()));
	const F ady(F(a.y()) - F(d.y())), bdy(F(b.y()) - F(d.y())), cdy(F(c.y()) - F(d.y()));
	const F adz(F(a.z()) - F(d.z())), bdz(F(b.z()) - F(d.z())), cdz(F(c.z()) - F(d.z()));
	const F bdxcdy(bdx * cdy), cdxbdy(cdx * bdy), cdxady(cdx * ady), adxcdy(adx * cdy), adxbdy(adx * bdy),
		bdxady(bdx * ady);
	const F det(adz * (bdxcdy - cdxbdy) + bdz * (cdxady - adxcdy) + cdz * (adxbdy - bdxady));
	const F permanent((std::fabs(bdxcdy) + std::fabs(cdxbdy)) * std::fabs(adz) +
		(std::fabs(cdxady) + std::fabs(adxcdy)) * std::fabs(bdz) + (std::fabs(adxbdy) + std::fabs(bdxady)) * std::fabs(cdz));
	const F errbound(boundFactor * permanent);
	if(det > errbound) return 1;
	if(-det > errbound) return -1;
	return 0;
}

const bool bWideLongDouble(hasWideLongDouble());

} // namespace

Orientation3 TrelTest3::orientationWide(
	const Point3& a, const Point3& b, const Point3& c, const Point3& d, PredicateStage* pStage) const
{
	const Point3* apPoint[4] = {&a, &b, &c, &d};
	const OrderSpan span(apPoint, 4);
	if(span.hasNonFinite()) return orientationInRange(a, b, c, d, pStage);
	int shift;
	if(span.fitShift(orientRangeLo, orientRangeHi, shift))
	{
		return orientationInRange(scaled(a, shift), scaled(b, shift), scaled(c, shift), scaled(d, shift), pStage);
	}
	if(pStage != nullptr) *pStage = STAGE_WIDE;
	int sign(bWideLongDouble ? orientationExtended(a, b, c, d) : 0);
	if(sign == 0)
	{
		const WideCall<4> call(apPoint);
		sign = wideOrientationSign(call);
	}
	// orient3d is negative for our positive orientation.
	if(sign < 0) return ORIENTATION3_POSITIVE;
	if(sign > 0) return ORIENTATION3_NEGATIVE;
	return ORIENTATION3_COPLANAR;
}

SphereInclusion TrelTest3::sphereInclusionWide(const Point3* pa, const Point3* pb, const Point3* pc,
	const Point3* pd, const Point3* q, PredicateStage* pStage) const
{
	const Point3* apPoint[5] = {pa, pb, pc, pd, q};
	const OrderSpan span(apPoint, 5);
	if(span.hasNonFinite()) return sphereInclusionInRange(pa, pb, pc, pd, q, pStage);
	int shift;
	if(span.fitShift(sphereRangeLo, sphereRangeHi, shift))
	{
		Point3 aScaled[5];
		for(int i = 0; i < 5; ++i) aScaled[i] = scaled(*apPoint[i], shift);
		// A query that is one of the corner objects stays one.
		const Point3* pQuery(&aScaled[4]);
		for(int i = 0; i < 4; ++i)
		{
			if(q == apPoint[i]) pQuery = &aScaled[i];
		}
		return sphereInclusionInRange(&aScaled[0], &aScaled[1], &aScaled[2], &aScaled[3], pQuery, pStage);
	}
	if(pStage != nullptr) *pStage = STAGE_WIDE;
	if(bWideLongDouble)
	{
		const int extended(insphereExtended(*pa, *pb, *pc, *pd, *q));
		if(extended >= 0) return extended == 0 ? SIC_INSIDE : SIC_OUTSIDE;
	}
	const WideCall<5> call(apPoint);
	// As in the filter: a zero permanent takes the zero determinant as
	// inside; otherwise only a negative sign is inside.
	if(insphereZeroPermanent(call)) return SIC_INSIDE;
	return wideInsphereSign(call) < 0 ? SIC_INSIDE : SIC_OUTSIDE;
}

int TrelTest3::insphereSignWide(
	const Point3* pa, const Point3* pb, const Point3* pc, const Point3* pd, const Point3* q) const
{
	const Point3* apPoint[5] = {pa, pb, pc, pd, q};
	const OrderSpan span(apPoint, 5);
	int shift;
	if(!span.hasNonFinite() && span.fitShift(sphereRangeLo, sphereRangeHi, shift))
	{
		// One power of two scales the determinant and keeps its sign.
		return insphereSignInRange(
			scaled(*pa, shift), scaled(*pb, shift), scaled(*pc, shift), scaled(*pd, shift), scaled(*q, shift));
	}
	if(bWideLongDouble)
	{
		const int extended(insphereExtended(*pa, *pb, *pc, *pd, *q));
		if(extended >= 0) return extended == 0 ? -1 : 1;
	}
	const WideCall<5> call(apPoint);
	return wideInsphereSign(call);
}

} // namespace VORN3D
