#include "cli_Analyze.h"

#include "cli_AudioFile.h"
#include "cli_Drive.h"
#include "cli_Error.h"
#include "cli_Plot.h"
#include "cli_Sweep.h"
#include "host_OversampledEngine.h"

#include <cmath>
#include <cstdio>
#include <sstream>

namespace cli {

namespace {

namespace fs = std::filesystem;
using plot::LineStyle;

constexpr double kLowestLevel = -120.0;
constexpr plot::Colour kChannelColours[] = {plot::kBlue, plot::kOrange};
constexpr plot::Colour kHarmonicColours[] = {plot::kGreen, plot::kVermilion};

std::string channelName(int inChannel)
{
    return "Ch." + std::to_string(inChannel + 1);
}

std::string ordinal(int inOrder)
{
    return inOrder == 2 ? "2nd" : inOrder == 3 ? "3rd" : std::to_string(inOrder) + "th";
}

std::string formatFixed(double inValue, int inDecimals)
{
    if (!std::isfinite(inValue))
        return "";
    char text[32];
    std::snprintf(text, sizeof text, "%.*f", inDecimals, inValue + 0.0);
    return text;
}

// A physical value as a person writes it: "40", "39.5".
std::string shortNumber(double inValue)
{
    std::string text = formatFixed(std::round(inValue * 10.0) / 10.0, 1);
    if (text.size() > 2 && text.compare(text.size() - 2, 2, ".0") == 0)
        text.resize(text.size() - 2);
    return text == "-0" ? "0" : text;
}

std::string valueText(const ParameterTable& inTable, int inId, float inValue)
{
    const ParameterInfo& info = inTable.parameter(inId);
    if (info.mKind != ParameterKind::kContinuous)
        return inTable.formatValue(inId, inValue);
    const double physical = info.mLowest + double(inValue) * (double(info.mHighest) - info.mLowest);
    return shortNumber(physical) + " " + info.mUnit;
}

std::string rateText(int inRate)
{
    return shortNumber(inRate / 1000.0) + " kHz";
}

std::string levelText(double inLevel)
{
    return shortNumber(inLevel) + " dBFS";
}

// Values within the margin of their floor become gaps; says whether any did.
bool dropUnderFloor(std::vector<double>& ioValues, const std::vector<double>& inFloors)
{
    bool dropped = false;
    for (std::size_t i = 0; i < ioValues.size(); ++i)
        if (std::isfinite(ioValues[i]) && !clearsFloor(ioValues[i], inFloors[i])) {
            ioValues[i] = NAN;
            dropped = true;
        }
    return dropped;
}

void writeFile(const fs::path& inPath, const std::string& inBytes, bool inOverwrite)
{
    writeTextFile(inPath, inBytes, nullptr, inOverwrite);
}

// --- The sweep --------------------------------------------------------------------

plot::Figure responseFigure(const SweepResponse& inResponse, const std::string& inTitle, int inRate)
{
    const bool both = inResponse.mChannels.size() > 1;
    plot::Panel response;
    response.mXLabel = "Frequency (Hz)";
    response.mYLabel = "Output over input (dB)";
    response.mXMin = inResponse.mFrequencies.front();
    response.mXMax = topFrequency(inRate);
    plot::Panel harmonics = response;
    harmonics.mYLabel = "Harmonic re fundamental (dB)";
    harmonics.mXLabel = "Fundamental frequency (Hz)";

    bool responseDropped = false;
    bool harmonicDropped = false;
    for (const ChannelResponse& channel : inResponse.mChannels) {
        const std::string suffix = both ? " " + channelName(channel.mChannel) : "";
        const LineStyle style = channel.mChannel == 0 ? LineStyle::kSolid : LineStyle::kDashed;
        std::vector<double> level = channel.mResponseDb;
        if (dropUnderFloor(level, channel.mResponseFloorDb)) {
            responseDropped = true;
            response.mSeries.push_back({"hiss floor" + suffix, inResponse.mFrequencies, channel.mResponseFloorDb,
                                        plot::kGrey, LineStyle::kDotted, 1.4});
        }
        response.mSeries.push_back({both ? channelName(channel.mChannel) : "magnitude", inResponse.mFrequencies, level,
                                    kChannelColours[channel.mChannel], LineStyle::kSolid});
        for (std::size_t h = 0; h < channel.mHarmonics.size(); ++h) {
            const HarmonicCurve& curve = channel.mHarmonics[h];
            std::vector<double> values = curve.mLevelDb;
            harmonicDropped = dropUnderFloor(values, curve.mFloorDb) || harmonicDropped;
            harmonics.mSeries.push_back({ordinal(curve.mOrder) + " harmonic" + suffix, inResponse.mFrequencies,
                                         values, kHarmonicColours[h], style});
            // The channels' floors differ little: one legend entry for each harmonic's.
            harmonics.mSeries.push_back({channel.mChannel == inResponse.mChannels.front().mChannel
                                             ? "hiss floor, " + ordinal(curve.mOrder)
                                             : "",
                                         inResponse.mFrequencies, curve.mFloorDb, kHarmonicColours[h],
                                         LineStyle::kDotted, 1.2});
        }
    }
    if (responseDropped)
        response.mNotes.push_back("Where the output is less than 6 dB above the hiss floor (dotted) it is not drawn.");
    if (harmonicDropped)
        harmonics.mNotes.push_back("Harmonics less than 6 dB above the hiss floor (dotted) are not drawn.");
    plot::fitYRange(response, 3.0, 12.0, -90.0, 40.0);
    plot::fitYRange(harmonics, 10.0, 40.0, -180.0, 0.0);
    return {inTitle, 0, 0, {response, harmonics}};
}

std::string responseCsv(const SweepResponse& inResponse)
{
    std::ostringstream csv;
    csv << "frequency_hz";
    for (const ChannelResponse& channel : inResponse.mChannels) {
        const std::string prefix = "ch" + std::to_string(channel.mChannel + 1) + "_";
        csv << "," << prefix << "response_db," << prefix << "response_floor_db";
        for (const HarmonicCurve& curve : channel.mHarmonics)
            csv << "," << prefix << "h" << curve.mOrder << "_db," << prefix << "h" << curve.mOrder << "_floor_db";
    }
    csv << "\n";
    for (std::size_t i = 0; i < inResponse.mFrequencies.size(); ++i) {
        csv << formatFixed(inResponse.mFrequencies[i], 2);
        for (const ChannelResponse& channel : inResponse.mChannels) {
            const double level = channel.mResponseDb[i];
            const double floor = channel.mResponseFloorDb[i];
            csv << "," << (clearsFloor(level, floor) ? formatFixed(level, 3) : "") << "," << formatFixed(floor, 2);
            for (const HarmonicCurve& curve : channel.mHarmonics) {
                const double value = curve.mLevelDb[i];
                csv << "," << (clearsFloor(value, curve.mFloorDb[i]) ? formatFixed(value, 2) : "") << ","
                    << formatFixed(curve.mFloorDb[i], 2);
            }
        }
        csv << "\n";
    }
    return csv.str();
}

// The value of a curve at the point nearest inFrequency.
double nearest(const std::vector<double>& inFrequencies, const std::vector<double>& inValues, double inFrequency)
{
    std::size_t best = 0;
    for (std::size_t i = 1; i < inFrequencies.size(); ++i)
        if (std::fabs(std::log(inFrequencies[i] / inFrequency)) < std::fabs(std::log(inFrequencies[best] / inFrequency)))
            best = i;
    return inValues[best];
}

std::string responseSummary(const SweepResponse& inResponse)
{
    std::ostringstream text;
    for (const ChannelResponse& channel : inResponse.mChannels) {
        text << "  " << channelName(channel.mChannel) << ": response";
        for (const double f : {100.0, 1000.0, 10000.0}) {
            const double level = nearest(inResponse.mFrequencies, channel.mResponseDb, f);
            const double floor = nearest(inResponse.mFrequencies, channel.mResponseFloorDb, f);
            text << (f == 100.0 ? " " : ", ")
                 << (clearsFloor(level, floor) ? formatFixed(level, 2) + " dB" : "under the hiss") << " at "
                 << (f >= 1000.0 ? shortNumber(f / 1000.0) + " kHz" : shortNumber(f) + " Hz");
        }
        text << "; at 1 kHz";
        for (const HarmonicCurve& curve : channel.mHarmonics) {
            const double value = nearest(inResponse.mFrequencies, curve.mLevelDb, 1000.0);
            const double floor = nearest(inResponse.mFrequencies, curve.mFloorDb, 1000.0);
            text << (curve.mOrder == 2 ? " " : ", ") << ordinal(curve.mOrder) << " harmonic "
                 << (clearsFloor(value, floor) ? formatFixed(value, 1) + " dB"
                                               : "under the hiss (" + formatFixed(floor, 1) + " dB)");
        }
        text << "\n";
    }
    return text.str();
}

// --- The drive ----------------------------------------------------------------------

plot::Figure driveFigure(const DriveResponse& inDrive, const std::string& inTitle)
{
    const bool both = inDrive.mChannels.size() > 1;
    plot::Panel level;
    level.mLogX = false;
    level.mXLabel = "Input level (dBFS, sine peak)";
    level.mYLabel = "Output level (dBFS)";
    level.mXMin = inDrive.mInputDb.front();
    level.mXMax = inDrive.mInputDb.back();
    plot::Panel thd = level;
    thd.mYLabel = "THD (dB re fundamental)";

    bool dropped = false;
    for (const DriveCurve& curve : inDrive.mChannels) {
        const std::string suffix = both ? " " + channelName(curve.mChannel) : "";
        const plot::Colour colour = kChannelColours[curve.mChannel];
        level.mSeries.push_back({both ? channelName(curve.mChannel) : "output", inDrive.mInputDb, curve.mOutputDb,
                                 colour});
        std::vector<double> unity;
        for (const double input : inDrive.mInputDb)
            unity.push_back(input - inDrive.mInputDb.front() + curve.mOutputDb.front());
        level.mSeries.push_back({"slope 1 from the quietest" + suffix, inDrive.mInputDb, unity, colour,
                                 LineStyle::kDotted, 1.2});
        std::vector<double> values = curve.mThdDb;
        dropped = dropUnderFloor(values, curve.mThdFloorDb) || dropped;
        thd.mSeries.push_back({"THD" + suffix, inDrive.mInputDb, values, colour});
        thd.mSeries.push_back({"hiss floor" + suffix, inDrive.mInputDb, curve.mThdFloorDb, colour, LineStyle::kDotted,
                               1.2});
    }
    if (dropped)
        thd.mNotes.push_back("THD less than 6 dB above the hiss floor (dotted) is not drawn.");
    plot::fitYRange(level, 6.0, 24.0, -160.0, 40.0);
    plot::fitYRange(thd, 10.0, 40.0, -180.0, 20.0);
    return {inTitle, 0, 0, {level, thd}};
}

std::string driveCsv(const DriveResponse& inDrive)
{
    std::ostringstream csv;
    csv << "input_dbfs";
    for (const DriveCurve& curve : inDrive.mChannels) {
        const std::string prefix = "ch" + std::to_string(curve.mChannel + 1) + "_";
        csv << "," << prefix << "output_dbfs," << prefix << "thd_db," << prefix << "thd_percent," << prefix
            << "thd_floor_db";
    }
    csv << "\n";
    for (std::size_t i = 0; i < inDrive.mInputDb.size(); ++i) {
        csv << formatFixed(inDrive.mInputDb[i], 1);
        for (const DriveCurve& curve : inDrive.mChannels) {
            const bool measured = clearsFloor(curve.mThdDb[i], curve.mThdFloorDb[i]);
            csv << "," << formatFixed(curve.mOutputDb[i], 3) << "," << (measured ? formatFixed(curve.mThdDb[i], 2) : "")
                << "," << (measured ? formatFixed(thdPercent(curve.mThdDb[i]), 4) : "") << ","
                << formatFixed(curve.mThdFloorDb[i], 2);
        }
        csv << "\n";
    }
    return csv.str();
}

std::string driveSummary(const DriveResponse& inDrive)
{
    std::ostringstream text;
    for (const DriveCurve& curve : inDrive.mChannels) {
        text << "  " << channelName(curve.mChannel) << " at 1 kHz:";
        for (std::size_t i = 0; i < inDrive.mInputDb.size(); ++i) {
            const double input = inDrive.mInputDb[i];
            if (std::fmod(input, 20.0) != 0.0 && i + 1 != inDrive.mInputDb.size())
                continue;
            text << " " << levelText(input) << " in: " << formatFixed(curve.mOutputDb[i], 1) << " dBFS out, THD "
                 << (clearsFloor(curve.mThdDb[i], curve.mThdFloorDb[i]) ? formatFixed(thdPercent(curve.mThdDb[i]), 3) + "%"
                                                                         : "under the hiss")
                 << (i + 1 == inDrive.mInputDb.size() ? "\n" : ";");
        }
    }
    return text.str();
}

} // namespace

std::string describeSettings(const ParameterValues& inValues, const ParameterTable& inTable)
{
    const bool linked = inValues[kStereoLink] > 0.5f;
    std::vector<std::string> parts;
    const auto differs = [&](int inId) {
        const ParameterInfo& info = inTable.parameter(inId);
        return valueText(inTable, inId, inValues[static_cast<std::size_t>(inId)]) !=
               valueText(inTable, inId, info.mDefault);
    };
    for (const ParameterInfo& info : inTable.parameters()) {
        const std::string& name = info.mName;
        const bool first = name.rfind("Ch.1: ", 0) == 0;
        if (name.rfind("Ch.2: ", 0) == 0)
            continue; // with its first channel
        const std::string shown = valueText(inTable, info.mId, inValues[static_cast<std::size_t>(info.mId)]);
        if (!first) {
            if (differs(info.mId))
                parts.push_back(name + " " + shown);
            continue;
        }
        const int partner = info.mId + 1;
        const std::string partnerShown = valueText(inTable, partner, inValues[static_cast<std::size_t>(partner)]);
        if (linked || partnerShown == shown) {
            if (differs(info.mId))
                parts.push_back(name.substr(6) + " " + shown);
            continue;
        }
        if (differs(info.mId))
            parts.push_back(name + " " + shown);
        if (differs(partner))
            parts.push_back(inTable.parameter(partner).mName + " " + partnerShown);
    }
    if (parts.empty())
        return "default settings";
    std::string text;
    for (const std::string& part : parts)
        text += (text.empty() ? "" : ", ") + part;
    return text;
}

int runAnalyze(const AnalyzeOptions& inOptions, const ParameterTable& inTable, std::ostream& outReport)
{
    if (inOptions.mSampleRate < kLowestAnalyzeRate || inOptions.mSampleRate > kHighestAnalyzeRate)
        throw UsageError("--rate must be " + std::to_string(kLowestAnalyzeRate) + " to " +
                         std::to_string(kHighestAnalyzeRate) + " Hz, not " + std::to_string(inOptions.mSampleRate));
    if (!(inOptions.mLevelDb >= kLowestLevel && inOptions.mLevelDb <= 0.0))
        throw UsageError("--level must be -120 to 0 dBFS");
    const plot::ImageFormat format = plot::imageFormatFor(inOptions.mOutput.string());
    checkOutputPath(inOptions.mOutput, nullptr, inOptions.mOverwrite);
    if (inOptions.mCsv) {
        if (fs::weakly_canonical(*inOptions.mCsv) == fs::weakly_canonical(inOptions.mOutput))
            throw UsageError("the CSV file and the plot cannot be the same file");
        checkOutputPath(*inOptions.mCsv, nullptr, inOptions.mOverwrite);
    }

    MeasureSetup setup;
    setup.mValues = inOptions.mValues;
    setup.mSampleRate = inOptions.mSampleRate;
    setup.mLevelDb = inOptions.mLevelDb;
    setup.mSeed = inOptions.mSeed;
    setup.mOversample = inOptions.mOversample;
    std::string rate = rateText(setup.mSampleRate);
    if (const int used = host::usableFactor(setup.mSampleRate, setup.mOversample); used > 1)
        rate += ", " + std::to_string(used) + "x oversampled";
    const std::vector<int> channels = channelsThatDiffer(inOptions.mValues);
    const std::string settings = describeSettings(inOptions.mValues, inTable);

    plot::Figure figure;
    std::string csv;
    std::string summary;
    if (inOptions.mDrive) {
        const DriveResponse drive = measureDrive(setup, channels);
        figure = driveFigure(drive, "Q38 drive at 1 kHz: " + settings + "; " + rate);
        csv = driveCsv(drive);
        summary = driveSummary(drive);
    } else {
        const SweepResponse response = measureSweep(setup, channels);
        figure = responseFigure(response,
                                "Q38 response: " + settings + "; " + rate + ", sweep at " +
                                    levelText(setup.mLevelDb),
                                setup.mSampleRate);
        csv = responseCsv(response);
        summary = responseSummary(response);
    }
    figure.mWidth = inOptions.mWidth;
    figure.mHeight = inOptions.mHeight;
    writeFile(inOptions.mOutput, plot::drawFigure(figure, format), inOptions.mOverwrite);
    if (inOptions.mCsv)
        writeFile(*inOptions.mCsv, csv, inOptions.mOverwrite);
    if (!inOptions.mQuiet) {
        outReport << figure.mTitle << "\n" << summary << "  plot: " << inOptions.mOutput.string() << "\n";
        if (inOptions.mCsv)
            outReport << "  numbers: " << inOptions.mCsv->string() << "\n";
    }
    return kExitSuccess;
}

} // namespace cli
