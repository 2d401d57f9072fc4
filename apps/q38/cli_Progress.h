#pragma once

// The progress line on standard error: shown only on a terminal, from a
// second after the start on, redrawn a few times a second.

#include <chrono>
#include <string>

namespace cli {

class ProgressBar
{
public:
    explicit ProgressBar(bool inEnabled);
    ~ProgressBar() { clear(); }
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    // inFraction of the work done; inDetail follows the percentage.
    void update(double inFraction, const std::string& inDetail);
    // Removes the line, so that other text can go to standard error.
    void clear();

private:
    using Clock = std::chrono::steady_clock;
    bool mEnabled;
    Clock::time_point mStart;
    Clock::time_point mLastDraw;
    bool mDrawn = false;
};

} // namespace cli
