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
    const auto samples = [&](double inSeconds) { return static_cast<std::size_t>(inSeconds * inSampleRate); };
    for (std::size_t i = 0; i < inOutput.size(); ++i)
        if (!std::isfinite(inOutput[i]))
            return ::testing::AssertionFailure() << "sample " << i << " is " << inOutput[i];

    const auto peak = [](const std::vector<float>& inSignal, std::size_t inBegin, std::size_t inEnd) {
        double result = 0.0;
        for (std::size_t i = inBegin; i < inEnd; ++i)
            result = std::max(result, std::fabs(static_cast<double>(inSignal[i])));
        return result;
    };
    const std::size_t around = inBadSample - samples(0.01), after = inBadSample + samples(0.05);
    const double peakRatio = peak(inOutput, around, after) / peak(inClean, around, after);
    if (!(peakRatio <= 2.0))
        return ::testing::AssertionFailure() << "the peak around the bad sample is " << 20.0 * std::log10(peakRatio)
                                             << " dB above the clean one";

    const auto rms = [](const std::vector<float>& inSignal, std::size_t inBegin, std::size_t inEnd) {
        double sum = 0.0;
        for (std::size_t i = inBegin; i < inEnd; ++i)
            sum += static_cast<double>(inSignal[i]) * inSignal[i];
        return std::sqrt(sum / static_cast<double>(inEnd - inBegin));
    };
    const std::size_t window = samples(0.01);
    for (std::size_t begin = after; begin + window <= inOutput.size(); begin += window) {
        const double levelDifference = 20.0 * std::log10(rms(inOutput, begin, begin + window) /
                                                         rms(inClean, begin, begin + window));
        if (!(std::fabs(levelDifference) <= 0.5))
            return ::testing::AssertionFailure() << "the 10 ms from " << (begin - inBadSample) * 1000.0 / inSampleRate
                                                 << " ms after the bad sample are " << levelDifference
                                                 << " dB off the clean level";
    }
    return ::testing::AssertionSuccess();
}

} // namespace q38test
