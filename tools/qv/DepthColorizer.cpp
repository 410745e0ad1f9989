#include "DepthColorizer.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>

namespace qv {

namespace {

// Anchors of a perceptually uniform map from dark blue-violet through teal to yellow.
constexpr uint8_t kAnchors[][3] = {
    {68, 1, 84}, {59, 82, 139}, {33, 145, 140}, {94, 201, 98}, {253, 231, 37},
};

// 5-row pixel glyphs for the legend text, one row per byte (the lowest `width` bits,
// left to right).
struct Glyph {
    char c;
    int width;
    uint8_t rows[5];
};
constexpr Glyph kGlyphs[] = {
    {'0', 3, {7, 5, 5, 5, 7}}, {'1', 3, {2, 6, 2, 2, 7}}, {'2', 3, {7, 1, 7, 4, 7}},  {'3', 3, {7, 1, 7, 1, 7}},
    {'4', 3, {5, 5, 7, 1, 1}}, {'5', 3, {7, 4, 7, 1, 7}}, {'6', 3, {7, 4, 7, 5, 7}},  {'7', 3, {7, 1, 1, 1, 1}},
    {'8', 3, {7, 5, 7, 5, 7}}, {'9', 3, {7, 5, 7, 1, 7}}, {'m', 5, {0, 0, 26, 21, 21}}, {'-', 3, {0, 0, 7, 0, 0}},
    {' ', 2, {0, 0, 0, 0, 0}},
};

const Glyph* glyphOf(char c)
{
    for (const Glyph& g : kGlyphs)
        if (g.c == c) return &g;
    return nullptr;
}

// Width in pixels of text drawn at the given scale (one blank column between glyphs).
int textWidth(const std::string& text, int scale)
{
    int width = 0;
    for (char c : text)
        if (const Glyph* g = glyphOf(c)) width += (g->width + 1) * scale;
    return width;
}

void drawText(uint8_t* image, int width, int height, int x, int y, const std::string& text, int scale)
{
    for (char c : text) {
        const Glyph* g = glyphOf(c);
        if (g == nullptr) continue;
        for (int row = 0; row < 5; ++row)
            for (int col = 0; col < g->width; ++col) {
                if (!(g->rows[row] & (1 << (g->width - 1 - col)))) continue;
                for (int dy = 0; dy < scale; ++dy)
                    for (int dx = 0; dx < scale; ++dx) {
                        const int px = x + col * scale + dx, py = y + row * scale + dy;
                        if (px < 0 || py < 0 || px >= width || py >= height) continue;
                        std::memset(image + (static_cast<size_t>(py) * width + px) * 3, 255, 3);
                    }
            }
        x += (g->width + 1) * scale;
    }
}

}  // namespace

void DepthColorizer::mapColor(double t, uint8_t rgb[3])
{
    t = std::clamp(t, 0.0, 1.0);
    const double pos = t * (std::size(kAnchors) - 1);
    const size_t i = std::min(static_cast<size_t>(pos), std::size(kAnchors) - 2);
    const double f = pos - i;
    for (int c = 0; c < 3; ++c)
        rgb[c] = static_cast<uint8_t>(std::lround(kAnchors[i][c] + f * (kAnchors[i + 1][c] - kAnchors[i][c])));
}

void DepthColorizer::setRange(uint16_t nearMm, uint16_t farMm)
{
    m_near = std::min(nearMm, farMm);
    m_far = std::max(nearMm, farMm);
    m_fixed = true;
}

void DepthColorizer::findRange(const uint16_t* depth, size_t count)
{
    std::vector<uint16_t> valid;
    valid.reserve(count);
    for (size_t i = 0; i < count; ++i)
        if (depth[i] != 0) valid.push_back(depth[i]);
    if (valid.empty()) {
        m_near = m_far = 0;
        return;
    }
    const size_t lo = valid.size() * 2 / 100, hi = std::min(valid.size() - 1, valid.size() * 98 / 100);
    std::nth_element(valid.begin(), valid.begin() + lo, valid.end());
    m_near = valid[lo];
    std::nth_element(valid.begin(), valid.begin() + hi, valid.end());
    m_far = valid[hi];
}

std::vector<uint8_t> DepthColorizer::colorize(const uint16_t* depth, int width, int height)
{
    const size_t pixels = static_cast<size_t>(width) * height;
    if (!m_fixed) findRange(depth, pixels);
    std::vector<uint8_t> image(static_cast<size_t>(width) * (height + kLegendHeight) * 3, 0);
    const double span = std::max(1, m_far - m_near);
    for (size_t i = 0; i < pixels; ++i) {
        if (depth[i] == 0) continue;  // no depth stays black
        mapColor((depth[i] - m_near) / span, &image[i * 3]);
    }
    drawLegend(image.data() + pixels * 3, width);
    return image;
}

void DepthColorizer::drawLegend(uint8_t* strip, int width)
{
    const int barTop = 2, barHeight = 8;
    for (int x = 0; x < width; ++x) {
        uint8_t rgb[3];
        mapColor(width > 1 ? static_cast<double>(x) / (width - 1) : 0.0, rgb);
        for (int y = barTop; y < barTop + barHeight; ++y) std::memcpy(strip + (static_cast<size_t>(y) * width + x) * 3, rgb, 3);
    }
    const std::string nearText = std::to_string(m_near) + " mm";
    const std::string farText = std::to_string(m_far) + " mm";
    const int scale = 2, textY = barTop + barHeight + 2;
    drawText(strip, width, kLegendHeight, 2, textY, nearText, scale);
    drawText(strip, width, kLegendHeight, width - 2 - textWidth(farText, scale), textY, farText, scale);
}

}  // namespace qv
