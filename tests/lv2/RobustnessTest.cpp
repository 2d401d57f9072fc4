// The plugin in a host that hands it bad samples or a rate the engine does
// not support.

#include "Lv2TestHost.h"
#include "tests/support/RecoveryCheck.h"

#include <limits>

namespace lv2test {
namespace {

TEST(Robustness, OneBadSampleIsHeardAsLittleAsASilentOne)
{
    TestHost host;
    const float infinity = std::numeric_limits<float>::infinity();
    const Controls settings[] = {
        {}, {{0, "ch1_input_gain", 76}, {0, "ch2_input_gain", 76}}, {{0, "stereo_link", 1}, {0, "ch1_input_gain", 40}}};
    const std::size_t bad = 4800 + 7;
    for (const Controls& controls : settings) {
        const Audio input = testSignal(2, 24000);
        const Audio clean = host.render(kStereoUri, input, 512, controls);
        for (const float value : {std::numeric_limits<float>::quiet_NaN(), infinity, -infinity, 1e30f}) {
            SCOPED_TRACE(::testing::Message() << value << " with " << controls.size() << " controls");
            Audio hostile = input;
            hostile[0][bad] = value;
            const Audio output = host.render(kStereoUri, hostile, 512, controls);
            for (std::size_t c = 0; c < 2; ++c)
                EXPECT_TRUE(q38test::recoversLikeTheCleanRender(output[c], clean[c], bad, kSampleRate));
        }
    }
}

TEST(Robustness, RatesTheEngineDoesNotSupportAreRefused)
{
    TestHost host;
    for (const char* uri : {kStereoUri, kMonoUri}) {
        for (const double rate : {1.0, 7999.0, 8000.0, 384000.0, 384001.0, 1e12}) {
            LilvInstance* instance = lilv_plugin_instantiate(host.plugin(uri), rate, nullptr);
            EXPECT_EQ(instance != nullptr, rate == 8000.0 || rate == 384000.0) << uri << " at " << rate;
            if (instance != nullptr)
                lilv_instance_free(instance);
        }
    }
}

} // namespace
} // namespace lv2test
