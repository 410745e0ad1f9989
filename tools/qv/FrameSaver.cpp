#include "FrameSaver.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "DepthColorizer.h"
#include "PngWriter.h"
#include "PointCloudFiles.h"
#include "qv_common.h"

namespace qv {

namespace {

bool keep(bool ok, const std::string& path, const std::string& why, std::vector<std::string>& written,
          std::string& error)
{
    if (ok)
        written.push_back(path);
    else if (error.empty())
        error = why;
    return ok;
}

}  // namespace

FrameCopy FrameSaver::copy(const CAM_FRAME& f)
{
    FrameCopy c;
    if (f.size == 0 || f.data == nullptr) return c;
    c.width = f.width;
    c.height = f.height;
    c.bytes.assign(f.data, f.data + f.size);
    return c;
}

SavedGroup FrameSaver::copy(const CAM_DATA& data)
{
    SavedGroup g;
    g.frameId = data.frame[CAM_DATA_SLOT_DEPTH].frameId;
    g.depth = copy(data.frame[CAM_DATA_SLOT_DEPTH]);
    g.rgb = copy(data.frame[CAM_DATA_SLOT_RGB]);
    g.ir = copy(data.frame[CAM_DATA_SLOT_IR]);
    g.cloud = copy(data.frame[CAM_DATA_SLOT_POINTCLOUD]);
    return g;
}

std::vector<std::string> FrameSaver::write(const SavedGroup& g, const std::string& dir, const std::string& prefix,
                                           bool depthAligned, CloudUnits units, std::string& error)
{
    std::vector<std::string> written;
    const std::string base = dir + "/" + prefix;
    std::string why;
    const int dw = static_cast<int>(g.depth.width), dh = static_cast<int>(g.depth.height);
    const bool depthOk = g.depth.present() && g.depth.bytes.size() >= static_cast<size_t>(dw) * dh * 2;
    const auto* depth = reinterpret_cast<const uint16_t*>(g.depth.bytes.data());
    if (depthOk) {
        DepthColorizer colorizer;
        const std::vector<uint8_t> picture = colorizer.colorize(depth, dw, dh);
        std::string path = base + "depth_color.png";
        keep(PngWriter::writeRgb(path, picture.data(), dw, dh + DepthColorizer::kLegendHeight, why), path, why,
             written, error);
        path = base + "depth_raw16.png";
        keep(PngWriter::writeGray16(path, depth, dw, dh, why), path, why, written, error);
    }
    if (g.rgb.present()) {
        const std::string path = base + "color.png";
        keep(PngWriter::writeBgr(path, g.rgb.bytes.data(), static_cast<int>(g.rgb.width),
                                 static_cast<int>(g.rgb.height), why),
             path, why, written, error);
    }
    if (g.ir.present()) {
        const std::string path = base + "ir.png";
        const int iw = static_cast<int>(g.ir.width), ih = static_cast<int>(g.ir.height);
        // Infrared of one byte a pixel (Fl30c) or of two (the Solen cameras).
        const bool wide = g.ir.bytes.size() >= static_cast<size_t>(iw) * static_cast<size_t>(ih) * 2;
        keep(wide ? PngWriter::writeGray16(path, reinterpret_cast<const uint16_t*>(g.ir.bytes.data()), iw, ih, why)
                  : PngWriter::writeGray8(path, g.ir.bytes.data(), iw, ih, why),
             path, why, written, error);
    }
    if (g.cloud.present()) {
        const size_t count = g.cloud.bytes.size() / 12;
        std::vector<float> points(count * 3);
        std::memcpy(points.data(), g.cloud.bytes.data(), count * 12);
        if (units == CloudUnits::Metres)
            for (float& v : points) v *= 0.001f;
        std::string path = base + "cloud.pcd";
        std::remove(path.c_str());
        savePointCloudWithPcdFormat(path.c_str(), points.data(), count * 3);
        struct stat st{};
        keep(stat(path.c_str(), &st) == 0 && st.st_size > 0, path, "cannot create " + path, written, error);

        // Depth in the colour camera's grid: each cloud point has a colour pixel. The packed
        // cloud lists the valid depth pixels (1..5000 mm) in raster order.
        std::vector<uint8_t> colours;
        const bool aligned = depthAligned && depthOk && g.rgb.present() && count > 0 &&
                             static_cast<uint64_t>(dw) * g.rgb.height == static_cast<uint64_t>(dh) * g.rgb.width;
        if (aligned) {
            colours.reserve(count * 3);
            const size_t pixels = static_cast<size_t>(dw) * dh;
            const bool organized = count == pixels;
            for (size_t i = 0; i < pixels && colours.size() < count * 3; ++i) {
                if (!organized && (depth[i] == 0 || depth[i] > 5000)) continue;
                const size_t u = (i % dw) * g.rgb.width / dw, v = (i / dw) * g.rgb.height / dh;
                const uint8_t* bgr = &g.rgb.bytes[(v * g.rgb.width + u) * 3];
                colours.push_back(bgr[2]);
                colours.push_back(bgr[1]);
                colours.push_back(bgr[0]);
            }
            if (colours.size() != count * 3) colours.clear();
        }
        path = base + "cloud.ply";
        keep(PointCloudFiles::writePly(path, points.data(), count, colours.empty() ? nullptr : colours.data(), units,
                                       why),
             path, why, written, error);
    }
    return written;
}

}  // namespace qv
