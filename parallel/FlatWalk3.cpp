#include "FlatWalk3.h"

#include <algorithm>
#include <cmath>
#include <limits>

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
	return exactOrientationSign(a, b, c, d);
}

FlatWalk3::FlatWalk3(const FlatMesh3& mesh, const double* pXyz_):
	FlatWalk3(mesh.vCorners.data(), mesh.vNeighbors.data(), mesh.numCells(), pXyz_)
{
}

FlatWalk3::FlatWalk3(const int32_t* pCorners_, const int64_t* pNeighbors, int64_t numCells_, const double* pXyz_):
	pCorners(pCorners_), pNeighbors64(pNeighbors), pNeighbors32(nullptr), numCells(numCells_), pXyz(pXyz_)
{
	chooseStarts();
}

FlatWalk3::FlatWalk3(const int32_t* pCorners_, const int32_t* pNeighbors, int64_t numCells_, const double* pXyz_):
	pCorners(pCorners_), pNeighbors64(nullptr), pNeighbors32(pNeighbors), numCells(numCells_), pXyz(pXyz_)
{
	chooseStarts();
}

void FlatWalk3::centroid(int64_t cell, double* c) const
{
	c[0] = c[1] = c[2] = 0.0;
	for(int j = 0; j < 4; ++j)
		for(int k = 0; k < 3; ++k) c[k] += 0.25 * pXyz[3 * static_cast<int64_t>(pCorners[4 * cell + j]) + k];
}

void FlatWalk3::chooseStarts()
{
	// Eight times the fourth root of the cell count, evenly spread over the
	// cell numbers: a walk from the nearest of them crosses about
	// (numCells / numStarts)^(1/3) cells, and choosing costs numStarts
	// distances (measured best on uniform points among 2, 8 and 32 times).
	const int64_t numStarts(numCells == 0 ? 0 :
		std::min<int64_t>(numCells, 8 * static_cast<int64_t>(std::ceil(std::pow(static_cast<double>(numCells), 0.25)))));
	vStarts.resize(static_cast<size_t>(4 * numStarts));
	double lo[3], hi[3];
	for(int64_t s = 0; s < numStarts; ++s)
	{
		const int64_t cell(s * numCells / numStarts);
		double* pStart(&vStarts[static_cast<size_t>(4 * s)]);
		centroid(cell, pStart);
		pStart[3] = static_cast<double>(cell);
		for(int k = 0; k < 3; ++k)
		{
			lo[k] = s == 0 ? pStart[k] : std::min(lo[k], pStart[k]);
			hi[k] = s == 0 ? pStart[k] : std::max(hi[k], pStart[k]);
		}
	}
	// A previous cell within half the start cells' spacing is kept without
	// looking at them: coherent queries then cost no search.
	if(numStarts > 0)
	{
		const double spacing(std::cbrt((hi[0] - lo[0]) * (hi[1] - lo[1]) * (hi[2] - lo[2]) / static_cast<double>(numStarts)));
		closeEnough2 = 0.25 * spacing * spacing;
	}
}

int64_t FlatWalk3::nearestStart(const double* q) const
{
	const auto distance2 = [q](const double* c) {
		return (c[0] - q[0]) * (c[0] - q[0]) + (c[1] - q[1]) * (c[1] - q[1]) + (c[2] - q[2]) * (c[2] - q[2]);
	};
	int64_t best(0);
	double bestDistance(std::numeric_limits<double>::infinity());
	if(previous >= 0)
	{
		double c[3];
		centroid(previous, c);
		best = previous;
		bestDistance = distance2(c);
		if(bestDistance <= closeEnough2) return best;
	}
	for(size_t s = 0; s < vStarts.size(); s += 4)
	{
		const double d(distance2(&vStarts[s]));
		if(d < bestDistance)
		{
			bestDistance = d;
			best = static_cast<int64_t>(vStarts[s + 3]);
		}
	}
	return best;
}

int FlatWalk3::facetSide(int64_t cell, int i, const double* q) const
{
	const double* p[4];
	for(int j = 0; j < 4; ++j) p[j] = pXyz + 3 * static_cast<int64_t>(pCorners[4 * cell + j]);
	p[i] = q;
	return exactOrientation(p[0], p[1], p[2], p[3]);
}

bool FlatWalk3::contains(int64_t cell, const double* q) const
{
	for(int i = 0; i < 4; ++i)
		if(facetSide(cell, i, q) < 0) return false;
	return true;
}

int64_t FlatWalk3::scan(const double* q) const
{
	for(int64_t cell = 0; cell < numCells; ++cell)
		if(contains(cell, q)) return cell;
	return -1;
}

int64_t FlatWalk3::locate(const double* q, int64_t startCell)
{
	if(numCells == 0 || !std::isfinite(q[0]) || !std::isfinite(q[1]) || !std::isfinite(q[2])) return -1;
	int64_t cell(startCell >= 0 && startCell < numCells ? startCell : nearestStart(q));
	int64_t from(-1);
	// On a Delaunay mesh this walk enters no cell twice, whichever facet it
	// takes among those that separate it from q: past numCells steps the
	// mesh is not Delaunay, and every cell is tested instead. The facets are
	// tried from a random one on, which ends walks in any other mesh with
	// probability one (and usually soon).
	for(int64_t steps = 0; steps <= numCells; ++steps)
	{
		randomState ^= randomState << 13;
		randomState ^= randomState >> 7;
		randomState ^= randomState << 17;
		const int first(static_cast<int>(randomState >> 62));
		int64_t next(-1);
		for(int t = 0; t < 4; ++t)
		{
			const int i((first + t) & 3);
			const int64_t across(neighbor(cell, i));
			// q lies strictly inside the facet just crossed.
			if(across == from && from >= 0) continue;
			if(facetSide(cell, i, q) >= 0) continue;
			// Beyond a hull facet's plane: outside the convex hull.
			if(across < 0)
			{
				previous = cell;
				return -1;
			}
			next = across;
			break;
		}
		if(next < 0)
		{
			previous = cell;
			return cell;
		}
		from = cell;
		cell = next;
	}
	const int64_t found(scan(q));
	if(found >= 0) previous = found;
	return found;
}

void FlatWalk3::locate(const double* pQueries, int64_t numQueries, int64_t* pCells)
{
	for(int64_t k = 0; k < numQueries; ++k) pCells[k] = locate(pQueries + 3 * k);
}

} // namespace VORN3D
