#include "cli_Arguments.h"

#include "cli_AudioFile.h"
#include "cli_Error.h"
#include "cli_Plot.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <sstream>

namespace cli {

namespace {

bool isSwitchAlias(const Alias& inAlias, const ParameterTable& inTable)
{
    for (int id : inAlias.mIds)
        if (inTable.parameter(id).mKind != ParameterKind::kSwitch)
            return false;
    return true;
}

std::string quoteIfSpaced(const std::string& inText)
{
    return inText.find(' ') == std::string::npos ? inText : "\"" + inText + "\"";
}

// A value for the examples: three quarters up a range, or the second text.
std::string exampleValue(const ParameterInfo& inInfo)
{
    if (inInfo.mKind == ParameterKind::kContinuous)
        return formatNumber(std::round(inInfo.mLowest + 0.75f * (inInfo.mHighest - inInfo.mLowest)));
    if (inInfo.mKind == ParameterKind::kSwitch)
        return quoteIfSpaced(inInfo.mTexts[inInfo.mDefault > 0.5f ? 0 : 1]);
    if (inInfo.mTexts.size() > 1)
        return quoteIfSpaced(inInfo.mTexts[1]);
    return "0.5";
}

class ArgumentReader
{
public:
    explicit ArgumentReader(const std::vector<std::string>& inArguments) : mArguments(inArguments) {}

    bool done() const { return mNext >= mArguments.size(); }
    const std::string* peek() const { return done() ? nullptr : &mArguments[mNext]; }
    std::string take() { return mArguments[mNext++]; }

    // The value of an option: after '=' or the next argument.
    std::string value(const std::string& inOption, const std::optional<std::string>& inInline,
                      const std::string& inExample)
    {
        if (inInline)
            return *inInline;
        if (done())
            throw UsageError("option " + inOption + " needs a value (e.g. " + inExample + ")");
        return take();
    }

private:
    const std::vector<std::string>& mArguments;
    std::size_t mNext = 0;
};

// After an option whose value may be left out: the next argument is its
// value unless it is another option or an existing file (the input).
bool optionalValueFollows(const std::string& inNext)
{
    return !inNext.starts_with("-") && !std::filesystem::exists(inNext);
}

unsigned long long parseSeed(const std::string& inText)
{
    unsigned long long seed = 0;
    const auto [end, error] = std::from_chars(inText.data(), inText.data() + inText.size(), seed);
    if (inText.empty() || error != std::errc() || end != inText.data() + inText.size())
        throw UsageError("--seed takes a whole number from 0 to 18446744073709551615, not \"" + inText + "\"");
    return seed;
}

double parseDecibels(const std::string& inOption, const std::string& inText)
{
    double value = 0.0;
    const std::string text = !inText.empty() && inText.front() == '+' ? inText.substr(1) : inText;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc() || end != text.data() + text.size())
        throw UsageError(inOption + " takes a number, not \"" + inText + "\"");
    return value;
}

// The options of analyze alone; false for any other option.
bool parseAnalyzeOption(ArgumentReader& ioReader, const std::string& inOption,
                        const std::optional<std::string>& inInline, AnalyzeOptions& ioOptions)
{
    if (inOption == "--rate") {
        const std::string text = ioReader.value(inOption, inInline, "--rate 96000");
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), ioOptions.mSampleRate);
        if (text.empty() || error != std::errc() || end != text.data() + text.size())
            throw UsageError("--rate takes a whole number of Hz, not \"" + text + "\"");
    } else if (inOption == "--level") {
        ioOptions.mLevelDb = parseDecibels(inOption, ioReader.value(inOption, inInline, "--level -20"));
    } else if (inOption == "--csv") {
        ioOptions.mCsv = ioReader.value(inOption, inInline, "--csv response.csv");
    } else if (inOption == "--size") {
        plot::parseImageSize(ioReader.value(inOption, inInline, "--size 1200x800"), ioOptions.mWidth, ioOptions.mHeight);
    } else if (inOption == "--drive") {
        if (inInline)
            throw UsageError("option --drive takes no value");
        ioOptions.mDrive = true;
    } else {
        return false;
    }
    return true;
}

void parseRenderOrDemo(ArgumentReader& ioReader, Command& ioCommand, const ParameterTable& inTable)
{
    const bool analyze = ioCommand.mKind == CommandKind::kAnalyze;
    const bool render = ioCommand.mKind == CommandKind::kRender || analyze;
    bool optionsEnded = false;
    std::vector<std::filesystem::path> positional;
    while (!ioReader.done()) {
        const std::string argument = ioReader.take();
        if (optionsEnded || argument.size() < 2 || argument[0] != '-') {
            positional.push_back(argument);
            continue;
        }
        if (argument == "--") {
            optionsEnded = true;
            continue;
        }
        std::string option = argument;
        std::optional<std::string> inlineValue;
        if (const std::size_t equals = argument.find('=');
            argument.rfind("--", 0) == 0 && equals != std::string::npos) {
            option = argument.substr(0, equals);
            inlineValue = argument.substr(equals + 1);
        }
        const auto noValue = [&] {
            if (inlineValue)
                throw UsageError("option " + option + " takes no value");
        };

        if (option == "-h" || option == "--help") {
            ioCommand.mHelpTopic = analyze ? "analyze" : render ? "render" : "demo";
            ioCommand.mKind = CommandKind::kHelp;
            return;
        }
        if (option == "-o" || option == "--output") {
            ioCommand.mOutput = ioReader.value(option, inlineValue, render ? "-o out.wav" : "-o demo-out");
        } else if (option == "-q" || option == "--quiet") {
            noValue();
            ioCommand.mQuiet = true;
        } else if (option == "--match-loudness" && !analyze) {
            noValue();
            ioCommand.mMatchLoudness = true;
        } else if (analyze && parseAnalyzeOption(ioReader, option, inlineValue, ioCommand.mAnalyze)) {
        } else if (!render) {
            throw UsageError("unknown option " + option + " for demo (q38 demo --help lists them)");
        } else if (option == "-f" || option == "--force") {
            noValue();
            ioCommand.mForce = true;
        } else if (option == "--subtype") {
            ioCommand.mSubtype = ioReader.value(option, inlineValue, "--subtype PCM_24");
        } else if (option == "--seed") {
            ioCommand.mSeed = parseSeed(ioReader.value(option, inlineValue, "--seed 38"));
        } else if (option == "--set") {
            const std::string assignment = ioReader.value(option, inlineValue, "--set \"Ch.1: Input Gain=40dB\"");
            const std::size_t equals = assignment.find('=');
            if (equals == std::string::npos)
                throw UsageError("--set takes NAME=VALUE, not \"" + assignment + "\"");
            inTable.parseAssignment(assignment.substr(0, equals), assignment.substr(equals + 1), ioCommand.mSettings);
        } else if (option == "--preset") {
            const Settings loaded = inTable.loadPreset(ioReader.value(option, inlineValue, "--preset warm.q38preset"));
            ioCommand.mSettings.insert(ioCommand.mSettings.end(), loaded.begin(), loaded.end());
        } else if (option == "--save-preset" && !analyze) {
            // The file is optional; a following argument is it when it is
            // neither an option nor the input (an existing file), unless it
            // is named like a preset.
            ioCommand.mPresetOutput = inlineValue.value_or("");
            if (const std::string* next = ioReader.peek();
                !inlineValue && next && (optionalValueFollows(*next) || next->ends_with(".q38preset")))
                ioCommand.mPresetOutput = ioReader.take();
        } else if (option == "--bypass") {
            noValue();
            inTable.parseAssignment("enable-effect", "off", ioCommand.mSettings);
        } else if (const Alias* alias = option.rfind("--", 0) == 0 ? inTable.findAlias(option.substr(2)) : nullptr) {
            const ParameterInfo& first = inTable.parameter(alias->mIds.front());
            std::string value;
            if (inlineValue) {
                value = *inlineValue;
            } else if (isSwitchAlias(*alias, inTable)) {
                // A switch alone turns to its second text.
                value = first.mTexts[1];
                if (const std::string* next = ioReader.peek(); next && optionalValueFollows(*next))
                    value = ioReader.take();
            } else {
                value = ioReader.value(option, inlineValue, option + " " + exampleValue(first));
            }
            for (int id : alias->mIds)
                ioCommand.mSettings.push_back({id, inTable.parseValue(id, value, false)});
        } else {
            throw UsageError("unknown option " + option +
                             (analyze ? " (q38 analyze --help lists them)"
                                      : render ? " (q38 render --help lists them)" : ""));
        }
    }

    if (analyze) {
        if (!positional.empty())
            throw UsageError("analyze takes no input file; it measures the engine (q38 analyze --help)");
        if (ioCommand.mOutput.empty())
            throw UsageError("analyze needs a plot file: q38 analyze -o response.svg");
        return;
    }
    if (!render) {
        if (!positional.empty())
            throw UsageError("demo takes no file; give its folder with -o FOLDER");
        if (ioCommand.mOutput.empty())
            ioCommand.mOutput = "q38-demo";
        return;
    }
    if (positional.size() != 1)
        throw UsageError(positional.empty()
                             ? "render needs an input file: q38 render IN -o OUT"
                             : "render takes one input file; found " + std::to_string(positional.size()));
    ioCommand.mInput = positional.front();
    if (ioCommand.mOutput.empty())
        throw UsageError("render needs an output file: q38 render IN -o OUT");
    if (ioCommand.mPresetOutput && ioCommand.mPresetOutput->empty())
        ioCommand.mPresetOutput = std::filesystem::path(ioCommand.mOutput).replace_extension(".q38preset");
    if (ioCommand.mPresetOutput && std::filesystem::weakly_canonical(*ioCommand.mPresetOutput) ==
                                       std::filesystem::weakly_canonical(ioCommand.mOutput))
        throw UsageError("the preset and the output cannot be the same file");
}

// --- Help --------------------------------------------------------------------------

std::string settingOptions(const ParameterTable& inTable)
{
    // A both-channel group takes the words of its single channels along.
    std::vector<Alias> entries;
    for (const Alias& group : inTable.optionGroups()) {
        const bool partOfLast = !entries.empty() && group.mIds.size() == 1 && entries.back().mIds.size() > 1 &&
                                std::count(entries.back().mIds.begin(), entries.back().mIds.end(), group.mIds.front());
        if (!partOfLast)
            entries.push_back(group);
    }
    std::ostringstream text;
    for (const Alias& entry : entries) {
        const ParameterInfo& first = inTable.parameter(entry.mIds.front());
        const bool isSwitch = first.mKind == ParameterKind::kSwitch;
        std::string what;
        for (int id : entry.mIds)
            what += (what.empty() ? "" : " and ") + inTable.parameter(id).mName;
        what += ": " + inTable.rangeText(first.mId);
        if (isSwitch)
            what += "; alone: " + first.mTexts[1];
        // "--input-gain" of a group stands for "--input-gain[1|2]".
        std::string words;
        std::string shortest;
        std::istringstream list(entry.mWord);
        for (std::string word; std::getline(list >> std::ws, word, ',');) {
            std::string channels;
            for (std::size_t channel = 1; entry.mIds.size() > 1 && channel <= entry.mIds.size(); ++channel)
                if (inTable.findAlias(word.substr(2) + std::to_string(channel))) {
                    channels += channels.empty() ? "[" : "|";
                    channels += std::to_string(channel);
                }
            words += (words.empty() ? "" : ", ") + word + (channels.empty() ? "" : channels + "]");
            if (shortest.empty() || word.size() < shortest.size())
                shortest = word;
        }
        text << "  " << words
             << (isSwitch                                    ? " [TEXT]"
                 : first.mKind == ParameterKind::kContinuous ? " VALUE"
                                                             : " TEXT")
             << "\n      " << what << "\n      e.g. " << shortest << " " << exampleValue(first) << "\n";
    }
    return text.str();
}

std::string overviewHelp()
{
    return R"(q38 renders sound files through the Q38 model of a two-channel vacuum-tube
microphone preamplifier (input gain, switchable high-pass, high and low tone
controls, output trim).

Usage:
  q38 render IN -o OUT [settings] [options]   render one file
  q38 demo [-o FOLDER]                        render a built-in programme at a few input gains
  q38 analyze -o PLOT [settings] [options]    plot the response and harmonics, or --drive
                                              the output level and THD against input level
  q38 params                                  list the engine's parameters, ranges and texts
  q38 help [render|demo|analyze|params]       this text, or one command's options
  q38 --version                               the program's version

Examples:
  q38 demo -o q38-demo
  q38 render vocal.wav -o vocal-q38.wav --input-gain 40 --highpass "80 Hz"
  q38 render take.flac -o take.wav --subtype PCM_24 --preset warm.q38preset --seed 38
  q38 params
  q38 analyze -o response.svg --input-gain 50 --highpass "80 Hz"

Exit status: 0 on success; 1 when a file cannot be read or written; 2 for a bad
command line, setting or preset. Errors are one line on standard error.
)";
}

std::string renderHelp(const ParameterTable& inTable)
{
    std::ostringstream text;
    text << R"(Usage: q38 render IN -o OUT [settings] [options]

Reads IN (WAV, AIFF, FLAC, Ogg and whatever else libsndfile reads; mono or
stereo; )"
         << kLowestSampleRate << " to " << kHighestSampleRate << R"( Hz), runs it through the engine at the file's own
rate in blocks of at most 32 samples, and writes OUT with the same length,
rate and channels. OUT is written under a temporary name in its folder and
renamed into place only when all went well; the input is never overwritten.

Files:
  -o, --output OUT
      the file to write; its extension chooses the format: .wav .aiff .aif
      .flac .ogg .oga .opus .caf .w64 .rf64 .au (32-bit float where the format
      has it, 24-bit FLAC, Vorbis in .ogg, Opus in .opus)
      e.g. -o vocal-q38.wav
  --subtype NAME
      the sample format instead of the default: PCM_S8, PCM_U8, PCM_16, PCM_24,
      PCM_32, FLOAT, DOUBLE, VORBIS, OPUS, ULAW, ALAW (integer formats clip
      above full scale)
      e.g. --subtype PCM_24
  -f, --force
      replace OUT if it exists (the input is refused even so)
      e.g. q38 render in.wav -o out.wav -f
  --save-preset [FILE]
      after a successful render, write the settings used to FILE, by default
      OUT with the extension .q38preset; --force also lets it replace FILE.
      FILE is taken when it is not an option and not an existing file, or is
      named *.q38preset; --save-preset=FILE always takes it
      e.g. --save-preset   or   --save-preset warm.q38preset

Settings, applied in the order given (a later one wins):
  --set NAME=VALUE
      one parameter by its name, option word or id (q38 params). The value is
      the physical value, unit optional, or a value text; after a numeric id
      a bare number is the normalized value 0..1 that the engine receives
      e.g. --set "Ch.1: Input Gain=40dB"   --set highpass2="300 Hz"   --set 7=0.25
  --preset FILE
      settings from a file: one NAME = VALUE a line as for --set, # comments
      e.g. --preset warm.q38preset
  --bypass
      "Enable Effect" off: the output is the input, sample for sample
      e.g. --bypass

  Option words, made from the engine's parameter names. A word without a
  channel number sets both channels, with 1 or 2 that channel only (e.g.
  --trim -3, --trim2 -3); a switch word alone sets its second text; values out
  of range are refused:
)" << settingOptions(inTable)
         << R"(
Other options:
  --match-loudness
      scale the output, after rendering and in floating point, to the input's
      integrated loudness, for A/B listening at equal loudness; the summary
      gives the gain and warns when a fixed-point output's true peak goes over
      full scale
      e.g. --match-loudness
  --seed N
      start the hiss from N, so the same input, settings and seed give the
      same output bit for bit; without it the hiss differs on every run
      e.g. --seed 38
  -q, --quiet
      no progress bar and no summary (errors still go to standard error)
      e.g. -q
  -h, --help
      this text
      e.g. q38 render --help

A progress bar appears on standard error when a render takes more than about
a second and standard error is a terminal. The summary on standard output
gives the duration, the real-time factor, peak and RMS levels in dBFS (a
full-scale sine has an RMS of -3 dBFS), integrated loudness (LUFS) and true
peak (dBTP) of input and output, and the highest reading of each meter.
)";
    return text.str();
}

std::string demoHelp()
{
    return R"(Usage: q38 demo [-o FOLDER] [-q]

Synthesises a short programme (a voice-like signal on the left, a plucked
string on the right, then a sine sweep on both), writes it as programme.wav,
renders it at a few input gains with a fixed hiss seed, and prints for each
file the peak and RMS level, integrated loudness and true peak before and
after, and the highest reading of the two meters. The demo replaces its own
files on every run.

Options:
  -o, --output FOLDER
      where the files go (created if missing; default q38-demo)
      e.g. q38 demo -o out/demo
  -q, --quiet
      no progress bar
      e.g. q38 demo -q
  --match-loudness
      scale each rendered file to the programme's integrated loudness
      e.g. q38 demo --match-loudness
  -h, --help
      this text
)";
}

std::string analyzeHelp(const ParameterTable& inTable)
{
    std::ostringstream text;
    text << R"(Usage: q38 analyze -o PLOT.svg|PLOT.png [settings] [options]

Measures the engine itself at the given settings with an exponential sine
sweep on one channel at a time, and plots the magnitude response (output over
input) from 20 Hz to 20 kHz (or 0.45 of the rate) and the 2nd and 3rd
harmonics relative to the fundamental, for fundamentals up to a third of that
top frequency (above, the 3rd harmonic is out of the band). A second run on
silence gives the hiss
floor: a value less than 6 dB above it is not drawn, and the plot says so.
Channel 2 is measured too when its settings differ from channel 1's.

With --drive it plays a 1 kHz sine from -60 to 0 dBFS in 1 dB steps instead,
and plots the output level and the total harmonic distortion (harmonics 2 to
10) against the input level.

Options:
  -o, --output PLOT
      the plot, PNG or SVG by its extension
      e.g. -o response.svg
  --csv FILE
      also write the numbers; values under the hiss floor are left empty
      e.g. --csv response.csv
  --rate R
      the sample rate in Hz, )"
         << kLowestAnalyzeRate << " to " << kHighestAnalyzeRate << R"( (default 48000)
      e.g. --rate 96000
  --level DBFS
      the sweep's peak level, -120 to 0 (default -40; a full-scale sine is 0)
      e.g. --level -20
  --drive
      the transfer curve at 1 kHz instead of the sweep
  --size WIDTHxHEIGHT
      the plot's size in pixels (default 960x720)
      e.g. --size 1200x800
  --seed N
      the hiss's seed (default 38), so that a measurement repeats exactly
  -f, --force
      replace the plot and the CSV file if they exist
  -q, --quiet
      no summary

Settings: as for q38 render (--set, --preset, --bypass and the option words):
)" << settingOptions(inTable);
    return text.str();
}

std::string paramsHelp()
{
    return R"(Usage: q38 params

Lists the engine's 17 parameters as the engine reports them: id, name, unit,
range or value texts, default, and the option words that set each one.
)";
}

} // namespace

Command parseCommandLine(const std::vector<std::string>& inArguments, const ParameterTable& inTable)
{
    ArgumentReader reader(inArguments);
    Command command;
    if (reader.done())
        return command;
    const std::string name = reader.take();
    if (name == "-h" || name == "--help" || name == "help") {
        command.mHelpTopic = reader.done() ? "" : reader.take();
        if (command.mHelpTopic != "" && command.mHelpTopic != "render" && command.mHelpTopic != "demo" &&
            command.mHelpTopic != "params" && command.mHelpTopic != "analyze")
            throw UsageError("no help on \"" + command.mHelpTopic + "\"; commands are render, demo, analyze, params");
        return command;
    }
    if (name == "--version") {
        command.mKind = CommandKind::kVersion;
    } else if (name == "params") {
        command.mKind = CommandKind::kParams;
        if (const std::string* next = reader.peek(); next && (*next == "-h" || *next == "--help")) {
            command.mKind = CommandKind::kHelp;
            command.mHelpTopic = "params";
        } else if (next)
            throw UsageError("params takes no arguments");
    } else if (name == "render" || name == "demo" || name == "analyze") {
        command.mKind = name == "render" ? CommandKind::kRender
                        : name == "demo" ? CommandKind::kDemo
                                         : CommandKind::kAnalyze;
        parseRenderOrDemo(reader, command, inTable);
    } else {
        throw UsageError("unknown command \"" + name + "\" (q38 --help lists the commands)");
    }
    return command;
}

std::string helpText(const std::string& inTopic, const ParameterTable& inTable)
{
    if (inTopic == "render")
        return renderHelp(inTable);
    if (inTopic == "demo")
        return demoHelp();
    if (inTopic == "params")
        return paramsHelp();
    if (inTopic == "analyze")
        return analyzeHelp(inTable);
    return overviewHelp();
}

} // namespace cli
