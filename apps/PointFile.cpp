#include "PointFile.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <vector>

namespace vorn3dapp {

using VORN3D::Point3;
using VORN3D::Tet3;

namespace {

bool readWholeFile(const std::string& fileName, std::string& content)
{
	std::ifstream in(fileName, std::ios::binary);
	if(!in) return false;
	content.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
	return !in.bad();
}

std::string at(const std::string& fileName, size_t lineNumber)
{
	return fileName + ":" + std::to_string(lineNumber) + ": ";
}

// Parses one double token; false for anything strtod does not consume whole.
bool parseDouble(const std::string& token, double& value)
{
	if(token.empty()) return false;
	const char* pBegin(token.c_str());
	char* pEnd(nullptr);
	value = std::strtod(pBegin, &pEnd);
	return pEnd == pBegin + token.size();
}

bool readText(const std::string& fileName, const std::string& content, std::vector<Point3>& vPoints,
	std::string& errorMessage)
{
	size_t lineNumber(0);
	size_t pos(0);
	while(pos < content.size())
	{
		size_t end(content.find('\n', pos));
		if(end == std::string::npos) end = content.size();
		std::string line(content, pos, end - pos);
		pos = end + 1;
		++lineNumber;
		if(!line.empty() && line.back() == '\r') line.pop_back();
		const size_t first(line.find_first_not_of(" \t"));
		if(first == std::string::npos || line[first] == '#') continue;

		std::istringstream fields(line);
		std::string token;
		double aCoord[3];
		int numFields(0);
		while(fields >> token)
		{
			if(numFields == 3)
			{
				errorMessage = at(fileName, lineNumber) + "malformed line, expected three numbers \"x y z\": " + line;
				return false;
			}
			if(!parseDouble(token, aCoord[numFields]))
			{
				errorMessage = at(fileName, lineNumber) + "not a number: \"" + token + "\"";
				return false;
			}
			if(!std::isfinite(aCoord[numFields]))
			{
				errorMessage = at(fileName, lineNumber) + "non-finite coordinate: \"" + token + "\"";
				return false;
			}
			++numFields;
		}
		if(numFields != 3)
		{
			errorMessage = at(fileName, lineNumber) + "malformed line, expected three numbers \"x y z\": " + line;
			return false;
		}
		vPoints.emplace_back(aCoord[0], aCoord[1], aCoord[2]);
	}
	if(vPoints.empty())
	{
		errorMessage = fileName + ": no points in file";
		return false;
	}
	return true;
}

// ---- PLY ----

enum PlyFormat
{
	PLY_ASCII,
	PLY_BINARY_LE,
	PLY_BINARY_BE
};

struct PlyProperty
{
	std::string name;
	int size = 0;			 // bytes of a scalar, or of a list's items
	char kind = 'f';		 // 'f' float, 'i' signed, 'u' unsigned
	bool bList = false;
	int countSize = 0;		 // bytes of a list's count
	char countKind = 'u';
};

struct PlyElement
{
	std::string name;
	long count = 0;
	std::vector<PlyProperty> vProperties;
};

bool plyType(const std::string& type, int& size, char& kind)
{
	static const struct
	{
		const char* name;
		int size;
		char kind;
	} aTypes[] = {{"char", 1, 'i'}, {"int8", 1, 'i'}, {"uchar", 1, 'u'}, {"uint8", 1, 'u'}, {"short", 2, 'i'},
		{"int16", 2, 'i'}, {"ushort", 2, 'u'}, {"uint16", 2, 'u'}, {"int", 4, 'i'}, {"int32", 4, 'i'},
		{"uint", 4, 'u'}, {"uint32", 4, 'u'}, {"float", 4, 'f'}, {"float32", 4, 'f'}, {"double", 8, 'f'},
		{"float64", 8, 'f'}};
	for(const auto& t : aTypes)
	{
		if(type == t.name)
		{
			size = t.size;
			kind = t.kind;
			return true;
		}
	}
	return false;
}

bool hostIsLittleEndian()
{
	const uint16_t probe(1);
	unsigned char first;
	std::memcpy(&first, &probe, 1);
	return first == 1;
}

// Decodes one binary scalar into a double.
double decodeScalar(const unsigned char* pData, int size, char kind, bool bSwap)
{
	unsigned char aBuf[8];
	for(int i = 0; i < size; ++i) aBuf[i] = bSwap ? pData[size - 1 - i] : pData[i];
	switch(size)
	{
		case 1:
			return kind == 'i' ? static_cast<double>(static_cast<int8_t>(aBuf[0])) : static_cast<double>(aBuf[0]);
		case 2:
		{
			if(kind == 'i')
			{
				int16_t v;
				std::memcpy(&v, aBuf, 2);
				return v;
			}
			uint16_t v;
			std::memcpy(&v, aBuf, 2);
			return v;
		}
		case 4:
		{
			if(kind == 'f')
			{
				float v;
				std::memcpy(&v, aBuf, 4);
				return v;
			}
			if(kind == 'i')
			{
				int32_t v;
				std::memcpy(&v, aBuf, 4);
				return v;
			}
			uint32_t v;
			std::memcpy(&v, aBuf, 4);
			return v;
		}
		default:
		{
			double v;
			std::memcpy(&v, aBuf, 8);
			return v;
		}
	}
}

/// The header of a PLY file at the start of content: its format, elements,
/// the vertex element with the positions of x, y and z among its
/// properties, and where the data starts (pos, lineNumber).
struct PlyHeader
{
	PlyFormat format = PLY_ASCII;
	std::vector<PlyElement> vElements;
	size_t pos = 0;
	size_t lineNumber = 0;
	int vertexElement = -1;
	int aXyz[3] = {-1, -1, -1};
};

bool parsePlyHeader(const std::string& fileName, const std::string& content, PlyHeader& header, std::string& errorMessage)
{
	PlyFormat& format(header.format);
	std::vector<PlyElement>& vElements(header.vElements);
	size_t& pos(header.pos);
	size_t& lineNumber(header.lineNumber);
	int& vertexElement(header.vertexElement);
	int* aXyz(header.aXyz);
	// One keyword line at a time up to end_header.
	bool bHasFormat(false);
	bool bHeaderDone(false);
	while(pos < content.size())
	{
		size_t end(content.find('\n', pos));
		if(end == std::string::npos)
		{
			errorMessage = at(fileName, lineNumber + 1) + "PLY header without end_header";
			return false;
		}
		std::string line(content, pos, end - pos);
		pos = end + 1;
		++lineNumber;
		if(!line.empty() && line.back() == '\r') line.pop_back();
		std::istringstream words(line);
		std::string keyword;
		words >> keyword;
		if(lineNumber == 1)
		{
			if(keyword != "ply")
			{
				errorMessage = at(fileName, 1) + "not a PLY file";
				return false;
			}
			continue;
		}
		if(keyword.empty() || keyword == "comment" || keyword == "obj_info") continue;
		if(keyword == "format")
		{
			std::string name;
			words >> name;
			if(name == "ascii") format = PLY_ASCII;
			else if(name == "binary_little_endian") format = PLY_BINARY_LE;
			else if(name == "binary_big_endian") format = PLY_BINARY_BE;
			else
			{
				errorMessage = at(fileName, lineNumber) + "unknown PLY format \"" + name + "\"";
				return false;
			}
			bHasFormat = true;
		}
		else if(keyword == "element")
		{
			PlyElement element;
			if(!(words >> element.name >> element.count) || element.count < 0)
			{
				errorMessage = at(fileName, lineNumber) + "malformed element line: " + line;
				return false;
			}
			vElements.push_back(element);
		}
		else if(keyword == "property")
		{
			if(vElements.empty())
			{
				errorMessage = at(fileName, lineNumber) + "property before any element";
				return false;
			}
			PlyProperty property;
			std::string type;
			words >> type;
			if(type == "list")
			{
				std::string countType, itemType;
				words >> countType >> itemType >> property.name;
				property.bList = true;
				if(!plyType(countType, property.countSize, property.countKind) || property.countKind == 'f' ||
					!plyType(itemType, property.size, property.kind))
				{
					errorMessage = at(fileName, lineNumber) + "unknown PLY list type: " + line;
					return false;
				}
			}
			else
			{
				words >> property.name;
				if(!plyType(type, property.size, property.kind))
				{
					errorMessage = at(fileName, lineNumber) + "unknown PLY type \"" + type + "\"";
					return false;
				}
			}
			vElements.back().vProperties.push_back(property);
		}
		else if(keyword == "end_header")
		{
			bHeaderDone = true;
			break;
		}
		else
		{
			errorMessage = at(fileName, lineNumber) + "unknown PLY header line: " + line;
			return false;
		}
	}
	if(!bHeaderDone)
	{
		errorMessage = at(fileName, lineNumber + 1) + "PLY header without end_header";
		return false;
	}
	if(!bHasFormat)
	{
		errorMessage = fileName + ": PLY header without a format line";
		return false;
	}

	for(size_t e = 0; e < vElements.size(); ++e)
	{
		if(vElements[e].name != "vertex") continue;
		vertexElement = static_cast<int>(e);
		for(size_t p = 0; p < vElements[e].vProperties.size(); ++p)
		{
			const PlyProperty& prop(vElements[e].vProperties[p]);
			if(prop.bList) continue;
			if(prop.name == "x") aXyz[0] = static_cast<int>(p);
			if(prop.name == "y") aXyz[1] = static_cast<int>(p);
			if(prop.name == "z") aXyz[2] = static_cast<int>(p);
		}
		break;
	}
	if(vertexElement < 0 || aXyz[0] < 0 || aXyz[1] < 0 || aXyz[2] < 0)
	{
		errorMessage = fileName + ": PLY file has no vertex element with x, y and z";
		return false;
	}
	return true;
}

bool readPly(const std::string& fileName, const std::string& content, std::vector<Point3>& vPoints,
	std::string& errorMessage)
{
	PlyHeader header;
	if(!parsePlyHeader(fileName, content, header, errorMessage)) return false;
	const PlyFormat format(header.format);
	const std::vector<PlyElement>& vElements(header.vElements);
	size_t pos(header.pos);
	size_t lineNumber(header.lineNumber);
	const int vertexElement(header.vertexElement);
	const int* aXyz(header.aXyz);

	const PlyElement& vertices(vElements[vertexElement]);
	vPoints.reserve(vPoints.size() + static_cast<size_t>(vertices.count));
	if(format == PLY_ASCII)
	{
		// Elements before the vertices are skipped line by line.
		for(int e = 0; e <= vertexElement; ++e)
		{
			for(long item = 0; item < vElements[e].count; ++item)
			{
				size_t end(content.find('\n', pos));
				if(pos >= content.size())
				{
					errorMessage = at(fileName, lineNumber + 1) + "file ends before all " +
						std::to_string(vElements[e].count) + " " + vElements[e].name + " items";
					return false;
				}
				if(end == std::string::npos) end = content.size();
				std::string line(content, pos, end - pos);
				pos = end + 1;
				++lineNumber;
				if(e != vertexElement) continue;
				std::istringstream fields(line);
				std::vector<double> vValues;
				std::string token;
				while(fields >> token)
				{
					double value;
					if(!parseDouble(token, value))
					{
						errorMessage = at(fileName, lineNumber) + "not a number: \"" + token + "\"";
						return false;
					}
					vValues.push_back(value);
				}
				if(vValues.size() < vertices.vProperties.size())
				{
					errorMessage = at(fileName, lineNumber) + "malformed vertex line: " + line;
					return false;
				}
				const double x(vValues[aXyz[0]]), y(vValues[aXyz[1]]), z(vValues[aXyz[2]]);
				if(!std::isfinite(x) || !std::isfinite(y) || !std::isfinite(z))
				{
					errorMessage = at(fileName, lineNumber) + "non-finite coordinate";
					return false;
				}
				vPoints.emplace_back(x, y, z);
			}
		}
		return true;
	}

	const bool bSwap((format == PLY_BINARY_LE) != hostIsLittleEndian());
	const unsigned char* pData(reinterpret_cast<const unsigned char*>(content.data()));
	const size_t size(content.size());
	for(int e = 0; e <= vertexElement; ++e)
	{
		const PlyElement& element(vElements[e]);
		for(long item = 0; item < element.count; ++item)
		{
			double aValue[3] = {0.0, 0.0, 0.0};
			for(size_t p = 0; p < element.vProperties.size(); ++p)
			{
				const PlyProperty& prop(element.vProperties[p]);
				size_t numBytes(static_cast<size_t>(prop.size));
				if(prop.bList)
				{
					if(pos + prop.countSize > size) break;
					const double count(decodeScalar(pData + pos, prop.countSize, prop.countKind, bSwap));
					pos += prop.countSize;
					numBytes = static_cast<size_t>(count) * prop.size;
				}
				if(pos + numBytes > size)
				{
					errorMessage = fileName + ": binary PLY data ends inside " + element.name + " " +
						std::to_string(item) + " (truncated file)";
					return false;
				}
				if(e == vertexElement && !prop.bList)
				{
					for(int k = 0; k < 3; ++k)
					{
						if(aXyz[k] == static_cast<int>(p)) aValue[k] = decodeScalar(pData + pos, prop.size, prop.kind, bSwap);
					}
				}
				pos += numBytes;
			}
			if(pos > size)
			{
				errorMessage = fileName + ": binary PLY data ends inside " + element.name + " " +
					std::to_string(item) + " (truncated file)";
				return false;
			}
			if(e != vertexElement) continue;
			if(!std::isfinite(aValue[0]) || !std::isfinite(aValue[1]) || !std::isfinite(aValue[2]))
			{
				errorMessage = fileName + ": non-finite coordinate in vertex " + std::to_string(item);
				return false;
			}
			vPoints.emplace_back(aValue[0], aValue[1], aValue[2]);
		}
	}
	return true;
}

// Big-endian output for legacy VTK binary data.
template <class T> void putBigEndian(std::string& out, T value)
{
	unsigned char aBytes[sizeof(T)];
	std::memcpy(aBytes, &value, sizeof(T));
	if(hostIsLittleEndian())
	{
		for(size_t i = 0; i < sizeof(T) / 2; ++i) std::swap(aBytes[i], aBytes[sizeof(T) - 1 - i]);
	}
	out.append(reinterpret_cast<const char*>(aBytes), sizeof(T));
}

} // namespace

bool readPoints(const std::string& fileName, std::vector<Point3>& vPoints, std::string& errorMessage)
{
	std::string content;
	if(!readWholeFile(fileName, content))
	{
		errorMessage = fileName + ": cannot open file";
		return false;
	}
	if(content.compare(0, 3, "ply") == 0) return readPly(fileName, content, vPoints, errorMessage);
	return readText(fileName, content, vPoints, errorMessage);
}

bool binaryPlyLayout(const std::string& fileName, const std::string& head, PlyLayout& layout, std::string& errorMessage)
{
	if(head.compare(0, 3, "ply") != 0)
	{
		errorMessage = fileName + ": not a PLY file";
		return false;
	}
	PlyHeader header;
	if(!parsePlyHeader(fileName, head, header, errorMessage)) return false;
	if(header.format == PLY_ASCII)
	{
		errorMessage = fileName + ": an ASCII PLY file, not binary";
		return false;
	}
	if(header.vertexElement != 0)
	{
		errorMessage = fileName + ": the vertex element is not the first element";
		return false;
	}
	layout = PlyLayout();
	layout.dataStart = header.pos;
	layout.numVertices = static_cast<uint64_t>(header.vElements[0].count);
	layout.bSwap = (header.format == PLY_BINARY_LE) != hostIsLittleEndian();
	const std::vector<PlyProperty>& vProperties(header.vElements[0].vProperties);
	for(size_t p = 0; p < vProperties.size(); ++p)
	{
		if(vProperties[p].bList)
		{
			errorMessage = fileName + ": the vertex element has a list property";
			return false;
		}
		for(int k = 0; k < 3; ++k)
		{
			if(header.aXyz[k] != static_cast<int>(p)) continue;
			layout.aOffset[k] = layout.recordBytes;
			layout.aSize[k] = vProperties[p].size;
			layout.aKind[k] = vProperties[p].kind;
		}
		layout.recordBytes += static_cast<uint64_t>(vProperties[p].size);
	}
	return true;
}

void decodePlyVertex(const PlyLayout& layout, const unsigned char* pRecord, double* pXyz)
{
	for(int k = 0; k < 3; ++k) pXyz[k] = decodeScalar(pRecord + layout.aOffset[k], layout.aSize[k], layout.aKind[k], layout.bSwap);
}

// Output files are written under fileName + ".part" and renamed into place
// when complete, so that a failed write never leaves a truncated file with
// the name asked for.
static bool openPartFile(const std::string& fileName, const std::string& tmpName, std::ofstream& out, std::string& errorMessage)
{
	out.open(tmpName, std::ios::binary | std::ios::trunc);
	if(!out) errorMessage = fileName + ": cannot create output file";
	return bool(out);
}

static bool finishPartFile(const std::string& fileName, const std::string& tmpName, std::ofstream& out, std::string& errorMessage)
{
	out.close();
	if(!out) errorMessage = fileName + ": write error";
	else if(std::rename(tmpName.c_str(), fileName.c_str()) != 0)
		errorMessage = fileName + ": cannot rename the finished file into place";
	else return true;
	std::remove(tmpName.c_str());
	return false;
}

bool writePly(const std::string& fileName, const std::vector<Point3>& vPoints, std::string& errorMessage)
{
	const std::string tmpName(fileName + ".part");
	std::ofstream out;
	if(!openPartFile(fileName, tmpName, out, errorMessage)) return false;
	out << "ply\nformat binary_little_endian 1.0\nelement vertex " << vPoints.size()
		<< "\nproperty double x\nproperty double y\nproperty double z\nend_header\n";
	std::vector<unsigned char> vBuffer;
	vBuffer.reserve(1 << 22);
	const bool bSwap(!hostIsLittleEndian());
	for(size_t i = 0; i < vPoints.size(); ++i)
	{
		const double aXyz[3] = {vPoints[i].x(), vPoints[i].y(), vPoints[i].z()};
		for(double value : aXyz)
		{
			unsigned char aBytes[8];
			std::memcpy(aBytes, &value, 8);
			for(int b = 0; b < 8; ++b) vBuffer.push_back(aBytes[bSwap ? 7 - b : b]);
		}
		if(vBuffer.size() >= (1u << 22) - 24 || i + 1 == vPoints.size())
		{
			out.write(reinterpret_cast<const char*>(vBuffer.data()), static_cast<std::streamsize>(vBuffer.size()));
			vBuffer.clear();
		}
	}
	return finishPartFile(fileName, tmpName, out, errorMessage);
}

bool writeVtk(const std::string& fileName, const std::vector<Point3*>& vVertices, const std::vector<Tet3*>& vTets,
	bool bAscii, std::string& errorMessage)
{
	// Vertex numbers for the file go into the vertices' free index field.
	for(size_t i = 0; i < vVertices.size(); ++i) vVertices[i]->setIndex(static_cast<int>(i));

	const std::string tmpName(fileName + ".part");
	std::ofstream out;
	if(!openPartFile(fileName, tmpName, out, errorMessage)) return false;
	out << "# vtk DataFile Version 3.0\n";
	out << "Delaunay tetrahedralisation written by Vorn3D\n";
	out << (bAscii ? "ASCII\n" : "BINARY\n");
	out << "DATASET UNSTRUCTURED_GRID\n";
	out << "POINTS " << vVertices.size() << " double\n";
	std::string block;
	if(bAscii)
	{
		out.precision(17);
		for(const Point3* pVtx : vVertices) out << pVtx->x() << " " << pVtx->y() << " " << pVtx->z() << "\n";
		out << "CELLS " << vTets.size() << " " << 5 * vTets.size() << "\n";
		for(const Tet3* pTet : vTets)
		{
			out << "4 " << pTet->getCorner(0)->getIndex() << " " << pTet->getCorner(1)->getIndex() << " "
				<< pTet->getCorner(2)->getIndex() << " " << pTet->getCorner(3)->getIndex() << "\n";
		}
		out << "CELL_TYPES " << vTets.size() << "\n";
		for(size_t i = 0; i < vTets.size(); ++i) out << "10\n";
	}
	else
	{
		block.reserve(vVertices.size() * 24);
		for(const Point3* pVtx : vVertices)
		{
			putBigEndian(block, pVtx->x());
			putBigEndian(block, pVtx->y());
			putBigEndian(block, pVtx->z());
		}
		out.write(block.data(), static_cast<std::streamsize>(block.size()));
		out << "\nCELLS " << vTets.size() << " " << 5 * vTets.size() << "\n";
		block.clear();
		block.reserve(vTets.size() * 20);
		for(const Tet3* pTet : vTets)
		{
			putBigEndian<int32_t>(block, 4);
			for(int i = 0; i < 4; ++i) putBigEndian<int32_t>(block, pTet->getCorner(i)->getIndex());
		}
		out.write(block.data(), static_cast<std::streamsize>(block.size()));
		out << "\nCELL_TYPES " << vTets.size() << "\n";
		block.clear();
		for(size_t i = 0; i < vTets.size(); ++i) putBigEndian<int32_t>(block, 10);
		out.write(block.data(), static_cast<std::streamsize>(block.size()));
		out << "\n";
	}
	return finishPartFile(fileName, tmpName, out, errorMessage);
}

bool writeVtu(const std::string& fileName, size_t numPoints, const std::function<void(size_t, double*)>& pointAt,
	size_t numCells, const std::function<void(size_t, int64_t*)>& cellAt, const int64_t* pGlobalIndex,
	std::string& errorMessage)
{
	const std::string tmpName(fileName + ".part");
	std::ofstream out;
	if(!openPartFile(fileName, tmpName, out, errorMessage)) return false;
	// Appended blocks, each a UInt64 byte count and the data: points,
	// connectivity, offsets, types, then the optional global indices.
	const uint64_t aBytes[5] = {24 * uint64_t(numPoints), 32 * uint64_t(numCells), 8 * uint64_t(numCells),
		uint64_t(numCells), pGlobalIndex != nullptr ? 8 * uint64_t(numPoints) : 0};
	uint64_t aOffset[5] = {0, 0, 0, 0, 0};
	for(int i = 1; i < 5; ++i) aOffset[i] = aOffset[i - 1] + 8 + aBytes[i - 1];
	out << "<?xml version=\"1.0\"?>\n"
		<< "<VTKFile type=\"UnstructuredGrid\" version=\"1.0\" byte_order=\""
		<< (hostIsLittleEndian() ? "LittleEndian" : "BigEndian") << "\" header_type=\"UInt64\">\n"
		<< "  <UnstructuredGrid>\n"
		<< "    <Piece NumberOfPoints=\"" << numPoints << "\" NumberOfCells=\"" << numCells << "\">\n";
	if(pGlobalIndex != nullptr)
	{
		out << "      <PointData>\n"
			<< "        <DataArray type=\"Int64\" Name=\"GlobalIndex\" format=\"appended\" offset=\"" << aOffset[4]
			<< "\"/>\n"
			<< "      </PointData>\n";
	}
	out << "      <Points>\n"
		<< "        <DataArray type=\"Float64\" NumberOfComponents=\"3\" format=\"appended\" offset=\"0\"/>\n"
		<< "      </Points>\n"
		<< "      <Cells>\n"
		<< "        <DataArray type=\"Int64\" Name=\"connectivity\" format=\"appended\" offset=\"" << aOffset[1] << "\"/>\n"
		<< "        <DataArray type=\"Int64\" Name=\"offsets\" format=\"appended\" offset=\"" << aOffset[2] << "\"/>\n"
		<< "        <DataArray type=\"UInt8\" Name=\"types\" format=\"appended\" offset=\"" << aOffset[3] << "\"/>\n"
		<< "      </Cells>\n"
		<< "    </Piece>\n"
		<< "  </UnstructuredGrid>\n"
		<< "  <AppendedData encoding=\"raw\">\n_";
	// Data in pieces of a few MiB, so that no block needs a copy in memory.
	std::vector<char> vBuffer;
	vBuffer.reserve(1 << 22);
	const auto put([&](const void* pData, size_t numBytes) {
		const char* pChars(static_cast<const char*>(pData));
		vBuffer.insert(vBuffer.end(), pChars, pChars + numBytes);
		if(vBuffer.size() >= (1u << 22) - 64)
		{
			out.write(vBuffer.data(), static_cast<std::streamsize>(vBuffer.size()));
			vBuffer.clear();
		}
	});
	put(&aBytes[0], 8);
	for(size_t i = 0; i < numPoints; ++i)
	{
		double aXyz[3];
		pointAt(i, aXyz);
		put(aXyz, sizeof(aXyz));
	}
	put(&aBytes[1], 8);
	for(size_t k = 0; k < numCells; ++k)
	{
		int64_t aCorners[4];
		cellAt(k, aCorners);
		put(aCorners, sizeof(aCorners));
	}
	put(&aBytes[2], 8);
	for(size_t k = 1; k <= numCells; ++k)
	{
		const int64_t end(4 * static_cast<int64_t>(k));
		put(&end, sizeof(end));
	}
	put(&aBytes[3], 8);
	const uint8_t tetrahedron(10);
	for(size_t k = 0; k < numCells; ++k) put(&tetrahedron, 1);
	if(pGlobalIndex != nullptr)
	{
		put(&aBytes[4], 8);
		put(pGlobalIndex, static_cast<size_t>(aBytes[4]));
	}
	out.write(vBuffer.data(), static_cast<std::streamsize>(vBuffer.size()));
	out << "\n  </AppendedData>\n</VTKFile>\n";
	return finishPartFile(fileName, tmpName, out, errorMessage);
}

bool writeVtu(const std::string& fileName, const std::vector<Point3*>& vVertices, const std::vector<Tet3*>& vTets,
	std::string& errorMessage)
{
	// Vertex numbers for the file go into the vertices' free index field.
	for(size_t i = 0; i < vVertices.size(); ++i) vVertices[i]->setIndex(static_cast<int>(i));
	return writeVtu(
		fileName, vVertices.size(),
		[&](size_t i, double* pXyz) {
			pXyz[0] = vVertices[i]->x();
			pXyz[1] = vVertices[i]->y();
			pXyz[2] = vVertices[i]->z();
		},
		vTets.size(),
		[&](size_t k, int64_t* pCorners) {
			for(int i = 0; i < 4; ++i) pCorners[i] = vTets[k]->getCorner(i)->getIndex();
		},
		nullptr, errorMessage);
}

bool readVtkSummary(const std::string& fileName, VtkSummary& summary, std::string& errorMessage)
{
	std::string content;
	if(!readWholeFile(fileName, content))
	{
		errorMessage = fileName + ": cannot open file";
		return false;
	}
	size_t pos(0);
	auto nextLine = [&](std::string& line) -> bool {
		if(pos >= content.size()) return false;
		size_t end(content.find('\n', pos));
		if(end == std::string::npos) end = content.size();
		line.assign(content, pos, end - pos);
		pos = end + 1;
		return true;
	};
	std::string line;
	std::string version, title, encoding, dataset;
	if(!nextLine(version) || version.compare(0, 22, "# vtk DataFile Version") != 0 || !nextLine(title) ||
		!nextLine(encoding) || !nextLine(dataset) || dataset != "DATASET UNSTRUCTURED_GRID")
	{
		errorMessage = fileName + ": not a legacy VTK unstructured grid";
		return false;
	}
	const bool bAscii(encoding == "ASCII");
	if(!bAscii && encoding != "BINARY")
	{
		errorMessage = fileName + ": unknown encoding " + encoding;
		return false;
	}
	auto readInts = [&](size_t count, std::vector<long>& vOut) -> bool {
		vOut.resize(count);
		if(bAscii)
		{
			for(size_t i = 0; i < count; ++i)
			{
				while(pos < content.size() && std::isspace(static_cast<unsigned char>(content[pos]))) ++pos;
				char* pEnd(nullptr);
				vOut[i] = std::strtol(content.c_str() + pos, &pEnd, 10);
				if(pEnd == content.c_str() + pos) return false;
				pos = static_cast<size_t>(pEnd - content.c_str());
			}
			if(pos < content.size() && content[pos] == '\n') ++pos;
			return true;
		}
		if(pos + 4 * count > content.size()) return false;
		for(size_t i = 0; i < count; ++i)
		{
			uint32_t v(0);
			for(int b = 0; b < 4; ++b) v = (v << 8) | static_cast<unsigned char>(content[pos + 4 * i + b]);
			vOut[i] = static_cast<int32_t>(v);
		}
		pos += 4 * count;
		if(pos < content.size() && content[pos] == '\n') ++pos;
		return true;
	};

	char aType[32];
	if(!nextLine(line) || std::sscanf(line.c_str(), "POINTS %ld %31s", &summary.numPoints, aType) != 2)
	{
		errorMessage = fileName + ": missing POINTS";
		return false;
	}
	if(bAscii)
	{
		for(long i = 0; i < summary.numPoints; ++i)
		{
			if(!nextLine(line))
			{
				errorMessage = fileName + ": truncated POINTS";
				return false;
			}
		}
	}
	else
	{
		pos += static_cast<size_t>(summary.numPoints) * 24;
		if(pos < content.size() && content[pos] == '\n') ++pos;
	}
	long cellInts(0);
	if(!nextLine(line) || std::sscanf(line.c_str(), "CELLS %ld %ld", &summary.numCells, &cellInts) != 2)
	{
		errorMessage = fileName + ": missing CELLS";
		return false;
	}
	std::vector<long> vCells;
	if(!readInts(static_cast<size_t>(cellInts), vCells))
	{
		errorMessage = fileName + ": truncated CELLS";
		return false;
	}
	summary.bIndicesInRange = true;
	for(size_t i = 0; i < vCells.size(); i += 5)
	{
		if(vCells[i] != 4)
		{
			summary.bIndicesInRange = false;
			break;
		}
		for(int k = 1; k <= 4 && i + k < vCells.size(); ++k)
		{
			if(vCells[i + k] < 0 || vCells[i + k] >= summary.numPoints) summary.bIndicesInRange = false;
		}
	}
	long numTypes(0);
	if(!nextLine(line) || std::sscanf(line.c_str(), "CELL_TYPES %ld", &numTypes) != 1 || numTypes != summary.numCells)
	{
		errorMessage = fileName + ": missing or inconsistent CELL_TYPES";
		return false;
	}
	std::vector<long> vTypes;
	if(!readInts(static_cast<size_t>(numTypes), vTypes))
	{
		errorMessage = fileName + ": truncated CELL_TYPES";
		return false;
	}
	summary.bAllTetrahedra = true;
	for(long t : vTypes)
	{
		if(t != 10) summary.bAllTetrahedra = false;
	}
	return true;
}

} // namespace vorn3dapp
