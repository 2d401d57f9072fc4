// q38 render: its options, made in part from the parameter table, and the
// render of one file or of many into a folder.

#include "cli_AudioFile.h"
#include "cli_Batch.h"
#include "cli_Commands.h"
#include "cli_Error.h"
#include "cli_FactoryPresets.h"
#include "cli_Progress.h"
#include "cli_Render.h"

#include <algorithm>
#include <chrono>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <thread>

namespace cli {

namespace {

namespace fs = std::filesystem;

constexpr unsigned kMostWorkers = 256;

struct RenderOptions
{
    std::vector<std::string> mInputs;
    CLI::Option* mOutput = nullptr;
    CLI::Option* mFormat = nullptr;
    CLI::Option* mSubtype = nullptr;
    CLI::Option* mForce = nullptr;
    CLI::Option* mSavePreset = nullptr;
    CLI::Option* mJobs = nullptr;
    CLI::Option* mSeed = nullptr;
    CLI::Option* mMatchLoudness = nullptr;
    CLI::Option* mQuiet = nullptr;
    std::optional<SettingOptions> mSettings;
};

std::string presetHeader(const RenderJob& inJob)
{
    std::string header = "q38 settings used to render " + inJob.mOutput.filename().string() + " from " +
                         inJob.mInput.filename().string();
    if (inJob.mSeed)
        header += "\nhiss seed: --seed " + std::to_string(*inJob.mSeed);
    return header;
}

int renderOne(RenderJob& ioJob, const ParameterTable& inTable, bool inQuiet)
{
    if (ioJob.mPresetPath) {
        if (ioJob.mPresetPath->empty())
            ioJob.mPresetPath = fs::path(ioJob.mOutput).replace_extension(".q38preset");
        if (fs::weakly_canonical(*ioJob.mPresetPath) == fs::weakly_canonical(ioJob.mOutput))
            throw UsageError("the preset and the output cannot be the same file");
        ioJob.mPresetText = inTable.formatPreset(ioJob.mValues, presetHeader(ioJob));
    }
    ProgressBar progress(!inQuiet);
    ioJob.mOnProgress = [&](sf_count_t inDone, sf_count_t inTotal) {
        progress.update(inTotal > 0 ? double(inDone) / double(inTotal) : 0.0, ioJob.mInput.filename().string());
    };
    const RenderResult result = render(ioJob);
    progress.clear();
    if (!inQuiet)
        std::cout << describeRender(ioJob, result) << std::flush;
    return kExitSuccess;
}

int renderMany(const std::vector<fs::path>& inInputs, const fs::path& inFolder, const std::string& inFormat,
               RenderJob& ioTemplate, unsigned inWorkers, const ParameterTable& inTable, bool inQuiet)
{
    if (ioTemplate.mPresetPath && !ioTemplate.mPresetPath->empty())
        throw UsageError("with an output folder --save-preset takes no FILE: each output gets its own, "
                         "OUT.q38preset beside it");
    std::vector<RenderJob> jobs = planBatch(inInputs, inFolder, inFormat, ioTemplate);
    for (RenderJob& job : jobs)
        if (job.mPresetPath)
            job.mPresetText = inTable.formatPreset(job.mValues, presetHeader(job));
    const unsigned workers = std::min<unsigned>(inWorkers, static_cast<unsigned>(jobs.size()));
    const auto start = std::chrono::steady_clock::now();
    const std::vector<BatchItem> items = renderBatch(jobs, workers, !inQuiet);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (!inQuiet)
        std::cout << describeBatch(jobs, items, seconds, workers) << std::flush;
    return std::all_of(items.begin(), items.end(), [](const BatchItem& inItem) { return inItem.mResult.has_value(); })
               ? kExitSuccess
               : kExitFailure;
}

std::string renderDescription()
{
    std::ostringstream text;
    text << "Reads IN (WAV, AIFF, FLAC, Ogg and whatever else libsndfile reads; mono or\n"
            "stereo; "
         << kLowestSampleRate << " to " << kHighestSampleRate
         << R"( Hz), runs it through the engine at the file's own
rate in blocks of at most 32 samples, and writes OUT with the same length,
rate and channels. OUT is written unnamed or under a temporary name in its
folder and takes its name only when all went well; the input is never
overwritten.

With several inputs, an input folder (its sound files, not its subfolders),
an output ending in / or naming a folder, or --format, the outputs go into
that folder, each under its input's name, rendered in parallel, each file
with its own engine: a file that fails is reported and the others go on.)";
    return text.str();
}

std::string renderFooter()
{
    std::string presets;
    for (const FactoryPreset& preset : factoryPresets())
        presets += std::string(presets.empty() ? "" : ", ") + preset.mWord;
    return "Factory presets (q38 presets tells what each is for): " + presets + R"(.

A progress line appears on standard error when a render takes more than about
a second and standard error is a terminal. The summary on standard output
gives the duration, the real-time factor, peak and RMS levels in dBFS (a
full-scale sine has an RMS of -3 dBFS), integrated loudness (LUFS) and true
peak (dBTP) of input and output (EBU R 128), and the highest reading of each
meter (0 to 1, read after the tube stage: 0 up to a peak of -35 dBFS there, 1
from -14.2 dBFS). Non-finite input samples (NaN, infinity) go in as silence
and are counted in the summary.

Examples:
  q38 render vocal.wav -o vocal-q38.wav --input-gain 40 --highpass "80 Hz"
  q38 render take.flac -o take.wav --subtype PCM_24 --trim -3 --seed 38
  q38 render mix.wav -o mix-ms.wav --preset ms-room-widening --trim2 2
  q38 render bass.wav -o bass-q38.wav --preset warm-bass-di --match-loudness
  q38 render takes/ extra.wav -o rendered/ --format flac -j 4 --preset clean-vocal)";
}

} // namespace

CommandAction setupRenderCommand(CLI::App& ioCommand, CommandContext& ioContext)
{
    auto options = std::make_shared<RenderOptions>();
    ioCommand.description(renderDescription());
    ioCommand.footer(renderFooter());
    ioCommand.add_option("IN", options->mInputs);
    ioContext.mCompletions["render IN"] = {{}, true};

    const auto addValue = [&](const std::string& inNames, const std::string& inText, const std::string& inWhat,
                              const std::string& inGroup, std::vector<std::string> inWords = {}, bool inFiles = false) {
        return addValueOption(ioCommand, ioContext, inNames, inText, inWhat, inGroup, std::move(inWords), inFiles);
    };
    std::string extensions;
    for (const std::string& extension : outputExtensions())
        extensions += (extensions.empty() ? "" : " ") + std::string(".") + extension;
    std::string subtypes;
    for (const std::string& name : subtypeNames())
        subtypes += (subtypes.empty() ? "" : ", ") + name;

    const char* files = "Files";
    options->mOutput = addValue("-o,--output", "OUT|FOLDER/",
                                "the file to write; its extension chooses the format: " + extensions +
                                    " (32-bit float where the format has it, 24-bit FLAC, Vorbis in .ogg, Opus"
                                    " in .opus); or the folder for several inputs (it must exist)\n"
                                    "e.g. -o vocal-q38.wav   or   -o rendered/",
                                files, {}, true);
    options->mFormat = addValue("--format", "EXT",
                                "with an output folder: write this format instead of keeping each input's\n"
                                "extension\ne.g. --format flac",
                                files, outputExtensions());
    options->mSubtype = addValue("--subtype", "NAME",
                                 "the sample format instead of the default: " + subtypes +
                                     " (integer formats clip above full scale)\ne.g. --subtype PCM_24",
                                 files, subtypeNames());
    options->mForce = ioCommand.add_flag("-f,--force")
                          ->description("replace OUT if it exists (an input is refused even so)\n"
                                        "e.g. q38 render in.wav -o out.wav -f")
                          ->group(files);
    options->mSavePreset = addValue("--save-preset", "[FILE]",
                                    "after a successful render, write the settings used to FILE, by default\n"
                                    "OUT with the extension .q38preset (with an output folder: beside each\n"
                                    "output); --force also lets it replace FILE. FILE is taken when it is\n"
                                    "not an option and not an existing file, or is named *.q38preset;\n"
                                    "--save-preset=FILE always takes it\n"
                                    "e.g. --save-preset   or   --save-preset warm.q38preset",
                                    files, {}, true);
    ioContext.mOptionalValues.insert("render --save-preset");
    options->mJobs = addValue("-j,--jobs", "N",
                              "with an output folder: render N files at once (default: the number of\n"
                              "processor cores)\ne.g. -j 4",
                              files);

    options->mSettings.emplace(ioCommand, ioContext);

    const char* other = "Other options";
    options->mSeed = addValue("--seed", "N",
                              "start the hiss from N, so the same input, settings and seed give the\n"
                              "same output bit for bit; without it the hiss differs on every run\n"
                              "e.g. --seed 38",
                              other);
    options->mMatchLoudness = ioCommand.add_flag("--match-loudness")
                                  ->description("scale each output, after rendering and in floating point, to its\n"
                                                "input's integrated loudness, for A/B listening at equal loudness;\n"
                                                "the summary gives the gain and warns when a fixed-point output's\n"
                                                "true peak goes over full scale\ne.g. --match-loudness")
                                  ->group(other);
    options->mQuiet = ioCommand.add_flag("-q,--quiet")
                          ->description("no progress line and no summary (errors still go to standard error)\n"
                                        "e.g. -q")
                          ->group(other);

    return [&ioCommand, &table = ioContext.mTable, options]() -> int {
        const RenderOptions& o = *options;
        const Settings settings = o.mSettings->collect(ioCommand);
        if (o.mInputs.empty())
            throw UsageError("render needs an input file: q38 render IN -o OUT");
        if (o.mOutput->count() == 0)
            throw UsageError("render needs an output file: q38 render IN -o OUT");
        const std::string output = requiredValue(*o.mOutput, o.mOutput->as<std::string>(), "-o out.wav");
        const std::string format = o.mFormat->count() ? requiredValue(*o.mFormat, o.mFormat->as<std::string>(),
                                                                      "--format flac")
                                                      : "";
        RenderJob job;
        job.mSubtype = o.mSubtype->count() ? requiredValue(*o.mSubtype, o.mSubtype->as<std::string>(), "--subtype PCM_24")
                                           : "";
        job.mOverwrite = o.mForce->count() > 0;
        job.mMatchLoudness = o.mMatchLoudness->count() > 0;
        if (o.mSeed->count())
            job.mSeed = parseWholeNumber(*o.mSeed, o.mSeed->as<std::string>(), 0, ~0ULL, "--seed 38");
        if (o.mSavePreset->count())
            job.mPresetPath = o.mSavePreset->as<std::string>();
        job.mValues = table.apply(settings);
        const bool quiet = o.mQuiet->count() > 0;
        job.mMeasureLoudness = !quiet; // only the summary shows the figures
        const unsigned workers =
            o.mJobs->count() ? static_cast<unsigned>(parseWholeNumber(*o.mJobs, o.mJobs->as<std::string>(), 1,
                                                                      kMostWorkers, "-j 4"))
                             : std::clamp(std::thread::hardware_concurrency(), 1u, kMostWorkers);

        std::error_code error;
        const bool toFolder = o.mInputs.size() > 1 || !format.empty() || output.ends_with("/") ||
                              fs::is_directory(output, error) ||
                              std::any_of(o.mInputs.begin(), o.mInputs.end(),
                                          [](const std::string& inInput) {
                                              std::error_code ignored;
                                              return fs::is_directory(inInput, ignored);
                                          });
        if (!toFolder) {
            job.mInput = o.mInputs.front();
            job.mOutput = output;
            return renderOne(job, table, quiet);
        }
        return renderMany({o.mInputs.begin(), o.mInputs.end()}, output, format, job, workers, table, quiet);
    };
}

} // namespace cli
