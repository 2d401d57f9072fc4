#pragma once

// A small lilv host for the bundle under test, and the same renders made
// with the engine linked directly, for comparison sample by sample.

#include <lilv/lilv.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace lv2test {

using Audio = std::vector<std::vector<float>>;  // [channel][frame]

inline constexpr unsigned long long kSeed = 20240611;
inline constexpr int kSampleRate = 48000;
inline constexpr const char* kStereoUri = "urn:q38:preamp:stereo";
inline constexpr const char* kMonoUri = "urn:q38:preamp:mono";

// Two channels of tones and noise at moderate levels, different per channel.
Audio testSignal(int inNumChannels, std::size_t inNumFrames);

// A control port value set from the frame on; hosts change controls between
// run() calls, so it applies from the first run that starts at or after it.
struct ControlChange
{
    std::size_t mFrame;
    std::string mSymbol;
    float mValue;
};

// The same for the engine: a normalized value from a frame on.
struct ParameterChange
{
    std::size_t mFrame;
    int mParameterId;
    float mNormalizedValue;
};

struct Meters
{
    float mValues[2];
};

class TestHost
{
public:
    TestHost();  // loads the bundle of the build tree only, fixes the hiss seed
    ~TestHost();
    TestHost(const TestHost&) = delete;
    TestHost& operator=(const TestHost&) = delete;

    LilvWorld* world() const { return mWorld; }
    const LilvPlugin* plugin(const char* inUri) const;
    // A node that lives as long as the host.
    const LilvNode* uri(const std::string& inUri);

    // Runs inInput through a fresh, activated instance in runs of inBlockSize
    // frames. Controls not named keep the port defaults.
    Audio render(const char* inPluginUri, const Audio& inInput, std::uint32_t inBlockSize,
                 const std::map<std::string, float>& inControls, const std::vector<ControlChange>& inChanges = {},
                 Meters* outMeters = nullptr);

private:
    LilvWorld* mWorld;
    std::map<std::string, LilvNode*> mNodes;
};

// The engine from q38_static with the same seed, parameters set after the
// sample rate, and the host's runs of inHostBlock frames cut into blocks of
// at most 32 as the plugin does.
Audio renderEngine(const Audio& inInput, std::size_t inHostBlock, const std::map<int, float>& inParameters,
                   const std::vector<ParameterChange>& inChanges = {}, Meters* outMeters = nullptr);

} // namespace lv2test
