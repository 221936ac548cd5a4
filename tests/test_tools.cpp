#include <gtest/gtest.h>

#include "StdoutCapture.h"
#include "tools.h"

using VORN3D::conditionFailed;

namespace {

int failingCheck(int value)
{
	ASSERT_CONDITION(value==3);
	return value;
}

} // namespace

TEST(ConditionCheck, PrintsTwoLinesWithDoubledCommaThenThrows)
{
	vtest::StdoutCapture capture;
	const int expectedLine(__LINE__ - 9);
	EXPECT_THROW(failingCheck(4), VornException);
	EXPECT_EQ(capture.str(), "\n      Vorn, , ERROR: Condition [ value==3 failed ]\n      tests/test_tools.cpp:" +
			std::to_string(expectedLine) + "\n");
}

TEST(ConditionCheck, HoldingConditionPrintsNothing)
{
	vtest::StdoutCapture capture;
	EXPECT_EQ(failingCheck(3), 3);
	EXPECT_EQ(capture.str(), "");
}
