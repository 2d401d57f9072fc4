#pragma once

// Failure reporting for broken preconditions.
//
// A check site tests its condition; when it fails, it calls reportAssertion
// and then carries on exactly as if the test had passed. Reporting never
// aborts, throws or returns an error: it words the failure, appends it to the
// log file if one is configured and hands a notice to the notice handler.

#include <functional>
#include <sstream>
#include <string>

namespace core {

enum AssertionLevel : unsigned
{
    kAssertionMessage = 0,    // a message with a source position
    kAssertionExpectation = 1,
    kAssertionLibrary = 2,    // an assertion inside a library
    kAssertionInterface = 3,  // an assertion at the engine's interface
};

// What a failed check shows to a person. mReport is the text that also goes
// to the log; mTitle and mText are the notice proper.
struct AssertionNotice
{
    unsigned mLevel;
    std::string mTitle;
    std::string mText;
    std::string mReport;
};

using NoticeHandler = std::function<void(const AssertionNotice&)>;

// Reports a failed check. Levels 2 and 3 show a notice; every level is logged
// when a log path is set. Returns to the caller in all cases.
void reportAssertion(unsigned inLevel, const char* inExpression, const char* inPath, int inLine,
                     const std::string& inMessage);

// The text written to the log for one report (without the stamp line).
std::string formatAssertionReport(unsigned inLevel, const std::string& inExpression, const std::string& inPath,
                                  int inLine, const std::string& inMessage);

// Replaces the notice handler and returns the previous one. An empty handler
// restores the default, which writes the notice to standard error.
NoticeHandler setNoticeHandler(NoticeHandler inHandler);

// The log file. Empty disables logging. At start-up the path is taken from
// the environment variable Q38_ASSERT_LOG.
void setAssertionLogPath(const std::string& inPath);
std::string assertionLogPath();

// The stamp line that precedes each logged report: local time, then the
// milliseconds of the monotonic clock.
std::string assertionStampLine();

} // namespace core

// Check-site helpers. The expression text is the source text of the test and
// the position is this file and line; everything but the comparison lies
// behind the failed branch.
#define Q38_ASSERT(level, condition)                                                      \
    do {                                                                                  \
        if (!(condition)) [[unlikely]]                                                    \
            ::core::reportAssertion((level), #condition, __FILE__, __LINE__, std::string()); \
    } while (false)

// The same with the expression text given explicitly, for tests whose source
// form differs from the wording they report (e.g. ids tested unsigned).
#define Q38_ASSERT_TEXT(level, condition, text)                                           \
    do {                                                                                  \
        if (!(condition)) [[unlikely]]                                                    \
            ::core::reportAssertion((level), (text), __FILE__, __LINE__, std::string());  \
    } while (false)

// With a message built from stream insertions: Q38_ASSERT_MSG(3, x > 0, "x > 0", "Bad x: " << x)
#define Q38_ASSERT_MSG(level, condition, text, message)                                   \
    do {                                                                                  \
        if (!(condition)) [[unlikely]] {                                                  \
            std::ostringstream q38AssertStream_;                                          \
            q38AssertStream_ << message;                                                  \
            ::core::reportAssertion((level), (text), __FILE__, __LINE__, q38AssertStream_.str()); \
        }                                                                                 \
    } while (false)

// A report that always fires, for code paths that must not be reached.
#define Q38_ASSERT_FALSE(level) ::core::reportAssertion((level), "false", __FILE__, __LINE__, std::string())
