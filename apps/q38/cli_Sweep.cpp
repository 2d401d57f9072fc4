#include "cli_Sweep.h"

#include "cli_Spectrum.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace cli {

namespace {

constexpr double kTwoPi = 2.0 * std::numbers::pi;
constexpr double kLowestShown = 20.0;
constexpr double kSweepStart = 10.0;     // Hz, an octave below the lowest shown
constexpr double kSweepEndFraction = 0.48;
constexpr double kSweepSeconds = 8.0;
constexpr double kTailSeconds = 2.0;     // silence after the sweep: the response dies away
constexpr double kLeadInSeconds = 0.25;  // before it: the glides settle
constexpr double kFadeInSeconds = 0.1;
constexpr double kFadeOutSeconds = 0.005;
constexpr double kLinearSeconds = 1.5;   // how much of the linear response is kept
constexpr double kLinearBands = 48.0;    // bands per octave for the linear response
constexpr double kHarmonicBands = 12.0;  // and for the harmonics, which are noisier
constexpr double kFloorBands = 3.0;      // the hiss floor: a level, not a shape
constexpr double kNoiseSeedOffset = 1000;

double halfHann(double inFraction) // 0 at 0, 1 at 1
{
    const double x = std::clamp(inFraction, 0.0, 1.0);
    return 0.5 - 0.5 * std::cos(std::numbers::pi * x);
}

struct Sweep
{
    std::vector<double> mSignal;
    double mSecondsPerNeper; // L: the instantaneous frequency grows by e every L seconds
};

Sweep makeSweep(double inSampleRate, double inAmplitude)
{
    const double end = kSweepEndFraction * inSampleRate;
    const double perNeper = kSweepSeconds / std::log(end / kSweepStart);
    const std::size_t length = static_cast<std::size_t>(kSweepSeconds * inSampleRate);
    Sweep sweep{std::vector<double>(length), perNeper};
    for (std::size_t n = 0; n < length; ++n) {
        const double t = double(n) / inSampleRate;
        const double phase = kTwoPi * kSweepStart * perNeper * std::expm1(t / perNeper);
        const double fade = halfHann(t / kFadeInSeconds) * halfHann((kSweepSeconds - t) / kFadeOutSeconds);
        sweep.mSignal[n] = inAmplitude * fade * std::sin(phase);
    }
    return sweep;
}

// A window over a circular impulse response, in seconds from its time zero:
// rising over [mRiseStart, mRiseEnd], flat, falling over [mFallStart, mFallEnd].
struct Window
{
    double mRiseStart, mRiseEnd, mFallStart, mFallEnd;
};

// The spectrum of the windowed part of a circular response, zero-padded.
ComplexVector windowedSpectrum(const ComplexVector& inResponse, const Window& inWindow, double inSampleRate)
{
    const long long size = static_cast<long long>(inResponse.size());
    const long long first = std::llround(inWindow.mRiseStart * inSampleRate);
    const long long last = std::llround(inWindow.mFallEnd * inSampleRate);
    ComplexVector part(nextPowerOfTwo(static_cast<std::size_t>(last - first + 1)) * 2);
    for (long long n = first; n <= last; ++n) {
        const double t = double(n) / inSampleRate;
        const double weight = halfHann((t - inWindow.mRiseStart) / (inWindow.mRiseEnd - inWindow.mRiseStart)) *
                              halfHann((inWindow.mFallEnd - t) / (inWindow.mFallEnd - inWindow.mFallStart));
        // The part keeps the response's time zero at its index 0 (negative times wrap).
        const long long index = ((n % size) + size) % size;
        const long long at = ((n % static_cast<long long>(part.size())) + static_cast<long long>(part.size())) %
                             static_cast<long long>(part.size());
        part[static_cast<std::size_t>(at)] = weight * inResponse[static_cast<std::size_t>(index)].real();
    }
    fft(part);
    return part;
}

// The output's spectrum over the sweep's: the circular impulse response.
// Outside the sweep's band it is faded to nothing.
ComplexVector deconvolve(const std::vector<double>& inOutput, const ComplexVector& inSweepSpectrum,
                         double inSampleRate)
{
    const std::size_t size = inSweepSpectrum.size();
    ComplexVector spectrum(size);
    std::copy(inOutput.begin(), inOutput.end(), spectrum.begin());
    fft(spectrum);
    double peak = 0.0;
    for (const auto& value : inSweepSpectrum)
        peak = std::max(peak, std::norm(value));
    const double regularisation = 1e-8 * peak;
    const double end = kSweepEndFraction * inSampleRate;
    for (std::size_t k = 0; k <= size / 2; ++k) {
        const double f = double(k) * inSampleRate / double(size);
        const double band = halfHann((f - 0.8 * kSweepStart) / (0.4 * kSweepStart)) * halfHann((end - f) / (0.01 * end));
        const std::complex<double> x = inSweepSpectrum[k];
        spectrum[k] *= band * std::conj(x) / (std::norm(x) + regularisation);
        if (k > 0 && k < size / 2)
            spectrum[size - k] = std::conj(spectrum[k]);
    }
    fft(spectrum, true);
    return spectrum;
}

// The linear response's window and the harmonics', each kept clear of its neighbours.
std::array<Window, 1 + kMeasuredHarmonics> responseWindows(double inSecondsPerNeper)
{
    const auto advance = [&](int inOrder) { return inSecondsPerNeper * std::log(double(inOrder)); };
    std::array<Window, 1 + kMeasuredHarmonics> windows{};
    const double gap2 = advance(2);
    windows[0] = {-0.5 * gap2, -0.25 * gap2, kLinearSeconds * 0.8, kLinearSeconds};
    for (int order = 2; order <= 1 + kMeasuredHarmonics; ++order) {
        const double at = -advance(order);
        const double before = advance(order + 1) - advance(order);
        const double after = advance(order) - advance(order - 1);
        windows[static_cast<std::size_t>(order - 1)] = {at - 0.5 * before, at - 0.25 * before, at + 0.25 * after,
                                                        at + 0.5 * after};
    }
    return windows;
}

} // namespace

double topFrequency(int inSampleRate)
{
    return std::min(20000.0, 0.45 * inSampleRate);
}

SweepResponse measureSweep(const MeasureSetup& inSetup, const std::vector<int>& inChannels, std::size_t inNumPoints)
{
    const double rate = inSetup.mSampleRate;
    const double top = topFrequency(inSetup.mSampleRate);
    const Sweep sweep = makeSweep(rate, decibelsToAmplitude(inSetup.mLevelDb));
    const std::size_t size = nextPowerOfTwo(sweep.mSignal.size() + static_cast<std::size_t>(kTailSeconds * rate));
    ComplexVector sweepSpectrum(size);
    std::copy(sweep.mSignal.begin(), sweep.mSignal.end(), sweepSpectrum.begin());
    fft(sweepSpectrum);

    std::vector<double> excitation = sweep.mSignal;
    excitation.resize(size, 0.0);
    const std::vector<double> silence(size, 0.0);
    const auto windows = responseWindows(sweep.mSecondsPerNeper);
    const std::size_t leadIn = static_cast<std::size_t>(kLeadInSeconds * rate);

    SweepResponse result;
    result.mFrequencies = logFrequencies(kLowestShown, top, inNumPoints);
    for (const int channel : inChannels) {
        const ComplexVector measured =
            deconvolve(runChannel(inSetup, channel, excitation, inSetup.mSeed, leadIn), sweepSpectrum, rate);
        const ComplexVector hiss = deconvolve(
            runChannel(inSetup, channel, silence, inSetup.mSeed + kNoiseSeedOffset, leadIn), sweepSpectrum, rate);

        ChannelResponse response;
        response.mChannel = channel;
        const ComplexVector linear = windowedSpectrum(measured, windows[0], rate);
        const ComplexVector linearHiss = windowedSpectrum(hiss, windows[0], rate);
        for (const double f : result.mFrequencies) {
            response.mResponseDb.push_back(powerToDecibels(bandPower(linear, rate, f, kLinearBands)));
            response.mResponseFloorDb.push_back(powerToDecibels(bandPower(linearHiss, rate, f, kFloorBands)));
        }
        for (int h = 0; h < kMeasuredHarmonics; ++h) {
            const int order = h + 2;
            HarmonicCurve& curve = response.mHarmonics[static_cast<std::size_t>(h)];
            curve.mOrder = order;
            const ComplexVector part = windowedSpectrum(measured, windows[static_cast<std::size_t>(order - 1)], rate);
            const ComplexVector partHiss = windowedSpectrum(hiss, windows[static_cast<std::size_t>(order - 1)], rate);
            for (std::size_t i = 0; i < result.mFrequencies.size(); ++i) {
                const double f = result.mFrequencies[i];
                // Up to where the highest order measured reaches the top: beyond,
                // it folds back below half the rate and smears into the others.
                if ((1 + kMeasuredHarmonics) * f > top) {
                    curve.mLevelDb.push_back(NAN);
                    curve.mFloorDb.push_back(NAN);
                    continue;
                }
                // Relative to the fundamental in the same relative band.
                const double fundamental = powerToDecibels(bandPower(linear, rate, f, kHarmonicBands));
                curve.mLevelDb.push_back(powerToDecibels(bandPower(part, rate, order * f, kHarmonicBands)) -
                                         fundamental);
                curve.mFloorDb.push_back(powerToDecibels(bandPower(partHiss, rate, order * f, kFloorBands)) -
                                         fundamental);
            }
        }
        result.mChannels.push_back(std::move(response));
    }
    return result;
}

} // namespace cli
