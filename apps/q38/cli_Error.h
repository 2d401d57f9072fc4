#pragma once

// The one way the renderer reports a failure: a single line for standard
// error and the exit status that goes with it.

#include <stdexcept>
#include <string>

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

} // namespace cli
