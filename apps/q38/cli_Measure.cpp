#include "cli_Measure.h"

#include "cli_Render.h"

#include <algorithm>
#include <cmath>
#include <memory>

namespace cli {

std::vector<int> channelsThatDiffer(const ParameterValues& inValues)
{
    const auto value = [&](int inId) { return inValues[static_cast<std::size_t>(inId)]; };
    const auto on = [&](int inId) { return value(inId) > 0.5f; };
    if (on(kStereoLink))
        return {0};
    const auto position = [&](int inId) { return std::min(static_cast<int>(value(inId) * 4.0f), 3); };
    const bool differ = value(kCh1InputGain) != value(kCh2InputGain) ||
                        position(kCh1HighPassFreq) != position(kCh2HighPassFreq) ||
                        value(kCh1EqHighToneGain) != value(kCh2EqHighToneGain) ||
                        value(kCh1EqLowToneGain) != value(kCh2EqLowToneGain) ||
                        on(kCh1EnableEq) != on(kCh2EnableEq) || value(kCh1OutputTrim) != value(kCh2OutputTrim);
    if (differ)
        return {0, 1};
    return {0};
}

std::vector<double> runChannel(const MeasureSetup& inSetup, int inChannel, const std::vector<double>& inSignal,
                               unsigned long long inSeed, std::size_t inLeadIn)
{
    host::OversampledEngine engine;
    startEngine(engine, inSeed, inSetup.mSampleRate, inSetup.mOversample, inSetup.mValues);

    const std::size_t total = inLeadIn + inSignal.size();
    std::vector<double> output;
    output.reserve(inSignal.size());
    float blockIn[kQ38MaxNumChannels][kQ38MaxBufferSize] = {};
    float blockOut[kQ38MaxNumChannels][kQ38MaxBufferSize];
    const float* inputs[kQ38MaxNumChannels] = {blockIn[0], blockIn[1]};
    float* outputs[kQ38MaxNumChannels] = {blockOut[0], blockOut[1]};
    // Output frames come aligned with the input: lead-in first, then the signal's.
    std::size_t produced = 0;
    const auto keep = [&](int inCount) {
        for (int i = 0; i < inCount; ++i, ++produced)
            if (produced >= inLeadIn)
                output.push_back(blockOut[inChannel][i]);
    };
    host::AlignedRun run(engine);
    for (std::size_t start = 0; start < total; start += kQ38MaxBufferSize) {
        const int count = static_cast<int>(std::min<std::size_t>(kQ38MaxBufferSize, total - start));
        for (int i = 0; i < count; ++i) {
            const std::size_t n = start + static_cast<std::size_t>(i);
            blockIn[inChannel][i] = n < inLeadIn ? 0.0f : static_cast<float>(inSignal[n - inLeadIn]);
        }
        keep(run.process(inputs, outputs, kQ38MaxNumChannels, count));
    }
    while (const int count = run.finish(outputs, kQ38MaxNumChannels))
        keep(count);
    return output;
}

double decibelsToAmplitude(double inDecibels)
{
    return std::pow(10.0, inDecibels / 20.0);
}

} // namespace cli
