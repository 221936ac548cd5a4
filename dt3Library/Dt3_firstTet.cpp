// Dt3: the start of the mesh.
//
// No cell exists until four stored points are not coplanar. Until then the
// vertices are only held in the store, and after every insertion the search
// below looks again, from scratch, for the first such quadruple.
#include <vector>

#include "Dt3.h"

namespace VORN3D {

// The first cell is made of the first quadruple i < j < k < l of the store's
// list, in lexicographic order, whose orientation is not coplanar. That
// quadruple is found without trying all n^4 of them:
//  - the stored vertices are pairwise distinct, so when the points are not
//    all coplanar, some quadruple starts with vertices 0 and 1 (a point off
//    the line v0v1 and a point off the plane through both exist); hence
//    i = 0, j = 1;
//  - k is the first index whose vertex is off the line v0v1 and for which a
//    later vertex lies off the plane (v0, v1, vk); l is that later vertex;
//  - if every vertex after such a k lies in that plane, any later k' off the
//    line spans the same plane with v0 and v1, so no quadruple exists and
//    the points are all coplanar.
// The answer is the same as that of the exhaustive search, in O(n) tests.
Tet3* Dt3::buildFirstTet()
{
	ASSERT_CONDITION(!bFullDimensional);
	std::vector<Point3*> vVertices;
	hc.getVertices(vVertices);
	const size_t n(vVertices.size());
	if(n < 4) return nullptr;
	Point3* pV0(vVertices[0]);
	Point3* pV1(vVertices[1]);
	for(size_t k = 2; k + 1 < n; ++k)
	{
		Point3* pVk(vVertices[k]);
		// Off the line v0v1? Collinear points are coplanar with any fourth.
		if(isCollinear(*pV0, *pV1, *pVk)) continue;
		for(size_t l = k + 1; l < n; ++l)
		{
			Orientation3 ori(predicates.getOrientation3(pV0, pV1, pVk, vVertices[l]));
			if(ori == ORIENTATION3_COPLANAR) continue;
			// Swapping the first two corners turns a negative quadruple
			// positive.
			Point3* pA(pV0);
			Point3* pB(pV1);
			if(ori == ORIENTATION3_NEGATIVE) std::swap(pA, pB);
			ori = predicates.getOrientation3(pA, pB, pVk, vVertices[l]);
			ASSERT_CONDITION(ori==ORIENTATION3_POSITIVE);
			Tet3* pFirstTet(createTet(pA, pB, pVk, vVertices[l]));
			bFullDimensional = true;
			return pFirstTet;
		}
		return nullptr;
	}
	return nullptr;
}

// Exact collinearity: a, b, c are collinear exactly when the cross product
// (b - a) x (c - a) vanishes, that is when their projections onto the three
// coordinate planes are all degenerate. Each projection's 2D orientation is
// the 3D orientation of the projected points against an apex straight above
// the first one, which the exact predicate decides.
bool Dt3::isCollinear(const Point3& a, const Point3& b, const Point3& c) const
{
	const Point3 aProj[3][3] = {{Point3(a.x(), a.y(), 0.0), Point3(b.x(), b.y(), 0.0), Point3(c.x(), c.y(), 0.0)},
		{Point3(a.y(), a.z(), 0.0), Point3(b.y(), b.z(), 0.0), Point3(c.y(), c.z(), 0.0)},
		{Point3(a.z(), a.x(), 0.0), Point3(b.z(), b.x(), 0.0), Point3(c.z(), c.x(), 0.0)}};
	for(const auto& proj : aProj)
	{
		const Point3 apex(proj[0].x(), proj[0].y(), 1.0);
		if(predicates.getOrientation3(proj[0], proj[1], proj[2], apex) != ORIENTATION3_COPLANAR) return false;
	}
	return true;
}

} // namespace VORN3D
