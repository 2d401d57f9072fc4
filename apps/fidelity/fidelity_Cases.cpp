#include "fidelity_Cases.h"

#include "dsp/filter_design/dsp_IIRToolsImpl.h"
#include "dsp/filter_design/primitives/order1/dsp_Order1HighPass.h"
#include "dsp/filter_design/primitives/order1/dsp_Order1HighShelf.h"
#include "dsp/filter_design/primitives/order2/dsp_Bell.h"
#include "dsp/filter_design/primitives/order2/dsp_HighShelf2Q.h"
#include "dsp/filter_design/primitives/order2/dsp_Order2HighPass.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>
#include <numbers>

namespace fidelity {

namespace {

constexpr int kGridPoints = 4000;

std::string number(double inValue)
{
    char text[32];
    std::snprintf(text, sizeof text, "%g", inValue);
    return text;
}

std::string signedDb(double inValue)
{
    const std::string sign = inValue > 0 ? "+" : "";
    return sign + number(inValue) + " dB";
}

std::string rateName(double inRate)
{
    return number(inRate / 1000.0) + " kHz";
}

Section bell(double inFrequency, double inQ, double inGain, double inRate)
{
    Section section;
    dsp::Bell::design({inFrequency, inQ, inGain, 0.0}, section.mDigital, section.mAnalog, inRate);
    section.mCentreHz = inFrequency;
    return section;
}

// The midpoint mode: the frequency is the centre of the transition.
Section firstOrderShelf(double inFrequency, double inGain, double inRate)
{
    Section section;
    section.mOrder = 1;
    dsp::Order1HighShelf::design({inFrequency, inGain, dsp::kMidpoint, 0.0}, section.mDigital, section.mAnalog,
                                 inRate);
    section.mCentreHz = inFrequency;
    return section;
}

// Mode 1, as the tone controls use it: the frequency is the shelf's midpoint.
Section secondOrderShelf(double inFrequency, double inQ, double inGain, double inOutputGain, double inRate)
{
    Section section;
    dsp::HighShelf2Q::design({inFrequency, inQ, inQ, inGain, 1, inOutputGain}, section.mDigital, section.mAnalog,
                             inRate);
    section.mCentreHz = inFrequency;
    return section;
}

// A low shelf is designed as a high shelf of the opposite height, raised by that height.
Section lowShelf(double inFrequency, double inQ, double inGain, double inRate)
{
    return secondOrderShelf(inFrequency, inQ, -inGain, inGain, inRate);
}

Section highPass2(double inFrequency, double inQ, double inRate)
{
    Section section;
    dsp::Order2HighPass::design({inFrequency, inQ, 0.0, 0.0}, section.mDigital, section.mAnalog, inRate);
    section.mCentreHz = inFrequency;
    return section;
}

Section highPass1(double inFrequency, double inRate)
{
    Section section;
    section.mOrder = 1;
    dsp::Order1HighPass::design({inFrequency, 0.0, 0.0}, section.mDigital, section.mAnalog, inRate);
    section.mCentreHz = inFrequency;
    return section;
}

double decibels(std::complex<double> inValue)
{
    return 20.0 * std::log10(std::abs(inValue));
}

} // namespace

std::vector<Case> listedCases()
{
    const auto bellCase = [](double inRate, double inFrequency, double inGain) {
        return Case{"listed",
                    "Bell, " + rateName(inRate) + ", " + number(inFrequency / 1000) + " kHz, Q 0.707, " +
                        signedDb(inGain),
                    inRate, bell(inFrequency, 0.707, inGain, inRate)};
    };
    const auto firstOrder = [](double inGain) {
        return Case{"listed", "First-order high shelf, 48 kHz, 10 kHz, " + signedDb(inGain), 48000.0,
                    firstOrderShelf(10000.0, inGain, 48000.0)};
    };
    const auto secondOrder = [](double inFrequency) {
        return Case{"listed",
                    "Second-order high shelf, 48 kHz, " + number(inFrequency / 1000) + " kHz, Q 0.707, +12 dB",
                    48000.0, secondOrderShelf(inFrequency, 0.707, 12.0, 0.0, 48000.0)};
    };
    return {bellCase(48000.0, 10000.0, 12.0),  bellCase(48000.0, 10000.0, -12.0), bellCase(44100.0, 10000.0, 12.0),
            bellCase(48000.0, 15000.0, 12.0),  firstOrder(12.0),                  firstOrder(-12.0),
            secondOrder(10000.0),              secondOrder(3000.0)};
}

std::vector<Case> engineCases()
{
    std::vector<Case> cases;
    for (const double rate : {44100.0, 48000.0, 96000.0}) {
        // The tone controls at their ends and the filters of the high-pass switch.
        cases.push_back({"High tone +10 dB (4 kHz, Q 0.4)", "", rate, secondOrderShelf(4000.0, 0.4, 10.0, 0.0, rate)});
        cases.push_back({"High tone -10 dB (4 kHz, Q 0.5)", "", rate, secondOrderShelf(4000.0, 0.5, -10.0, 0.0, rate)});
        cases.push_back({"Low tone +10 dB (100 Hz, Q 0.5)", "", rate, lowShelf(100.0, 0.5, 10.0, rate)});
        cases.push_back({"Low tone -10 dB (120 Hz, Q 0.5)", "", rate, lowShelf(120.0, 0.5, -10.0, rate)});
        cases.push_back({"High-pass at 80 Hz: second-order 75 Hz", "", rate, highPass2(75.0, 0.707, rate)});
        cases.push_back({"High-pass at 300 Hz: first-order 320 Hz", "", rate, highPass1(320.0, rate)});
        cases.push_back({"High-pass at 80 + 300 Hz: second-order 100 Hz", "", rate, highPass2(100.0, 0.707, rate)});
        cases.push_back({"High-pass at 80 + 300 Hz: first-order 250 Hz", "", rate, highPass1(250.0, rate)});
    }
    for (Case& item : cases)
        item.mName = item.mGroup + ", " + rateName(item.mSampleRate);
    return cases;
}

Section cookbook(const Section& inOurs, double inSampleRate)
{
    Section plain = inOurs;
    const double centre = 2.0 * std::numbers::pi * inOurs.mCentreHz;
    const double k = centre / std::tan(centre / (2.0 * inSampleRate));
    const double* a = inOurs.mAnalog;
    if (inOurs.mOrder == 1)
        dsp::bilinearOrder1(a[0], a[1], a[2], a[3], k, plain.mDigital);
    else
        dsp::bilinearOrder2(a[0], a[1], a[2], a[3], a[4], a[5], k, plain.mDigital);
    return plain;
}

double analogDecibels(const Section& inSection, double inHertz)
{
    const std::complex<double> s(0.0, 2.0 * std::numbers::pi * inHertz);
    const double* a = inSection.mAnalog;
    if (inSection.mOrder == 1)
        return decibels((a[0] * s + a[1]) / (a[2] * s + a[3]));
    return decibels(((a[0] * s + a[1]) * s + a[2]) / ((a[3] * s + a[4]) * s + a[5]));
}

double digitalDecibels(const Section& inSection, double inHertz, double inSampleRate)
{
    const std::complex<double> z = std::polar(1.0, -2.0 * std::numbers::pi * inHertz / inSampleRate); // z^-1
    const double* d = inSection.mDigital;
    if (inSection.mOrder == 1)
        return decibels((d[0] + d[1] * z) / (d[2] + d[3] * z));
    return decibels((d[0] + (d[1] + d[2] * z) * z) / (d[3] + (d[4] + d[5] * z) * z));
}

double largestDeviation(const Section& inSection, double inSampleRate)
{
    double largest = 0.0;
    for (int i = 0; i < kGridPoints; ++i) {
        const double f = kLowestHz * std::pow(kHighestHz / kLowestHz, double(i) / (kGridPoints - 1));
        largest = std::max(largest, std::fabs(digitalDecibels(inSection, f, inSampleRate) - analogDecibels(inSection, f)));
    }
    return largest;
}

} // namespace fidelity
