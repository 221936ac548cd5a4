// Symbolic perturbation of the sphere test (Devillers and Teillaud,
// "Perturbations for Delaunay and weighted Delaunay 3D triangulations",
// Computational Geometry 44, 2011).
//
// Five points exactly on one sphere make the sphere determinant zero. The
// perturbation decides such a tie as if the lifted coordinate l(p) = |p|^2
// of every point were raised by an infinitesimal d(p) > 0, the raise of a
// point dominating the raises of all points before it in the lexicographic
// (x, y, z) order. The answer is a function of the five coordinate triples
// alone, so every insertion order, and every process, decides alike.
//
// Why at most two orientation tests decide it. Lift every point p to
// (p, l(p)). q lies inside the sphere through the corners c_k exactly when its
// lift lies below the hyperplane through theirs, that is, when
//     H = sum_k b_k l(c_k) - l(q) > 0,
// b_k the barycentric coordinates of q in the cell (they sum to one and
// reproduce q, so H is the same for every sphere through the corners:
// H = 0 on it). Raising the lifts adds sum_k b_k d(c_k) - d(q) to H, whose
// sign is that of the dominant term with a nonzero factor: walk the five
// points from the lexicographically largest down; q itself gives -d(q), so
// q is outside; a corner c_k gives the sign of b_k, which is the orientation
// of the cell with c_k replaced by q (positive: b_k > 0, q inside), unless q
// lies in the plane of the facet opposite c_k (b_k = 0): then the next point
// decides. A point on the sphere lies in the planes of at most one facet
// (two such planes meet in a line through two corners, which cuts the
// sphere only at those corners), so no more than two orientations are
// needed.
//
// The same rule settles points in the plane of a hull facet. There the
// question is whether q lies inside the circumcircle of the facet, which is
// the intersection of the plane with the circumsphere of the cell behind the
// facet: with q in that plane b_k of the far corner is zero, and what is left
// is exactly the perturbed in-circle test of the facet in its plane. So the
// cell's perturbed sphere test answers for the hull facet too, and a hull
// facet and its cell never disagree.
#include "TrelTest3.h"

namespace VORN3D {

namespace {

// Lexicographic order on (x, y, z).
inline bool lexLess(const Point3& a, const Point3& b)
{
	if(a.x() != b.x()) return a.x() < b.x();
	if(a.y() != b.y()) return a.y() < b.y();
	return a.z() < b.z();
}

// For |v| < 2^51, v + 1.5 * 2^52 lies in [2^52, 2^53), where the doubles
// are the integers: adding and taking away rounds v to an integer. Larger
// values are not taken (they only go the general way).
inline bool isInteger(double v)
{
	const double shift(0x1.8p52);
	return std::fabs(v) < 0x1p51 && (v + shift) - shift == v;
}

// Integer coordinates whose differences to q are at most 512: every
// intermediate of the double evaluation of the sphere determinant is then an
// integer below 2^53 (72 * 512^5 < 2^53), so that evaluation is exact.
bool smallIntegerSphere(const Point3& a, const Point3& b, const Point3& c, const Point3& d, const Point3& q)
{
	if(!isInteger(q.x()) || !isInteger(q.y()) || !isInteger(q.z())) return false;
	for(const Point3* p : {&a, &b, &c, &d})
	{
		if(!isInteger(p->x()) || !isInteger(p->y()) || !isInteger(p->z())) return false;
		if(!(std::fabs(p->x() - q.x()) <= 512.0 && std::fabs(p->y() - q.y()) <= 512.0 &&
			   std::fabs(p->z() - q.z()) <= 512.0))
			return false;
	}
	return true;
}

} // namespace

int TrelTest3::insphereSignInRange(
	const Point3& a, const Point3& b, const Point3& c, const Point3& d, const Point3& q) const
{
	InsphereTerms<double> t;
	insphereTerms(a, b, c, d, q, t);
	// Lattices, the commonest source of ties, have small integer
	// coordinates: then the double evaluation is exact, zero included.
	if(smallIntegerSphere(a, b, c, d, q)) return t.det > 0.0 ? 1 : (t.det < 0.0 ? -1 : 0);
	const double permanent(inspherePermanent(t));
	const double errbound(isperrboundA * permanent);
	if(t.det > errbound) return 1;
	if(-t.det > errbound) return -1;
	// In the range no nonzero product underflows and a difference rounds to
	// zero only when it is zero, so a zero permanent means that every term of
	// the determinant has a zero factor.
	if(permanent == 0.0) return 0;
	const int extended(insphereExtended(a, b, c, d, q));
	if(extended >= 0) return extended == 0 ? -1 : 1;
	const int adaptive(insphereAdapt(a, b, c, d, q, permanent, nullptr));
	return adaptive == 1 ? 1 : (adaptive == 0 ? -1 : 0);
}

int TrelTest3::insphereSign(
	const Point3* pa, const Point3* pb, const Point3* pc, const Point3* pd, const Point3* q) const
{
	if(allInExponentRange<sphereRangeLo, sphereRangeHi>(*pa, *pb, *pc, *pd, *q))
		return insphereSignInRange(*pa, *pb, *pc, *pd, *q);
	return insphereSignWide(pa, pb, pc, pd, q);
}

SphereInclusion TrelTest3::sphereInclusionPerturbed(
	const Point3* pa, const Point3* pb, const Point3* pc, const Point3* pd, const Point3* q) const
{
	const int sign(insphereSign(pa, pb, pc, pd, q));
	if(sign > 0) return SIC_OUTSIDE;
	if(sign < 0) return SIC_INSIDE;
	return perturbedTie(pa, pb, pc, pd, q);
}

SphereInclusion TrelTest3::perturbedTie(
	const Point3* pa, const Point3* pb, const Point3* pc, const Point3* pd, const Point3* q) const
{
	return perturbedTie(pa, pb, pc, pd, q, false);
}

SphereInclusion TrelTest3::perturbedTie(const Point3* pa, const Point3* pb, const Point3* pc, const Point3* pd,
	const Point3* q, bool bSmallIntegers) const
{
	// The five points from the largest down, each found when it is needed:
	// most ties end with the largest, nearly all others with the second.
	const Point3* apPoint[5] = {pa, pb, pc, pd, q};
	bool abDone[5] = {false, false, false, false, false};
	for(int rank = 0; rank < 5; ++rank)
	{
		int k(-1);
		for(int i = 0; i < 5; ++i)
		{
			if(!abDone[i] && (k < 0 || lexLess(*apPoint[k], *apPoint[i]))) k = i;
		}
		abDone[k] = true;
		// The query's own raise lifts it above the sphere.
		if(k == 4) return SIC_OUTSIDE;
		// The raise of corner k moves the sphere by the barycentric
		// coordinate of q for that corner: the sign of the cell with q in the
		// place of corner k.
		const Point3* apCell[4] = {pa, pb, pc, pd};
		apCell[k] = q;
		if(bSmallIntegers)
		{
			// Differences of at most 512: the double determinant is exact
			// (orient3d's sign: negative for a positive cell).
			OrientTerms t;
			orientTerms(*apCell[0], *apCell[1], *apCell[2], *apCell[3], t);
			if(t.det < 0.0) return SIC_INSIDE;
			if(t.det > 0.0) return SIC_OUTSIDE;
			continue;
		}
		const Orientation3 ori(orientation(*apCell[0], *apCell[1], *apCell[2], *apCell[3], nullptr));
		if(ori == ORIENTATION3_POSITIVE) return SIC_INSIDE;
		if(ori == ORIENTATION3_NEGATIVE) return SIC_OUTSIDE;
	}
	// Not reached: the query is one of the five.
	return SIC_OUTSIDE;
}

SphereInclusion TrelTest3::sphereInclusionPerturbedOutOfLine(const Tet3* tet, const Point3* q, double det) const
{
	const Point3* pa(tet->getCorner(0));
	const Point3* pb(tet->getCorner(1));
	const Point3* pc(tet->getCorner(2));
	const Point3* pd(tet->getCorner(3));
	// Lattices, where nearly all ties come from: the kernel's evaluation is
	// exact, and no stage needs to run again.
	if(smallIntegerSphere(*pa, *pb, *pc, *pd, *q))
	{
		if(det > 0.0) return SIC_OUTSIDE;
		if(det < 0.0) return SIC_INSIDE;
		return perturbedTie(pa, pb, pc, pd, q, true);
	}
	return sphereInclusionPerturbed(pa, pb, pc, pd, q);
}

} // namespace VORN3D
