#include "ExactPredicates.h"

#include <gmpxx.h>
#include <gtest/gtest.h>

#include <cmath>

namespace vtest {

namespace {

// A point with exact integer coordinates: the doubles of one query, all
// multiplied by the same power of two so that each becomes an integer. A
// common positive factor does not change the sign of any of the
// determinants below, and integers avoid the cost of canonical fractions.
struct ZPoint
{
	ZPoint() = default;
	ZPoint(const mpz_class& zx, const mpz_class& zy, const mpz_class& zz): x(zx), y(zy), z(zz) {}
	mpz_class x, y, z;
};

// Converts numPoints points to integers with one common scale.
void toIntegers(const VORN3D::Point3* const* ppPoint, int numPoints, ZPoint* pOut)
{
	// Every finite double is an integer mantissa (53 bits) times 2^exponent.
	long minExponent(0);
	bool bAny(false);
	for(int i = 0; i < numPoints; ++i)
	{
		for(double v : {ppPoint[i]->x(), ppPoint[i]->y(), ppPoint[i]->z()})
		{
			if(v == 0.0) continue;
			int exponent;
			std::frexp(v, &exponent);
			const long lowBitExponent(static_cast<long>(exponent) - 53);
			if(!bAny || lowBitExponent < minExponent) minExponent = lowBitExponent;
			bAny = true;
		}
	}
	auto convert = [minExponent](double v) {
		if(v == 0.0) return mpz_class(0);
		int exponent;
		const double mantissa(std::frexp(v, &exponent));
		mpz_class result(static_cast<long>(std::ldexp(mantissa, 53)));
		mpz_mul_2exp(result.get_mpz_t(), result.get_mpz_t(), static_cast<unsigned long>(exponent - 53 - minExponent));
		return result;
	};
	for(int i = 0; i < numPoints; ++i)
		pOut[i] = ZPoint(convert(ppPoint[i]->x()), convert(ppPoint[i]->y()), convert(ppPoint[i]->z()));
}

ZPoint operator-(const ZPoint& p, const ZPoint& q)
{
	return ZPoint(p.x - q.x, p.y - q.y, p.z - q.z);
}

mpz_class dot(const ZPoint& p, const ZPoint& q)
{
	return p.x * q.x + p.y * q.y + p.z * q.z;
}

ZPoint cross(const ZPoint& p, const ZPoint& q)
{
	return ZPoint(p.y * q.z - p.z * q.y, p.z * q.x - p.x * q.z, p.x * q.y - p.y * q.x);
}

// Determinant of a 3x3 matrix given by its rows.
mpz_class det3(const ZPoint& r0, const ZPoint& r1, const ZPoint& r2)
{
	return dot(r0, cross(r1, r2));
}

// The lifted determinant det[p - e, |p - e|^2] over the rows p = z[0..3],
// e = z[4].
mpz_class liftedDeterminant(const ZPoint* z)
{
	const ZPoint rows[4] = {z[0] - z[4], z[1] - z[4], z[2] - z[4], z[3] - z[4]};
	mpz_class lift[4];
	for(int i = 0; i < 4; ++i) lift[i] = dot(rows[i], rows[i]);
	// Expansion along the lift column: sum over i of (-1)^(i+3) lift_i M_i,
	// M_i the 3x3 minor of the other three rows (kept in order).
	mpz_class det(0);
	for(int i = 0; i < 4; ++i)
	{
		const ZPoint* pRest[3];
		int numRest(0);
		for(int j = 0; j < 4; ++j)
			if(j != i) pRest[numRest++] = &rows[j];
		const mpz_class term(lift[i] * det3(*pRest[0], *pRest[1], *pRest[2]));
		if((i + 3) % 2 == 0) det += term;
		else det -= term;
	}
	return det;
}

} // namespace

int exactOrientation(const VORN3D::Point3& a, const VORN3D::Point3& b, const VORN3D::Point3& c, const VORN3D::Point3& d)
{
	const VORN3D::Point3* aInput[4] = {&a, &b, &c, &d};
	ZPoint z[4];
	toIntegers(aInput, 4, z);
	return sgn(det3(z[1] - z[0], z[2] - z[0], z[3] - z[0]));
}

int exactInSphere(const VORN3D::Point3& a, const VORN3D::Point3& b, const VORN3D::Point3& c, const VORN3D::Point3& d, const VORN3D::Point3& e)
{
	const VORN3D::Point3* aInput[5] = {&a, &b, &c, &d, &e};
	ZPoint z[5];
	toIntegers(aInput, 5, z);
	const int orientation(sgn(det3(z[1] - z[0], z[2] - z[0], z[3] - z[0])));
	if(orientation == 0) ADD_FAILURE() << "exactInSphere: the four corners are coplanar";
	// The sphere does not depend on the corners' order: the lifted sign,
	// turned for a negative cell.
	return -orientation * sgn(liftedDeterminant(z));
}

int exactLiftedSign(const VORN3D::Point3& a, const VORN3D::Point3& b, const VORN3D::Point3& c, const VORN3D::Point3& d, const VORN3D::Point3& e)
{
	const VORN3D::Point3* aInput[5] = {&a, &b, &c, &d, &e};
	ZPoint z[5];
	toIntegers(aInput, 5, z);
	// det > 0 means e is inside for corners in orient3d-positive order,
	// which is our negative order: flip it.
	return -sgn(liftedDeterminant(z));
}

} // namespace vtest
