// What the emulated Fl30c rendered, for checking the files qv saved: its depth (in the
// host's millimetres), infrared and colour images, and the point of each depth pixel.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace qvtest {

struct Point {
    double x, y, z;
};

struct Extent {
    Point min{1e9, 1e9, 1e9};
    Point max{-1e9, -1e9, -1e9};
    size_t count = 0;
    void add(const Point& p);
};

class SceneTruth {
public:
    // The default calibration of the emulated camera at a depth size of width x height.
    SceneTruth(int width, int height);

    int width() const { return m_width; }
    int height() const { return m_height; }
    // Millimetres of each depth pixel as the host reads them (0: no depth).
    const std::vector<uint16_t>& depthMm() const { return m_depthMm; }
    const std::vector<uint8_t>& ir() const { return m_ir; }
    // Colour of each pixel of a 640 x 480 colour image, R, G, B.
    const std::vector<uint8_t>& colour() const { return m_colour; }
    // The colour pixel (u, v) and every pixel within margin of it show one surface (JPEG
    // spreads the colours of an edge over its 16 x 16 blocks).
    bool colourInterior(int u, int v, int margin) const;
    // The unorganised cloud the library computes: one point per pixel with 1..5000 mm, in
    // raster order, through the depth intrinsics.
    const std::vector<Point>& cloud() const { return m_cloud; }

    // The extents of the back wall and the floor among points (within tolerance mm of their planes).
    static Extent wall(const std::vector<Point>& points, double tolerance);
    static Extent floor(const std::vector<Point>& points, double tolerance);

private:
    int m_width, m_height;
    std::vector<uint16_t> m_depthMm;
    std::vector<uint8_t> m_ir, m_colour;
    std::vector<Point> m_cloud;
};

// A PNG read with libpng: its header and its samples (16-bit samples in host order).
struct PngImage {
    int width = 0, height = 0, bitDepth = 0, channels = 0;
    std::vector<uint16_t> samples;
    uint16_t at(int x, int y, int channel = 0) const
    {
        return samples[(static_cast<size_t>(y) * width + x) * channels + channel];
    }
};
bool readPng(const std::string& path, PngImage& image, std::string& error);

// Floats of a little-endian binary file of float32 triples, and bytes of a file.
std::vector<Point> readPointFile(const std::string& path);
std::vector<uint8_t> readBytes(const std::string& path);

}  // namespace qvtest
