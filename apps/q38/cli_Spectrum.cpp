#include "cli_Spectrum.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numbers>
#include <stdexcept>

namespace cli {

std::size_t nextPowerOfTwo(std::size_t inCount)
{
    std::size_t size = 1;
    while (size < inCount)
        size *= 2;
    return size;
}

void fft(ComplexVector& ioData, bool inInverse)
{
    const std::size_t n = ioData.size();
    if (n == 0 || (n & (n - 1)) != 0)
        throw std::invalid_argument("fft: the size is not a power of two");
    for (std::size_t i = 1, j = 0; i < n; ++i) {
        std::size_t bit = n >> 1;
        for (; j & bit; bit >>= 1)
            j ^= bit;
        j ^= bit;
        if (i < j)
            std::swap(ioData[i], ioData[j]);
    }
    // Each twiddle straight from its angle: no error builds up along a recurrence.
    const double sign = inInverse ? 1.0 : -1.0;
    std::vector<std::complex<double>> twiddles(n / 2);
    for (std::size_t k = 0; k < n / 2; ++k)
        twiddles[k] = std::polar(1.0, sign * 2.0 * std::numbers::pi * double(k) / double(n));
    for (std::size_t length = 2; length <= n; length *= 2) {
        const std::size_t stride = n / length;
        for (std::size_t start = 0; start < n; start += length)
            for (std::size_t k = 0; k < length / 2; ++k) {
                const std::complex<double> even = ioData[start + k];
                const std::complex<double> odd = ioData[start + k + length / 2] * twiddles[k * stride];
                ioData[start + k] = even + odd;
                ioData[start + k + length / 2] = even - odd;
            }
    }
    if (inInverse)
        for (std::complex<double>& value : ioData)
            value /= double(n);
}

double bandPower(const ComplexVector& inSpectrum, double inSampleRate, double inFrequency, double inBandsPerOctave)
{
    const double binWidth = inSampleRate / double(inSpectrum.size());
    const double halfBand = std::exp2(0.5 / inBandsPerOctave);
    const std::size_t last = inSpectrum.size() / 2;
    const auto bin = [&](double inHz) { return std::min<double>(std::max(inHz / binWidth, 0.0), double(last)); };
    const std::size_t low = static_cast<std::size_t>(std::ceil(bin(inFrequency / halfBand)));
    const std::size_t high = static_cast<std::size_t>(std::floor(bin(inFrequency * halfBand)));
    if (low > high) {
        const std::size_t nearest = static_cast<std::size_t>(std::lround(bin(inFrequency)));
        return std::norm(inSpectrum[nearest]);
    }
    double sum = 0.0;
    for (std::size_t k = low; k <= high; ++k)
        sum += std::norm(inSpectrum[k]);
    return sum / double(high - low + 1);
}

std::vector<double> logFrequencies(double inLowest, double inHighest, std::size_t inCount)
{
    std::vector<double> frequencies(inCount);
    for (std::size_t i = 0; i < inCount; ++i)
        frequencies[i] = inCount == 1 ? inLowest
                                      : inLowest * std::pow(inHighest / inLowest, double(i) / double(inCount - 1));
    return frequencies;
}

double powerToDecibels(double inPower)
{
    return inPower > 0.0 ? 10.0 * std::log10(inPower) : -INFINITY;
}

ToneSpectrum analyzeTone(const std::vector<double>& inSignal, double inSampleRate, double inFrequency,
                         double inHighestHz)
{
    // A 7-term Blackman-Harris window: side lobes 180 dB down, so that a
    // component 150 dB under the fundamental still shows. Each peak's main
    // lobe spans 7 bins either side.
    constexpr long kLobeBins = 8;
    constexpr double kWindow[] = {0.27105140069342, 0.43329793923448, 0.21812299954311, 0.06592544638803,
                                  0.01081174209837, 0.00077658482522, 0.00001388721735};
    std::size_t size = nextPowerOfTwo(inSignal.size() + 1) / 2;
    if (size < 2 * kLobeBins)
        throw std::invalid_argument("analyzeTone: too few samples");
    const std::size_t start = inSignal.size() - size;
    ComplexVector spectrum(size);
    for (std::size_t n = 0; n < size; ++n) {
        const double phase = 2.0 * std::numbers::pi * double(n) / double(size);
        double window = 0.0;
        for (int k = 0; k < int(std::size(kWindow)); ++k)
            window += (k % 2 ? -kWindow[k] : kWindow[k]) * std::cos(k * phase);
        spectrum[n] = inSignal[start + n] * window;
    }
    fft(spectrum);

    const long last = static_cast<long>(size / 2);
    const double binWidth = inSampleRate / double(size);
    std::vector<bool> harmonic(static_cast<std::size_t>(last + 1), false);
    const auto peakAround = [&](double inHz) {
        const long centre = std::lround(inHz / binWidth);
        double peak = 0.0;
        for (long k = std::max(0L, centre - kLobeBins); k <= std::min(last, centre + kLobeBins); ++k) {
            peak = std::max(peak, std::abs(spectrum[static_cast<std::size_t>(k)]));
            harmonic[static_cast<std::size_t>(k)] = true;
        }
        return peak;
    };
    ToneSpectrum result;
    peakAround(0.0); // DC is no component of interest
    const double fundamental = peakAround(inFrequency);
    result.mHarmonicDb.assign(2, -INFINITY);
    for (int order = 2; order * inFrequency < inSampleRate / 2.0; ++order)
        result.mHarmonicDb.push_back(20.0 * std::log10(peakAround(order * inFrequency) / fundamental));
    const long highest = std::min(last, static_cast<long>(inHighestHz / binWidth));
    for (long k = 0; k <= highest; ++k) {
        const double level = 20.0 * std::log10(std::abs(spectrum[static_cast<std::size_t>(k)]) / fundamental);
        if (!harmonic[static_cast<std::size_t>(k)] && level > result.mInharmonicDb) {
            result.mInharmonicDb = level;
            result.mInharmonicHz = double(k) * binWidth;
        }
    }
    return result;
}

} // namespace cli
