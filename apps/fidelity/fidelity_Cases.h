#pragma once

// The cases of q38_fidelity: each a design of the library with the analog
// target it matches, and how far the digital magnitude strays from that target.

#include <string>
#include <vector>

namespace fidelity {

constexpr double kLowestHz = 20.0;
constexpr double kHighestHz = 20000.0;

// A first- or second-order section: its digital coefficients (b0, b1 [, b2],
// a0, a1 [, a2]), its analog target (falling powers of s) and the frequency a
// plain bilinear transform would be prewarped at.
struct Section
{
    int mOrder = 2;
    double mDigital[6] = {};
    double mAnalog[6] = {};
    double mCentreHz = 1000.0;
};

struct Case
{
    std::string mGroup; // "listed" or the engine design's name
    std::string mName;
    double mSampleRate;
    Section mOurs;
};

std::vector<Case> listedCases();
std::vector<Case> engineCases();

// The same target through the bilinear transform prewarped at the centre
// frequency: what the common cookbook formulas compute.
Section cookbook(const Section& inOurs, double inSampleRate);

double analogDecibels(const Section& inSection, double inHertz);
double digitalDecibels(const Section& inSection, double inHertz, double inSampleRate);

// The largest |digital - analog| in dB from kLowestHz to kHighestHz.
double largestDeviation(const Section& inSection, double inSampleRate);

} // namespace fidelity
