// What oversampling costs a host: the engine at 1, 2, 4 and 8 times 48 kHz
// between the half-band resamplers, on stereo host blocks of 32 frames, and
// the resamplers alone.
//
//   build/default/bench/q38_oversampling_bench --benchmark_repetitions=10
//       --benchmark_report_aggregates_only=true
//
// "per_frame" is the CPU time of one stereo frame at the host's rate.

#include "Q38EngineHooks.h"
#include "dsp/resampling/dsp_HalfBandCascade.h"
#include "host_OversampledEngine.h"

#include <benchmark/benchmark.h>

#include <random>
#include <vector>

namespace {

constexpr int kBlockSize = 32;
constexpr int kSampleRate = 48000;

// A second of programme-like stereo noise, repeated.
struct Signal
{
    std::vector<float> mLeft = std::vector<float>(kSampleRate);
    std::vector<float> mRight = std::vector<float>(kSampleRate);

    Signal()
    {
        std::mt19937 generator(7);
        std::normal_distribution<float> noise(0.0f, 0.1f);
        for (std::size_t i = 0; i < mLeft.size(); ++i) {
            mLeft[i] = noise(generator);
            mRight[i] = 0.5f * mLeft[i] + noise(generator);
        }
    }
};

void countFrames(benchmark::State& ioState)
{
    const double frames = static_cast<double>(ioState.iterations()) * kBlockSize;
    ioState.counters["per_frame"] =
        benchmark::Counter(frames, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void BM_Oversampled(benchmark::State& ioState)
{
    static const Signal signal;
    host::OversampledEngine engine;
    q38FixHissSeed(&engine.engine(), 1);
    engine.setSampleRate(kSampleRate, static_cast<int>(ioState.range(0)));
    std::vector<float> left(kBlockSize), right(kBlockSize);
    float* outputs[2] = {left.data(), right.data()};
    std::size_t position = 0;
    for (auto _ : ioState) {
        const float* inputs[2] = {signal.mLeft.data() + position, signal.mRight.data() + position};
        engine.process(inputs, outputs, 2, kBlockSize);
        benchmark::DoNotOptimize(left.data());
        benchmark::DoNotOptimize(right.data());
        benchmark::ClobberMemory();
        position = (position + kBlockSize) % (signal.mLeft.size() - kBlockSize);
    }
    countFrames(ioState);
}
BENCHMARK(BM_Oversampled)->ArgName("factor")->Arg(1)->Arg(2)->Arg(4)->Arg(8);

// Up and down on both channels with nothing between: the resamplers' share.
void BM_ResamplersAlone(benchmark::State& ioState)
{
    static const Signal signal;
    const int stages = static_cast<int>(ioState.range(0));
    dsp::OversamplingState states[2];
    for (dsp::OversamplingState& state : states)
        dsp::resetOversampling(state, stages);
    double host[kBlockSize], top[kBlockSize * dsp::kMaxOversamplingFactor], out[kBlockSize];
    std::size_t position = 0;
    for (auto _ : ioState) {
        for (int c = 0; c < 2; ++c) {
            const float* input = (c == 0 ? signal.mLeft : signal.mRight).data() + position;
            for (int i = 0; i < kBlockSize; ++i)
                host[i] = input[i];
            dsp::upsample(states[c], host, top, kBlockSize);
            dsp::downsample(states[c], top, out, kBlockSize);
            benchmark::DoNotOptimize(out);
        }
        benchmark::ClobberMemory();
        position = (position + kBlockSize) % (signal.mLeft.size() - kBlockSize);
    }
    countFrames(ioState);
}
BENCHMARK(BM_ResamplersAlone)->ArgName("stages")->Arg(1)->Arg(2)->Arg(3);

} // namespace

BENCHMARK_MAIN();
