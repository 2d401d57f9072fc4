#include "dsp_Order1LowShelf.h"

#include "core/core_Assert.h"
#include "dsp/filter_design/dsp_IIRToolsImpl.h"

namespace dsp {

void Order1LowShelf::design(const Params& inParams, double* outCoefficients, double inSampleRate)
{
    // A low shelf of g dB is the high shelf of -g dB raised by g dB overall.
    Order1HighShelf::Params highShelf;
    highShelf.mFrequency = inParams.mFrequency;
    highShelf.mGain = -inParams.mGain;
    highShelf.mFrequencyMode = inParams.mFrequencyMode;
    highShelf.mOutputGain = inParams.mGain + inParams.mOutputGain;
    Order1HighShelf::design(highShelf, outCoefficients, inSampleRate);

    // Both counts are 4; the check has always been written with the analog one.
    Q38_ASSERT(core::kAssertionLibrary, dsp::checkBuffer(outCoefficients, kNumAnalogCoefficients));
}

} // namespace dsp
