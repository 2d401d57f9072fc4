#pragma once

// Shared by the tests of the second-order designs.

#include "core/core_Assert.h"

#include <string>
#include <utility>
#include <vector>

namespace order2_test {

constexpr double kTwoPi = 6.283185307179586;

// The expressions of the checks that fail while it lives ("false" for the generic one).
class FailedChecks
{
public:
    FailedChecks()
        : mPrevious(core::setNoticeHandler([this](const core::AssertionNotice& inNotice) {
              const std::string& report = inNotice.mReport;
              const auto open = report.find('\''), close = report.find('\'', open + 1);
              mExpressions.push_back(report.rfind("Generic", 0) == 0 ? "false"
                                                                      : report.substr(open + 1, close - open - 1));
          }))
    {
    }
    ~FailedChecks() { core::setNoticeHandler(std::move(mPrevious)); }
    const std::vector<std::string>& expressions() const { return mExpressions; }
    std::string first() const { return mExpressions.empty() ? std::string() : mExpressions.front(); }

private:
    std::vector<std::string> mExpressions;
    core::NoticeHandler mPrevious;
};

// Where the stationary point of samples at x - h, x, x + h lies, relative to x.
inline double vertexOffset(double inBelow, double inAt, double inAbove, double inH)
{
    return 0.5 * inH * (inBelow - inAbove) / (inBelow - 2.0 * inAt + inAbove);
}

} // namespace order2_test
