#include "cli_Drive.h"

#include "cli_Spectrum.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

namespace cli {

namespace {

constexpr double kSettleSeconds = 0.3;
constexpr double kRampSeconds = 0.01;  // level changes glide, so no click rings into the next reading
constexpr int kHighestHarmonic = 10;
// Offsets in Hz of the bins beside each harmonic that measure the hiss there.
constexpr int kNoiseOffsets[] = {-23, -17, -11, -5, 5, 11, 17, 23};

// Exactly one second of samples holds a whole number of cycles of every
// whole-hertz frequency, so each bin below is leak-free.
class WholeSecondDft
{
public:
    explicit WholeSecondDft(int inSampleRate) : mRate(inSampleRate), mTable(static_cast<std::size_t>(inSampleRate))
    {
        for (int m = 0; m < mRate; ++m)
            mTable[static_cast<std::size_t>(m)] = std::polar(1.0, -2.0 * std::numbers::pi * m / mRate);
    }

    // Peak amplitude of the component at inHertz in one second of samples.
    double amplitude(const double* inSamples, int inHertz) const
    {
        std::complex<double> sum = 0.0;
        long long phase = 0;
        for (int n = 0; n < mRate; ++n) {
            sum += inSamples[n] * mTable[static_cast<std::size_t>(phase)];
            phase += inHertz;
            if (phase >= mRate)
                phase -= mRate;
        }
        return 2.0 * std::abs(sum) / mRate;
    }

private:
    int mRate;
    std::vector<std::complex<double>> mTable;
};

} // namespace

DriveResponse measureDrive(const MeasureSetup& inSetup, const std::vector<int>& inChannels, const DriveSteps& inSteps)
{
    const int rate = inSetup.mSampleRate;
    DriveResponse result;
    for (double level = inSteps.mFromDb; level <= inSteps.mToDb + 1e-9; level += inSteps.mStepDb)
        result.mInputDb.push_back(level);

    const std::size_t settle = static_cast<std::size_t>(kSettleSeconds * rate);
    const std::size_t ramp = static_cast<std::size_t>(kRampSeconds * rate);
    const std::size_t stepLength = settle + static_cast<std::size_t>(rate);
    std::vector<double> signal(stepLength * result.mInputDb.size());
    double previous = 0.0;
    for (std::size_t step = 0; step < result.mInputDb.size(); ++step) {
        const double amplitude = decibelsToAmplitude(result.mInputDb[step]);
        for (std::size_t i = 0; i < stepLength; ++i) {
            const std::size_t n = step * stepLength + i;
            const double blend = i < ramp ? double(i) / double(ramp) : 1.0;
            const double gain = previous + (amplitude - previous) * blend;
            signal[n] = gain * std::sin(2.0 * std::numbers::pi * result.mFrequency * double(n) / rate);
        }
        previous = amplitude;
    }

    const WholeSecondDft dft(rate);
    const int fundamental = static_cast<int>(result.mFrequency);
    const int highest = std::min(kHighestHarmonic, static_cast<int>(0.45 * rate / result.mFrequency));
    for (const int channel : inChannels) {
        const std::vector<double> output = runChannel(inSetup, channel, signal, inSetup.mSeed, settle);
        DriveCurve curve;
        curve.mChannel = channel;
        for (std::size_t step = 0; step < result.mInputDb.size(); ++step) {
            const double* reading = output.data() + step * stepLength + settle;
            const double first = dft.amplitude(reading, fundamental);
            double harmonics = 0.0;
            double hiss = 0.0;
            for (int order = 2; order <= highest; ++order) {
                harmonics += std::pow(dft.amplitude(reading, order * fundamental), 2.0);
                double around = 0.0;
                for (const int offset : kNoiseOffsets)
                    around += std::pow(dft.amplitude(reading, order * fundamental + offset), 2.0);
                hiss += around / double(std::size(kNoiseOffsets));
            }
            curve.mOutputDb.push_back(20.0 * std::log10(first));
            curve.mThdDb.push_back(powerToDecibels(harmonics / (first * first)));
            curve.mThdFloorDb.push_back(powerToDecibels(hiss / (first * first)));
        }
        result.mChannels.push_back(std::move(curve));
    }
    return result;
}

} // namespace cli
