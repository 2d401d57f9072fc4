#include "dsp_Order1HighPass.h"

namespace dsp {

// Placeholder: an identity section until the real design lands.

void Order1HighPass::designAnalog(const Params&, double* outCoefficients)
{
    outCoefficients[0] = 1.0;
    outCoefficients[1] = 0.0;
    outCoefficients[2] = 1.0;
    outCoefficients[3] = 0.0;
}

void Order1HighPass::design(const Params&, double* outCoefficients, double* outAnalogCoefficients, double)
{
    outCoefficients[0] = 1.0;
    outCoefficients[1] = 0.0;
    outCoefficients[2] = 1.0;
    outCoefficients[3] = 0.0;
    outAnalogCoefficients[0] = 1.0;
    outAnalogCoefficients[1] = 0.0;
    outAnalogCoefficients[2] = 1.0;
    outAnalogCoefficients[3] = 0.0;
}

void Order1HighPass::design(const Params&, double* outCoefficients, double)
{
    outCoefficients[0] = 1.0;
    outCoefficients[1] = 0.0;
    outCoefficients[2] = 1.0;
    outCoefficients[3] = 0.0;
}

void solveOrder1ThreePoint(double, double, double, double, double, double*, double*, double*)
{
}

} // namespace dsp
