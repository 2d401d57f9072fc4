#include "q38_ControlMapping.h"

namespace q38 {

void updateEnable(const ParameterValues& inParameters, double, ModelCoefficients& ioCoefficients)
{
    const bool enabled = inParameters[kEnableEffect] > 0.5f;
    ioCoefficients.mEffectEnabled = enabled ? 1 : 0;
    ioCoefficients.mWetTarget = enabled ? 1.0 : 0.0;
}

// Placeholders until the control mapping lands.
void updateInputOutput(const ParameterValues&, double, ModelCoefficients&) {}
void updateInputGain(const ParameterValues&, double, ModelCoefficients&) {}
void updateHighPass(const ParameterValues&, double, ModelCoefficients&) {}
void updateToneEq(const ParameterValues&, double, ModelCoefficients&) {}
void updateEqEnable(const ParameterValues&, double, ModelCoefficients&) {}

void updateAll(const ParameterValues& inParameters, double inSampleRate, ModelCoefficients& ioCoefficients)
{
    updateEnable(inParameters, inSampleRate, ioCoefficients);
}

} // namespace q38
