#include "PngWriter.h"

#include <png.h>

#include <csetjmp>
#include <cstdio>
#include <vector>

namespace qv {

namespace {

// One PNG write; rows are handed over as they are laid out in memory.
bool writePng(const std::string& path, int width, int height, int bitDepth, int colorType, int bytesPerRow,
              const uint8_t* const* rows, std::string& error)
{
    if (width <= 0 || height <= 0) {
        error = "empty image";
        return false;
    }
    FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
        error = "cannot create " + path;
        return false;
    }
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (png == nullptr || info == nullptr) {
        png_destroy_write_struct(&png, &info);
        std::fclose(file);
        error = "out of memory";
        return false;
    }
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        std::fclose(file);
        error = "libpng failed writing " + path;
        return false;
    }
    png_init_io(png, file);
    png_set_compression_level(png, 3);  // fast: these files are written while streaming
    png_set_IHDR(png, info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height), bitDepth, colorType,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    if (bitDepth == 16) png_set_swap(png);  // our words are little-endian, PNG's big-endian
    (void)bytesPerRow;
    png_write_rows(png, const_cast<png_bytepp>(rows), static_cast<png_uint_32>(height));
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    const bool ok = std::fclose(file) == 0;
    if (!ok) error = "cannot finish " + path;
    return ok;
}

std::vector<const uint8_t*> rowPointers(const uint8_t* data, int height, size_t stride)
{
    std::vector<const uint8_t*> rows(static_cast<size_t>(height));
    for (int y = 0; y < height; ++y) rows[y] = data + static_cast<size_t>(y) * stride;
    return rows;
}

}  // namespace

bool PngWriter::writeGray8(const std::string& path, const uint8_t* pixels, int width, int height, std::string& error)
{
    auto rows = rowPointers(pixels, height, static_cast<size_t>(width));
    return writePng(path, width, height, 8, PNG_COLOR_TYPE_GRAY, width, rows.data(), error);
}

bool PngWriter::writeGray16(const std::string& path, const uint16_t* pixels, int width, int height,
                            std::string& error)
{
    auto rows = rowPointers(reinterpret_cast<const uint8_t*>(pixels), height, static_cast<size_t>(width) * 2);
    return writePng(path, width, height, 16, PNG_COLOR_TYPE_GRAY, width * 2, rows.data(), error);
}

bool PngWriter::writeRgb(const std::string& path, const uint8_t* rgb, int width, int height, std::string& error)
{
    auto rows = rowPointers(rgb, height, static_cast<size_t>(width) * 3);
    return writePng(path, width, height, 8, PNG_COLOR_TYPE_RGB, width * 3, rows.data(), error);
}

bool PngWriter::writeBgr(const std::string& path, const uint8_t* bgr, int width, int height, std::string& error)
{
    std::vector<uint8_t> rgb(static_cast<size_t>(width) * height * 3);
    for (size_t i = 0; i < rgb.size(); i += 3) {
        rgb[i] = bgr[i + 2];
        rgb[i + 1] = bgr[i + 1];
        rgb[i + 2] = bgr[i];
    }
    return writeRgb(path, rgb.data(), width, height, error);
}

}  // namespace qv
