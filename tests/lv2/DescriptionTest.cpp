// What a host reads from the bundle through lilv: plugins, ports, names,
// ranges, defaults, units and scale points, against the parameter table.

#include "Lv2TestHost.h"

#include "Q38Engine.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

namespace lv2test {
namespace {

const std::string kLv2 = "http://lv2plug.in/ns/lv2core#";
const std::string kUnits = "http://lv2plug.in/ns/extensions/units#";
const std::string kDoap = "http://usefulinc.com/ns/doap#";

enum class Kind { kDecibels, kToggle, kFourWay };

struct ExpectedPort
{
    const char* mSymbol;  // stored by hosts in sessions: must never change
    const char* mName;
    Kind mKind;
    float mMinimum;
    float mMaximum;
    float mDefault;
    std::vector<std::string> mLabels;
};

const std::vector<std::string> kOffOn = {"Off", "On"};
const std::vector<std::string> kPhase = {"Normal", "Reversed"};
const std::vector<std::string> kHighPass = {"Bypassed", "80 Hz", "300 Hz", "80 + 300 Hz"};

const ExpectedPort kExpected[kNumParameters] = {
    {"enable", "Enable Effect", Kind::kToggle, 0, 1, 1, kOffOn},
    {"stereo_link", "Stereo Link", Kind::kToggle, 0, 1, 0, {"Unlinked", "Linked"}},
    {"stereo_mode", "Stereo Mode", Kind::kToggle, 0, 1, 0, {"L/R", "M/S"}},
    {"ch1_phase_reverse", "Ch.1: Phase Reverse", Kind::kToggle, 0, 1, 0, kPhase},
    {"ch2_phase_reverse", "Ch.2: Phase Reverse", Kind::kToggle, 0, 1, 0, kPhase},
    {"ch1_input_gain", "Ch.1: Input Gain", Kind::kDecibels, 3, 76, 3, {}},
    {"ch2_input_gain", "Ch.2: Input Gain", Kind::kDecibels, 3, 76, 3, {}},
    {"ch1_highpass", "Ch.1: HighPass Freq", Kind::kFourWay, 0, 3, 0, kHighPass},
    {"ch2_highpass", "Ch.2: HighPass Freq", Kind::kFourWay, 0, 3, 0, kHighPass},
    {"ch1_high_tone", "Ch.1: Eq High Tone Gain", Kind::kDecibels, -10, 10, 0, {}},
    {"ch2_high_tone", "Ch.2: Eq High Tone Gain", Kind::kDecibels, -10, 10, 0, {}},
    {"ch1_low_tone", "Ch.1: Eq Low Tone Gain", Kind::kDecibels, -10, 10, 0, {}},
    {"ch2_low_tone", "Ch.2: Eq Low Tone Gain", Kind::kDecibels, -10, 10, 0, {}},
    {"ch1_enable_eq", "Ch.1: Enable Eq", Kind::kToggle, 0, 1, 1, kOffOn},
    {"ch2_enable_eq", "Ch.2: Enable Eq", Kind::kToggle, 0, 1, 1, kOffOn},
    {"ch1_output_trim", "Ch.1: Output Trim", Kind::kDecibels, -24, 24, 0, {}},
    {"ch2_output_trim", "Ch.2: Output Trim", Kind::kDecibels, -24, 24, 0, {}},
};

std::string text(LilvNode* inNode)
{
    const std::string result = inNode != nullptr ? lilv_node_as_string(inNode) : "";
    lilv_node_free(inNode);
    return result;
}

class Description : public ::testing::TestWithParam<const char*>
{
protected:
    bool portHas(const LilvPort* inPort, const std::string& inProperty)
    {
        return lilv_port_has_property(mPlugin, inPort, mHost.uri(kLv2 + inProperty));
    }
    bool portIs(const LilvPort* inPort, const std::string& inClass)
    {
        return lilv_port_is_a(mPlugin, inPort, mHost.uri(kLv2 + inClass));
    }

    TestHost mHost;
    const LilvPlugin* mPlugin = mHost.plugin(GetParam());
};

TEST_P(Description, ControlPortsFollowTheParameterTable)
{
    ASSERT_NE(mPlugin, nullptr);
    const std::unique_ptr<Q38Engine> engine(createQ38Engine());
    std::vector<float> minimum(lilv_plugin_get_num_ports(mPlugin));
    std::vector<float> maximum(minimum.size());
    std::vector<float> defaults(minimum.size());
    lilv_plugin_get_port_ranges_float(mPlugin, minimum.data(), maximum.data(), defaults.data());

    for (int id = 0; id < kNumParameters; ++id) {
        const ExpectedPort& expected = kExpected[id];
        SCOPED_TRACE(expected.mName);
        const LilvPort* port = lilv_plugin_get_port_by_index(mPlugin, static_cast<std::uint32_t>(id));
        ASSERT_TRUE(portIs(port, "InputPort") && portIs(port, "ControlPort"));
        EXPECT_STREQ(lilv_node_as_string(lilv_port_get_symbol(mPlugin, port)), expected.mSymbol);
        char name[64] = {};
        engine->getParameterName(id, name, sizeof(name) - 1);
        EXPECT_EQ(text(lilv_port_get_name(mPlugin, port)), name);
        EXPECT_STREQ(name, expected.mName);
        EXPECT_EQ(minimum[static_cast<std::size_t>(id)], expected.mMinimum);
        EXPECT_EQ(maximum[static_cast<std::size_t>(id)], expected.mMaximum);
        EXPECT_EQ(defaults[static_cast<std::size_t>(id)], expected.mDefault);

        LilvNodes* units = lilv_port_get_value(mPlugin, port, mHost.uri(kUnits + "unit"));
        EXPECT_EQ(units != nullptr && lilv_node_equals(lilv_nodes_get_first(units), mHost.uri(kUnits + "db")),
                  expected.mKind == Kind::kDecibels);
        lilv_nodes_free(units);
        EXPECT_EQ(portHas(port, "toggled"), expected.mKind == Kind::kToggle);
        EXPECT_EQ(portHas(port, "enumeration"), expected.mKind == Kind::kFourWay);
        EXPECT_EQ(portHas(port, "integer"), expected.mKind == Kind::kFourWay);

        // Scale point i carries the label of the state that port value i selects.
        std::vector<std::string> labels(expected.mLabels.size());
        LilvScalePoints* points = lilv_port_get_scale_points(mPlugin, port);
        LILV_FOREACH (scale_points, i, points) {
            const LilvScalePoint* point = lilv_scale_points_get(points, i);
            const float value = lilv_node_as_float(lilv_scale_point_get_value(point));
            ASSERT_TRUE(value >= 0 && value < labels.size() && value == std::floor(value));
            labels[static_cast<std::size_t>(value)] = lilv_node_as_string(lilv_scale_point_get_label(point));
        }
        lilv_scale_points_free(points);
        EXPECT_EQ(labels, expected.mLabels);
    }

    // The host's bypass switch is the engine's own, faded "Enable Effect".
    const LilvPort* enabled = lilv_plugin_get_port_by_designation(mPlugin, mHost.uri(kLv2 + "InputPort"),
                                                                  mHost.uri(kLv2 + "enabled"));
    ASSERT_NE(enabled, nullptr);
    EXPECT_EQ(lilv_port_get_index(mPlugin, enabled), static_cast<std::uint32_t>(kEnableEffect));
}

TEST_P(Description, MetersAudioAndFeatures)
{
    ASSERT_NE(mPlugin, nullptr);
    const int channels = std::string(GetParam()) == kStereoUri ? 2 : 1;
    const std::uint32_t numPorts = lilv_plugin_get_num_ports(mPlugin);
    const std::uint32_t firstAudio = kNumParameters + static_cast<std::uint32_t>(kNumMeters);
    ASSERT_EQ(numPorts, firstAudio + 2 * static_cast<std::uint32_t>(channels));

    for (std::uint32_t m = 0; m < kNumMeters; ++m) {
        const LilvPort* port = lilv_plugin_get_port_by_index(mPlugin, kNumParameters + m);
        EXPECT_TRUE(portIs(port, "OutputPort") && portIs(port, "ControlPort"));
        EXPECT_EQ(text(lilv_port_get_name(mPlugin, port)), "Ch." + std::to_string(m + 1) + ": Meter");
    }
    for (std::uint32_t p = firstAudio; p < numPorts; ++p) {
        const LilvPort* port = lilv_plugin_get_port_by_index(mPlugin, p);
        const bool input = p < numPorts - static_cast<std::uint32_t>(channels);
        EXPECT_TRUE(portIs(port, "AudioPort") && portIs(port, input ? "InputPort" : "OutputPort")) << p;
    }

    EXPECT_FALSE(lilv_plugin_has_latency(mPlugin));
    LilvNodes* required = lilv_plugin_get_required_features(mPlugin);
    EXPECT_EQ(lilv_nodes_size(required), 0u);
    lilv_nodes_free(required);
    LilvNodes* optional = lilv_plugin_get_optional_features(mPlugin);
    EXPECT_TRUE(lilv_nodes_contains(optional, mHost.uri(kLv2 + "hardRTCapable")));
    lilv_nodes_free(optional);
    LilvNodes* license = lilv_plugin_get_value(mPlugin, mHost.uri(kDoap + "license"));
    ASSERT_NE(license, nullptr);
    EXPECT_TRUE(lilv_node_is_uri(lilv_nodes_get_first(license)));
    lilv_nodes_free(license);
}

INSTANTIATE_TEST_SUITE_P(Plugins, Description, ::testing::Values(kStereoUri, kMonoUri));

} // namespace
} // namespace lv2test
