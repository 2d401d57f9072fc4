#include "Q38Engine.h"
#include "Q38EngineHooks.h"

#include <cstring>

Q38Engine::~Q38Engine() = default;

namespace {

// Placeholder engine: stores parameters and passes audio through until the
// real engine lands.
class PlaceholderEngine final : public Q38Engine
{
public:
    void resetParameters() override {}
    void setSampleRate(int) override {}
    void setParameter(int inParameterId, float inNormalizedValue) override
    {
        if (inParameterId >= 0 && inParameterId < kNumParameters)
            mParameters[inParameterId] = inNormalizedValue;
    }
    float getParameterValue(int inParameterId) override { return mParameters[inParameterId]; }
    void getParameterUnit(int, char* outText, int inMaxLength) override { std::strncpy(outText, "", inMaxLength); }
    float getPhysicalValue(int, float) override { return 0.0f; }
    float getPhysicalValue(int) override { return 0.0f; }
    void getValueText(int, float, char* outText, int inMaxLength) override { std::strncpy(outText, "", inMaxLength); }
    void getValueText(int, char* outText, int inMaxLength) override { std::strncpy(outText, "", inMaxLength); }
    void getParameterName(int, char* outText, int inMaxLength) override { std::strncpy(outText, "", inMaxLength); }
    void process(const float* const* inInputs, float* const* inOutputs, int inNumChannels, int inNumSamples) override
    {
        for (int c = 0; c < inNumChannels; ++c)
            std::memmove(inOutputs[c], inInputs[c], sizeof(float) * static_cast<std::size_t>(inNumSamples));
    }
    float getMeterValue(int) override { return 0.0f; }

private:
    float mParameters[kNumParameters] = {};
};

} // namespace

extern "C" Q38Engine* createQ38Engine()
{
    return new PlaceholderEngine();
}

extern "C" void q38FixHissSeed(Q38Engine*, unsigned long long)
{
}
