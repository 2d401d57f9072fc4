#include "dsp_UnitDcMatch.h"

#include "dsp_IIRToolsImpl.h"
#include "dsp_MatchingSolvers.h"

namespace dsp {

void matchUnitDcFourPoints(const PowerResponse& inResponse, double inSampleRate, double inW1, double inW2,
                           double inW3, double inW4, UnitDcPrototype* outPrototype)
{
    UnitDcPrototype& p = *outPrototype;
    solveUnitDcFourPoints(prewarpedSquare(inW1, inSampleRate), matchValue(inResponse, inW1),
                          prewarpedSquare(inW2, inSampleRate), matchValue(inResponse, inW2),
                          prewarpedSquare(inW3, inSampleRate), matchValue(inResponse, inW3),
                          prewarpedSquare(inW4, inSampleRate), matchValue(inResponse, inW4), &p.mCSq, &p.mDSq, &p.mW,
                          &p.mT);
}

void finishUnitDcDesign(bool inMatched, const UnitDcPrototype& inPrototype, double inSampleRate, double inOutputGain,
                        double* ioAnalogCoefficients, double* outCoefficients)
{
    if (inMatched) {
        prototypeToDigital(inPrototype.mT, inPrototype.mCSq, inPrototype.mW, inPrototype.mDSq, inPrototype.mW,
                           inSampleRate, inOutputGain, outCoefficients);
    } else {
        const double* a = ioAnalogCoefficients;
        bilinearOrder2(a[0], a[1], a[2], a[3], a[4], a[5], 2.0 * inSampleRate, outCoefficients);
        for (int i = 0; i < 3; ++i)
            outCoefficients[i] *= inOutputGain;
    }
    for (int i = 0; i < 3; ++i)
        ioAnalogCoefficients[i] *= inOutputGain;
}

} // namespace dsp
