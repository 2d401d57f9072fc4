#pragma once

// The one way the renderer reports a failure: a single line for standard
// error and the exit status that goes with it.

#include <stdexcept>
#include <string>
#include <string_view>

namespace cli {

enum ExitStatus : int
{
    kExitSuccess = 0,
    kExitFailure = 1, // a file could not be read or written
    kExitUsage = 2,   // a bad command line, setting or preset
};

class Error : public std::runtime_error
{
public:
    explicit Error(const std::string& inMessage, int inExitStatus = kExitFailure)
        : std::runtime_error(inMessage), mExitStatus(inExitStatus)
    {
    }
    int exitStatus() const noexcept { return mExitStatus; }

private:
    int mExitStatus;
};

class UsageError : public Error
{
public:
    explicit UsageError(const std::string& inMessage) : Error(inMessage, kExitUsage) {}
};

// Text a person gave, as a message may quote it: control characters and
// bytes that are not UTF-8 become '?', and a long text is cut short.
inline std::string shownText(std::string_view inText)
{
    constexpr std::size_t kShownCharacters = 40;
    std::string shown;
    std::size_t characters = 0;
    std::size_t index = 0;
    for (; index < inText.size() && characters < kShownCharacters; ++characters) {
        const auto byte = static_cast<unsigned char>(inText[index]);
        const std::size_t length = byte < 0x80 ? 1 : byte >= 0xC2 && byte <= 0xDF ? 2 : byte >= 0xE0 && byte <= 0xEF ? 3
                                                 : byte >= 0xF0 && byte <= 0xF4 ? 4 : 0;
        bool valid = length > 0 && index + length <= inText.size() && byte >= 0x20 && byte != 0x7f;
        for (std::size_t next = 1; valid && next < length; ++next)
            valid = (static_cast<unsigned char>(inText[index + next]) & 0xC0) == 0x80;
        shown += valid ? inText.substr(index, length) : "?";
        index += valid ? length : 1;
    }
    if (index < inText.size())
        shown += "...";
    return shown;
}

// A message as one line, whatever it holds.
inline std::string oneLine(std::string inText)
{
    for (char& c : inText)
        if (c == '\n' || c == '\r')
            c = ' ';
    return inText;
}

} // namespace cli
