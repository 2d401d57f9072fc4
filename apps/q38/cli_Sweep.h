#pragma once

// The engine's linear response and its 2nd and 3rd harmonics, measured with
// an exponential sine sweep: dividing the output's spectrum by the sweep's
// gives an impulse response in which each harmonic's response stands apart,
// ahead of the linear one, by a time that depends only on the sweep's rate.
// A second run on silence gives the hiss floor under each of them.

#include "cli_Measure.h"

#include <array>
#include <vector>

namespace cli {

constexpr int kMeasuredHarmonics = 2; // the 2nd and the 3rd

struct HarmonicCurve
{
    int mOrder = 2;
    // Level relative to the fundamental's output, in dB, and the hiss floor
    // under it; NaN above a third of the top frequency, where the 3rd
    // harmonic would lie above the measured band.
    std::vector<double> mLevelDb;
    std::vector<double> mFloorDb;
};

struct ChannelResponse
{
    int mChannel = 0;
    std::vector<double> mResponseDb;      // output over input
    std::vector<double> mResponseFloorDb; // hiss over input, in the same bands
    std::array<HarmonicCurve, kMeasuredHarmonics> mHarmonics;
};

struct SweepResponse
{
    std::vector<double> mFrequencies; // Hz, log-spaced from 20 Hz to the top
    std::vector<ChannelResponse> mChannels;
};

// The highest frequency shown: 20 kHz, or 0.45 of the rate.
double topFrequency(int inSampleRate);

SweepResponse measureSweep(const MeasureSetup& inSetup, const std::vector<int>& inChannels,
                           std::size_t inNumPoints = 241);

// Below this distance above its hiss floor a value is not taken as measured.
constexpr double kFloorMarginDb = 6.0;
inline bool clearsFloor(double inValueDb, double inFloorDb)
{
    return inValueDb >= inFloorDb + kFloorMarginDb;
}

} // namespace cli
