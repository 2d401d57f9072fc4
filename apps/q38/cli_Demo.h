#pragma once

// The built-in programme: a few seconds of test signal rendered at a few
// input gains, with a table of levels and meter readings.

#include "cli_Parameters.h"

#include <filesystem>
#include <ostream>
#include <vector>

namespace cli {

constexpr int kDemoSampleRate = 48000;

// Interleaved stereo at kDemoSampleRate: a voice-like signal on the left and
// a plucked string on the right, then a sine sweep on both.
std::vector<float> synthesizeDemoProgramme();

void runDemo(const std::filesystem::path& inFolder, bool inQuiet, const ParameterTable& inTable,
             std::ostream& outReport);

} // namespace cli
