// The fallback for degenerate input that the processes triangulated
// differently: all points in one Vorn_3D on rank 0.
#include "DistributedMesh.h"
#include "MeshRecords.h"
#include "Transfer.h"

namespace vorn3dmpi {

using VORN3D::Point3;
using VORN3D::Tet3;

void triangulateOnRoot(MPI_Comm comm, const std::vector<double>& vOwnRecords, std::vector<int64_t>& vQuads)
{
	int rank(0), size(1);
	MPI_Comm_rank(comm, &rank);
	MPI_Comm_size(comm, &size);
	std::vector<int64_t> vCounts;
	const std::vector<double> vAll(gatherWords(comm, 0, vOwnRecords, vCounts));
	vQuads.clear();
	if(rank != 0) return;
	std::vector<Point3> vPoints;
	for(size_t at = 0; at < vAll.size(); at += REC) vPoints.emplace_back(vAll[at], vAll[at + 1], vAll[at + 2]);
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
		for(int i = 0; i < 4; ++i) vQuads.push_back(gidOfWord(vAll[REC * static_cast<size_t>(pTet->getCorner(i)->getIndex()) + 3]));
	}
}

} // namespace vorn3dmpi
