#pragma once

// Several files rendered in parallel into one folder: each output named after
// its input, each file with its own engine and every rule of a single render.

#include "cli_Render.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace cli {

// One job per input file, and per sound file directly inside an input folder
// (sorted by name, hidden files skipped), into inFolder: the input's name
// with its extension or, given inFormat ("flac"), that one. Each job copies
// inTemplate; with inTemplate.mPresetPath set, each output gets its preset
// beside it (OUT.q38preset).
// Refuses before any work an output folder that does not exist or takes no
// file, two inputs with the same output, an output that is one of the inputs,
// an output that exists (unless overwriting) and an unknown format. A missing
// or unreadable input file is left to fail in its render.
std::vector<RenderJob> planBatch(const std::vector<std::filesystem::path>& inInputs,
                                 const std::filesystem::path& inFolder, const std::string& inFormat,
                                 const RenderJob& inTemplate);

struct BatchItem
{
    std::optional<RenderResult> mResult;
    std::string mError; // when it failed
};

// Renders the jobs on up to inWorkers threads. A failed file is reported on
// standard error at once and the others go on; one progress line sums up.
std::vector<BatchItem> renderBatch(const std::vector<RenderJob>& inJobs, unsigned inWorkers, bool inShowProgress);

// A table of the files and their levels, then one line of totals.
std::string describeBatch(const std::vector<RenderJob>& inJobs, const std::vector<BatchItem>& inItems,
                          double inSeconds, unsigned inWorkers);

} // namespace cli
