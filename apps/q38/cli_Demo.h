#pragma once

// The built-in programme: a few seconds of test signal rendered at a few
// input gains, with a table of levels and meter readings.

#include "cli_Parameters.h"

#include <filesystem>
#include <ostream>

namespace cli {

// With inMatchLoudness each rendered file is scaled to the programme's loudness.
void runDemo(const std::filesystem::path& inFolder, bool inQuiet, const ParameterTable& inTable,
             std::ostream& outReport, bool inMatchLoudness = false);

} // namespace cli
