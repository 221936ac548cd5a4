#include <sstream>
#include <string>

#include "Vorn_3D.h"

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

int getMajorVersionNumber()
{
	return majorVersionNumber;
}

int getMinorVersionNumber()
{
	return minorVersionNumber;
}

int getRevisionNumber()
{
	return revisionNumber;
}

bool isRelease()
{
	return false;
}

std::string getVorn3DVersion()
{
	return versionString;
}

} // namespace VORN3D
