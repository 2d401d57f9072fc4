#pragma once

// The transfer curve of q38 analyze --drive: a 1 kHz sine at rising input
// levels, and for each the output level and the total harmonic distortion.

#include "cli_Measure.h"

#include <vector>

namespace cli {

struct DriveCurve
{
    int mChannel = 0;
    std::vector<double> mOutputDb;   // the fundamental's peak in dBFS
    std::vector<double> mThdDb;      // harmonics 2 and up over the fundamental
    std::vector<double> mThdFloorDb; // what the hiss alone reads in the same bins
};

struct DriveResponse
{
    double mFrequency = 1000.0;
    std::vector<double> mInputDb; // the sine's peak in dBFS
    std::vector<DriveCurve> mChannels;
};

struct DriveSteps
{
    double mFromDb = -60.0;
    double mToDb = 0.0;
    double mStepDb = 1.0;
};

// The setup's level is not used: the steps give the levels.
DriveResponse measureDrive(const MeasureSetup& inSetup, const std::vector<int>& inChannels,
                           const DriveSteps& inSteps = {});

inline double thdPercent(double inThdDb)
{
    return 100.0 * decibelsToAmplitude(inThdDb);
}

} // namespace cli
