#include "Fl30cTransferBuilder.h"

#include <cstring>

#include "EmulatorLog.h"
#include "Fl30cScene.h"
#include "LittleEndian.h"
#include "MjpegEncoder.h"

namespace orrindale::emulator {

std::vector<uint16_t> Fl30cTransferBuilder::depthImage(int width, int height) const
{
    const CameraIntrinsics k = m_calibration.depthFor(width, height);
    std::vector<uint16_t> image(size_t(width) * size_t(height));
    for (int v = 0; v < height; ++v)
        for (int u = 0; u < width; ++u)
            image[size_t(v) * size_t(width) + size_t(u)] = Fl30cScene::rawDepth(Fl30cScene::atDepthPixel(u, v, k));
    return image;
}

std::vector<uint8_t> Fl30cTransferBuilder::irImage(int width, int height) const
{
    const CameraIntrinsics k = m_calibration.depthFor(width, height);
    std::vector<uint8_t> image(size_t(width) * size_t(height));
    for (int v = 0; v < height; ++v)
        for (int u = 0; u < width; ++u)
            image[size_t(v) * size_t(width) + size_t(u)] = Fl30cScene::irOf(Fl30cScene::atDepthPixel(u, v, k).surface);
    return image;
}

std::vector<uint8_t> Fl30cTransferBuilder::colourImage(int width, int height) const
{
    const CameraIntrinsics k = m_calibration.colourFor(width, height);
    std::vector<uint8_t> image(size_t(width) * size_t(height) * 3);
    for (int v = 0; v < height; ++v)
        for (int u = 0; u < width; ++u) {
            const auto rgb = Fl30cScene::colourOf(Fl30cScene::atColourPixel(u, v, k, m_calibration).surface);
            std::memcpy(&image[(size_t(v) * size_t(width) + size_t(u)) * 3], rgb.data(), 3);
        }
    return image;
}

std::shared_ptr<const std::vector<uint8_t>> Fl30cTransferBuilder::mjpeg(int width, int height)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return mjpegLocked(width, height);
}

std::shared_ptr<const std::vector<uint8_t>> Fl30cTransferBuilder::mjpegLocked(int width, int height)
{
    auto& cached = m_mjpegs[{width, height}];
    if (cached) return cached;
    const std::vector<uint8_t> rgb = colourImage(width, height);
    MjpegEncoder encoder;
    std::vector<uint8_t> jpeg;
    // The image must fit the room the transfer leaves for it.
    for (int quality = 90; quality >= 30; quality -= 10) {
        jpeg = encoder.encode(rgb, width, height, quality);
        if (!jpeg.empty() && jpeg.size() <= Fl30cTransferLayout::kMjpegRoom) break;
    }
    if (jpeg.empty() || jpeg.size() > Fl30cTransferLayout::kMjpegRoom) {
        emulatorLog("the %dx%d colour image does not fit a transfer", width, height);
        return nullptr;
    }
    cached = std::make_shared<const std::vector<uint8_t>>(std::move(jpeg));
    return cached;
}

std::shared_ptr<const std::vector<uint8_t>> Fl30cTransferBuilder::transfer(int transferWidth, int mjpegWidth,
                                                                           int mjpegHeight, uint8_t kind)
{
    const auto layout = Fl30cTransferLayout::forTransferWidth(transferWidth);
    if (!layout) return nullptr;
    std::lock_guard<std::mutex> lock(m_mutex);
    auto& cached = m_transfers[{transferWidth, mjpegWidth, mjpegHeight, kind}];
    if (cached) return cached;
    const auto jpeg = mjpegLocked(mjpegWidth, mjpegHeight);
    if (!jpeg) return nullptr;

    std::vector<uint8_t> bytes(layout->transferBytes(), 0);
    const auto floats = m_calibration.headerFloats(layout->imageWidth, layout->imageHeight, mjpegWidth, mjpegHeight);
    for (size_t i = 0; i < floats.size(); ++i) {
        uint32_t word = 0;
        std::memcpy(&word, &floats[i], 4);
        putU32(&bytes[Fl30cTransferLayout::kCalibrationOffset + 4 * i], word);
    }
    putU32(&bytes[Fl30cTransferLayout::kMjpegLengthOffset], uint32_t(jpeg->size()));
    putU32(&bytes[Fl30cTransferLayout::kFrameSizeOffset], uint32_t(bytes.size()));
    bytes[Fl30cTransferLayout::kKindOffset] = kind;
    std::memcpy(&bytes[Fl30cTransferLayout::kHeaderLength], jpeg->data(), jpeg->size());
    uint8_t* image = &bytes[Fl30cTransferLayout::kHeaderLength + jpeg->size()];
    if (kind == Fl30cTransferLayout::kKindIr) {
        const auto ir = irImage(layout->imageWidth, layout->imageHeight);
        std::memcpy(image, ir.data(), ir.size());
    } else {
        const auto depth = depthImage(layout->imageWidth, layout->imageHeight);
        for (size_t i = 0; i < depth.size(); ++i) {
            image[2 * i] = uint8_t(depth[i]);
            image[2 * i + 1] = uint8_t(depth[i] >> 8);
        }
    }
    cached = std::make_shared<const std::vector<uint8_t>>(std::move(bytes));
    return cached;
}

}  // namespace orrindale::emulator
