#include "dsp_Order1LowShelf.h"

namespace dsp {

// Placeholder: an identity section until the real design lands.

void Order1LowShelf::design(const Params&, double* outCoefficients, double)
{
    outCoefficients[0] = 1.0;
    outCoefficients[1] = 0.0;
    outCoefficients[2] = 1.0;
    outCoefficients[3] = 0.0;
}

} // namespace dsp
