// Oversampling around the engine: factor 1 is the engine itself, the
// resamplers meet their pass and stop bands and give the input's alignment
// back offline, and a hard-driven tone aliases far less.

#include "CliTestSupport.h"
#include "Q38EngineHooks.h"
#include "cli_Measure.h"
#include "cli_Render.h"
#include "cli_Spectrum.h"
#include "cli_Sweep.h"
#include "dsp/resampling/dsp_HalfBandCascade.h"
#include "host_OversampledEngine.h"

#include <gtest/gtest.h>

#include <functional>
#include <numbers>

namespace {

using namespace clitest;

constexpr unsigned long long kSeed = 17;
using Step = std::function<int(const float* const*, float* const*, int)>;

cli::ParameterValues withInputGain(double inDecibels)
{
    cli::ParameterValues values = cli::ParameterTable().defaults();
    values[kCh1InputGain] = values[kCh2InputGain] = static_cast<float>((inDecibels - 3.0) / 73.0);
    return values;
}

// Interleaved frames through inStep in blocks of inBlock (at most 32); inStep
// returns how many frames it gave back, and is called with no input at the
// end until it gives back none.
std::vector<float> inBlocks(const std::vector<float>& inFrames, int inChannels, int inBlock, const Step& inStep)
{
    std::vector<float> output;
    float in[2][32], out[2][32];
    const float* inputs[2] = {in[0], in[1]};
    float* outputs[2] = {out[0], out[1]};
    const auto keep = [&](int inCount) {
        for (int i = 0; i < inCount; ++i)
            for (int c = 0; c < inChannels; ++c)
                output.push_back(out[c][i]);
        return inCount;
    };
    const std::size_t frames = inFrames.size() / std::size_t(inChannels);
    for (std::size_t start = 0; start < frames; start += std::size_t(inBlock)) {
        const int count = int(std::min<std::size_t>(std::size_t(inBlock), frames - start));
        for (int i = 0; i < count; ++i)
            for (int c = 0; c < inChannels; ++c)
                in[c][i] = inFrames[(start + std::size_t(i)) * std::size_t(inChannels) + std::size_t(c)];
        keep(inStep(inputs, outputs, count));
    }
    while (keep(inStep(nullptr, outputs, 0)) > 0) {
    }
    return output;
}

std::vector<float> aligned(const std::vector<float>& inFrames, int inChannels, int inRate, int inFactor, int inBlock,
                           const cli::ParameterValues& inValues)
{
    host::OversampledEngine engine;
    cli::startEngine(engine, kSeed, inRate, inFactor, inValues);
    host::AlignedRun run(engine);
    return inBlocks(inFrames, inChannels, inBlock, [&](const float* const* in, float* const* out, int count) {
        return in ? run.process(in, out, inChannels, count) : run.finish(out, inChannels);
    });
}

bool sameFloats(const std::vector<float>& inA, const std::vector<float>& inB)
{
    return inA.size() == inB.size() && std::memcmp(inA.data(), inB.data(), inA.size() * sizeof(float)) == 0;
}

TEST(Oversampling, FactorOneIsTheBareEngineInEveryHost)
{
    ScratchFolder folder;
    const cli::ParameterValues values = withInputGain(60.0);
    for (const int channels : {1, 2}) {
        SCOPED_TRACE(channels);
        const Sound input = tone(44100, channels, 20000, -12.0);
        const std::unique_ptr<Q38Engine> bare(createQ38Engine());
        q38FixHissSeed(bare.get(), kSeed);
        bare->setSampleRate(44100);
        cli::applyValues(*bare, values);
        const std::vector<float> expected =
            inBlocks(input.mSamples, channels, 32, [&](const float* const* in, float* const* out, int count) {
                return in ? (bare->process(in, out, channels, count), count) : 0;
            });

        // The wrapper, through its aligned run (which at factor 1 is its
        // plain process), in blocks of any size.
        for (const int block : {1, 7, 32})
            EXPECT_TRUE(sameFloats(aligned(input.mSamples, channels, 44100, 1, block, values), expected)) << block;

        // A file rendered as q38 render --oversample 1 renders it.
        writeSound(folder / "in.wav", input);
        cli::RenderJob job;
        job.mInput = folder / "in.wav";
        job.mOutput = folder / "out.wav";
        job.mOverwrite = true;
        job.mSeed = kSeed;
        job.mMeasureLoudness = false;
        job.mValues = values;
        EXPECT_EQ(cli::render(job).mLatency, 0);
        EXPECT_TRUE(sameFloats(readSound(folder / "out.wav").mSamples, expected));
    }
}

// A sine on an exact bin of a block of kBins samples: it and every image or
// alias of it sit on exact bins too, so a plain FFT shows them without leakage.
constexpr std::size_t kBins = 4096;
constexpr std::size_t kSettle = 1024; // host samples, longer than any filter

// dB of every bin of the last inSize samples, 0 for a sine of amplitude 1.
std::vector<double> binDecibels(const std::vector<double>& inSignal, std::size_t inSize)
{
    cli::ComplexVector spectrum(inSignal.end() - long(inSize), inSignal.end());
    cli::fft(spectrum);
    std::vector<double> decibels(inSize / 2 + 1);
    for (std::size_t k = 0; k < decibels.size(); ++k)
        decibels[k] = 20.0 * std::log10(2.0 * std::abs(spectrum[k]) / double(inSize));
    return decibels;
}

std::vector<double> sine(std::size_t inLength, double inCyclesPerSample)
{
    std::vector<double> samples(inLength);
    for (std::size_t n = 0; n < inLength; ++n)
        samples[n] = std::sin(2.0 * std::numbers::pi * inCyclesPerSample * double(n));
    return samples;
}

// Runs a whole signal through one direction of the cascade, 32 host samples at a time.
std::vector<double> resample(std::vector<double> inSignal, int inStages, bool inUp)
{
    dsp::OversamplingState state;
    dsp::resetOversampling(state, inStages);
    const std::size_t factor = std::size_t(1) << inStages;
    std::vector<double> output(inUp ? inSignal.size() * factor : inSignal.size() / factor);
    for (std::size_t start = 0; start < (inUp ? inSignal.size() : output.size()); start += 32) {
        if (inUp)
            dsp::upsample(state, inSignal.data() + start, output.data() + start * factor, 32);
        else
            dsp::downsample(state, inSignal.data() + start * factor, output.data() + start, 32);
    }
    return output;
}

TEST(Oversampling, PassBandIsFlatAndImagesAndAliasesAreAtLeast100DbDown)
{
    // Host-rate bins of 44.1 kHz: about 1 kHz, 10 kHz and 19.99 kHz.
    for (const std::size_t bin : {93u, 929u, 1856u}) {
        for (const int stages : {1, 2, 3}) {
            SCOPED_TRACE(::testing::Message() << "bin " << bin << ", factor " << (1 << stages));
            const std::size_t top = kBins << stages;
            // Up: the sine and nothing else at the top rate.
            std::vector<double> up = binDecibels(resample(sine(kBins + kSettle, double(bin) / kBins), stages, true), top);
            EXPECT_NEAR(up[bin], 0.0, 0.001);
            up[bin] = -INFINITY;
            EXPECT_LT(*std::max_element(up.begin(), up.end()), -100.0);
            // Down: the sine kept; each of its aliases from above the host's band gone.
            const std::size_t length = (kBins + kSettle) << stages;
            const auto down = [&](std::size_t inTopBin) {
                return binDecibels(resample(sine(length, double(inTopBin) / double(top)), stages, false), kBins)[bin];
            };
            EXPECT_NEAR(down(bin), 0.0, 0.001);
            for (std::size_t multiple = kBins; multiple <= top / 2; multiple += kBins)
                for (const std::size_t at : {multiple - bin, multiple + bin})
                    EXPECT_TRUE(at >= top / 2 || down(at) < -100.0) << "from top-rate bin " << at;
        }
    }
}

TEST(Oversampling, OfflineOutputHasTheInputsLengthAndAlignment)
{
    // With the effect off the engine passes its input: what comes out is the
    // input through the resamplers alone.
    cli::ParameterValues values = cli::ParameterTable().defaults();
    values[kEnableEffect] = 0.0f;
    for (const long long frames : {50LL, 3001LL}) {
        const Sound input = tone(48000, 2, frames, -6.0);
        for (const int factor : {2, 4, 8}) {
            SCOPED_TRACE(::testing::Message() << frames << " frames, factor " << factor);
            const std::vector<float> output = aligned(input.mSamples, 2, 48000, factor, 32, values);
            ASSERT_EQ(output.size(), input.mSamples.size());
            // The tone starts abruptly, so the first and last frames ring a little.
            double error = 0.0;
            for (long long n = frames > 1000 ? 400 : 2 * frames; n < 2 * (frames - 200); ++n)
                error = std::max(error, std::fabs(double(output[std::size_t(n)]) - input.mSamples[std::size_t(n)]));
            EXPECT_LT(error, 1e-4);
        }
    }
}

TEST(Oversampling, QuietResponseUpTo20KilohertzIsFactorOnesWithinATenthOfADecibel)
{
    for (const int rate : {44100, 48000}) {
        cli::MeasureSetup setup;
        setup.mSampleRate = rate;
        const cli::SweepResponse reference = cli::measureSweep(setup, {0}, 61);
        for (const int factor : {2, 4, 8}) {
            SCOPED_TRACE(::testing::Message() << rate << " Hz, factor " << factor);
            setup.mOversample = factor;
            const cli::SweepResponse response = cli::measureSweep(setup, {0}, 61);
            ASSERT_EQ(response.mFrequencies, reference.mFrequencies);
            for (std::size_t i = 0; i < response.mFrequencies.size(); ++i)
                EXPECT_NEAR(response.mChannels[0].mResponseDb[i], reference.mChannels[0].mResponseDb[i], 0.1)
                    << response.mFrequencies[i] << " Hz";
        }
    }
}

// A 7919 Hz sine at -6 dBFS through input gain 70 dB at 48 kHz: its harmonics
// fold back from far above the band as tones that are no harmonics.
TEST(Oversampling, HardDrivenToneAliasesLessAtEachFactor)
{
    struct Case
    {
        int mFactor;
        double mLowest, mHighest; // strongest non-harmonic component re the fundamental, dB
    };
    const Case cases[] = {{1, -20.0, -10.0}, {2, -40.0, -25.0}, {4, -50.0, -35.0}, {8, -80.0, -55.0}};
    cli::MeasureSetup setup;
    setup.mValues = withInputGain(70.0);
    const double frequency = 7919.0;
    std::vector<double> signal = sine(24000 + 32768, frequency / 48000.0);
    for (double& sample : signal)
        sample *= std::pow(10.0, -6.0 / 20.0);
    for (const Case& item : cases) {
        SCOPED_TRACE(item.mFactor);
        setup.mOversample = item.mFactor;
        // Half a second for the tube stages' bias to settle, then the part analysed.
        const std::vector<double> output = cli::runChannel(setup, 0, signal, kSeed, 0);
        const double inharmonic =
            cli::analyzeTone({output.end() - 32768, output.end()}, 48000.0, frequency, cli::topFrequency(48000))
                .mInharmonicDb;
        EXPECT_GT(inharmonic, item.mLowest);
        EXPECT_LT(inharmonic, item.mHighest);
    }
}

} // namespace
