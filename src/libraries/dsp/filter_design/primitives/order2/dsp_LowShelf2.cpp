#include "dsp_LowShelf2.h"

#include "core/core_Assert.h"
#include "dsp/filter_design/dsp_IIRToolsImpl.h"

namespace dsp {

void LowShelf2::design(const Params& inParams, double* outCoefficients, double inSampleRate)
{
    // A low shelf is the high shelf of the opposite height, lifted by that height.
    HighShelf2Q::Params high = inParams;
    high.mShelfGainDb = -inParams.mShelfGainDb;
    high.mGainDb = inParams.mShelfGainDb + inParams.mGainDb;
    HighShelf2Q::design(high, outCoefficients, inSampleRate);
    Q38_ASSERT(core::kAssertionLibrary, dsp::checkBuffer(outCoefficients, kNumCoefficients));
}

} // namespace dsp
