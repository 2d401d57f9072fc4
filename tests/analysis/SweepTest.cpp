// The swept-sine measurement against the engine's own designed magnitude,
// and the harmonics and the transfer curve against input gain.

#include "cli_Drive.h"
#include "cli_Sweep.h"

#include "model/ModelTestSupport.h"

#include <gtest/gtest.h>

#include <complex>

namespace {

using Complex = std::complex<double>;

// The parameters with the engine's defaults and a few changes.
cli::ParameterValues settings(std::initializer_list<std::pair<int, float>> inChanges)
{
    cli::ParameterValues values{};
    std::copy(q38::kParameterDefaults, q38::kParameterDefaults + kNumParameters, values.begin());
    for (const auto& [id, value] : inChanges)
        values[static_cast<std::size_t>(id)] = value;
    return values;
}

Complex section(const double* inCoefficients, int inOrder, Complex inZ) // inZ is z^-1
{
    if (inOrder == 1)
        return (inCoefficients[0] + inCoefficients[1] * inZ) / (1.0 + inCoefficients[3] * inZ);
    return (inCoefficients[0] + (inCoefficients[1] + inCoefficients[2] * inZ) * inZ) /
           (1.0 + (inCoefficients[4] + inCoefficients[5] * inZ) * inZ);
}

// The leaky integrator and its differentiator, in their small-signal form.
Complex integrator(const q38::SaturatingIntegrator& inCore, double inShaperSlope, Complex inZ)
{
    const double leak = inCore.mLeak * (1.0 - (1.0 - inShaperSlope) * inCore.mLossScale);
    return inCore.mInputScale * inCore.mOutputScale * (1.0 - inZ) / (1.0 - leak * inZ);
}

// |H| in dB of channel 1's chain, from the coefficients the engine designs,
// with every nonlinear stage at its slope for small signals and the tone section in.
double designedDecibels(const cli::ParameterValues& inValues, double inRate, double inHertz)
{
    q38::test::Model model(inRate);
    std::copy(inValues.begin(), inValues.end(), model.mParameters);
    model.update();
    const q38::ChannelState& state = model.state(0);
    const q38::ChannelCoefficients& target = model.coefficients(0);
    const Complex z = std::polar(1.0, -2.0 * std::numbers::pi * inHertz / inRate);
    const dsp::SoftKneeShaper& shaper = state.mAmplifierCore.mShaper;
    const dsp::RationalTanhShaper& tanh = state.mOutputTanh;
    Complex h = target.mInputGain * target.mOutputGain * model.mCoefficients->mOutputMatrix.mFirstToFirst;
    for (const double* first : {state.mDcBlock.mCoefficients, state.mBassLift.mCoefficients, target.mPreEmphasis,
                                target.mDeEmphasis, target.mHighPassFirstOrder})
        h *= section(first, 1, z);
    for (const double* second : {target.mHighPassSecondOrder, target.mCouplingHighPass,
                                 state.mInfrasonicHighPass.mCoefficients, state.mFirstLowPass.mCoefficients,
                                 state.mSecondLowPass.mCoefficients, target.mLowShelf, target.mHighShelf,
                                 state.mFirstBell.mCoefficients, state.mSecondBell.mCoefficients})
        h *= section(second, 2, z);
    h *= integrator(state.mAmplifierCore, shaper.mPreGain * shaper.mPostGain, z);
    h *= tanh.mLinear / tanh.mDenominator;
    h *= integrator(state.mOutputCore, 1.0, z);
    return 20.0 * std::log10(std::abs(h));
}

TEST(Sweep, QuietLinearSettingMatchesTheDesignedMagnitudeAtEveryHighPassPosition)
{
    for (const float position : {0.0f, 0.25f, 0.5f, 0.75f}) {
        SCOPED_TRACE("HighPass Freq " + std::to_string(position));
        cli::MeasureSetup setup;
        setup.mValues = settings({{kCh1HighPassFreq, position}, {kCh2HighPassFreq, position}});
        const cli::SweepResponse response = cli::measureSweep(setup, {0});
        ASSERT_EQ(response.mChannels.size(), 1u);
        int checked = 0;
        for (std::size_t i = 0; i < response.mFrequencies.size(); ++i) {
            const double f = response.mFrequencies[i];
            if (f < 50.0 || f > 15000.0)
                continue;
            const double error = response.mChannels[0].mResponseDb[i] - designedDecibels(setup.mValues, 48000.0, f);
            EXPECT_NEAR(error, 0.0, 0.1) << f << " Hz";
            ++checked;
        }
        EXPECT_GT(checked, 150);
    }
}

// Two methods that share nothing but the engine: the sweep's 3rd harmonic near
// 1 kHz and a steady 1 kHz sine's THD, where the 3rd dominates. Both rise with
// the input gain.
TEST(Sweep, HarmonicsRiseWithInputGainAndAgreeWithTheSteadySine)
{
    double previous = -INFINITY;
    for (const float gain : {0.5f, 0.625f, 0.75f, 0.875f}) {
        SCOPED_TRACE("Input Gain " + std::to_string(gain));
        cli::MeasureSetup setup;
        setup.mLevelDb = -20.0;
        setup.mValues = settings({{kCh1InputGain, gain}, {kCh2InputGain, gain}});
        const cli::SweepResponse sweep = cli::measureSweep(setup, {0}, 61);
        const cli::DriveResponse steady = cli::measureDrive(setup, {0}, {-20.0, -20.0, 1.0});
        const std::size_t at = std::size_t(
            std::min_element(sweep.mFrequencies.begin(), sweep.mFrequencies.end(), [](double inA, double inB) {
                return std::fabs(std::log(inA / 1000.0)) < std::fabs(std::log(inB / 1000.0));
            }) - sweep.mFrequencies.begin());
        const cli::HarmonicCurve& third = sweep.mChannels[0].mHarmonics[1];
        ASSERT_EQ(third.mOrder, 3);
        EXPECT_TRUE(cli::clearsFloor(third.mLevelDb[at], third.mFloorDb[at]));
        EXPECT_GT(third.mLevelDb[at], previous + 6.0);
        EXPECT_NEAR(third.mLevelDb[at], steady.mChannels[0].mThdDb[0], 1.0);
        previous = third.mLevelDb[at];
    }
}

TEST(Sweep, SecondChannelIsMeasuredOnlyWhenItsSettingsSoundDifferent)
{
    struct Case
    {
        std::initializer_list<std::pair<int, float>> mChanges;
        std::vector<int> mChannels;
    };
    const Case cases[] = {
        {{}, {0}},
        {{{kCh1PhaseReverse, 1.0f}}, {0}},
        {{{kCh2HighPassFreq, 0.3f}}, {0, 1}},
        {{{kCh1HighPassFreq, 0.3f}, {kCh2HighPassFreq, 0.45f}}, {0}}, // both "80 Hz"
        {{{kCh2InputGain, 0.7f}, {kStereoLink, 1.0f}}, {0}},
        {{{kCh2OutputTrim, 0.6f}}, {0, 1}},
    };
    for (const Case& item : cases)
        EXPECT_EQ(cli::channelsThatDiffer(settings(item.mChanges)), item.mChannels);
}

}  // namespace
