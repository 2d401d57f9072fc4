#include "core/core_Assert.h"

#include <gtest/gtest.h>

TEST(AssertionReport, AssertionHeadAndPosition)
{
    EXPECT_EQ(core::formatAssertionReport(2, "x > 0", "src/a.cpp", 12, ""),
              "Assertion 'x > 0' failed in file 'src/a.cpp' line 12\n");
}
