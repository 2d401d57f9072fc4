#include "cli_Progress.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace cli {

ProgressBar::ProgressBar(bool inEnabled)
    : mEnabled(inEnabled && ::isatty(STDERR_FILENO)), mStart(Clock::now()), mLastDraw(mStart)
{
}

void ProgressBar::update(double inFraction, const std::string& inDetail)
{
    if (!mEnabled)
        return;
    const Clock::time_point now = Clock::now();
    if (now - mStart < std::chrono::seconds(1) || (mDrawn && now - mLastDraw < std::chrono::milliseconds(100)))
        return;
    mLastDraw = now;
    mDrawn = true;
    const double fraction = std::clamp(inFraction, 0.0, 1.0);
    const double elapsed = std::chrono::duration<double>(now - mStart).count();
    const double remaining = fraction > 0.0 ? elapsed * (1.0 - fraction) / fraction : 0.0;
    constexpr int kWidth = 30;
    const int filled = static_cast<int>(fraction * kWidth);
    std::fprintf(stderr, "\r[%.*s%*s] %3d%%  %s  about %.0f s left\033[K", filled, "##############################",
                 kWidth - filled, "", static_cast<int>(fraction * 100.0), inDetail.c_str(), std::ceil(remaining));
    std::fflush(stderr);
}

void ProgressBar::clear()
{
    if (mDrawn) {
        std::fputs("\r\033[K", stderr);
        std::fflush(stderr);
        mDrawn = false;
    }
}

} // namespace cli
