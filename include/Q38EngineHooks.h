#pragma once

// Internal hooks of the engine for tools and tests; not part of the host
// interface.

#include "Q38Engine.h"

// Makes the hiss reproducible: from the next setSampleRate on, channel c of
// the engine starts its noise from the seed inSeed + c at every reset,
// instead of from the monotonic clock.
extern "C" Q38_API void q38FixHissSeed(Q38Engine* inEngine, unsigned long long inSeed);
