// Version numbers and the version text.
#include <gtest/gtest.h>

#include "Vorn_3D.h"

TEST(Version, NumbersAndBuildKind)
{
	EXPECT_EQ(VORN3D::getMajorVersionNumber(), 0);
	EXPECT_EQ(VORN3D::getMinorVersionNumber(), 99);
	EXPECT_EQ(VORN3D::getRevisionNumber(), 0);
	EXPECT_FALSE(VORN3D::isRelease());
}

TEST(Version, TextIsBuiltFromTheNumbersAndStaysTheSame)
{
	const std::string text(VORN3D::getVorn3DVersion());
	EXPECT_EQ(text, "Vorn3D, DEBUG, v0.99.0");
	EXPECT_EQ(text, "Vorn3D, DEBUG, v" + std::to_string(VORN3D::getMajorVersionNumber()) + "." +
			std::to_string(VORN3D::getMinorVersionNumber()) + "." + std::to_string(VORN3D::getRevisionNumber()));
	// A copy each time: changing one does not change the next.
	std::string copy(VORN3D::getVorn3DVersion());
	copy += " changed";
	EXPECT_EQ(VORN3D::getVorn3DVersion(), text);
}
