// The bundle's presets as a host loads them through lilv: every factory
// preset of q38's table, on the plugins it suits, with port values the plugin
// turns into q38's values, so that both render the same samples.

#include "Lv2TestHost.h"
#include "cli_FactoryPresets.h"
#include "cli_Render.h"
#include "lv2_PortTable.h"

#include <lv2/atom/atom.h>
#include <lv2/presets/presets.h>
#include <lv2/urid/urid.h>
#include <sndfile.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <set>

namespace lv2test {
namespace {

// The smallest URID map lilv's state needs.
LV2_URID mapUri(LV2_URID_Map_Handle inUris, const char* inUri)
{
    auto& uris = *static_cast<std::map<std::string, LV2_URID>*>(inUris);
    return uris.try_emplace(inUri, LV2_URID(uris.size() + 1)).first->second;
}

struct PresetValues
{
    std::map<std::string, float> mPorts; // by symbol
    LV2_URID mFloat = 0;
};

void takePortValue(const char* inSymbol, void* inValues, const void* inValue, uint32_t inSize, uint32_t inType)
{
    auto& values = *static_cast<PresetValues*>(inValues);
    ASSERT_TRUE(inSize == sizeof(float) && inType == values.mFloat) << inSymbol;
    std::memcpy(&values.mPorts[inSymbol], inValue, sizeof(float));
}

// The presets a host lists for a plugin, with their port values, by label.
std::map<std::string, PresetValues> loadPresets(TestHost& ioHost, const char* inPluginUri)
{
    LilvWorld* world = ioHost.world();
    std::map<std::string, LV2_URID> uris;
    LV2_URID_Map map{&uris, mapUri};
    std::map<std::string, PresetValues> presets;
    LilvNodes* related = lilv_plugin_get_related(ioHost.plugin(inPluginUri), ioHost.uri(LV2_PRESETS__Preset));
    LILV_FOREACH (nodes, i, related) {
        const LilvNode* preset = lilv_nodes_get(related, i);
        lilv_world_load_resource(world, preset);
        LilvNode* label = lilv_world_get(world, preset, ioHost.uri("http://www.w3.org/2000/01/rdf-schema#label"), nullptr);
        PresetValues& values = presets[label ? lilv_node_as_string(label) : ""];
        lilv_node_free(label);
        values.mFloat = mapUri(&uris, LV2_ATOM__Float);
        LilvState* state = lilv_state_new_from_world(world, &map, preset);
        EXPECT_NE(state, nullptr);
        if (state)
            lilv_state_emit_port_values(state, takePortValue, &values);
        lilv_state_free(state);
    }
    lilv_nodes_free(related);
    return presets;
}

// The input written as a file, rendered by q38's own render with the preset.
Audio renderWithQ38(const Audio& inInput, const cli::ParameterTable& inTable, const cli::FactoryPreset& inPreset)
{
    const std::filesystem::path folder =
        std::filesystem::path(::testing::TempDir()) / ("q38_presets_" + std::to_string(::getpid()));
    std::filesystem::create_directories(folder);
    const std::size_t channels = inInput.size(), frames = inInput[0].size();
    std::vector<float> interleaved(frames * channels);
    for (std::size_t i = 0; i < interleaved.size(); ++i)
        interleaved[i] = inInput[i % channels][i / channels];
    SF_INFO info{0, kSampleRate, int(channels), SF_FORMAT_WAV | SF_FORMAT_FLOAT, 0, 0};
    SNDFILE* file = sf_open((folder / "in.wav").c_str(), SFM_WRITE, &info);
    sf_writef_float(file, interleaved.data(), sf_count_t(frames));
    sf_close(file);

    cli::RenderJob job;
    job.mInput = folder / "in.wav";
    job.mOutput = folder / "out.wav";
    job.mOverwrite = true;
    job.mSeed = kSeed;
    job.mValues = inTable.apply(cli::loadPreset(inTable, inPreset.mWord));
    cli::render(job);
    file = sf_open(job.mOutput.c_str(), SFM_READ, &info);
    sf_readf_float(file, interleaved.data(), sf_count_t(frames));
    sf_close(file);
    std::filesystem::remove_all(folder);
    Audio output = inInput;
    for (std::size_t i = 0; i < interleaved.size(); ++i)
        output[i % channels][i / channels] = interleaved[i];
    return output;
}

class Presets : public ::testing::TestWithParam<const char*>
{
};

TEST_P(Presets, EveryFactoryPresetLoadsAndSoundsAsInQ38)
{
    TestHost host;
    const bool stereo = GetParam() == std::string(kStereoUri);
    const std::map<std::string, PresetValues> presets = loadPresets(host, GetParam());
    const cli::ParameterTable table;
    const std::unique_ptr<Q38Engine> engine(createQ38Engine());
    const Audio input = testSignal(stereo ? 2 : 1, 6000);
    std::set<std::string> expectedLabels;
    for (const cli::FactoryPreset& factory : cli::factoryPresets()) {
        if (factory.mStereoOnly && !stereo)
            continue;
        SCOPED_TRACE(factory.mWord);
        expectedLabels.insert(factory.mName);
        ASSERT_TRUE(presets.contains(factory.mName));
        const std::map<std::string, float>& ports = presets.at(factory.mName).mPorts;

        // Every control port is set, to the value q38 gives the engine.
        const cli::ParameterValues expected = table.apply(table.parsePreset(factory.mSettings, factory.mWord));
        ASSERT_EQ(ports.size(), std::size_t(kNumParameters));
        Controls controls;
        for (int id = 0; id < kNumParameters; ++id) {
            lv2::ParameterPort port{};
            ASSERT_EQ(lv2::describeParameter(*engine, id, port), nullptr);
            const float value = ports.at(lv2::kParameterSymbols[id]);
            EXPECT_EQ(lv2::portToNormalized(port, value), expected[std::size_t(id)]) << lv2::kParameterSymbols[id];
            controls.push_back({0, lv2::kParameterSymbols[id], value});
        }
        const Audio plugin = host.render(GetParam(), input, 512, controls);
        EXPECT_TRUE(plugin == renderWithQ38(input, table, factory));
        EXPECT_NE(plugin, host.render(GetParam(), input, 512, {})); // the preset changes the sound
    }
    std::set<std::string> labels;
    for (const auto& [label, values] : presets)
        labels.insert(label);
    EXPECT_EQ(labels, expectedLabels);
}

INSTANTIATE_TEST_SUITE_P(Plugins, Presets, ::testing::Values(kStereoUri, kMonoUri));

} // namespace
} // namespace lv2test
