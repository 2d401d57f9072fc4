#include "ModelTestSupport.h"

#include "model/q38_TubeStages.h"

#include "vector/vector_Primitives.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

using namespace q38;
using q38::test::Model;

std::vector<double> noise(int inLength, double inLevel, unsigned inSeed)
{
    std::vector<double> signal(inLength);
    std::uint32_t x = inSeed;
    for (double& sample : signal) {
        x = x * 1664525u + 1013904223u;
        sample = inLevel * (static_cast<double>(x) / 2147483648.0 - 1.0);
    }
    return signal;
}

TEST(GainRamp, JumpsWhenPendingOrCloseAndOtherwiseRampsGeometrically)
{
    Model model;
    GainRamp ramp = model.mState->mChannel[0].mInputRamp;
    double ones[32];
    std::fill(ones, ones + 32, 1.0);
    double out[32];

    // Pending after a reset: the first block is at the target throughout.
    runGainRamp(ones, out, 32, ramp, 8.0);
    EXPECT_EQ(out[0], 8.0);
    EXPECT_EQ(out[31], 8.0);
    EXPECT_EQ(ramp.mPending, 0);

    // Doubling takes 480 samples of 2^(1/480) each.
    runGainRamp(ones, out, 32, ramp, 16.0);
    EXPECT_EQ(out[0], 8.0 * ramp.mUpRatio);
    EXPECT_NEAR(out[31] / 8.0, std::pow(2.0, 32.0 / 480.0), 1e-12);
    int blocks = 1;
    while (ramp.mCurrent != 16.0 && blocks < 100) {
        runGainRamp(ones, out, 32, ramp, 16.0);
        ++blocks;
    }
    EXPECT_GE(blocks, 14);
    EXPECT_LE(blocks, 15);

    // A step within the block's reach is taken at once at the boundary.
    runGainRamp(ones, out, 16, ramp, 16.0 * std::pow(2.0, 30.0 / 480.0));
    EXPECT_EQ(out[0], ramp.mCurrent);
    const double reached = ramp.mCurrent;
    runGainRamp(ones, out, 32, ramp, 1.0);
    EXPECT_EQ(out[0], reached * ramp.mDownRatio);
    EXPECT_NEAR(out[31] / reached, std::pow(2.0, -32.0 / 480.0), 1e-12);
}

TEST(MatrixGlide, MonoUsesTheFirstGainOnlyAndStereoMixes)
{
    MatrixGlideState glide{1, 0.0, 0.0, 0.0, 0.0};
    const StereoMatrix midSide{0.5, 0.5, 0.5, -0.5, 0.001};
    const double left[] = {1.0, 2.0};
    const double right[] = {3.0, 5.0};
    const double* in[] = {left, right};
    double first[2];
    double second[2];
    double* out[] = {first, second};

    MatrixGlide(in, out, 2, 1, glide, midSide);
    EXPECT_EQ(first[0], 0.5);
    EXPECT_EQ(first[1], 1.0);
    EXPECT_EQ(glide.mFirstToSecond, 0.0);
    EXPECT_EQ(glide.mPending, 0);

    // No longer pending: the other gains glide up from 0 at the rate.
    MatrixGlide(in, out, 1, 2, glide, midSide);
    EXPECT_EQ(first[0], 1.0 * 0.5 + 3.0 * (0.5 * 0.001));
    EXPECT_EQ(second[0], 1.0 * (0.5 * 0.001) + 3.0 * (-0.5 * 0.001));

    glide.mPending = 1;
    MatrixGlide(in, out, 2, 2, glide, midSide);
    EXPECT_EQ(first[1], 3.5);
    EXPECT_EQ(second[1], -1.5);
}

TEST(HissGenerator, UniformFromItsSeedAndContinuousAcrossBlocks)
{
    // From seed 0; the third value comes from a negative signed state.
    std::uint64_t seed = 0;
    double first[3];
    HissGenerator(first, 3, seed);
    EXPECT_EQ(first[0], -0.8435826902434123);
    EXPECT_EQ(first[1], -0.7966024794064138);
    EXPECT_EQ(first[2], 0.21064664525046695);
    EXPECT_EQ(seed, 0x9AF678222E728119ull);

    std::uint64_t whole = 77;
    std::uint64_t split = 77;
    std::vector<double> a(4096);
    std::vector<double> b(4096);
    for (int start = 0; start < 4096; start += 32) {
        HissGenerator(a.data() + start, 32, whole);
        HissGenerator(b.data() + start, 5, split);
        HissGenerator(b.data() + start + 5, 27, split);
    }
    EXPECT_EQ(a, b);
    double sum = 0.0;
    for (const double x : a) {
        ASSERT_GE(x, -1.0);
        ASSERT_LT(x, 1.0);
        sum += x;
    }
    EXPECT_LT(std::fabs(sum / 4096.0), 0.05);
    EXPECT_NEAR(test::rms(a, 0), 1.0 / std::sqrt(3.0), 0.02);
}

TEST(ToneSectionBlend, SwitchedOffFromTheStartPassesItsInputExactly)
{
    Model model;
    model.mParameters[kCh1EnableEq] = 0.0f;
    updateAll(model.mParameters, model.mSampleRate, *model.mCoefficients);
    ChannelState& state = model.mState->mChannel[0];
    const ChannelState before = state;
    const std::vector<double> in = noise(32, 0.5, 3);
    double out[32];
    std::fill(out, out + 32, 0.25);
    ToneSectionBlend(in.data(), out, 32, model.mCoefficients->mChannel[0], state);
    EXPECT_EQ(std::memcmp(out, in.data(), sizeof(out)), 0);
    // The section did not run.
    EXPECT_EQ(std::memcmp(&before.mOutputCore, &state.mOutputCore, sizeof(SaturatingIntegrator)), 0);
    EXPECT_EQ(std::memcmp(&before.mLowShelf, &state.mLowShelf, sizeof(GlidingBiquad)), 0);

    // Switched on, the blend rises by 0.001 a sample from 0.
    model.mParameters[kCh1EnableEq] = 1.0f;
    updateEqEnable(model.mParameters, model.mSampleRate, *model.mCoefficients);
    ToneSectionBlend(in.data(), out, 32, model.mCoefficients->mChannel[0], state);
    EXPECT_EQ(out[0], in[0]);
    EXPECT_NEAR(state.mToneMix, 1.0 - std::pow(0.999, 32), 1e-15);
}

TEST(AmplifierSection, ActivityMeterReadsTheBlockPeak)
{
    Model model;
    ChannelState& state = model.mState->mChannel[0];
    const ChannelCoefficients& coefficients = model.mCoefficients->mChannel[0];
    const std::vector<double> in = test::sine(0.05, 2000.0, 44100.0, 32 * 40);
    double out[32];
    for (int start = 0; start < 32 * 40; start += 32) {
        AmplifierSection(in.data() + start, out, 32, coefficients, state);
        double smallest = 0.0;
        double largest = 0.0;
        vectorMinMax(out, 32, &smallest, &largest);
        const double peak = std::max(-smallest, largest);
        EXPECT_DOUBLE_EQ(state.mActivity, std::clamp(peak * 5.623413251903491 - 0.1, 0.0, 1.0));
    }
    EXPECT_GT(state.mActivity, 0.0);

    const double silence[32] = {};
    Model quiet;
    AmplifierSection(silence, out, 32, quiet.mCoefficients->mChannel[0], quiet.mState->mChannel[0]);
    EXPECT_EQ(quiet.mState->mChannel[0].mActivity, 0.0);
}

// The chain as the named block operations compose it, one channel after the other.
void composeBlock(const double* const* inInputs, double* const* outOutputs, int inNumSamples, int inNumChannels,
                  const ModelCoefficients& inCoefficients, ModelState& ioState)
{
    double work[2][32];
    double* workPointers[] = {work[0], work[1]};
    MatrixGlide(inInputs, workPointers, inNumSamples, inNumChannels, ioState.mInputMatrix,
                inCoefficients.mInputMatrix);
    for (int c = 0; c < inNumChannels; ++c) {
        double a[32];
        double b[32];
        ChannelState& state = ioState.mChannel[c];
        const ChannelCoefficients& coefficients = inCoefficients.mChannel[c];
        HissGenerator(a, inNumSamples, state.mHissState);
        vectorScaleInPlace(1e-05, a, inNumSamples);
        vectorAdd(a, work[c], b, inNumSamples);
        runGainRamp(b, a, inNumSamples, state.mInputRamp, coefficients.mInputGain);
        AmplifierSection(a, b, inNumSamples, coefficients, state);
        ToneSectionBlend(b, a, inNumSamples, coefficients, state);
        runGainRamp(a, work[c], inNumSamples, state.mOutputRamp, coefficients.mOutputGain);
    }
    MatrixGlide(workPointers, outOutputs, inNumSamples, inNumChannels, ioState.mOutputMatrix,
                inCoefficients.mOutputMatrix);
}

TEST(ProcessModel, EqualsTheComposedBlockOperationsBitForBit)
{
    constexpr int kLength = 14000;
    for (const int channels : {1, 2}) {
        Model fused(48000.0, 99);
        Model composed(48000.0, 99);
        std::vector<double> input[2] = {noise(kLength, 0.8, 1), noise(kLength, 0.3, 2)};
        const auto change = [&](auto inChange) {
            for (Model* model : {&fused, &composed}) {
                inChange(model->mParameters);
                updateAll(model->mParameters, model->mSampleRate, *model->mCoefficients);
            }
        };
        int position = 0;
        int block = 1;
        bool toneStoodStill = false;
        while (position < kLength) {
            const int n = std::min(1 + (block * 7) % 32, kLength - position);
            if (block == 20) {
                // Channel 1's tone fades out and stops while channel 2's keeps running.
                change([](ParameterValues& p) {
                    p[kCh1EnableEq] = 0.0f;
                    p[kCh2InputGain] = 0.9f;
                    p[kCh1HighPassFreq] = 0.9f;
                    p[kStereoMode] = 1.0f;
                });
            }
            if (position > 12000 && fused.mParameters[kCh1EnableEq] == 0.0f) {
                toneStoodStill = fused.mState->mChannel[0].mToneMix == 0.0;
                change([](ParameterValues& p) { p[kCh1EnableEq] = 1.0f; });
            }
            const double* in[] = {input[0].data() + position, input[1].data() + position};
            double fusedOut[2][32];
            double composedOut[2][32];
            double* fusedPointers[] = {fusedOut[0], fusedOut[1]};
            double* composedPointers[] = {composedOut[0], composedOut[1]};
            processModel(in, fusedPointers, n, channels, *fused.mCoefficients, *fused.mState);
            composeBlock(in, composedPointers, n, channels, *composed.mCoefficients, *composed.mState);
            for (int c = 0; c < channels; ++c)
                ASSERT_EQ(std::memcmp(fusedOut[c], composedOut[c], sizeof(double) * n), 0)
                    << "channels " << channels << " block " << block;
            position += n;
            ++block;
        }
        EXPECT_TRUE(toneStoodStill);
        EXPECT_EQ(std::memcmp(fused.mState.get(), composed.mState.get(), sizeof(ModelState)), 0);
    }
}

TEST(ProcessModel, DeterministicForOneSeedAndChannelsStayApart)
{
    Model first(44100.0, 5);
    Model second(44100.0, 5);
    std::vector<double> a[2] = {noise(2000, 0.5, 7), noise(2000, 0.5, 8)};
    std::vector<double> b[2] = {a[0], a[1]};
    first.run(a, 2, 32);
    second.run(b, 2, 32);
    EXPECT_EQ(a[0], b[0]);
    EXPECT_EQ(a[1], b[1]);

    // With one host channel, model channel 2 never moves.
    Model mono(44100.0, 5);
    ChannelState untouched;
    std::memcpy(&untouched, &mono.mState->mChannel[1], sizeof(ChannelState));
    std::vector<double> single[1] = {noise(2000, 0.5, 7)};
    mono.run(single, 1, 17);
    EXPECT_EQ(std::memcmp(&untouched, &mono.mState->mChannel[1], sizeof(ChannelState)), 0);
    EXPECT_NE(std::memcmp(&mono.mState->mChannel[0], &mono.mState->mChannel[1], sizeof(ChannelState)), 0);
}

TEST(ProcessModel, DefaultsKeepTheLevelOfAQuietSine)
{
    for (const double rate : {44100.0, 48000.0, 96000.0}) {
        Model model(rate);
        const int length = static_cast<int>(rate);
        const double amplitude = std::pow(10.0, -40.0 / 20.0);
        std::vector<double> signal[2] = {test::sine(amplitude, 1000.0, rate, length),
                                         test::sine(amplitude, 1000.0, rate, length)};
        const double inputLevel = test::rms(signal[0], length / 2);
        model.run(signal, 2);
        for (int c = 0; c < 2; ++c)
            EXPECT_NEAR(test::toDecibels(test::rms(signal[c], length / 2) / inputLevel), 0.0, 0.5) << rate;
    }
}

bool allFinite(const std::vector<double>& inSignal)
{
    for (const double x : inSignal)
        if (!std::isfinite(x))
            return false;
    return true;
}

// A logarithmic sweep from 20 Hz to 20 kHz at full scale.
std::vector<double> sweep(double inSampleRate, int inLength)
{
    std::vector<double> signal(inLength);
    const double ratio = std::log(1000.0);
    const double duration = inLength / inSampleRate;
    for (int i = 0; i < inLength; ++i) {
        const double t = i / inSampleRate;
        const double phase = 6.283185307179586 * 20.0 * duration / ratio * (std::exp(t / duration * ratio) - 1.0);
        signal[i] = std::sin(phase);
    }
    return signal;
}

TEST(ProcessModel, StaysFiniteAtEveryRateSwitchPositionAndControlExtreme)
{
    test::NoticeCatcher catcher;  // the lowest rates are beyond some fixed designs' limits
    for (const double rate : {22050.0, 32000.0, 44100.0, 48000.0, 88200.0, 96000.0, 192000.0}) {
        const int length = static_cast<int>(rate / 10);
        const std::vector<double> full = sweep(rate, length);
        for (int setting = 0; setting < 12; ++setting) {
            Model model(rate);
            ParameterValues& p = model.mParameters;
            const float extreme = setting % 2 ? 1.0f : 0.0f;
            p[kCh1InputGain] = p[kCh2InputGain] = extreme;
            p[kCh1EqHighToneGain] = p[kCh2EqLowToneGain] = extreme;
            p[kCh2EqHighToneGain] = p[kCh1EqLowToneGain] = 1.0f - extreme;
            p[kCh1OutputTrim] = p[kCh2OutputTrim] = extreme;
            p[kCh1HighPassFreq] = p[kCh2HighPassFreq] = 0.25f * static_cast<float>(setting % 4);
            p[kStereoMode] = setting / 4 == 1 ? 1.0f : 0.0f;
            p[kCh1PhaseReverse] = setting / 4 == 2 ? 1.0f : 0.0f;
            p[kCh2EnableEq] = setting / 4 == 2 ? 0.0f : 1.0f;
            p[kStereoLink] = setting == 11 ? 1.0f : 0.0f;
            updateAll(p, rate, *model.mCoefficients);

            std::vector<double> loud[2] = {full, full};
            std::vector<double> silent[2] = {std::vector<double>(length), std::vector<double>(length)};
            model.run(loud, 2);
            model.run(silent, 2);
            EXPECT_TRUE(allFinite(loud[0]) && allFinite(loud[1])) << rate << " setting " << setting;
            EXPECT_TRUE(allFinite(silent[0]) && allFinite(silent[1])) << rate << " setting " << setting;
            for (const ChannelState& channel : model.mState->mChannel)
                EXPECT_TRUE(std::isfinite(channel.mAmplifierCore.mState) && channel.mActivity >= 0.0
                            && channel.mActivity <= 1.0);
        }
    }
}

} // namespace
