#include "cli_Plot.h"

#include "cli_Error.h"

#include <cairo-svg.h>
#include <cairo.h>
#include <fontconfig/fontconfig.h>
#include <zlib.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <numbers>

namespace cli::plot {

namespace {

constexpr int kSmallestImage = 200;
constexpr int kLargestImage = 8000;

struct Rect
{
    double mX, mY, mWidth, mHeight;
    double right() const { return mX + mWidth; }
    double bottom() const { return mY + mHeight; }
};

cairo_status_t appendBytes(void* inClosure, const unsigned char* inData, unsigned int inLength)
{
    static_cast<std::string*>(inClosure)->append(reinterpret_cast<const char*>(inData), inLength);
    return CAIRO_STATUS_SUCCESS;
}

// A step of 1, 2 or 5 times a power of ten that divides inSpan into about inCount parts.
double niceStep(double inSpan, double inCount)
{
    const double raw = inSpan / inCount;
    const double magnitude = std::pow(10.0, std::floor(std::log10(raw)));
    const double normalized = raw / magnitude;
    return magnitude * (normalized < 1.5 ? 1.0 : normalized < 3.0 ? 2.0 : normalized < 7.0 ? 5.0 : 10.0);
}

std::string formatTick(double inValue, double inStep)
{
    const int decimals = std::max(0, static_cast<int>(-std::floor(std::log10(inStep) + 1e-9)));
    // No "-0" for a value that is zero but for rounding.
    const double value = std::fabs(inValue) < 1e-6 * inStep ? 0.0 : inValue;
    char text[32];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

std::string formatFrequency(double inHertz)
{
    char text[32];
    if (inHertz >= 1000.0)
        std::snprintf(text, sizeof text, "%gk", inHertz / 1000.0);
    else
        std::snprintf(text, sizeof text, "%g", inHertz);
    return text;
}

enum class Align
{
    kStart,
    kCentre,
    kEnd,
};

class Painter
{
public:
    Painter(cairo_t* inContext, double inFontSize) : mContext(inContext), mFontSize(inFontSize) {}

    cairo_t* context() const { return mContext; }
    double fontSize() const { return mFontSize; }

    void font(double inScale, bool inBold = false, bool inItalic = false)
    {
        cairo_select_font_face(mContext, "sans-serif", inItalic ? CAIRO_FONT_SLANT_ITALIC : CAIRO_FONT_SLANT_NORMAL,
                               inBold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
        cairo_set_font_size(mContext, mFontSize * inScale);
    }

    double width(const std::string& inText) const
    {
        cairo_text_extents_t extents;
        cairo_text_extents(mContext, inText.c_str(), &extents);
        return extents.x_advance;
    }

    // Text whose baseline-centre, start or end sits at (x, y); inMiddle puts
    // the middle of capital letters there instead of the baseline.
    void text(double inX, double inY, const std::string& inText, Align inAlign, bool inMiddle = false,
              bool inVertical = false)
    {
        const double length = width(inText);
        const double shift = inAlign == Align::kStart ? 0.0 : inAlign == Align::kCentre ? -0.5 * length : -length;
        cairo_font_extents_t font;
        cairo_font_extents(mContext, &font);
        const double lift = inMiddle ? 0.35 * font.ascent : 0.0;
        cairo_save(mContext);
        cairo_translate(mContext, inX, inY);
        if (inVertical)
            cairo_rotate(mContext, -std::numbers::pi / 2.0);
        cairo_move_to(mContext, shift, lift);
        cairo_show_text(mContext, inText.c_str());
        cairo_restore(mContext);
    }

    void colour(const Colour& inColour, double inAlpha = 1.0)
    {
        cairo_set_source_rgba(mContext, inColour.mRed, inColour.mGreen, inColour.mBlue, inAlpha);
    }

    void grey(double inLevel) { cairo_set_source_rgb(mContext, inLevel, inLevel, inLevel); }

    void line(double inX1, double inY1, double inX2, double inY2, double inWidth)
    {
        cairo_set_line_width(mContext, inWidth);
        cairo_move_to(mContext, inX1, inY1);
        cairo_line_to(mContext, inX2, inY2);
        cairo_stroke(mContext);
    }

    void style(LineStyle inStyle, double inWidth)
    {
        cairo_set_line_width(mContext, inWidth);
        cairo_set_line_cap(mContext, inStyle == LineStyle::kDotted ? CAIRO_LINE_CAP_ROUND : CAIRO_LINE_CAP_BUTT);
        cairo_set_line_join(mContext, CAIRO_LINE_JOIN_ROUND);
        const double dashed[] = {4.0 * inWidth, 2.5 * inWidth};
        const double dotted[] = {0.01, 2.2 * inWidth};
        if (inStyle == LineStyle::kDashed)
            cairo_set_dash(mContext, dashed, 2, 0.0);
        else if (inStyle == LineStyle::kDotted)
            cairo_set_dash(mContext, dotted, 2, 0.0);
        else
            cairo_set_dash(mContext, nullptr, 0, 0.0);
    }

private:
    cairo_t* mContext;
    double mFontSize;
};

class PanelPainter
{
public:
    PanelPainter(Painter& ioPainter, const Panel& inPanel, const Rect& inArea) : mPainter(ioPainter), mPanel(inPanel)
    {
        const double base = mPainter.fontSize();
        mPlot = {inArea.mX + 4.2 * base, inArea.mY + 0.6 * base, inArea.mWidth - 5.2 * base,
                 inArea.mHeight - 3.6 * base};
    }

    void draw()
    {
        drawGrid();
        drawSeries();
        drawLegend();
        drawNotes();
    }

private:
    double toX(double inX) const
    {
        const double fraction = mPanel.mLogX ? std::log(inX / mPanel.mXMin) / std::log(mPanel.mXMax / mPanel.mXMin)
                                             : (inX - mPanel.mXMin) / (mPanel.mXMax - mPanel.mXMin);
        return mPlot.mX + fraction * mPlot.mWidth;
    }

    double toY(double inY) const
    {
        return mPlot.bottom() - (inY - mPanel.mYMin) / (mPanel.mYMax - mPanel.mYMin) * mPlot.mHeight;
    }

    void drawGrid()
    {
        cairo_t* context = mPainter.context();
        const double base = mPainter.fontSize();
        mPainter.font(0.85);
        // Vertical lines and x labels.
        struct Tick
        {
            double mValue;
            bool mMajor;
            std::string mLabel;
        };
        std::vector<Tick> ticks;
        if (mPanel.mLogX) {
            for (double decade = std::pow(10.0, std::floor(std::log10(mPanel.mXMin))); decade <= mPanel.mXMax;
                 decade *= 10.0)
                for (int m = 1; m <= 9; ++m) {
                    const double value = m * decade;
                    if (value < mPanel.mXMin * 0.999 || value > mPanel.mXMax * 1.001)
                        continue;
                    const bool major = m == 1 || m == 2 || m == 5;
                    ticks.push_back({value, major, major ? formatFrequency(value) : ""});
                }
        } else {
            const double step = niceStep(mPanel.mXMax - mPanel.mXMin, mPlot.mWidth / (6.0 * base));
            for (double value = std::ceil(mPanel.mXMin / step - 1e-9) * step; value <= mPanel.mXMax + 1e-9 * step;
                 value += step)
                ticks.push_back({value, true, formatTick(value, step)});
        }
        for (const Tick& tick : ticks) {
            const double x = toX(tick.mValue);
            mPainter.grey(tick.mMajor ? 0.80 : 0.91);
            mPainter.line(x, mPlot.mY, x, mPlot.bottom(), 1.0);
            if (!tick.mLabel.empty()) {
                mPainter.grey(0.15);
                mPainter.text(x, mPlot.bottom() + 1.25 * base, tick.mLabel, Align::kCentre);
            }
        }
        // Horizontal lines and y labels.
        const double yStep = niceStep(mPanel.mYMax - mPanel.mYMin, std::max(2.0, mPlot.mHeight / (2.6 * base)));
        for (double value = std::ceil(mPanel.mYMin / yStep - 1e-9) * yStep; value <= mPanel.mYMax + 1e-9 * yStep;
             value += yStep) {
            const double y = toY(value);
            mPainter.grey(0.80);
            mPainter.line(mPlot.mX, y, mPlot.right(), y, 1.0);
            mPainter.grey(0.15);
            mPainter.text(mPlot.mX - 0.4 * base, y, formatTick(value, yStep), Align::kEnd, true);
        }
        mPainter.grey(0.0);
        cairo_set_line_width(context, 1.2);
        cairo_rectangle(context, mPlot.mX, mPlot.mY, mPlot.mWidth, mPlot.mHeight);
        cairo_stroke(context);
        mPainter.font(0.95);
        mPainter.text(mPlot.mX + 0.5 * mPlot.mWidth, mPlot.bottom() + 2.7 * base, mPanel.mXLabel, Align::kCentre);
        mPainter.text(mPlot.mX - 3.3 * base, mPlot.mY + 0.5 * mPlot.mHeight, mPanel.mYLabel, Align::kCentre, false,
                      true);
    }

    void drawSeries()
    {
        cairo_t* context = mPainter.context();
        cairo_save(context);
        cairo_rectangle(context, mPlot.mX, mPlot.mY, mPlot.mWidth, mPlot.mHeight);
        cairo_clip(context);
        for (const Series& series : mPanel.mSeries) {
            mPainter.colour(series.mColour);
            mPainter.style(series.mStyle, series.mWidth);
            bool drawing = false;
            const std::size_t count = std::min(series.mX.size(), series.mY.size());
            for (std::size_t i = 0; i < count; ++i) {
                const double x = series.mX[i];
                const double y = series.mY[i];
                if (!std::isfinite(y) || !std::isfinite(x) || (mPanel.mLogX && x <= 0.0)) {
                    drawing = false;
                    continue;
                }
                // Far outside the panel a value only needs to point the right way.
                const double py = std::clamp(toY(y), mPlot.mY - mPlot.mHeight, mPlot.bottom() + mPlot.mHeight);
                if (drawing)
                    cairo_line_to(context, toX(x), py);
                else
                    cairo_move_to(context, toX(x), py);
                drawing = true;
            }
            cairo_stroke(context);
        }
        cairo_restore(context);
        mPainter.style(LineStyle::kSolid, 1.0);
    }

    void drawLegend()
    {
        std::vector<const Series*> entries;
        for (const Series& series : mPanel.mSeries)
            if (!series.mLabel.empty())
                entries.push_back(&series);
        if (entries.empty())
            return;
        cairo_t* context = mPainter.context();
        const double base = mPainter.fontSize();
        mPainter.font(0.85);
        double widest = 0.0;
        for (const Series* series : entries)
            widest = std::max(widest, mPainter.width(series->mLabel));
        const double sample = 2.2 * base;
        const double rowHeight = 1.35 * base;
        const double width = widest + sample + 1.6 * base;
        const double height = rowHeight * double(entries.size()) + 0.6 * base;
        const auto boxAt = [&](Corner inCorner) {
            const bool atLeft = inCorner == Corner::kTopLeft || inCorner == Corner::kBottomLeft;
            const bool atTop = inCorner == Corner::kTopLeft || inCorner == Corner::kTopRight;
            return Rect{atLeft ? mPlot.mX + 0.5 * base : mPlot.right() - width - 0.5 * base,
                        atTop ? mPlot.mY + 0.5 * base : mPlot.bottom() - height - 0.5 * base, width, height};
        };
        Corner corner = mPanel.mLegend;
        if (corner == Corner::kAuto) {
            std::size_t fewest = SIZE_MAX;
            for (const Corner candidate : {Corner::kTopRight, Corner::kTopLeft, Corner::kBottomRight, Corner::kBottomLeft})
                if (const std::size_t hidden = pointsWithin(boxAt(candidate)); hidden < fewest) {
                    fewest = hidden;
                    corner = candidate;
                }
        }
        const Rect box = boxAt(corner);
        const double left = box.mX;
        const double top = box.mY;
        cairo_set_source_rgba(context, 1.0, 1.0, 1.0, 0.88);
        cairo_rectangle(context, left, top, width, height);
        cairo_fill_preserve(context);
        mPainter.grey(0.6);
        cairo_set_line_width(context, 0.8);
        cairo_stroke(context);
        for (std::size_t i = 0; i < entries.size(); ++i) {
            const double y = top + 0.3 * base + rowHeight * (double(i) + 0.5);
            mPainter.colour(entries[i]->mColour);
            mPainter.style(entries[i]->mStyle, entries[i]->mWidth);
            cairo_move_to(context, left + 0.5 * base, y);
            cairo_line_to(context, left + 0.5 * base + sample, y);
            cairo_stroke(context);
            mPainter.style(LineStyle::kSolid, 1.0);
            mPainter.grey(0.1);
            mPainter.text(left + sample + base, y, entries[i]->mLabel, Align::kStart, true);
        }
    }

    // How many points of the series a box would hide; also counts points on
    // the straight lines between them, so that a box over a sparse line counts.
    std::size_t pointsWithin(const Rect& inBox) const
    {
        std::size_t count = 0;
        for (const Series& series : mPanel.mSeries)
            for (std::size_t i = 0; i + 1 < std::min(series.mX.size(), series.mY.size()); ++i) {
                if (!std::isfinite(series.mY[i]) || !std::isfinite(series.mY[i + 1]))
                    continue;
                for (const double t : {0.0, 0.25, 0.5, 0.75}) {
                    const double x = toX(series.mX[i]) + t * (toX(series.mX[i + 1]) - toX(series.mX[i]));
                    const double y = toY(series.mY[i]) + t * (toY(series.mY[i + 1]) - toY(series.mY[i]));
                    count += x >= inBox.mX && x <= inBox.right() && y >= inBox.mY && y <= inBox.bottom();
                }
            }
        return count;
    }

    void drawNotes()
    {
        const double base = mPainter.fontSize();
        mPainter.font(0.8, false, true);
        double y = mPlot.bottom() - 0.6 * base;
        for (auto note = mPanel.mNotes.rbegin(); note != mPanel.mNotes.rend(); ++note) {
            cairo_set_source_rgba(mPainter.context(), 1.0, 1.0, 1.0, 0.85);
            cairo_rectangle(mPainter.context(), mPlot.mX + 0.3 * base, y - 1.0 * base,
                            mPainter.width(*note) + 0.6 * base, 1.3 * base);
            cairo_fill(mPainter.context());
            mPainter.grey(0.25);
            mPainter.text(mPlot.mX + 0.6 * base, y, *note, Align::kStart);
            y -= 1.3 * base;
        }
    }

    Painter& mPainter;
    const Panel& mPanel;
    Rect mPlot{};
};

void drawAll(cairo_t* inContext, const Figure& inFigure)
{
    const double width = inFigure.mWidth;
    const double height = inFigure.mHeight;
    cairo_set_source_rgb(inContext, 1.0, 1.0, 1.0);
    cairo_paint(inContext);

    const double base = std::clamp(std::min(width, height) / 48.0, 8.0, 16.0);
    Painter painter(inContext, base);
    painter.font(1.25, true);
    const double room = width - 2.0 * base;
    const double titleWidth = painter.width(inFigure.mTitle);
    if (titleWidth > room)
        cairo_set_font_size(inContext, 1.25 * base * room / titleWidth);
    painter.grey(0.0);
    painter.text(0.5 * width, 1.9 * base, inFigure.mTitle, Align::kCentre);

    const double top = 2.6 * base;
    const double panelHeight = (height - top - 0.3 * base) / double(std::max<std::size_t>(1, inFigure.mPanels.size()));
    for (std::size_t i = 0; i < inFigure.mPanels.size(); ++i) {
        PanelPainter panel(painter, inFigure.mPanels[i], {0.0, top + panelHeight * double(i), width, panelHeight});
        panel.draw();
    }
}

std::string xmlEscaped(const std::string& inText)
{
    std::string escaped;
    for (char c : inText) {
        switch (c) {
        case '&': escaped += "&amp;"; break;
        case '<': escaped += "&lt;"; break;
        case '>': escaped += "&gt;"; break;
        case '"': escaped += "&quot;"; break;
        default: escaped += c;
        }
    }
    return escaped;
}

void appendBigEndian(std::string& ioBytes, std::uint32_t inValue)
{
    for (int shift = 24; shift >= 0; shift -= 8)
        ioBytes += static_cast<char>((inValue >> shift) & 0xFF);
}

std::string pngText(const std::string& inKeyword, const std::string& inText)
{
    const std::string data = "tEXt" + inKeyword + '\0' + inText;
    std::string chunk;
    appendBigEndian(chunk, static_cast<std::uint32_t>(data.size() - 4));
    chunk += data;
    appendBigEndian(chunk, static_cast<std::uint32_t>(
                               crc32(0L, reinterpret_cast<const Bytef*>(data.data()), static_cast<uInt>(data.size()))));
    return chunk;
}

// Text chunks right after the header chunk (8 bytes of signature, 25 of IHDR).
std::string withPngText(const std::string& inPng, const std::string& inTitle, const std::string& inNotes)
{
    constexpr std::size_t kAfterHeader = 8 + 25;
    std::string chunks = pngText("Title", inTitle);
    if (!inNotes.empty())
        chunks += pngText("Description", inNotes);
    return inPng.substr(0, kAfterHeader) + chunks + inPng.substr(kAfterHeader);
}

std::string withSvgText(const std::string& inSvg, const std::string& inTitle, const std::string& inNotes)
{
    const std::size_t open = inSvg.find("<svg");
    const std::size_t end = open == std::string::npos ? open : inSvg.find('>', open);
    if (end == std::string::npos)
        return inSvg;
    std::string text = "\n<title>" + xmlEscaped(inTitle) + "</title>";
    if (!inNotes.empty())
        text += "\n<desc>" + xmlEscaped(inNotes) + "</desc>";
    return inSvg.substr(0, end + 1) + text + inSvg.substr(end + 1);
}

std::string allNotes(const Figure& inFigure)
{
    std::string notes;
    for (const Panel& panel : inFigure.mPanels)
        for (const std::string& note : panel.mNotes)
            notes += (notes.empty() ? "" : "\n") + note;
    return notes;
}

// Cairo and fontconfig keep their font caches for the life of the process;
// handing them back at exit keeps leak checkers quiet about them.
void releaseFontCachesAtExit()
{
    static const bool registered = [] {
        std::atexit([] {
            cairo_debug_reset_static_data();
            FcFini();
        });
        return true;
    }();
    (void)registered;
}

void check(cairo_status_t inStatus)
{
    if (inStatus != CAIRO_STATUS_SUCCESS)
        throw Error(std::string("cannot draw the plot: ") + cairo_status_to_string(inStatus));
}

} // namespace

ImageFormat imageFormatFor(const std::string& inPath)
{
    std::string extension = inPath.size() >= 4 ? inPath.substr(inPath.size() - 4) : "";
    for (char& c : extension)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (extension == ".png")
        return ImageFormat::kPng;
    if (extension == ".svg")
        return ImageFormat::kSvg;
    throw UsageError("the plot's name must end in .png or .svg, not '" + shownText(inPath) + "'");
}

void parseImageSize(const std::string& inText, int& outWidth, int& outHeight)
{
    const std::size_t cross = inText.find('x');
    const auto number = [&](std::string_view inPart, int& outValue) {
        const auto [end, error] = std::from_chars(inPart.data(), inPart.data() + inPart.size(), outValue);
        return !inPart.empty() && error == std::errc() && end == inPart.data() + inPart.size() &&
               outValue >= kSmallestImage && outValue <= kLargestImage;
    };
    const std::string_view text = inText;
    if (cross == std::string::npos || !number(text.substr(0, cross), outWidth) ||
        !number(text.substr(cross + 1), outHeight))
        throw UsageError("--size takes WIDTHxHEIGHT in pixels, each " + std::to_string(kSmallestImage) + " to " +
                         std::to_string(kLargestImage) + ", not \"" + shownText(inText) + "\"");
}

std::string drawFigure(const Figure& inFigure, ImageFormat inFormat)
{
    releaseFontCachesAtExit();
    std::string bytes;
    using Surface = std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)>;
    using Context = std::unique_ptr<cairo_t, decltype(&cairo_destroy)>;
    Surface surface(inFormat == ImageFormat::kPng
                        ? cairo_image_surface_create(CAIRO_FORMAT_RGB24, inFigure.mWidth, inFigure.mHeight)
                        : cairo_svg_surface_create_for_stream(appendBytes, &bytes, inFigure.mWidth, inFigure.mHeight),
                    cairo_surface_destroy);
    check(cairo_surface_status(surface.get()));
    if (inFormat == ImageFormat::kSvg)
        cairo_svg_surface_set_document_unit(surface.get(), CAIRO_SVG_UNIT_PX);
    {
        Context context(cairo_create(surface.get()), cairo_destroy);
        drawAll(context.get(), inFigure);
        check(cairo_status(context.get()));
    }
    if (inFormat == ImageFormat::kPng) {
        check(cairo_surface_write_to_png_stream(surface.get(), appendBytes, &bytes));
        return withPngText(bytes, inFigure.mTitle, allNotes(inFigure));
    }
    cairo_surface_finish(surface.get());
    check(cairo_surface_status(surface.get()));
    return withSvgText(bytes, inFigure.mTitle, allNotes(inFigure));
}

void fitYRange(Panel& ioPanel, double inStep, double inMinimumSpan, double inFloor, double inCeiling)
{
    double lowest = INFINITY;
    double highest = -INFINITY;
    for (const Series& series : ioPanel.mSeries)
        for (std::size_t i = 0; i < series.mY.size() && i < series.mX.size(); ++i)
            if (std::isfinite(series.mY[i]) && series.mX[i] >= ioPanel.mXMin && series.mX[i] <= ioPanel.mXMax) {
                lowest = std::min(lowest, std::max(series.mY[i], inFloor));
                highest = std::max(highest, std::min(series.mY[i], inCeiling));
            }
    if (!(lowest <= highest)) {
        lowest = highest = 0.5 * (inFloor + inCeiling);
    }
    double low = std::floor(lowest / inStep - 0.5) * inStep;
    double high = std::ceil(highest / inStep + 0.5) * inStep;
    while (high - low < inMinimumSpan) {
        low -= inStep;
        if (high - low < inMinimumSpan)
            high += inStep;
    }
    if (low < inFloor) {
        high = std::min(inCeiling, high + (inFloor - low));
        low = inFloor;
    }
    if (high > inCeiling) {
        low = std::max(inFloor, low - (high - inCeiling));
        high = inCeiling;
    }
    ioPanel.mYMin = low;
    ioPanel.mYMax = high;
}

} // namespace cli::plot
