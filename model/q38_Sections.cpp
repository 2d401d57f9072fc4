#include "q38_Sections.h"

#include "vector/vector_Primitives.h"

namespace q38 {

void resetSection(FirstOrderSection& outSection)
{
    outSection.mMemory = 0.0;
    vectorCopy(kFirstOrderIdentity, outSection.mCoefficients, kFirstOrderSize);
}

void resetSection(GlidingFirstOrderSection& outSection)
{
    outSection.mPending = 1;
    outSection.mMemory = 0.0;
    vectorCopy(kFirstOrderIdentity, outSection.mCoefficients, kFirstOrderSize);
}

void resetSection(Biquad& outSection)
{
    outSection.mMemory1 = 0.0;
    outSection.mMemory2 = 0.0;
    vectorCopy(kSecondOrderIdentity, outSection.mCoefficients, kSecondOrderSize);
}

void resetSection(GlidingBiquad& outSection)
{
    outSection.mPending = 1;
    outSection.mMemory1 = 0.0;
    outSection.mMemory2 = 0.0;
    vectorCopy(kSecondOrderIdentity, outSection.mCoefficients, kSecondOrderSize);
}

} // namespace q38
