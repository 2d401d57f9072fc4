// The LV2 plugins around the engine: a stereo one and a mono one, which
// hands the engine a single channel.
//
// run() sets the oversampling factor when its control changed, forwards the
// control ports that changed since the last call, then cuts the host's
// frames into blocks of at most kQ38MaxBufferSize samples, and finally reads
// the meters and reports the latency. It allocates nothing, does no I/O and
// waits for nothing but the engine's own block copy: the resamplers of every
// factor are made with the instance.

#include "Q38EngineHooks.h"
#include "host_OversampledEngine.h"
#include "lv2_PortTable.h"

#include <lv2/core/lv2.h>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>

namespace lv2 {

namespace {

// Set to a number, the hiss starts from that seed at every reset, so that
// renders can be compared sample for sample.
constexpr const char* kHissSeedVariable = "Q38_HISS_SEED";

struct Plugin
{
    host::OversampledEngine* mEngine;
    int mNumChannels;
    int mSampleRate;
    int mAskedFactor; // the oversampling port's factor the engine was last set for
    const float* mOversampling;
    float* mLatency;
    ParameterPort mPorts[kNumParameters];
    const float* mControls[kNumParameters];
    float mForwarded[kNumParameters];  // the port value the engine holds
    float* mMeters[kNumMeters];
    const float* mInputs[kQ38MaxNumChannels];
    float* mOutputs[kQ38MaxNumChannels];
};

bool readHissSeed(unsigned long long& outSeed)
{
    const char* text = std::getenv(kHissSeedVariable);
    if (text == nullptr || *text == '\0')
        return false;
    char* end = nullptr;
    errno = 0;
    outSeed = std::strtoull(text, &end, 0);
    return errno == 0 && *end == '\0';
}

void cleanup(LV2_Handle inInstance)
{
    Plugin* plugin = static_cast<Plugin*>(inInstance);
    delete plugin->mEngine;
    delete plugin;
}

LV2_Handle instantiate(double inSampleRate, int inNumChannels)
{
    // A host at a rate the engine is not made for gets no instance.
    if (!(inSampleRate >= kQ38MinSampleRate && inSampleRate <= kQ38MaxSampleRate))
        return nullptr;
    Plugin* plugin = new (std::nothrow) Plugin{};
    if (plugin == nullptr)
        return nullptr;
    plugin->mEngine = new (std::nothrow) host::OversampledEngine;
    if (plugin->mEngine == nullptr || !plugin->mEngine->valid()) {
        cleanup(plugin);
        return nullptr;
    }
    plugin->mNumChannels = inNumChannels;
    plugin->mSampleRate = static_cast<int>(std::lround(inSampleRate));
    plugin->mAskedFactor = 1;
    Q38Engine& engine = plugin->mEngine->engine();

    for (int id = 0; id < kNumParameters; ++id) {
        if (describeParameter(engine, id, plugin->mPorts[id]) != nullptr) {
            cleanup(plugin);
            return nullptr;
        }
        plugin->mForwarded[id] = plugin->mPorts[id].mDefault;
    }

    unsigned long long seed = 0;
    if (readHissSeed(seed))
        q38FixHissSeed(&engine, seed);
    plugin->mEngine->setSampleRate(plugin->mSampleRate, plugin->mAskedFactor);
    return plugin;
}

// No host features are needed: both plugins only take the sample rate.
LV2_Handle instantiateStereo(const LV2_Descriptor*, double inSampleRate, const char*, const LV2_Feature* const*)
{
    return instantiate(inSampleRate, 2);
}

LV2_Handle instantiateMono(const LV2_Descriptor*, double inSampleRate, const char*, const LV2_Feature* const*)
{
    return instantiate(inSampleRate, 1);
}

void connectPort(LV2_Handle inInstance, uint32_t inPort, void* inData)
{
    Plugin* plugin = static_cast<Plugin*>(inInstance);
    const int channels = plugin->mNumChannels;
    const uint32_t firstOutput = kFirstAudioPort + channels;
    if (inPort < kFirstMeterPort)
        plugin->mControls[inPort] = static_cast<const float*>(inData);
    else if (inPort < kFirstAudioPort)
        plugin->mMeters[inPort - kFirstMeterPort] = static_cast<float*>(inData);
    else if (inPort < firstOutput)
        plugin->mInputs[inPort - kFirstAudioPort] = static_cast<const float*>(inData);
    else if (inPort < firstOutput + channels)
        plugin->mOutputs[inPort - firstOutput] = static_cast<float*>(inData);
    else if (inPort == static_cast<uint32_t>(oversamplingPort(channels)))
        plugin->mOversampling = static_cast<const float*>(inData);
    else if (inPort == static_cast<uint32_t>(latencyPort(channels)))
        plugin->mLatency = static_cast<float*>(inData);
}

// LV2 wants a reset state after activation: the engine's reset clears every
// memory and starts the hiss afresh (from the fixed seed when there is one).
void activate(LV2_Handle inInstance)
{
    Plugin* plugin = static_cast<Plugin*>(inInstance);
    plugin->mEngine->setSampleRate(plugin->mSampleRate, plugin->mAskedFactor);
}

// A new factor is a new rate for the engine: all audio state starts afresh,
// as at activation. Nothing is allocated.
void setOversampling(Plugin& ioPlugin)
{
    const int factor = ioPlugin.mOversampling != nullptr ? oversamplingFactor(*ioPlugin.mOversampling) : 1;
    if (factor == ioPlugin.mAskedFactor)
        return;
    ioPlugin.mAskedFactor = factor;
    ioPlugin.mEngine->setSampleRate(ioPlugin.mSampleRate, factor);
}

void forwardControls(Plugin& ioPlugin)
{
    for (int id = 0; id < kNumParameters; ++id) {
        const float* control = ioPlugin.mControls[id];
        if (control == nullptr)
            continue;
        const float value = *control;
        // A bit pattern compare: a NaN from the host is forwarded once, not every time.
        if (std::memcmp(&value, &ioPlugin.mForwarded[id], sizeof(float)) == 0)
            continue;
        ioPlugin.mForwarded[id] = value;
        ioPlugin.mEngine->engine().setParameter(id, portToNormalized(ioPlugin.mPorts[id], value));
    }
}

void run(LV2_Handle inInstance, uint32_t inNumFrames)
{
    Plugin& plugin = *static_cast<Plugin*>(inInstance);
    setOversampling(plugin);
    forwardControls(plugin);

    const int channels = plugin.mNumChannels;
    const float* inputs[kQ38MaxNumChannels] = {};
    float* outputs[kQ38MaxNumChannels] = {};
    for (uint32_t done = 0; done < inNumFrames;) {
        const uint32_t left = inNumFrames - done;
        const int count = left < static_cast<uint32_t>(kQ38MaxBufferSize) ? static_cast<int>(left) : kQ38MaxBufferSize;
        for (int c = 0; c < channels; ++c) {
            inputs[c] = plugin.mInputs[c] + done;
            outputs[c] = plugin.mOutputs[c] + done;
        }
        plugin.mEngine->process(inputs, outputs, channels, count);
        done += static_cast<uint32_t>(count);
    }

    for (int m = 0; m < kNumMeters; ++m)
        if (plugin.mMeters[m] != nullptr)
            *plugin.mMeters[m] = plugin.mEngine->meter(m);
    if (plugin.mLatency != nullptr)
        *plugin.mLatency = static_cast<float>(plugin.mEngine->latency());
}

const void* extensionData(const char*)
{
    return nullptr;
}

constexpr LV2_Descriptor kDescriptors[] = {
    {kStereoPluginUri, instantiateStereo, connectPort, activate, run, nullptr, cleanup, extensionData},
    {kMonoPluginUri, instantiateMono, connectPort, activate, run, nullptr, cleanup, extensionData},
};

} // namespace

} // namespace lv2

LV2_SYMBOL_EXPORT const LV2_Descriptor* lv2_descriptor(uint32_t inIndex)
{
    constexpr uint32_t count = sizeof(lv2::kDescriptors) / sizeof(lv2::kDescriptors[0]);
    return inIndex < count ? &lv2::kDescriptors[inIndex] : nullptr;
}
