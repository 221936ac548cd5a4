#include "Output.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <utility>

#include "PointFile.h"
#include "Transfer.h"

namespace vorn3dmpi {

namespace {

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

void recordsToPiece(const std::vector<double>& vRecords, std::vector<int64_t>& vGids, std::vector<double>& vXyz)
{
	std::vector<std::pair<int64_t, size_t>> vOrder;
	for(size_t at = 0; at + 4 <= vRecords.size(); at += 4) vOrder.emplace_back(gidOfWord(vRecords[at + 3]), at);
	std::sort(vOrder.begin(), vOrder.end());
	vGids.clear();
	vXyz.clear();
	for(const auto& entry : vOrder)
	{
		vGids.push_back(entry.first);
		vXyz.insert(vXyz.end(), &vRecords[entry.second], &vRecords[entry.second] + 3);
	}
}

std::string pieceName(const std::string& fileName, int rank)
{
	const std::string base(fileName.size() > 5 && fileName.compare(fileName.size() - 5, 5, ".pvtu") == 0
			? fileName.substr(0, fileName.size() - 5)
			: fileName);
	return base + "_" + std::to_string(rank) + ".vtu";
}

bool writePvtu(MPI_Comm comm, const std::string& fileName, const std::vector<int64_t>& vQuads,
	const std::vector<int64_t>& vGids, const std::vector<double>& vXyz)
{
	int rank(0), size(1);
	MPI_Comm_rank(comm, &rank);
	MPI_Comm_size(comm, &size);
	std::string errorMessage;
	const auto local([&](int64_t gid) {
		return static_cast<int64_t>(std::lower_bound(vGids.begin(), vGids.end(), gid) - vGids.begin());
	});
	int ok(vorn3dapp::writeVtu(
		pieceName(fileName, rank), vGids.size(), [&](size_t i, double* pXyz) { std::copy_n(&vXyz[3 * i], 3, pXyz); },
		vQuads.size() / 4, [&](size_t k, int64_t* pCorners) {
			for(size_t i = 0; i < 4; ++i) pCorners[i] = local(vQuads[4 * k + i]);
		},
		vGids.data(), errorMessage));
	int allOk(0);
	MPI_Allreduce(&ok, &allOk, 1, MPI_INT, MPI_MIN, comm);
	if(rank == 0 && allOk)
	{
		// Pieces are named relative to the .pvtu file's folder.
		const uint16_t probe(1);
		const bool bLittle(*reinterpret_cast<const unsigned char*>(&probe) == 1);
		std::string text(std::string("<?xml version=\"1.0\"?>\n<VTKFile type=\"PUnstructuredGrid\" version=\"1.0\" ") +
						 "byte_order=\"" + (bLittle ? "LittleEndian" : "BigEndian") + "\" header_type=\"UInt64\">\n"
						 "  <PUnstructuredGrid GhostLevel=\"0\">\n"
						 "    <PPointData>\n      <PDataArray type=\"Int64\" Name=\"GlobalIndex\"/>\n    </PPointData>\n"
						 "    <PPoints>\n      <PDataArray type=\"Float64\" NumberOfComponents=\"3\"/>\n    </PPoints>\n"
						 "    <PCells>\n"
						 "      <PDataArray type=\"Int64\" Name=\"connectivity\"/>\n"
						 "      <PDataArray type=\"Int64\" Name=\"offsets\"/>\n"
						 "      <PDataArray type=\"UInt8\" Name=\"types\"/>\n"
						 "    </PCells>\n");
		for(int q = 0; q < size; ++q)
		{
			const std::string piece(pieceName(fileName, q));
			const size_t slash(piece.rfind('/'));
			text += "    <Piece Source=\"" + (slash == std::string::npos ? piece : piece.substr(slash + 1)) + "\"/>\n";
		}
		text += "  </PUnstructuredGrid>\n</VTKFile>\n";
		const std::string tmpName(fileName + ".part");
		FILE* pFile(std::fopen(tmpName.c_str(), "wb"));
		allOk = pFile != nullptr && std::fwrite(text.data(), 1, text.size(), pFile) == text.size();
		if(pFile != nullptr) allOk = std::fclose(pFile) == 0 && allOk;
		allOk = allOk && std::rename(tmpName.c_str(), fileName.c_str()) == 0;
		if(!allOk) std::remove(tmpName.c_str());
	}
	MPI_Bcast(&allOk, 1, MPI_INT, 0, comm);
	if(!ok && !errorMessage.empty()) std::fprintf(stderr, "vorn3d-mpi: %s\n", errorMessage.c_str());
	return allOk != 0;
}

} // namespace vorn3dmpi
