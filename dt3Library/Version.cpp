#include <sstream>
#include <string>

#include "vorn3d_export.h"

namespace VORN3D {

namespace {

const int majorVersionNumber(0);
const int minorVersionNumber(99);
const int revisionNumber(0);

std::string buildVersionString()
{
	std::ostringstream stream;
	stream << "Vorn3D, " << "DEBUG" << ", v" << majorVersionNumber << "." << minorVersionNumber << "."
		   << revisionNumber;
	return stream.str();
}

// Built once when the library is loaded and only read afterwards, so that
// concurrent readers never race on it.
const std::string versionString(buildVersionString());

} // namespace

VORN3D_API int getMajorVersionNumber()
{
	return majorVersionNumber;
}

VORN3D_API int getMinorVersionNumber()
{
	return minorVersionNumber;
}

VORN3D_API int getRevisionNumber()
{
	return revisionNumber;
}

VORN3D_API bool isRelease()
{
	return false;
}

VORN3D_API std::string getVorn3DVersion()
{
	return versionString;
}

} // namespace VORN3D
