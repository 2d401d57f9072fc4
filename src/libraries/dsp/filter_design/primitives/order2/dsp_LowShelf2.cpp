#include "dsp_LowShelf2.h"

namespace dsp {

// Placeholder: an identity section until the real design lands.

void LowShelf2::design(const Params&, double* outCoefficients, double)
{
    outCoefficients[0] = 1.0;
    outCoefficients[1] = 0.0;
    outCoefficients[2] = 0.0;
    outCoefficients[3] = 1.0;
    outCoefficients[4] = 0.0;
    outCoefficients[5] = 0.0;
}

} // namespace dsp
