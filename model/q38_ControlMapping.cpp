#include "q38_ControlMapping.h"

#include "dsp/filter_design/dsp_IIRToolsImpl.h"
#include "dsp/filter_design/primitives/order1/dsp_Order1HighPass.h"
#include "dsp/filter_design/primitives/order1/dsp_Order1HighShelf.h"
#include "dsp/filter_design/primitives/order1/dsp_Order1LowShelf.h"
#include "dsp/filter_design/primitives/order2/dsp_Bell.h"
#include "dsp/filter_design/primitives/order2/dsp_HighShelf2Q.h"
#include "dsp/filter_design/primitives/order2/dsp_LowShelf2.h"
#include "dsp/filter_design/primitives/order2/dsp_Order2HighPass.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace q38 {

namespace {

// --- Tables ------------------------------------------------------------------------
// The input gain moves nine inner constants of the amplifier; anchors at 0, 1/3, 2/3, 1.
// Levels in dB, frequencies in Hz.
constexpr int kInputGainSegments = 3;
constexpr double kShelfFrequency[] = {15000.0, 8000.0, 4500.0, 4000.0};
constexpr double kShelfGain[] = {0.0, 8.0, 8.0, 10.0};
constexpr double kFirstClipUpper[] = {-1.3, -5.7, -5.7, -5.5};
constexpr double kSecondClipUpper[] = {-9.0, -9.0, -7.0, -6.0};
constexpr double kSecondClipLower[] = {-7.5, -10.0, -9.0, -8.0};
constexpr double kCouplingFrequency[] = {24.0, 18.0, 15.0, 20.0};
constexpr double kBiasGain[] = {-18.0, -6.0, 0.7, -3.0};
constexpr double kBiasFeedback[] = {-1.0, -0.2, -3.0, -1.5};
constexpr double kBiasFloor[] = {-5.0, -13.0, -10.0, -15.0};

// A switched-in high-pass moves the clipping too.
constexpr double kFilteredFirstClipUpper = 5.0;
constexpr double kFilteredSecondClipUpper = -3.0;
constexpr double kFilteredSecondClipLower = 1.6;
constexpr double kFilteredBiasFloor = 1.0;
constexpr double kFirstClipLower = -8.0;
constexpr double kCouplingQ = 0.6;

// The tone controls move frequency and Q with the gain; anchors at 0, 1/6, ... 1.
constexpr int kToneSegments = 6;
constexpr double kLowToneQ[] = {0.5, 0.4, 0.2, 0.2, 0.3, 0.4, 0.5};
constexpr double kLowToneFrequency[] = {120.0, 100.0, 80.0, 80.0, 80.0, 90.0, 100.0};
constexpr double kHighToneQ[] = {0.5, 0.4, 0.3, 0.2, 0.2, 0.3, 0.4};
constexpr double kHighToneFrequency[] = {4000.0, 4800.0, 6500.0, 6500.0, 6500.0, 5000.0, 4000.0};

// The matrices glide at the single-precision value of 0.001.
constexpr double kMatrixGlideRate = static_cast<double>(0.001f);

struct TablePosition
{
    int mIndex;
    double mFraction;
};

// The segment and the place in it of a control value; values outside 0..1
// (and NaN) stay at the table's ends.
TablePosition locate(double inValue, int inNumSegments)
{
    if (!(inValue > 0.0))
        return {0, 0.0};
    if (inValue >= 1.0)
        return {inNumSegments - 1, 1.0};
    const double scaled = inValue * inNumSegments;
    const int index = static_cast<int>(scaled);
    return {index, scaled - index};
}

double interpolate(const double* inTable, TablePosition inPosition)
{
    return (1.0 - inPosition.mFraction) * inTable[inPosition.mIndex]
           + inPosition.mFraction * inTable[inPosition.mIndex + 1];
}

bool isOn(float inValue)
{
    return inValue > 0.5f;
}

// The ids of one channel's controls.
struct ChannelIds
{
    int mPhaseReverse;
    int mInputGain;
    int mHighPassFreq;
    int mEqHighToneGain;
    int mEqLowToneGain;
    int mEnableEq;
    int mOutputTrim;
};

constexpr ChannelIds kChannelIds[kNumModelChannels] = {
    {kCh1PhaseReverse, kCh1InputGain, kCh1HighPassFreq, kCh1EqHighToneGain, kCh1EqLowToneGain, kCh1EnableEq,
     kCh1OutputTrim},
    {kCh2PhaseReverse, kCh2InputGain, kCh2HighPassFreq, kCh2EqHighToneGain, kCh2EqLowToneGain, kCh2EnableEq,
     kCh2OutputTrim},
};

bool isLinked(const ParameterValues& inParameters)
{
    return isOn(inParameters[kStereoLink]);
}

// Channel 2 becomes a byte copy of channel 1 while linked, every group included.
void copyLinkedChannel(const ParameterValues& inParameters, ModelCoefficients& ioCoefficients)
{
    if (isLinked(inParameters))
        std::memcpy(&ioCoefficients.mChannel[1], &ioCoefficients.mChannel[0], sizeof(ChannelCoefficients));
}

// Channel 1, then channel 2 from its own controls or as a copy of channel 1.
template <typename ChannelUpdate>
void updateChannels(const ParameterValues& inParameters, ModelCoefficients& ioCoefficients, ChannelUpdate inUpdate)
{
    inUpdate(kChannelIds[0], ioCoefficients.mChannel[0]);
    if (isLinked(inParameters))
        copyLinkedChannel(inParameters, ioCoefficients);
    else
        inUpdate(kChannelIds[1], ioCoefficients.mChannel[1]);
}

// The "HighPass Freq" switch position as the control mapping sees it: 0 while "Enable Eq" is off.
int highPassPosition(const ParameterValues& inParameters, const ChannelIds& inIds)
{
    const float value = isOn(inParameters[inIds.mEnableEq]) ? inParameters[inIds.mHighPassFreq] : 0.0f;
    const float scaled = 4.0f * value;
    if (!(scaled > 0.0f))
        return 0;
    return std::min(static_cast<int>(scaled), 3);
}

void designInputGain(const ParameterValues& inParameters, const ChannelIds& inIds, double inSampleRate,
                     ChannelCoefficients& outChannel)
{
    const double g = inParameters[inIds.mInputGain];
    const TablePosition position = locate(g, kInputGainSegments);
    const bool filtered = highPassPosition(inParameters, inIds) != 0;

    // A line from -24 to 24 dB, less 12.
    const double inputDb = 48.0 * g - 36.0;
    outChannel.mInputGain = dsp::decibelsToGain(inputDb);
    // Undoes the input gain in the lower half; 6 dB per unit of control above it.
    outChannel.mOutputGain = dsp::decibelsToGain(6.0 * std::max(g - 0.5, 0.0) - inputDb);
    outChannel.mBiasGain = dsp::decibelsToGain(interpolate(kBiasGain, position));

    double firstUpper = interpolate(kFirstClipUpper, position);
    double secondLower = interpolate(kSecondClipLower, position);
    double secondUpper = interpolate(kSecondClipUpper, position);
    double biasFloor = interpolate(kBiasFloor, position);
    if (filtered) {
        firstUpper += kFilteredFirstClipUpper;
        secondLower += kFilteredSecondClipLower;
        secondUpper += kFilteredSecondClipUpper;
        biasFloor += kFilteredBiasFloor;
    }
    dsp::designClipLimits(outChannel.mFirstClip, kFirstClipLower, firstUpper, true, true);
    dsp::designClipLimits(outChannel.mSecondClip, secondLower, secondUpper, true, true);
    outChannel.mBiasFloor = -dsp::decibelsToGain(biasFloor);
    outChannel.mBiasFeedback = dsp::decibelsToGain(interpolate(kBiasFeedback, position));

    // Pre- and de-emphasis are exact inverses around the first clipper.
    const double shelfFrequency = interpolate(kShelfFrequency, position);
    const double shelfGain = interpolate(kShelfGain, position);
    dsp::Order1HighShelf::design({shelfFrequency, shelfGain, dsp::kLowerCorner, 0.0}, outChannel.mPreEmphasis,
                                 inSampleRate);
    dsp::Order1HighShelf::design({shelfFrequency, -shelfGain, dsp::kLowerCorner, 0.0}, outChannel.mDeEmphasis,
                                 inSampleRate);
    dsp::Order2HighPass::design({interpolate(kCouplingFrequency, position), kCouplingQ, 0.0, 0.0},
                                outChannel.mCouplingHighPass, inSampleRate);
}

// Each position is a pair of filters of fixed orders; the flat members let the
// switch glide between coefficient sets instead of jumping.
void designHighPass(const ParameterValues& inParameters, const ChannelIds& inIds, double inSampleRate,
                    ChannelCoefficients& outChannel)
{
    double* const first = outChannel.mHighPassFirstOrder;
    double* const second = outChannel.mHighPassSecondOrder;
    switch (highPassPosition(inParameters, inIds)) {
    case 0:  // "Bypassed"
        dsp::Order1LowShelf::design({320.0, 0.0, dsp::kUpperCorner, 0.0}, first, inSampleRate);
        dsp::Bell::design({75.0, 0.707, 0.0, 0.0}, second, inSampleRate);
        break;
    case 1:  // "80 Hz"
        dsp::Order1LowShelf::design({75.0, 0.0, dsp::kUpperCorner, 0.0}, first, inSampleRate);
        dsp::Order2HighPass::design({75.0, 0.707, 0.0, 0.0}, second, inSampleRate);
        break;
    case 2:  // "300 Hz"
        dsp::Order1HighPass::design({320.0, 0.0, 0.0}, first, inSampleRate);
        dsp::Bell::design({320.0, 0.707, 0.0, 0.0}, second, inSampleRate);
        break;
    default:  // "80 + 300 Hz"
        dsp::Order1HighPass::design({250.0, 0.0, 0.0}, first, inSampleRate);
        dsp::Order2HighPass::design({100.0, 0.707, 0.0, 0.0}, second, inSampleRate);
        break;
    }
}

// The gain curve runs from -10 to +10 dB and passes through +0.09 dB (low) and
// +0.08 dB (high) at the middle of the control: 0.5045 = (0.09 + 10) / 20.
const double kLowToneExponent = std::log(0.5045) / std::log(0.5);
const double kHighToneExponent = std::log(0.504) / std::log(0.5);

void designToneEq(const ParameterValues& inParameters, const ChannelIds& inIds, double inSampleRate,
                  ChannelCoefficients& outChannel)
{
    const double low = inParameters[inIds.mEqLowToneGain];
    const double high = inParameters[inIds.mEqHighToneGain];
    const TablePosition lowPosition = locate(low, kToneSegments);
    const TablePosition highPosition = locate(high, kToneSegments);
    const double lowQ = interpolate(kLowToneQ, lowPosition);
    const double lowFrequency = interpolate(kLowToneFrequency, lowPosition);
    const double highQ = interpolate(kHighToneQ, highPosition);
    const double highFrequency = interpolate(kHighToneFrequency, highPosition);
    const double lowGain = std::pow(low, kLowToneExponent) * 20.0 - 10.0;
    const double highGain = std::pow(high, kHighToneExponent) * 20.0 - 10.0;

    dsp::HighShelf2Q::design({highFrequency, highQ, highQ, highGain, 1, 0.0}, outChannel.mHighShelf, inSampleRate);
    dsp::LowShelf2::design({lowFrequency, lowQ, lowQ, lowGain, 1, 0.0}, outChannel.mLowShelf, inSampleRate);
}

void designEqEnable(const ParameterValues& inParameters, const ChannelIds& inIds, ChannelCoefficients& outChannel)
{
    const bool enabled = isOn(inParameters[inIds.mEnableEq]);
    outChannel.mToneEnabled = enabled ? 1 : 0;
    outChannel.mToneMixTarget = enabled ? 1.0 : 0.0;
}

void designMatrices(const ParameterValues& inParameters, ModelCoefficients& ioCoefficients)
{
    const bool linked = isLinked(inParameters);
    const ChannelIds& second = linked ? kChannelIds[0] : kChannelIds[1];
    // Output trims of +-24 dB, straight in dB.
    const double trim1 = dsp::decibelsToGain((static_cast<double>(inParameters[kCh1OutputTrim]) - 0.5) * 48.0);
    const double trim2 = dsp::decibelsToGain((static_cast<double>(inParameters[second.mOutputTrim]) - 0.5) * 48.0);
    const double phase1 = isOn(inParameters[kCh1PhaseReverse]) ? -1.0 : 1.0;
    const double phase2 = isOn(inParameters[second.mPhaseReverse]) ? -1.0 : 1.0;

    StereoMatrix& in = ioCoefficients.mInputMatrix;
    StereoMatrix& out = ioCoefficients.mOutputMatrix;
    if (isOn(inParameters[kStereoMode])) {
        // Mid/side encoder ahead of the model, decoder behind it.
        in = {0.5 * phase1, 0.5 * phase1, 0.5 * phase2, -0.5 * phase2, kMatrixGlideRate};
        out = {trim1, trim1, trim2, -trim2, kMatrixGlideRate};
    } else {
        in = {phase1, 0.0, 0.0, phase2, kMatrixGlideRate};
        out = {trim1, 0.0, 0.0, trim2, kMatrixGlideRate};
    }
}

} // namespace

void updateEnable(const ParameterValues& inParameters, double, ModelCoefficients& ioCoefficients)
{
    const bool enabled = isOn(inParameters[kEnableEffect]);
    ioCoefficients.mEffectEnabled = enabled ? 1 : 0;
    ioCoefficients.mWetTarget = enabled ? 1.0 : 0.0;
}

void updateInputOutput(const ParameterValues& inParameters, double, ModelCoefficients& ioCoefficients)
{
    designMatrices(inParameters, ioCoefficients);
}

void updateInputGain(const ParameterValues& inParameters, double inSampleRate, ModelCoefficients& ioCoefficients)
{
    updateChannels(inParameters, ioCoefficients, [&](const ChannelIds& inIds, ChannelCoefficients& outChannel) {
        designInputGain(inParameters, inIds, inSampleRate, outChannel);
    });
}

void updateHighPass(const ParameterValues& inParameters, double inSampleRate, ModelCoefficients& ioCoefficients)
{
    updateChannels(inParameters, ioCoefficients, [&](const ChannelIds& inIds, ChannelCoefficients& outChannel) {
        designHighPass(inParameters, inIds, inSampleRate, outChannel);
    });
}

void updateToneEq(const ParameterValues& inParameters, double inSampleRate, ModelCoefficients& ioCoefficients)
{
    updateChannels(inParameters, ioCoefficients, [&](const ChannelIds& inIds, ChannelCoefficients& outChannel) {
        designToneEq(inParameters, inIds, inSampleRate, outChannel);
    });
}

void updateEqEnable(const ParameterValues& inParameters, double, ModelCoefficients& ioCoefficients)
{
    // Both channels' own switches first, then the link copy.
    for (int c = 0; c < kNumModelChannels; ++c)
        designEqEnable(inParameters, kChannelIds[c], ioCoefficients.mChannel[c]);
    copyLinkedChannel(inParameters, ioCoefficients);
}

void updateAll(const ParameterValues& inParameters, double inSampleRate, ModelCoefficients& ioCoefficients)
{
    updateEnable(inParameters, inSampleRate, ioCoefficients);
    updateInputOutput(inParameters, inSampleRate, ioCoefficients);
    updateInputGain(inParameters, inSampleRate, ioCoefficients);
    updateHighPass(inParameters, inSampleRate, ioCoefficients);
    updateToneEq(inParameters, inSampleRate, ioCoefficients);
    updateEqEnable(inParameters, inSampleRate, ioCoefficients);
    copyLinkedChannel(inParameters, ioCoefficients);
}

} // namespace q38
