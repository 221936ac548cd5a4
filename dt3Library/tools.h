// Messages, condition checks and event counters shared by every module.
//
// All diagnostics go to standard output. None of them looks at any
// verbosity setting: warnings, errors and failed conditions always print.
#ifndef VORN3D_TOOLS_H
#define VORN3D_TOOLS_H

#include <string>

#include "VornException.h"

namespace VORN3D {

/// Writes an empty line, then "      <who>, WARNING: <message>".
void printWarning(const std::string& who, const std::string& message);
/// Writes an empty line, then "      <who>, ERROR: <message>". Does not throw.
void printError(const std::string& who, const std::string& message);
/// Framed title used by the validity report.
void printHeadline(const std::string& title);
/// For states the algorithms consider impossible: prints the reason and stops
/// the process on the spot by reading through a null pointer. Never returns.
[[noreturn]] void goToHell(const std::string& reason);

/// Reports a failed condition (error line, then source position) and throws
/// VornException. Kept out of line so that the checks cost one compare on the
/// hot paths.
[[noreturn]] void conditionFailed(const char* conditionText, const char* file, int line);

} // namespace VORN3D

/// The library's own run-time check. It is on in every build type, unlike the
/// standard assert(): the condition text is printed exactly as written.
#define ASSERT_CONDITION(cond)                                                   \
	do {                                                                         \
		if(__builtin_expect(!(cond), 0))                                         \
			::VORN3D::conditionFailed(#cond, __FILE__, __LINE__);                \
	} while(0)

#endif
