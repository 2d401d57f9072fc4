#pragma once

// The stateful nonlinear stages of a channel: the saturating integrator (a
// transformer-like core), the bias-shift clamp and the tone section that
// "Enable Eq" switches in. Each reads a whole block and fills a whole block.

#include "q38_ModelTypes.h"

namespace q38 {

// Glide rate of the clamp's floor and feedback, per sample.
constexpr double kBiasGlideRate = 0.001;
// Glide rate of the tone shelves, half that of the amplifier's filters.
constexpr double kToneShelfGlideRate = 0.0005;

// The leaky integrator: its memory loses mLossScale times what the shaper takes
// away, and the output is the rate of change of the unshaped level. This is the
// amplifier's form, whose shaper applies its pre and post gains.
void runSaturatingIntegrator(const double* inSamples, double* outSamples, int inNumSamples,
                             SaturatingIntegrator& ioIntegrator);

// The output stage's form: its shaper ignores the (0 dB) pre and post gains.
void runSaturatingIntegratorUnity(const double* inSamples, double* outSamples, int inNumSamples,
                                  SaturatingIntegrator& ioIntegrator);

// One-sided clamp from below with a 5 Hz low-passed feedback of what it cuts
// off; floor and feedback glide to their targets after each sample.
void runBiasShiftClamp(const double* inSamples, double* outSamples, int inNumSamples,
                       const ChannelCoefficients& inCoefficients, ChannelState& ioState);

// Output shaper, the two tone shelves, two fixed bells and the output integrator.
void ToneSection(const double* inSamples, double* outSamples, int inNumSamples,
                 const ChannelCoefficients& inCoefficients, ChannelState& ioState);

} // namespace q38
