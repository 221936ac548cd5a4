// Dt3: the start of the mesh.
//
// No cell exists until four stored points are not coplanar. Until then the
// vertices are only held in the store, and after every insertion the search
// below looks again, from scratch, for the first such quadruple.
#include <vector>

#include "Dt3.h"

namespace VORN3D {

Tet3* Dt3::buildFirstTet()
{
	ASSERT_CONDITION(!bFullDimensional);
	std::vector<Point3*> vVertices;
	hc.getVertices(vVertices);
	const size_t n(vVertices.size());
	for(size_t i = 0; i < n; ++i)
	{
		for(size_t j = i + 1; j < n; ++j)
		{
			for(size_t k = j + 1; k < n; ++k)
			{
				for(size_t l = k + 1; l < n; ++l)
				{
					Orientation3 ori(predicates.getOrientation3(vVertices[i], vVertices[j], vVertices[k], vVertices[l]));
					if(ori == ORIENTATION3_COPLANAR) continue;
					// Swapping the first two corners turns a negative
					// quadruple positive.
					Point3* pA(vVertices[i]);
					Point3* pB(vVertices[j]);
					if(ori == ORIENTATION3_NEGATIVE) std::swap(pA, pB);
					ori = predicates.getOrientation3(pA, pB, vVertices[k], vVertices[l]);
					ASSERT_CONDITION(ori==ORIENTATION3_POSITIVE);
					Tet3* pFirstTet(createTet(pA, pB, vVertices[k], vVertices[l]));
					bFullDimensional = true;
					return pFirstTet;
				}
			}
		}
	}
	return nullptr;
}

} // namespace VORN3D
