#pragma once

// Turns the normalized parameter values into coefficient targets. Each
// operation writes its own group into the block; the channel-wise ones copy
// channel 1 over channel 2 when "Stereo Link" is on.

#include "Q38Engine.h"
#include "q38_ModelTypes.h"

namespace q38 {

using ParameterValues = float[kNumParameters];

void updateEnable(const ParameterValues& inParameters, double inSampleRate, ModelCoefficients& ioCoefficients);
void updateInputOutput(const ParameterValues& inParameters, double inSampleRate, ModelCoefficients& ioCoefficients);
void updateInputGain(const ParameterValues& inParameters, double inSampleRate, ModelCoefficients& ioCoefficients);
void updateHighPass(const ParameterValues& inParameters, double inSampleRate, ModelCoefficients& ioCoefficients);
void updateToneEq(const ParameterValues& inParameters, double inSampleRate, ModelCoefficients& ioCoefficients);
void updateEqEnable(const ParameterValues& inParameters, double inSampleRate, ModelCoefficients& ioCoefficients);
void updateAll(const ParameterValues& inParameters, double inSampleRate, ModelCoefficients& ioCoefficients);

} // namespace q38
