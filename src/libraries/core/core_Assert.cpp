#include "core_Assert.h"

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iostream>
#include <mutex>

namespace core {
namespace {

constexpr const char* kNoticeTitle = "Serious error";
// The wording, including its spelling, is what users have always been shown.
constexpr const char* kLibraryNoticeText =
    "A serious error occured, and the program is probably going to crash.\n"
    "We apologize for the inconvenience and encourage you to report this to our tech support.";

void writeNoticeToStandardError(const AssertionNotice& inNotice)
{
    std::cerr << inNotice.mTitle << ": " << inNotice.mText << '\n' << inNotice.mReport << std::flush;
}

struct ReportingState
{
    std::mutex mHandlerMutex;
    NoticeHandler mHandler;
    std::mutex mLogMutex;  // serialises log writes and guards mLogPath
    std::string mLogPath;

    ReportingState()
    {
        if (const char* path = std::getenv("Q38_ASSERT_LOG"))
            mLogPath = path;
    }
};

ReportingState& state()
{
    static ReportingState sState;
    return sState;
}

void showNotice(const AssertionNotice& inNotice)
{
    NoticeHandler handler;
    {
        std::lock_guard<std::mutex> lock(state().mHandlerMutex);
        handler = state().mHandler;
    }
    if (handler)
        handler(inNotice);
    else
        writeNoticeToStandardError(inNotice);
}

void appendToLog(const std::string& inReport)
{
    ReportingState& s = state();
    std::lock_guard<std::mutex> lock(s.mLogMutex);
    if (s.mLogPath.empty())
        return;
    std::ofstream stream(s.mLogPath, std::ios::out | std::ios::app);
    if (!stream.good())
        return;  // a log that cannot be opened is skipped silently
    stream << assertionStampLine() << std::endl;
    stream << inReport << std::endl;
}

} // namespace

std::string formatAssertionReport(unsigned inLevel, const std::string& inExpression, const std::string& inPath,
                                  int inLine, const std::string& inMessage)
{
    std::ostringstream text;
    if (inLevel == kAssertionMessage) {
        text << inMessage << " (in file '" << inPath << "' line " << inLine << ")\n";
        return text.str();
    }
    if (inExpression == "false" || inExpression == "0")
        text << "Generic assertion failed";
    else if (inLevel == kAssertionExpectation)
        text << "Expectation '" << inExpression << "' failed";
    else
        text << "Assertion '" << inExpression << "' failed";
    text << " in file '" << inPath << "' line " << inLine << '\n';
    if (!inMessage.empty())
        text << inMessage << '\n';
    return text.str();
}

std::string assertionStampLine()
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char buffer[64];
    const std::size_t length = std::strftime(buffer, sizeof buffer, "%Y-%m-%d %H:%M:%S ", &local);
    const auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
    const long long milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(sinceStart).count();
    return std::string(buffer, length) + std::to_string(milliseconds);
}

void reportAssertion(unsigned inLevel, const char* inExpression, const char* inPath, int inLine,
                     const std::string& inMessage)
{
    const std::string expression = inExpression ? inExpression : "";
    const std::string path = inPath ? inPath : "";
    const std::string report = formatAssertionReport(inLevel, expression, path, inLine, inMessage);

    appendToLog(report);

    if (inLevel == kAssertionLibrary)
        showNotice({inLevel, kNoticeTitle, kLibraryNoticeText, report});
    else if (inLevel >= kAssertionInterface)
        showNotice({inLevel, kNoticeTitle, "Assertion '" + expression + "' failed.\n" + inMessage, report});
}

NoticeHandler setNoticeHandler(NoticeHandler inHandler)
{
    std::lock_guard<std::mutex> lock(state().mHandlerMutex);
    NoticeHandler previous = std::move(state().mHandler);
    state().mHandler = std::move(inHandler);
    return previous;
}

void setAssertionLogPath(const std::string& inPath)
{
    std::lock_guard<std::mutex> lock(state().mLogMutex);
    state().mLogPath = inPath;
}

std::string assertionLogPath()
{
    std::lock_guard<std::mutex> lock(state().mLogMutex);
    return state().mLogPath;
}

} // namespace core
