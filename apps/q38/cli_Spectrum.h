#pragma once

// Spectra for the measurements: a radix-2 FFT and power read off a spectrum
// in fractional-octave bands. The FFT is our own because Debian's only
// permissively licensed FFT package, kissfft, is single precision, and the
// measurements are double.

#include <complex>
#include <cstddef>
#include <vector>

namespace cli {

using ComplexVector = std::vector<std::complex<double>>;

// The smallest power of two not below inCount.
std::size_t nextPowerOfTwo(std::size_t inCount);

// In-place discrete Fourier transform; the size must be a power of two. The
// inverse includes the 1/N.
void fft(ComplexVector& ioData, bool inInverse = false);

// Mean of |X|^2 over the bins within a band of inBandsPerOctave around
// inFrequency (at least the nearest bin), for a spectrum of inSampleRate.
double bandPower(const ComplexVector& inSpectrum, double inSampleRate, double inFrequency, double inBandsPerOctave);

// inCount frequencies from inLowest to inHighest, evenly spaced on a log axis.
std::vector<double> logFrequencies(double inLowest, double inHighest, std::size_t inCount);

// 10 log10 of a power, -inf for 0.
double powerToDecibels(double inPower);

// A steady tone's output, read off a spectrum of its last power-of-two
// samples under a 7-term Blackman-Harris window: each harmonic's peak and the
// highest peak up to inHighestHz that belongs to no harmonic (an alias folded
// back from above the rate, or the hiss), in dB relative to the fundamental's
// peak.
struct ToneSpectrum
{
    std::vector<double> mHarmonicDb; // [k] the k-th harmonic up to half the rate; [0] and [1] unused
    double mInharmonicDb = -INFINITY;
    double mInharmonicHz = 0.0;
};
ToneSpectrum analyzeTone(const std::vector<double>& inSignal, double inSampleRate, double inFrequency,
                         double inHighestHz);

} // namespace cli
