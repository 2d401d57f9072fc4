#pragma once

// The modelled signal path of the preamplifier, block by block: the stereo
// matrices around a per-channel chain of hiss, input gain, amplifier, tone
// section and output gain.

#include "q38_ModelTypes.h"

#include <cstdint>

namespace q38 {

// Level of the hiss that enters ahead of the input gain, about -100 dB.
constexpr double kHissLevel = 1e-05;
// Per-sample glide rates of the amplifier.
constexpr double kBiasGainGlideRate = 0.0025;
constexpr double kAmplifierGlideRate = 0.001;
// Per-sample glide of the tone blend, and the level below which it rests at 0.
constexpr double kToneMixGlideRate = 0.001;
constexpr double kToneMixFloor = 0.0001;

// Runs one block through the modelled path: input matrix, then per channel
// hiss, input gain ramp, amplifier section, tone section blend and output
// gain ramp, then the output matrix. in and out are distinct channel-pointer
// arrays of 1..32 doubles on 1 or 2 channels. Allocates nothing, locks nothing.
void processModel(const double* const* inInputs, double* const* outOutputs, int inNumSamples, int inNumChannels,
                  const ModelCoefficients& inCoefficients, ModelState& ioState);

// The instruction sets that the chain's sample loops are compiled for. Every
// version performs the same operations in the same order (no fused
// multiply-add), so all give the same bits; the wider ones have more
// registers and non-destructive instruction forms.
enum class SampleLoops
{
    Baseline,  // x86-64 with SSE2, or whatever the build targets
    X86V3,     // x86-64-v3: AVX2
    X86V4,     // x86-64-v4: AVX-512
    Widest     // the widest that the processor runs
};

bool processorRuns(SampleLoops inLoops);

// Process-wide choice of processModel, Widest unless set otherwise; for tests
// and measurements. A version that the processor does not run is not taken.
void useSampleLoops(SampleLoops inLoops);

// Host channels to model channels or back. With one channel only the first
// gain is used; with two, all four glide before each sample's mix.
void MatrixGlide(const double* const* inInputs, double* const* outOutputs, int inNumSamples, int inNumChannels,
                 MatrixGlideState& ioGlide, const StereoMatrix& inMatrix);

// Uniform noise on [-1, 1) from a 64-bit linear congruential sequence.
void HissGenerator(double* outSamples, int inNumSamples, std::uint64_t& ioState);

// The geometric gain ramp towards inTarget; a step within the block's reach,
// or a pending ramp, is taken at once at the block boundary.
void runGainRamp(const double* inSamples, double* outSamples, int inNumSamples, GainRamp& ioRamp, double inTarget);

// The amplifier of one channel, from its entrance to its last nonlinear stage,
// then the activity meter of that output.
void AmplifierSection(const double* inSamples, double* outSamples, int inNumSamples,
                      const ChannelCoefficients& inCoefficients, ChannelState& ioState);

// The tone section faded in and out by "Enable Eq". outSamples is read as
// well: it receives the tone section's output and then the blend.
void ToneSectionBlend(const double* inSamples, double* outSamples, int inNumSamples,
                      const ChannelCoefficients& inCoefficients, ChannelState& ioState);

} // namespace q38
