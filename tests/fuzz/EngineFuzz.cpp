// A hostile host, at random: all thirteen operations of the engine with
// random ids, values, rates, channel counts, block sizes and samples. A twin
// engine gets the same calls as a careful host would make them. After every
// process every output sample must be finite and every meter in 0..1, and as
// long as the two have heard the same, their outputs are equal bit for bit.
// Bad samples come in storms. In a short one (at most 2 ms of bad samples)
// the twin hears the ordinary signal in their place, and 50 ms after the
// last bad sample the output must have the twin's level within 0.5 dB; in a
// long one it hears silence, as the model does, and the two stay equal.

#include "Q38Engine.h"
#include "Q38EngineHooks.h"
#include "core/core_Assert.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <bit>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <iostream>
#include <limits>
#include <memory>
#include <random>
#include <sstream>
#include <string>

namespace {

constexpr int kHostChannels = 3;  // one more than the engine takes
constexpr int kHostSamples = 40;  // more than a block
constexpr float kNan = std::numeric_limits<float>::quiet_NaN(), kInf = std::numeric_limits<float>::infinity();
constexpr float kMax = std::numeric_limits<float>::max();

// An ordinary signal per channel: a sine, noise, silence or denormals, at
// ordinary levels or, between storms, hot up to the engine's input limit.
struct Source
{
    enum Kind { kSine, kNoise, kSilence, kDenormal } mKind = kSine;
    double mAmplitude = 0.5, mPhase = 0.0, mStep = 0.05;

    float next(std::mt19937_64& ioRandom)
    {
        std::uniform_real_distribution<double> unit(-1.0, 1.0);
        switch (mKind) {
        case kSine: return static_cast<float>(mAmplitude * std::sin(mPhase += mStep));
        case kNoise: return static_cast<float>(mAmplitude * unit(ioRandom));
        case kSilence: return (ioRandom() & 1) ? 0.0f : -0.0f;
        case kDenormal: return static_cast<float>(1e-40 * unit(ioRandom));
        }
        return 0.0f;
    }
};

template <typename T, std::size_t N> T pick(std::mt19937_64& ioRandom, const T (&inValues)[N])
{
    return inValues[ioRandom() % N];
}

float hostileSample(std::mt19937_64& ioRandom)
{
    const float values[] = {kNan, -kNan, std::bit_cast<float>(0x7F800001u) /* signalling */,
                            std::bit_cast<float>(0xFFC12345u) /* with a payload */, kInf, -kInf, 1e30f, -1e30f,
                            kMax, -kMax, std::nextafter(kQ38InputSampleLimit, kMax),
                            -std::nextafter(kQ38InputSampleLimit, kMax)};
    return pick(ioRandom, values);
}

float randomValue(std::mt19937_64& ioRandom)
{
    const float values[] = {kNan, kInf, -kInf, -5.0f, 5.0f, 1e30f, -0.0f, std::numeric_limits<float>::denorm_min(),
                            1.0000001f, -1e-7f};
    if (ioRandom() % 4 == 0)
        return pick(ioRandom, values);
    return std::uniform_real_distribution<float>(ioRandom() % 3 == 0 ? -0.5f : 0.0f, 1.0f)(ioRandom);
}

int randomRate(std::mt19937_64& ioRandom)
{
    const int rates[] = {0, -1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max(), 1, 7999, 8000,
                         22050, 44100, 48000, 96000, 192000, 384000, 384001, 768000};
    if (ioRandom() % 4 == 0)
        return std::uniform_int_distribution<int>(-1000, 1000000)(ioRandom);
    return pick(ioRandom, rates);
}

int randomId(std::mt19937_64& ioRandom)
{
    return ioRandom() % 8 == 0 ? std::uniform_int_distribution<int>(-3, 20)(ioRandom)
                               : static_cast<int>(ioRandom() % kNumParameters);
}

class Fuzz
{
public:
    explicit Fuzz(std::uint64_t inSeed)
        : mSeed(inSeed), mRandom(inSeed), mHostile(createQ38Engine()), mTwin(createQ38Engine())
    {
        for (Q38Engine* engine : {mHostile.get(), mTwin.get()})
            q38FixHissSeed(engine, inSeed);
    }

    void run(long inOperations)
    {
        while (mOperations < inOperations) {
            const long rate = std::max(mRate, kQ38MinSampleRate);
            // A storm meets an engine that has run for 100 ms since its
            // reset, past the glides that every reset starts.
            if (mPhase == kCalm && mPhaseSamples > mCalmLength && mSinceReset > rate / 10) {
                startStorm();
            } else if (mPhase == kStorm && mOperations >= mStormEnd) {
                mPhase = kRecovery;
            } else if (mPhase == kRecovery && (mSinceBad < 0 || mPhaseSamples > rate)) {
                // The slow memories of the model keep a trace of every storm:
                // the next one starts from equal engines again.
                if (mRandom() % 8 == 0) {
                    renew();
                } else if (mDiverged && mRate != 0) {
                    ++mOperations;
                    for (Q38Engine* engine : {mHostile.get(), mTwin.get()})
                        engine->setSampleRate(mRate);
                    mDiverged = false;
                    mSinceReset = 0;
                }
                mPhase = kCalm;
                mPhaseSamples = 0;
                mCalmLength = static_cast<long>(mRandom() % (rate / 2));
                for (Source& source : mSources)
                    pickSource(source, true);
            }
            step();
        }
    }

    void report(std::ostream& ioStream, double inSeconds) const
    {
        ioStream << mOperations << " operations: " << mProcessCalls << " process calls on " << mSamples
                 << " sample frames with " << mHostileSamples << " bad samples, " << mRateCalls << " sample rates ("
                 << mRatesRefused << " refused), " << mRenewals << " engines renewed, " << mNotices << " reports; "
                 << mRecoveryChecks << " recoveries checked, the largest level difference 50 ms after a bad sample "
                 << mWorstRecovery << " dB; " << inSeconds << " s\n";
    }

    long mNotices = 0;

private:
    // Half of the operations process, a fifth set a parameter, the rest query
    // or, rarely, reset the parameters or set a rate.
    void step()
    {
        ++mOperations;
        const unsigned kind = mRandom() % 1000;
        if (kind < 500) {
            process();
        } else if (kind < 700) {
            const int id = randomId(mRandom);
            const float value = randomValue(mRandom);
            mHostile->setParameter(id, value);
            // A careful host sends valid ids and values only.
            if (id >= 0 && id < kNumParameters && !std::isnan(value))
                mTwin->setParameter(id, std::clamp(value, 0.0f, 1.0f));
        } else if (kind < 702) {
            const int rate = randomRate(mRandom);
            ++mRateCalls;
            mHostile->setSampleRate(rate);
            if (rate < kQ38MinSampleRate || rate > kQ38MaxSampleRate) {
                ++mRatesRefused;
                return;
            }
            mTwin->setSampleRate(rate);
            // Both start afresh with the same hiss: whatever came before is gone.
            mRate = rate;
            mSinceBad = -1;
            mDiverged = false;
            mSinceReset = 0;
        } else if (kind < 712) {
            mHostile->resetParameters();
            mTwin->resetParameters();
        } else {
            query(mRandom() % 9);
        }
    }

    // Both engines deleted and made anew, with the twin's parameters and the rate.
    void renew()
    {
        float parameters[kNumParameters];
        for (int id = 0; id < kNumParameters; ++id)
            parameters[id] = mTwin->getParameterValue(id);
        for (std::unique_ptr<Q38Engine>* engine : {&mHostile, &mTwin}) {
            engine->reset(createQ38Engine());
            q38FixHissSeed(engine->get(), mSeed);
            for (int id = 0; id < kNumParameters; ++id)
                (*engine)->setParameter(id, parameters[id]);
            if (mRate != 0)
                (*engine)->setSampleRate(mRate);
        }
        mOperations += 2 + kNumParameters + (mRate != 0);
        ++mRenewals;
        mDiverged = false;
        mSinceReset = 0;
    }

    void startStorm()
    {
        mPhase = kStorm;
        mPhaseSamples = 0;
        mStormEnd = mOperations + 1 + static_cast<long>(mRandom() % 400);
        mBadProbability = std::pow(10.0, -3.0 * std::uniform_real_distribution<double>(0.0, 1.0)(mRandom));
        mSilentTwin = mRandom() % 3 == 0;
        mBadBudget = mSilentTwin ? std::numeric_limits<long>::max()
                                 : 1 + static_cast<long>(mRandom() % (1 + std::max(mRate, kQ38MinSampleRate) / 500));
        for (Source& source : mSources)
            pickSource(source, false);
    }

    void pickSource(Source& outSource, bool inHot)
    {
        outSource.mKind = static_cast<Source::Kind>(mRandom() % 4);
        // Hot signals only in calm stretches: a bad sample in place of a hot
        // one is a click that the model itself rings on.
        const double top = inHot && mRandom() % 4 == 0 ? std::log10(kQ38InputSampleLimit) : 0.0;
        outSource.mAmplitude = std::pow(10.0, std::uniform_real_distribution<double>(-4.0, top)(mRandom));
        outSource.mStep = std::uniform_real_distribution<double>(0.001, 1.0)(mRandom);
    }

    void checkMeter(int inMeter)
    {
        const float reading = mHostile->getMeterValue(inMeter);
        if (!(reading >= 0.0f && reading <= 1.0f))
            fail("meter " + std::to_string(inMeter) + " reads " + std::to_string(reading));
    }

    void query(unsigned inKind)
    {
        const int id = randomId(mRandom);
        const float value = randomValue(mRandom);
        char text[64];
        const int length = std::uniform_int_distribution<int>(-2, 40)(mRandom);
        switch (inKind) {
        case 0: {
            const float stored = mHostile->getParameterValue(id);
            if (id >= 0 && id < kNumParameters && !(stored >= 0.0f && stored <= 1.0f && stored == mTwin->getParameterValue(id)))
                fail("stored value " + std::to_string(stored) + " of id " + std::to_string(id));
            break;
        }
        case 1: mHostile->getParameterUnit(id, text, length); break;
        case 2: mHostile->getPhysicalValue(id, value); break;
        case 3: mHostile->getPhysicalValue(id); break;
        case 4: mHostile->getValueText(id, value, text, length); break;
        case 5: mHostile->getValueText(id, text, length); break;
        case 6: mHostile->getParameterName(id, text, length); break;
        default:
            checkMeter(mRandom() % 4 == 0 ? std::uniform_int_distribution<int>(-2, 4)(mRandom)
                                          : static_cast<int>(mRandom() % kNumMeters));
        }
    }

    void process()
    {
        // Mostly what a host does, now and then a count the engine refuses.
        int channels = 1 + static_cast<int>(mRandom() % 2);
        int samples = 1 + static_cast<int>(mRandom() % kQ38MaxBufferSize);
        if (mRandom() % 50 == 0)
            channels = std::uniform_int_distribution<int>(-1, kHostChannels)(mRandom);
        if (mRandom() % 50 == 0)
            samples = std::uniform_int_distribution<int>(-2, kHostSamples)(mRandom);
        const int doneChannels = std::clamp(channels, 0, kQ38MaxNumChannels);
        const int done = channels < 1 ? 0 : std::clamp(samples, 0, kQ38MaxBufferSize);

        float hostile[kHostChannels][kHostSamples], ordinary[kHostChannels][kHostSamples];
        float hostileOut[kHostChannels][kHostSamples], twinOut[kHostChannels][kHostSamples];
        const float *hostileIns[kHostChannels], *twinIns[kHostChannels];
        float *hostileOuts[kHostChannels], *twinOuts[kHostChannels];
        bool bad = false;
        for (int c = 0; c < kHostChannels; ++c) {
            hostileIns[c] = hostile[c], twinIns[c] = ordinary[c], hostileOuts[c] = hostileOut[c], twinOuts[c] = twinOut[c];
            for (int i = 0; i < kHostSamples; ++i) {
                ordinary[c][i] = hostile[c][i] = mSources[c % 2].next(mRandom);
                if (mPhase == kStorm && mBadBudget > 0 && c < doneChannels && i < done
                    && std::uniform_real_distribution<double>(0.0, 1.0)(mRandom) < mBadProbability) {
                    hostile[c][i] = hostileSample(mRandom);
                    if (mSilentTwin)
                        ordinary[c][i] = 0.0f;
                    else
                        mDiverged = true;
                    bad = true;
                    --mBadBudget;
                    ++mHostileSamples;
                }
            }
        }
        mHostile->process(hostileIns, hostileOuts, channels, samples);
        // A careful host sends what the engine takes of a bad count.
        if (doneChannels > 0 && done > 0)
            mTwin->process(twinIns, twinOuts, doneChannels, done);
        ++mProcessCalls;
        mSinceReset += done;
        mSamples += done;

        for (int c = 0; c < doneChannels; ++c)
            for (int i = 0; i < done; ++i)
                if (!std::isfinite(hostileOut[c][i]))
                    fail("output sample " + std::to_string(i) + " of channel " + std::to_string(c) + " is not finite");
        for (int m = 0; m < kNumMeters; ++m)
            checkMeter(m);
        trackRecovery(hostileOut, twinOut, doneChannels, done, bad);
    }

    // From the last bad sample on, counts samples; from 50 ms on it sums both
    // levels over 10 ms, then compares them once.
    void trackRecovery(const float (&inHostile)[kHostChannels][kHostSamples],
                       const float (&inTwin)[kHostChannels][kHostSamples], int inChannels, int inSamples, bool inBad)
    {
        mPhaseSamples += inSamples;
        // Until a short storm sets them apart, the two engines have heard the
        // same: their outputs are equal but for blocks with a bad sample.
        for (int c = 0; c < inChannels && !mDiverged && !inBad; ++c)
            for (int i = 0; i < inSamples; ++i)
                if (std::bit_cast<std::uint32_t>(inHostile[c][i]) != std::bit_cast<std::uint32_t>(inTwin[c][i]))
                    fail("channel " + std::to_string(c) + " differs from the twin's");
        if (inBad) {
            mSinceBad = 0;
            std::fill_n(&mEnergy[0][0], 4, 0.0);
            return;
        }
        if (mSinceBad < 0 || mRate == 0)
            return;
        const long recovery = std::lround(0.05 * mRate), window = std::lround(0.01 * mRate);
        for (int i = 0; i < inSamples; ++i, ++mSinceBad)
            for (int c = 0; c < inChannels && mSinceBad >= recovery && mSinceBad < recovery + window; ++c) {
                mEnergy[0][c] += static_cast<double>(inTwin[c][i]) * inTwin[c][i];
                mEnergy[1][c] += static_cast<double>(inHostile[c][i]) * inHostile[c][i];
            }
        if (mSinceBad < recovery + window)
            return;
        // Each channel within 0.5 dB of the louder channel's level (no less
        // than -80 dBFS): the matrices may carry a little of one channel's
        // storm into the other.
        const double twin[2] = {std::sqrt(mEnergy[0][0] / window), std::sqrt(mEnergy[0][1] / window)};
        const double reference = std::max({twin[0], twin[1], 1e-4});
        for (int c = 0; c < kQ38MaxNumChannels; ++c) {
            const double difference = 20.0 * std::log10(1.0 + std::fabs(std::sqrt(mEnergy[1][c] / window) - twin[c]) / reference);
            mWorstRecovery = std::max(mWorstRecovery, difference);
            if (!(difference <= 0.5))
                fail("50 ms after a bad sample channel " + std::to_string(c) + " is " + std::to_string(difference)
                     + " dB off the twin's level of " + std::to_string(twin[c]));
        }
        ++mRecoveryChecks;
        mSinceBad = -1;
    }

    [[noreturn]] void fail(const std::string& inWhat)
    {
        std::ostringstream text;
        text << "operation " << mOperations << ": " << inWhat << " (rate " << mRate << ", parameters";
        for (int id = 0; id < kNumParameters; ++id)
            text << " " << mTwin->getParameterValue(id);
        text << ", signal amplitudes " << mSources[0].mAmplitude << " " << mSources[1].mAmplitude << ")";
        throw std::runtime_error(text.str());
    }

    std::uint64_t mSeed;
    std::mt19937_64 mRandom;
    std::unique_ptr<Q38Engine> mHostile, mTwin;
    Source mSources[2];
    int mRate = 0;  // the rate both engines run at; 0 before the first accepted one
    enum Phase { kCalm, kStorm, kRecovery } mPhase = kCalm;
    long mPhaseSamples = 0, mCalmLength = 0, mStormEnd = 0;
    double mBadProbability = 0.0;
    bool mSilentTwin = false;  // the twin hears silence where the hostile host sent bad samples
    bool mDiverged = false;    // the twin heard ordinary samples for bad ones since the last common reset
    long mSinceReset = 0;      // samples since the last common reset
    long mBadBudget = 0;
    long mSinceBad = -1;  // samples since the last bad one; -1 when nothing is to be checked
    double mEnergy[2][2] = {};  // twin's, hostile's; per channel
    double mWorstRecovery = 0.0;  // dB
    long mOperations = 0, mProcessCalls = 0, mSamples = 0, mHostileSamples = 0;
    long mRateCalls = 0, mRatesRefused = 0, mRecoveryChecks = 0, mRenewals = 0;
};

} // namespace

int main(int argc, char** argv)
{
    long operations = 300000;
    std::uint64_t seed = 1;
    CLI::App app("Feeds the engine random sequences of hostile operations.");
    app.add_option("--operations", operations, "How many operations to run")->capture_default_str();
    app.add_option("--seed", seed, "Seed of the sequence")->capture_default_str();
    CLI11_PARSE(app, argc, argv);

    const auto start = std::chrono::steady_clock::now();
    Fuzz fuzz(seed);
    // The reports are expected by the thousand: counted, not shown.
    core::setNoticeHandler([&](const core::AssertionNotice&) { ++fuzz.mNotices; });
    try {
        fuzz.run(operations);
    } catch (const std::runtime_error& failure) {
        std::cerr << "seed " << seed << ", " << failure.what() << "\n";
        return 1;
    }
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    std::cout << "seed " << seed << ": ";
    fuzz.report(std::cout, elapsed.count());
    return 0;
}
