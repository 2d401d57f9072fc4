// q38 analyze through its binary: the plot files, their size and title, the
// numbers it writes, and what it refuses.

#include "CliTestSupport.h"

#include <zlib.h>

#include <sstream>

namespace {

using namespace clitest;

std::uint32_t bigEndian(const std::string& inBytes, std::size_t inAt)
{
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i)
        value = value << 8 | static_cast<unsigned char>(inBytes.at(inAt + i));
    return value;
}

struct Image
{
    bool mValid = false;
    std::uint32_t mWidth = 0, mHeight = 0;
    std::string mTitle;
};

// Walks the chunks of a PNG, checking each one's CRC, up to IEND.
Image readPng(const std::string& inBytes)
{
    Image image;
    if (inBytes.compare(0, 8, "\x89PNG\r\n\x1a\n") != 0)
        return image;
    for (std::size_t at = 8; at + 12 <= inBytes.size();) {
        const std::uint32_t length = bigEndian(inBytes, at);
        const std::string type = inBytes.substr(at + 4, 4);
        const std::string data = inBytes.substr(at + 8, length);
        const uLong crc = crc32(crc32(0L, reinterpret_cast<const Bytef*>(type.data()), 4),
                                reinterpret_cast<const Bytef*>(data.data()), static_cast<uInt>(data.size()));
        if (data.size() != length || bigEndian(inBytes, at + 8 + length) != crc)
            return image;
        if (type == "IHDR") {
            image.mWidth = bigEndian(data, 0);
            image.mHeight = bigEndian(data, 4);
        } else if (type == "tEXt" && data.rfind(std::string("Title") + '\0', 0) == 0) {
            image.mTitle = data.substr(6);
        } else if (type == "IEND") {
            image.mValid = at + 12 == inBytes.size();
            return image;
        }
        at += 12 + length;
    }
    return image;
}

std::string between(const std::string& inText, const std::string& inOpen, const std::string& inClose)
{
    const std::size_t open = inText.find(inOpen);
    const std::size_t close = open == std::string::npos ? open : inText.find(inClose, open + inOpen.size());
    return close == std::string::npos ? "" : inText.substr(open + inOpen.size(), close - open - inOpen.size());
}

Image readSvg(const std::string& inBytes)
{
    Image image;
    const std::string head = between(inBytes, "<svg ", ">");
    image.mValid = inBytes.rfind("<?xml", 0) == 0 && !head.empty() && inBytes.find("</svg>") != std::string::npos;
    image.mWidth = static_cast<std::uint32_t>(std::atoi(between(head, "width=\"", "px\"").c_str()));
    image.mHeight = static_cast<std::uint32_t>(std::atoi(between(head, "height=\"", "px\"").c_str()));
    image.mTitle = between(inBytes, "<title>", "</title>");
    return image;
}

std::vector<std::string> lines(const std::string& inText)
{
    std::vector<std::string> result;
    std::istringstream stream(inText);
    for (std::string line; std::getline(stream, line);)
        result.push_back(line);
    return result;
}

TEST(Analyze, PlotsAreValidImagesOfTheRequestedSizeAndTitle)
{
    struct Case
    {
        std::vector<std::string> mArguments;
        std::string mTitle;
        std::uint32_t mWidth, mHeight;
        std::string mCsvHeader;
        std::size_t mCsvRows;
    };
    const Case cases[] = {
        {{"-o", "plot.png", "--size", "640x480", "--input-gain", "40"},
         "Q38 response: Input Gain 40 dB; 48 kHz, sweep at -40 dBFS", 640, 480,
         "frequency_hz,ch1_response_db,ch1_response_floor_db,ch1_h2_db,ch1_h2_floor_db,ch1_h3_db,ch1_h3_floor_db", 241},
        {{"-o", "plot.svg", "--rate", "44100", "--level", "-20", "--highpass2", "300 Hz"},
         "Q38 response: Ch.2: HighPass Freq 300 Hz; 44.1 kHz, sweep at -20 dBFS", 960, 720,
         "frequency_hz,ch1_response_db,ch1_response_floor_db,ch1_h2_db,ch1_h2_floor_db,ch1_h3_db,ch1_h3_floor_db,"
         "ch2_response_db,ch2_response_floor_db,ch2_h2_db,ch2_h2_floor_db,ch2_h3_db,ch2_h3_floor_db",
         241},
        {{"-o", "plot.svg", "--drive", "--size", "800x600", "--link", "--input-gain1", "60"},
         "Q38 drive at 1 kHz: Stereo Link Linked, Input Gain 60 dB; 48 kHz", 800, 600,
         "input_dbfs,ch1_output_dbfs,ch1_thd_db,ch1_thd_percent,ch1_thd_floor_db", 61},
    };
    for (const Case& item : cases) {
        SCOPED_TRACE(item.mTitle);
        const ScratchFolder folder;
        std::vector<std::string> arguments = {"analyze", "--csv", "numbers.csv"};
        arguments.insert(arguments.end(), item.mArguments.begin(), item.mArguments.end());
        const RunResult run = folder.run(arguments);
        ASSERT_EQ(run.mStatus, 0) << run.mErr;
        EXPECT_EQ(run.mErr, "");
        EXPECT_EQ(run.mOut.substr(0, run.mOut.find('\n')), item.mTitle);
        const std::string bytes = fileBytes(folder / item.mArguments[1]);
        const Image image = item.mArguments[1].ends_with(".png") ? readPng(bytes) : readSvg(bytes);
        EXPECT_TRUE(image.mValid);
        EXPECT_EQ(image.mWidth, item.mWidth);
        EXPECT_EQ(image.mHeight, item.mHeight);
        EXPECT_EQ(image.mTitle, item.mTitle);
        const std::vector<std::string> csv = lines(fileBytes(folder / "numbers.csv"));
        ASSERT_FALSE(csv.empty());
        EXPECT_EQ(csv.front(), item.mCsvHeader);
        EXPECT_EQ(csv.size(), item.mCsvRows + 1);
    }
}

// At -120 dBFS the sweep is down at the hiss: the numbers leave the response
// out, the summary and the plot's notes say so. At -20 dBFS it is not.
TEST(Analyze, HissFloorIsSaidNotDrawn)
{
    for (const auto& [level, underHiss] : {std::pair{"-120", true}, {"-20", false}}) {
        SCOPED_TRACE(level);
        const ScratchFolder folder;
        const RunResult run = folder.run({"analyze", "-o", "plot.svg", "--level", level, "--csv", "plot.csv"});
        ASSERT_EQ(run.mStatus, 0) << run.mErr;
        const std::vector<std::string> csv = lines(fileBytes(folder / "plot.csv"));
        ASSERT_EQ(csv.size(), 242u);
        const auto left = std::count_if(csv.begin() + 1, csv.end(),
                                        [](const std::string& inRow) { return inRow.find(',') == inRow.find(",,"); });
        EXPECT_EQ(left > 100, underHiss) << left;
        EXPECT_EQ(run.mOut.find("under the hiss at 1 kHz") != std::string::npos, underHiss) << run.mOut;
        const std::string notes = between(fileBytes(folder / "plot.svg"), "<desc>", "</desc>");
        EXPECT_EQ(notes.find("Where the output is less than 6 dB above the hiss floor (dotted) it is not drawn.") !=
                      std::string::npos,
                  underHiss)
            << notes;
    }
}

TEST(Analyze, RefusesWhatItCannotDo)
{
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{}, "q38: analyze needs a plot file: q38 analyze -o response.svg\n"},
        {{"-o", "plot.jpg"}, "q38: the plot's name must end in .png or .svg, not 'plot.jpg'\n"},
        {{"-o", "plot.svg", "--rate", "4000"}, "q38: --rate takes a whole number from 8000 to 192000, not \"4000\"\n"},
        {{"-o", "plot.svg", "--level", "3"}, "q38: --level must be -120 to 0 dBFS\n"},
        {{"-o", "plot.svg", "--size", "10x10"}, "q38: --size takes WIDTHxHEIGHT in pixels, each 200 to 8000, not \"10x10\"\n"},
        {{"in.wav", "-o", "plot.svg"}, "q38: analyze takes no input file; it measures the engine (q38 analyze --help)\n"},
    };
    for (auto [arguments, error] : cases) {
        const ScratchFolder folder;
        arguments.insert(arguments.begin(), "analyze");
        const RunResult run = folder.run(arguments);
        EXPECT_EQ(run.mStatus, 2);
        EXPECT_EQ(run.mErr, error);
        EXPECT_TRUE(folder.contents().empty());
    }
    // An existing plot stays unless --force.
    const ScratchFolder folder;
    writeText(folder / "plot.svg", "mine");
    EXPECT_EQ(folder.run({"analyze", "-o", "plot.svg", "-q"}).mStatus, 2);
    EXPECT_EQ(fileBytes(folder / "plot.svg"), "mine");
    EXPECT_EQ(folder.run({"analyze", "-o", "plot.svg", "-q", "-f"}).mStatus, 0);
    EXPECT_NE(fileBytes(folder / "plot.svg"), "mine");
}

} // namespace
