#pragma once

// Collects the notices of failed checks while it lives and puts the previous
// notice handler back afterwards.

#include "core/core_Assert.h"

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace q38test {

class NoticeCapture
{
public:
    NoticeCapture()
        : mPrevious(core::setNoticeHandler([this](const core::AssertionNotice& inNotice) { mNotices.push_back(inNotice); }))
    {
    }
    ~NoticeCapture() { core::setNoticeHandler(std::move(mPrevious)); }
    NoticeCapture(const NoticeCapture&) = delete;
    NoticeCapture& operator=(const NoticeCapture&) = delete;

    const std::vector<core::AssertionNotice>& notices() const { return mNotices; }
    std::size_t size() const { return mNotices.size(); }
    bool empty() const { return mNotices.empty(); }
    void clear() { mNotices.clear(); }

    // The head of each report, up to " in file '": "Assertion 'x' failed" or
    // "Generic assertion failed".
    std::vector<std::string> heads() const { return pieces(0, " in file '"); }
    // The source file named by each report.
    std::vector<std::string> paths() const { return pieces(10, "' line "); }

private:
    // Each report from inSkip characters after " in file '" (or from its
    // start if inSkip is 0) up to inEnd.
    std::vector<std::string> pieces(std::size_t inSkip, const char* inEnd) const
    {
        std::vector<std::string> result;
        for (const core::AssertionNotice& notice : mNotices) {
            const std::size_t begin = inSkip == 0 ? 0 : notice.mReport.find(" in file '") + inSkip;
            result.push_back(notice.mReport.substr(begin, notice.mReport.find(inEnd, begin) - begin));
        }
        return result;
    }

    std::vector<core::AssertionNotice> mNotices;
    core::NoticeHandler mPrevious;
};

} // namespace q38test
