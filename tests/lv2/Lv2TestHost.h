#pragma once

// A small lilv host for the bundle under test, and the same renders made
// with the engine linked directly, for comparison sample by sample.

#include "Q38EngineHooks.h"
#include "host_OversampledEngine.h"

#include <gtest/gtest.h>
#include <lilv/lilv.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <numbers>
#include <string>
#include <vector>

namespace lv2test {

using Audio = std::vector<std::vector<float>>; // [channel][frame]

inline constexpr unsigned long long kSeed = 20240611;
inline constexpr int kSampleRate = 48000;
inline constexpr const char* kStereoUri = "urn:q38:preamp:stereo";
inline constexpr const char* kMonoUri = "urn:q38:preamp:mono";

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

// Tones and a little noise, different on each channel.
inline Audio testSignal(int inNumChannels, std::size_t inNumFrames)
{
    Audio audio(static_cast<std::size_t>(inNumChannels), std::vector<float>(inNumFrames));
    std::uint32_t noise = 12345;
    for (std::size_t i = 0; i < inNumFrames; ++i) {
        const double t = 2.0 * std::numbers::pi * static_cast<double>(i) / kSampleRate;
        for (int c = 0; c < inNumChannels; ++c) {
            noise = noise * 1664525u + 1013904223u;
            audio[std::size_t(c)][i] = static_cast<float>(0.3 * std::sin((220.0 + 110.0 * c) * t + c) +
                                                          0.05 * std::sin(3100.0 * t) + 0.02 * (noise / 0x1p32 - 0.5));
        }
    }
    return audio;
}

class TestHost
{
public:
    // Loads the bundle of the build tree only and fixes the hiss seed.
    TestHost() : mWorld(lilv_world_new())
    {
        setenv("Q38_HISS_SEED", std::to_string(kSeed).c_str(), 1);
        LilvNode* bundle = lilv_new_file_uri(mWorld, nullptr, Q38_LV2_BUNDLE_DIR "/");
        lilv_world_load_bundle(mWorld, bundle);
        lilv_node_free(bundle);
    }
    ~TestHost()
    {
        for (auto& [text, node] : mNodes)
            lilv_node_free(node);
        lilv_world_free(mWorld);
    }

    LilvWorld* world() { return mWorld; }
    const LilvPlugin* plugin(const char* inUri)
    {
        return lilv_plugins_get_by_uri(lilv_world_get_all_plugins(mWorld), uri(inUri));
    }

    const LilvNode* uri(const std::string& inUri) // lives as long as the host
    {
        LilvNode*& node = mNodes[inUri];
        if (node == nullptr)
            node = lilv_new_uri(mWorld, inUri.c_str());
        return node;
    }

    // Runs inInput through a fresh, activated instance in runs of inBlockSize
    // frames; controls not named keep the port defaults. Every control port's
    // value at the end is left in mPortValues.
    Audio render(const char* inPluginUri, const Audio& inInput, std::uint32_t inBlockSize, const Controls& inControls,
                 float* outMeters = nullptr, double inSampleRate = kSampleRate)
    {
        const LilvPlugin* plugin = this->plugin(inPluginUri);
        LilvInstance* instance = plugin ? lilv_plugin_instantiate(plugin, inSampleRate, nullptr) : nullptr;
        if (instance == nullptr) {
            ADD_FAILURE() << "cannot instantiate " << inPluginUri;
            return {};
        }
        const std::uint32_t numPorts = lilv_plugin_get_num_ports(plugin);
        std::vector<float> values(numPorts);
        lilv_plugin_get_port_ranges_float(plugin, nullptr, nullptr, values.data());
        std::map<std::string, float*> bySymbol;
        for (std::uint32_t p = 0; p < numPorts; ++p) {
            const LilvPort* port = lilv_plugin_get_port_by_index(plugin, p);
            bySymbol[lilv_node_as_string(lilv_port_get_symbol(plugin, port))] = &values[p];
        }

        const std::uint32_t channels = std::uint32_t(inInput.size());
        const std::size_t frames = inInput[0].size();
        Audio output(channels, std::vector<float>(frames));
        std::vector<std::uint32_t> audio; // inputs first
        for (std::uint32_t p = 0; p < numPorts; ++p) {
            if (lilv_port_is_a(plugin, lilv_plugin_get_port_by_index(plugin, p), uri(LILV_URI_AUDIO_PORT)))
                audio.push_back(p);
            else
                lilv_instance_connect_port(instance, p, &values[p]);
        }
        lilv_instance_activate(instance);
        auto change = inControls.begin();
        for (std::size_t start = 0; start < frames; start += inBlockSize) {
            for (; change != inControls.end() && change->mFrame <= start; ++change)
                *bySymbol.at(change->mKey) = change->mValue;
            // The host's buffers move on: a run may only touch its own frames.
            for (std::uint32_t c = 0; c < channels; ++c) {
                lilv_instance_connect_port(instance, audio[c], const_cast<float*>(inInput[c].data() + start));
                lilv_instance_connect_port(instance, audio[channels + c], output[c].data() + start);
            }
            lilv_instance_run(instance, std::uint32_t(std::min<std::size_t>(inBlockSize, frames - start)));
        }
        if (outMeters != nullptr)
            std::copy_n(values.begin() + kNumParameters, kNumMeters, outMeters);
        for (auto& [symbol, value] : bySymbol)
            mPortValues[symbol] = *value;
        lilv_instance_deactivate(instance);
        lilv_instance_free(instance);
        return output;
    }

    std::map<std::string, float> mPortValues;

private:
    LilvWorld* mWorld;
    std::map<std::string, LilvNode*> mNodes;
};

// The engine of q38_static with the same seed at inFactor times the rate (at
// 1 the engine itself), parameters set after the sample rate, and each host
// run cut into blocks of at most 32 as the plugin does.
inline Audio renderEngine(const Audio& inInput, std::size_t inHostBlock, const Parameters& inParameters,
                          float* outMeters = nullptr, int inFactor = 1)
{
    host::OversampledEngine engine;
    q38FixHissSeed(&engine.engine(), kSeed);
    engine.setSampleRate(kSampleRate, inFactor);
    const int channels = static_cast<int>(inInput.size());
    const std::size_t frames = inInput[0].size();
    Audio output(inInput.size(), std::vector<float>(frames));
    auto change = inParameters.begin();
    for (std::size_t run = 0; run < frames; run += inHostBlock) {
        for (; change != inParameters.end() && change->mFrame <= run; ++change)
            engine.engine().setParameter(change->mKey, change->mValue);
        const std::size_t runEnd = std::min(frames, run + inHostBlock);
        for (std::size_t start = run; start < runEnd; start += kQ38MaxBufferSize) {
            const float* in[2] = {inInput[0].data() + start, inInput[channels - 1].data() + start};
            float* out[2] = {output[0].data() + start, output[channels - 1].data() + start};
            engine.process(in, out, channels, int(std::min<std::size_t>(kQ38MaxBufferSize, runEnd - start)));
        }
    }
    for (int m = 0; outMeters != nullptr && m < kNumMeters; ++m)
        outMeters[m] = engine.meter(m);
    return output;
}

} // namespace lv2test
