#include "cli_Batch.h"

#include "cli_AudioFile.h"
#include "cli_Error.h"
#include "cli_Progress.h"

#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <iostream>
#include <map>
#include <mutex>
#include <numeric>
#include <sstream>
#include <thread>

namespace cli {

namespace fs = std::filesystem;

namespace {

std::string quoted(const fs::path& inPath)
{
    return "'" + inPath.string() + "'";
}

std::vector<fs::path> soundFilesIn(const fs::path& inFolder)
{
    std::vector<fs::path> files;
    std::error_code error;
    for (fs::directory_iterator entry(inFolder, error), end; !error && entry != end; entry.increment(error))
        if (!entry->path().filename().string().starts_with(".") && entry->is_regular_file() &&
            isSoundFileName(entry->path()))
            files.push_back(entry->path());
    if (error)
        throw Error("cannot read the folder " + quoted(inFolder) + ": " + error.message());
    if (files.empty())
        throw UsageError("the folder " + quoted(inFolder) + " holds no sound files");
    std::sort(files.begin(), files.end());
    return files;
}

std::optional<FileIdentity> identityOf(const fs::path& inPath)
{
    struct stat status = {};
    if (::stat(inPath.c_str(), &status) != 0)
        return std::nullopt;
    return FileIdentity{status.st_dev, status.st_ino};
}

} // namespace

std::vector<RenderJob> planBatch(const std::vector<fs::path>& inInputs, const fs::path& inFolder,
                                 const std::string& inFormat, const RenderJob& inTemplate)
{
    checkWritableFolder(inFolder);
    std::vector<fs::path> files;
    for (const fs::path& input : inInputs) {
        std::error_code error;
        if (fs::is_directory(input, error)) {
            const std::vector<fs::path> found = soundFilesIn(input);
            files.insert(files.end(), found.begin(), found.end());
        } else {
            files.push_back(input);
        }
    }
    std::vector<FileIdentity> inputs;
    for (const fs::path& file : files)
        if (const std::optional<FileIdentity> identity = identityOf(file))
            inputs.push_back(*identity);

    const auto checkTarget = [&](const fs::path& inPath) {
        const std::optional<FileIdentity> identity = identityOf(inPath);
        if (identity && std::find(inputs.begin(), inputs.end(), *identity) != inputs.end())
            throw UsageError(quoted(inPath) + " is one of the inputs; q38 never overwrites its input");
        checkOutputPath(inPath, nullptr, inTemplate.mOverwrite);
    };
    std::vector<RenderJob> jobs;
    std::map<fs::path, fs::path> inputOf; // by output, to refuse two of one name
    for (const fs::path& file : files) {
        RenderJob job = inTemplate;
        job.mInput = file;
        job.mOutput = inFolder / file.filename();
        if (!inFormat.empty())
            job.mOutput.replace_extension("." + inFormat);
        if (const auto [other, fresh] = inputOf.emplace(job.mOutput.lexically_normal(), file); !fresh)
            throw UsageError(quoted(other->second) + " and " + quoted(file) + " would both be written to " +
                             quoted(job.mOutput));
        // The format's rate and channels are checked for each file as it renders.
        chooseOutputFormat(job.mOutput, job.mSubtype, 1, 48000);
        checkTarget(job.mOutput);
        if (job.mPresetPath) {
            job.mPresetPath = fs::path(job.mOutput).replace_extension(".q38preset");
            checkTarget(*job.mPresetPath);
        }
        jobs.push_back(std::move(job));
    }
    return jobs;
}

std::vector<BatchItem> renderBatch(const std::vector<RenderJob>& inJobs, unsigned inWorkers, bool inShowProgress)
{
    const std::size_t count = inJobs.size();
    std::vector<BatchItem> items(count);
    std::vector<double> fractions(count, 0.0);
    std::size_t finished = 0;
    std::size_t failed = 0;
    std::mutex mutex; // guards the above, the progress line and standard error
    ProgressBar progress(inShowProgress);
    const auto drawLocked = [&] {
        std::string detail = std::to_string(finished) + " of " + std::to_string(count) + " files";
        if (failed > 0)
            detail += ", " + std::to_string(failed) + " failed";
        progress.update(std::accumulate(fractions.begin(), fractions.end(), 0.0) / double(count), detail);
    };

    std::atomic<std::size_t> next = 0;
    const auto work = [&] {
        for (std::size_t index; (index = next.fetch_add(1)) < count;) {
            RenderJob job = inJobs[index];
            job.mOnProgress = [&, index](sf_count_t inDone, sf_count_t inTotal) {
                const std::lock_guard lock(mutex);
                fractions[index] = inTotal > 0 ? double(inDone) / double(inTotal) : 0.0;
                drawLocked();
            };
            std::optional<RenderResult> result;
            std::string error;
            try {
                result = render(job);
            } catch (const std::exception& failure) {
                error = failure.what();
            }
            const std::lock_guard lock(mutex);
            items[index] = {std::move(result), error};
            if (!error.empty()) {
                ++failed;
                progress.clear();
                std::cerr << "q38: " << oneLine(error) << std::endl;
            }
            fractions[index] = 1.0;
            ++finished;
            drawLocked();
        }
    };
    {
        std::vector<std::jthread> workers;
        for (unsigned worker = 0; worker < std::max(1u, inWorkers) && worker < count; ++worker)
            workers.emplace_back(work);
    }
    progress.clear();
    return items;
}

std::string describeBatch(const std::vector<RenderJob>& inJobs, const std::vector<BatchItem>& inItems,
                          double inSeconds, unsigned inWorkers)
{
    // Loudness in and out share a column each, to keep the lines short.
    const bool matching = !inJobs.empty() && inJobs.front().mMatchLoudness;
    std::vector<std::vector<std::string>> rows = {{"input", "output", "seconds", "peak in", "peak out", "RMS in",
                                                   "RMS out", "LUFS in/out", "dBTP in/out"}};
    if (matching)
        rows.front().push_back("matched");
    rows.front().insert(rows.front().end(), {"meter 1", "meter 2"});
    std::vector<std::string> notes;
    double audioSeconds = 0.0;
    std::size_t failed = 0;
    char number[32];
    for (std::size_t index = 0; index < inJobs.size(); ++index) {
        const RenderJob& job = inJobs[index];
        const BatchItem& item = inItems[index];
        if (!item.mResult) {
            ++failed;
            rows.push_back({job.mInput.string(), "failed: " + oneLine(item.mError)});
            continue;
        }
        const RenderResult& result = *item.mResult;
        const double seconds = double(result.mFrames) / result.mSampleRate;
        audioSeconds += seconds;
        std::vector<std::string> row = {job.mInput.string(), job.mOutput.string()};
        std::snprintf(number, sizeof number, "%.3f", seconds);
        row.push_back(number);
        for (const double level : {result.mInputLevels.peakDb(), result.mOutputLevels.peakDb(),
                                   result.mInputLevels.rmsDb(), result.mOutputLevels.rmsDb()})
            row.push_back(formatDecibels(level));
        const LoudnessReport& loudness = result.mLoudness;
        row.push_back(formatDecibels(loudness.mInputLufs) + "/" + formatDecibels(loudness.mOutputLufs));
        row.push_back(formatDecibels(loudness.mInputTruePeakDb) + "/" + formatDecibels(loudness.mOutputTruePeakDb));
        if (matching) {
            std::snprintf(number, sizeof number, "%+.2f dB", loudness.mGainDb);
            row.push_back(loudness.mMatched ? number : "-");
        }
        for (int meter = 0; meter < kNumMeters; ++meter) {
            std::snprintf(number, sizeof number, "%.3f", result.mMeterPeak[meter]);
            row.push_back(meter < result.mChannels ? number : "-");
        }
        rows.push_back(row);
        if (result.mInputLevels.mNonFinite > 0)
            notes.push_back(job.mInput.string() + ": " + std::to_string(result.mInputLevels.mNonFinite) +
                            " non-finite input samples treated as silence");
        if (result.mClippedSamples > 0)
            notes.push_back(job.mOutput.string() + ": " + std::to_string(result.mClippedSamples) +
                            " samples clipped at full scale");
        for (const std::string& note : loudnessNotes(result.mLoudness))
            notes.push_back(job.mOutput.string() + ": " + note);
    }

    // Columns as wide as their widest cell; a failure's message runs on.
    std::vector<std::size_t> widths(rows.front().size(), 0);
    for (const auto& row : rows)
        for (std::size_t column = 0; column < row.size() && row.size() > 2; ++column)
            widths[column] = std::max(widths[column], row[column].size());
    std::ostringstream text;
    for (const auto& row : rows) {
        std::string line;
        for (std::size_t column = 0; column < row.size(); ++column) {
            const std::string& cell = row[column];
            const std::string pad(widths[column] > cell.size() ? widths[column] - cell.size() : 0, ' ');
            line += "  ";
            line += column < 2 ? cell + (row.size() > 2 ? pad : "") : pad + cell;
        }
        while (!line.empty() && line.back() == ' ')
            line.pop_back();
        text << line << "\n";
    }
    std::snprintf(number, sizeof number, "%.2f", inSeconds);
    text << inJobs.size() << " files: " << inJobs.size() - failed << " rendered, " << failed << " failed; "
         << number << " s on " << inWorkers << (inWorkers == 1 ? " thread" : " threads");
    if (inSeconds > 0.0) {
        std::snprintf(number, sizeof number, "%.1f", audioSeconds / inSeconds);
        text << ", " << number << "x real time";
    }
    text << "\n";
    for (const std::string& note : notes)
        text << "  " << note << "\n";
    return text.str();
}

} // namespace cli
