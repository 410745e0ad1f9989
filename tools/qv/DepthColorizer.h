// Turns a 16-bit depth image (millimetres) into an RGB picture with a perceptual
// colour map (near = dark blue, far = yellow; no depth = black) and a legend strip
// below it that shows the range in millimetres.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace qv {

class DepthColorizer {
public:
    static constexpr int kLegendHeight = 24;

    // Range from the depths present (2nd and 98th percentile), unless set explicitly.
    void setRange(uint16_t nearMm, uint16_t farMm);

    // width x (height + kLegendHeight) RGB pixels.
    std::vector<uint8_t> colorize(const uint16_t* depth, int width, int height);

    uint16_t nearMm() const { return m_near; }
    uint16_t farMm() const { return m_far; }

    // Colour of t in [0, 1] on the map.
    static void mapColor(double t, uint8_t rgb[3]);

private:
    void findRange(const uint16_t* depth, size_t count);
    void drawLegend(uint8_t* strip, int width);

    bool m_fixed = false;
    uint16_t m_near = 0;
    uint16_t m_far = 0;
};

}  // namespace qv
