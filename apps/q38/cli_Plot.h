#pragma once

// Line plots drawn with cairo: a title over one or more panels, each with
// labelled axes (log or linear frequency on x), a grid, a legend and an
// optional note. The image is PNG or SVG and carries its title and notes as
// metadata (PNG "Title" and "Description" text chunks, SVG <title> and
// <desc>), so tools can find them.

#include <string>
#include <vector>

namespace cli::plot {

struct Colour
{
    double mRed, mGreen, mBlue;
};

// A palette that stays apart in print and for common colour blindness.
inline constexpr Colour kBlue{0.0, 0.45, 0.70};
inline constexpr Colour kOrange{0.90, 0.62, 0.0};
inline constexpr Colour kGreen{0.0, 0.62, 0.45};
inline constexpr Colour kVermilion{0.84, 0.37, 0.0};
inline constexpr Colour kPurple{0.80, 0.47, 0.65};
inline constexpr Colour kGrey{0.55, 0.55, 0.55};
inline constexpr Colour kBlack{0.0, 0.0, 0.0};

enum class LineStyle
{
    kSolid,
    kDashed,
    kDotted,
};

struct Series
{
    std::string mLabel; // empty: not in the legend
    std::vector<double> mX;
    std::vector<double> mY; // NaN or infinite: a gap
    Colour mColour = kBlue;
    LineStyle mStyle = LineStyle::kSolid;
    double mWidth = 1.8;
};

enum class Corner
{
    kAuto, // the corner where the legend hides the fewest points
    kTopRight,
    kTopLeft,
    kBottomRight,
    kBottomLeft,
};

struct Panel
{
    std::string mXLabel;
    std::string mYLabel;
    bool mLogX = true;
    double mXMin = 20.0, mXMax = 20000.0;
    double mYMin = -30.0, mYMax = 30.0;
    std::vector<Series> mSeries;
    std::vector<std::string> mNotes; // small lines at the panel's foot, inside it
    Corner mLegend = Corner::kAuto;
};

struct Figure
{
    std::string mTitle;
    int mWidth = 960;
    int mHeight = 720;
    std::vector<Panel> mPanels; // stacked top to bottom, equal heights
};

enum class ImageFormat
{
    kPng,
    kSvg,
};

// The format a file name asks for (.png or .svg, any case); throws UsageError otherwise.
ImageFormat imageFormatFor(const std::string& inPath);

// "960x720" to 960 and 720, each 200 to 8000; throws UsageError.
void parseImageSize(const std::string& inText, int& outWidth, int& outHeight);

// The image's bytes.
std::string drawFigure(const Figure& inFigure, ImageFormat inFormat);

// The y range that holds every finite value of the series with at least half
// a step to spare, in whole steps of inStep, at least inMinimumSpan wide and
// within [inFloor, inCeiling].
void fitYRange(Panel& ioPanel, double inStep, double inMinimumSpan, double inFloor, double inCeiling);

} // namespace cli::plot
