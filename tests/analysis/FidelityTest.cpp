// q38_fidelity's figures: no design of ours may drift further from its analog
// target than the program first measured, by more than 0.005 dB.

#include "CliTestSupport.h"

#include <map>
#include <sstream>

namespace {

using namespace clitest;

// The largest deviation in dB, 20 Hz to 20 kHz, as first measured.
const std::map<std::string, double> kFirstMeasured = {
        {"Bell, 48 kHz, 10 kHz, Q 0.707, +12 dB", 0.0945},
        {"Bell, 48 kHz, 10 kHz, Q 0.707, -12 dB", 0.0945},
        {"Bell, 44.1 kHz, 10 kHz, Q 0.707, +12 dB", 0.2664},
        {"Bell, 48 kHz, 15 kHz, Q 0.707, +12 dB", 0.0825},
        {"First-order high shelf, 48 kHz, 10 kHz, +12 dB", 0.2487},
        {"First-order high shelf, 48 kHz, 10 kHz, -12 dB", 0.2958},
        {"Second-order high shelf, 48 kHz, 10 kHz, Q 0.707, +12 dB", 0.1424},
        {"Second-order high shelf, 48 kHz, 3 kHz, Q 0.707, +12 dB", 0.0015},
        {"High tone +10 dB (4 kHz, Q 0.4), 44.1 kHz", 0.1977},
        {"High tone -10 dB (4 kHz, Q 0.5), 44.1 kHz", 0.1168},
        {"Low tone +10 dB (100 Hz, Q 0.5), 44.1 kHz", 0.0001},
        {"Low tone -10 dB (120 Hz, Q 0.5), 44.1 kHz", 0.0002},
        {"High-pass at 80 Hz: second-order 75 Hz, 44.1 kHz", 0.0000},
        {"High-pass at 300 Hz: first-order 320 Hz, 44.1 kHz", 0.0003},
        {"High-pass at 80 + 300 Hz: second-order 100 Hz, 44.1 kHz", 0.0000},
        {"High-pass at 80 + 300 Hz: first-order 250 Hz, 44.1 kHz", 0.0002},
        {"High tone +10 dB (4 kHz, Q 0.4), 48 kHz", 0.1319},
        {"High tone -10 dB (4 kHz, Q 0.5), 48 kHz", 0.0769},
        {"Low tone +10 dB (100 Hz, Q 0.5), 48 kHz", 0.0001},
        {"Low tone -10 dB (120 Hz, Q 0.5), 48 kHz", 0.0001},
        {"High-pass at 80 Hz: second-order 75 Hz, 48 kHz", 0.0000},
        {"High-pass at 300 Hz: first-order 320 Hz, 48 kHz", 0.0002},
        {"High-pass at 80 + 300 Hz: second-order 100 Hz, 48 kHz", 0.0000},
        {"High-pass at 80 + 300 Hz: first-order 250 Hz, 48 kHz", 0.0001},
        {"High tone +10 dB (4 kHz, Q 0.4), 96 kHz", 0.0063},
        {"High tone -10 dB (4 kHz, Q 0.5), 96 kHz", 0.0036},
        {"Low tone +10 dB (100 Hz, Q 0.5), 96 kHz", 0.0001},
        {"Low tone -10 dB (120 Hz, Q 0.5), 96 kHz", 0.0001},
        {"High-pass at 80 Hz: second-order 75 Hz, 96 kHz", 0.0000},
        {"High-pass at 300 Hz: first-order 320 Hz, 96 kHz", 0.0000},
        {"High-pass at 80 + 300 Hz: second-order 100 Hz, 96 kHz", 0.0000},
        {"High-pass at 80 + 300 Hz: first-order 250 Hz, 96 kHz", 0.0000},
};

// case,rate_hz,cookbook_db,ours_db with the case in quotes: {cookbook, ours} by case.
std::map<std::string, std::pair<double, double>> readFigures(const std::string& inCsv)
{
    std::map<std::string, std::pair<double, double>> figures;
    std::istringstream lines(inCsv);
    std::string line;
    std::getline(lines, line);
    EXPECT_EQ(line, "case,rate_hz,cookbook_db,ours_db");
    while (std::getline(lines, line)) {
        const std::size_t close = line.find('"', 1);
        const std::size_t cookbook = line.find(',', close + 2) + 1;
        figures[line.substr(1, close - 1)] = {std::stod(line.substr(cookbook)),
                                              std::stod(line.substr(line.find(',', cookbook) + 1))};
    }
    return figures;
}

TEST(Fidelity, NoDesignStraysFurtherFromItsTargetThanFirstMeasured)
{
    const ScratchFolder folder;
    const std::string command = shellQuoted(Q38_FIDELITY_BINARY) + " --csv " +
                                shellQuoted((folder / "figures.csv").string()) + " > " +
                                shellQuoted((folder / "tables.md").string());
    ASSERT_EQ(std::system(command.c_str()), 0);
    const auto figures = readFigures(fileBytes(folder / "figures.csv"));
    EXPECT_EQ(figures.size(), kFirstMeasured.size());
    for (const auto& [name, first] : kFirstMeasured) {
        SCOPED_TRACE(name);
        ASSERT_TRUE(figures.contains(name));
        const auto [cookbook, ours] = figures.at(name);
        EXPECT_LE(ours, first + 0.005);
        EXPECT_LE(ours, cookbook + 0.005); // matching never loses to the plain transform
    }
    // The tables name every case.
    const std::string tables = fileBytes(folder / "tables.md");
    for (const char* expected : {"| Bell, 48 kHz, 10 kHz, Q 0.707, +12 dB | 5.", "| High tone +10 dB (4 kHz, Q 0.4) |"})
        EXPECT_NE(tables.find(expected), std::string::npos) << tables;
}

} // namespace
