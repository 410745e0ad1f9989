#include "GenericUvcCamera.h"

#include <mutex>

#include "LittleEndian.h"
#include "MjpegEncoder.h"

namespace orrindale::emulator {

namespace {

UvcStreaming streamingOf(const GenericUvcConfig& config)
{
    UvcStreaming streaming;
    streaming.formats = config.formats;
    streaming.endpoint = config.endpoint;
    streaming.isochronous = config.isochronous;
    return streaming;
}

}  // namespace

GenericUvcConfig GenericUvcConfig::sonix(bool withSerial)
{
    GenericUvcConfig config;
    config.identity.vendorId = 0x0C45;
    config.identity.productId = 0x636D;
    config.identity.manufacturer = "Sonix Technology Co., Ltd.";
    config.identity.product = "USB 2.0 Camera";
    if (withSerial) config.identity.serialNumber = "SN0001";
    config.formats = {
        {UvcPixelFormat::Yuy2, {{640, 480, {30, 15}}, {320, 240, {30, 15}}}},
        {UvcPixelFormat::Mjpeg, {{1280, 720, {30, 15}}, {640, 480, {30, 15}}}},
    };
    return config;
}

GenericUvcCamera::GenericUvcCamera(const GenericUvcConfig& config) : UvcDeviceModel(config.identity, streamingOf(config))
{
}

std::vector<uint8_t> GenericUvcCamera::colourBars(int width, int height)
{
    static const uint8_t bars[8][3] = {{255, 255, 255}, {255, 255, 0}, {0, 255, 255}, {0, 255, 0},
                                       {255, 0, 255},   {255, 0, 0},   {0, 0, 255},   {0, 0, 0}};
    std::vector<uint8_t> rgb(size_t(width) * size_t(height) * 3);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const uint8_t* c = bars[x * 8 / width];
            uint8_t* p = &rgb[(size_t(y) * size_t(width) + size_t(x)) * 3];
            p[0] = c[0];
            p[1] = c[1];
            p[2] = c[2];
        }
    return rgb;
}

const std::vector<uint8_t>& GenericUvcCamera::jpegOf(int width, int height)
{
    // Encoding is deterministic: one image per size serves every camera and test.
    static std::mutex mutex;
    static std::map<std::pair<int, int>, std::vector<uint8_t>> cache;
    std::lock_guard<std::mutex> lock(mutex);
    auto& jpeg = cache[{width, height}];
    if (jpeg.empty()) jpeg = MjpegEncoder().encode(colourBars(width, height), width, height, 85);
    return jpeg;
}

std::vector<uint8_t> GenericUvcCamera::expectedFrame(UvcPixelFormat format, int width, int height, uint32_t sequence)
{
    uint8_t number[4];
    putU32(number, sequence);
    if (format == UvcPixelFormat::Yuy2) {
        std::vector<uint8_t> frame(size_t(width) * size_t(height) * 2);
        for (size_t i = 0; i < frame.size(); ++i) frame[i] = i < 4 ? number[i] : patternByte(sequence, i);
        return frame;
    }
    const std::vector<uint8_t>& jpeg = jpegOf(width, height);
    if (jpeg.size() < 2) return {};
    // SOI, then a comment segment (FF FE, length 6) with the sequence number, then the rest.
    std::vector<uint8_t> frame{0xFF, 0xD8, 0xFF, 0xFE, 0x00, 0x06, number[0], number[1], number[2], number[3]};
    frame.insert(frame.end(), jpeg.begin() + 2, jpeg.end());
    return frame;
}

int64_t GenericUvcCamera::sequenceOf(UvcPixelFormat format, const uint8_t* data, size_t length)
{
    const size_t at = format == UvcPixelFormat::Yuy2 ? 0 : 6;
    if (length < at + 4) return -1;
    if (format == UvcPixelFormat::Mjpeg && (data[0] != 0xFF || data[1] != 0xD8 || data[2] != 0xFF || data[3] != 0xFE))
        return -1;
    return int64_t(getU32(data + at));
}

void GenericUvcCamera::setSilent(bool silent)
{
    {
        std::lock_guard<std::mutex> lock(mutex());
        if (m_silent == silent) return;
        m_silent = silent;
        if (!silent) restartPacing();
    }
    if (!silent) requestService();
}

std::optional<UvcDeviceModel::Frame> GenericUvcCamera::nextFrame(const UvcStreamSelection& selection,
                                                                 uint64_t sequence)
{
    if (m_silent) return std::nullopt;
    auto bytes = std::make_shared<const std::vector<uint8_t>>(
        expectedFrame(selection.pixelFormat, selection.width, selection.height, uint32_t(sequence)));
    Frame frame;
    frame.length = bytes->size();
    frame.bytes = std::move(bytes);
    return frame;
}

}  // namespace orrindale::emulator
