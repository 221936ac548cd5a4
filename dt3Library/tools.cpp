#include "tools.h"

#include <iostream>
#include <map>
#include <mutex>

#include "testDataGenerators.h"
#include "vorn3d_export.h"

namespace {
const char* const fixedExceptionText =
	"\n  VORN EXCEPTION due to a bug _or_ wrong usage of Vorn. If you think it is a "
	"\n  bug then please report this incident and it will be fixed quickly: "
	"bugs@vorn3d.org";
} // namespace

VornException::VornException(const std::string& detail):
	pText(std::make_shared<const std::string>(std::string(fixedExceptionText) + "\n  " + detail)),
	detailStart(pText->size() - detail.size())
{
}

VornException::~VornException() = default;

const char* VornException::what() const noexcept
{
	return pText ? pText->c_str() : fixedExceptionText;
}

const char* VornException::detail() const noexcept
{
	return pText ? pText->c_str() + detailStart : "";
}

VornInputError::~VornInputError() = default;

namespace VORN3D {

void printWarning(const std::string& who, const std::string& message)
{
	std::cout << std::endl;
	std::cout << "      " << who << ", WARNING: " << message << std::endl;
}

void printError(const std::string& who, const std::string& message)
{
	std::cout << std::endl;
	std::cout << "      " << who << ", ERROR: " << message << std::endl;
}

void printHeadline(const std::string& title)
{
	const std::string stars(title.size() + 36, '*');
	const std::string row(stars + "\n");
	std::cout << "\n\n" << row << row << "                " << title << "\n" << row << row;
}

void goToHell(const std::string& reason)
{
	printError("goToHell", " reason: " + reason);
	// Deliberate crash at this very spot, so that a debugger stops here.
	volatile int* pNull = nullptr;
	std::cout << *pNull << std::endl;
	__builtin_trap();
}

void conditionFailed(const char* conditionText, const char* file, int line)
{
	printError("Vorn, ", std::string("Condition [ ") + conditionText + " failed ]");
	std::cout << "      " << file << ":" << line << std::endl;
	throw VornException(std::string("Condition [ ") + conditionText + " failed ] at " + file + ":" +
		std::to_string(line));
}

} // namespace VORN3D

namespace {
// Created on first use so that counting works from static initialisers too.
// One table for the process, so that events counted on worker threads show
// in a report from any thread; the mutex guards it.
std::map<std::string, int>& counterTable()
{
	static std::map<std::string, int> table;
	return table;
}
std::mutex& counterMutex()
{
	static std::mutex mutex;
	return mutex;
}
} // namespace

VORN3D_API void benchCounter(std::string& name)
{
	std::map<std::string, int>& table(counterTable());
	const std::lock_guard<std::mutex> lock(counterMutex());
	if(name != "GETCOUNTERS")
	{
		++table[name];
		return;
	}
	std::cout << std::endl;
	std::cout << "Counters: " << std::endl;
	for(const auto& entry : table)
	{
		std::cout << entry.first << "\t" << entry.second << std::endl;
	}
	std::cout << std::endl;
}
