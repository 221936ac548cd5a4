// The predicates' constants, their adaptive and exact stages, and the name
// routines. The filters are inline in TrelTest3.h; the arithmetic primitives
// are in expansionArith.h.
//
// The adaptive stages follow Shewchuk's orient3dadapt and insphereadapt term
// by term: stage B evaluates the determinant exactly from the rounded
// coordinate differences; when the differences were themselves exact that
// is the answer; stage C adds the first-order terms of the difference tails
// in floating point; the last stage is exact. Every scratch expansion is a
// fixed array on the stack, sized for its worst case.
#include "TrelTest3.h"

#include <cmath>
#include <iostream>

#include "expansionArith.h"
#include "tools.h"

namespace VORN3D {

using namespace expansion;

const int TrelTest3::aOrientedFacet[4][3] = {{1, 3, 2}, {0, 2, 3}, {0, 3, 1}, {0, 1, 2}};

TrelTest3::TrelTest3()
{
	// Halve epsilon until 1 + epsilon rounds to 1 (or stops changing), and
	// double the splitter every other step: epsilon ends as 2^-53 and the
	// splitter as 2^27 + 1, whatever the platform does.
	bool bEveryOther(true);
	double check(1.0), lastcheck;
	epsilon = 1.0;
	splitter = 1.0;
	do
	{
		lastcheck = check;
		epsilon *= 0.5;
		if(bEveryOther) splitter *= 2.0;
		bEveryOther = !bEveryOther;
		check = 1.0 + epsilon;
	} while(check != 1.0 && check != lastcheck);
	splitter += 1.0;

	resulterrbound = (3.0 + 8.0 * epsilon) * epsilon;
	ccwerrboundA = (3.0 + 16.0 * epsilon) * epsilon;
	ccwerrboundB = (2.0 + 12.0 * epsilon) * epsilon;
	ccwerrboundC = (9.0 + 64.0 * epsilon) * epsilon * epsilon;
	o3derrboundA = (7.0 + 56.0 * epsilon) * epsilon;
	o3derrboundB = (3.0 + 28.0 * epsilon) * epsilon;
	o3derrboundC = (26.0 + 288.0 * epsilon) * epsilon * epsilon;
	iccerrboundA = (10.0 + 96.0 * epsilon) * epsilon;
	iccerrboundB = (4.0 + 48.0 * epsilon) * epsilon;
	iccerrboundC = (44.0 + 576.0 * epsilon) * epsilon * epsilon;
	isperrboundA = (16.0 + 224.0 * epsilon) * epsilon;
	isperrboundB = (5.0 + 72.0 * epsilon) * epsilon;
	isperrboundC = (71.0 + 1408.0 * epsilon) * epsilon * epsilon;
}

Orientation3 TrelTest3::orientationUndecided(
	const Point3& a, const Point3& b, const Point3& c, const Point3& d, PredicateStage* pStage) const
{
	if(allInExponentRange<orientRangeLo, orientRangeHi>(a, b, c, d)) return orientationInRange(a, b, c, d, pStage);
	return orientationWide(a, b, c, d, pStage);
}

SphereInclusion TrelTest3::sphereInclusionUndecided(const Point3* pa, const Point3* pb, const Point3* pc,
	const Point3* pd, const Point3* q, PredicateStage* pStage) const
{
	if(allInExponentRange<sphereRangeLo, sphereRangeHi>(*pa, *pb, *pc, *pd, *q))
		return sphereInclusionInRange(pa, pb, pc, pd, q, pStage);
	return sphereInclusionWide(pa, pb, pc, pd, q, pStage);
}

Orientation3 TrelTest3::orientationOutOfLine(const Point3* a, const Point3* b, const Point3* c, const Point3* d) const
{
	return orientation(*a, *b, *c, *d, nullptr);
}

SphereInclusion TrelTest3::sphereInclusionOutOfLine(const Tet3* tet, const Point3* q) const
{
	// The kernel has tried the quick acceptance already.
	return sphereInclusionUndecided(tet->getCorner(0), tet->getCorner(1), tet->getCorner(2), tet->getCorner(3), q,
		nullptr);
}

void TrelTest3::nullCellInFacetForm()
{
	goToHell("getOrientation3, pC==NULL");
}

namespace {

// Points with integer coordinates (a grid, say) often are exactly coplanar or
// cospherical, and then the filter cannot decide and the expansions run to
// the end. When every coordinate is an integer and every difference is at
// most `limit` in magnitude, each intermediate of the plain double evaluation
// is an integer below 2^53, so that evaluation is exact and its sign final.
bool integralWithin(const Point3* const* apPoint, int numPoints, const Point3& ref, double limit)
{
	if(ref.x() != std::trunc(ref.x()) || ref.y() != std::trunc(ref.y()) || ref.z() != std::trunc(ref.z())) return false;
	for(int i = 0; i < numPoints; ++i)
	{
		const Point3& p(*apPoint[i]);
		if(p.x() != std::trunc(p.x()) || p.y() != std::trunc(p.y()) || p.z() != std::trunc(p.z())) return false;
		if(!(std::fabs(p.x() - ref.x()) <= limit && std::fabs(p.y() - ref.y()) <= limit &&
			   std::fabs(p.z() - ref.z()) <= limit))
			return false;
	}
	return true;
}

// Orientation: 6 limit^3 < 2^53.
const double integralOrientLimit(65536.0);
// Sphere: 72 limit^5 < 2^53.
const double integralSphereLimit(512.0);


// Adds the expansion e (elen) to the running sum held in *ppNow (numNow),
// writing the result into the other buffer and swapping the two.
inline void accumulate(int elen, const double* e, double*& pNow, double*& pOther, int& numNow)
{
	numNow = fast_expansion_sum_zeroelim(numNow, pNow, elen, e, pOther);
	double* pSwap(pNow);
	pNow = pOther;
	pOther = pSwap;
}

// The exact products of one corner's x and y tails (xt, yt) with the plain
// differences of the other two corners, as in orient3dadapt:
//   toNext = xt * nextY - yt * nextX,  toPrev = yt * prevX - xt * prevY.
// Zero tails give shorter expansions (or the single component 0).
void tailCrossTerms(const TrelTest3& tt, double xt, double yt, double nextX, double nextY, double prevX,
	double prevY, double* toNext, int& numToNext, double* toPrev, int& numToPrev)
{
	if(xt == 0.0)
	{
		if(yt == 0.0)
		{
			toNext[0] = 0.0;
			numToNext = 1;
			toPrev[0] = 0.0;
			numToPrev = 1;
			return;
		}
		twoProduct(tt, -yt, nextX, toNext[1], toNext[0]);
		numToNext = 2;
		twoProduct(tt, yt, prevX, toPrev[1], toPrev[0]);
		numToPrev = 2;
		return;
	}
	if(yt == 0.0)
	{
		twoProduct(tt, xt, nextY, toNext[1], toNext[0]);
		numToNext = 2;
		twoProduct(tt, -xt, prevY, toPrev[1], toPrev[0]);
		numToPrev = 2;
		return;
	}
	twoByTwo(tt, xt, nextY, yt, nextX, toNext);
	numToNext = 4;
	twoByTwo(tt, yt, prevX, xt, prevY, toPrev);
	numToPrev = 4;
}

} // namespace

// Corners are handled by index i = 0, 1, 2 for a, b, c; j = i + 1 and
// k = i + 2 (mod 3) are the other two in cyclic order, so the minor of
// corner i is jx * ky - kx * jy (bc, ca, ab).
double TrelTest3::orient3dAdapt(const Point3& a, const Point3& b, const Point3& c, const Point3& d, double permanent,
	PredicateStage* pStage) const
{
	const Point3* aCorner[3] = {&a, &b, &c};
	double dx[3], dy[3], dz[3];
	for(int i = 0; i < 3; ++i)
	{
		dx[i] = aCorner[i]->x() - d.x();
		dy[i] = aCorner[i]->y() - d.y();
		dz[i] = aCorner[i]->z() - d.z();
	}

	if(integralWithin(aCorner, 3, d, integralOrientLimit))
	{
		// Exact in doubles; the stage is the one the expansions would settle
		// in: B for a clear sign, the exact differences for zero.
		const double det(dz[0] * (dx[1] * dy[2] - dx[2] * dy[1]) + dz[1] * (dx[2] * dy[0] - dx[0] * dy[2]) +
			dz[2] * (dx[0] * dy[1] - dx[1] * dy[0]));
		if(pStage != nullptr)
			*pStage = (det != 0.0 && std::fabs(det) >= o3derrboundB * permanent) ? STAGE_B : STAGE_EXACT_INPUT;
		return det;
	}

	// Stage B: the three minors exactly, each scaled by its z difference.
	double minor[3][4];
	double scaled[3][8];
	int numScaled[3];
	for(int i = 0; i < 3; ++i)
	{
		const int j((i + 1) % 3), k((i + 2) % 3);
		twoByTwo(*this, dx[j], dy[k], dx[k], dy[j], minor[i]);
		numScaled[i] = scale_expansion_zeroelim(*this, 4, minor[i], dz[i], scaled[i]);
	}
	double abdet[16];
	const int numAb(fast_expansion_sum_zeroelim(numScaled[0], scaled[0], numScaled[1], scaled[1], abdet));
	double fin1[192], fin2[192];
	int numFin(fast_expansion_sum_zeroelim(numAb, abdet, numScaled[2], scaled[2], fin1));
	double det(estimate(numFin, fin1));
	double errbound(o3derrboundB * permanent);
	if(det >= errbound || -det >= errbound)
	{
		if(pStage != nullptr) *pStage = STAGE_B;
		return det;
	}

	double dxtail[3], dytail[3], dztail[3];
	for(int i = 0; i < 3; ++i)
	{
		dxtail[i] = twoDiffTail(aCorner[i]->x(), d.x(), dx[i]);
		dytail[i] = twoDiffTail(aCorner[i]->y(), d.y(), dy[i]);
		dztail[i] = twoDiffTail(aCorner[i]->z(), d.z(), dz[i]);
	}
	if(dxtail[0] == 0.0 && dxtail[1] == 0.0 && dxtail[2] == 0.0 && dytail[0] == 0.0 && dytail[1] == 0.0 &&
		dytail[2] == 0.0 && dztail[0] == 0.0 && dztail[1] == 0.0 && dztail[2] == 0.0)
	{
		if(pStage != nullptr) *pStage = STAGE_EXACT_INPUT;
		return det;
	}

	// Stage C: first-order tail terms, grouped per corner as
	// dz_i ((jx kyt + ky jxt) - (jy kxt + kx jyt)) + dzt_i (jx ky - jy kx).
	errbound = o3derrboundC * permanent + resulterrbound * std::fabs(det);
	double aTerm[3];
	for(int i = 0; i < 3; ++i)
	{
		const int j((i + 1) % 3), k((i + 2) % 3);
		aTerm[i] = dz[i] * ((dx[j] * dytail[k] + dy[k] * dxtail[j]) - (dy[j] * dxtail[k] + dx[k] * dytail[j])) +
			dztail[i] * (dx[j] * dy[k] - dy[j] * dx[k]);
	}
	det += aTerm[0] + aTerm[1] + aTerm[2];
	if(det >= errbound || -det >= errbound)
	{
		if(pStage != nullptr) *pStage = STAGE_C;
		return det;
	}

	// Stage D: everything left, exactly, added to the stage B expansion.
	double* pNow(fin1);
	double* pOther(fin2);
	double toNext[3][4], toPrev[3][4];
	int numToNext[3], numToPrev[3];
	for(int i = 0; i < 3; ++i)
	{
		const int j((i + 1) % 3), k((i + 2) % 3);
		tailCrossTerms(*this, dxtail[i], dytail[i], dx[j], dy[j], dx[k], dy[k], toNext[i], numToNext[i], toPrev[i],
			numToPrev[i]);
	}
	// The tail part of minor i: the x/y tails of j against k and of k against j.
	double tailMinor[3][8];
	int numTailMinor[3];
	double w[16];
	for(int i = 0; i < 3; ++i)
	{
		const int j((i + 1) % 3), k((i + 2) % 3);
		numTailMinor[i] = fast_expansion_sum_zeroelim(numToNext[j], toNext[j], numToPrev[k], toPrev[k], tailMinor[i]);
		const int numW(scale_expansion_zeroelim(*this, numTailMinor[i], tailMinor[i], dz[i], w));
		accumulate(numW, w, pNow, pOther, numFin);
	}
	double v[8];
	for(int i = 0; i < 3; ++i)
	{
		if(dztail[i] != 0.0)
		{
			const int numV(scale_expansion_zeroelim(*this, 4, minor[i], dztail[i], v));
			accumulate(numV, v, pNow, pOther, numFin);
		}
	}
	// Products of two x/y tails, times the third corner's z difference and z tail.
	double u[4];
	for(int i = 0; i < 3; ++i)
	{
		if(dxtail[i] == 0.0) continue;
		const int j((i + 1) % 3), k((i + 2) % 3);
		if(dytail[j] != 0.0)
		{
			double tt1, tt0;
			twoProduct(*this, dxtail[i], dytail[j], tt1, tt0);
			twoOneProduct(*this, tt1, tt0, dz[k], u);
			accumulate(4, u, pNow, pOther, numFin);
			if(dztail[k] != 0.0)
			{
				twoOneProduct(*this, tt1, tt0, dztail[k], u);
				accumulate(4, u, pNow, pOther, numFin);
			}
		}
		if(dytail[k] != 0.0)
		{
			double tt1, tt0;
			twoProduct(*this, -dxtail[i], dytail[k], tt1, tt0);
			twoOneProduct(*this, tt1, tt0, dz[j], u);
			accumulate(4, u, pNow, pOther, numFin);
			if(dztail[j] != 0.0)
			{
				twoOneProduct(*this, tt1, tt0, dztail[j], u);
				accumulate(4, u, pNow, pOther, numFin);
			}
		}
	}
	for(int i = 0; i < 3; ++i)
	{
		if(dztail[i] != 0.0)
		{
			const int numW(scale_expansion_zeroelim(*this, numTailMinor[i], tailMinor[i], dztail[i], w));
			accumulate(numW, w, pNow, pOther, numFin);
		}
	}
	if(pStage != nullptr) *pStage = STAGE_D;
	return pNow[numFin - 1];
}

namespace {

// Stage B of the sphere test for one corner p: the 3x3 cofactor
// m1 z1 + m2 z2 + m3 z3 (summed as m3 z3 + (m1 z1 + m2 z2)), scaled twice by
// each of p's differences (the second time negated when bNegate) and the
// three lifted parts summed. Returns the length of out (at most 288).

int liftedCofactor(const TrelTest3& tt, const double* m1, double z1, const double* m2, double z2, const double* m3,
	double z3, double px, double py, double pz, bool bNegate, double* out)
{
	double temp8a[8], temp8b[8], temp8c[8], temp16[16], temp24[24], temp48[48];
	double xdet[96], ydet[96], zdet[96], xydet[192];
	const int numA(scale_expansion_zeroelim(tt, 4, m1, z1, temp8a));
	const int numB(scale_expansion_zeroelim(tt, 4, m2, z2, temp8b));
	const int numC(scale_expansion_zeroelim(tt, 4, m3, z3, temp8c));
	const int num16(fast_expansion_sum_zeroelim(numA, temp8a, numB, temp8b, temp16));
	const int num24(fast_expansion_sum_zeroelim(numC, temp8c, num16, temp16, temp24));
	int num48(scale_expansion_zeroelim(tt, num24, temp24, px, temp48));
	const int numX(scale_expansion_zeroelim(tt, num48, temp48, bNegate ? -px : px, xdet));
	num48 = scale_expansion_zeroelim(tt, num24, temp24, py, temp48);
	const int numY(scale_expansion_zeroelim(tt, num48, temp48, bNegate ? -py : py, ydet));
	num48 = scale_expansion_zeroelim(tt, num24, temp24, pz, temp48);
	const int numZ(scale_expansion_zeroelim(tt, num48, temp48, bNegate ? -pz : pz, zdet));
	const int numXY(fast_expansion_sum_zeroelim(numX, xdet, numY, ydet, xydet));
	return fast_expansion_sum_zeroelim(numXY, xydet, numZ, zdet, out);
}

} // namespace

int TrelTest3::insphereAdapt(const Point3& a, const Point3& b, const Point3& c, const Point3& d, const Point3& e,
	double permanent, PredicateStage* pStage) const
{
	const double aex(a.x() - e.x());
	const double bex(b.x() - e.x());
	const double cex(c.x() - e.x());
	const double dex(d.x() - e.x());
	const double aey(a.y() - e.y());
	const double bey(b.y() - e.y());
	const double cey(c.y() - e.y());
	const double dey(d.y() - e.y());
	const double aez(a.z() - e.z());
	const double bez(b.z() - e.z());
	const double cez(c.z() - e.z());
	const double dez(d.z() - e.z());

	const Point3* aCorner[4] = {&a, &b, &c, &d};
	if(integralWithin(aCorner, 4, e, integralSphereLimit))
	{
		// Exact in doubles, as for the orientation above: the filter's own
		// evaluation, whose every intermediate is an exact integer here.
		double det, integralPermanent;
		insphereDeterminant<double>(a, b, c, d, e, det, integralPermanent);
		if(pStage != nullptr)
			*pStage = (det != 0.0 && std::fabs(det) >= isperrboundB * permanent) ? STAGE_B : STAGE_EXACT_INPUT;
		if(det > 0.0) return 1;
		if(det < 0.0) return 0;
		return 2;
	}

	// Stage B: the six minors exactly, the four lifted cofactors, summed.
	double ab[4], bc[4], cd[4], da[4], ac[4], bd[4];
	twoByTwo(*this, aex, bey, bex, aey, ab);
	twoByTwo(*this, bex, cey, cex, bey, bc);
	twoByTwo(*this, cex, dey, dex, cey, cd);
	twoByTwo(*this, dex, aey, aex, dey, da);
	twoByTwo(*this, aex, cey, cex, aey, ac);
	twoByTwo(*this, bex, dey, dex, bey, bd);

	double adet[288], bdet[288], cdet[288], ddet[288];
	// -alift * bcd, +blift * cda, -clift * dab, +dlift * abc
	const int numA(liftedCofactor(*this, cd, bez, bd, -cez, bc, dez, aex, aey, aez, true, adet));
	const int numB(liftedCofactor(*this, da, cez, ac, dez, cd, aez, bex, bey, bez, false, bdet));
	const int numC(liftedCofactor(*this, ab, dez, bd, aez, da, bez, cex, cey, cez, true, cdet));
	const int numD(liftedCofactor(*this, bc, aez, ac, -bez, ab, cez, dex, dey, dez, false, ddet));
	double abdet[576], cddet[576], fin1[1152];
	const int numAb(fast_expansion_sum_zeroelim(numA, adet, numB, bdet, abdet));
	const int numCd(fast_expansion_sum_zeroelim(numC, cdet, numD, ddet, cddet));
	const int numFin(fast_expansion_sum_zeroelim(numAb, abdet, numCd, cddet, fin1));

	double det(estimate(numFin, fin1));
	double errbound(isperrboundB * permanent);
	if(det >= errbound || -det >= errbound)
	{
		if(pStage != nullptr) *pStage = STAGE_B;
		return det >= errbound ? 1 : 0;
	}

	const double aextail(twoDiffTail(a.x(), e.x(), aex));
	const double aeytail(twoDiffTail(a.y(), e.y(), aey));
	const double aeztail(twoDiffTail(a.z(), e.z(), aez));
	const double bextail(twoDiffTail(b.x(), e.x(), bex));
	const double beytail(twoDiffTail(b.y(), e.y(), bey));
	const double beztail(twoDiffTail(b.z(), e.z(), bez));
	const double cextail(twoDiffTail(c.x(), e.x(), cex));
	const double ceytail(twoDiffTail(c.y(), e.y(), cey));
	const double ceztail(twoDiffTail(c.z(), e.z(), cez));
	const double dextail(twoDiffTail(d.x(), e.x(), dex));
	const double deytail(twoDiffTail(d.y(), e.y(), dey));
	const double deztail(twoDiffTail(d.z(), e.z(), dez));
	if(aextail == 0.0 && aeytail == 0.0 && aeztail == 0.0 && bextail == 0.0 && beytail == 0.0 && beztail == 0.0 &&
		cextail == 0.0 && ceytail == 0.0 && ceztail == 0.0 && dextail == 0.0 && deytail == 0.0 && deztail == 0.0)
	{
		// The differences were exact, so the stage B expansion is the
		// determinant itself and its estimate has the right sign.
		if(pStage != nullptr) *pStage = STAGE_EXACT_INPUT;
		if(det > 0.0) return 1;
		if(det < 0.0) return 0;
		return 2;
	}

	// Stage C: first-order terms of the tails. The eps minors are the
	// tail parts of the 2x2 minors; the second sum holds the lift tails
	// (twice p . ptail) times the leading components of the cofactors.
	errbound = isperrboundC * permanent + resulterrbound * std::fabs(det);
	const double abeps((aex * beytail + bey * aextail) - (aey * bextail + bex * aeytail));
	const double bceps((bex * ceytail + cey * bextail) - (bey * cextail + cex * beytail));
	const double cdeps((cex * deytail + dey * cextail) - (cey * dextail + dex * ceytail));
	const double daeps((dex * aeytail + aey * dextail) - (dey * aextail + aex * deytail));
	const double aceps((aex * ceytail + cey * aextail) - (aey * cextail + cex * aeytail));
	const double bdeps((bex * deytail + dey * bextail) - (bey * dextail + dex * beytail));
	const double ab3(ab[3]), bc3(bc[3]), cd3(cd[3]), da3(da[3]), ac3(ac[3]), bd3(bd[3]);
	det += (((bex * bex + bey * bey + bez * bez) *
					((cez * daeps + dez * aceps + aez * cdeps) + (ceztail * da3 + deztail * ac3 + aeztail * cd3)) +
				(dex * dex + dey * dey + dez * dez) *
					((aez * bceps - bez * aceps + cez * abeps) + (aeztail * bc3 - beztail * ac3 + ceztail * ab3))) -
			   ((aex * aex + aey * aey + aez * aez) *
					   ((bez * cdeps - cez * bdeps + dez * bceps) + (beztail * cd3 - ceztail * bd3 + deztail * bc3)) +
				   (cex * cex + cey * cey + cez * cez) *
					   ((dez * abeps + aez * bdeps + bez * daeps) + (deztail * ab3 + aeztail * bd3 + beztail * da3)))) +
		2.0 *
			(((bex * bextail + bey * beytail + bez * beztail) * (cez * da3 + dez * ac3 + aez * cd3) +
				 (dex * dextail + dey * deytail + dez * deztail) * (aez * bc3 - bez * ac3 + cez * ab3)) -
				((aex * aextail + aey * aeytail + aez * aeztail) * (bez * cd3 - cez * bd3 + dez * bc3) +
					(cex * cextail + cey * ceytail + cez * ceztail) * (dez * ab3 + aez * bd3 + bez * da3)));
	if(det >= errbound)
	{
		if(pStage != nullptr) *pStage = STAGE_C;
		return 1;
	}
	if(-det >= errbound)
	{
		if(pStage != nullptr) *pStage = STAGE_C;
		return 0;
	}

	if(pStage != nullptr) *pStage = STAGE_D;
	return insphereExact(a, b, c, d, e);
}

namespace {

// The 3x3 determinant of three points' (x, y, z) from their xy minors:
// out = m3 z3 + (m1 z1 + m2 z2), at most 24 components.
int tripleProduct(const TrelTest3& tt, const double* m1, double z1, const double* m2, double z2, const double* m3,
	double z3, double* out)
{
	double temp8a[8], temp8b[8], temp16[16];
	const int numA(scale_expansion_zeroelim(tt, 4, m1, z1, temp8a));
	const int numB(scale_expansion_zeroelim(tt, 4, m2, z2, temp8b));
	const int num16(fast_expansion_sum_zeroelim(numA, temp8a, numB, temp8b, temp16));
	const int numC(scale_expansion_zeroelim(tt, 4, m3, z3, temp8a));
	return fast_expansion_sum_zeroelim(numC, temp8a, num16, temp16, out);
}

// One row of the exact 5x5 expansion: lift(p) * ((t1 + t2) - (t3 + t4)),
// the lift applied as p.x^2 + p.y^2 + p.z^2 by scaling twice by each
// coordinate. Returns the length of out (at most 1152).
int liftedRow(const TrelTest3& tt, int num1, const double* t1, int num2, const double* t2, int num3, const double* t3,
	int num4, const double* t4, const Point3& p, double* out)
{
	double temp48a[48], temp48b[48], quad[96];
	double temp192[192], det384x[384], det384y[384], det384z[384], detxy[768];
	const int numA(fast_expansion_sum_zeroelim(num1, t1, num2, t2, temp48a));
	const int numB(fast_expansion_sum_zeroelim(num3, t3, num4, t4, temp48b));
	negate(numB, temp48b);
	const int numQuad(fast_expansion_sum_zeroelim(numA, temp48a, numB, temp48b, quad));
	int num192(scale_expansion_zeroelim(tt, numQuad, quad, p.x(), temp192));
	const int numX(scale_expansion_zeroelim(tt, num192, temp192, p.x(), det384x));
	num192 = scale_expansion_zeroelim(tt, numQuad, quad, p.y(), temp192);
	const int numY(scale_expansion_zeroelim(tt, num192, temp192, p.y(), det384y));
	num192 = scale_expansion_zeroelim(tt, numQuad, quad, p.z(), temp192);
	const int numZ(scale_expansion_zeroelim(tt, num192, temp192, p.z(), det384z));
	const int numXY(fast_expansion_sum_zeroelim(numX, det384x, numY, det384y, detxy));
	return fast_expansion_sum_zeroelim(numXY, detxy, numZ, det384z, out);
}

} // namespace

// The lifted 5x5 determinant of a, b, c, d, e from the raw coordinates,
// every product exact. Its sign is that of the insphere determinant.
int TrelTest3::insphereExact(const Point3& a, const Point3& b, const Point3& c, const Point3& d, const Point3& e) const
{
	// xy minors of every pair, named by the pair (pq = px qy - qx py).
	double ab[4], bc[4], cd[4], de[4], ea[4], ac[4], bd[4], ce[4], da[4], eb[4];
	twoByTwo(*this, a.x(), b.y(), b.x(), a.y(), ab);
	twoByTwo(*this, b.x(), c.y(), c.x(), b.y(), bc);
	twoByTwo(*this, c.x(), d.y(), d.x(), c.y(), cd);
	twoByTwo(*this, d.x(), e.y(), e.x(), d.y(), de);
	twoByTwo(*this, e.x(), a.y(), a.x(), e.y(), ea);
	twoByTwo(*this, a.x(), c.y(), c.x(), a.y(), ac);
	twoByTwo(*this, b.x(), d.y(), d.x(), b.y(), bd);
	twoByTwo(*this, c.x(), e.y(), e.x(), c.y(), ce);
	twoByTwo(*this, d.x(), a.y(), a.x(), d.y(), da);
	twoByTwo(*this, e.x(), b.y(), b.x(), e.y(), eb);

	// 3x3 determinants of every triple.
	double abc[24], bcd[24], cde[24], dea[24], eab[24], abd[24], bce[24], cda[24], deb[24], eac[24];
	const int numAbc(tripleProduct(*this, bc, a.z(), ac, -b.z(), ab, c.z(), abc));
	const int numBcd(tripleProduct(*this, cd, b.z(), bd, -c.z(), bc, d.z(), bcd));
	const int numCde(tripleProduct(*this, de, c.z(), ce, -d.z(), cd, e.z(), cde));
	const int numDea(tripleProduct(*this, ea, d.z(), da, -e.z(), de, a.z(), dea));
	const int numEab(tripleProduct(*this, ab, e.z(), eb, -a.z(), ea, b.z(), eab));
	const int numAbd(tripleProduct(*this, bd, a.z(), da, b.z(), ab, d.z(), abd));
	const int numBce(tripleProduct(*this, ce, b.z(), eb, c.z(), bc, e.z(), bce));
	const int numCda(tripleProduct(*this, da, c.z(), ac, d.z(), cd, a.z(), cda));
	const int numDeb(tripleProduct(*this, eb, d.z(), bd, e.z(), de, b.z(), deb));
	const int numEac(tripleProduct(*this, ac, e.z(), ce, a.z(), ea, c.z(), eac));

	// Each point's lift times the 4x4 determinant of the other four.
	double adet[1152], bdet[1152], cdet[1152], ddet[1152], edet[1152];
	const int numA(liftedRow(*this, numCde, cde, numBce, bce, numDeb, deb, numBcd, bcd, a, adet));
	const int numB(liftedRow(*this, numDea, dea, numCda, cda, numEac, eac, numCde, cde, b, bdet));
	const int numC(liftedRow(*this, numEab, eab, numDeb, deb, numAbd, abd, numDea, dea, c, cdet));
	const int numD(liftedRow(*this, numAbc, abc, numEac, eac, numBce, bce, numEab, eab, d, ddet));
	const int numE(liftedRow(*this, numBcd, bcd, numAbd, abd, numCda, cda, numAbc, abc, e, edet));

	double abdet[2304], cddet[2304], cdedet[3456], deter[5760];
	const int numAb(fast_expansion_sum_zeroelim(numA, adet, numB, bdet, abdet));
	const int numCd(fast_expansion_sum_zeroelim(numC, cdet, numD, ddet, cddet));
	const int numCde5(fast_expansion_sum_zeroelim(numCd, cddet, numE, edet, cdedet));
	const int numDeter(fast_expansion_sum_zeroelim(numAb, abdet, numCde5, cdedet, deter));
	const double top(deter[numDeter - 1]);
	if(top > 0.0) return 1;
	if(top < 0.0) return 0;
	return 2;
}

std::string TrelTest3::getOrientationName(Orientation3 ori) const
{
	switch(ori)
	{
		case ORIENTATION3_POSITIVE: return "ORI3_ORIENTATION3_POSITIVE";
		case ORIENTATION3_NEGATIVE: return "ORI3_ORIENTATION3_NEGATIVE";
		case ORIENTATION3_COPLANAR: return "ORI3_ZERO";
	}
	ASSERT_CONDITION(false);
	return std::string();
}

void TrelTest3::printOrientation(const std::string& label, Orientation3 ori) const
{
	std::cout << label << ": ";
	switch(ori)
	{
		case ORIENTATION3_POSITIVE: std::cout << "positive" << std::endl; break;
		case ORIENTATION3_NEGATIVE: std::cout << "negative" << std::endl; break;
		case ORIENTATION3_COPLANAR: std::cout << "coplanar" << std::endl; break;
	}
}

// Unit roundoff of long double, found at run time the same way as the double
// epsilon (halving until 1 + eps rounds back to 1), so that the bounds that
// use it fit whatever precision the platform's long double really has.
long double extendedUnitRoundoff()
{
	volatile long double epsilon(1.0L);
	volatile long double check(1.0L);
	volatile long double lastcheck;
	do
	{
		lastcheck = check;
		epsilon = epsilon * 0.5L;
		check = 1.0L + epsilon;
	} while(check != 1.0L && check != lastcheck);
	return epsilon;
}

namespace {

long double extendedSphereBoundFactor()
{
	const long double eps(extendedUnitRoundoff());
	return (16.0L + 224.0L * eps) * eps;
}

} // namespace

int TrelTest3::insphereExtended(const Point3& a, const Point3& b, const Point3& c, const Point3& d, const Point3& e)
{
	static const long double boundFactor(extendedSphereBoundFactor());
	long double det, permanent;
	insphereDeterminant<long double>(a, b, c, d, e, det, permanent);
	// Strict: a zero determinant (or a zero permanent) is left to the exact
	// stages, which tell a point on the sphere from one inside it.
	const long double errbound(boundFactor * permanent);
	if(det > errbound) return 1;
	if(-det > errbound) return 0;
	return -1;
}

} // namespace VORN3D
