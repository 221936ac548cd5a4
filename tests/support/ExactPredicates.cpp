#include "ExactPredicates.h"

#include <gmpxx.h>
#include <gtest/gtest.h>

namespace vtest {

namespace {

// A point with exact rational coordinates; mpq_class converts a double without rounding.
struct QPoint
{
	explicit QPoint(const VORN3D::Point3& p): x(p.x()), y(p.y()), z(p.z()) {}
	QPoint(const mpq_class& qx, const mpq_class& qy, const mpq_class& qz): x(qx), y(qy), z(qz) {}
	mpq_class x, y, z;
};

QPoint operator-(const QPoint& p, const QPoint& q)
{
	return QPoint(p.x - q.x, p.y - q.y, p.z - q.z);
}

QPoint scaled(const QPoint& p, const mpq_class& s)
{
	return QPoint(p.x * s, p.y * s, p.z * s);
}

QPoint operator+(const QPoint& p, const QPoint& q)
{
	return QPoint(p.x + q.x, p.y + q.y, p.z + q.z);
}

mpq_class dot(const QPoint& p, const QPoint& q)
{
	return p.x * q.x + p.y * q.y + p.z * q.z;
}

QPoint cross(const QPoint& p, const QPoint& q)
{
	return QPoint(p.y * q.z - p.z * q.y, p.z * q.x - p.x * q.z, p.x * q.y - p.y * q.x);
}

int signOf(const mpq_class& value)
{
	const int s(sgn(value));
	return s > 0 ? 1 : (s < 0 ? -1 : 0);
}

// Determinant of a 3x3 matrix given by its rows.
mpq_class det3(const QPoint& r0, const QPoint& r1, const QPoint& r2)
{
	return dot(r0, cross(r1, r2));
}

} // namespace

int exactOrientation(const VORN3D::Point3& a, const VORN3D::Point3& b, const VORN3D::Point3& c, const VORN3D::Point3& d)
{
	const QPoint qa(a);
	return signOf(det3(QPoint(b) - qa, QPoint(c) - qa, QPoint(d) - qa));
}

int exactInSphere(const VORN3D::Point3& a, const VORN3D::Point3& b, const VORN3D::Point3& c, const VORN3D::Point3& d, const VORN3D::Point3& e)
{
	// With u, v, w the edges from a, the circumcentre is a + n / den where
	// den = 2 u.(v x w) and n = |u|^2 (v x w) + |v|^2 (w x u) + |w|^2 (u x v).
	// Scaling by den keeps everything polynomial: e is inside exactly when
	// |den (e - a) - n|^2 < |n|^2.
	const QPoint qa(a);
	const QPoint u(QPoint(b) - qa), v(QPoint(c) - qa), w(QPoint(d) - qa);
	const mpq_class den(2 * det3(u, v, w));
	if(den == 0)
	{
		ADD_FAILURE() << "exactInSphere: the four corners are coplanar";
		return 0;
	}
	const QPoint n(scaled(cross(v, w), dot(u, u)) + scaled(cross(w, u), dot(v, v)) + scaled(cross(u, v), dot(w, w)));
	const QPoint toQuery(scaled(QPoint(e) - qa, den) - n);
	return signOf(dot(n, n) - dot(toQuery, toQuery));
}

int exactLiftedSign(const VORN3D::Point3& a, const VORN3D::Point3& b, const VORN3D::Point3& c, const VORN3D::Point3& d, const VORN3D::Point3& e)
{
	const QPoint qe(e);
	const QPoint rows[4] = {QPoint(a) - qe, QPoint(b) - qe, QPoint(c) - qe, QPoint(d) - qe};
	mpq_class lift[4];
	for(int i = 0; i < 4; ++i) lift[i] = dot(rows[i], rows[i]);
	// Expansion along the lift column: sum over i of (-1)^(i+3) lift_i M_i,
	// M_i the 3x3 minor of the other three rows (kept in order).
	mpq_class det(0);
	for(int i = 0; i < 4; ++i)
	{
		const QPoint* pRest[3];
		int numRest(0);
		for(int j = 0; j < 4; ++j)
		{
			if(j != i) pRest[numRest++] = &rows[j];
		}
		const mpq_class term(lift[i] * det3(*pRest[0], *pRest[1], *pRest[2]));
		if((i + 3) % 2 == 0) det += term;
		else det -= term;
	}
	// det > 0 means e is inside for corners in orient3d-positive order,
	// which is our negative order: flip it.
	return -signOf(det);
}

} // namespace vtest
