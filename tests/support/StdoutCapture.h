// Captures what the library writes to std::cout during a scope.
#ifndef VORN3D_TEST_STDOUTCAPTURE_H
#define VORN3D_TEST_STDOUTCAPTURE_H

#include <iostream>
#include <sstream>
#include <string>

namespace vtest {

class StdoutCapture
{
public:
	StdoutCapture(): pOld(std::cout.rdbuf(buffer.rdbuf())) {}
	~StdoutCapture() { std::cout.rdbuf(pOld); }
	StdoutCapture(const StdoutCapture&) = delete;
	StdoutCapture& operator=(const StdoutCapture&) = delete;
	/// Everything written so far.
	std::string str() const { return buffer.str(); }

private:
	std::ostringstream buffer;
	std::streambuf* pOld;
};

} // namespace vtest

#endif
