#pragma once

// The linear filter sections of the model at run time: first and second order,
// with fixed coefficients or gliding towards targets, in transposed direct
// form II. Coefficient sets are b0, b1, a0, a1 and b0, b1, b2, a0, a1, a2; a0
// is never read. Memories and coefficients live in locals over a block and are
// written back once. No section flushes denormals: the hiss keeps them fed.

#include "q38_ModelTypes.h"

namespace q38 {

// Identity coefficient sets.
constexpr double kFirstOrderIdentity[kFirstOrderSize] = {1.0, 0.0, 1.0, 0.0};
constexpr double kSecondOrderIdentity[kSecondOrderSize] = {1.0, 0.0, 0.0, 1.0, 0.0, 0.0};

// Memories 0, coefficients the identity; a gliding section also takes its
// targets at the next block.
void resetSection(FirstOrderSection& outSection);
void resetSection(GlidingFirstOrderSection& outSection);
void resetSection(Biquad& outSection);
void resetSection(GlidingBiquad& outSection);

// What a caller does before a gliding section: when a reset has left it
// pending, the section starts exactly on its targets, without a glide.
void takeTargetsIfPending(GlidingFirstOrderSection& ioSection, const double* inTargets);
void takeTargetsIfPending(GlidingBiquad& ioSection, const double* inTargets);

inline void processFirstOrder(const double* inSamples, double* outSamples, int inNumSamples,
                              FirstOrderSection& ioSection)
{
    const double b0 = ioSection.mCoefficients[0];
    const double b1 = ioSection.mCoefficients[1];
    const double a1 = ioSection.mCoefficients[3];
    double s = ioSection.mMemory;
    for (int i = 0; i < inNumSamples; ++i) {
        const double x = inSamples[i];
        const double y = x * b0 + s;
        s = x * b1 - y * a1;
        outSamples[i] = y;
    }
    ioSection.mMemory = s;
}

// Every coefficient in use moves towards its target before the sample that uses it.
inline void processGlidingFirstOrder(const double* inSamples, double* outSamples, int inNumSamples,
                                     GlidingFirstOrderSection& ioSection, const double* inTargets, double inRate)
{
    const double t0 = inTargets[0];
    const double t1 = inTargets[1];
    const double t3 = inTargets[3];
    double b0 = ioSection.mCoefficients[0];
    double b1 = ioSection.mCoefficients[1];
    double a1 = ioSection.mCoefficients[3];
    double s = ioSection.mMemory;
    for (int i = 0; i < inNumSamples; ++i) {
        b0 = (t0 - b0) * inRate + b0;
        b1 = (t1 - b1) * inRate + b1;
        a1 = (t3 - a1) * inRate + a1;
        const double x = inSamples[i];
        const double y = x * b0 + s;
        s = x * b1 - y * a1;
        outSamples[i] = y;
    }
    ioSection.mCoefficients[0] = b0;
    ioSection.mCoefficients[1] = b1;
    ioSection.mCoefficients[3] = a1;
    ioSection.mMemory = s;
}

inline void processBiquad(const double* inSamples, double* outSamples, int inNumSamples, Biquad& ioSection)
{
    const double b0 = ioSection.mCoefficients[0];
    const double b1 = ioSection.mCoefficients[1];
    const double b2 = ioSection.mCoefficients[2];
    const double a1 = ioSection.mCoefficients[4];
    const double a2 = ioSection.mCoefficients[5];
    double s1 = ioSection.mMemory1;
    double s2 = ioSection.mMemory2;
    for (int i = 0; i < inNumSamples; ++i) {
        const double x = inSamples[i];
        const double y = x * b0 + s1;
        s1 = (x * b1 + s2) - y * a1;
        s2 = x * b2 - y * a2;
        outSamples[i] = y;
    }
    ioSection.mMemory1 = s1;
    ioSection.mMemory2 = s2;
}

inline void processGlidingBiquad(const double* inSamples, double* outSamples, int inNumSamples,
                                 GlidingBiquad& ioSection, const double* inTargets, double inRate)
{
    const double t0 = inTargets[0];
    const double t1 = inTargets[1];
    const double t2 = inTargets[2];
    const double t4 = inTargets[4];
    const double t5 = inTargets[5];
    double b0 = ioSection.mCoefficients[0];
    double b1 = ioSection.mCoefficients[1];
    double b2 = ioSection.mCoefficients[2];
    double a1 = ioSection.mCoefficients[4];
    double a2 = ioSection.mCoefficients[5];
    double s1 = ioSection.mMemory1;
    double s2 = ioSection.mMemory2;
    for (int i = 0; i < inNumSamples; ++i) {
        b0 = (t0 - b0) * inRate + b0;
        b1 = (t1 - b1) * inRate + b1;
        b2 = (t2 - b2) * inRate + b2;
        a1 = (t4 - a1) * inRate + a1;
        a2 = (t5 - a2) * inRate + a2;
        const double x = inSamples[i];
        const double y = x * b0 + s1;
        s1 = (x * b1 + s2) - y * a1;
        s2 = x * b2 - y * a2;
        outSamples[i] = y;
    }
    ioSection.mCoefficients[0] = b0;
    ioSection.mCoefficients[1] = b1;
    ioSection.mCoefficients[2] = b2;
    ioSection.mCoefficients[4] = a1;
    ioSection.mCoefficients[5] = a2;
    ioSection.mMemory1 = s1;
    ioSection.mMemory2 = s2;
}

} // namespace q38
