// The price of the engine's operations as a host pays it: process on blocks
// of 32 samples, stereo and mono, setParameter per parameter group,
// setSampleRate.
//
//   build/default/bench/q38_engine_bench --benchmark_repetitions=10
//       --benchmark_report_aggregates_only=true
//
// "per_frame" is the CPU time of one sample frame in seconds (shown with an
// SI prefix, "n" for nanoseconds); "realtime_48k" is how many times faster
// than real time that is at 48 kHz.

#include "Q38Engine.h"
#include "Q38EngineHooks.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <random>
#include <vector>

namespace {

constexpr int kBlockSize = 32;
constexpr int kSampleRate = 48000;

std::unique_ptr<Q38Engine> makeEngine()
{
    std::unique_ptr<Q38Engine> engine(createQ38Engine());
    q38FixHissSeed(engine.get(), 1);
    engine->setSampleRate(kSampleRate);
    return engine;
}

void moveEveryControl(Q38Engine& ioEngine)
{
    ioEngine.setParameter(kStereoMode, 1.0f);
    ioEngine.setParameter(kCh1PhaseReverse, 1.0f);
    ioEngine.setParameter(kCh1InputGain, 0.6f);
    ioEngine.setParameter(kCh2InputGain, 0.4f);
    ioEngine.setParameter(kCh1HighPassFreq, 1.0f);
    ioEngine.setParameter(kCh2HighPassFreq, 0.5f);
    ioEngine.setParameter(kCh1EqHighToneGain, 0.8f);
    ioEngine.setParameter(kCh2EqHighToneGain, 0.3f);
    ioEngine.setParameter(kCh1EqLowToneGain, 0.2f);
    ioEngine.setParameter(kCh2EqLowToneGain, 0.9f);
    ioEngine.setParameter(kCh1OutputTrim, 0.4f);
    ioEngine.setParameter(kCh2OutputTrim, 0.6f);
}

// A whole stereo signal through process, 32 samples at a time.
void processStereo(Q38Engine& ioEngine, std::vector<float>& ioLeft, std::vector<float>& ioRight)
{
    for (std::size_t start = 0; start + kBlockSize <= ioLeft.size(); start += kBlockSize) {
        float* channels[2] = {ioLeft.data() + start, ioRight.data() + start};
        ioEngine.process(channels, channels, 2, kBlockSize);
    }
}

// A programme-like stereo signal that repeats every second.
struct Signal
{
    std::vector<float> mLeft;
    std::vector<float> mRight;

    explicit Signal(float inLevel = 0.1f) : mLeft(kSampleRate), mRight(kSampleRate)
    {
        std::mt19937 generator(7);
        std::normal_distribution<float> noise(0.0f, inLevel);
        for (std::size_t i = 0; i < mLeft.size(); ++i) {
            mLeft[i] = noise(generator);
            mRight[i] = 0.5f * mLeft[i] + noise(generator);
        }
    }
};

const Signal kProgramme;
const Signal kSilence(0.0f);

void runProcess(benchmark::State& ioState, Q38Engine& ioEngine, int inNumChannels = 2,
                const Signal& signal = kProgramme)
{
    std::vector<float> left(kBlockSize), right(kBlockSize);
    float* outputs[2] = {left.data(), right.data()};
    std::size_t position = 0;
    for (auto _ : ioState) {
        const float* inputs[2] = {signal.mLeft.data() + position, signal.mRight.data() + position};
        ioEngine.process(inputs, outputs, inNumChannels, kBlockSize);
        benchmark::DoNotOptimize(left.data());
        benchmark::DoNotOptimize(right.data());
        benchmark::ClobberMemory();
        position = (position + kBlockSize) % (signal.mLeft.size() - kBlockSize);
    }
    const double frames = static_cast<double>(ioState.iterations()) * kBlockSize;
    ioState.counters["per_frame"] =
        benchmark::Counter(frames, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    ioState.counters["realtime_48k"] = benchmark::Counter(frames / kSampleRate, benchmark::Counter::kIsRate);
}

void BM_ProcessDefaults(benchmark::State& ioState)
{
    auto engine = makeEngine();
    runProcess(ioState, *engine);
}
BENCHMARK(BM_ProcessDefaults);

// Measured once the glides have settled, as a long run sees it.
void BM_ProcessEveryControlMoved(benchmark::State& ioState)
{
    auto engine = makeEngine();
    moveEveryControl(*engine);
    std::vector<float> left(kSampleRate), right(kSampleRate);
    processStereo(*engine, left, right);
    runProcess(ioState, *engine);
}
BENCHMARK(BM_ProcessEveryControlMoved);

// One channel: "per_frame" is the cost of one sample of it.
void BM_ProcessMono(benchmark::State& ioState)
{
    auto engine = makeEngine();
    runProcess(ioState, *engine, 1);
}
BENCHMARK(BM_ProcessMono);

// Digital silence, ten seconds in: whatever decays towards zero in the model
// has had the time to come to rest.
void BM_ProcessSilence(benchmark::State& ioState)
{
    auto engine = makeEngine();
    std::vector<float> left(10 * kSampleRate), right(10 * kSampleRate);
    processStereo(*engine, left, right);
    runProcess(ioState, *engine, 2, kSilence);
}
BENCHMARK(BM_ProcessSilence);

void BM_ProcessEffectOff(benchmark::State& ioState)
{
    auto engine = makeEngine();
    engine->setParameter(kEnableEffect, 0.0f);
    // Let the fade die away, so that only the bypass is measured.
    std::vector<float> silence(kBlockSize, 0.0f);
    float* channels[2] = {silence.data(), silence.data()};
    for (int block = 0; block < 400; ++block)
        engine->process(channels, channels, 1, kBlockSize);
    runProcess(ioState, *engine);
}
BENCHMARK(BM_ProcessEffectOff);

// One second of stereo at 48 kHz handed over as whole channel buffers, in
// blocks of 32: the reference for q38.Preamp on the same buffers
// (bench/python_bench.py).
void BM_ProcessOneSecond(benchmark::State& ioState)
{
    static const Signal signal;
    auto engine = makeEngine();
    std::vector<float> left(kSampleRate), right(kSampleRate);
    for (auto _ : ioState) {
        for (int position = 0; position < kSampleRate; position += kBlockSize) {
            const float* inputs[2] = {signal.mLeft.data() + position, signal.mRight.data() + position};
            float* outputs[2] = {left.data() + position, right.data() + position};
            engine->process(inputs, outputs, 2, kBlockSize);
        }
        benchmark::DoNotOptimize(left.data());
        benchmark::DoNotOptimize(right.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_ProcessOneSecond)->Unit(benchmark::kMillisecond);

// One representative id per group; alternating values so that every call
// redesigns for real.
void BM_SetParameter(benchmark::State& ioState)
{
    auto engine = makeEngine();
    const int id = static_cast<int>(ioState.range(0));
    float value = 0.2f;
    for (auto _ : ioState) {
        engine->setParameter(id, value);
        value = value < 0.5f ? 0.8f : 0.2f;
    }
}
BENCHMARK(BM_SetParameter)
    ->ArgName("id")
    ->Arg(kEnableEffect)
    ->Arg(kStereoLink)
    ->Arg(kCh1OutputTrim)
    ->Arg(kCh1InputGain)
    ->Arg(kCh1HighPassFreq)
    ->Arg(kCh1EqHighToneGain)
    ->Arg(kCh1EnableEq);

void BM_SetSampleRate(benchmark::State& ioState)
{
    auto engine = makeEngine();
    for (auto _ : ioState)
        engine->setSampleRate(kSampleRate);
}
BENCHMARK(BM_SetSampleRate);

} // namespace

BENCHMARK_MAIN();
