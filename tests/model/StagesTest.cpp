#include "ModelTestSupport.h"

#include "dsp/cells/shapers/dsp_Shapers.h"
#include "dsp/filter_design/dsp_IIRToolsImpl.h"
#include "model/q38_Sections.h"
#include "model/q38_TubeStages.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <limits>

namespace {

using namespace q38;

bool sameBits(double inA, double inB)
{
    return std::bit_cast<std::uint64_t>(inA) == std::bit_cast<std::uint64_t>(inB);
}

TEST(Shapers, ClipSoftKneeAndRationalTanh)
{
    dsp::ClipLimits limits{};
    dsp::designClipLimits(limits, -8.0, -1.3, true, true);
    EXPECT_TRUE(limits.mUpper == dsp::decibelsToGain(-1.3) && limits.mLower == -dsp::decibelsToGain(-8.0));
    EXPECT_TRUE(dsp::clipSample(-1.0, limits) == limits.mLower && dsp::clipSample(-0.3, limits) == -0.3
                && dsp::clipSample(0.9, limits) == limits.mUpper);

    // Odd, continuous in value and slope, and transparent below its knee.
    dsp::SoftKneeShaper knee{};
    dsp::designSoftKneeShaper(knee, -55.428799, 0.035712, 0.136578, 0.0, 0.0);
    const auto shape = [&](double inValue) { return dsp::evaluateSoftKneeShaper(knee, inValue); };
    const auto slope = [&](double inValue) { return (shape(inValue * 1.0000001) - shape(inValue)) / (inValue * 1e-7); };
    EXPECT_TRUE(shape(0.0) == 0.0 && shape(0.001) == 0.001);
    for (const double edge : {knee.mKneeLow, knee.mKneeHigh}) {
        EXPECT_NEAR(shape(edge * (1.0 - 1e-12)), shape(edge * (1.0 + 1e-12)), 1e-14);
        EXPECT_NEAR(slope(edge * (1.0 - 1e-5)), slope(edge * (1.0 + 1e-5)), 1e-3);
    }
    EXPECT_NEAR(slope(0.01), 0.035712, 1e-6);
    for (const double v : {1e-5, 0.0015, 0.0017, 0.0019, 0.002, 0.1, 3.0}) {
        EXPECT_EQ(shape(-v), -shape(v)) << v;
        EXPECT_EQ(dsp::evaluateSoftKneeShaperUnity(knee, v), shape(v)) << v;
    }

    // Odd, unity for small signals, and held at its ceiling from 3 / curvature on.
    dsp::RationalTanhShaper tanh{};
    dsp::designRationalTanhShaper(tanh, 1.535714, 0.0, 0.0);
    const auto limit = [&](double inValue) { return dsp::evaluateRationalTanhShaper(tanh, inValue); };
    EXPECT_NEAR(limit(1e-6), 1e-6, 1e-16);
    EXPECT_NEAR(limit(3.0 / 1.535714), tanh.mLimit, 1e-15);
    EXPECT_TRUE(limit(1.9) < tanh.mLimit && limit(2.5) == tanh.mLimit && limit(1e6) == tanh.mLimit);
    for (const double v : {0.01, 0.3, 1.0, 1.9, 4.0}) {
        EXPECT_EQ(limit(-v), -limit(v));
        EXPECT_NEAR(limit(v), std::tanh(1.535714 * v) / 1.535714, 0.02);
    }
}

// Settled sections skip their glides: the bits must be those of gliding on for ever.
TEST(Sections, GlidingSectionsEqualThePlainRecurrencesBitForBit)
{
    double b[] = {0.9, -1.7, 0.8, 1.0, -1.8, 0.81}, f[] = {0.5, -0.4, 1.0, -0.9};
    const double bTargets[] = {0.95, -1.85, 0.9, 1.0, -1.9, 0.905}, fTargets[] = {0.6, -0.5, 1.0, -0.95};
    GlidingBiquad biquad{0, 0.0, 0.0, {b[0], b[1], b[2], b[3], b[4], b[5]}};
    GlidingFirstOrderSection first{0, 0.0, {f[0], f[1], f[2], f[3]}};
    double s1 = 0.0, s2 = 0.0, m = 0.0, in[32], biquadOut[32], firstOut[32];
    for (int block = 0; block < 3000; ++block) {
        for (int i = 0; i < 32; ++i)
            in[i] = std::sin(0.01 * (block * 32 + i));
        processGlidingBiquad(in, biquadOut, 32, biquad, bTargets, 0.001);
        processGlidingFirstOrder(in, firstOut, 32, first, fTargets, 0.001);
        for (int i = 0; i < 32; ++i) {
            for (const int k : {0, 1, 2, 4, 5})
                b[k] = (bTargets[k] - b[k]) * 0.001 + b[k];
            for (const int k : {0, 1, 3})
                f[k] = (fTargets[k] - f[k]) * 0.001 + f[k];
            const double y = in[i] * b[0] + s1;
            s1 = (in[i] * b[1] + s2) - y * b[4];
            s2 = in[i] * b[2] - y * b[5];
            const double z = in[i] * f[0] + m;
            m = in[i] * f[1] - z * f[3];
            ASSERT_TRUE(sameBits(biquadOut[i], y) && sameBits(firstOut[i], z)) << block << " " << i;
        }
    }
    EXPECT_EQ(std::memcmp(b, biquad.mCoefficients, sizeof b), 0);
}

// After a reset every gliding section and gain stands on its target at once;
// later changes glide at each one's own rate.
TEST(Sections, TargetsAtOnceAfterAResetThenEachGlidesAtItsRate)
{
    test::Model model;
    ChannelState& s = model.state(0);
    const ChannelCoefficients& c = model.coefficients(0);
    const struct
    {
        double* mNow;
        const double* mTarget;
        int mCount;
        double mRate;
    } glides[] = {{s.mPreEmphasis.mCoefficients, c.mPreEmphasis, 4, 0.001},
                  {s.mDeEmphasis.mCoefficients, c.mDeEmphasis, 4, 0.001},
                  {s.mHighPassFirstOrder.mCoefficients, c.mHighPassFirstOrder, 4, 0.001},
                  {s.mHighPassSecondOrder.mCoefficients, c.mHighPassSecondOrder, 6, 0.001},
                  {s.mCouplingHighPass.mCoefficients, c.mCouplingHighPass, 6, 0.001},
                  {s.mLowShelf.mCoefficients, c.mLowShelf, 6, 0.0005},
                  {s.mHighShelf.mCoefficients, c.mHighShelf, 6, 0.0005},
                  {&s.mBiasGain, &c.mBiasGain, 1, 0.0025}};
    const auto step = [&] {
        double samples[2] = {0.01, 0.0};
        AmplifierSection(samples, samples + 1, 1, c, s);
        ToneSectionBlend(samples + 1, samples, 1, c, s);
    };
    step();
    for (const auto& glide : glides)
        EXPECT_EQ(std::memcmp(glide.mNow, glide.mTarget, sizeof(double) * glide.mCount), 0) << &glide - glides;
    EXPECT_EQ(s.mToneMix, 1.0);

    for (const int id : {kCh1InputGain, kCh1HighPassFreq, kCh1EqLowToneGain})
        model.mParameters[id] = 1.0f;
    model.mParameters[kCh1EqHighToneGain] = 0.0f;
    model.update();
    std::vector<std::vector<double>> before;
    for (const auto& glide : glides)
        before.emplace_back(glide.mNow, glide.mNow + glide.mCount);
    step();
    for (std::size_t g = 0; g < std::size(glides); ++g) {
        const auto& [now, target, count, rate] = glides[g];
        for (int k = 0; k < count; ++k) {
            if (count > 1 && k == count / 2)
                continue;  // a0 never moves
            EXPECT_NE(before[g][k], target[k]) << g << " " << k;
            EXPECT_EQ(now[k], (target[k] - before[g][k]) * rate + before[g][k]) << g << " " << k;
        }
    }
}

// Both channels at once evaluate the curves of the cell library bit for bit.
TEST(Lanes, PairedCurvesEqualTheSingleChannelOnes)
{
    SaturatingIntegrator integrator{}, withGains{};
    dsp::designSoftKneeShaper(integrator.mShaper, -55.428799, 0.035712, 0.136578, 0.0, 0.0);
    dsp::designSoftKneeShaper(withGains.mShaper, -50.0, 0.2, 0.5, 3.0, -2.0);
    SaturatingIntegratorRunner<2, false> full;
    full.load({&withGains, &integrator});
    SaturatingIntegratorRunner<2, true> unity;
    unity.load({&integrator, &integrator});
    ChannelState states[2] = {};
    dsp::designRationalTanhShaper(states[0].mOutputTanh, 1.535714, 0.0, 0.0);
    states[1].mOutputTanh = states[0].mOutputTanh;
    const ChannelCoefficients coefficients[2] = {};
    ToneSectionRunner<2> tone;
    tone.load({{&states[0], &states[1]}, {&coefficients[0], &coefficients[1]}});
    const dsp::ClipLimits limits{0.3, -0.6};
    ClipRunner<2> clipper;
    clipper.load({&limits, &limits});

    const dsp::SoftKneeShaper& shaper = integrator.mShaper;
    std::vector<double> values = {0.0, 1e-300, shaper.mKneeLow, shaper.mKneeHigh, 0.3, 0.6, 1.9534887, 2.0};
    for (double v = 1e-6; v < 10.0; v *= 1.01)
        values.push_back(v);
    for (const double magnitude : values) {
        for (const double v : {magnitude, -magnitude, std::nextafter(magnitude, 1.0), std::nextafter(magnitude, 0.0)}) {
            const DoublePair pair = {v, -v};
            const DoublePair shaped = full.shape(pair), shapedUnity = unity.shape(pair);
            const DoublePair limited = tone.shape(pair), clipped = clipper.tick(pair);
            ASSERT_TRUE(sameBits(shaped[0], dsp::evaluateSoftKneeShaper(withGains.mShaper, v))
                        && sameBits(shaped[1], dsp::evaluateSoftKneeShaper(shaper, -v))
                        && sameBits(shapedUnity[0], dsp::evaluateSoftKneeShaperUnity(shaper, v))
                        && sameBits(shapedUnity[1], dsp::evaluateSoftKneeShaperUnity(shaper, -v))
                        && sameBits(limited[0], dsp::evaluateRationalTanhShaper(states[0].mOutputTanh, v))
                        && sameBits(limited[1], dsp::evaluateRationalTanhShaper(states[0].mOutputTanh, -v))
                        && sameBits(clipped[0], dsp::clipSample(v, limits))
                        && sameBits(clipped[1], dsp::clipSample(-v, limits)))
                << v;
        }
    }
}

TEST(SaturatingIntegrator, TransparentAndOddForSmallSignalsFarAboveItsCorner)
{
    SaturatingIntegrator core = test::Model(44100.0).state(0).mAmplifierCore, negatedCore = core;
    const std::vector<double> in = test::sine(0.001, 1000.0, 44100.0, 44096), negated = test::sine(-0.001, 1000.0, 44100.0, 44096);
    std::vector<double> out(in.size()), negatedOut(in.size());
    for (std::size_t start = 0; start < in.size(); start += 32) {
        runSaturatingIntegrator(in.data() + start, out.data() + start, 32, core);
        runSaturatingIntegrator(negated.data() + start, negatedOut.data() + start, 32, negatedCore);
    }
    EXPECT_NEAR(test::rmsDb(out, 22050), test::rmsDb(in, 22050), 0.01);
    for (std::size_t i = 0; i < in.size(); ++i)
        ASSERT_EQ(negatedOut[i], -out[i]);
}

TEST(BiasShiftClamp, NoNegativeSampleJustAfterAResetUntilTheFloorHasGlidedIn)
{
    test::Model model(44100.0);
    const double floor = model.coefficients(0).mBiasFloor;
    std::vector<double> signal = test::sine(0.5, 300.0, 44100.0, 8000);
    for (int start = 0; start < 8000; start += 32)
        runBiasShiftClamp(signal.data() + start, signal.data() + start, 32, model.coefficients(0), model.state(0));
    EXPECT_GE(*std::min_element(signal.begin(), signal.begin() + 32), 0.0);
    const double lowest = *std::min_element(signal.begin(), signal.end());
    EXPECT_TRUE(lowest >= floor && lowest < 0.5 * floor) << lowest << " " << floor;
}

// A feedback resting on a subnormal computes on zero memories in their place;
// a cut wakes it. Run sample by sample and in held blocks, and as a pair with
// a lane that cuts all the time, each lane must give the bits of the plain
// recurrence throughout, outputs and memories.
TEST(BiasShiftClamp, RestingOnASubnormalGivesThePlainResult)
{
    for (const bool inBlocks : {false, true}) {
        SCOPED_TRACE(inBlocks ? "held blocks" : "sample by sample");
        test::Model model(44100.0);
        struct Plain
        {
            double mShift, mMemory, mFloor, mFeedback;
        } plain[2];
        for (int c = 0; c < 2; ++c) {
            ChannelState& state = model.state(c);
            state.mBiasShift = state.mBiasLowPassMemory = c == 0 ? 1e-319 : 0.0;
            state.mBiasFloor = model.coefficients(c).mBiasFloor;
            state.mBiasFeedback = 0.5 * model.coefficients(c).mBiasFeedback;  // still gliding
            plain[c] = {state.mBiasShift, state.mBiasLowPassMemory, state.mBiasFloor, state.mBiasFeedback};
        }
        const LaneSet<2> lanes{{&model.state(0), &model.state(1)}, {&model.coefficients(0), &model.coefficients(1)}};
        const double* lowPass = model.state(0).mBiasLowPass;
        for (int block = 0; block < 700; ++block) {
            if (block == 600) {
                EXPECT_TRUE(BiasShiftClampRunner<1>::isResting(model.state(0), model.coefficients(0)));
            }
            DoublePair in[32], out[32];
            for (int i = 0; i < 32; ++i) {
                const double t = 0.001 * (block * 32 + i);
                const double cut = block == 600 && i == 5 ? 2.0 : 0.0;
                in[i] = DoublePair{0.1 + 0.05 * std::sin(t) - cut, 0.8 * std::sin(50.0 * t)};
            }
            BiasShiftClampRunner<2> clamp;
            clamp.load(lanes);
            if (inBlocks)
                clamp.runBlock<true>(out, 32, [&](int i) { return in[i]; });
            else
                for (int i = 0; i < 32; ++i)
                    out[i] = clamp.tick(in[i]);
            clamp.store(lanes);
            for (int i = 0; i < 32; ++i) {
                for (int c = 0; c < 2; ++c) {
                    Plain& p = plain[c];
                    const double v = std::max(in[i][c] - p.mShift * p.mFeedback, p.mFloor);
                    const double e = in[i][c] - v;
                    p.mShift = e * lowPass[0] + p.mMemory;
                    p.mMemory = e * lowPass[1] - lowPass[3] * p.mShift;
                    p.mFeedback += (model.coefficients(c).mBiasFeedback - p.mFeedback) * 0.001;
                    p.mFloor += (model.coefficients(c).mBiasFloor - p.mFloor) * 0.001;
                    ASSERT_TRUE(sameBits(out[i][c], v)) << block << " " << i << " lane " << c;
                }
            }
            for (int c = 0; c < 2; ++c) {
                const ChannelState& state = model.state(c);
                ASSERT_TRUE(sameBits(state.mBiasShift, plain[c].mShift)
                            && sameBits(state.mBiasLowPassMemory, plain[c].mMemory)
                            && sameBits(state.mBiasFeedback, plain[c].mFeedback))
                    << block << " lane " << c;
            }
        }
        EXPECT_GT(std::fabs(plain[0].mShift), 1e-6);
    }
}

} // namespace
