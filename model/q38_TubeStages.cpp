#include "q38_TubeStages.h"

namespace q38 {

void runSaturatingIntegrator(const double* inSamples, double* outSamples, int inNumSamples,
                             SaturatingIntegrator& ioIntegrator)
{
    runBlock<SaturatingIntegratorRunner<1, false>>(inSamples, outSamples, inNumSamples, std::array{&ioIntegrator});
}

void runSaturatingIntegratorUnity(const double* inSamples, double* outSamples, int inNumSamples,
                                  SaturatingIntegrator& ioIntegrator)
{
    runBlock<SaturatingIntegratorRunner<1, true>>(inSamples, outSamples, inNumSamples, std::array{&ioIntegrator});
}

void runBiasShiftClamp(const double* inSamples, double* outSamples, int inNumSamples,
                       const ChannelCoefficients& inCoefficients, ChannelState& ioState)
{
    runBlock<BiasShiftClampRunner<1>>(inSamples, outSamples, inNumSamples, LaneSet<1>{{&ioState}, {&inCoefficients}});
}

void ToneSection(const double* inSamples, double* outSamples, int inNumSamples,
                 const ChannelCoefficients& inCoefficients, ChannelState& ioState)
{
    takeTargetsIfPending(ioState.mLowShelf, inCoefficients.mLowShelf);
    takeTargetsIfPending(ioState.mHighShelf, inCoefficients.mHighShelf);
    runBlock<ToneSectionRunner<1>>(inSamples, outSamples, inNumSamples, LaneSet<1>{{&ioState}, {&inCoefficients}});
}

} // namespace q38
