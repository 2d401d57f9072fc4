// The plugins' "Oversampling" control: the latency they report is the delay
// an impulse takes through them, they run the same oversampler as q38 and
// the Python package, and changing the factor in run() allocates nothing.
// This program counts allocations: see CountingAllocator.h.

#include "Lv2TestHost.h"
#include "lv2_PortTable.h"
#include "tests/support/CountingAllocator.h"

namespace lv2test {
namespace {

// An impulse through the plugin with the effect off, so that only the
// resamplers shape it: they are linear-phase, so it comes out as a
// symmetric pulse centred on the delay. Returns the reported latency after
// checking that it is the delay.
float checkedLatency(TestHost& ioHost, double inRate, int inFactor)
{
    SCOPED_TRACE(::testing::Message() << inRate << " Hz, factor " << inFactor);
    constexpr long kAt = 1000;
    Audio impulse(2, std::vector<float>(4000, 0.0f));
    impulse[0][kAt] = impulse[1][kAt] = 0.5f;
    const Audio output = ioHost.render(kStereoUri, impulse, 256,
                                       {{0, "enable", 0.0f}, {0, "oversampling", float(inFactor)}}, nullptr, inRate);
    EXPECT_EQ(output[0], output[1]);
    const std::vector<float>& out = output[0];
    const long centre = std::max_element(out.begin(), out.end(), [](float inA, float inB) {
                            return std::fabs(inA) < std::fabs(inB);
                        }) - out.begin();
    for (long k = 1; k < 100; ++k)
        EXPECT_NEAR(out[std::size_t(centre - k)], out[std::size_t(centre + k)], 1e-6) << k;
    EXPECT_EQ(ioHost.mPortValues.at("latency"), float(centre - kAt));
    return ioHost.mPortValues.at("latency");
}

TEST(Oversampling, ReportedLatencyIsTheDelayMeasuredThroughIt)
{
    TestHost host;
    float previous = -1.0f;
    for (const int factor : {1, 2, 4, 8}) {
        const float latency = checkedLatency(host, 48000.0, factor);
        EXPECT_GT(latency, previous); // each stage adds delay
        previous = latency;
    }
    // Where the engine cannot run at the factor, the largest that fits runs
    // and its delay is reported.
    EXPECT_EQ(checkedLatency(host, 96000.0, 8), checkedLatency(host, 48000.0, 4));
    EXPECT_EQ(checkedLatency(host, 384000.0, 2), 0.0f);
}

TEST(Oversampling, PluginRunsTheOversamplerOfQ38AndPython)
{
    TestHost host;
    const Audio input = testSignal(2, 6000);
    const Audio plugin = host.render(kStereoUri, input, 512, {{0, "ch1_input_gain", 76.0f}, {0, "oversampling", 4.0f}});
    EXPECT_EQ(plugin, renderEngine(input, 512, {{0, kCh1InputGain, 1.0f}}, nullptr, 4));
    EXPECT_NE(plugin, renderEngine(input, 512, {{0, kCh1InputGain, 1.0f}}));
}

TEST(Oversampling, ChangingTheFactorInRunAllocatesNothing)
{
    using namespace allocationtest;
    TestHost host;
    const LilvPlugin* plugin = host.plugin(kStereoUri);
    ASSERT_NE(plugin, nullptr);
    // The plugin's own allocations reach the counter: the instance and its
    // oversampled engine are made with the nothrow form, which lilv never uses.
    const long nothrowBefore = gNothrowNews.load();
    LilvInstance* instance = nullptr;
    countWhile([&] { instance = lilv_plugin_instantiate(plugin, kSampleRate, nullptr); });
    ASSERT_NE(instance, nullptr);
    EXPECT_GE(gNothrowNews.load() - nothrowBefore, 3);

    std::vector<float> values(lilv_plugin_get_num_ports(plugin));
    lilv_plugin_get_port_ranges_float(plugin, nullptr, nullptr, values.data());
    const Audio input = testSignal(2, 512);
    Audio output = input;
    for (std::uint32_t p = 0; p < values.size(); ++p)
        lilv_instance_connect_port(instance, p, &values[p]);
    for (std::uint32_t c = 0; c < 2; ++c) {
        lilv_instance_connect_port(instance, lv2::kFirstAudioPort + c, const_cast<float*>(input[c].data()));
        lilv_instance_connect_port(instance, lv2::kFirstAudioPort + 2 + c, output[c].data());
    }
    lilv_instance_activate(instance);
    const int factors[] = {1, 2, 8, 8, 4, 1, 4};
    std::vector<float> latencies, expected;
    latencies.reserve(16);
    EXPECT_EQ(countWhile([&] {
                  for (const int factor : factors) {
                      values[lv2::oversamplingPort(2)] = float(factor);
                      values[kCh1InputGain] = 20.0f + float(factor);
                      lilv_instance_run(instance, 512);
                      latencies.push_back(values[lv2::latencyPort(2)]);
                  }
              }),
              0);
    for (const int factor : factors)
        expected.push_back(float(host::oversamplingLatency(factor)));
    EXPECT_EQ(latencies, expected);
    for (const float sample : output[0])
        ASSERT_TRUE(std::isfinite(sample));
    lilv_instance_deactivate(instance);
    lilv_instance_free(instance);
}

} // namespace
} // namespace lv2test
