// q38_fidelity: how closely each design of the filter library follows the
// analog target it matches, beside the plain bilinear transform prewarped at
// the centre frequency. Prints Markdown tables; see --help.

#include "fidelity_Cases.h"

#include "cli_Error.h"
#include "cli_Plot.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>

namespace {

using namespace fidelity;
namespace plot = cli::plot;

constexpr const char* kHelp = R"(Usage: q38_fidelity [--csv FILE] [--plot FILE.svg|FILE.png] [--size WxH]

For each case, the largest deviation in dB between the digital magnitude and
the analog target's over 20 Hz to 20 kHz: for the library's own design, and
for the same target through the bilinear transform prewarped at the centre
frequency (the common "cookbook" design). Prints two Markdown tables: the
listed cases, and the engine's tone and high-pass designs at 44.1, 48 and
96 kHz.

  --csv FILE    also write case,rate_hz,cookbook_db,ours_db
  --plot FILE   draw the first bell case: both designs against the target
  --size WxH    the plot's size in pixels (default 960x720)
)";

std::string decibels(double inValue)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.4f", inValue);
    return text;
}

struct Row
{
    Case mCase;
    double mCookbook;
    double mOurs;
};

std::vector<Row> measure(const std::vector<Case>& inCases)
{
    std::vector<Row> rows;
    for (const Case& item : inCases)
        rows.push_back({item, largestDeviation(cookbook(item.mOurs, item.mSampleRate), item.mSampleRate),
                        largestDeviation(item.mOurs, item.mSampleRate)});
    return rows;
}

std::string listedTable(const std::vector<Row>& inRows)
{
    std::ostringstream text;
    text << "| Case | Cookbook (dB) | Ours (dB) |\n|---|---:|---:|\n";
    for (const Row& row : inRows)
        text << "| " << row.mCase.mName << " | " << decibels(row.mCookbook) << " | " << decibels(row.mOurs) << " |\n";
    return text.str();
}

// One line per design, a pair of columns per rate.
std::string engineTable(const std::vector<Row>& inRows)
{
    std::vector<std::string> designs;
    std::vector<double> rates;
    std::map<std::pair<std::string, double>, const Row*> cells;
    for (const Row& row : inRows) {
        if (std::find(designs.begin(), designs.end(), row.mCase.mGroup) == designs.end())
            designs.push_back(row.mCase.mGroup);
        if (std::find(rates.begin(), rates.end(), row.mCase.mSampleRate) == rates.end())
            rates.push_back(row.mCase.mSampleRate);
        cells[{row.mCase.mGroup, row.mCase.mSampleRate}] = &row;
    }
    std::ostringstream text;
    text << "| Engine design |";
    for (const double rate : rates)
        text << " " << rate / 1000.0 << " kHz cookbook | ours |";
    text << "\n|---|";
    for (std::size_t i = 0; i < rates.size(); ++i)
        text << "---:|---:|";
    text << "\n";
    for (const std::string& design : designs) {
        text << "| " << design << " |";
        for (const double rate : rates) {
            const Row* row = cells[{design, rate}];
            text << " " << decibels(row->mCookbook) << " | " << decibels(row->mOurs) << " |";
        }
        text << "\n";
    }
    return text.str();
}

std::string csvText(const std::vector<Row>& inRows)
{
    std::ostringstream text;
    text << "case,rate_hz,cookbook_db,ours_db\n";
    for (const Row& row : inRows)
        text << "\"" << row.mCase.mName << "\"," << row.mCase.mSampleRate << "," << decibels(row.mCookbook) << ","
             << decibels(row.mOurs) << "\n";
    return text.str();
}

plot::Figure bellFigure(const Case& inCase)
{
    const Section plain = cookbook(inCase.mOurs, inCase.mSampleRate);
    plot::Panel magnitude;
    magnitude.mXLabel = "Frequency (Hz)";
    magnitude.mYLabel = "Magnitude (dB)";
    magnitude.mXMin = kLowestHz;
    magnitude.mXMax = kHighestHz;
    plot::Panel deviation = magnitude;
    magnitude.mLegend = plot::Corner::kTopLeft;
    deviation.mYLabel = "Digital minus analog (dB)";
    deviation.mLegend = plot::Corner::kBottomLeft;
    plot::Series target{"analog target", {}, {}, plot::kBlack, plot::LineStyle::kSolid, 2.6};
    plot::Series ours{"ours", {}, {}, plot::kBlue};
    plot::Series plainSeries{"cookbook (bilinear, prewarped at the centre)", {}, {}, plot::kOrange,
                             plot::LineStyle::kDashed};
    plot::Series oursError = ours;
    plot::Series plainError = plainSeries;
    constexpr int kPoints = 400;
    for (int i = 0; i < kPoints; ++i) {
        const double f = kLowestHz * std::pow(kHighestHz / kLowestHz, double(i) / (kPoints - 1));
        const double analog = analogDecibels(inCase.mOurs, f);
        const double mine = digitalDecibels(inCase.mOurs, f, inCase.mSampleRate);
        const double theirs = digitalDecibels(plain, f, inCase.mSampleRate);
        for (plot::Series* series : {&target, &ours, &plainSeries, &oursError, &plainError})
            series->mX.push_back(f);
        target.mY.push_back(analog);
        ours.mY.push_back(mine);
        plainSeries.mY.push_back(theirs);
        oursError.mY.push_back(mine - analog);
        plainError.mY.push_back(theirs - analog);
    }
    magnitude.mSeries = {target, ours, plainSeries};
    deviation.mSeries = {oursError, plainError};
    plot::fitYRange(magnitude, 3.0, 12.0, -60.0, 40.0);
    plot::fitYRange(deviation, 0.5, 2.0, -40.0, 40.0);
    return {inCase.mName + ": digital against analog", 960, 720, {magnitude, deviation}};
}

void writeBytes(const std::string& inPath, const std::string& inBytes)
{
    std::ofstream file(inPath, std::ios::binary);
    file << inBytes;
    if (!file.flush())
        throw cli::Error("cannot write '" + inPath + "'");
}

int run(const std::vector<std::string>& inArguments)
{
    std::string csvPath;
    std::string plotPath;
    std::string size = "960x720";
    for (std::size_t i = 0; i < inArguments.size(); ++i) {
        const std::string& option = inArguments[i];
        if (option == "-h" || option == "--help") {
            std::cout << kHelp;
            return 0;
        }
        if (i + 1 >= inArguments.size() || (option != "--csv" && option != "--plot" && option != "--size"))
            throw cli::UsageError(option == "--csv" || option == "--plot" || option == "--size"
                                      ? option + " needs a value"
                                      : "unknown option " + option + " (q38_fidelity --help lists them)");
        (option == "--csv" ? csvPath : option == "--plot" ? plotPath : size) = inArguments[++i];
    }
    const std::vector<Row> listed = measure(listedCases());
    const std::vector<Row> engine = measure(engineCases());
    std::cout << "Largest deviation from the analog target, 20 Hz to 20 kHz:\n\n"
              << listedTable(listed) << "\n" << engineTable(engine);
    if (!csvPath.empty()) {
        std::vector<Row> all = listed;
        all.insert(all.end(), engine.begin(), engine.end());
        writeBytes(csvPath, csvText(all));
    }
    if (!plotPath.empty()) {
        plot::Figure figure = bellFigure(listed.front().mCase);
        plot::parseImageSize(size, figure.mWidth, figure.mHeight);
        writeBytes(plotPath, plot::drawFigure(figure, plot::imageFormatFor(plotPath)));
    }
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return run(std::vector<std::string>(argv + 1, argv + argc));
    } catch (const cli::Error& error) {
        std::cerr << "q38_fidelity: " << error.what() << std::endl;
        return error.exitStatus();
    } catch (const std::exception& error) {
        std::cerr << "q38_fidelity: " << error.what() << std::endl;
        return 1;
    }
}
