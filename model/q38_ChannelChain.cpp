#include "q38_ChannelChain.h"

namespace q38 {

// Placeholder: passes the block through until the chain lands.
void processModel(const double* const* inInputs, double* const* outOutputs, int inNumSamples, int inNumChannels,
                  const ModelCoefficients&, ModelState&)
{
    for (int c = 0; c < inNumChannels; ++c)
        for (int i = 0; i < inNumSamples; ++i)
            outOutputs[c][i] = inInputs[c][i];
}

} // namespace q38
