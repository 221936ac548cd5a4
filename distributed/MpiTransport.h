// The transport of vorn3d-mpi: the regions are MPI processes and the words
// travel through the chunked 64-bit transfers of Transfer.h. The time spent
// inside the calls counts as waiting (Clock.h).
#ifndef VORN3D_DISTRIBUTED_MPITRANSPORT_H
#define VORN3D_DISTRIBUTED_MPITRANSPORT_H

#include <mpi.h>

#include "Transport.h"

namespace vorn3dmpi {

class MpiTransport: public vorn3dregions::Transport
{
public:
	explicit MpiTransport(MPI_Comm comm);
	int rank() const override { return myRank; }
	int size() const override { return mySize; }
	vorn3dregions::Incoming exchange(std::vector<std::vector<double>> vOut) override;
	vorn3dregions::Incoming allGather(std::vector<double> vMine) override;
	vorn3dregions::Incoming gather(int root, std::vector<double> vMine) override;
	long sum(long value) override;

private:
	MPI_Comm comm;
	int myRank, mySize;
};

} // namespace vorn3dmpi

#endif
