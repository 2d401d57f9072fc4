// Creates an engine through the installed headers and library, runs a block
// and reads a parameter back; exits non-zero on any surprise.

#include <Q38Engine.h>
#include <Q38EngineHooks.h>

#include <cstdio>
#include <cstring>

int main()
{
    Q38Engine* engine = createQ38Engine();
    if (engine == nullptr)
        return 1;
    q38FixHissSeed(engine, 1);
    engine->setSampleRate(48000);

    float samples[32] = {};
    float* channels[1] = {samples};
    engine->process(channels, channels, 1, 32);

    char name[32];
    engine->getParameterName(kCh1InputGain, name, sizeof name);
    const bool ok = std::strcmp(name, "Ch.1: Input Gain") == 0;
    delete engine;
    std::puts(ok ? "consumer ok" : "consumer: unexpected parameter name");
    return ok ? 0 : 1;
}
