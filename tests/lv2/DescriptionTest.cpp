// What a host reads from the bundle through lilv: plugins, ports, names,
// ranges, defaults, units and scale points.

#include "Lv2TestHost.h"

namespace lv2test {
namespace {

const std::string kLv2 = "http://lv2plug.in/ns/lv2core#";
const std::string kUnits = "http://lv2plug.in/ns/extensions/units#";

struct ExpectedPort
{
    const char* mSymbol; // stored by hosts in sessions: must never change
    const char* mName;
    float mMinimum, mMaximum, mDefault;
    std::vector<std::string> mLabels; // none: in dB; two: a toggle; four: an enumeration
};

const std::vector<std::string> kOffOn = {"Off", "On"};
const std::vector<std::string> kPhase = {"Normal", "Reversed"};
const std::vector<std::string> kHighPass = {"Bypassed", "80 Hz", "300 Hz", "80 + 300 Hz"};

const ExpectedPort kExpected[kNumParameters] = {
    {"enable", "Enable Effect", 0, 1, 1, kOffOn},
    {"stereo_link", "Stereo Link", 0, 1, 0, {"Unlinked", "Linked"}},
    {"stereo_mode", "Stereo Mode", 0, 1, 0, {"L/R", "M/S"}},
    {"ch1_phase_reverse", "Ch.1: Phase Reverse", 0, 1, 0, kPhase},
    {"ch2_phase_reverse", "Ch.2: Phase Reverse", 0, 1, 0, kPhase},
    {"ch1_input_gain", "Ch.1: Input Gain", 3, 76, 3, {}},
    {"ch2_input_gain", "Ch.2: Input Gain", 3, 76, 3, {}},
    {"ch1_highpass", "Ch.1: HighPass Freq", 0, 3, 0, kHighPass},
    {"ch2_highpass", "Ch.2: HighPass Freq", 0, 3, 0, kHighPass},
    {"ch1_high_tone", "Ch.1: Eq High Tone Gain", -10, 10, 0, {}},
    {"ch2_high_tone", "Ch.2: Eq High Tone Gain", -10, 10, 0, {}},
    {"ch1_low_tone", "Ch.1: Eq Low Tone Gain", -10, 10, 0, {}},
    {"ch2_low_tone", "Ch.2: Eq Low Tone Gain", -10, 10, 0, {}},
    {"ch1_enable_eq", "Ch.1: Enable Eq", 0, 1, 1, kOffOn},
    {"ch2_enable_eq", "Ch.2: Enable Eq", 0, 1, 1, kOffOn},
    {"ch1_output_trim", "Ch.1: Output Trim", -24, 24, 0, {}},
    {"ch2_output_trim", "Ch.2: Output Trim", -24, 24, 0, {}},
};

class Description : public ::testing::TestWithParam<const char*>
{
protected:
    bool is(const LilvPort* inPort, const char* inClass)
    {
        return lilv_port_is_a(mPlugin, inPort, mHost.uri(kLv2 + inClass));
    }
    bool has(const LilvPort* inPort, const char* inProperty)
    {
        return lilv_port_has_property(mPlugin, inPort, mHost.uri(kLv2 + inProperty));
    }
    std::string symbol(const LilvPort* inPort) { return lilv_node_as_string(lilv_port_get_symbol(mPlugin, inPort)); }
    std::string name(const LilvPort* inPort)
    {
        LilvNode* node = lilv_port_get_name(mPlugin, inPort);
        const std::string text = node ? lilv_node_as_string(node) : "";
        lilv_node_free(node);
        return text;
    }
    std::map<float, std::string> scalePoints(const LilvPort* inPort)
    {
        std::map<float, std::string> labels;
        LilvScalePoints* points = lilv_port_get_scale_points(mPlugin, inPort);
        LILV_FOREACH (scale_points, i, points) {
            const LilvScalePoint* point = lilv_scale_points_get(points, i);
            labels[lilv_node_as_float(lilv_scale_point_get_value(point))] =
                lilv_node_as_string(lilv_scale_point_get_label(point));
        }
        lilv_scale_points_free(points);
        return labels;
    }

    TestHost mHost;
    const LilvPlugin* mPlugin = mHost.plugin(GetParam());
};

TEST_P(Description, PortsFollowTheParameterTable)
{
    ASSERT_NE(mPlugin, nullptr);
    const std::uint32_t channels = GetParam() == std::string(kStereoUri) ? 2 : 1;
    const std::uint32_t numPorts = lilv_plugin_get_num_ports(mPlugin);
    const std::uint32_t firstAudio = kNumParameters + std::uint32_t(kNumMeters);
    const std::uint32_t oversampling = firstAudio + 2 * channels;
    ASSERT_EQ(numPorts, oversampling + 2);
    std::vector<float> minimum(numPorts), maximum(numPorts), defaults(numPorts);
    lilv_plugin_get_port_ranges_float(mPlugin, minimum.data(), maximum.data(), defaults.data());
    const auto range = [&](std::uint32_t inPort) {
        return std::vector<float>{minimum[inPort], maximum[inPort], defaults[inPort]};
    };

    for (std::uint32_t id = 0; id < kNumParameters; ++id) {
        const ExpectedPort& expected = kExpected[id];
        SCOPED_TRACE(expected.mName);
        const LilvPort* port = lilv_plugin_get_port_by_index(mPlugin, id);
        EXPECT_TRUE(is(port, "InputPort") && is(port, "ControlPort"));
        EXPECT_EQ(symbol(port), expected.mSymbol);
        EXPECT_EQ(name(port), expected.mName);
        EXPECT_EQ(range(id), std::vector<float>({expected.mMinimum, expected.mMaximum, expected.mDefault}));
        LilvNodes* units = lilv_port_get_value(mPlugin, port, mHost.uri(kUnits + "unit"));
        EXPECT_EQ(units && lilv_node_equals(lilv_nodes_get_first(units), mHost.uri(kUnits + "db")),
                  expected.mLabels.empty());
        lilv_nodes_free(units);
        EXPECT_EQ(has(port, "toggled"), expected.mLabels.size() == 2);
        for (const char* property : {"enumeration", "integer"})
            EXPECT_EQ(has(port, property), expected.mLabels.size() == 4) << property;
        // Scale point i carries the label of the state that port value i selects.
        std::map<float, std::string> labels;
        for (std::size_t i = 0; i < expected.mLabels.size(); ++i)
            labels[float(i)] = expected.mLabels[i];
        EXPECT_EQ(scalePoints(port), labels);
    }

    // Then the meters, the audio inputs and the audio outputs.
    for (std::uint32_t p = kNumParameters; p < oversampling; ++p) {
        const LilvPort* port = lilv_plugin_get_port_by_index(mPlugin, p);
        const bool meter = p < firstAudio;
        const bool input = !meter && p < oversampling - channels;
        EXPECT_TRUE(is(port, meter ? "ControlPort" : "AudioPort") && is(port, input ? "InputPort" : "OutputPort")) << p;
        EXPECT_TRUE(!meter || name(port) == "Ch." + std::to_string(p - kNumParameters + 1) + ": Meter") << p;
    }

    // Last, added later and so optional: the oversampling factor, and the
    // latency that it brings, where hosts look for it.
    const LilvPort* factor = lilv_plugin_get_port_by_index(mPlugin, oversampling);
    EXPECT_EQ(symbol(factor), "oversampling");
    EXPECT_EQ(name(factor), "Oversampling");
    EXPECT_TRUE(is(factor, "InputPort") && is(factor, "ControlPort") && has(factor, "enumeration"));
    EXPECT_EQ(range(oversampling), std::vector<float>({1, 8, 1}));
    EXPECT_EQ(scalePoints(factor), (std::map<float, std::string>{{1, "1x"}, {2, "2x"}, {4, "4x"}, {8, "8x"}}));
    ASSERT_TRUE(lilv_plugin_has_latency(mPlugin));
    EXPECT_EQ(lilv_plugin_get_latency_port_index(mPlugin), oversampling + 1);
    for (const std::uint32_t p : {oversampling, oversampling + 1})
        EXPECT_TRUE(has(lilv_plugin_get_port_by_index(mPlugin, p), "connectionOptional")) << p;

    // The host's bypass switch is the engine's own, faded "Enable Effect".
    const LilvPort* enabled = lilv_plugin_get_port_by_designation(mPlugin, mHost.uri(kLv2 + "InputPort"),
                                                                  mHost.uri(kLv2 + "enabled"));
    ASSERT_NE(enabled, nullptr);
    EXPECT_EQ(lilv_port_get_index(mPlugin, enabled), std::uint32_t(kEnableEffect));
}

INSTANTIATE_TEST_SUITE_P(Plugins, Description, ::testing::Values(kStereoUri, kMonoUri));

} // namespace
} // namespace lv2test
