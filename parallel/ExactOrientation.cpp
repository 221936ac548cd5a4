// The exact orientation test of the flat meshes' point location, also used
// by the layers that need an exact sign without a tetrahedralisation.
#include "FlatWalk3.h"

#include <algorithm>
#include <cmath>

namespace VORN3D {

namespace {

// Exact arithmetic on expansions: a value held as a sum of doubles whose
// components do not overlap, stored in increasing magnitude. Each primitive
// below is exact under IEEE round-to-nearest double arithmetic evaluated in
// the written order (no contraction into fused multiply-adds), barring
// overflow and underflow.

/// x + y == a + b exactly, x being the rounded sum; needs |a| >= |b| or a == 0.
inline void fastTwoSum(double a, double b, double& x, double& y)
{
	x = a + b;
	y = b - (x - a);
}

/// x + y == a + b exactly, x being the rounded sum.
inline void twoSum(double a, double b, double& x, double& y)
{
	x = a + b;
	const double bPart(x - a);
	const double aPart(x - bPart);
	y = (a - aPart) + (b - bPart);
}

/// x + y == a - b exactly, x being the rounded difference.
inline void twoDiff(double a, double b, double& x, double& y)
{
	x = a - b;
	const double bPart(a - x);
	const double aPart(x + bPart);
	y = (a - aPart) + (bPart - b);
}

/// hi + lo == a exactly, each with at most 26 significant bits.
inline void split(double a, double& hi, double& lo)
{
	const double c(134217729.0 * a); // (2^27 + 1) a
	hi = c - (c - a);
	lo = a - hi;
}

/// x + y == a * b exactly, x being the rounded product.
inline void twoProduct(double a, double b, double& x, double& y)
{
	x = a * b;
	double aHi, aLo, bHi, bLo;
	split(a, aHi, aLo);
	split(b, bHi, bLo);
	y = aLo * bLo - (((x - aHi * bHi) - aLo * bHi) - aHi * bLo);
}

/// h = e * b for an expansion e of n components; returns the length of h
/// (at most 2n, at least 1), zero components dropped.
int scaleExpansion(const double* e, int n, double b, double* h)
{
	int numOut(0);
	double q, low;
	twoProduct(e[0], b, q, low);
	if(low != 0.0) h[numOut++] = low;
	for(int i = 1; i < n; ++i)
	{
		double product, productLow, sum;
		twoProduct(e[i], b, product, productLow);
		twoSum(q, productLow, sum, low);
		if(low != 0.0) h[numOut++] = low;
		fastTwoSum(product, sum, q, low);
		if(low != 0.0) h[numOut++] = low;
	}
	if(q != 0.0 || numOut == 0) h[numOut++] = q;
	return numOut;
}

/// h = e + f (n and m components, n + m >= 1); returns the length of h (at
/// most n + m, at least 1), zero components dropped. The components of both
/// are taken in increasing magnitude and summed from the smallest up, each
/// step leaving its exact rounding error behind.
int sumExpansions(const double* e, int n, const double* f, int m, double* h)
{
	int i(0), j(0);
	const auto next = [&]() { return j >= m || (i < n && std::fabs(e[i]) <= std::fabs(f[j])) ? e[i++] : f[j++]; };
	int numOut(0);
	double q(next()), low;
	for(int t = 1; t < n + m; ++t)
	{
		if(t == 1) fastTwoSum(next(), q, q, low);
		else twoSum(q, next(), q, low);
		if(low != 0.0) h[numOut++] = low;
	}
	if(q != 0.0 || numOut == 0) h[numOut++] = q;
	return numOut;
}

/// h = e * f for an expansion e of n <= 16 components and a two-component f;
/// returns the length of h (at most 4n).
int multiplyByPair(const double* e, int n, const double* f, double* h)
{
	double byLow[32], byHigh[32];
	const int numLow(scaleExpansion(e, n, f[0], byLow));
	const int numHigh(scaleExpansion(e, n, f[1], byHigh));
	return sumExpansions(byLow, numLow, byHigh, numHigh, h);
}

/// h = a * d - b * c for two-component a, b, c, d; returns the length (<= 16).
int pairMinor(const double* a, const double* d, const double* b, const double* c, double* h)
{
	double ad[8], bc[8];
	const int numAd(multiplyByPair(a, 2, d, ad));
	const int numBc(multiplyByPair(b, 2, c, bc));
	for(int i = 0; i < numBc; ++i) bc[i] = -bc[i];
	return sumExpansions(ad, numAd, bc, numBc, h);
}

/// The exact sign of det[u, v, w] where each coordinate of u = b - a,
/// v = c - a, w = d - a is first formed exactly as a two-component
/// expansion.
int exactOrientationSign(const double* a, const double* b, const double* c, const double* d)
{
	double u[3][2], v[3][2], w[3][2];
	for(int k = 0; k < 3; ++k)
	{
		twoDiff(b[k], a[k], u[k][1], u[k][0]);
		twoDiff(c[k], a[k], v[k][1], v[k][0]);
		twoDiff(d[k], a[k], w[k][1], w[k][0]);
	}
	// Expansion along u: u_k times the 2x2 minor of v and w on the other axes.
	double total[192], part[64], minor[16], partial[128];
	int numTotal(0);
	for(int k = 0; k < 3; ++k)
	{
		const int k1((k + 1) % 3), k2((k + 2) % 3);
		const int numMinor(pairMinor(v[k1], w[k2], v[k2], w[k1], minor));
		const int numPart(multiplyByPair(minor, numMinor, u[k], part));
		if(numTotal == 0)
		{
			for(int i = 0; i < numPart; ++i) total[i] = part[i];
			numTotal = numPart;
		}
		else
		{
			for(int i = 0; i < numTotal; ++i) partial[i] = total[i];
			numTotal = sumExpansions(partial, numTotal, part, numPart, total);
		}
	}
	const double top(total[numTotal - 1]);
	return top > 0.0 ? 1 : top < 0.0 ? -1 : 0;
}

/// The exact sign of det[u, v, w] when the coordinate differences u, v, w
/// were formed without rounding (lattices, most data on a grid): each 2x2
/// minor is the difference of two exact products, at most 4 components,
/// scaled by one double; a far shorter way than through pairs.
int exactSignOfDifferences(const double* u, const double* v, const double* w)
{
	double total[32] = {0.0}, partial[32], part[8], minor[4];
	int numTotal(1);
	for(int k = 0; k < 3; ++k)
	{
		const int k1((k + 1) % 3), k2((k + 2) % 3);
		double plus[2], minus[2];
		twoProduct(v[k1], w[k2], plus[1], plus[0]);
		twoProduct(v[k2], w[k1], minus[1], minus[0]);
		minus[0] = -minus[0];
		minus[1] = -minus[1];
		const int numMinor(sumExpansions(plus, 2, minus, 2, minor));
		const int numPart(scaleExpansion(minor, numMinor, u[k], part));
		std::copy(total, total + numTotal, partial);
		numTotal = sumExpansions(partial, numTotal, part, numPart, total);
	}
	const double top(total[numTotal - 1]);
	return top > 0.0 ? 1 : top < 0.0 ? -1 : 0;
}

/// Relative error bound of the rounded determinant below: (7 + 56 eps) eps
/// times its permanent, eps = 2^-53 (Shewchuk's first stage for orient3d).
constexpr double kEpsilon = 1.1102230246251565e-16;
constexpr double kOrientationBound = (7.0 + 56.0 * kEpsilon) * kEpsilon;

} // namespace

int exactOrientation(const double* a, const double* b, const double* c, const double* d)
{
	const double ux(b[0] - a[0]), uy(b[1] - a[1]), uz(b[2] - a[2]);
	const double vx(c[0] - a[0]), vy(c[1] - a[1]), vz(c[2] - a[2]);
	const double wx(d[0] - a[0]), wy(d[1] - a[1]), wz(d[2] - a[2]);
	const double vywz(vy * wz), vzwy(vz * wy);
	const double vzwx(vz * wx), vxwz(vx * wz);
	const double vxwy(vx * wy), vywx(vy * wx);
	const double det(ux * (vywz - vzwy) + uy * (vzwx - vxwz) + uz * (vxwy - vywx));
	const double permanent(std::fabs(ux) * (std::fabs(vywz) + std::fabs(vzwy)) +
		std::fabs(uy) * (std::fabs(vzwx) + std::fabs(vxwz)) + std::fabs(uz) * (std::fabs(vxwy) + std::fabs(vywx)));
	const double bound(kOrientationBound * permanent);
	if(det > bound) return 1;
	if(-det > bound) return -1;
	// Four points with a coordinate in common lie in that axis plane (points
	// on the faces of a box): a column of zeros.
	for(int k = 0; k < 3; ++k)
		if(a[k] == b[k] && a[k] == c[k] && a[k] == d[k]) return 0;
	// The differences above are exact when subtracting them back leaves the
	// minuend: then a shorter exact evaluation serves.
	bool bExact(true);
	for(int k = 0; k < 3 && bExact; ++k)
	{
		double hi, lo;
		twoDiff(b[k], a[k], hi, lo);
		bExact = lo == 0.0;
		twoDiff(c[k], a[k], hi, lo);
		bExact = bExact && lo == 0.0;
		twoDiff(d[k], a[k], hi, lo);
		bExact = bExact && lo == 0.0;
	}
	if(bExact)
	{
		const double u[3] = {ux, uy, uz}, v[3] = {vx, vy, vz}, w[3] = {wx, wy, wz};
		return exactSignOfDifferences(u, v, w);
	}
	return exactOrientationSign(a, b, c, d);
}

} // namespace VORN3D
