#include "dsp_HalfBandCascade.h"

#include "core/core_Assert.h"

#include <cmath>
#include <cstring>
#include <numbers>

namespace dsp {

namespace {

constexpr int kMaxHostSamples = 32;
constexpr int kMaxTopSamples = kMaxHostSamples * kMaxOversamplingFactor;

// m of each stage's 4m+3 taps. A Kaiser window for 110 dB needs 155 taps
// (m = 38) across the first stage's transition from 0.4535 to 0.5465 of the
// host rate; the second stage keeps 0..0.5465 and rejects from 1.4535 (35
// taps), the third keeps the same and rejects from 3.4535 (23 taps).
constexpr int kStageHalfLength[kMaxOversamplingStages] = {38, 8, 5};
constexpr double kKaiserBeta = 0.1102 * (110.0 - 8.7);

struct HalfBandStage
{
    int mNumTaps;                     // 2m+2
    int mCentre;                      // m: the plain branch's delay, in input samples
    double mTaps[kMaxHalfBandTaps];   // the dense branch, summing to 1/2
    double mUpTaps[kMaxHalfBandTaps]; // the same doubled, for the gain of 2 of zero-stuffing
};

// The modified Bessel function of the first kind, order 0, by its series.
double besselI0(double inX)
{
    double sum = 1.0;
    double term = 1.0;
    for (int k = 1; k < 200 && term > sum * 1e-18; ++k) {
        const double factor = inX / (2.0 * k);
        term *= factor * factor;
        sum += term;
    }
    return sum;
}

HalfBandStage designStage(int inHalfLength)
{
    HalfBandStage stage{};
    stage.mNumTaps = 2 * inHalfLength + 2;
    stage.mCentre = inHalfLength;
    const double centre = 2.0 * inHalfLength + 1.0; // of the full 4m+3 taps
    double sum = 0.0;
    for (int q = 0; q < stage.mNumTaps; ++q) {
        const double distance = 2.0 * q - centre; // odd: the taps of the dense branch
        const double x = std::numbers::pi * distance / 2.0;
        const double ratio = distance / centre;
        const double window = besselI0(kKaiserBeta * std::sqrt(1.0 - ratio * ratio)) / besselI0(kKaiserBeta);
        stage.mTaps[q] = 0.5 * std::sin(x) / x * window;
        sum += stage.mTaps[q];
    }
    // Both branches of a pair must have the same gain at DC, or the host
    // rate's Nyquist frequency would carry an image of DC.
    for (int q = 0; q < stage.mNumTaps; ++q) {
        stage.mTaps[q] *= 0.5 / sum;
        stage.mUpTaps[q] = 2.0 * stage.mTaps[q];
    }
    return stage;
}

const HalfBandStage& stage(int inStage)
{
    static const HalfBandStage stages[kMaxOversamplingStages] = {
        designStage(kStageHalfLength[0]), designStage(kStageHalfLength[1]), designStage(kStageHalfLength[2])};
    return stages[inStage];
}

// The filters' delay through up and down, in samples of the top rate.
int filterDelay(int inNumStages)
{
    int delay = 0;
    for (int s = 0; s < inNumStages; ++s)
        delay += (2 * kStageHalfLength[s] + 1) << (inNumStages - s);
    return delay;
}

inline const double* push(HalfBandHistory& ioHistory, int inLength, double inSample)
{
    ioHistory.mPosition = ioHistory.mPosition == 0 ? inLength - 1 : ioHistory.mPosition - 1;
    ioHistory.mSamples[ioHistory.mPosition] = inSample;
    ioHistory.mSamples[ioHistory.mPosition + inLength] = inSample;
    return ioHistory.mSamples + ioHistory.mPosition;
}

// Symmetric taps: each pair of inputs at equal distance from the centre
// shares one multiply.
inline double symmetricSum(const double* inTaps, const double* inNewestFirst, int inNumTaps)
{
    double sum = 0.0;
    for (int q = 0, mirror = inNumTaps - 1; q < mirror; ++q, --mirror)
        sum += inTaps[q] * (inNewestFirst[q] + inNewestFirst[mirror]);
    return sum;
}

void upsampleStage(const HalfBandStage& inStage, HalfBandHistory& ioHistory, const double* inSamples,
                   double* outSamples, int inNumSamples)
{
    for (int i = 0; i < inNumSamples; ++i) {
        const double* recent = push(ioHistory, inStage.mNumTaps, inSamples[i]);
        outSamples[2 * i] = symmetricSum(inStage.mUpTaps, recent, inStage.mNumTaps);
        outSamples[2 * i + 1] = recent[inStage.mCentre];
    }
}

// In place is fine: output i is written after inputs 2i and 2i+1 are read.
void downsampleStage(const HalfBandStage& inStage, HalfBandHistory& ioEven, HalfBandHistory& ioOdd,
                     const double* inSamples, double* outSamples, int inNumSamples)
{
    for (int i = 0; i < inNumSamples; ++i) {
        const double* even = push(ioEven, inStage.mNumTaps, inSamples[2 * i]);
        const double* odd = push(ioOdd, inStage.mCentre + 2, inSamples[2 * i + 1]);
        outSamples[i] = symmetricSum(inStage.mTaps, even, inStage.mNumTaps) + 0.5 * odd[inStage.mCentre + 1];
    }
}

bool checkBlock(const OversamplingState& inState, int inNumSamples)
{
    Q38_ASSERT_TEXT(core::kAssertionLibrary, inNumSamples >= 0 && inNumSamples <= kMaxHostSamples,
                    "inNumSamples >= 0 && inNumSamples <= 32");
    Q38_ASSERT_TEXT(core::kAssertionLibrary,
                    inState.mNumStages >= 0 && inState.mNumStages <= kMaxOversamplingStages,
                    "mNumStages >= 0 && mNumStages <= kMaxOversamplingStages");
    return inNumSamples >= 0 && inNumSamples <= kMaxHostSamples && inState.mNumStages >= 0 &&
           inState.mNumStages <= kMaxOversamplingStages;
}

} // namespace

void resetOversampling(OversamplingState& outState, int inNumStages)
{
    Q38_ASSERT(core::kAssertionLibrary, inNumStages >= 0 && inNumStages <= kMaxOversamplingStages);
    std::memset(&outState, 0, sizeof(outState));
    outState.mNumStages = inNumStages < 0 ? 0 : inNumStages > kMaxOversamplingStages ? kMaxOversamplingStages
                                                                                      : inNumStages;
    outState.mAlignmentLength = (oversamplingLatency(outState.mNumStages) << outState.mNumStages) -
                                filterDelay(outState.mNumStages);
}

int oversamplingLatency(int inNumStages)
{
    const int factor = 1 << inNumStages;
    return (filterDelay(inNumStages) + factor - 1) / factor;
}

void upsample(OversamplingState& ioState, const double* inSamples, double* outSamples, int inNumSamples)
{
    if (!checkBlock(ioState, inNumSamples))
        return;
    const int stages = ioState.mNumStages;
    if (stages == 0) {
        std::memcpy(outSamples, inSamples, sizeof(double) * static_cast<unsigned>(inNumSamples));
        return;
    }
    // Stages alternate between the output and a scratch block, so that the
    // last one writes the output.
    double scratch[kMaxTopSamples / 2];
    const double* source = inSamples;
    int count = inNumSamples;
    for (int s = 0; s < stages; ++s) {
        double* target = (stages - 1 - s) % 2 == 0 ? outSamples : scratch;
        upsampleStage(stage(s), ioState.mUp[s], source, target, count);
        source = target;
        count *= 2;
    }
}

void downsample(OversamplingState& ioState, double* ioSamples, double* outSamples, int inNumSamples)
{
    if (!checkBlock(ioState, inNumSamples))
        return;
    const int stages = ioState.mNumStages;
    const int topCount = inNumSamples << stages;
    if (const int length = ioState.mAlignmentLength; length > 0) {
        for (int i = 0; i < topCount; ++i) {
            const double delayed = ioState.mAlignment[ioState.mAlignmentPosition];
            ioState.mAlignment[ioState.mAlignmentPosition] = ioSamples[i];
            ioState.mAlignmentPosition = ioState.mAlignmentPosition + 1 == length ? 0 : ioState.mAlignmentPosition + 1;
            ioSamples[i] = delayed;
        }
    }
    int count = topCount;
    for (int s = stages - 1; s >= 0; --s) {
        count /= 2;
        downsampleStage(stage(s), ioState.mDownEven[s], ioState.mDownOdd[s], ioSamples, ioSamples, count);
    }
    std::memcpy(outSamples, ioSamples, sizeof(double) * static_cast<unsigned>(inNumSamples));
}

} // namespace dsp
