#pragma once

#include "q38_ModelTypes.h"

namespace q38 {

// Runs one block through the modelled path: input matrix, then per channel
// hiss, input gain ramp, amplifier section, tone section blend and output
// gain ramp, then the output matrix. in and out are distinct channel-pointer
// arrays of 1..32 doubles on 1 or 2 channels. Allocates nothing, locks nothing.
void processModel(const double* const* inInputs, double* const* outOutputs, int inNumSamples, int inNumChannels,
                  const ModelCoefficients& inCoefficients, ModelState& ioState);

} // namespace q38
