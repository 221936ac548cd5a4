// Messages, the condition check, the exception text, the deliberate crash
// and the event counters.
#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>

#include "StdoutCapture.h"
#include "testDataGenerators.h"
#include "tools.h"

using VORN3D::conditionFailed;

namespace {

// The line of the condition below, as the failure message must name it.
const int conditionLine(__LINE__ + 3);
int failingCheck(int value)
{
	ASSERT_CONDITION(value==3);
	return value;
}

int evaluations(0);

bool countedTrue()
{
	++evaluations;
	return true;
}

const char* const exceptionText("\n  VORN EXCEPTION due to a bug _or_ wrong usage of Vorn. If you think it is a \n"
								"  bug then please report this incident and it will be fixed quickly: ");

} // namespace

TEST(ConditionCheck, PrintsTwoLinesWithDoubledCommaThenThrows)
{
	vtest::StdoutCapture capture;
	EXPECT_THROW(failingCheck(4), VornException);
	EXPECT_EQ(capture.str(), "\n      Vorn, , ERROR: Condition [ value==3 failed ]\n      tests/test_tools.cpp:" +
			std::to_string(conditionLine) + "\n");
}

TEST(ConditionCheck, HoldingConditionPrintsNothingAndIsEvaluatedOnce)
{
	vtest::StdoutCapture capture;
	EXPECT_EQ(failingCheck(3), 3);
	evaluations = 0;
	ASSERT_CONDITION(countedTrue());
	EXPECT_EQ(evaluations, 1);
	EXPECT_EQ(capture.str(), "");
}

TEST(ConditionCheck, ConditionTextIsTheSourceTextAsWritten)
{
	vtest::StdoutCapture capture;
	const int* pNothing(nullptr);
	try
	{
		ASSERT_CONDITION(pNothing!=NULL && *pNothing > 2);
		FAIL() << "no exception";
	}
	catch(const VornException&)
	{
	}
	EXPECT_NE(capture.str().find("Condition [ pNothing!=NULL && *pNothing > 2 failed ]\n"), std::string::npos)
		<< capture.str();
}

TEST(VornExceptionText, WhatIsFixedWhateverFailed)
{
	try
	{
		vtest::StdoutCapture capture;
		failingCheck(0);
		FAIL() << "no exception";
	}
	catch(const std::exception& e)
	{
		// Caught as std::exception: the text is the fixed one with a contact.
		const std::string text(e.what());
		ASSERT_EQ(text.compare(0, std::strlen(exceptionText), exceptionText), 0) << text;
		EXPECT_GT(text.size(), std::strlen(exceptionText));
		EXPECT_EQ(text.find('\n', std::strlen(exceptionText)), std::string::npos);
		EXPECT_EQ(std::string(VornException().what()), text);
	}
	const VornException original;
	const VornException copy(original);
	EXPECT_STREQ(copy.what(), original.what());
}

TEST(Messages, WarningAndErrorLines)
{
	vtest::StdoutCapture capture;
	VORN3D::printWarning("Dt3::insert()", "something odd");
	VORN3D::printError("Tet3::getEdge()", "opp3ICI==opp2ICI=2");
	EXPECT_EQ(capture.str(), "\n      Dt3::insert(), WARNING: something odd\n"
							 "\n      Tet3::getEdge(), ERROR: opp3ICI==opp2ICI=2\n");
}

TEST(Messages, ErrorReportingPlaceIsTheSourceFile)
{
	vtest::StdoutCapture capture;
	EXPECT_THROW(conditionFailed("a<b", "dt3Library/Dt3.cpp", 123), VornException);
	EXPECT_EQ(capture.str(), "\n      Vorn, , ERROR: Condition [ a<b failed ]\n      dt3Library/Dt3.cpp:123\n");
}

TEST(Messages, HeadlineFramesTheTitle)
{
	vtest::StdoutCapture capture;
	VORN3D::printHeadline("Check");
	const std::string row(std::string(41, '*') + "\n");
	EXPECT_EQ(capture.str(), "\n\n" + row + row + "                Check\n" + row + row);
}

TEST(Messages, HeadlineWithEmptyTitleStillHas36Stars)
{
	vtest::StdoutCapture capture;
	VORN3D::printHeadline("");
	const std::string row(std::string(36, '*') + "\n");
	EXPECT_EQ(capture.str(), "\n\n" + row + row + "                \n" + row + row);
}

TEST(Messages, GoToHellPrintsTheReasonAndStopsOnTheSpot)
{
	EXPECT_DEATH(
		{
			std::cout.rdbuf(std::cerr.rdbuf());
			VORN3D::goToHell("impossible case");
		},
		"\n      goToHell, ERROR:  reason: impossible case\n");
}

// Counts and reports in a fresh table; exits with 0 when every report was
// as expected.
void exitWithCounterCheck()
{
	vtest::StdoutCapture capture;
	std::string report("GETCOUNTERS");
	benchCounter(report);
	const bool bEmptyOk(capture.str() == "\nCounters: \n\n");
	std::string a("a"), b("b"), longer("Dt3::insertOne");
	benchCounter(b);
	benchCounter(a);
	benchCounter(b);
	benchCounter(longer);
	benchCounter(report);
	const std::string first(capture.str());
	benchCounter(a);
	benchCounter(report);
	const std::string second(capture.str());
	const std::string expectedFirst("\nCounters: \n\n\nCounters: \nDt3::insertOne\t1\na\t1\nb\t2\n\n");
	const bool bOk(bEmptyOk && first == expectedFirst &&
		second == expectedFirst + "\nCounters: \nDt3::insertOne\t1\na\t2\nb\t2\n\n");
	std::cerr << (bOk ? "counters as expected" : "unexpected: " + second) << std::endl;
	exit(bOk ? 0 : 3);
}

TEST(BenchCounter, CountsByNameAndReportsAlphabetically)
{
	// A fresh process, so that the table starts empty whatever ran before.
	GTEST_FLAG_SET(death_test_style, "threadsafe");
	EXPECT_EXIT(exitWithCounterCheck(), ::testing::ExitedWithCode(0), "counters as expected");
}
