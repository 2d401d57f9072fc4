// The order of the virtual operations is the binary interface towards the
// host. Calling each slot of a recording implementation's vtable the way a
// host binary does must reach the operation of that position.

#include "Q38Engine.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#if defined(__GXX_ABI_VERSION) && (defined(__x86_64__) || defined(__aarch64__))

namespace {

std::vector<std::string>* gCalls = nullptr;

class RecordingEngine final : public Q38Engine
{
public:
    ~RecordingEngine() override { gCalls->push_back("destructor"); }
    void resetParameters() override { gCalls->push_back("resetParameters"); }
    void setSampleRate(int) override { gCalls->push_back("setSampleRate"); }
    void setParameter(int, float) override { gCalls->push_back("setParameter"); }
    float getParameterValue(int) override { return record("getParameterValue"); }
    void getParameterUnit(int, char*, int) override { gCalls->push_back("getParameterUnit"); }
    float getPhysicalValue(int, float) override { return record("getPhysicalValue(id, value)"); }
    float getPhysicalValue(int) override { return record("getPhysicalValue(id)"); }
    void getValueText(int, float, char*, int) override { gCalls->push_back("getValueText(id, value)"); }
    void getValueText(int, char*, int) override { gCalls->push_back("getValueText(id)"); }
    void getParameterName(int, char*, int) override { gCalls->push_back("getParameterName"); }
    void process(const float* const*, float* const*, int, int) override { gCalls->push_back("process"); }
    float getMeterValue(int) override { return record("getMeterValue"); }

private:
    static float record(const char* inName)
    {
        gCalls->push_back(inName);
        return 0.0f;
    }
};

// The Itanium C++ ABI: the object starts with a pointer to the first virtual
// slot, a virtual destructor fills two slots (complete, then deleting), and a
// slot is called like a function whose first argument is the object.
void* slot(Q38Engine* inEngine, int inIndex)
{
    void** table = *reinterpret_cast<void***>(inEngine);
    return table[inIndex];
}

template <typename Function, typename... Arguments>
void callSlot(Q38Engine* inEngine, int inIndex, Arguments... inArguments)
{
    reinterpret_cast<Function*>(slot(inEngine, inIndex))(inEngine, inArguments...);
}

} // namespace

TEST(VtableLayout, EachSlotReachesItsOperation)
{
    std::vector<std::string> calls;
    gCalls = &calls;
    Q38Engine* engine = new RecordingEngine();
    char text[4];
    const float sample = 0.0f;
    const float* inputs[1] = {&sample};
    float output = 0.0f;
    float* outputs[1] = {&output};

    callSlot<void(Q38Engine*)>(engine, 2);
    callSlot<void(Q38Engine*, int)>(engine, 3, 48000);
    callSlot<void(Q38Engine*, int, float)>(engine, 4, 0, 0.5f);
    callSlot<float(Q38Engine*, int)>(engine, 5, 0);
    callSlot<void(Q38Engine*, int, char*, int)>(engine, 6, 0, text, 4);
    callSlot<float(Q38Engine*, int, float)>(engine, 7, 0, 0.5f);
    callSlot<float(Q38Engine*, int)>(engine, 8, 0);
    callSlot<void(Q38Engine*, int, float, char*, int)>(engine, 9, 0, 0.5f, text, 4);
    callSlot<void(Q38Engine*, int, char*, int)>(engine, 10, 0, text, 4);
    callSlot<void(Q38Engine*, int, char*, int)>(engine, 11, 0, text, 4);
    callSlot<void(Q38Engine*, const float* const*, float* const*, int, int)>(engine, 12, inputs, outputs, 1, 1);
    callSlot<float(Q38Engine*, int)>(engine, 13, 0);
    callSlot<void(Q38Engine*)>(engine, 1);  // the deleting destructor frees the object

    const std::vector<std::string> expected = {
        "resetParameters",         "setSampleRate",        "setParameter",     "getParameterValue",
        "getParameterUnit",        "getPhysicalValue(id, value)", "getPhysicalValue(id)",
        "getValueText(id, value)", "getValueText(id)",     "getParameterName", "process",
        "getMeterValue",           "destructor"};
    EXPECT_EQ(calls, expected);
    gCalls = nullptr;
}

#endif
