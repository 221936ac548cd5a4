// Reads a whole text file written by the library (scene and fault files).
#ifndef VORN3D_TEST_TEXTFILE_H
#define VORN3D_TEST_TEXTFILE_H

#include <fstream>
#include <sstream>
#include <string>

namespace vtest {

/// The file's content, or an empty string when it cannot be opened.
inline std::string readFile(const std::string& name)
{
	std::ifstream file(name.c_str());
	std::ostringstream text;
	text << file.rdbuf();
	return text.str();
}

} // namespace vtest

#endif
