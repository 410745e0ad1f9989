// File dump and pixel helpers (module "common").
#include <cstdio>
#include <fstream>

#include "Logger.h"
#include "qv_common.h"

void saveYUVImg(const char* path, void* data, unsigned long size)
{
    if (path == nullptr || data == nullptr) {
        QV_LOGE("null ptr!");
        return;
    }
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (!out) {
        QV_LOGE("open file ", path, " for writing failed");
        return;
    }
    out.write(static_cast<const char*>(data), static_cast<std::streamsize>(size));
}

void savePointCloud(const char* path, float* points, unsigned long count)
{
    if (path == nullptr || points == nullptr) {
        QV_LOGE("null ptr!");
        return;
    }
    std::ofstream out(path, std::ios::trunc);
    if (!out) {
        QV_LOGE("open file ", path, " for writing failed");
        return;
    }
    for (unsigned long i = 0; i + 3 <= count; i += 3) out << points[i] << ";" << points[i + 1] << ";" << points[i + 2] << "\n";
}

void savePointCloudWithPcdFormat(const char* path, float* points, unsigned long count)
{
    if (path == nullptr || points == nullptr) {
        QV_LOGE("null ptr!");
        return;
    }
    FILE* out = std::fopen(path, "w");
    if (out == nullptr) {
        QV_LOGE("open file ", path, " for writing failed");
        return;
    }
    const unsigned long n = count / 3;
    std::fprintf(out,
                 "# .PCD v0.7 - Point Cloud Data file format\nVERSION 0.7\nFIELDS x y z\nSIZE 4 4 4\n"
                 "TYPE F F F\nCOUNT 1 1 1\nWIDTH %lu\nHEIGHT 1\nVIEWPOINT 0 0 0 1 0 0 0\nPOINTS %lu\nDATA ascii\n",
                 n, n);
    // y and z negated: the file follows the viewer's axis convention.
    for (unsigned long i = 0; i < n; ++i)
        std::fprintf(out, "%f %f %f\n", static_cast<double>(points[3 * i]), static_cast<double>(-points[3 * i + 1]),
                     static_cast<double>(-points[3 * i + 2]));
    std::fclose(out);
}

int readData(const char* path, void* buffer, int size)
{
    if (path == nullptr || buffer == nullptr || size < 0) {
        QV_LOGE("null ptr!");
        return -1;
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        QV_LOGE("open file ", path, " for reading failed");
        return -1;
    }
    in.read(static_cast<char*>(buffer), size);
    return static_cast<int>(in.gcount());
}

int save4img(const char* path, float* tof, float* peak, float* noise, float* multishot, int count, float value)
{
    FILE* out = path ? std::fopen(path, "w") : nullptr;
    if (out == nullptr) return 0;
    std::fprintf(out, "tof,peak,noise,multishot\n");
    if (tof && peak && noise && multishot) {
        for (int i = 0; i < count; ++i)
            std::fprintf(out, "%f %f %f %f\n", static_cast<double>(tof[i]), static_cast<double>(peak[i]),
                         static_cast<double>(noise[i]), static_cast<double>(multishot[i]));
    }
    std::fprintf(out, "%f\n", static_cast<double>(value));
    std::fclose(out);
    return 0;
}

void bgr2mono8(unsigned char* mono, unsigned char* bgr, unsigned int width, unsigned int height)
{
    if (mono == nullptr || bgr == nullptr) {
        QV_LOGW("data is nullptr");
        return;
    }
    const size_t pixels = static_cast<size_t>(width) * height;
    for (size_t i = 0; i < pixels; ++i) {
        const unsigned char* p = bgr + 3 * i;
        mono[i] = static_cast<unsigned char>(0.114 * p[0] + 0.299 * p[2] + 0.587 * p[1]);
    }
}
