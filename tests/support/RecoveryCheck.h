#pragma once

// What a render with one bad input sample must keep of the clean render:
// every sample finite, a peak around the bad sample within 6 dB of the clean
// one, and from 50 ms after it the clean level within 0.5 dB.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace q38test {

inline ::testing::AssertionResult recoversLikeTheCleanRender(const std::vector<float>& inOutput,
                                                              const std::vector<float>& inClean,
                                                              std::size_t inBadSample, int inSampleRate)
{
    for (std::size_t i = 0; i < inOutput.size(); ++i)
        if (!std::isfinite(inOutput[i]))
            return ::testing::AssertionFailure() << "sample " << i << " is " << inOutput[i];
    // The peak, or with inRms the root mean square, of inSignal[inBegin, inEnd).
    const auto level = [](const std::vector<float>& inSignal, std::size_t inBegin, std::size_t inEnd, bool inRms) {
        double peak = 0.0, sum = 0.0;
        for (std::size_t i = inBegin; i < inEnd; ++i) {
            peak = std::max(peak, std::fabs(static_cast<double>(inSignal[i])));
            sum += static_cast<double>(inSignal[i]) * inSignal[i];
        }
        return inRms ? std::sqrt(sum / static_cast<double>(inEnd - inBegin)) : peak;
    };
    const std::size_t window = static_cast<std::size_t>(0.01 * inSampleRate);
    const std::size_t around = inBadSample - window, after = inBadSample + static_cast<std::size_t>(0.05 * inSampleRate);
    const double peakRatio = level(inOutput, around, after, false) / level(inClean, around, after, false);
    if (!(peakRatio <= 2.0))
        return ::testing::AssertionFailure() << "the peak around the bad sample is " << 20.0 * std::log10(peakRatio)
                                             << " dB above the clean one";
    for (std::size_t begin = after; begin + window <= inOutput.size(); begin += window) {
        const double difference = 20.0 * std::log10(level(inOutput, begin, begin + window, true) /
                                                    level(inClean, begin, begin + window, true));
        if (!(std::fabs(difference) <= 0.5))
            return ::testing::AssertionFailure() << "the 10 ms from " << (begin - inBadSample) * 1000.0 / inSampleRate
                                                 << " ms after the bad sample are " << difference << " dB off the clean level";
    }
    return ::testing::AssertionSuccess();
}

} // namespace q38test
