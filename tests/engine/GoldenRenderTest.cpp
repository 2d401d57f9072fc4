// Golden renders: fixed signals through a table of settings, rates and
// control moves, compared with fingerprints of the output recorded before
// the sample loops were optimised (and, for the noisy ones, before the input
// guards existed). Any change of the arithmetic, however small, changes a
// fingerprint: the optimised engine must compute exactly what the plain one
// did, in every version of its sample loops that the processor runs.

#include "EngineTestSupport.h"
#include "model/q38_ChannelChain.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <numbers>

using namespace enginetest;

namespace {

constexpr std::size_t kSegment = 6000;

// A sine sweep from 20 Hz to 0.45 of the rate, white noise, sparse impulses of
// both signs and a long digital silence, one after the other. The two
// channels differ in phase, noise and impulse positions.
std::vector<float> testSignal(int inSampleRate, int inChannel)
{
    std::vector<float> signal = randomSignal(4 * kSegment, 0.7f, 11 + static_cast<std::uint32_t>(inChannel));
    const double start = 20.0 / inSampleRate, end = 0.45, growth = std::log(end / start) / kSegment;
    double phase = inChannel * std::numbers::pi / 2.0;
    for (std::size_t i = 0; i < kSegment; ++i) {
        signal[i] = static_cast<float>(0.5 * std::sin(phase));
        phase += 2.0 * std::numbers::pi * start * std::exp(growth * static_cast<double>(i));
    }
    for (std::size_t i = 2 * kSegment; i < 4 * kSegment; ++i) {
        const std::size_t k = i - 2 * kSegment + static_cast<std::size_t>(inChannel) * 300;
        signal[i] = i < 3 * kSegment && k % 997 == 0 ? ((k / 997) % 2 ? -0.9f : 0.9f) : 0.0f;
    }
    return signal;
}

// Taken before the first block that starts at mFrame or later.
struct Move { std::size_t mFrame; int mId; float mValue; };

// The moves at frame 0 are the settings from the start. A render with mNoise
// above 0 takes noise of that level and a sine on the left instead of the
// test signal, in blocks of 1 to 32 samples throughout.
struct GoldenRender { const char* mName; int mSampleRate, mNumChannels; std::vector<Move> mMoves; std::uint64_t mFingerprint; float mNoise = 0.0f; };

// Noisy renders fade out at their 300th block and in again at the 600th.
std::vector<Move> withFade(std::vector<Move> ioMoves)
{
    std::mt19937 sizes(3);
    std::size_t start = 0;
    for (int block = 0; block < 600; ++block) {
        if (block == 300)
            ioMoves.push_back({start, kEnableEffect, 0});
        start += 1 + sizes() % 32;
    }
    ioMoves.push_back({start, kEnableEffect, 1});
    return ioMoves;
}

// Every control away from its default.
const std::vector<Move> kEveryControlMoved = {
    {0, kStereoMode, 1},          {0, kCh1PhaseReverse, 1},     {0, kCh1InputGain, 0.6f},
    {0, kCh2InputGain, 0.4f},     {0, kCh1HighPassFreq, 1},     {0, kCh2HighPassFreq, 0.5f},
    {0, kCh1EqHighToneGain, 0.8f}, {0, kCh2EqHighToneGain, 0.3f}, {0, kCh1EqLowToneGain, 0.2f},
    {0, kCh2EqLowToneGain, 0.9f}, {0, kCh1OutputTrim, 0.4f},    {0, kCh2OutputTrim, 0.6f}};

// Every control at the value given, but the effect on.
std::vector<Move> everyControlAt(float inValue)
{
    std::vector<Move> moves;
    for (int id = kStereoLink; id < kNumParameters; ++id)
        moves.push_back({0, id, inValue});
    return moves;
}

// The test signal in blocks of 32 for the first half, then of 1 to 32 samples.
void render(const GoldenRender& inRender, std::vector<float>& ioLeft, std::vector<float>& ioRight)
{
    std::unique_ptr<Q38Engine> engine(createQ38Engine());
    q38FixHissSeed(engine.get(), 38);
    engine->setSampleRate(inRender.mSampleRate);
    std::mt19937 sizes(inRender.mNoise > 0.0f ? 3 : 5);
    auto move = inRender.mMoves.begin();
    for (std::size_t start = 0; start < ioLeft.size();) {
        for (; move != inRender.mMoves.end() && move->mFrame <= start; ++move)
            engine->setParameter(move->mId, move->mValue);
        const std::size_t size = inRender.mNoise == 0.0f && start < ioLeft.size() / 2 ? 32 : 1 + sizes() % 32;
        const int n = static_cast<int>(std::min(size, ioLeft.size() - start));
        float* channels[2] = {ioLeft.data() + start, ioRight.data() + start};
        engine->process(channels, channels, inRender.mNumChannels, n);
        start += static_cast<std::size_t>(n);
    }
}

// Runs inCheck once with each version of the sample loops that the
// processor runs, then goes back to the widest.
template <typename Check>
void forEachSampleLoops(Check&& inCheck)
{
    using q38::SampleLoops;
    for (const SampleLoops loops : {SampleLoops::Baseline, SampleLoops::X86V3, SampleLoops::X86V4}) {
        if (!q38::processorRuns(loops))
            continue;
        SCOPED_TRACE(::testing::Message() << "sample loops " << static_cast<int>(loops));
        q38::useSampleLoops(loops);
        inCheck();
    }
    q38::useSampleLoops(SampleLoops::Widest);
}

} // namespace

TEST(GoldenRender, OutputIsUnchangedBitForBit)
{
    const GoldenRender renders[] = {
        {"defaults", 48000, 2, {}, 0xab3892b92100a7f4ull},
        {"defaults at 44.1 kHz", 44100, 2, {}, 0x47f70fcbd617e748ull},
        {"every control moved at 96 kHz", 96000, 2, kEveryControlMoved, 0x9ba71a205996f572ull},
        {"every control moved at 192 kHz", 192000, 2, kEveryControlMoved, 0x3beca3966bcf60b1ull},
        {"every control at its lower end", 48000, 2, everyControlAt(0), 0x4f183f2e00a974ecull},
        {"every control at its upper end", 48000, 2, everyControlAt(1), 0x106b455c4eac15e5ull},
        {"gain and tone at upper ends, 80 + 300 Hz, lowest trim", 44100, 2,
         {{0, kCh1InputGain, 1}, {0, kCh2InputGain, 1}, {0, kCh1HighPassFreq, 1}, {0, kCh2HighPassFreq, 0.75f},
          {0, kCh1EqHighToneGain, 1}, {0, kCh2EqLowToneGain, 1}, {0, kCh1OutputTrim, 0}, {0, kCh2OutputTrim, 0}},
         0x1b5dba08c3fd05e5ull},
        {"tone at lower ends, 80 Hz and 300 Hz, highest trim", 48000, 2,
         {{0, kCh1InputGain, 0.5f}, {0, kCh1HighPassFreq, 0.25f}, {0, kCh2HighPassFreq, 0.5f},
          {0, kCh1EqHighToneGain, 0}, {0, kCh2EqLowToneGain, 0}, {0, kCh1OutputTrim, 1}, {0, kCh2OutputTrim, 1}},
         0x10eee3ccbeb62192ull},
        {"Eq off, high-pass set", 96000, 2,
         {{0, kCh1EnableEq, 0}, {0, kCh2EnableEq, 0}, {0, kCh1HighPassFreq, 1}, {0, kCh1InputGain, 0.7f}},
         0x611e67f21347cd13ull},
        {"M/S, channel 1 reversed", 48000, 2, {{0, kStereoMode, 1}, {0, kCh1PhaseReverse, 1}, {0, kCh2InputGain, 0.5f}},
         0x4b73a342edc07ce7ull},
        {"linked", 48000, 2,
         {{0, kStereoLink, 1}, {0, kCh1InputGain, 0.8f}, {0, kCh2InputGain, 0.1f}, {0, kCh2EnableEq, 0}},
         0xe38459b2908b5756ull},
        {"mono host", 48000, 1, {{0, kCh1InputGain, 0.5f}, {0, kCh1EqLowToneGain, 1}, {0, kCh1HighPassFreq, 0.5f}},
         0x19a90ce549aa965bull},
        {"mono host, M/S", 192000, 1, {{0, kStereoMode, 1}, {0, kCh1InputGain, 0.9f}}, 0x52cacd9e47c7e3d2ull},
        {"bypass fade out, past the floor, and in", 48000, 2,
         {{3000, kEnableEffect, 0}, {15000, kEnableEffect, 1}, {15500, kEnableEffect, 0}, {16200, kEnableEffect, 1}},
         0x15f79f4ae6649946ull},
        {"effect off from the start, then on", 44100, 2, {{0, kEnableEffect, 0}, {9000, kEnableEffect, 1}},
         0x0093b0688b2d7bd7ull},
        {"controls moved mid-signal", 48000, 2,
         {{2000, kCh1InputGain, 1},     {2500, kCh2HighPassFreq, 1},  {4000, kCh1EqHighToneGain, 0},
          {5000, kCh2EqLowToneGain, 1}, {7000, kCh1EnableEq, 0},      {9000, kCh1EnableEq, 1},
          {10000, kStereoLink, 1},      {12000, kStereoLink, 0},      {13000, kStereoMode, 1},
          {14000, kCh2PhaseReverse, 1}, {15000, kCh1OutputTrim, 0.9f}, {18000, kCh1InputGain, 0.2f},
          {20000, kCh2HighPassFreq, 0}},
         0xfbc291021ca5f07eull},
        {"controls moved mid-signal, mono host", 96000, 1,
         {{1000, kCh1InputGain, 0.75f}, {6000, kCh1HighPassFreq, 0.8f}, {8000, kCh1EnableEq, 0},
          {12000, kCh1EnableEq, 1},     {17000, kCh1EqHighToneGain, 1}, {19000, kCh1OutputTrim, 0.2f}},
         0x78de031788586458ull},
        {"lowest rate", 8000, 2, kEveryControlMoved, 0xd3023f7baafe16baull},
        {"highest rate", 384000, 2, kEveryControlMoved, 0x70b66372e9f9bfafull},
        {"noisy, defaults", 48000, 2, withFade({}), 0xe3170698c1ee27a3ull, 0.5f},
        {"noisy, every control moved", 44100, 2, withFade(kEveryControlMoved), 0x0ce8888b89eaf372ull, 0.3f},
        {"noisy, loud, gain 76 dB, linked, Eq off", 96000, 2,
         withFade({{0, kStereoLink, 1}, {0, kCh1InputGain, 1}, {0, kCh1EnableEq, 0}}), 0xe485785ae7e5457cull, 1.0f},
        {"noisy, mono host", 48000, 1, withFade({{0, kCh1InputGain, 0.5f}, {0, kCh1EqLowToneGain, 1}}),
         0x0a22cb9558ee913full, 0.8f},
    };
    forEachSampleLoops([&] {
        for (const GoldenRender& golden : renders) {
            SCOPED_TRACE(golden.mName);
            std::vector<float> left = testSignal(golden.mSampleRate, 0), right = testSignal(golden.mSampleRate, 1);
            if (golden.mNoise > 0.0f) {
                left = randomSignal(24000, golden.mNoise, 1), right = randomSignal(24000, golden.mNoise, 2);
                for (std::size_t i = 0; i < left.size(); ++i)
                    left[i] += static_cast<float>(0.5 * std::sin(0.05 * static_cast<double>(i)));
            }
            render(golden, left, right);
            EXPECT_TRUE(std::all_of(left.begin(), left.end(), [](float inSample) { return std::isfinite(inSample); }));
            const std::uint64_t print = fingerprint(left, right);
            EXPECT_EQ(print, golden.mFingerprint) << std::hex << "0x" << print;
        }
    });
}

namespace {

// The two channels of a stereo block share instructions, lane by lane; each
// must compute what a one-channel engine computes. Channel 1 is loud and its
// bias shift acts all the time; channel 0 is quiet, its bias shift comes to
// rest on a subnormal and is woken by a loud block.
void stereoLanesComputeWhatSingleChannelsCompute()
{
    const auto engine = [](std::uint64_t inSeed) {
        auto made = std::make_unique<q38::Q38PrivateEngine>();
        made->fixHissSeed(inSeed);
        made->setSampleRate(44100);
        made->setParameter(kCh1InputGain, 0.75f);
        made->setParameter(kCh2InputGain, 0.75f);
        q38::ChannelState& first = EngineInspector::state(*made).mChannel[0];
        first.mBiasShift = first.mBiasLowPassMemory = 1e-319;
        return made;
    };
    auto stereo = engine(5), left = engine(5), right = engine(6);
    const auto lane = [](q38::Q38PrivateEngine& inEngine, int inChannel) -> q38::ChannelState& {
        return EngineInspector::state(inEngine).mChannel[inChannel];
    };
    for (int block = 0; block < 700; ++block) {
        float in[2][32], both[2][32], one[2][32];
        for (int i = 0; i < 32; ++i) {
            const double t = 0.001 * (block * 32 + i);
            in[0][i] = static_cast<float>(block == 600 ? -1.0 : 0.05 * std::sin(t));
            in[1][i] = static_cast<float>(0.8 * std::sin(50.0 * t));
        }
        const float* inputs[2] = {in[0], in[1]};
        float* outputs[4] = {both[0], both[1], one[0], one[1]};
        stereo->process(inputs, outputs, 2, 32);
        left->process(&inputs[0], &outputs[2], 1, 32);
        right->process(&inputs[1], &outputs[3], 1, 32);
        ASSERT_EQ(std::memcmp(both, one, sizeof both), 0) << "block " << block;
        for (int c = 0; c < 2; ++c) {
            const q38::ChannelState &inStereo = lane(*stereo, c), &alone = lane(c == 0 ? *left : *right, 0);
            ASSERT_TRUE(std::memcmp(&inStereo.mBiasShift, &alone.mBiasShift, sizeof(double)) == 0
                        && std::memcmp(&inStereo.mBiasLowPassMemory, &alone.mBiasLowPassMemory, sizeof(double)) == 0)
                << "block " << block << ", channel " << c;
        }
        EXPECT_TRUE(block != 599 || std::fabs(lane(*stereo, 0).mBiasShift) < 0x1p-1022) << "not at rest";
    }
    EXPECT_GT(std::fabs(lane(*stereo, 0).mBiasShift), 0x1p-1022);
}

} // namespace

TEST(GoldenRender, StereoLanesComputeWhatSingleChannelsCompute)
{
    forEachSampleLoops([] { stereoLanesComputeWhatSingleChannelsCompute(); });
}
