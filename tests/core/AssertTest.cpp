#include "core/core_Assert.h"
#include "support/NoticeCapture.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

using q38test::NoticeCapture;

const std::string kLibraryText =
    "A serious error occured, and the program is probably going to crash.\n"
    "We apologize for the inconvenience and encourage you to report this to our tech support.";

std::string here(int inLine) { return " in file 'tests/core/AssertTest.cpp' line " + std::to_string(inLine) + "\n"; }

// A library function in the usual form: check, report, carry on with the value.
int doubleChecked(int inValue)
{
    Q38_ASSERT(core::kAssertionLibrary, inValue >= 0);
    return inValue * 2;
}

// Takes one stamp line, "%Y-%m-%d %H:%M:%S " and the milliseconds, off the front
// of ioText and returns the milliseconds; -1 when the text does not start with one.
long long takeStampLine(std::string& ioText)
{
    const std::string shape = "dddd-dd-dd dd:dd:dd ";
    const std::size_t end = ioText.find('\n');
    if (end == std::string::npos || end <= shape.size())
        return -1;
    for (std::size_t i = 0; i < end; ++i) {
        const bool digit = ioText[i] >= '0' && ioText[i] <= '9';
        if (i < shape.size() && shape[i] != 'd' ? ioText[i] != shape[i] : !digit)
            return -1;
    }
    const long long milliseconds = std::stoll(ioText.substr(shape.size(), end - shape.size()));
    ioText.erase(0, end + 1);
    return milliseconds;
}

} // namespace

TEST(Assertion, LibraryLevelReportsAndTheFixedNotice)
{
    NoticeCapture capture;
    const int x = -1;
    const int line1 = __LINE__; Q38_ASSERT(core::kAssertionLibrary, x > 0);
    const int line2 = __LINE__; Q38_ASSERT_FALSE(core::kAssertionLibrary);
    core::reportAssertion(core::kAssertionLibrary, "0", "src/a.cpp", -7, "");
    core::reportAssertion(core::kAssertionLibrary, "n < 4", "src/b.cpp", 12, "Bad n: 9");

    ASSERT_EQ(capture.size(), 4u);
    EXPECT_EQ(capture.notices()[0].mReport, "Assertion 'x > 0' failed" + here(line1));
    EXPECT_EQ(capture.notices()[1].mReport, "Generic assertion failed" + here(line2));
    EXPECT_EQ(capture.notices()[2].mReport, "Generic assertion failed in file 'src/a.cpp' line -7\n");
    EXPECT_EQ(capture.notices()[3].mReport, "Assertion 'n < 4' failed in file 'src/b.cpp' line 12\nBad n: 9\n");
    for (const core::AssertionNotice& notice : capture.notices())
        EXPECT_TRUE(notice.mLevel == 2u && notice.mTitle == "Serious error" && notice.mText == kLibraryText);
}

TEST(Assertion, InterfaceLevelNoticeAlwaysQuotesTheExpression)
{
    NoticeCapture capture;
    const double value = 2.5;
    const int line1 = __LINE__; Q38_ASSERT_MSG(core::kAssertionInterface, value < 1.0, "value < 1.0", "Bad: " << value);
    const int line2 = __LINE__; Q38_ASSERT_MSG(core::kAssertionInterface, false, "false", "Unknown id: " << 17);
    const int line3 = __LINE__; Q38_ASSERT(core::kAssertionInterface, value == 0.0);

    ASSERT_EQ(capture.size(), 3u);
    EXPECT_EQ(capture.notices()[0].mReport, "Assertion 'value < 1.0' failed" + here(line1) + "Bad: 2.5\n");
    EXPECT_EQ(capture.notices()[0].mText, "Assertion 'value < 1.0' failed.\nBad: 2.5");
    EXPECT_EQ(capture.notices()[1].mReport, "Generic assertion failed" + here(line2) + "Unknown id: 17\n");
    EXPECT_EQ(capture.notices()[1].mText, "Assertion 'false' failed.\nUnknown id: 17");
    EXPECT_EQ(capture.notices()[2].mReport, "Assertion 'value == 0.0' failed" + here(line3));
    EXPECT_EQ(capture.notices()[2].mText, "Assertion 'value == 0.0' failed.\n");
    for (const core::AssertionNotice& notice : capture.notices())
        EXPECT_TRUE(notice.mLevel == 3u && notice.mTitle == "Serious error");

    // The caller goes on with the offending value.
    capture.clear();
    EXPECT_EQ(doubleChecked(-3), -6);
    EXPECT_EQ(doubleChecked(4), 8);
    EXPECT_EQ(capture.heads(), std::vector<std::string>{"Assertion 'inValue >= 0' failed"});
}

TEST(Assertion, LogGetsAStampLineThenTheReportAtEveryLevel)
{
    NoticeCapture capture;
    const auto now = [] {
        using namespace std::chrono;
        return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
    };
    const auto path = std::filesystem::temp_directory_path() / ("q38_assert_" + std::to_string(::getpid()) + ".log");
    std::filesystem::remove(path);
    core::setAssertionLogPath(path.string());
    const long long before = now();
    core::reportAssertion(core::kAssertionMessage, "ignored", "src/m.cpp", 3, "Plain note");
    core::reportAssertion(core::kAssertionExpectation, "y != 0", "src/e.cpp", 4, "");
    core::reportAssertion(core::kAssertionExpectation, "false", "src/e.cpp", 5, "");
    core::reportAssertion(core::kAssertionLibrary, "z", "src/l.cpp", 6, "");
    const long long after = now();
    core::setAssertionLogPath("");
    EXPECT_EQ(capture.size(), 1u);  // levels 0 and 1 show nothing

    std::ostringstream contents;
    contents << std::ifstream(path).rdbuf();
    std::string text = contents.str();
    std::filesystem::remove(path);
    for (const std::string report : {"Plain note (in file 'src/m.cpp' line 3)\n",
                                     "Expectation 'y != 0' failed in file 'src/e.cpp' line 4\n",
                                     "Generic assertion failed in file 'src/e.cpp' line 5\n",
                                     "Assertion 'z' failed in file 'src/l.cpp' line 6\n"}) {
        const long long milliseconds = takeStampLine(text);
        EXPECT_TRUE(milliseconds >= before && milliseconds <= after) << text;
        // The report carries its own line end and gets one more when written.
        ASSERT_EQ(text.substr(0, report.size() + 1), report + "\n");
        text.erase(0, report.size() + 1);
    }
    EXPECT_EQ(text, "");

    // An empty path writes nothing.
    core::reportAssertion(core::kAssertionLibrary, "x", "src/x.cpp", 1, "");
    EXPECT_FALSE(std::filesystem::exists(path));
}
