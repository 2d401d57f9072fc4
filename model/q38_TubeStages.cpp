#include "q38_TubeStages.h"

namespace q38 {

void runSaturatingIntegrator(const double* inSamples, double* outSamples, int inNumSamples,
                             SaturatingIntegrator& ioIntegrator)
{
    SaturatingIntegratorRunner<1, false> runner;
    runner.load({&ioIntegrator});
    runBlock(inSamples, outSamples, inNumSamples, runner);
    runner.store({&ioIntegrator});
}

void runSaturatingIntegratorUnity(const double* inSamples, double* outSamples, int inNumSamples,
                                  SaturatingIntegrator& ioIntegrator)
{
    SaturatingIntegratorRunner<1, true> runner;
    runner.load({&ioIntegrator});
    runBlock(inSamples, outSamples, inNumSamples, runner);
    runner.store({&ioIntegrator});
}

void runBiasShiftClamp(const double* inSamples, double* outSamples, int inNumSamples,
                       const ChannelCoefficients& inCoefficients, ChannelState& ioState)
{
    const LaneSet<1> lanes{{&ioState}, {&inCoefficients}};
    BiasShiftClampRunner<1> runner;
    runner.load(lanes);
    runBlock(inSamples, outSamples, inNumSamples, runner);
    runner.store(lanes);
}

void ToneSection(const double* inSamples, double* outSamples, int inNumSamples,
                 const ChannelCoefficients& inCoefficients, ChannelState& ioState)
{
    const LaneSet<1> lanes{{&ioState}, {&inCoefficients}};
    takeTargetsIfPending(ioState.mLowShelf, inCoefficients.mLowShelf);
    takeTargetsIfPending(ioState.mHighShelf, inCoefficients.mHighShelf);
    ToneSectionRunner<1> runner;
    runner.load(lanes);
    runBlock(inSamples, outSamples, inNumSamples, runner);
    runner.store(lanes);
}

} // namespace q38
