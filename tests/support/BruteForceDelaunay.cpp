#include "BruteForceDelaunay.h"

#include <algorithm>
#include <cmath>

#include "ExactPredicates.h"

using VORN3D::Point3;

namespace vtest {

namespace {

// Orientation sign with a floating-point filter in front of the exact
// oracle: only answers far from zero are taken from doubles.
int orientation(const Point3& a, const Point3& b, const Point3& c, const Point3& d)
{
	const double bx(b.x() - a.x()), by(b.y() - a.y()), bz(b.z() - a.z());
	const double cx(c.x() - a.x()), cy(c.y() - a.y()), cz(c.z() - a.z());
	const double dx(d.x() - a.x()), dy(d.y() - a.y()), dz(d.z() - a.z());
	const double det(bx * (cy * dz - cz * dy) - by * (cx * dz - cz * dx) + bz * (cx * dy - cy * dx));
	const double permanent(std::fabs(bx) * (std::fabs(cy * dz) + std::fabs(cz * dy)) +
		std::fabs(by) * (std::fabs(cx * dz) + std::fabs(cz * dx)) +
		std::fabs(bz) * (std::fabs(cx * dy) + std::fabs(cy * dx)));
	if(det > 1e-12 * permanent) return 1;
	if(-det > 1e-12 * permanent) return -1;
	return exactOrientation(a, b, c, d);
}

// Position of e against the sphere through a, b, c, d (any orientation):
// +1 strictly inside, 0 on, -1 outside. Doubles decide clear cases only.
int inSphere(const Point3& a, const Point3& b, const Point3& c, const Point3& d, const Point3& e, int orient)
{
	const Point3* P[4] = {&a, &b, &c, &d};
	double m[4][4];
	for(int i = 0; i < 4; ++i)
	{
		m[i][0] = P[i]->x() - e.x();
		m[i][1] = P[i]->y() - e.y();
		m[i][2] = P[i]->z() - e.z();
		m[i][3] = m[i][0] * m[i][0] + m[i][1] * m[i][1] + m[i][2] * m[i][2];
	}
	double det(0.0), permanent(0.0);
	// Leibniz over the 24 permutations: simple to get right, and the sum of
	// magnitudes bounds the rounding error.
	int perm[4] = {0, 1, 2, 3};
	do
	{
		int inversions(0);
		for(int i = 0; i < 4; ++i)
			for(int j = i + 1; j < 4; ++j) inversions += perm[i] > perm[j];
		const double term(m[0][perm[0]] * m[1][perm[1]] * m[2][perm[2]] * m[3][perm[3]]);
		det += (inversions % 2 ? -term : term);
		permanent += std::fabs(term);
	} while(std::next_permutation(perm, perm + 4));
	// det < 0 means inside for a positively oriented a, b, c, d.
	const double signedDet(orient > 0 ? det : -det);
	if(signedDet < -1e-12 * permanent) return 1;
	if(signedDet > 1e-12 * permanent) return -1;
	if(orient > 0) return exactInSphere(a, b, c, d, e);
	return exactInSphere(b, a, c, d, e);
}

} // namespace

std::vector<std::array<int, 4>> bruteForceDelaunay(const std::vector<Point3>& vPoints)
{
	std::vector<std::array<int, 4>> vResult;
	const int n(static_cast<int>(vPoints.size()));
	for(int i = 0; i < n; ++i)
		for(int j = i + 1; j < n; ++j)
			for(int k = j + 1; k < n; ++k)
				for(int l = k + 1; l < n; ++l)
				{
					const int orient(orientation(vPoints[i], vPoints[j], vPoints[k], vPoints[l]));
					bool bEmpty(orient != 0);
					for(int q = 0; q < n && bEmpty; ++q)
						if(q != i && q != j && q != k && q != l)
							bEmpty = inSphere(vPoints[i], vPoints[j], vPoints[k], vPoints[l], vPoints[q], orient) <= 0;
					if(bEmpty) vResult.push_back({i, j, k, l});
				}
	return vResult;
}

} // namespace vtest
