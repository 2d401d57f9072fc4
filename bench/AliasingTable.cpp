// How much oversampling takes out of the aliasing of a driven tone: the
// strongest component of the output that is no harmonic of the input sine,
// relative to the fundamental, at 1x, 2x, 4x and 8x and at 44.1 and 48 kHz,
// as the Markdown table of the README.
//
//   build/default/bench/q38_aliasing_table
//
// Cases: a 7919 Hz sine at -6 dBFS through input gain 70 dB, and a 1 kHz and
// a 5 kHz sine at -6 dBFS through the input gain at which their 3rd harmonic
// reaches -40 dB (found at 48 kHz, 1x, to 0.1 dB of gain).

#include "cli_Measure.h"
#include "cli_Spectrum.h"
#include "cli_Sweep.h"

#include <cmath>
#include <cstdio>
#include <numbers>
#include <string>
#include <vector>

namespace {

constexpr double kLevelDb = -6.0;
constexpr std::size_t kAnalysed = 32768;
constexpr unsigned long long kSeed = 38;

cli::ToneSpectrum measure(double inFrequency, double inGainDb, int inRate, int inFactor)
{
    cli::MeasureSetup setup;
    setup.mSampleRate = inRate;
    setup.mOversample = inFactor;
    setup.mValues = cli::ParameterTable().defaults();
    setup.mValues[kCh1InputGain] = setup.mValues[kCh2InputGain] = static_cast<float>((inGainDb - 3.0) / 73.0);
    // Half a second for the tube stages' bias to settle, then the part analysed.
    std::vector<double> signal(std::size_t(inRate / 2) + kAnalysed);
    const double amplitude = std::pow(10.0, kLevelDb / 20.0);
    for (std::size_t n = 0; n < signal.size(); ++n)
        signal[n] = amplitude * std::sin(2.0 * std::numbers::pi * inFrequency * double(n) / inRate);
    const std::vector<double> output = cli::runChannel(setup, 0, signal, kSeed, 0);
    return cli::analyzeTone({output.end() - long(kAnalysed), output.end()}, inRate, inFrequency,
                            cli::topFrequency(inRate));
}

// The gain at which the 3rd harmonic reads -40 dB, by bisection.
double gainForThirdHarmonic(double inFrequency)
{
    double low = 3.0, high = 76.0;
    while (high - low > 0.1) {
        const double middle = 0.5 * (low + high);
        (measure(inFrequency, middle, 48000, 1).mHarmonicDb[3] < -40.0 ? low : high) = middle;
    }
    return 0.5 * (low + high);
}

} // namespace

int main()
{
    struct Case
    {
        double mFrequency;
        double mGainDb;
    };
    std::vector<Case> cases = {{7919.0, 70.0}, {1000.0, 0.0}, {5000.0, 0.0}};
    for (Case& item : cases)
        if (item.mGainDb == 0.0)
            item.mGainDb = std::round(gainForThirdHarmonic(item.mFrequency) * 10.0) / 10.0;

    std::printf("| Sine at -6 dBFS | Input gain | 3rd harmonic at 1x | Rate | 1x | 2x | 4x | 8x |\n");
    std::printf("|---|---:|---:|---|---:|---:|---:|---:|\n");
    for (const Case& item : cases) {
        for (const int rate : {44100, 48000}) {
            std::string row;
            std::string third = "above the band";
            for (const int factor : {1, 2, 4, 8}) {
                const cli::ToneSpectrum spectrum = measure(item.mFrequency, item.mGainDb, rate, factor);
                if (factor == 1 && spectrum.mHarmonicDb.size() > 3) {
                    char text[32];
                    std::snprintf(text, sizeof text, "%.1f dB", spectrum.mHarmonicDb[3]);
                    third = text;
                }
                char cell[64];
                std::snprintf(cell, sizeof cell, " %.1f dB (%.0f Hz) |", spectrum.mInharmonicDb, spectrum.mInharmonicHz);
                row += cell;
            }
            std::printf("| %.0f Hz | %.1f dB | %s | %.1f kHz |%s\n", item.mFrequency, item.mGainDb, third.c_str(),
                        rate / 1000.0, row.c_str());
        }
    }
    return 0;
}
