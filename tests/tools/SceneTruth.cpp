#include "SceneTruth.h"

#include <png.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iterator>

#include "Fl30cCalibration.h"
#include "Fl30cScene.h"
#include "Fl30cTransferBuilder.h"

namespace qvtest {

using orrindale::emulator::Fl30cCalibration;
using orrindale::emulator::Fl30cScene;
using orrindale::emulator::Fl30cTransferBuilder;

void Extent::add(const Point& p)
{
    min = {std::min(min.x, p.x), std::min(min.y, p.y), std::min(min.z, p.z)};
    max = {std::max(max.x, p.x), std::max(max.y, p.y), std::max(max.z, p.z)};
    ++count;
}

SceneTruth::SceneTruth(int width, int height) : m_width(width), m_height(height)
{
    const Fl30cCalibration calibration = Fl30cCalibration::defaults();
    const Fl30cTransferBuilder renderer(calibration);
    const std::vector<uint16_t> raw = renderer.depthImage(width, height);
    m_depthMm.resize(raw.size());
    for (size_t i = 0; i < raw.size(); ++i) m_depthMm[i] = raw[i] ? uint16_t(Fl30cScene::hostMillimetres(raw[i])) : 0;
    m_ir = renderer.irImage(width, height);
    m_colour = renderer.colourImage(640, 480);
    const auto k = calibration.depthFor(width, height);
    for (int v = 0; v < height; ++v)
        for (int u = 0; u < width; ++u) {
            const double d = m_depthMm[size_t(v) * width + u];
            if (d < 1 || d > 5000) continue;
            m_cloud.push_back({(u - k.cx) * d / k.fx, (v - k.cy) * d / k.fy, d});
        }
}

bool SceneTruth::colourInterior(int u, int v, int margin) const
{
    if (u < margin || v < margin || u + margin >= 640 || v + margin >= 480) return false;
    const uint8_t* centre = &m_colour[(size_t(v) * 640 + u) * 3];
    for (int dv = -margin; dv <= margin; ++dv)
        for (int du = -margin; du <= margin; ++du)
            if (!std::equal(centre, centre + 3, &m_colour[(size_t(v + dv) * 640 + u + du) * 3])) return false;
    return true;
}

Extent SceneTruth::wall(const std::vector<Point>& points, double tolerance)
{
    const double z = -Fl30cScene::backWall().offset / Fl30cScene::backWall().normal[2];
    Extent e;
    for (const Point& p : points)
        if (std::abs(p.z - z) <= tolerance) e.add(p);
    return e;
}

Extent SceneTruth::floor(const std::vector<Point>& points, double tolerance)
{
    const double y = -Fl30cScene::floor().offset / Fl30cScene::floor().normal[1];
    Extent e;
    for (const Point& p : points)
        if (std::abs(p.y - y) <= tolerance) e.add(p);
    return e;
}

bool readPng(const std::string& path, PngImage& image, std::string& error)
{
    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&png, path.c_str())) {
        error = "libpng cannot read " + path + ": " + png.message;
        return false;
    }
    // The file's own layout: 16-bit files are "linear" to libpng and are read unchanged.
    const bool colour = (png.format & PNG_FORMAT_FLAG_COLOR) != 0;
    const bool sixteen = (png.format & PNG_FORMAT_FLAG_LINEAR) != 0;
    image.width = static_cast<int>(png.width);
    image.height = static_cast<int>(png.height);
    image.bitDepth = sixteen ? 16 : 8;
    image.channels = colour ? 3 : 1;
    png.format = sixteen ? (colour ? PNG_FORMAT_LINEAR_RGB : PNG_FORMAT_LINEAR_Y) : (colour ? PNG_FORMAT_RGB : PNG_FORMAT_GRAY);
    std::vector<uint8_t> bytes(PNG_IMAGE_SIZE(png));
    if (!png_image_finish_read(&png, nullptr, bytes.data(), 0, nullptr)) {
        error = "libpng cannot decode " + path + ": " + png.message;
        png_image_free(&png);
        return false;
    }
    const size_t samples = static_cast<size_t>(image.width) * image.height * image.channels;
    image.samples.resize(samples);
    for (size_t i = 0; i < samples; ++i) {
        if (sixteen) {
            uint16_t word;
            std::copy(bytes.begin() + 2 * i, bytes.begin() + 2 * i + 2, reinterpret_cast<uint8_t*>(&word));
            image.samples[i] = word;
        } else {
            image.samples[i] = bytes[i];
        }
    }
    return true;
}

std::vector<uint8_t> readBytes(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::vector<Point> readPointFile(const std::string& path)
{
    const std::vector<uint8_t> bytes = readBytes(path);
    std::vector<Point> points(bytes.size() / 12);
    for (size_t i = 0; i < points.size(); ++i) {
        float xyz[3];
        std::copy(bytes.begin() + i * 12, bytes.begin() + i * 12 + 12, reinterpret_cast<uint8_t*>(xyz));
        points[i] = {xyz[0], xyz[1], xyz[2]};
    }
    return points;
}

}  // namespace qvtest
