// q38._q38: the engine, the q38 program's parameter table and its file
// rendering, for the pure-Python layer of the package q38. Values cross this
// boundary as the engine's normalized floats; names, texts and checks stay
// with the Python layer and the table.

#include "Q38Engine.h"
#include "cli_AudioFile.h"
#include "cli_Error.h"
#include "cli_FactoryPresets.h"
#include "cli_Parameters.h"
#include "cli_Render.h"
#include "py_Processor.h"

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include <charconv>
#include <cmath>
#include <cstring>

namespace {

namespace py = pybind11;
using namespace pybind11::literals;

const cli::ParameterTable& table()
{
    static const cli::ParameterTable instance;
    return instance;
}

Q38Engine& probe()
{
    static const std::unique_ptr<Q38Engine> engine(createQ38Engine());
    return *engine;
}

const char* kindName(cli::ParameterKind inKind)
{
    switch (inKind) {
    case cli::ParameterKind::kContinuous:
        return "continuous";
    case cli::ParameterKind::kSwitch:
        return "switch";
    case cli::ParameterKind::kFourWay:
        return "four-way";
    case cli::ParameterKind::kPlain:
        break;
    }
    return "plain";
}

py::list parameters()
{
    py::list list;
    for (const cli::ParameterInfo& info : table().parameters())
        list.append(py::dict("id"_a = info.mId, "name"_a = info.mName, "unit"_a = info.mUnit,
                             "kind"_a = kindName(info.mKind), "lowest"_a = info.mLowest,
                             "highest"_a = info.mHighest, "default"_a = info.mDefault, "texts"_a = info.mTexts,
                             "range_text"_a = table().rangeText(info.mId)));
    return list;
}

// Each group of option words ("--highpass-freq1, --highpass1") with its ids.
std::vector<std::pair<std::vector<std::string>, std::vector<int>>> optionWords()
{
    std::vector<std::pair<std::vector<std::string>, std::vector<int>>> groups;
    for (const cli::Alias& group : table().optionGroups()) {
        std::vector<std::string> words;
        std::string_view rest = group.mWord;
        while (!rest.empty()) {
            const std::size_t comma = rest.find(", ");
            std::string_view word = rest.substr(0, comma);
            while (!word.empty() && word.front() == '-')
                word.remove_prefix(1);
            words.emplace_back(word);
            rest = comma == std::string_view::npos ? std::string_view() : rest.substr(comma + 2);
        }
        groups.emplace_back(std::move(words), group.mIds);
    }
    return groups;
}

bool readsBack(int inId, const std::string& inText, float inValue)
{
    try {
        const float value = table().parseValue(inId, inText, false);
        return std::memcmp(&value, &inValue, sizeof value) == 0;
    } catch (const cli::Error&) {
        return false;
    }
}

std::string shortest(double inValue)
{
    char text[32];
    const auto result = std::to_chars(text, text + sizeof text, inValue);
    return std::string(text, result.ptr);
}

// A value as a person gives it: the physical value for a continuous
// parameter, chosen so that it parses back to exactly inValue; the value text
// for the others.
py::object settingValue(int inId, float inValue)
{
    const cli::ParameterInfo& info = table().parameter(inId);
    if (info.mKind == cli::ParameterKind::kSwitch || info.mKind == cli::ParameterKind::kFourWay)
        return py::str(table().formatValue(inId, inValue));
    if (info.mKind == cli::ParameterKind::kPlain)
        return py::float_(inValue);
    // The engine's own float result reads best ("40"); where it cannot carry
    // the exact value, the same line in double precision can.
    const double candidates[] = {probe().getPhysicalValue(inId, inValue),
                                 double(info.mLowest) + double(inValue) * (double(info.mHighest) - info.mLowest)};
    for (double candidate : candidates)
        if (readsBack(inId, shortest(candidate), inValue))
            return py::float_(candidate);
    throw std::runtime_error(info.mName + ": no physical value reads back as " + cli::formatNumber(inValue));
}

// A factory preset's word or name, or a preset file, as q38 --preset takes it.
std::vector<std::pair<int, float>> loadPreset(const std::string& inPresetOrFile)
{
    std::vector<std::pair<int, float>> settings;
    for (const cli::Setting& setting : cli::loadPreset(table(), inPresetOrFile))
        settings.emplace_back(setting.mId, setting.mValue);
    return settings;
}

py::list factoryPresets()
{
    py::list list;
    for (const cli::FactoryPreset& preset : cli::factoryPresets())
        list.append(py::dict("word"_a = preset.mWord, "name"_a = preset.mName, "purpose"_a = preset.mPurpose,
                             "stereo_only"_a = preset.mStereoOnly));
    return list;
}

py::dict renderFile(const std::filesystem::path& inInput, const std::filesystem::path& inOutput,
                    const cli::ParameterValues& inValues, std::optional<unsigned long long> inSeed, bool inForce,
                    const std::string& inSubtype, bool inLoudness)
{
    cli::RenderJob job;
    job.mMeasureLoudness = inLoudness;
    job.mInput = inInput;
    job.mOutput = inOutput;
    job.mSubtype = inSubtype;
    job.mOverwrite = inForce;
    job.mSeed = inSeed;
    job.mValues = inValues;
    cli::RenderResult result;
    {
        const py::gil_scoped_release release;
        result = cli::render(job);
    }
    py::dict summary("channels"_a = result.mChannels, "sample_rate"_a = result.mSampleRate,
                     "frames"_a = result.mFrames, "seconds"_a = double(result.mFrames) / result.mSampleRate,
                     "input_format"_a = result.mInputFormat, "output_format"_a = result.mOutputFormat,
                     "meter_peaks"_a = py::make_tuple(result.mMeterPeak[0], result.mMeterPeak[1]),
                     "non_finite_samples"_a = result.mInputLevels.mNonFinite);
    if (result.mLoudness.mMeasured) {
        summary["input_lufs"] = result.mLoudness.mInputLufs;
        summary["input_true_peak_db"] = result.mLoudness.mInputTruePeakDb;
        summary["output_lufs"] = result.mLoudness.mOutputLufs;
        summary["output_true_peak_db"] = result.mLoudness.mOutputTruePeakDb;
    }
    return summary;
}

using Audio = py::array_t<float, py::array::c_style | py::array::forcecast>;

py::array_t<float> process(pyq38::Processor& ioProcessor, const Audio& inAudio, int inSampleRate, bool inReset,
                           const cli::ParameterValues& inValues)
{
    if (inAudio.ndim() != 2)
        throw std::invalid_argument("audio must be shaped (channels, samples)");
    const py::ssize_t channels = inAudio.shape(0);
    const py::ssize_t samples = inAudio.shape(1);
    py::array_t<float> output({channels, samples});
    const float* input = inAudio.data();
    float* out = output.mutable_data();
    {
        const py::gil_scoped_release release;
        ioProcessor.process(input, out, static_cast<int>(channels), static_cast<long>(samples), inSampleRate,
                            inReset, inValues);
    }
    return output;
}

} // namespace

PYBIND11_MODULE(_q38, m)
{
    m.doc() = "The Q38 engine and the q38 program's parameter table and file rendering (internal).";
    m.attr("__version__") = Q38_VERSION;
    m.attr("NUM_PARAMETERS") = int(kNumParameters);
    m.attr("BLOCK_SIZE") = kQ38MaxBufferSize;
    m.attr("LOWEST_SAMPLE_RATE") = cli::kLowestSampleRate;
    m.attr("HIGHEST_SAMPLE_RATE") = cli::kHighestSampleRate;

    py::register_exception_translator([](std::exception_ptr inError) {
        try {
            if (inError)
                std::rethrow_exception(inError);
        } catch (const cli::UsageError& error) {
            PyErr_SetString(PyExc_ValueError, error.what());
        } catch (const cli::Error& error) {
            PyErr_SetString(PyExc_OSError, error.what());
        }
    });

    m.def("parameters", &parameters, "The engine's parameters in id order, as the q38 program sees them.");
    m.def("option_words", &optionWords, "The q38 program's option words, grouped by the ids they set.");
    m.def(
        "defaults", [] { return table().defaults(); }, "Every parameter's default normalized value.");
    m.def(
        "parse_value",
        [](int inId, const std::string& inText, bool inNormalizedNumbers) {
            return table().parseValue(inId, inText, inNormalizedNumbers);
        },
        "id"_a, "text"_a, "normalized_numbers"_a = false,
        "The normalized value of a physical value (unit optional) or a value text; ValueError names the range.");
    m.def("setting_value", &settingValue, "id"_a, "value"_a,
          "A normalized value as a setting: physical value or value text.");
    m.def("load_preset", &loadPreset, "preset"_a,
          "(id, normalized value) pairs of a factory preset or a preset file, in order.");
    m.def("factory_presets", &factoryPresets, "The factory presets: word, name, purpose, stereo_only.");
    m.def("render_file", &renderFile, "input"_a, "output"_a, "values"_a, "seed"_a, "force"_a, "subtype"_a, "loudness"_a,
          "Renders a sound file as the q38 program does; ValueError for a refused output, OSError for files.");
    m.def(
        "is_sound_file_name", [](const std::filesystem::path& inPath) { return cli::isSoundFileName(inPath); },
        "path"_a, "Whether a file's extension is that of a sound file q38 reads.");

    py::class_<pyq38::Processor>(m, "Processor")
        .def(py::init<std::optional<unsigned long long>>(), "seed"_a)
        .def("process", &process, "audio"_a, "sample_rate"_a, "reset"_a, "values"_a)
        .def_property_readonly("seed", &pyq38::Processor::seed)
        .def_property_readonly("meters", [](const pyq38::Processor& inProcessor) {
            const pyq38::MeterReadings readings = inProcessor.meters();
            return py::make_tuple(py::make_tuple(readings.mLast[0], readings.mLast[1]),
                                  py::make_tuple(readings.mPeak[0], readings.mPeak[1]));
        });
}
