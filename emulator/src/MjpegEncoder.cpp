#include "MjpegEncoder.h"

#include <turbojpeg.h>

#include <cstddef>

#include "EmulatorLog.h"

namespace orrindale::emulator {

MjpegEncoder::MjpegEncoder() : m_handle(tjInitCompress()) {}

MjpegEncoder::~MjpegEncoder()
{
    if (m_handle != nullptr) tjDestroy(m_handle);
}

std::vector<uint8_t> MjpegEncoder::encode(const std::vector<uint8_t>& rgb, int width, int height, int quality)
{
    if (m_handle == nullptr || rgb.size() < std::size_t(width) * std::size_t(height) * 3) {
        emulatorLog("JPEG encoder not available or image too small");
        return {};
    }
    unsigned char* out = nullptr;
    unsigned long size = 0;
    if (tjCompress2(m_handle, rgb.data(), width, 0, height, TJPF_RGB, &out, &size, TJSAMP_420, quality,
                    0) != 0) {
        emulatorLog("JPEG encoding failed: %s", tjGetErrorStr2(m_handle));
        if (out != nullptr) tjFree(out);
        return {};
    }
    std::vector<uint8_t> jpeg(out, out + size);
    tjFree(out);
    return jpeg;
}

}  // namespace orrindale::emulator
