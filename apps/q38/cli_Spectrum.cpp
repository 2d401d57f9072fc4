#include "cli_Spectrum.h"

#include <algorithm>
#include <cmath>
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

} // namespace cli
