// TrelTest3: the exact orientation and insphere predicates.
//
// Each answer is exact for the given double coordinates: a floating-point
// filter decides the easy cases and adaptive expansion arithmetic decides the
// rest (Shewchuk 1997), ending if need be in a fully exact evaluation. The
// filters are inline here because the kernel calls them in its hot loops; the
// adaptive and exact stages live out of line in TrelTest3.cpp. Internal to
// the library.
//
// Range. The filters and the adaptive stages are exact only while no
// product overflows and no nonzero product falls below the normal range
// (where rounding stops being relative). With M the largest absolute
// coordinate and m the smallest nonzero absolute coordinate of one call:
//  - orientation (degree 3) is exact for   2^-250 <= m  and  M < 2^300
//    (about 5.5e-76 to 2.0e+90);
//  - sphere inclusion (degree 5) is exact for 2^-128 <= m and M < 2^200
//    (about 2.9e-39 to 1.6e+60).
// Zero coordinates are always fine. Why these numbers: a coordinate of
// magnitude at least m is a multiple of u = ulp(m) >= 2^-302 (resp. 2^-180),
// and so is every coordinate difference and every difference tail; a product
// of degree n is then zero or a multiple of u^n >= 2^-906 (resp. 2^-900), and
// even after the error-bound factors (about 2^-101) stays far above the
// smallest normal double 2^-1022, so every rounding error obeys the relative
// bounds the filters are built on and every error term of a two-product is
// representable. At the top, a difference is at most 2M, the largest
// permanent of the sphere test is below 4 * 3(2M)^2 * 6(2M)^3 < 2^1012, the
// terms of the exact sphere stage (raw coordinates, degree 5) stay below
// 2^1010 and no value that gets split (at most degree 4 there) comes near
// 2^(1023-27); orientation terms stay below 2^910.
//
// Every entry point checks its coordinates against that range first (a few
// bit operations). A call with a coordinate outside goes to the wide-range
// path (TrelTest3_wide.cpp): scaled by one power of two into the range when
// its nonzero coordinates span few enough binary orders, else evaluated
// exactly in integers. So every answer is exact for all finite coordinates.
// NaN and infinite coordinates are not checked; the kernel rejects them.
#ifndef VORN3D_TRELTEST3_H
#define VORN3D_TRELTEST3_H

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>

#include "Point3.h"
#include "Tet3.h"

namespace VORN3D {

enum Orientation3
{
	ORIENTATION3_POSITIVE = 0,
	ORIENTATION3_NEGATIVE = 1,
	ORIENTATION3_COPLANAR = 2
};

/// Position against a circumsphere. Everything except SIC_OUTSIDE counts as
/// a conflict for the kernel.
enum SphereInclusion
{
	SIC_INSIDE = 0,  ///< strictly inside (or the filter accepted a zero, see sphereInclusionTest)
	SIC_OUTSIDE = 1, ///< outside, or exactly on the sphere
	SIC_CORNER = 2   ///< undecided by the filter and q is a corner object; ordinary input never gets here
};

/// The step of a predicate that settled an answer. Only the traced entry
/// points report it (tests and benchmarks); the ordinary calls do not pay
/// for it.
enum PredicateStage
{
	STAGE_FILTER = 0,      ///< the floating-point filter
	STAGE_B = 1,           ///< exact determinant of the rounded differences, error bound B
	STAGE_EXACT_INPUT = 2, ///< stage B with error-free differences: its estimate is final
	STAGE_C = 3,           ///< first-order correction by the difference tails, bound C
	STAGE_D = 4,           ///< exact: orientation's stage D, the sphere test's exact evaluation
	STAGE_CORNER_GUARD = 5, ///< the sphere test's pointer check of the query against the corners
	STAGE_WIDE = 6          ///< a call whose coordinates span too wide a range: extended filter, then integers
};

/// Binary exponent ranges in which every stage of a predicate is exact: each
/// coordinate zero or 2^lo <= |c| < 2^hi (see the comment at the top).
const int orientRangeLo(-250), orientRangeHi(300);
const int sphereRangeLo(-128), sphereRangeHi(200);

/// True when v is zero or 2^LO <= |v| < 2^HI. Bit operations only: the
/// biased exponent of a normal v is floor(log2 |v|) + 1023; subnormals have
/// exponent field 0 and fail (LO is far above their range).
template <int LO, int HI> inline bool inExponentRange(double v)
{
	static_assert(LO > -1022 && HI < 1024 && LO < HI, "a range of normal doubles");
	uint64_t bits;
	std::memcpy(&bits, &v, sizeof(bits));
	const uint64_t biased((bits >> 52) & 0x7ff);
	return (bits << 1) == 0 || biased - uint64_t(1023 + LO) < uint64_t(HI - LO);
}

template <int LO, int HI> inline bool pointInExponentRange(const Point3& p)
{
	return inExponentRange<LO, HI>(p.x()) && inExponentRange<LO, HI>(p.y()) && inExponentRange<LO, HI>(p.z());
}

/// The same for every point given.
template <int LO, int HI, class... Points> inline bool allInExponentRange(const Points&... points)
{
	return (pointInExponentRange<LO, HI>(points) && ...);
}

/// True when p lies where both predicates are exact without the wide-range
/// path: the range of the kernel's inline filters.
inline bool inFilterRange(const Point3& p)
{
	return pointInExponentRange<sphereRangeLo, sphereRangeHi>(p);
}

/// Unit roundoff of long double on this platform, measured at run time.
long double extendedUnitRoundoff();

class TrelTest3
{
public:
	/// Computes the machine constants and error bounds at run time.
	TrelTest3();

	/// Orientation of d against the plane through a, b, c: POSITIVE when
	/// a, b, c are seen counter-clockwise from d (det(b-a, c-a, d-a) > 0),
	/// NEGATIVE on the other side, COPLANAR in the plane. Exact.
	Orientation3 getOrientation3(const Point3* a, const Point3* b, const Point3* c, const Point3* d) const
	{
		return orientation(*a, *b, *c, *d, nullptr);
	}
	Orientation3 getOrientation3(const Point3& a, const Point3& b, const Point3& c, const Point3& d) const
	{
		return orientation(a, b, c, d, nullptr);
	}
	/// Orientation of q against facet ith (0..3) of tet, its corners taken so
	/// that corner ith of tet comes out POSITIVE: POSITIVE means q is on the
	/// inner side of the facet, NEGATIVE beyond it, COPLANAR in its plane.
	/// A null tet stops the program (goToHell).
	Orientation3 getOrientation3(const Tet3* tet, int ith, const Point3* q) const
	{
		assert(range03(ith));
		if(tet == nullptr) nullCellInFacetForm();
		const int* pFacet(aOrientedFacet[ith]);
		return orientation(*tet->getCorner(pFacet[0]), *tet->getCorner(pFacet[1]), *tet->getCorner(pFacet[2]), *q,
			nullptr);
	}

	/// Position of q against the circumsphere of a positively oriented tet:
	/// SIC_INSIDE strictly inside, SIC_OUTSIDE outside or exactly on it.
	/// When the permanent of the determinant is zero (for instance when q has
	/// the coordinates of a corner, or all five points lie in one coordinate
	/// plane) the filter accepts the zero determinant and answers SIC_INSIDE,
	/// so duplicates must be caught before this call.
	SphereInclusion sphereInclusionTest(const Tet3* tet, const Point3* q) const
	{
		return sphereInclusion(tet->getCorner(0), tet->getCorner(1), tet->getCorner(2), tet->getCorner(3), q, nullptr);
	}
	/// The same test for the corners pa, pb, pc, pd (in positive order)
	/// without a cell; the corner guard compares q with these pointers.
	SphereInclusion sphereInclusionTest(
		const Point3* pa, const Point3* pb, const Point3* pc, const Point3* pd, const Point3* q) const
	{
		return sphereInclusion(pa, pb, pc, pd, q, nullptr);
	}

	/// Exact sign of the sphere determinant for the corners pa, pb, pc, pd
	/// (in positive order) and q: 1 when q lies outside their circumsphere,
	/// -1 inside, 0 exactly on it. Unlike sphereInclusionTest it tells the
	/// sphere itself apart from the outside. q must not have the coordinates
	/// of a corner.
	int insphereSign(const Point3* pa, const Point3* pb, const Point3* pc, const Point3* pd, const Point3* q) const;

	/// Position of q against the circumsphere of pa, pb, pc, pd (positive
	/// order) under symbolic perturbation: never on the sphere. A point
	/// exactly on the sphere is decided as if the lifted coordinate
	/// |p|^2 of each of the five points were raised by eps^r(p), eps
	/// infinitesimal, with r(p) smaller (so the raise larger) for points later
	/// in the lexicographic (x, y, z) order. The answer depends only on the
	/// five coordinate triples, never on the order of calls, and two cells
	/// that share a facet always agree about a point in its plane.
	/// The five points must be distinct.
	SphereInclusion sphereInclusionPerturbed(
		const Point3* pa, const Point3* pb, const Point3* pc, const Point3* pd, const Point3* q) const;
	SphereInclusion sphereInclusionPerturbed(const Tet3* tet, const Point3* q) const
	{
		return sphereInclusionPerturbed(tet->getCorner(0), tet->getCorner(1), tet->getCorner(2), tet->getCorner(3), q);
	}
	/// The tie-break alone, for five distinct points whose sphere
	/// determinant is exactly zero: at most two orientation tests.
	SphereInclusion perturbedTie(
		const Point3* pa, const Point3* pb, const Point3* pc, const Point3* pd, const Point3* q) const;

	/// The same answers as getOrientation3 and sphereInclusionTest, never
	/// inlined: the kernel's inline filters call these for the cases they
	/// cannot decide, so that their hot code stays small.
	Orientation3 orientationOutOfLine(const Point3* a, const Point3* b, const Point3* c, const Point3* d) const;
	SphereInclusion sphereInclusionOutOfLine(const Tet3* tet, const Point3* q) const;
	/// sphereInclusionPerturbed for the kernel, given det, its double
	/// evaluation of the determinant (insphereTerms), which is exact when the
	/// coordinates are small integers.
	SphereInclusion sphereInclusionPerturbedOutOfLine(const Tet3* tet, const Point3* q, double det) const;

	/// Traced variants for tests and benchmarks: the same answers, plus the
	/// stage that settled them.
	Orientation3 getOrientation3Traced(
		const Point3& a, const Point3& b, const Point3& c, const Point3& d, PredicateStage& stage) const
	{
		return orientation(a, b, c, d, &stage);
	}
	SphereInclusion sphereInclusionTestTraced(const Point3* pa, const Point3* pb, const Point3* pc, const Point3* pd,
		const Point3* q, PredicateStage& stage) const
	{
		return sphereInclusion(pa, pb, pc, pd, q, &stage);
	}

	/// "ORI3_ORIENTATION3_POSITIVE", "ORI3_ORIENTATION3_NEGATIVE", "ORI3_ZERO";
	/// any other value fails the condition "false".
	std::string getOrientationName(Orientation3 ori) const;
	/// Writes label, ": " and "positive"/"negative"/"coplanar" with a line
	/// end; for any other value only label and ": ".
	void printOrientation(const std::string& label, Orientation3 ori) const;

	// The fifteen constants, in this order, set by the constructor and never
	// changed. The predicates read splitter, resulterrbound, the o3d bounds
	// and the isp bounds; the 2D bounds are kept for completeness.
	double splitter;
	double epsilon;
	double resulterrbound;
	double ccwerrboundA, ccwerrboundB, ccwerrboundC;
	double o3derrboundA, o3derrboundB, o3derrboundC;
	double iccerrboundA, iccerrboundB, iccerrboundC;
	double isperrboundA, isperrboundB, isperrboundC;

private:
	/// Corners (a, b, c) of facet ith in the order that makes corner ith positive.
	static const int aOrientedFacet[4][3];

	/// The entries: the range check, then the filter, or the wide-range path.
	inline Orientation3 orientation(
		const Point3& a, const Point3& b, const Point3& c, const Point3& d, PredicateStage* pStage) const;
	inline SphereInclusion sphereInclusion(const Point3* pa, const Point3* pb, const Point3* pc, const Point3* pd,
		const Point3* q, PredicateStage* pStage) const;
	/// Filter and adaptive stages, for coordinates in the range.
	inline Orientation3 orientationInRange(
		const Point3& a, const Point3& b, const Point3& c, const Point3& d, PredicateStage* pStage) const;
	inline SphereInclusion sphereInclusionInRange(const Point3* pa, const Point3* pb, const Point3* pc,
		const Point3* pd, const Point3* q, PredicateStage* pStage) const;
	/// What the entries' first filter leaves, out of line (TrelTest3.cpp):
	/// the range check, then the stages for the range or the wide-range path.
	Orientation3 orientationUndecided(
		const Point3& a, const Point3& b, const Point3& c, const Point3& d, PredicateStage* pStage) const;
	SphereInclusion sphereInclusionUndecided(const Point3* pa, const Point3* pb, const Point3* pc, const Point3* pd,
		const Point3* q, PredicateStage* pStage) const;
	/// The wide-range path (TrelTest3_wide.cpp): the same answers for calls
	/// with a coordinate outside the range.
	Orientation3 orientationWide(
		const Point3& a, const Point3& b, const Point3& c, const Point3& d, PredicateStage* pStage) const;
	SphereInclusion sphereInclusionWide(const Point3* pa, const Point3* pb, const Point3* pc, const Point3* pd,
		const Point3* q, PredicateStage* pStage) const;
	/// insphereSign for coordinates in the range, and for the others.
	/// perturbedTie; with bSmallIntegers (integer coordinates, differences
	/// of at most 512) the orientations are taken from the exact double
	/// evaluation.
	SphereInclusion perturbedTie(const Point3* pa, const Point3* pb, const Point3* pc, const Point3* pd,
		const Point3* q, bool bSmallIntegers) const;
	int insphereSignInRange(const Point3& a, const Point3& b, const Point3& c, const Point3& d, const Point3& q) const;
	int insphereSignWide(const Point3* pa, const Point3* pb, const Point3* pc, const Point3* pd, const Point3* q) const;

	/// The adaptive orientation determinant (orient3d convention: the sign
	/// of det[a-d; b-d; c-d]) for inputs the filter could not decide.
	double orient3dAdapt(const Point3& a, const Point3& b, const Point3& c, const Point3& d, double permanent,
		PredicateStage* pStage) const;
	/// Sign of the insphere determinant of a, b, c, d against e: 1 positive,
	/// 0 negative, 2 zero.
	int insphereAdapt(const Point3& a, const Point3& b, const Point3& c, const Point3& d, const Point3& e,
		double permanent, PredicateStage* pStage) const;
	int insphereExact(const Point3& a, const Point3& b, const Point3& c, const Point3& d, const Point3& e) const;
	/// The sphere determinant in long double with its own error bound: 1
	/// positive, 0 negative, -1 when even that precision cannot tell (a zero
	/// determinant always ends here). Where long double is no wider than
	/// double it rarely decides, but it is never wrong.
	static int insphereExtended(const Point3& a, const Point3& b, const Point3& c, const Point3& d, const Point3& e);
	[[noreturn]] static void nullCellInFacetForm();
};

// The orientation filter's quantities: the determinant of a-d, b-d, c-d in
// doubles, its permanent (the same expression with absolute values) and the
// sum of the absolute z differences.
struct OrientTerms
{
	double det, permanent, sumAbsZ;
};

inline void orientTerms(const Point3& a, const Point3& b, const Point3& c, const Point3& d, OrientTerms& t)
{
	const double adx(a.x() - d.x());
	const double bdx(b.x() - d.x());
	const double cdx(c.x() - d.x());
	const double ady(a.y() - d.y());
	const double bdy(b.y() - d.y());
	const double cdy(c.y() - d.y());
	const double adz(a.z() - d.z());
	const double bdz(b.z() - d.z());
	const double cdz(c.z() - d.z());

	const double bdxcdy(bdx * cdy);
	const double cdxbdy(cdx * bdy);
	const double cdxady(cdx * ady);
	const double adxcdy(adx * cdy);
	const double adxbdy(adx * bdy);
	const double bdxady(bdx * ady);

	t.det = adz * (bdxcdy - cdxbdy) + bdz * (cdxady - adxcdy) + cdz * (adxbdy - bdxady);
	t.permanent = (std::fabs(bdxcdy) + std::fabs(cdxbdy)) * std::fabs(adz) +
		(std::fabs(cdxady) + std::fabs(adxcdy)) * std::fabs(bdz) + (std::fabs(adxbdy) + std::fabs(bdxady)) * std::fabs(cdz);
	t.sumAbsZ = std::fabs(adz) + std::fabs(bdz) + std::fabs(cdz);
}

// The filter decides before any range check: its decision rests only on the
// computed differences and products, not on the coordinates. An overflow
// leaves an infinite or NaN bound, which is never trusted. An underflowing
// product is off by at most 2^-1075 in absolute terms (sums and differences
// of subnormals are exact); carried through a z factor and the final sums,
// such errors move the determinant by less than sumAbsZ 2^-1073 + 2^-1072
// and the bound by far less, so the margin sumAbsZ 2^-1070 + 2^-1068 on top
// of o3derrboundA times the permanent covers them with room to spare. The
// rare calls it leaves undecided take the range check.
inline Orientation3 TrelTest3::orientation(
	const Point3& a, const Point3& b, const Point3& c, const Point3& d, PredicateStage* pStage) const
{
	OrientTerms t;
	orientTerms(a, b, c, d, t);
	const double errbound(o3derrboundA * t.permanent + (t.sumAbsZ * 0x1p-1070 + 0x1p-1068));
	if(__builtin_expect((t.det >= errbound || -t.det >= errbound) && errbound < HUGE_VAL, 1))
	{
		if(pStage != nullptr) *pStage = STAGE_FILTER;
		// orient3d is negative for our positive orientation.
		return t.det < 0.0 ? ORIENTATION3_POSITIVE : ORIENTATION3_NEGATIVE;
	}
	return orientationUndecided(a, b, c, d, pStage);
}

// Orientation for coordinates in the range: the filter trusted when the
// determinant beats o3derrboundA times the permanent, else the adaptive
// stages. The comparison is non-strict, so an all-zero permanent with a
// zero determinant is decided here as coplanar.
inline Orientation3 TrelTest3::orientationInRange(
	const Point3& a, const Point3& b, const Point3& c, const Point3& d, PredicateStage* pStage) const
{
	OrientTerms t;
	orientTerms(a, b, c, d, t);
	double det(t.det);
	const double errbound(o3derrboundA * t.permanent);
	if(errbound > det && errbound > -det)
	{
		det = orient3dAdapt(a, b, c, d, t.permanent, pStage);
	}
	else if(pStage != nullptr)
	{
		*pStage = STAGE_FILTER;
	}
	// orient3d is negative for our positive orientation.
	if(det < 0.0) return ORIENTATION3_POSITIVE;
	if(det > 0.0) return ORIENTATION3_NEGATIVE;
	return ORIENTATION3_COPLANAR;
}

// The lifted 4x4 determinant of the sphere test with q as the origin,
// evaluated in the floating type F in a fixed order, together with the
// coordinate differences and products that its error bounds are built from.
template <class F> struct InsphereTerms
{
	F aex, bex, cex, dex, aey, bey, cey, dey, aez, bez, cez, dez;
	F aexbey, bexaey, bexcey, cexbey, cexdey, dexcey, dexaey, aexdey, aexcey, cexaey, bexdey, dexbey;
	F alift, blift, clift, dlift;
	F det;
};

template <class F>
inline void insphereTerms(
	const Point3& a, const Point3& b, const Point3& c, const Point3& d, const Point3& q, InsphereTerms<F>& t)
{
	t.aex = F(a.x()) - F(q.x());
	t.bex = F(b.x()) - F(q.x());
	t.cex = F(c.x()) - F(q.x());
	t.dex = F(d.x()) - F(q.x());
	t.aey = F(a.y()) - F(q.y());
	t.bey = F(b.y()) - F(q.y());
	t.cey = F(c.y()) - F(q.y());
	t.dey = F(d.y()) - F(q.y());
	t.aez = F(a.z()) - F(q.z());
	t.bez = F(b.z()) - F(q.z());
	t.cez = F(c.z()) - F(q.z());
	t.dez = F(d.z()) - F(q.z());

	t.aexbey = t.aex * t.bey;
	t.bexaey = t.bex * t.aey;
	const F ab(t.aexbey - t.bexaey);
	t.bexcey = t.bex * t.cey;
	t.cexbey = t.cex * t.bey;
	const F bc(t.bexcey - t.cexbey);
	t.cexdey = t.cex * t.dey;
	t.dexcey = t.dex * t.cey;
	const F cd(t.cexdey - t.dexcey);
	t.dexaey = t.dex * t.aey;
	t.aexdey = t.aex * t.dey;
	const F da(t.dexaey - t.aexdey);
	t.aexcey = t.aex * t.cey;
	t.cexaey = t.cex * t.aey;
	const F ac(t.aexcey - t.cexaey);
	t.bexdey = t.bex * t.dey;
	t.dexbey = t.dex * t.bey;
	const F bd(t.bexdey - t.dexbey);

	const F abc(t.aez * bc - t.bez * ac + t.cez * ab);
	const F bcd(t.bez * cd - t.cez * bd + t.dez * bc);
	const F cda(t.cez * da + t.dez * ac + t.aez * cd);
	const F dab(t.dez * ab + t.aez * bd + t.bez * da);

	t.alift = t.aex * t.aex + t.aey * t.aey + t.aez * t.aez;
	t.blift = t.bex * t.bex + t.bey * t.bey + t.bez * t.bez;
	t.clift = t.cex * t.cex + t.cey * t.cey + t.cez * t.cez;
	t.dlift = t.dex * t.dex + t.dey * t.dey + t.dez * t.dez;

	t.det = ((t.dlift * abc - t.clift * dab) + (t.blift * cda - t.alift * bcd));
}

// The permanent of the determinant: the same expression with every product
// replaced by the sum of the absolute values of its terms. The error of det
// is below (16 + 224 eps) eps permanent, eps the unit roundoff of F.
template <class F> inline F inspherePermanent(const InsphereTerms<F>& t)
{
	const F aezplus(std::fabs(t.aez));
	const F bezplus(std::fabs(t.bez));
	const F cezplus(std::fabs(t.cez));
	const F dezplus(std::fabs(t.dez));
	const F aexbeyplus(std::fabs(t.aexbey));
	const F bexaeyplus(std::fabs(t.bexaey));
	const F bexceyplus(std::fabs(t.bexcey));
	const F cexbeyplus(std::fabs(t.cexbey));
	const F cexdeyplus(std::fabs(t.cexdey));
	const F dexceyplus(std::fabs(t.dexcey));
	const F dexaeyplus(std::fabs(t.dexaey));
	const F aexdeyplus(std::fabs(t.aexdey));
	const F aexceyplus(std::fabs(t.aexcey));
	const F cexaeyplus(std::fabs(t.cexaey));
	const F bexdeyplus(std::fabs(t.bexdey));
	const F dexbeyplus(std::fabs(t.dexbey));
	return (((cexdeyplus + dexceyplus) * bezplus + (dexbeyplus + bexdeyplus) * cezplus +
				(bexceyplus + cexbeyplus) * dezplus) *
			   t.alift +
		((dexaeyplus + aexdeyplus) * cezplus + (aexceyplus + cexaeyplus) * dezplus +
			(cexdeyplus + dexceyplus) * aezplus) *
			t.blift +
		((aexbeyplus + bexaeyplus) * dezplus + (bexdeyplus + dexbeyplus) * aezplus +
			(dexaeyplus + aexdeyplus) * bezplus) *
			t.clift +
		((bexceyplus + cexbeyplus) * aezplus + (cexaeyplus + aexceyplus) * bezplus +
			(aexbeyplus + bexaeyplus) * cezplus) *
			t.dlift);
}

// The determinant and its permanent in one call.
template <class F>
inline void insphereDeterminant(const Point3& a, const Point3& b, const Point3& c, const Point3& d, const Point3& q,
	F& det, F& permanent)
{
	InsphereTerms<F> t;
	insphereTerms(a, b, c, d, q, t);
	det = t.det;
	permanent = inspherePermanent(t);
}

// A cheaper test than det against isperrboundA * permanent, for the double
// evaluation of insphereTerms: true only where that test accepts det as well.
// It compares det^2 with factor * Lm^5, Lm the largest of the four computed
// lifts, and factor = 576 isperrboundA^2 (1 + 2^-20) (see insphereQuickFactor).
//
// Why: a computed lift is at most Lm, each coordinate difference at most
// sqrt(Lm / (1 - u)^3) (u = 2^-53), so each cofactor of the permanent is at
// most 6 (Lm / (1 - u)^3)^(3/2) (1 + u)^5 and the computed bound
// isperrboundA * permanent at most 24 isperrboundA Lm^(5/2) (1 + u)^10 /
// (1 - u)^(9/2). Squared, that is below the computed right-hand side divided
// by (1 + 2^-21), and the computed det^2 is at most det^2 (1 + u); so
// det^2 beating it means |det| beats the permanent bound. Rounding is
// relative only in the normal range, so the test is made only for Lm in
// [2^-180, 2^180]: there the right-hand side lies between 2^-990 and 2^900,
// and an underflowing product of the permanent adds at most 2^-1074 times
// factors below 2^270, far below the 2^-21 margin. Otherwise, and for NaN,
// the answer is false.
inline bool insphereQuickAccept(const InsphereTerms<double>& t, double factor)
{
	const double lm(std::max(std::max(t.alift, t.blift), std::max(t.clift, t.dlift)));
	if(!(lm >= 0x1p-180 && lm <= 0x1p180)) return false;
	const double lm2(lm * lm);
	return t.det * t.det > ((lm2 * lm2) * lm) * factor;
}

/// The factor of insphereQuickAccept from the filter's bound isperrboundA.
inline double insphereQuickFactor(double isperrboundA)
{
	return 576.0 * isperrboundA * isperrboundA * (1.0 + 0x1p-20);
}

// The quick acceptance checks its own range (insphereQuickAccept) and is
// exact for any coordinates; everything it leaves takes the range check.
inline SphereInclusion TrelTest3::sphereInclusion(const Point3* pa, const Point3* pb, const Point3* pc,
	const Point3* pd, const Point3* q, PredicateStage* pStage) const
{
	InsphereTerms<double> t;
	insphereTerms(*pa, *pb, *pc, *pd, *q, t);
	if(__builtin_expect(insphereQuickAccept(t, insphereQuickFactor(isperrboundA)), 1))
	{
		if(pStage != nullptr) *pStage = STAGE_FILTER;
		return t.det > 0.0 ? SIC_OUTSIDE : SIC_INSIDE;
	}
	return sphereInclusionUndecided(pa, pb, pc, pd, q, pStage);
}

// Sphere filter: the lifted 4x4 determinant with q as the origin, trusted when
// the quick test accepts it or when it reaches isperrboundA times its
// permanent. The second comparison is non-strict on purpose: a zero
// permanent accepts the zero determinant as SIC_INSIDE.
inline SphereInclusion TrelTest3::sphereInclusionInRange(const Point3* pa, const Point3* pb, const Point3* pc,
	const Point3* pd, const Point3* q, PredicateStage* pStage) const
{
	InsphereTerms<double> t;
	insphereTerms(*pa, *pb, *pc, *pd, *q, t);
	const double det(t.det);
	double permanent(0.0);
	bool bAccepted(insphereQuickAccept(t, insphereQuickFactor(isperrboundA)));
	if(!bAccepted)
	{
		permanent = inspherePermanent(t);
		const double errbound(isperrboundA * permanent);
		bAccepted = det >= errbound || -det >= errbound;
	}
	if(bAccepted)
	{
		if(pStage != nullptr) *pStage = STAGE_FILTER;
		return det > 0.0 ? SIC_OUTSIDE : SIC_INSIDE;
	}
	if(q == pa || q == pb || q == pc || q == pd)
	{
		if(pStage != nullptr) *pStage = STAGE_CORNER_GUARD;
		return SIC_CORNER;
	}
	// Nearly cospherical points (scanned spheres, say) fail the filter on
	// almost every call. The same determinant in extended precision settles
	// most of them at a fraction of the cost of the expansions. Traced calls
	// skip it, so that tests and benchmarks see the expansion stages.
	if(pStage == nullptr)
	{
		const int extended(insphereExtended(*pa, *pb, *pc, *pd, *q));
		if(extended >= 0) return extended == 0 ? SIC_INSIDE : SIC_OUTSIDE;
	}
	// Exactly on the sphere is not a conflict: only a negative sign is inside.
	return insphereAdapt(*pa, *pb, *pc, *pd, *q, permanent, pStage) == 0 ? SIC_INSIDE : SIC_OUTSIDE;
}

} // namespace VORN3D

#endif
