#pragma once

// What the measurements of q38 analyze share: the engine at a setting and a
// rate, run on a test signal on one channel at a time.

#include "cli_Parameters.h"

#include <vector>

namespace cli {

struct MeasureSetup
{
    ParameterValues mValues{}; // normalized, every parameter
    int mSampleRate = 48000;
    double mLevelDb = -40.0;   // test signal's peak in dBFS: a full-scale sine is 0
    unsigned long long mSeed = 38;
    int mOversample = 1; // the engine at this multiple of mSampleRate, as q38 render --oversample runs it
};

// Channel 0, and channel 1 as well when its settings sound different (link
// off and a control of the pair apart). Phase reversal alone changes no level.
std::vector<int> channelsThatDiffer(const ParameterValues& inValues);

// Runs a fresh engine at the setup (oversampled, with the delay taken out) with inSignal on input channel inChannel
// and silence on the other, and returns output channel inChannel. The engine
// runs inLeadIn samples of silence first, which are not returned, so that its
// glides have settled. The hiss starts from inSeed.
std::vector<double> runChannel(const MeasureSetup& inSetup, int inChannel, const std::vector<double>& inSignal,
                               unsigned long long inSeed, std::size_t inLeadIn);

double decibelsToAmplitude(double inDecibels);

} // namespace cli
