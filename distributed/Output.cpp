#include "Output.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace vorn3dmpi {

namespace {

void putBigEndian(std::string& out, const void* pValue, size_t numBytes)
{
	const unsigned char* pBytes(static_cast<const unsigned char*>(pValue));
	for(size_t i = 0; i < numBytes; ++i) out.push_back(static_cast<char>(pBytes[numBytes - 1 - i]));
}

/// Writes every process's block one after the other, rank 0's header first
/// and its trailer last. Collective.
bool writeBlocks(MPI_Comm comm, const std::string& fileName, const std::string& header, const std::string& block,
	const std::string& trailer)
{
	int rank(0);
	MPI_Comm_rank(comm, &rank);
	long long mySize(static_cast<long long>(block.size())), before(0), total(0);
	MPI_Exscan(&mySize, &before, 1, MPI_LONG_LONG, MPI_SUM, comm);
	if(rank == 0) before = 0;
	MPI_Allreduce(&mySize, &total, 1, MPI_LONG_LONG, MPI_SUM, comm);
	const std::string tmpName(fileName + ".part");
	MPI_File file;
	int status(MPI_File_open(comm, tmpName.c_str(), MPI_MODE_CREATE | MPI_MODE_WRONLY, MPI_INFO_NULL, &file));
	int ok(status == MPI_SUCCESS);
	if(ok)
	{
		MPI_File_set_size(file, 0);
		const long long headerSize(static_cast<long long>(header.size()));
		auto writeAt([&](long long offset, const std::string& text) {
			// In pieces: one call takes an int count.
			for(size_t done = 0; done < text.size() && ok;)
			{
				const int now(static_cast<int>(std::min<size_t>(text.size() - done, 1u << 30)));
				MPI_Status writeStatus;
				ok = MPI_File_write_at(file, static_cast<MPI_Offset>(offset + static_cast<long long>(done)),
					text.data() + done, now, MPI_CHAR, &writeStatus) == MPI_SUCCESS;
				done += static_cast<size_t>(now);
			}
		});
		if(rank == 0) writeAt(0, header);
		writeAt(headerSize + before, block);
		if(rank == 0) writeAt(headerSize + total, trailer);
		MPI_File_close(&file);
	}
	int allOk(0);
	MPI_Allreduce(&ok, &allOk, 1, MPI_INT, MPI_MIN, comm);
	if(rank == 0)
	{
		if(allOk) allOk = std::rename(tmpName.c_str(), fileName.c_str()) == 0;
		else std::remove(tmpName.c_str());
	}
	MPI_Bcast(&allOk, 1, MPI_INT, 0, comm);
	return allOk != 0;
}

} // namespace

bool writeCells(MPI_Comm comm, const std::string& fileName, const std::vector<int64_t>& vQuads)
{
	std::string block;
	block.reserve(vQuads.size() * 9);
	for(size_t i = 0; i < vQuads.size(); i += 4)
	{
		for(size_t k = 0; k < 4; ++k)
		{
			block += std::to_string(vQuads[i + k]);
			block += k == 3 ? '\n' : ' ';
		}
	}
	return writeBlocks(comm, fileName, "", block, "");
}

bool writeVtk(MPI_Comm comm, const std::string& fileName, const std::vector<VORN3D::Point3>& vAllPoints,
	const std::vector<int64_t>& vQuads)
{
	int rank(0);
	MPI_Comm_rank(comm, &rank);
	long long myCells(static_cast<long long>(vQuads.size() / 4)), numCells(0);
	MPI_Allreduce(&myCells, &numCells, 1, MPI_LONG_LONG, MPI_SUM, comm);
	std::string header, block, trailer;
	if(rank == 0)
	{
		header = "# vtk DataFile Version 3.0\nDelaunay tetrahedralisation written by vorn3d-mpi\nBINARY\n"
				 "DATASET UNSTRUCTURED_GRID\nPOINTS " + std::to_string(vAllPoints.size()) + " double\n";
		header.reserve(header.size() + 24 * vAllPoints.size() + 64);
		for(const VORN3D::Point3& p : vAllPoints)
		{
			const double aXyz[3] = {p.x(), p.y(), p.z()};
			for(double value : aXyz) putBigEndian(header, &value, sizeof(value));
		}
		header += "\nCELLS " + std::to_string(numCells) + " " + std::to_string(5 * numCells) + "\n";
		trailer = "\nCELL_TYPES " + std::to_string(numCells) + "\n";
		const int32_t type(10);
		for(long long i = 0; i < numCells; ++i) putBigEndian(trailer, &type, sizeof(type));
		trailer += "\n";
	}
	block.reserve(vQuads.size() * 5);
	for(size_t i = 0; i < vQuads.size(); i += 4)
	{
		const int32_t four(4);
		putBigEndian(block, &four, sizeof(four));
		for(size_t k = 0; k < 4; ++k)
		{
			const int32_t index(static_cast<int32_t>(vQuads[i + k]));
			putBigEndian(block, &index, sizeof(index));
		}
	}
	return writeBlocks(comm, fileName, header, block, trailer);
}

} // namespace vorn3dmpi
