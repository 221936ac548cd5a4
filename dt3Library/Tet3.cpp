#include "Tet3.h"

#include <cstdlib>
#include <iostream>

#include "TrelTest3.h"
#include "tools.h"

namespace VORN3D {

thread_local int Tet3::runningLabel(1000);

const int Tet3::aFacetCorners[4][3] = {{1, 2, 3}, {0, 3, 2}, {0, 1, 3}, {0, 2, 1}};

// Each facet's edges run against the order of its corners.
const int Tet3::aFacetEdges[4][3][2] = {
	{{1, 3}, {3, 2}, {2, 1}},
	{{0, 2}, {2, 3}, {3, 0}},
	{{0, 3}, {3, 1}, {1, 0}},
	{{0, 1}, {1, 2}, {2, 0}}};

Tet3::Tet3():
	hasBeenVisited(false), ID(takeLabel()), aVertexPointer{nullptr, nullptr, nullptr, nullptr},
	aOppTet{nullptr, nullptr, nullptr, nullptr}, customIndex(-1)
{
	std::cout << "Tet default constructor (is actually not called)" << std::endl;
}

Tet3::Tet3(const Tet3&)
{
	std::cout << "CCTOR of Tet3" << std::endl;
}

void Tet3::setProperties(Point3* pI, Point3* pJ, Point3* pK, Point3* pL)
{
	initCell(takeLabel(), pI, pJ, pK, pL);
}

void Tet3::reportSelfNeighbor(int ith)
{
	std::cout << "this=" << static_cast<const void*>(this) << ", pC=" << static_cast<const void*>(this) << std::endl;
	std::cout << *this;
	printWarning("Tet3::setOppTet()", "trying to set *this as neighbor of *this, ith=" + std::to_string(ith));
	const Tet3* pC(this);
	assert(this!=pC);
	(void)pC;
}

void Tet3::notANeighbor(const Tet3* pT) const
{
	std::cout << "Tet3::getIntraTetIndex went wrong: ";
	if(pT != nullptr) std::cout << *pT;
	else std::cout << "NULL";
	std::cout << ", this is " << *this << std::endl;
	exit(1);
}

int Tet3::getIntraTetIndexInOppTetForReg(const Tet3* pOther, int ith) const
{
	Point3* p0(pOther->aVertexPointer[0]);
	Point3* p1(pOther->aVertexPointer[1]);
	Point3* p2(pOther->aVertexPointer[2]);
	Point3* p3(pOther->aVertexPointer[3]);
	switch(ith)
	{
		case 0:
			for(int d = 0; d < 4; ++d)
			{
				Point3* pd(aVertexPointer[d]);
				if(pd != p1 && pd != p2 && pd != p3) return d;
			}
			{
				Point3* pd(aVertexPointer[3]);
				assert(pd!=p1 && pd!=p2 && pd!=p3);
				(void)pd;
			}
			return 3;
		case 1:
			for(int d = 0; d < 4; ++d)
			{
				Point3* pd(aVertexPointer[d]);
				if(pd != p0 && pd != p2 && pd != p3) return d;
			}
			{
				Point3* pd(aVertexPointer[3]);
				assert(pd!=p0 && pd!=p2 && pd!=p3);
				(void)pd;
			}
			return 3;
		case 2:
			for(int d = 0; d < 4; ++d)
			{
				Point3* pd(aVertexPointer[d]);
				if(pd != p0 && pd != p1 && pd != p3) return d;
			}
			{
				Point3* pd(aVertexPointer[3]);
				assert(pd!=p0 && pd!=p1 && pd!=p3);
				(void)pd;
			}
			return 3;
		case 3:
			for(int d = 0; d < 4; ++d)
			{
				Point3* pd(aVertexPointer[d]);
				if(pd != p0 && pd != p1 && pd != p2) return d;
			}
			{
				Point3* pd(aVertexPointer[3]);
				assert(pd!=p0 && pd!=p1 && pd!=p2);
				(void)pd;
			}
			return 3;
		default:
			assert(false);
			return -1;
	}
}

Point3* Tet3::getOppVtxInOppTet(int ith, bool bAllowNull) const
{
	assert(range03(ith));
	const Tet3* pOpp(aOppTet[ith]);
	if(pOpp == nullptr)
	{
		if(bAllowNull) return nullptr;
		printError("Tet3::getOppVtxInOppTet", "no neighbor tet");
		assert(false);
		exit(1);
	}
	return pOpp->aVertexPointer[pOpp->getIntraTetIndex(this)];
}

bool Tet3::haveCommonFacet(Tet3* pT0, int opp0, Tet3* pT1, int opp1)
{
	{
		const int opp3(opp0);
		assert(range03(opp3));
		(void)opp3;
	}
	{
		const int opp3(opp1);
		assert(range03(opp3));
		(void)opp3;
	}
	int a0, b0, c0, a1, b1, c1;
	pT0->getFacetIndices(opp0, a0, b0, c0);
	pT1->getFacetIndices(opp1, a1, b1, c1);
	const Point3* f0[3] = {pT0->aVertexPointer[a0], pT0->aVertexPointer[b0], pT0->aVertexPointer[c0]};
	const Point3* f1[3] = {pT1->aVertexPointer[a1], pT1->aVertexPointer[b1], pT1->aVertexPointer[c1]};
	bool bSame(true);
	for(int i = 0; i < 3 && bSame; ++i)
	{
		bSame = (f0[i] == f1[0] || f0[i] == f1[1] || f0[i] == f1[2]);
	}
	if(bSame) return true;
	// The cell print ends its own last line.
	std::cout << "Tet3::haveCommonFacet() ERROR" << std::endl;
	std::cout << *pT0;
	std::cout << "...with index " << opp0 << std::endl;
	std::cout << a0 << "," << b0 << "," << c0 << std::endl;
	std::cout << *pT1;
	std::cout << "...with index " << opp1 << std::endl;
	std::cout << a1 << "," << b1 << "," << c1 << std::endl;
	exit(1);
}

Point3 Tet3::getCircumcenter() const
{
	const Point3& a(*aVertexPointer[0]);
	const Vector3 B(*aVertexPointer[1] - a);
	const Vector3 C(*aVertexPointer[2] - a);
	const Vector3 D(*aVertexPointer[3] - a);
	const Vector3 CxD(C.cross(D));
	const Vector3 DxB(D.cross(B));
	const Vector3 BxC(B.cross(C));
	const double bb(B.dot(B)), cc(C.dot(C)), dd(D.dot(D));
	const double f(0.5 / B.dot(CxD));
	const Vector3 offset((bb * CxD.x() + cc * DxB.x() + dd * BxC.x()) * f,
		(bb * CxD.y() + cc * DxB.y() + dd * BxC.y()) * f,
		(bb * CxD.z() + cc * DxB.z() + dd * BxC.z()) * f);
	return a + offset;
}

int Tet3::debug_getOppTetIndex(int ith) const
{
	assert(range03(ith));
	if(aOppTet[ith] == nullptr) return -1;
	std::cout << "Tet3::debug_getTetIndex(): Not implemented yet" << std::endl;
	return 0;
}

std::ostream& operator<<(std::ostream& stream, const Tet3& cell)
{
	static const TrelTest3 predicates;
	std::string ori("ownOri=");
	if(cell.aVertexPointer[0] && cell.aVertexPointer[1] && cell.aVertexPointer[2] && cell.aVertexPointer[3])
	{
		ori += predicates.getOrientationName(predicates.getOrientation3(
			cell.aVertexPointer[0], cell.aVertexPointer[1], cell.aVertexPointer[2], cell.aVertexPointer[3]));
	}
	stream << "Tetrahedron (ID=" << cell.ID << "), (this=" << static_cast<const void*>(&cell)
		   << "): hasBeenVisited=" << (cell.hasBeenVisited ? 1 : 0) << ", " << ori << std::endl;
	for(int ith = 0; ith < 4; ++ith)
	{
		stream << "ith=" << ith << ", vertex (" << static_cast<const void*>(cell.aVertexPointer[ith]) << "): ";
		if(cell.aVertexPointer[ith] != nullptr) stream << *cell.aVertexPointer[ith];
		stream << "  oppTet=" << static_cast<const void*>(cell.aOppTet[ith]);
		if(cell.aOppTet[ith] == nullptr) stream << " (NULL)";
		stream << std::endl;
	}
	return stream;
}

} // namespace VORN3D
