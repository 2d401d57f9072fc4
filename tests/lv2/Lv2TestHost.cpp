#include "Lv2TestHost.h"

#include "Q38Engine.h"
#include "Q38EngineHooks.h"

#include <lv2/core/lv2.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <numbers>

namespace lv2test {

Audio testSignal(int inNumChannels, std::size_t inNumFrames)
{
    Audio audio(static_cast<std::size_t>(inNumChannels), std::vector<float>(inNumFrames));
    std::uint32_t noise = 12345;
    for (std::size_t i = 0; i < inNumFrames; ++i) {
        const double t = static_cast<double>(i) / kSampleRate;
        for (int c = 0; c < inNumChannels; ++c) {
            noise = noise * 1664525u + 1013904223u;
            const double tone = std::sin(2.0 * std::numbers::pi * (220.0 + 110.0 * c) * t + c);
            const double high = std::sin(2.0 * std::numbers::pi * 3100.0 * t);
            const double white = static_cast<double>(noise) / 4294967296.0 - 0.5;
            audio[static_cast<std::size_t>(c)][i] = static_cast<float>(0.3 * tone + 0.05 * high + 0.02 * white);
        }
    }
    return audio;
}

TestHost::TestHost()
    : mWorld(lilv_world_new())
{
    setenv("Q38_HISS_SEED", std::to_string(kSeed).c_str(), 1);
    LilvNode* bundle = lilv_new_file_uri(mWorld, nullptr, Q38_LV2_BUNDLE_DIR "/");
    lilv_world_load_bundle(mWorld, bundle);
    lilv_node_free(bundle);
}

TestHost::~TestHost()
{
    for (auto& [text, node] : mNodes)
        lilv_node_free(node);
    lilv_world_free(mWorld);
}

const LilvPlugin* TestHost::plugin(const char* inUri) const
{
    LilvNode* uri = lilv_new_uri(mWorld, inUri);
    const LilvPlugin* plugin = lilv_plugins_get_by_uri(lilv_world_get_all_plugins(mWorld), uri);
    lilv_node_free(uri);
    return plugin;
}

const LilvNode* TestHost::uri(const std::string& inUri)
{
    LilvNode*& node = mNodes[inUri];
    if (node == nullptr)
        node = lilv_new_uri(mWorld, inUri.c_str());
    return node;
}

Audio TestHost::render(const char* inPluginUri, const Audio& inInput, std::uint32_t inBlockSize,
                       const std::map<std::string, float>& inControls, const std::vector<ControlChange>& inChanges,
                       Meters* outMeters)
{
    const LilvPlugin* plugin = this->plugin(inPluginUri);
    if (plugin == nullptr) {
        ADD_FAILURE() << "no plugin " << inPluginUri;
        return {};
    }
    const std::uint32_t numPorts = lilv_plugin_get_num_ports(plugin);
    std::vector<float> values(numPorts);
    lilv_plugin_get_port_ranges_float(plugin, nullptr, nullptr, values.data());
    const auto portIndex = [&](const std::string& inSymbol) {
        LilvNode* symbol = lilv_new_string(mWorld, inSymbol.c_str());
        const LilvPort* port = lilv_plugin_get_port_by_symbol(plugin, symbol);
        lilv_node_free(symbol);
        if (port == nullptr)
            throw std::runtime_error("no port " + inSymbol);
        return lilv_port_get_index(plugin, port);
    };
    for (const auto& [symbol, value] : inControls)
        values[portIndex(symbol)] = value;

    LilvInstance* instance = lilv_plugin_instantiate(plugin, kSampleRate, nullptr);
    if (instance == nullptr) {
        ADD_FAILURE() << "cannot instantiate " << inPluginUri;
        return {};
    }
    const std::size_t channels = inInput.size();
    const std::size_t frames = inInput[0].size();
    Audio output(channels, std::vector<float>(frames));
    const std::uint32_t firstAudio = numPorts - 2 * static_cast<std::uint32_t>(channels);
    for (std::uint32_t p = 0; p < firstAudio; ++p)
        lilv_instance_connect_port(instance, p, &values[p]);
    lilv_instance_activate(instance);

    std::size_t nextChange = 0;
    for (std::size_t start = 0; start < frames; start += inBlockSize) {
        for (; nextChange < inChanges.size() && inChanges[nextChange].mFrame <= start; ++nextChange)
            values[portIndex(inChanges[nextChange].mSymbol)] = inChanges[nextChange].mValue;
        for (std::size_t c = 0; c < channels; ++c) {
            // The host's buffers: a run may only read and write its own frames.
            lilv_instance_connect_port(instance, firstAudio + static_cast<std::uint32_t>(c),
                                       const_cast<float*>(inInput[c].data() + start));
            lilv_instance_connect_port(instance, firstAudio + static_cast<std::uint32_t>(channels + c),
                                       output[c].data() + start);
        }
        lilv_instance_run(instance, static_cast<std::uint32_t>(std::min<std::size_t>(inBlockSize, frames - start)));
    }
    if (outMeters != nullptr)
        for (std::uint32_t m = 0; m < 2; ++m)
            outMeters->mValues[m] = values[kNumParameters + m];
    lilv_instance_deactivate(instance);
    lilv_instance_free(instance);
    return output;
}

Audio renderEngine(const Audio& inInput, std::size_t inHostBlock, const std::map<int, float>& inParameters,
                   const std::vector<ParameterChange>& inChanges, Meters* outMeters)
{
    const std::unique_ptr<Q38Engine> engine(createQ38Engine());
    q38FixHissSeed(engine.get(), kSeed);
    engine->setSampleRate(kSampleRate);
    for (const auto& [id, value] : inParameters)
        engine->setParameter(id, value);

    const int channels = static_cast<int>(inInput.size());
    const std::size_t frames = inInput[0].size();
    Audio output(inInput.size(), std::vector<float>(frames));
    std::size_t nextChange = 0;
    for (std::size_t run = 0; run < frames; run += inHostBlock) {
        for (; nextChange < inChanges.size() && inChanges[nextChange].mFrame <= run; ++nextChange)
            engine->setParameter(inChanges[nextChange].mParameterId, inChanges[nextChange].mNormalizedValue);
        const std::size_t runEnd = std::min(frames, run + inHostBlock);
        for (std::size_t start = run; start < runEnd; start += kQ38MaxBufferSize) {
            const float* in[2] = {};
            float* out[2] = {};
            for (int c = 0; c < channels; ++c) {
                in[c] = inInput[static_cast<std::size_t>(c)].data() + start;
                out[c] = output[static_cast<std::size_t>(c)].data() + start;
            }
            engine->process(in, out, channels, static_cast<int>(std::min<std::size_t>(kQ38MaxBufferSize, runEnd - start)));
        }
    }
    if (outMeters != nullptr)
        for (int m = 0; m < kNumMeters; ++m)
            outMeters->mValues[m] = engine->getMeterValue(m);
    return output;
}

} // namespace lv2test
