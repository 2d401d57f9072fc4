#include "core/core_Assert.h"
#include "support/NoticeCapture.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

using q38test::NoticeCapture;

const std::string kThisFile = "tests/core/AssertTest.cpp";
const std::string kLibraryText =
    "A serious error occured, and the program is probably going to crash.\n"
    "We apologize for the inconvenience and encourage you to report this to our tech support.";

std::string position(int inLine)
{
    return " in file '" + kThisFile + "' line " + std::to_string(inLine) + "\n";
}

// A library function in the usual form: check, report, carry on with the value.
int doubleChecked(int inValue)
{
    Q38_ASSERT(core::kAssertionLibrary, inValue >= 0);
    return inValue * 2;
}

std::string readFile(const std::filesystem::path& inPath)
{
    std::ifstream stream(inPath);
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

std::filesystem::path temporaryLogPath(const char* inName)
{
    std::filesystem::path path = std::filesystem::temp_directory_path() /
                                 (std::string("q38_") + inName + "_" + std::to_string(::getpid()) + ".log");
    std::filesystem::remove(path);
    return path;
}

// Reads one stamp line, "%Y-%m-%d %H:%M:%S " and the milliseconds, from the
// front of ioText and removes it. Returns false when the text does not start with one.
bool takeStampLine(std::string& ioText, long long* outMilliseconds)
{
    const std::string shape = "dddd-dd-dd dd:dd:dd ";
    if (ioText.size() <= shape.size())
        return false;
    for (std::size_t i = 0; i < shape.size(); ++i) {
        const bool digit = ioText[i] >= '0' && ioText[i] <= '9';
        if (shape[i] == 'd' ? !digit : ioText[i] != shape[i])
            return false;
    }
    const std::size_t end = ioText.find('\n', shape.size());
    if (end == std::string::npos || end == shape.size())
        return false;
    const std::string digits = ioText.substr(shape.size(), end - shape.size());
    if (digits.find_first_not_of("0123456789") != std::string::npos)
        return false;
    *outMilliseconds = std::stoll(digits);
    ioText.erase(0, end + 1);
    return true;
}

// Points the log at a file for one test and switches it off again afterwards.
struct ScopedLog
{
    explicit ScopedLog(const std::filesystem::path& inPath) : mPath(inPath) { core::setAssertionLogPath(inPath.string()); }
    ~ScopedLog()
    {
        core::setAssertionLogPath("");
        std::filesystem::remove(mPath);
    }
    std::filesystem::path mPath;
};

// When started by LogPathComesFromTheEnvironment, report once before main and leave.
const bool kChildReported = [] {
    if (std::getenv("Q38_ASSERT_TEST_CHILD") == nullptr)
        return false;
    core::reportAssertion(core::kAssertionMessage, "", "child.cpp", 5, "From the child");
    std::_Exit(0);
}();

} // namespace

TEST(AssertionReport, LibraryLevelTextsAndFixedNotice)
{
    NoticeCapture capture;
    const int x = -1;
    const int line1 = __LINE__; Q38_ASSERT(core::kAssertionLibrary, x > 0);
    const int line2 = __LINE__; Q38_ASSERT_FALSE(core::kAssertionLibrary);
    core::reportAssertion(core::kAssertionLibrary, "0", "src/a.cpp", -7, "");
    core::reportAssertion(core::kAssertionLibrary, "n < 4", "src/b.cpp", 12, "Bad n: 9");

    ASSERT_EQ(capture.size(), 4u);
    EXPECT_EQ(capture.notices()[0].mReport, "Assertion 'x > 0' failed" + position(line1));
    EXPECT_EQ(capture.notices()[1].mReport, "Generic assertion failed" + position(line2));
    EXPECT_EQ(capture.notices()[2].mReport, "Generic assertion failed in file 'src/a.cpp' line -7\n");
    EXPECT_EQ(capture.notices()[3].mReport, "Assertion 'n < 4' failed in file 'src/b.cpp' line 12\nBad n: 9\n");
    for (const core::AssertionNotice& notice : capture.notices()) {
        EXPECT_EQ(notice.mLevel, 2u);
        EXPECT_EQ(notice.mTitle, "Serious error");
        EXPECT_EQ(notice.mText, kLibraryText);
    }
}

TEST(AssertionReport, InterfaceLevelNoticeAlwaysQuotesTheExpression)
{
    NoticeCapture capture;
    const double value = 2.5;
    const int line1 = __LINE__; Q38_ASSERT_MSG(core::kAssertionInterface, value < 1.0, "value < 1.0", "Bad value: " << value);
    const int line2 = __LINE__; Q38_ASSERT_MSG(core::kAssertionInterface, false, "false", "Unknown id: " << 17);
    const int line3 = __LINE__; Q38_ASSERT(core::kAssertionInterface, value == 0.0);

    ASSERT_EQ(capture.size(), 3u);
    EXPECT_EQ(capture.notices()[0].mReport, "Assertion 'value < 1.0' failed" + position(line1) + "Bad value: 2.5\n");
    EXPECT_EQ(capture.notices()[0].mText, "Assertion 'value < 1.0' failed.\nBad value: 2.5");
    EXPECT_EQ(capture.notices()[1].mReport, "Generic assertion failed" + position(line2) + "Unknown id: 17\n");
    EXPECT_EQ(capture.notices()[1].mText, "Assertion 'false' failed.\nUnknown id: 17");
    EXPECT_EQ(capture.notices()[2].mReport, "Assertion 'value == 0.0' failed" + position(line3));
    EXPECT_EQ(capture.notices()[2].mText, "Assertion 'value == 0.0' failed.\n");
    for (const core::AssertionNotice& notice : capture.notices()) {
        EXPECT_EQ(notice.mLevel, 3u);
        EXPECT_EQ(notice.mTitle, "Serious error");
    }
}

TEST(AssertionReport, CallerCarriesOnWithTheOffendingValue)
{
    NoticeCapture capture;
    EXPECT_EQ(doubleChecked(-3), -6);
    EXPECT_EQ(capture.heads(), std::vector<std::string>{"Assertion 'inValue >= 0' failed"});
    EXPECT_EQ(doubleChecked(4), 8);
    EXPECT_EQ(capture.size(), 1u);
}

TEST(AssertionLog, StampLineThenReportForEveryLevel)
{
    NoticeCapture capture;
    ScopedLog log(temporaryLogPath("stamp"));
    const auto millisecondsNow = [] {
        return std::chrono::duration_cast<std::chrono::milliseconds>(
                   std::chrono::steady_clock::now().time_since_epoch())
            .count();
    };
    const long long before = millisecondsNow();
    core::reportAssertion(core::kAssertionMessage, "ignored", "src/m.cpp", 3, "Plain note");
    core::reportAssertion(core::kAssertionExpectation, "y != 0", "src/e.cpp", 4, "");
    core::reportAssertion(core::kAssertionExpectation, "false", "src/e.cpp", 5, "");
    core::reportAssertion(core::kAssertionLibrary, "z", "src/l.cpp", 6, "");
    const long long after = millisecondsNow();

    // Levels 0 and 1 show nothing; every level is logged.
    EXPECT_EQ(capture.size(), 1u);

    const std::vector<std::string> reports = {
        "Plain note (in file 'src/m.cpp' line 3)\n",
        "Expectation 'y != 0' failed in file 'src/e.cpp' line 4\n",
        "Generic assertion failed in file 'src/e.cpp' line 5\n",
        "Assertion 'z' failed in file 'src/l.cpp' line 6\n",
    };
    std::string text = readFile(log.mPath);
    for (const std::string& report : reports) {
        long long milliseconds = -1;
        ASSERT_TRUE(takeStampLine(text, &milliseconds)) << text;
        EXPECT_GE(milliseconds, before);
        EXPECT_LE(milliseconds, after);
        // The report carries its own line end and gets one more when written.
        ASSERT_EQ(text.substr(0, report.size() + 1), report + "\n");
        text = text.substr(report.size() + 1);
    }
    EXPECT_EQ(text, "");
}

TEST(AssertionLog, NothingIsWrittenWithAnEmptyPath)
{
    NoticeCapture capture;
    if (std::getenv("Q38_ASSERT_LOG") == nullptr) {
        EXPECT_EQ(core::assertionLogPath(), "");
    }
    const std::filesystem::path path = temporaryLogPath("empty");
    core::setAssertionLogPath(path.string());
    core::setAssertionLogPath("");
    core::reportAssertion(core::kAssertionLibrary, "x", "src/x.cpp", 1, "");
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_EQ(capture.size(), 1u);
}

TEST(AssertionLog, UnopenableFileIsSkipped)
{
    NoticeCapture capture;
    ScopedLog log(std::filesystem::temp_directory_path() / "q38_no_such_directory" / "log.txt");
    core::reportAssertion(core::kAssertionLibrary, "x", "src/x.cpp", 1, "");
    EXPECT_EQ(capture.size(), 1u);
    EXPECT_FALSE(std::filesystem::exists(log.mPath));
}

TEST(AssertionLog, LogPathComesFromTheEnvironment)
{
    ASSERT_FALSE(kChildReported);
    const std::filesystem::path path = temporaryLogPath("environment");
    const std::string logVariable = "Q38_ASSERT_LOG=" + path.string();
    std::vector<char*> environment;
    for (char** entry = environ; *entry != nullptr; ++entry)
        if (std::string(*entry).rfind("Q38_ASSERT_LOG=", 0) != 0)
            environment.push_back(*entry);
    environment.push_back(const_cast<char*>(logVariable.c_str()));
    environment.push_back(const_cast<char*>("Q38_ASSERT_TEST_CHILD=1"));
    environment.push_back(nullptr);

    char program[] = "/proc/self/exe";
    char* arguments[] = {program, nullptr};
    pid_t child = 0;
    ASSERT_EQ(posix_spawn(&child, program, nullptr, nullptr, arguments, environment.data()), 0);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);

    std::string text = readFile(path);
    std::filesystem::remove(path);
    long long milliseconds = -1;
    ASSERT_TRUE(takeStampLine(text, &milliseconds)) << text;
    EXPECT_EQ(text, "From the child (in file 'child.cpp' line 5)\n\n");
}

TEST(AssertionNotice, EmptyHandlerRestoresStandardError)
{
    core::NoticeHandler previous = core::setNoticeHandler({});
    testing::internal::CaptureStderr();
    core::reportAssertion(core::kAssertionInterface, "a == b", "src/s.cpp", 9, "Bad a: 1");
    const std::string written = testing::internal::GetCapturedStderr();
    core::setNoticeHandler(std::move(previous));
    EXPECT_NE(written.find("Serious error"), std::string::npos);
    EXPECT_NE(written.find("Assertion 'a == b' failed in file 'src/s.cpp' line 9\nBad a: 1\n"), std::string::npos);
}
