#include "Facet3.h"

#include <iostream>
#include <string>

#include "tools.h"

namespace VORN3D {

namespace {

// Address of corner ith of pTet, or null for an invalid index (a debug print
// must not read outside the cell).
const void* cornerAddress(const Tet3* pTet, int ith)
{
	if(pTet == nullptr || !range03(ith)) return nullptr;
	return static_cast<const void*>(pTet->getCorner(ith));
}

} // namespace

std::ostream& operator<<(std::ostream& stream, const Edge3& edge)
{
	const Tet3* pTet(edge.getTet());
	stream << "Edge (pTet" << static_cast<const void*>(pTet) << "): " << std::endl;
	stream << "opp3ICI=" << edge.getOpp3Index() << ", " << cornerAddress(pTet, edge.getOpp3Index()) << std::endl;
	stream << "opp2ICI=" << edge.getOpp2Index() << ", " << cornerAddress(pTet, edge.getOpp2Index()) << std::endl;
	stream << "srcICI=" << edge.getSourceIndex() << ", " << cornerAddress(pTet, edge.getSourceIndex()) << std::endl;
	stream << "trgICI=" << edge.getTargetIndex() << ", " << cornerAddress(pTet, edge.getTargetIndex()) << std::endl;
	return stream;
}

// Tet3 members that return handles live here, where the handle classes are
// complete.
Facet3 Tet3::getFacet(int ith)
{
	return Facet3(this, ith);
}

Edge3 Tet3::getEdge(int opp3ICI, int opp2ICI)
{
	if(opp3ICI == opp2ICI)
	{
		printError("Tet3::getEdge()", "opp3ICI==opp2ICI=" + std::to_string(opp3ICI));
		assert(opp3ICI!=opp2ICI);
	}
	return Edge3(this, opp3ICI, opp2ICI);
}

} // namespace VORN3D
