#pragma once

// Loudness of renders, measured with libebur128: integrated loudness (LUFS)
// and true peak (dBTP) of the input and the output, and --match-loudness,
// which scales the finished output so that its integrated loudness is the
// input's: an A/B comparison then hears the sound, not the level.

#include <cmath>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <ebur128.h>

namespace cli {

class LoudnessMeter
{
public:
    LoudnessMeter(int inChannels, int inSampleRate);
    ~LoudnessMeter();
    LoudnessMeter(const LoudnessMeter&) = delete;
    LoudnessMeter& operator=(const LoudnessMeter&) = delete;

    void add(const float* inInterleaved, long long inFrames);
    // -inf for silence and for less than one 400 ms block.
    double integratedLufs() const;
    // The highest true peak of any channel, in dB; -inf for silence.
    double truePeakDb() const;

private:
    ebur128_state* mState = nullptr;
    int mChannels;
};

struct LoudnessReport
{
    double mInputLufs = -INFINITY;
    double mInputTruePeakDb = -INFINITY;
    double mOutputLufs = -INFINITY;        // of what was written, after any gain
    double mOutputTruePeakDb = -INFINITY;
    bool mMeasured = false;                // false: the figures were not asked for
    bool mMatchAsked = false;
    bool mMatched = false;
    double mGainDb = 0.0;                  // applied by the match
    bool mFixedPoint = false;              // the output's format clips above full scale
};

// Writes interleaved frames on to the output file.
using FrameSink = std::function<void(const float* inInterleaved, long long inFrames)>;

// Sits between a render and its output file. Without matching it meters and
// passes each chunk straight on; with matching it meters and holds the output
// in an unnamed temporary file of floats, and at finish() hands it on scaled.
class LoudnessStage
{
public:
    // inMeasure false and no match: chunks pass straight on, nothing is metered.
    LoudnessStage(int inChannels, int inSampleRate, bool inMeasure, bool inMatch, bool inFixedPoint);
    ~LoudnessStage();
    LoudnessStage(const LoudnessStage&) = delete;
    LoudnessStage& operator=(const LoudnessStage&) = delete;

    void addInput(const float* inInterleaved, long long inFrames);
    void addOutput(float* ioInterleaved, long long inFrames, const FrameSink& inWrite);
    // Throws Error when the held output cannot be read back.
    LoudnessReport finish(const FrameSink& inWrite);

private:
    int mChannels;
    bool mMatch;
    LoudnessReport mReport;
    std::optional<LoudnessMeter> mInput;
    std::optional<LoudnessMeter> mOutput;
    std::FILE* mHeld = nullptr;
};

// The summary's lines, each starting with two spaces: the figures, then the notes.
std::string describeLoudness(const LoudnessReport& inReport);

// What a summary says beside the figures and the gain, one sentence each: why
// a match asked for was not made, and a true peak that a fixed-point output clips.
std::vector<std::string> loudnessNotes(const LoudnessReport& inReport);

// Levels, loudness and true peaks alike: "-18.3", or "-inf" for silence.
std::string formatDecibels(double inDecibels);

} // namespace cli
