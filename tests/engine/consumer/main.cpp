// Built against the installed headers and library: creates an engine, runs a
// block and reads a name back; exits non-zero on any surprise.

#include <Q38Engine.h>
#include <Q38EngineHooks.h>

#include <cstdio>
#include <cstring>

int main()
{
    Q38Engine* engine = createQ38Engine();
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
