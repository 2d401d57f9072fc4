#include "ModelTestSupport.h"

#include "model/q38_Sections.h"
#include "model/q38_TubeStages.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstring>

namespace {

using namespace q38;
using q38::test::Model;

TEST(Sections, FixedSectionsFollowTheirDifferenceEquations)
{
    Biquad biquad{};
    resetSection(biquad);
    const double coefficients[] = {0.3, -0.2, 0.1, 1.0, -0.5, 0.25};
    std::copy(coefficients, coefficients + 6, biquad.mCoefficients);
    FirstOrderSection first{};
    resetSection(first);
    const double firstCoefficients[] = {0.7, -0.6, 1.0, -0.9};
    std::copy(firstCoefficients, firstCoefficients + 4, first.mCoefficients);

    // Two blocks, so that the memories carry over.
    double in[40];
    for (int i = 0; i < 40; ++i)
        in[i] = std::sin(0.37 * i) + (i == 3 ? 1.0 : 0.0);
    double out[40];
    double firstOut[40];
    processBiquad(in, out, 32, biquad);
    processBiquad(in + 32, out + 32, 8, biquad);
    processFirstOrder(in, firstOut, 17, first);
    processFirstOrder(in + 17, firstOut + 17, 23, first);
    for (int n = 0; n < 40; ++n) {
        const double x1 = n > 0 ? in[n - 1] : 0.0;
        const double x2 = n > 1 ? in[n - 2] : 0.0;
        const double y1 = n > 0 ? out[n - 1] : 0.0;
        const double y2 = n > 1 ? out[n - 2] : 0.0;
        EXPECT_NEAR(out[n], 0.3 * in[n] - 0.2 * x1 + 0.1 * x2 + 0.5 * y1 - 0.25 * y2, 1e-13);
        const double f1 = n > 0 ? firstOut[n - 1] : 0.0;
        EXPECT_NEAR(firstOut[n], 0.7 * in[n] - 0.6 * x1 + 0.9 * f1, 1e-13);
    }
}

TEST(Sections, GlidingSectionTakesTargetsAtOnceThenGlidesAtItsRate)
{
    GlidingBiquad section{};
    resetSection(section);
    section.mMemory1 = 0.25;  // the snap keeps the memories
    double targets[] = {0.5, 0.2, 0.1, 7.0, -0.3, 0.2};
    takeTargetsIfPending(section, targets);
    EXPECT_EQ(section.mPending, 0);
    EXPECT_EQ(section.mMemory1, 0.25);
    for (int k = 0; k < 6; ++k)
        EXPECT_EQ(section.mCoefficients[k], targets[k]);

    // A second call without a reset does not snap again.
    const double moved[] = {1.0, 0.0, 0.0, 1.0, 0.0, 0.0};
    takeTargetsIfPending(section, moved);
    EXPECT_EQ(section.mCoefficients[0], 0.5);

    // From rest, the first sample moves each coefficient by rate times the step; a0 never moves.
    const double zeros[32] = {};
    double out[32];
    section.mMemory1 = 0.0;
    processGlidingBiquad(zeros, out, 1, section, moved, 0.001);
    EXPECT_DOUBLE_EQ(section.mCoefficients[0], 0.5 + 0.5 * 0.001);
    EXPECT_DOUBLE_EQ(section.mCoefficients[1], 0.2 - 0.2 * 0.001);
    EXPECT_DOUBLE_EQ(section.mCoefficients[4], -0.3 + 0.3 * 0.001);
    EXPECT_EQ(section.mCoefficients[3], 7.0);

    // After 1000 more samples the distance has fallen by about e.
    for (int block = 0; block < 1000 / 20; ++block)
        processGlidingBiquad(zeros, out, 20, section, moved, 0.001);
    EXPECT_NEAR((1.0 - section.mCoefficients[0]) / 0.5, std::pow(0.999, 1001), 1e-12);
    EXPECT_NEAR((1.0 - section.mCoefficients[0]) / 0.5, std::exp(-1.0), 1e-3);

    GlidingFirstOrderSection first{};
    resetSection(first);
    const double firstTargets[] = {2.0, -1.0, 1.0, 0.5};
    takeTargetsIfPending(first, firstTargets);
    const double one[] = {1.0};
    processGlidingFirstOrder(one, out, 1, first, firstTargets, 0.0005);
    EXPECT_EQ(out[0], 2.0);
    EXPECT_EQ(first.mMemory, -1.0 - 2.0 * 0.5);
}

TEST(Sections, SettledGlidesGiveTheSameBitsAsGlidingOnForever)
{
    // Plain per-sample glides next to the section, until long after it has settled.
    GlidingBiquad section{};
    resetSection(section);
    const double start[] = {0.9, -1.7, 0.8, 1.0, -1.8, 0.81};
    const double targets[] = {0.95, -1.85, 0.9, 1.0, -1.9, 0.905};
    std::copy(start, start + 6, section.mCoefficients);
    section.mPending = 0;
    double reference[6];
    std::copy(start, start + 6, reference);
    double s1 = 0.0;
    double s2 = 0.0;
    double in[32];
    double out[32];
    for (int block = 0; block < 3000; ++block) {
        for (int i = 0; i < 32; ++i)
            in[i] = std::sin(0.01 * (block * 32 + i));
        processGlidingBiquad(in, out, 32, section, targets, 0.001);
        for (int i = 0; i < 32; ++i) {
            for (const int k : {0, 1, 2, 4, 5})
                reference[k] = (targets[k] - reference[k]) * 0.001 + reference[k];
            const double y = in[i] * reference[0] + s1;
            s1 = (in[i] * reference[1] + s2) - y * reference[4];
            s2 = in[i] * reference[2] - y * reference[5];
            ASSERT_EQ(out[i], y) << block << " " << i;
        }
    }
    EXPECT_EQ(std::memcmp(reference, section.mCoefficients, sizeof(reference)), 0);
}

// Both channels at once evaluate the curves of the cell library bit for bit.
TEST(Lanes, PairedCurvesEqualTheSingleChannelOnes)
{
    SaturatingIntegrator integrator{};
    dsp::designSoftKneeShaper(integrator.mShaper, -55.428799, 0.035712, 0.136578, 0.0, 0.0);
    SaturatingIntegrator withGains = integrator;
    dsp::designSoftKneeShaper(withGains.mShaper, -50.0, 0.2, 0.5, 3.0, -2.0);
    SaturatingIntegratorRunner<2, false> full;
    full.load({&withGains, &integrator});
    SaturatingIntegratorRunner<2, true> unity;
    unity.load({&integrator, &integrator});

    dsp::RationalTanhShaper tanh{};
    dsp::designRationalTanhShaper(tanh, 1.535714, 0.0, 0.0);
    ChannelState states[2] = {};
    states[0].mOutputTanh = tanh;
    states[1].mOutputTanh = tanh;
    ChannelCoefficients coefficients[2] = {};
    ToneSectionRunner<2> tone;
    tone.load({{&states[0], &states[1]}, {&coefficients[0], &coefficients[1]}});

    const dsp::ClipLimits limits{0.3, -0.6};
    ClipRunner<2> clipper;
    clipper.load({&limits, &limits});

    const auto same = [](double inA, double inB) { return std::memcmp(&inA, &inB, sizeof(double)) == 0; };
    const dsp::SoftKneeShaper& shaper = integrator.mShaper;
    std::vector<double> values = {0.0, -0.0, 1e-300, shaper.mKneeLow, shaper.mKneeHigh, 0.3, -0.6, 1.9534887, 2.0};
    for (double v = 1e-6; v < 10.0; v *= 1.01)
        values.push_back(v);
    for (const double magnitude : std::vector<double>(values)) {
        for (const double v : {magnitude, -magnitude, std::nextafter(magnitude, 1.0), std::nextafter(magnitude, 0.0)}) {
            const DoublePair pair = {v, -v};
            const DoublePair shaped = full.shape(pair);
            ASSERT_TRUE(same(shaped[0], dsp::evaluateSoftKneeShaper(withGains.mShaper, v))) << v;
            ASSERT_TRUE(same(shaped[1], dsp::evaluateSoftKneeShaper(shaper, -v))) << v;
            const DoublePair shapedUnity = unity.shape(pair);
            ASSERT_TRUE(same(shapedUnity[0], dsp::evaluateSoftKneeShaperUnity(shaper, v))) << v;
            ASSERT_TRUE(same(shapedUnity[1], dsp::evaluateSoftKneeShaperUnity(shaper, -v))) << v;
            const DoublePair limited = tone.shape(pair);
            ASSERT_TRUE(same(limited[0], dsp::evaluateRationalTanhShaper(tanh, v))) << v;
            ASSERT_TRUE(same(limited[1], dsp::evaluateRationalTanhShaper(tanh, -v))) << v;
            const DoublePair clipped = clipper.tick(pair);
            ASSERT_TRUE(same(clipped[0], dsp::clipSample(v, limits))) << v;
            ASSERT_TRUE(same(clipped[1], dsp::clipSample(-v, limits))) << v;
        }
    }
}

std::vector<double> runIntegrator(SaturatingIntegrator inIntegrator, const std::vector<double>& inSignal)
{
    std::vector<double> out(inSignal.size());
    for (size_t start = 0; start < inSignal.size(); start += 32) {
        const int n = static_cast<int>(std::min<size_t>(32, inSignal.size() - start));
        runSaturatingIntegrator(inSignal.data() + start, out.data() + start, n, inIntegrator);
    }
    return out;
}

TEST(SaturatingIntegrator, TransparentForSmallSignalsAndCompressingLowFrequencies)
{
    const Model model(44100.0);
    const SaturatingIntegrator core = model.mState->mChannel[0].mAmplifierCore;

    // Far above its 2 Hz corner and well below the knee: less than 0.01 dB of change.
    const std::vector<double> quiet = test::sine(0.001, 1000.0, 44100.0, 44100);
    const std::vector<double> quietOut = runIntegrator(core, quiet);
    EXPECT_LT(std::fabs(test::toDecibels(test::rms(quietOut, 22050) / test::rms(quiet, 22050))), 0.01);

    // Odd symmetry from rest.
    std::vector<double> negated(quiet.size());
    for (size_t i = 0; i < quiet.size(); ++i)
        negated[i] = -quiet[i];
    const std::vector<double> negatedOut = runIntegrator(core, negated);
    for (size_t i = 0; i < quiet.size(); i += 97)
        ASSERT_EQ(negatedOut[i], -quietOut[i]);

    // 20 Hz: nearly linear at a moderate level, while at full level the saturated
    // core lets the peaks through well below the input's.
    const auto peakRatio = [&](double inAmplitude) {
        const std::vector<double> in = test::sine(inAmplitude, 20.0, 44100.0, 44100);
        const std::vector<double> out = runIntegrator(core, in);
        double peak = 0.0;
        for (size_t i = 22050; i < out.size(); ++i)
            peak = std::max(peak, std::fabs(out[i]));
        return peak / inAmplitude;
    };
    EXPECT_GT(peakRatio(0.03), 0.99);
    EXPECT_LT(peakRatio(1.0), 0.8);
}

TEST(BiasShiftClamp, CutsNegativeSamplesAfterResetUntilTheFloorHasGlided)
{
    Model model(44100.0);
    ChannelState& state = model.mState->mChannel[0];
    const ChannelCoefficients& coefficients = model.mCoefficients->mChannel[0];
    ASSERT_LT(coefficients.mBiasFloor, 0.0);
    ASSERT_GT(coefficients.mBiasFeedback, 0.0);

    const std::vector<double> in = test::sine(0.5, 300.0, 44100.0, 8000);
    std::vector<double> out(in.size());
    double lowest = 0.0;
    for (int start = 0; start < 8000; start += 32) {
        runBiasShiftClamp(in.data() + start, out.data() + start, 32, coefficients, state);
        if (start == 0) {
            for (int i = 0; i < 32; ++i)
                EXPECT_GE(out[i], 0.0) << i;
        }
        for (int i = 0; i < 32; ++i)
            lowest = std::min(lowest, out[start + i]);
    }
    // Within some thousand samples floor and feedback are on their targets.
    EXPECT_NEAR(state.mBiasFloor, coefficients.mBiasFloor, 1e-3 * std::fabs(coefficients.mBiasFloor));
    EXPECT_NEAR(state.mBiasFeedback, coefficients.mBiasFeedback, 1e-3 * coefficients.mBiasFeedback);
    // Never below the floor in force; by then the floor lets negative samples through.
    EXPECT_GE(lowest, coefficients.mBiasFloor);
    EXPECT_LT(lowest, 0.5 * coefficients.mBiasFloor);
}

TEST(BiasShiftClamp, FeedbackRestingOnASubnormalGivesThePlainResult)
{
    // From a subnormal feedback that decays and comes to rest, then a cut
    // that wakes it; next to the plain recurrence.
    Model model(44100.0);
    ChannelState& state = model.mState->mChannel[0];
    const ChannelCoefficients& coefficients = model.mCoefficients->mChannel[0];
    state.mBiasShift = 1e-319;
    state.mBiasLowPassMemory = 1e-319;
    state.mBiasFloor = coefficients.mBiasFloor;
    state.mBiasFeedback = 0.5 * coefficients.mBiasFeedback;  // still gliding
    const double b0 = state.mBiasLowPass[0];
    const double b1 = state.mBiasLowPass[1];
    const double a1 = state.mBiasLowPass[3];
    double shift = state.mBiasShift;
    double memory = state.mBiasLowPassMemory;
    double floor = state.mBiasFloor;
    double feedback = state.mBiasFeedback;
    double in[32];
    double out[32];
    for (int block = 0; block < 700; ++block) {
        if (block == 600) {
            EXPECT_TRUE(BiasShiftClampRunner<1>::isResting(state, coefficients));
        }
        for (int i = 0; i < 32; ++i)
            in[i] = 0.1 + 0.05 * std::sin(0.001 * (block * 32 + i)) - (block == 600 && i == 5 ? 2.0 : 0.0);
        runBiasShiftClamp(in, out, 32, coefficients, state);
        for (int i = 0; i < 32; ++i) {
            double v = in[i] - shift * feedback;
            if (v <= floor)
                v = floor;
            const double e = in[i] - v;
            shift = e * b0 + memory;
            memory = e * b1 - a1 * shift;
            feedback += (coefficients.mBiasFeedback - feedback) * 0.001;
            floor += (coefficients.mBiasFloor - floor) * 0.001;
            ASSERT_EQ(std::bit_cast<std::uint64_t>(out[i]), std::bit_cast<std::uint64_t>(v)) << block << " " << i;
        }
        ASSERT_EQ(std::bit_cast<std::uint64_t>(state.mBiasShift), std::bit_cast<std::uint64_t>(shift)) << block;
        ASSERT_EQ(std::bit_cast<std::uint64_t>(state.mBiasLowPassMemory), std::bit_cast<std::uint64_t>(memory));
        ASSERT_EQ(std::bit_cast<std::uint64_t>(state.mBiasFeedback), std::bit_cast<std::uint64_t>(feedback));
    }
    EXPECT_GT(std::fabs(shift), 1e-6);
}

} // namespace
