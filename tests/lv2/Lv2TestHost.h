#pragma once

// A small lilv host for the bundle under test, and the same renders made
// with the engine linked directly, for comparison sample by sample.

#include <lilv/lilv.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace lv2test {

using Audio = std::vector<std::vector<float>>; // [channel][frame]

inline constexpr unsigned long long kSeed = 20240611;
inline constexpr int kSampleRate = 48000;
inline constexpr const char* kStereoUri = "urn:q38:preamp:stereo";
inline constexpr const char* kMonoUri = "urn:q38:preamp:mono";

// Tones and a little noise, different on each channel.
Audio testSignal(int inNumChannels, std::size_t inNumFrames);

// A value set from a frame on: a port symbol's port value for the plugin, a
// parameter id's normalized value for the engine. Hosts change controls
// between run() calls, so a change applies from the first run starting at or
// after its frame; changes at frame 0 are the settings of the whole render.
template <typename Key> struct Change
{
    std::size_t mFrame;
    Key mKey;
    float mValue;
};
using Controls = std::vector<Change<std::string>>;
using Parameters = std::vector<Change<int>>;

class TestHost
{
public:
    TestHost(); // loads the bundle of the build tree only and fixes the hiss seed
    ~TestHost();

    const LilvPlugin* plugin(const char* inUri);
    const LilvNode* uri(const std::string& inUri); // lives as long as the host

    // Runs inInput through a fresh, activated instance in runs of inBlockSize
    // frames; controls not named keep the port defaults.
    Audio render(const char* inPluginUri, const Audio& inInput, std::uint32_t inBlockSize, const Controls& inControls,
                 float* outMeters = nullptr);

private:
    LilvWorld* mWorld;
    std::map<std::string, LilvNode*> mNodes;
};

// The engine of q38_static with the same seed, parameters set after the
// sample rate, and each host run cut into blocks of at most 32 as the plugin does.
Audio renderEngine(const Audio& inInput, std::size_t inHostBlock, const Parameters& inParameters,
                   float* outMeters = nullptr);

} // namespace lv2test
