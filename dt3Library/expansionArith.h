// Exact floating-point expansion arithmetic for the predicates (Shewchuk 1997).
//
// A real number is carried exactly as an expansion: an array of doubles whose
// exact sum is the value, components nonoverlapping and ordered by increasing
// magnitude, so the last component has the sign of the whole. Everything here
// relies on IEEE binary64 with round-to-nearest and on each operation being
// performed exactly as written: the error terms are read off the rounding of
// the operation before, so no reassociation and no fused multiply-add (the
// build uses -ffp-contract=off). Nothing here allocates; callers pass stack
// arrays sized for the worst case (each scale at most doubles a length, each
// sum at most adds the two lengths).
//
// Internal to the library; only TrelTest3.cpp and the tests include it.
#ifndef VORN3D_EXPANSIONARITH_H
#define VORN3D_EXPANSIONARITH_H

#include "TrelTest3.h"

namespace VORN3D {
namespace expansion {

// ---- error-free transformations of doubles ----

/// x = fl(a + b) and x + y == a + b exactly, provided |a| >= |b|.
inline void fastTwoSum(double a, double b, double& x, double& y)
{
	x = a + b;
	const double bvirt(x - a);
	y = b - bvirt;
}

/// x = fl(a + b) and x + y == a + b exactly, for any a, b.
inline void twoSum(double a, double b, double& x, double& y)
{
	x = a + b;
	const double bvirt(x - a);
	const double avirt(x - bvirt);
	const double bround(b - bvirt);
	const double around(a - avirt);
	y = around + bround;
}

/// For x = fl(a - b): returns y with x + y == a - b exactly.
inline double twoDiffTail(double a, double b, double x)
{
	const double bvirt(a - x);
	const double avirt(x + bvirt);
	const double bround(bvirt - b);
	const double around(a - avirt);
	return around + bround;
}

/// x = fl(a - b) and x + y == a - b exactly.
inline void twoDiff(double a, double b, double& x, double& y)
{
	x = a - b;
	y = twoDiffTail(a, b, x);
}

/// hi + lo == a exactly, each half with at most 26 significant bits.
inline void split(const TrelTest3& tt, double a, double& hi, double& lo)
{
	const double c(tt.splitter * a);
	const double abig(c - a);
	hi = c - abig;
	lo = a - hi;
}

/// x = fl(a * b) and x + y == a * b exactly, with b already split into bhi + blo.
inline void twoProductPresplit(const TrelTest3& tt, double a, double b, double bhi, double blo, double& x, double& y)
{
	x = a * b;
	double ahi, alo;
	split(tt, a, ahi, alo);
	const double err1(x - (ahi * bhi));
	const double err2(err1 - (alo * bhi));
	const double err3(err2 - (ahi * blo));
	y = (alo * blo) - err3;
}

/// x = fl(a * b) and x + y == a * b exactly.
inline void twoProduct(const TrelTest3& tt, double a, double b, double& x, double& y)
{
	double bhi, blo;
	split(tt, b, bhi, blo);
	twoProductPresplit(tt, a, b, bhi, blo, x, y);
}

/// x[2] + x[1] + x[0] == (a1 + a0) - b exactly, for a two-component (a1, a0).
inline void twoOneDiff(double a1, double a0, double b, double& x2, double& x1, double& x0)
{
	double i;
	twoDiff(a0, b, i, x0);
	twoSum(a1, i, x2, x1);
}

/// x[3] + x[2] + x[1] + x[0] == (a1 + a0) - (b1 + b0) exactly, as a
/// nonoverlapping expansion (x[0] smallest).
inline void twoTwoDiff(double a1, double a0, double b1, double b0, double* x)
{
	double j, zero;
	twoOneDiff(a1, a0, b0, j, zero, x[0]);
	twoOneDiff(j, zero, b1, x[3], x[2], x[1]);
}

/// x[3] + ... + x[0] == (a1 + a0) * b exactly, for a two-component (a1, a0).
inline void twoOneProduct(const TrelTest3& tt, double a1, double a0, double b, double* x)
{
	double bhi, blo;
	split(tt, b, bhi, blo);
	double i, j, zero, k;
	twoProductPresplit(tt, a0, b, bhi, blo, i, x[0]);
	twoProductPresplit(tt, a1, b, bhi, blo, j, zero);
	twoSum(i, zero, k, x[1]);
	fastTwoSum(j, k, x[3], x[2]);
}

/// The 2x2 determinant ax * by - bx * ay as an exact four-component expansion.
inline void twoByTwo(const TrelTest3& tt, double ax, double by, double bx, double ay, double* x)
{
	double p1, p0, q1, q0;
	twoProduct(tt, ax, by, p1, p0);
	twoProduct(tt, bx, ay, q1, q0);
	twoTwoDiff(p1, p0, q1, q0, x);
}

// ---- routines on expansions ----

/// h == e * b exactly; zero components are dropped (a zero product is the
/// single component 0.0). Returns the length of h, at most 2 * elen. h must
/// not overlap e.
inline int scale_expansion_zeroelim(const TrelTest3& tt, int elen, const double* e, double b, double* h)
{
	double bhi, blo;
	split(tt, b, bhi, blo);
	double q, hh;
	twoProductPresplit(tt, e[0], b, bhi, blo, q, hh);
	int hindex(0);
	// "!= 0.0" keeps a NaN, as it should: the sign must not silently vanish.
	if(hh != 0.0) h[hindex++] = hh;
	for(int eindex = 1; eindex < elen; ++eindex)
	{
		double product1, product0, sum;
		twoProductPresplit(tt, e[eindex], b, bhi, blo, product1, product0);
		twoSum(q, product0, sum, hh);
		if(hh != 0.0) h[hindex++] = hh;
		fastTwoSum(product1, sum, q, hh);
		if(hh != 0.0) h[hindex++] = hh;
	}
	if(q != 0.0 || hindex == 0) h[hindex++] = q;
	return hindex;
}

/// h == e + f exactly; zero components are dropped (a zero sum is the single
/// component 0.0). Returns the length of h, at most elen + flen. h must not
/// overlap e or f. The inputs are merged by magnitude; of two components the
/// one from e goes first when (fnow > enow) == (fnow > -enow). Only the
/// components below elen and flen are ever read.
inline int fast_expansion_sum_zeroelim(int elen, const double* e, int flen, const double* f, double* h)
{
	int eindex(0), findex(0);
	// True when e's current component is the next one in magnitude order.
	auto eGoesFirst = [&]() {
		const double enow(e[eindex]);
		const double fnow(f[findex]);
		return (fnow > enow) == (fnow > -enow);
	};
	double q;
	if(eGoesFirst()) q = e[eindex++];
	else q = f[findex++];
	int hindex(0);
	double qnew, hh;
	if(eindex < elen && findex < flen)
	{
		// The second component is no larger than the first: fast two-sum suffices.
		if(eGoesFirst()) fastTwoSum(e[eindex++], q, qnew, hh);
		else fastTwoSum(f[findex++], q, qnew, hh);
		q = qnew;
		if(hh != 0.0) h[hindex++] = hh;
		while(eindex < elen && findex < flen)
		{
			if(eGoesFirst()) twoSum(q, e[eindex++], qnew, hh);
			else twoSum(q, f[findex++], qnew, hh);
			q = qnew;
			if(hh != 0.0) h[hindex++] = hh;
		}
	}
	while(eindex < elen)
	{
		twoSum(q, e[eindex++], qnew, hh);
		q = qnew;
		if(hh != 0.0) h[hindex++] = hh;
	}
	while(findex < flen)
	{
		twoSum(q, f[findex++], qnew, hh);
		q = qnew;
		if(hh != 0.0) h[hindex++] = hh;
	}
	if(q != 0.0 || hindex == 0) h[hindex++] = q;
	return hindex;
}

/// An approximation of the value of e: its components added in index order
/// (smallest first) in plain floating point.
inline double estimate(int elen, const double* e)
{
	double q(e[0]);
	for(int eindex = 1; eindex < elen; ++eindex) q += e[eindex];
	return q;
}

/// e = -e exactly, in place.
inline void negate(int elen, double* e)
{
	for(int eindex = 0; eindex < elen; ++eindex) e[eindex] = -e[eindex];
}

} // namespace expansion
} // namespace VORN3D

#endif
