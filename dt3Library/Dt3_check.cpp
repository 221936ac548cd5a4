// Dt3: validity check, text listing and scene output of the mesh.
//
// All three read the list of all cells and change nothing. A fault found by
// the check is left behind as a numbered scene file so that it can be looked
// at in a viewer.
#include <atomic>
#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

#include "Dt3.h"
#include "Visualizer3.h"

namespace VORN3D {

std::string Dt3::nextFileNumber()
{
	// One count for the process: the files share the working directory, so
	// two threads must never get the same name.
	static std::atomic<int> nextNumber(0);
	const int fileNumber(nextNumber.fetch_add(1, std::memory_order_relaxed));
	char buffer[32];
	snprintf(buffer, sizeof(buffer), "%05d_", fileNumber);
	return std::string(buffer);
}

bool Dt3::checkValidity(const std::string& s, bool bCheckVisited, bool bCheckSphereInc)
{
	// The visited test always runs: a live cell must never be left marked.
	(void)bCheckVisited;
	std::vector<Tet3*> vTets;
	getAllTetrahedra(vTets);
	std::cout << "\n\n** CheckValidity at [" << s << "]:"
			  << " Number of tetrahedra: " << vTets.size() << std::endl;
	std::cout << "   with --checkvisited" << std::endl;
	if(bCheckSphereInc) std::cout << "   with --checkSphereInc" << std::endl;
	else std::cout << "   without --checkSphereInc" << std::endl;
	std::cout << "   vTets.size()=" << vTets.size() << std::endl;

	for(Tet3* pTet : vTets)
	{
		if(pTet->hasBeenVisited)
		{
			printError("Dt3::CheckValidity()", "pcurrentTet->hasBeenvisited=true");
			std::cout << *pTet << std::endl;
			ASSERT_CONDITION(false);
		}
		for(int i = 0; i < 4; ++i)
		{
			Point3* pOppVtx(pTet->getOppVtxInOppTet(i, true));
			if(pOppVtx == nullptr) continue;
			const Orientation3 ori(predicates.getOrientation3(pTet, i, pOppVtx));
			if(ori != ORIENTATION3_NEGATIVE)
			{
				printHeadline("ERROR: checkValidity at [" + s + "]");
				std::cout << "Dt3::checkValidity, HUH, vertex " << static_cast<const void*>(pOppVtx)
						  << " should be on the negative side, tet=" << std::endl;
				std::cout << *pTet << "oppIndex=" << i << ", Vertex=" << static_cast<const void*>(pOppVtx) << "="
						  << *pOppVtx << std::endl;
				predicates.printOrientation("checkValidity", ori);
				show(nextFileNumber() + "negSideBug.list", pOppVtx);
				return false;
			}
			// With the perturbation on, a cospherical far corner must be
			// outside by the perturbed rule as well.
			const SphereInclusion inclusion(bPerturbation ? predicates.sphereInclusionPerturbed(pTet, pOppVtx)
														  : predicates.sphereInclusionTest(pTet, pOppVtx));
			if(bCheckSphereInc && inclusion == SIC_INSIDE)
			{
				printHeadline("checkValidity: ERROR ERROR ERROR");
				std::cout << "Dt3::checkValidity, HUH - sphereIncTest failed: " << std::endl;
				std::cout << *pTet << ", Vertex="
						  << static_cast<const void*>(pOppVtx) << "=" << *pOppVtx << std::endl;
				Visualizer3 vis(nextFileNumber() + "sphereIncBug.list");
				vis.writeTet(pTet, "1 0 0 0.5");
				vis.writePoint(*pOppVtx, 8, "1 1 1 0.5");
				const Point3 center(pTet->getCircumcenter());
				const Point3& corner0(*pTet->getCorner(0));
				const double dx(corner0.x() - center.x());
				const double dy(corner0.y() - center.y());
				const double dz(corner0.z() - center.z());
				vis.writeBall(center, dx * dx + dy * dy + dz * dz);
				vis.close();
				return false;
			}
		}
	}
	std::cout << "** CheckValidity at (" << s << ") has been finished, seems OK" << std::endl << std::endl;
	return true;
}

void Dt3::print(const std::string& s)
{
	std::vector<Tet3*> vTets;
	getAllTetrahedra(vTets);
	std::cout << "\n\n**** Dt3::print(" << s << "), numTets=" << vTets.size() << std::endl;
	for(Tet3* pTet : vTets) std::cout << *pTet << std::endl << std::endl;
}

void Dt3::show(const std::string& fileName, Point3* pVtx)
{
	std::vector<Tet3*> vTets;
	getAllTetrahedra(vTets);
	std::cout << "  Dt3::show(): vTets.size()=" << vTets.size() << std::endl;
	Visualizer3 vis(fileName);
	for(Tet3* pTet : vTets)
	{
		vis.writeTet(pTet, vis.getNextColor());
		for(int i = 0; i < 4; ++i) vis.writePoint(*pTet->getCorner(i), 5, "0 1 0 0.5");
	}
	if(pVtx != nullptr) vis.writePoint(*pVtx, 10, "1 0 0 0.5");
	vis.close();
}

} // namespace VORN3D
