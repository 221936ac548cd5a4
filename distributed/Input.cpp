#include "Input.h"

#include <algorithm>
#include <cmath>

#include "PointFile.h"
#include "Resident.h"

namespace vorn3dmpi {

namespace {

// The most bytes of a header looked at, and of one read call.
constexpr uint64_t MAX_HEADER = 1 << 16;
constexpr uint64_t READ_BYTES = 1 << 26;

bool allTrue(MPI_Comm comm, bool b)
{
	int mine(b ? 1 : 0), all(0);
	MPI_Allreduce(&mine, &all, 1, MPI_INT, MPI_MIN, comm);
	return all != 0;
}

/// Rank 0's text to every process.
void broadcast(MPI_Comm comm, std::string& text)
{
	uint64_t length(text.size());
	MPI_Bcast(&length, 1, MPI_UINT64_T, 0, comm);
	text.resize(length);
	MPI_Bcast(&text[0], static_cast<int>(length), MPI_CHAR, 0, comm);
}

/// Reads numBytes at offset into pData, in pieces of an int count each.
bool readAt(MPI_File file, uint64_t offset, char* pData, uint64_t numBytes)
{
	for(uint64_t done = 0; done < numBytes;)
	{
		const int now(static_cast<int>(std::min(numBytes - done, READ_BYTES)));
		MPI_Status status;
		int got(0);
		if(MPI_File_read_at(file, static_cast<MPI_Offset>(offset + done), pData + done, now, MPI_BYTE, &status) !=
				MPI_SUCCESS ||
			MPI_Get_count(&status, MPI_BYTE, &got) != MPI_SUCCESS || got != now)
			return false;
		done += static_cast<uint64_t>(now);
	}
	return true;
}

} // namespace

int64_t shareStart(int64_t numTotal, int rank, int size)
{
	// numTotal * rank / size without overflow.
	return numTotal / size * rank + numTotal % size * rank / size;
}

bool readShare(MPI_Comm comm, const std::string& fileName, InputShare& share, std::string& errorMessage)
{
	int rank(0), size(1);
	MPI_Comm_rank(comm, &rank);
	MPI_Comm_size(comm, &size);
	share = InputShare();
	MPI_File file;
	std::string name(fileName);
	const bool bOpen(MPI_File_open(comm, &name[0], MPI_MODE_RDONLY, MPI_INFO_NULL, &file) == MPI_SUCCESS);
	if(!bOpen)
	{
		errorMessage = fileName + ": cannot open file";
		return false;
	}
	MPI_Offset fileSize(0);
	MPI_File_get_size(file, &fileSize);
	// Rank 0 reads the start of the file; every process parses it alike.
	std::string head;
	if(rank == 0)
	{
		head.resize(std::min<uint64_t>(static_cast<uint64_t>(fileSize), MAX_HEADER));
		if(!readAt(file, 0, &head[0], head.size())) head.clear();
		share.bytesRead = head.size();
	}
	broadcast(comm, head);
	vorn3dapp::PlyLayout layout;
	std::string notBinary;
	share.bByShare = vorn3dapp::binaryPlyLayout(fileName, head, layout, notBinary);
	if(!share.bByShare)
	{
		MPI_File_close(&file);
		std::vector<VORN3D::Point3> vAll;
		const bool bRead(vorn3dapp::readPoints(fileName, vAll, errorMessage));
		if(!allTrue(comm, bRead)) return false;
		share.bytesRead = static_cast<uint64_t>(fileSize);
		share.numTotal = static_cast<int64_t>(vAll.size());
		share.firstIndex = shareStart(share.numTotal, rank, size);
		const int64_t end(shareStart(share.numTotal, rank + 1, size));
		share.vPoints.assign(vAll.begin() + share.firstIndex, vAll.begin() + end);
		return true;
	}

	share.numTotal = static_cast<int64_t>(layout.numVertices);
	share.firstIndex = shareStart(share.numTotal, rank, size);
	const uint64_t numMine(static_cast<uint64_t>(shareStart(share.numTotal, rank + 1, size) - share.firstIndex));
	bool bOk(layout.dataStart + layout.numVertices * layout.recordBytes <= static_cast<uint64_t>(fileSize));
	if(!bOk) errorMessage = fileName + ": binary PLY data ends before its " + std::to_string(layout.numVertices) + " vertices";
	vorn3dregions::reserveResident(share.vPoints, numMine);
	std::vector<char> vBuffer;
	// Records in blocks of about READ_BYTES, decoded as they come.
	const uint64_t perBlock(std::max<uint64_t>(1, READ_BYTES / std::max<uint64_t>(1, layout.recordBytes)));
	for(uint64_t done = 0; bOk && done < numMine; done += perBlock)
	{
		const uint64_t num(std::min(perBlock, numMine - done));
		vBuffer.resize(num * layout.recordBytes);
		const uint64_t first(static_cast<uint64_t>(share.firstIndex) + done);
		bOk = readAt(file, layout.dataStart + first * layout.recordBytes, vBuffer.data(), vBuffer.size());
		if(!bOk)
		{
			errorMessage = fileName + ": read error";
			break;
		}
		share.bytesRead += vBuffer.size();
		for(uint64_t i = 0; i < num; ++i)
		{
			double aXyz[3];
			vorn3dapp::decodePlyVertex(layout, reinterpret_cast<const unsigned char*>(&vBuffer[i * layout.recordBytes]), aXyz);
			if(!std::isfinite(aXyz[0]) || !std::isfinite(aXyz[1]) || !std::isfinite(aXyz[2]))
			{
				errorMessage = fileName + ": non-finite coordinate in vertex " + std::to_string(first + i);
				bOk = false;
				break;
			}
			share.vPoints.emplace_back(aXyz[0], aXyz[1], aXyz[2]);
		}
	}
	MPI_File_close(&file);
	// The first process that failed tells the others why.
	int firstBad(bOk ? size : rank), anyBad(size);
	MPI_Allreduce(&firstBad, &anyBad, 1, MPI_INT, MPI_MIN, comm);
	if(anyBad == size) return true;
	uint64_t length(errorMessage.size());
	MPI_Bcast(&length, 1, MPI_UINT64_T, anyBad, comm);
	errorMessage.resize(length);
	MPI_Bcast(&errorMessage[0], static_cast<int>(length), MPI_CHAR, anyBad, comm);
	return false;
}

} // namespace vorn3dmpi
