// The convex hull of a point set without a tetrahedralisation: an incremental
// hull in the manner of quickhull (each face keeps the points above it, the
// highest of them is added next), with every visibility decision an exact
// orientation sign.
//
// Degenerate input. Visibility is strict: a face sees a point only when the
// point lies strictly above its plane, so coplanar faces are removed
// together and the horizon is a simple cycle. A point that comes to lie on
// the surface without being seen by any face (in the plane of a face) waits
// on that face; when the face goes, it is strictly inside the grown hull or
// in the plane of a new face, where it waits again. Once every point is
// placed, the waiting points are made corners: the triangles that hold each
// are split around it, and the surface stays the boundary of the same
// polytope. Waiting till then keeps the faces that later points remove from
// being split first. Equal points are merged before any of this.
#include "Dual3.h"
#include "FacetGeometry3.h"

#include <vorn3d/FlatWalk3.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace VORN3D {

namespace {

/// A triangle of the hull under construction, counter-clockwise seen from
/// outside. nb[j] is the triangle across the edge opposite v[j]. The points
/// strictly above it that it has claimed form a list through vNext, starting
/// at head; best is the one highest above it. The points waiting in its
/// plane form another list, from waiting.
struct Face
{
	int32_t v[3];
	int32_t nb[3];
	int32_t head;
	int32_t waiting;
	int32_t best;
	double bestHeight;
	/// (v1 - v0) x (v2 - v0) in floating point: it only ranks the heights.
	double normal[3];
	uint64_t mark;
	bool bAlive;
};

/// (q - p) x (r - p) in floating point, into n.
void roundedNormal(const double* p, const double* q, const double* r, double* n)
{
	const double u[3] = {q[0] - p[0], q[1] - p[1], q[2] - p[2]};
	const double w[3] = {r[0] - p[0], r[1] - p[1], r[2] - p[2]};
	n[0] = u[1] * w[2] - u[2] * w[1];
	n[1] = u[2] * w[0] - u[0] * w[2];
	n[2] = u[0] * w[1] - u[1] * w[0];
}

/// Exact sign of the orientation of a, b, c projected onto the plane of the
/// axes i and j: positive when they turn counter-clockwise there.
int projectedOrientation(const double* a, const double* b, const double* c, int i, int j)
{
	const double pa[3] = {a[i], a[j], 0.0}, pb[3] = {b[i], b[j], 0.0}, pc[3] = {c[i], c[j], 0.0};
	const double up[3] = {0.0, 0.0, 1.0};
	return exactOrientation(pa, pb, pc, up);
}

/// True when d lies inside the circle through a, b, c in the projection
/// onto the axes i and j, by a margin far beyond the rounding of the
/// determinant; turn is the sign of a, b, c's orientation there.
bool clearlyInCircle(const double* a, const double* b, const double* c, const double* d, int i, int j, int turn)
{
	const double adx(a[i] - d[i]), ady(a[j] - d[j]);
	const double bdx(b[i] - d[i]), bdy(b[j] - d[j]);
	const double cdx(c[i] - d[i]), cdy(c[j] - d[j]);
	const double aLift(adx * adx + ady * ady), bLift(bdx * bdx + bdy * bdy), cLift(cdx * cdx + cdy * cdy);
	const double det(aLift * (bdx * cdy - bdy * cdx) + bLift * (cdx * ady - cdy * adx) + cLift * (adx * bdy - ady * bdx));
	const double permanent(aLift * (std::fabs(bdx * cdy) + std::fabs(bdy * cdx)) +
		bLift * (std::fabs(cdx * ady) + std::fabs(cdy * adx)) + cLift * (std::fabs(adx * bdy) + std::fabs(ady * bdx)));
	return turn * det > 1e-12 * permanent;
}

class PointHull
{
public:
	/// xyz: the points, 3 doubles each, all different.
	explicit PointHull(std::vector<double>&& xyz):
		vXyz(std::move(xyz)), numPoints(static_cast<int32_t>(vXyz.size() / 3)),
		vNext(static_cast<size_t>(numPoints), -1), vConeByStart(static_cast<size_t>(numPoints), -1)
	{
	}

	/// Builds the hull; false when the points do not span a solid.
	bool build();

	/// The triangles that remain, and the inner point the volume is measured from.
	std::vector<Face> vFaces;
	double aInner[3] = {0.0, 0.0, 0.0};

	const double* point(int32_t i) const { return vXyz.data() + 3 * static_cast<size_t>(i); }

private:
	int orientation(int32_t f, int32_t q) const
	{
		const Face& face(vFaces[static_cast<size_t>(f)]);
		return exactOrientation(point(face.v[0]), point(face.v[1]), point(face.v[2]), point(q));
	}
	double height(const Face& face, int32_t q) const
	{
		const double* a(point(face.v[0]));
		const double* p(point(q));
		return face.normal[0] * (p[0] - a[0]) + face.normal[1] * (p[1] - a[1]) + face.normal[2] * (p[2] - a[2]);
	}
	int32_t newFace(int32_t a, int32_t b, int32_t c);
	/// Sets the corners of face f and its normal.
	void setCorners(int32_t f, int32_t a, int32_t b, int32_t c);
	void claim(int32_t f, int32_t q);
	bool startSimplex();
	/// Hands q to the first of vNewFaces that sees it; a point none sees but
	/// one has in its plane waits on that one.
	void assign(int32_t q);
	void wait(int32_t f, int32_t q);
	/// Replaces the faces in vRemoved (marked with removedMark) by the
	/// triangles from apex to the edges of their border (into vNewFaces), and
	/// passes their points on. With bInPlane, apex lies on the removed
	/// faces, so each one's parts lie in its plane and one of them takes
	/// over all its points untested.
	void coneOver(int32_t apex, uint64_t removedMark, bool bInPlane);
	void addApex(int32_t f);
	void insertOnSurface(int32_t q, int32_t hint);
	/// Axes i, j of a projection that keeps face f a triangle, and the sign
	/// of its orientation there (0 only for a face without area).
	int projection(int32_t f, int& i, int& j) const;
	/// Flips the edges opposite q of vNewFaces, and those they lead to,
	/// towards the planes' Delaunay triangulations.
	void flipAround(int32_t q);
	/// Makes every waiting point a corner.
	void settleSurfacePoints();

	std::vector<double> vXyz;
	int32_t numPoints;
	std::vector<int32_t> vNext, vConeByStart;
	std::vector<int32_t> vFree, vDead, vWork, vRemoved, vNewFaces, vStack, vLastParts;
	struct SurfacePoint
	{
		int32_t face;
		uint64_t key;
		int32_t point;
	};
	std::vector<SurfacePoint> vSorted;
	uint64_t lastMark = 0;
	uint32_t randomState = 0x2545f491u;
};

int32_t PointHull::newFace(int32_t a, int32_t b, int32_t c)
{
	int32_t f;
	if(!vFree.empty())
	{
		f = vFree.back();
		vFree.pop_back();
	}
	else
	{
		f = static_cast<int32_t>(vFaces.size());
		vFaces.emplace_back();
	}
	Face& face(vFaces[static_cast<size_t>(f)]);
	face.nb[0] = face.nb[1] = face.nb[2] = -1;
	face.head = face.best = face.waiting = -1;
	face.bestHeight = -std::numeric_limits<double>::infinity();
	face.mark = 0;
	face.bAlive = true;
	setCorners(f, a, b, c);
	return f;
}

void PointHull::setCorners(int32_t f, int32_t a, int32_t b, int32_t c)
{
	Face& face(vFaces[static_cast<size_t>(f)]);
	face.v[0] = a;
	face.v[1] = b;
	face.v[2] = c;
	roundedNormal(point(a), point(b), point(c), face.normal);
}

void PointHull::claim(int32_t f, int32_t q)
{
	Face& face(vFaces[static_cast<size_t>(f)]);
	if(face.head < 0) vWork.push_back(f);
	vNext[static_cast<size_t>(q)] = face.head;
	face.head = q;
	const double h(height(face, q));
	if(h > face.bestHeight || face.best < 0)
	{
		face.bestHeight = h;
		face.best = q;
	}
}

void PointHull::assign(int32_t q)
{
	int32_t inPlane(-1);
	for(int32_t f : vNewFaces)
	{
		const int s(orientation(f, q));
		if(s > 0)
		{
			claim(f, q);
			return;
		}
		if(s == 0 && inPlane < 0) inPlane = f;
	}
	// Seen by none of the new faces: inside the grown hull, and on its
	// surface when in the plane of one of them.
	if(inPlane >= 0) wait(inPlane, q);
}

void PointHull::wait(int32_t f, int32_t q)
{
	Face& face(vFaces[static_cast<size_t>(f)]);
	vNext[static_cast<size_t>(q)] = face.waiting;
	face.waiting = q;
}

bool PointHull::startSimplex()
{
	if(numPoints < 4) return false;
	const auto distance2 = [&](int32_t a, int32_t b) {
		const double* p(point(a));
		const double* q(point(b));
		return (p[0] - q[0]) * (p[0] - q[0]) + (p[1] - q[1]) * (p[1] - q[1]) + (p[2] - q[2]) * (p[2] - q[2]);
	};
	// Far apart points make a well-shaped first tetrahedron; the floating
	// point only chooses, the exact tests decide.
	int32_t a(0);
	for(int32_t i = 1; i < numPoints; ++i)
		if(point(i)[0] < point(a)[0]) a = i;
	int32_t b(a == 0 ? 1 : 0);
	for(int32_t i = 0; i < numPoints; ++i)
		if(distance2(a, i) > distance2(a, b)) b = i;
	const auto collinear = [&](int32_t i) {
		return projectedOrientation(point(a), point(b), point(i), 0, 1) == 0 &&
			projectedOrientation(point(a), point(b), point(i), 1, 2) == 0 &&
			projectedOrientation(point(a), point(b), point(i), 2, 0) == 0;
	};
	const auto cross2 = [&](int32_t i) {
		double n[3];
		roundedNormal(point(a), point(b), point(i), n);
		return n[0] * n[0] + n[1] * n[1] + n[2] * n[2];
	};
	int32_t c(-1);
	double best(-1.0);
	for(int32_t i = 0; i < numPoints; ++i)
	{
		const double value(cross2(i));
		if(value > best)
		{
			best = value;
			c = i;
		}
	}
	if(collinear(c))
	{
		c = -1;
		for(int32_t i = 0; i < numPoints && c < 0; ++i)
			if(!collinear(i)) c = i;
		if(c < 0) return false;
	}
	int32_t d(-1);
	best = -1.0;
	{
		const double* p(point(a));
		double n[3];
		roundedNormal(p, point(b), point(c), n);
		for(int32_t i = 0; i < numPoints; ++i)
		{
			const double* s(point(i));
			const double value(std::fabs(n[0] * (s[0] - p[0]) + n[1] * (s[1] - p[1]) + n[2] * (s[2] - p[2])));
			if(value > best)
			{
				best = value;
				d = i;
			}
		}
	}
	if(exactOrientation(point(a), point(b), point(c), point(d)) == 0)
	{
		d = -1;
		for(int32_t i = 0; i < numPoints && d < 0; ++i)
			if(exactOrientation(point(a), point(b), point(c), point(i)) != 0) d = i;
		if(d < 0) return false;
	}
	// Faces outward when d lies below a, b, c.
	if(exactOrientation(point(a), point(b), point(c), point(d)) > 0) std::swap(b, c);
	for(int k = 0; k < 3; ++k) aInner[k] = 0.25 * (point(a)[k] + point(b)[k] + point(c)[k] + point(d)[k]);
	const int32_t aFace[4][3] = {{a, b, c}, {a, d, b}, {b, d, c}, {c, d, a}};
	for(const auto& corners : aFace) vNewFaces.push_back(newFace(corners[0], corners[1], corners[2]));
	// Neighbours: the face that has the same edge the other way round.
	for(int32_t f : vNewFaces)
		for(int32_t g : vNewFaces)
			for(int j = 0; j < 3; ++j)
				for(int k = 0; k < 3; ++k)
				{
					const Face& F(vFaces[static_cast<size_t>(f)]);
					const Face& G(vFaces[static_cast<size_t>(g)]);
					if(F.v[(j + 1) % 3] == G.v[(k + 2) % 3] && F.v[(j + 2) % 3] == G.v[(k + 1) % 3])
						vFaces[static_cast<size_t>(f)].nb[j] = g;
				}
	for(int32_t i = 0; i < numPoints; ++i)
		if(i != a && i != b && i != c && i != d) assign(i);
	return true;
}

void PointHull::coneOver(int32_t apex, uint64_t removedMark, bool bInPlane)
{
	vNewFaces.clear();
	for(int32_t f : vRemoved)
	{
		for(int j = 0; j < 3; ++j)
		{
			const int32_t g(vFaces[static_cast<size_t>(f)].nb[j]);
			if(vFaces[static_cast<size_t>(g)].mark == removedMark) continue;
			const int32_t x(vFaces[static_cast<size_t>(f)].v[(j + 1) % 3]);
			const int32_t y(vFaces[static_cast<size_t>(f)].v[(j + 2) % 3]);
			const int32_t n(newFace(apex, x, y));
			vFaces[static_cast<size_t>(n)].nb[0] = g;
			int32_t* pBack(vFaces[static_cast<size_t>(g)].nb);
			for(int k = 0; k < 3; ++k)
				if(pBack[k] == f) pBack[k] = n;
			vConeByStart[static_cast<size_t>(x)] = n;
			vNewFaces.push_back(n);
			// A removed face points to one made from its own border: for a
			// split face, a part of it.
			vFaces[static_cast<size_t>(f)].nb[0] = n;
		}
	}
	// Around the apex: the face on the border edge x -> y meets the one on
	// y -> z along apex - y.
	for(int32_t n : vNewFaces)
	{
		const int32_t m(vConeByStart[static_cast<size_t>(vFaces[static_cast<size_t>(n)].v[2])]);
		vFaces[static_cast<size_t>(n)].nb[1] = m;
		vFaces[static_cast<size_t>(m)].nb[2] = n;
	}
	// The removed faces' points go to the new ones (a point that none of
	// them sees is inside the grown hull, and so is a waiting point in
	// none of their planes); the removed faces are free after.
	for(int32_t f : vRemoved)
	{
		Face& face(vFaces[static_cast<size_t>(f)]);
		int32_t q(face.head), w(face.waiting);
		face.head = face.waiting = -1;
		face.bAlive = false;
		if(bInPlane)
		{
			Face& part(vFaces[static_cast<size_t>(face.nb[0])]);
			part.waiting = w;
			if(q < 0) continue;
			part.head = q;
			part.best = face.best;
			part.bestHeight = height(part, face.best);
			vWork.push_back(face.nb[0]);
			continue;
		}
		while(q >= 0)
		{
			const int32_t next(vNext[static_cast<size_t>(q)]);
			if(q != apex) assign(q);
			q = next;
		}
		while(w >= 0)
		{
			const int32_t next(vNext[static_cast<size_t>(w)]);
			assign(w);
			w = next;
		}
	}
	vDead.insert(vDead.end(), vRemoved.begin(), vRemoved.end());
}

void PointHull::addApex(int32_t f)
{
	const int32_t apex(vFaces[static_cast<size_t>(f)].best);
	// The faces that see the apex: a connected patch around f.
	const uint64_t visible(++lastMark), hidden(++lastMark);
	vRemoved.assign(1, f);
	vFaces[static_cast<size_t>(f)].mark = visible;
	vStack.assign(1, f);
	while(!vStack.empty())
	{
		const int32_t g(vStack.back());
		vStack.pop_back();
		for(int j = 0; j < 3; ++j)
		{
			const int32_t h(vFaces[static_cast<size_t>(g)].nb[j]);
			Face& across(vFaces[static_cast<size_t>(h)]);
			if(across.mark == visible || across.mark == hidden) continue;
			if(orientation(h, apex) > 0)
			{
				across.mark = visible;
				vRemoved.push_back(h);
				vStack.push_back(h);
			}
			else
				across.mark = hidden;
		}
	}
	coneOver(apex, visible, false);
	vFree.insert(vFree.end(), vDead.begin(), vDead.end());
	vDead.clear();
}

void PointHull::settleSurfacePoints()
{
	// Points of one face lie in one plane; along a Morton curve each is
	// near the one before, where its walk starts.
	double lo[3], hi[3];
	for(int k = 0; k < 3; ++k) lo[k] = hi[k] = point(0)[k];
	for(int32_t i = 1; i < numPoints; ++i)
		for(int k = 0; k < 3; ++k)
		{
			lo[k] = std::min(lo[k], point(i)[k]);
			hi[k] = std::max(hi[k], point(i)[k]);
		}
	const auto mortonKey = [&](const double* p) {
		uint64_t key(0);
		for(int k = 0; k < 3; ++k)
		{
			// 21 bits per axis, interleaved; a range too wide to scale
			// (inf or nan) puts everything in cell 0.
			const double scaled((p[k] - lo[k]) / (hi[k] - lo[k]) * 2097151.0);
			const uint64_t cell(scaled >= 2097151.0 ? 2097151u : scaled > 0.0 ? static_cast<uint64_t>(scaled) : 0u);
			for(int bit = 0; bit < 21; ++bit) key |= ((cell >> bit) & 1u) << (3 * bit + k);
		}
		return key;
	};
	vSorted.clear();
	for(size_t f = 0; f < vFaces.size(); ++f)
	{
		Face& face(vFaces[f]);
		if(!face.bAlive) continue;
		for(int32_t q = face.waiting; q >= 0; q = vNext[static_cast<size_t>(q)])
			vSorted.push_back(SurfacePoint{static_cast<int32_t>(f), mortonKey(point(q)), q});
		face.waiting = -1;
	}
	std::sort(vSorted.begin(), vSorted.end(), [](const SurfacePoint& a, const SurfacePoint& b) {
		return a.face != b.face ? a.face < b.face : a.key < b.key;
	});
	vLastParts.clear();
	for(const SurfacePoint& entry : vSorted) insertOnSurface(entry.point, entry.face);
	// Removed faces are reused only now, so that a removed hint still leads
	// to its parts.
	vFree.insert(vFree.end(), vDead.begin(), vDead.end());
	vDead.clear();
}

void PointHull::insertOnSurface(int32_t q, int32_t hint)
{
	// Start from a triangle in q's plane: one made around the point before
	// if it is, else the face q waited on, or the part of it that a split
	// since left in its place (removed faces are reused only afterwards).
	int32_t t(hint);
	if(!vLastParts.empty() && vFaces[static_cast<size_t>(vLastParts[0])].bAlive && orientation(vLastParts[0], q) == 0)
		t = vLastParts[0];
	while(!vFaces[static_cast<size_t>(t)].bAlive) t = vFaces[static_cast<size_t>(t)].nb[0];
	if(orientation(t, q) != 0) return;
	// Walk in the plane, projected along an axis the plane is not parallel
	// to, across an edge that q lies beyond (chosen at random among them,
	// so that the walk cannot cycle). The triangles of the plane tile a
	// convex polygon that holds q, so the walk stays in it.
	int i, j;
	const int turn(projection(t, i, j));
	int aSide[3];
	for(int32_t steps = 0;; ++steps)
	{
		if(steps > static_cast<int32_t>(vFaces.size())) return;
		const Face& face(vFaces[static_cast<size_t>(t)]);
		int numBeyond(0), numOn(0);
		for(int k = 0; k < 3; ++k)
		{
			aSide[k] = turn * projectedOrientation(point(face.v[(k + 1) % 3]), point(face.v[(k + 2) % 3]), point(q), i, j);
			numBeyond += aSide[k] < 0;
			numOn += aSide[k] == 0;
		}
		if(numBeyond == 0)
		{
			// Two zero sides would put q on a corner: merged before, so never.
			if(numOn > 1) return;
			break;
		}
		randomState = randomState * 1664525u + 1013904223u;
		int k(static_cast<int>((randomState >> 16) % 3));
		while(aSide[k] >= 0) k = (k + 1) % 3;
		t = face.nb[k];
	}
	// q inside t, or inside its edge opposite corner k together with the
	// triangle across that edge: a fan around q replaces them.
	const uint64_t removed(++lastMark);
	vRemoved.assign(1, t);
	vFaces[static_cast<size_t>(t)].mark = removed;
	for(int k = 0; k < 3; ++k)
		if(aSide[k] == 0)
		{
			const int32_t u(vFaces[static_cast<size_t>(t)].nb[k]);
			vFaces[static_cast<size_t>(u)].mark = removed;
			vRemoved.push_back(u);
		}
	coneOver(q, removed, true);
	vLastParts = vNewFaces;
	flipAround(q);
}

int PointHull::projection(int32_t f, int& i, int& j) const
{
	// Along the normal's largest component the projection distorts least;
	// the exact sign decides, and another axis serves if rounding misled.
	const Face& face(vFaces[static_cast<size_t>(f)]);
	const double* n(face.normal);
	const int largest(std::fabs(n[0]) >= std::fabs(n[1]) ? (std::fabs(n[0]) >= std::fabs(n[2]) ? 0 : 2)
													   : (std::fabs(n[1]) >= std::fabs(n[2]) ? 1 : 2));
	for(int step = 0; step < 3; ++step)
	{
		const int axis((largest + step) % 3);
		i = (axis + 1) % 3;
		j = (axis + 2) % 3;
		const int turn(projectedOrientation(point(face.v[0]), point(face.v[1]), point(face.v[2]), i, j));
		if(turn != 0) return turn;
	}
	return 0;
}

void PointHull::flipAround(int32_t q)
{
	// Lawson's flips, restricted to pairs of triangles in one plane: each
	// new triangle (q, x, y) and the one across x - y, (y, x, r), become
	// (q, x, r) and (q, r, y) when r lies clearly inside the circle through
	// q, x, y (in the projection along the normal's largest component).
	// Only signs that rounding cannot have changed flip, so every flip
	// brings the triangulation of the plane closer to Delaunay's and the
	// flips end; cocircular ties stay as they are. The surface is the
	// same; its triangles are merely better shaped for later walks.
	vStack = vNewFaces;
	while(!vStack.empty())
	{
		const int32_t t1(vStack.back());
		vStack.pop_back();
		const Face& first(vFaces[static_cast<size_t>(t1)]);
		const int32_t x(first.v[1]), y(first.v[2]), t2(first.nb[0]), a(first.nb[1]), b(first.nb[2]);
		const Face& second(vFaces[static_cast<size_t>(t2)]);
		int k(0);
		while(second.v[k] == x || second.v[k] == y) ++k;
		const int32_t r(second.v[k]), c(second.nb[(k + 1) % 3]), d(second.nb[(k + 2) % 3]);
		if(orientation(t1, r) != 0) continue;
		int i, j;
		const int turn(projection(t1, i, j));
		// r beyond x - y and inside the circle: q r crosses x - y inside the
		// disc, so q, x, r, y bound a convex quadrilateral and both new
		// triangles turn the right way.
		if(turn == 0 || !clearlyInCircle(point(q), point(x), point(y), point(r), i, j, turn)) continue;
		setCorners(t1, q, x, r);
		setCorners(t2, q, r, y);
		Face& f1(vFaces[static_cast<size_t>(t1)]);
		Face& f2(vFaces[static_cast<size_t>(t2)]);
		f1.nb[0] = c;
		f1.nb[1] = t2;
		f1.nb[2] = b;
		f2.nb[0] = d;
		f2.nb[1] = a;
		f2.nb[2] = t1;
		for(int m = 0; m < 3; ++m)
		{
			if(vFaces[static_cast<size_t>(c)].nb[m] == t2) vFaces[static_cast<size_t>(c)].nb[m] = t1;
			if(vFaces[static_cast<size_t>(a)].nb[m] == t1) vFaces[static_cast<size_t>(a)].nb[m] = t2;
		}
		vStack.push_back(t1);
		vStack.push_back(t2);
	}
}

bool PointHull::build()
{
	if(!startSimplex()) return false;
	while(!vWork.empty())
	{
		const int32_t f(vWork.back());
		vWork.pop_back();
		const Face& face(vFaces[static_cast<size_t>(f)]);
		if(face.bAlive && face.head >= 0) addApex(f);
	}
	settleSurfacePoints();
	return true;
}

} // namespace

bool ConvexHull3::fromPoints(const double* pXyz, int64_t numPoints)
{
	vFacets.clear();
	vNeighbors.clear();
	vEquations.clear();
	vDuplicates.clear();
	volume = area = 0.0;
	// The orientation signs are exact while no product of coordinate
	// differences leaves the range of doubles; beyond 2^+-200 the hull
	// comes from a tetrahedralisation, whose predicates cover every range.
	bool bNarrow(true);
	for(int64_t i = 0; i < 3 * numPoints; ++i)
	{
		const double magnitude(std::fabs(pXyz[i]));
		if(!std::isfinite(magnitude)) return false;
		bNarrow = bNarrow && (magnitude == 0.0 || (magnitude >= 0x1p-200 && magnitude <= 0x1p+200));
	}
	if(!bNarrow) return throughMesh(pXyz, numPoints);
	// Only points that may be corners take part; equal ones once.
	std::vector<int32_t> vKept(hullCandidates(pXyz, numPoints));
	const auto at = [&](int32_t i) { return pXyz + 3 * static_cast<size_t>(i); };
	std::vector<int32_t> vOrder(vKept);
	std::sort(vOrder.begin(), vOrder.end(), [&](int32_t a, int32_t b) {
		const double* p(at(a));
		const double* q(at(b));
		if(p[0] != q[0]) return p[0] < q[0];
		if(p[1] != q[1]) return p[1] < q[1];
		if(p[2] != q[2]) return p[2] < q[2];
		return a < b;
	});
	std::vector<int32_t> vIds;
	std::vector<double> vXyz;
	vIds.reserve(vOrder.size());
	vXyz.reserve(3 * vOrder.size());
	for(size_t k = 0; k < vOrder.size(); ++k)
	{
		const double* p(at(vOrder[k]));
		if(k > 0)
		{
			const double* first(at(vIds.back()));
			if(p[0] == first[0] && p[1] == first[1] && p[2] == first[2])
			{
				vDuplicates.insert(vDuplicates.end(), {vOrder[k], vIds.back()});
				continue;
			}
		}
		vIds.push_back(vOrder[k]);
		vXyz.insert(vXyz.end(), p, p + 3);
	}
	PointHull hull(std::move(vXyz));
	if(!hull.build()) return false;

	// Number the triangles that remain and write them with input positions.
	std::vector<int32_t> vNumber(hull.vFaces.size(), -1);
	int32_t numFacets(0);
	for(size_t f = 0; f < hull.vFaces.size(); ++f)
		if(hull.vFaces[f].bAlive) vNumber[f] = numFacets++;
	vFacets.resize(3 * static_cast<size_t>(numFacets));
	vNeighbors.resize(3 * static_cast<size_t>(numFacets));
	vEquations.resize(4 * static_cast<size_t>(numFacets));
	for(size_t f = 0; f < hull.vFaces.size(); ++f)
	{
		const Face& face(hull.vFaces[f]);
		if(!face.bAlive) continue;
		const size_t n(static_cast<size_t>(vNumber[f]));
		for(int j = 0; j < 3; ++j)
		{
			vFacets[3 * n + static_cast<size_t>(j)] = vIds[static_cast<size_t>(face.v[j])];
			vNeighbors[3 * n + static_cast<size_t>(j)] = vNumber[static_cast<size_t>(face.nb[j])];
		}
		addFacetGeometry(*this, n, hull.point(face.v[0]), hull.point(face.v[1]), hull.point(face.v[2]), hull.aInner);
	}
	return true;
}

} // namespace VORN3D
