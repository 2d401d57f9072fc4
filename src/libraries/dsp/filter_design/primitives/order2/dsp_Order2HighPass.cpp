#include "dsp_Order2HighPass.h"

namespace dsp {

// Placeholder: an identity section until the real design lands.

void Order2HighPass::designAnalog(const Params&, double* outCoefficients)
{
    outCoefficients[0] = 1.0;
    outCoefficients[1] = 0.0;
    outCoefficients[2] = 0.0;
    outCoefficients[3] = 1.0;
    outCoefficients[4] = 0.0;
    outCoefficients[5] = 0.0;
}

void Order2HighPass::design(const Params&, double* outCoefficients, double* outAnalogCoefficients, double)
{
    outCoefficients[0] = 1.0;
    outCoefficients[1] = 0.0;
    outCoefficients[2] = 0.0;
    outCoefficients[3] = 1.0;
    outCoefficients[4] = 0.0;
    outCoefficients[5] = 0.0;
    outAnalogCoefficients[0] = 1.0;
    outAnalogCoefficients[1] = 0.0;
    outAnalogCoefficients[2] = 0.0;
    outAnalogCoefficients[3] = 1.0;
    outAnalogCoefficients[4] = 0.0;
    outAnalogCoefficients[5] = 0.0;
}

void Order2HighPass::design(const Params&, double* outCoefficients, double)
{
    outCoefficients[0] = 1.0;
    outCoefficients[1] = 0.0;
    outCoefficients[2] = 0.0;
    outCoefficients[3] = 1.0;
    outCoefficients[4] = 0.0;
    outCoefficients[5] = 0.0;
}

} // namespace dsp
