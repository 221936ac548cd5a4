// The fallback for degenerate input that the processes triangulated
// differently: all points in one Vorn_3D on rank 0.
#include "DistributedMesh.h"
#include "MeshRecords.h"

namespace vorn3dregions {

using VORN3D::Point3;
using VORN3D::Tet3;

void triangulateOnRoot(Transport& transport, const std::vector<double>& vOwnRecords, std::vector<int64_t>& vQuads)
{
	const Incoming all(transport.gather(0, vOwnRecords));
	vQuads.clear();
	if(transport.rank() != 0) return;
	// The records of all processes, in rank order.
	std::vector<const double*> vRecord;
	for(int q = 0; q < all.numSources(); ++q)
	{
		for(int64_t at = 0; at < all.count(q); at += static_cast<int64_t>(REC)) vRecord.push_back(all.from(q) + at);
	}
	std::vector<Point3> vPoints;
	for(const double* p : vRecord) vPoints.emplace_back(p[0], p[1], p[2]);
	VORN3D::Vorn_3D single;
	single.setPerturbation(true);
	std::vector<Point3*> vHandles;
	{
		QuietOutput quiet;
		single.insert(vPoints, vHandles);
	}
	// The records are distinct points, so each handle is its own vertex.
	for(size_t k = 0; k < vHandles.size(); ++k) vHandles[k]->setIndex(static_cast<int>(k));
	std::vector<Tet3*> vTets;
	single.getTetrahedra(vTets);
	for(const Tet3* pTet : vTets)
	{
		for(int i = 0; i < 4; ++i) vQuads.push_back(gidOfWord(vRecord[static_cast<size_t>(pTet->getCorner(i)->getIndex())][3]));
	}
}

} // namespace vorn3dregions
