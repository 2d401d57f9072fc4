// The plugins' "Oversampling" control: the latency they report is the delay
// an impulse takes through them, they run the same oversampler as q38 and
// the Python package, and changing the factor in run() allocates nothing.
// This program counts allocations: see CountingAllocator.h.

#include "Lv2TestHost.h"
#include "host_OversampledEngine.h"
#include "lv2_PortTable.h"
#include "tests/support/CountingAllocator.h"

namespace lv2test {
namespace {

struct Delay
{
    float mReported;
    long mMeasured;
};

// An impulse through the plugin with the effect off, so that only the
// resamplers shape it: they are linear-phase, so it comes out as a
// symmetric pulse centred on the delay.
Delay measureDelay(TestHost& ioHost, double inRate, int inFactor)
{
    constexpr std::size_t kAt = 1000;
    Audio impulse(2, std::vector<float>(4000, 0.0f));
    impulse[0][kAt] = impulse[1][kAt] = 0.5f;
    const Audio output = ioHost.render(kStereoUri, impulse, 256,
                                       {{0, "enable", 0.0f}, {0, "oversampling", float(inFactor)}}, nullptr, inRate);
    const auto peak = std::max_element(output[0].begin(), output[0].end(),
                                       [](float inA, float inB) { return std::fabs(inA) < std::fabs(inB); });
    const long centre = long(peak - output[0].begin());
    for (long k = 1; k < 100; ++k)
        EXPECT_NEAR(output[0][std::size_t(centre - k)], output[0][std::size_t(centre + k)], 1e-6) << k;
    EXPECT_EQ(output[0], output[1]);
    return {ioHost.mPortValues.at("latency"), centre - long(kAt)};
}

TEST(Oversampling, ReportedLatencyIsTheDelayMeasuredThroughIt)
{
    TestHost host;
    float previous = -1.0f;
    for (const int factor : {1, 2, 4, 8}) {
        SCOPED_TRACE(factor);
        const Delay delay = measureDelay(host, 48000.0, factor);
        EXPECT_EQ(delay.mReported, float(delay.mMeasured));
        EXPECT_GT(delay.mReported, previous); // each stage adds delay
        previous = delay.mReported;
    }
    // Where the engine cannot run at the factor, the largest that fits runs
    // and its delay is reported.
    const Delay at96k = measureDelay(host, 96000.0, 8);
    EXPECT_EQ(at96k.mReported, float(at96k.mMeasured));
    EXPECT_EQ(at96k.mReported, measureDelay(host, 48000.0, 4).mReported);
    EXPECT_EQ(measureDelay(host, 384000.0, 2).mReported, 0.0f);
}

TEST(Oversampling, PluginRunsTheOversamplerOfQ38AndPython)
{
    TestHost host;
    const Audio input = testSignal(2, 6000);
    const Audio plugin = host.render(kStereoUri, input, 512, {{0, "ch1_input_gain", 76.0f}, {0, "oversampling", 4.0f}});

    host::OversampledEngine engine;
    q38FixHissSeed(&engine.engine(), kSeed);
    engine.setSampleRate(kSampleRate, 4);
    engine.engine().setParameter(kCh1InputGain, 1.0f);
    Audio expected = input;
    for (std::size_t start = 0; start < input[0].size(); start += kQ38MaxBufferSize) {
        const float* in[2] = {input[0].data() + start, input[1].data() + start};
        float* out[2] = {expected[0].data() + start, expected[1].data() + start};
        engine.process(in, out, 2, int(std::min<std::size_t>(kQ38MaxBufferSize, input[0].size() - start)));
    }
    EXPECT_EQ(plugin, expected);
    EXPECT_NE(plugin, host.render(kStereoUri, input, 512, {{0, "ch1_input_gain", 76.0f}}));
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

    const std::uint32_t numPorts = lilv_plugin_get_num_ports(plugin);
    std::vector<float> values(numPorts);
    lilv_plugin_get_port_ranges_float(plugin, nullptr, nullptr, values.data());
    const Audio input = testSignal(2, 512);
    Audio output = input;
    for (std::uint32_t p = 0; p < numPorts; ++p)
        lilv_instance_connect_port(instance, p, &values[p]);
    for (std::uint32_t c = 0; c < 2; ++c) {
        lilv_instance_connect_port(instance, lv2::kFirstAudioPort + c, const_cast<float*>(input[c].data()));
        lilv_instance_connect_port(instance, lv2::kFirstAudioPort + 2 + c, output[c].data());
    }
    lilv_instance_activate(instance);
    float& factor = values[lv2::oversamplingPort(2)];
    const float& latency = values[lv2::latencyPort(2)];
    std::vector<float> latencies, expected;
    latencies.reserve(16);
    EXPECT_EQ(countWhile([&] {
                  for (const float asked : {1.0f, 2.0f, 8.0f, 8.0f, 4.0f, 1.0f, 4.0f}) {
                      factor = asked;
                      values[kCh1InputGain] = 20.0f + asked;
                      lilv_instance_run(instance, 512);
                      latencies.push_back(latency);
                  }
              }),
              0);
    for (const int asked : {1, 2, 8, 8, 4, 1, 4})
        expected.push_back(float(host::oversamplingLatency(asked)));
    EXPECT_EQ(latencies, expected);
    for (const float sample : output[0])
        ASSERT_TRUE(std::isfinite(sample));
    lilv_instance_deactivate(instance);
    lilv_instance_free(instance);
}

} // namespace
} // namespace lv2test
