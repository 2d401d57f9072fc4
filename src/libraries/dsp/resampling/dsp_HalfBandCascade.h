#pragma once

// Sample-rate change by 2, 4 or 8 with a cascade of linear-phase half-band
// low-pass filters, one stage per doubling. Each stage is a Kaiser-windowed
// sinc of 4m+3 taps with its cut-off at a quarter of its rate: every second
// tap is zero except the centre, 1/2, so one output of each pair is a plain
// delay and the other a symmetric filter of 2m+2 taps.
//
// The host's band up to 20000/44100 of its rate (20 kHz at 44.1 kHz, 21.8 kHz
// at 48 kHz) passes within 0.001 dB; images and aliases that would land in it
// are at least 106 dB down. The stages after the first only have to keep
// that band and the first stage's transition band, so they are short.
//
// Up and down together delay by a whole number of host samples: a few
// samples of plain delay at the top rate round the filters' delay up.
// Signal arithmetic is double, and nothing here allocates: all memory lives
// in the caller's OversamplingState, sized for the largest factor.

namespace dsp {

constexpr int kMaxOversamplingStages = 3;
constexpr int kMaxOversamplingFactor = 1 << kMaxOversamplingStages;
// Dense taps (2m+2) of the longest stage, the first.
constexpr int kMaxHalfBandTaps = 78;

// The newest kMaxHalfBandTaps inputs, twice over, so that a filter always
// reads them in one run: mSamples[mPosition + k] is the input k steps back.
struct HalfBandHistory
{
    double mSamples[2 * kMaxHalfBandTaps];
    int mPosition;
};

// One channel's memory for a factor: both directions of every stage and the
// delay that rounds the whole up to host samples.
struct OversamplingState
{
    int mNumStages;                               // 0 (factor 1) to kMaxOversamplingStages
    HalfBandHistory mUp[kMaxOversamplingStages];  // index 0 is the stage nearest the host rate
    HalfBandHistory mDownEven[kMaxOversamplingStages];
    HalfBandHistory mDownOdd[kMaxOversamplingStages];
    double mAlignment[kMaxOversamplingFactor];    // the rounding delay, at the top rate
    int mAlignmentLength;
    int mAlignmentPosition;
};

// Clears the memory and sets the factor: 1 << inNumStages.
void resetOversampling(OversamplingState& outState, int inNumStages);

// Up and down delay together, in host samples.
int oversamplingLatency(int inNumStages);

// inNumSamples host samples to inNumSamples << mNumStages samples at the top
// rate. inNumSamples is at most 32; the arrays may not overlap.
void upsample(OversamplingState& ioState, const double* inSamples, double* outSamples, int inNumSamples);

// inNumSamples << mNumStages samples at the top rate to inNumSamples host
// samples; the same limits. inSamples is used as scratch and overwritten.
void downsample(OversamplingState& ioState, double* ioSamples, double* outSamples, int inNumSamples);

} // namespace dsp
