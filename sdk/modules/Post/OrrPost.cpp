#include "OrrPost.h"

#include <climits>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

#include "DilateLiteDepth.h"
#include "FastMedianBlur.h"
#include "Filt.h"
#include "FrameChecks.h"
#include "JpegDecoder.h"
#include "Logger.h"
#include "MedianRows.h"
#include "PointCloudProjector.h"
#include "RawToZ16.h"
#include "SpeckleFilter.h"
#include "ZeroedBuffer.h"

using orrindale::FrameChecks;
using orrindale::JpegDecoder;
using orrindale::ZeroedBuffer;

namespace {

// Images up to this size in both directions go to the filter library's denoise().
constexpr unsigned kLibraryDenoiseLimit = 641;

template <typename T>
std::unique_ptr<T[]> allocate(std::size_t count)
{
    return std::unique_ptr<T[]>(new (std::nothrow) T[count]);
}

bool fitsInt(unsigned long width, unsigned long height)
{
    return width <= INT_MAX && height <= INT_MAX && width * height <= INT_MAX;
}

}  // namespace

int OrrPost::processDepthImageRawData(unsigned short* data, unsigned int width, unsigned int height, int shift)
{
    if (data == nullptr) {
        QV_LOGE("data is nullptr");
        return -1;
    }
    orrindale::depth_filter::RawToZ16::shiftWords(data, static_cast<std::size_t>(width) * height,
                                                  static_cast<uint32_t>(shift));
    return 0;
}

int OrrPost::denoiseDepthImage(unsigned short* data, unsigned int width, unsigned int height, short newVal,
                               int maxSpeckleSize, int maxDiff, int max_th)
{
    if (data == nullptr) {
        QV_LOGE("data is nullptr");
        return -1;
    }
    if (!fitsInt(width, height)) {
        QV_LOGE("invalid image size ", width, "x", height);
        return -1;
    }
    if (width == 0 || height == 0) return 0;
    const std::size_t pixels = static_cast<std::size_t>(width) * height;
    const bool library = width < kLibraryDenoiseLimit && height < kLibraryDenoiseLimit;
    // The built-in filter labels every pixel; the library touches little of its area.
    ZeroedBuffer work(orrindale::SpeckleFilter::workAreaBytes(pixels),
                      library ? ZeroedBuffer::Use::kSparse : ZeroedBuffer::Use::kDense);
    if (!work) {
        QV_LOGE("malloc memory failed");
        return -2;
    }
    auto* depth = reinterpret_cast<short*>(data);
    if (library) {
        const int ret = denoise(depth, newVal, maxSpeckleSize, static_cast<short>(maxDiff), work.data(), max_th, 0,
                                0, static_cast<int>(width), static_cast<int>(height));
        if (ret < 0) {
            QV_LOGE("denoise failed, ret:", ret);
            return ret;
        }
        return 0;
    }
    orrindale::SpeckleParameters params;
    params.newVal = newVal;
    params.maxSpeckleSize = maxSpeckleSize;
    params.maxDiff = maxDiff;
    params.maxDepth = max_th;
    orrindale::SpeckleFilter::apply(depth, static_cast<int>(width), static_cast<int>(height), params, work.data());
    return 0;
}

int OrrPost::fillHolesDepthImage(unsigned short* data, short newVal, int maxHoleSize, int maxDepthSpread,
                                 int fillMode, int fillBorderHoles, int width, int height)
{
    if (data == nullptr) {
        QV_LOGE("data is nullptr");
        return -1;
    }
    if (width <= 0 || height <= 0 || !fitsInt(static_cast<unsigned long>(width), static_cast<unsigned long>(height))) {
        QV_LOGE("invalid image size ", width, "x", height);
        return -1;
    }
    const std::size_t pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    auto output = allocate<short>(pixels);
    auto mask = allocate<unsigned char>(pixels);
    auto work = allocate<unsigned char>(pixels * 17);
    if (!output || !mask || !work) {
        QV_LOGE("failed to malloc memory for filling hole");
        return -1;
    }
    auto* depth = reinterpret_cast<short*>(data);
    const int ret = filling(mask.get(), depth, output.get(), newVal, maxHoleSize, maxDepthSpread, work.get(), fillMode,
                            fillBorderHoles, width, height);
    if (ret < 0) {
        QV_LOGE("filling failed, ret:", ret);
        return ret;
    }
    std::memcpy(depth, output.get(), pixels * sizeof(short));
    return ret;
}

int OrrPost::depthimg2Rgb(CAM_FRAME& depth, CAM_FRAME& depthDst, ir_rgb_Parameter& calib)
{
    if (depth.data == nullptr || depthDst.data == nullptr) {
        QV_LOGE("depth.data or depth_dst.data is nullptr");
        return -1;
    }
    if (!FrameChecks::holdsImage(depth, sizeof(uint16_t)) || !fitsInt(depth.width, depth.height) ||
        !fitsInt(depthDst.width, depthDst.height)) {
        QV_LOGE(FrameChecks::describeShortImage(depth, sizeof(uint16_t)));
        return -1;
    }
    const std::size_t dstPixels = static_cast<std::size_t>(depthDst.width) * depthDst.height;
    if (dstPixels == 0) {
        QV_LOGE("depth_dst size ", depthDst.width, "x", depthDst.height, " has no pixels");
        return -1;
    }
    // Zeroed per call; depth2RGB does not read them, so they cost two system calls each.
    ZeroedBuffer a1(2 * dstPixels * sizeof(float));
    ZeroedBuffer a2(2 * dstPixels * sizeof(float));
    ZeroedBuffer a3(2 * dstPixels * sizeof(float));
    if (!a1 || !a2 || !a3) {
        QV_LOGE("malloc memory for depth2RGB failed");
        return -1;
    }
    const int ret = depth2RGB(reinterpret_cast<short*>(depth.data), reinterpret_cast<short*>(depthDst.data),
                              a1.as<float>(), a2.as<float>(), a3.as<float>(), static_cast<int>(depthDst.width),
                              static_cast<int>(depthDst.height), static_cast<int>(depth.width),
                              static_cast<int>(depth.height), calib);
    if (ret != 0) {
        QV_LOGE("error, depth2RGB return ", ret);
        return -3;
    }
    return 0;
}

int OrrPost::dilate_lite_depth(short* src, short* dst, int width, int height)
{
    return dilate_lite_depth_img(src, dst, width, height);
}

int OrrPost::alignDepth(CAM_FRAME& depth, CAM_FRAME& depthDst, ir_rgb_Parameter& calib)
{
    if (depth.data == nullptr || depthDst.data == nullptr) {
        QV_LOGE("depth.data or depth_dst.data is nullptr");
        return -1;
    }
    if (!fitsInt(depthDst.width, depthDst.height)) {
        QV_LOGE("invalid image size ", depthDst.width, "x", depthDst.height);
        return -1;
    }
    const std::size_t dstPixels = static_cast<std::size_t>(depthDst.width) * depthDst.height;
    // Not cleared: the registration writes every word of it.
    auto registered = allocate<short>(dstPixels + 1);
    if (!registered) {
        QV_LOGE("malloc memory failed");
        return -2;
    }
    CAM_FRAME target = depthDst;
    target.data = reinterpret_cast<unsigned char*>(registered.get());
    if (depthimg2Rgb(depth, target, calib) != 0) return -3;
    if (dilate_lite_depth(registered.get(), reinterpret_cast<short*>(depthDst.data),
                          static_cast<int>(depthDst.width), static_cast<int>(depthDst.height)) != 0)
        return -4;
    return 0;
}

int OrrPost::alignIr(CAM_FRAME& ir, CAM_FRAME& irDst, ir_rgb_Parameter& /*calib*/)
{
    if (ir.data == nullptr || irDst.data == nullptr) {
        QV_LOGE("ir.data or ir_dst.data is nullptr");
        return -1;
    }
    if (ir.width != irDst.width || ir.height != irDst.height || (irDst.size != 0 && irDst.size < ir.size)) {
        QV_LOGE("ir frame ", ir.width, "x", ir.height, " (", ir.size, " bytes) does not fit ir_dst ", irDst.width, "x",
                irDst.height, " (", irDst.size, " bytes)");
        return -2;
    }
    if (ir.data != irDst.data) std::memmove(irDst.data, ir.data, ir.size);
    return 0;
}

int OrrPost::fastMedianFilter(unsigned short* data, int width, int height)
{
    if (data == nullptr) {
        QV_LOGE("data is nullptr");
        return -1;
    }
    if (width < 0 || height < 0) {
        QV_LOGE("invalid image size ", width, "x", height);
        return -1;
    }
    if (height < 3) return 0;
    // In place: the originals of the rows that the output overwrites are kept aside
    // (three rows), which gives fastMedianBlur's result without a whole-image temporary.
    const std::size_t w = static_cast<std::size_t>(width);
    auto saved = allocate<uint16_t>(3 * w + 1);
    if (!saved) {
        QV_LOGE("malloc memory failed");
        return -1;
    }
    uint16_t* above = saved.get();         // original of row r - 1
    uint16_t* current = saved.get() + w;   // original of row r
    uint16_t* next = saved.get() + 2 * w;  // original of row r + 1
    std::memcpy(above, data, w * sizeof(uint16_t));
    using orrindale::MedianRows;
    int r = 1;
    for (; r + 1 <= height - 2; r += 2) {
        uint16_t* row = data + r * w;
        std::memcpy(current, row, w * sizeof(uint16_t));
        std::memcpy(next, row + w, w * sizeof(uint16_t));
        MedianRows::rowPair(above, current, next, row + 2 * w, row, row + w, width);
        std::swap(above, next);
    }
    if (r <= height - 2) {
        uint16_t* row = data + r * w;
        std::memcpy(current, row, w * sizeof(uint16_t));
        MedianRows::row(above, current, row + w, row, width);
    }
    return 0;
}

namespace {

int decodeJpeg(void* jpeg, int size, unsigned char* out, unsigned int& width, unsigned int& height,
               unsigned int capacity, JpegDecoder::PixelFormat format, int decodeFailure)
{
    if (jpeg == nullptr || out == nullptr || size <= 0) {
        QV_LOGE("jpeg or out is nullptr, or size ", size, " is not positive");
        return -1;
    }
    const auto r = JpegDecoder::decode(static_cast<const uint8_t*>(jpeg), static_cast<std::size_t>(size), out,
                                       capacity, format);
    switch (r.status) {
    case JpegDecoder::Status::kNoDecompressor:
        QV_LOGE("tjInitDecompress failed: ", r.message);
        return -1;
    case JpegDecoder::Status::kBadHeader:
        QV_LOGE("tjDecompressHeader3 failed: ", r.message);
        return -2;
    case JpegDecoder::Status::kTooSmall:
        width = r.width;
        height = r.height;
        QV_LOGE("jpeg image ", r.width, "x", r.height, " does not fit ", capacity, " bytes");
        return -2;
    case JpegDecoder::Status::kDamaged:
        // A picture with a part missing or garbled is not a decoded image.
        width = r.width;
        height = r.height;
        QV_LOGW("jpeg image ", r.width, "x", r.height, " is damaged: ", r.message);
        return decodeFailure;
    case JpegDecoder::Status::kDecodeFailed:
        width = r.width;
        height = r.height;
        QV_LOGE("tjDecompress2 failed: ", r.message);
        return decodeFailure;
    case JpegDecoder::Status::kOk:
        break;
    }
    width = r.width;
    height = r.height;
    return 0;
}

}  // namespace

int OrrPost::mjpgToY8(void* jpeg, int size, unsigned char* out, unsigned int& width, unsigned int& height,
                      unsigned int capacity)
{
    return decodeJpeg(jpeg, size, out, width, height, capacity, JpegDecoder::PixelFormat::kGray, -3);
}

int OrrPost::mjpgToRGB24(void* jpeg, int size, unsigned char* out, unsigned int& width, unsigned int& height,
                         unsigned int capacity)
{
    return decodeJpeg(jpeg, size, out, width, height, capacity, JpegDecoder::PixelFormat::kBgr, -4);
}

int OrrPost::MjpegPostProcess(CAM_FRAME* src, CAM_FRAME* dst)
{
    if (src == nullptr || dst == nullptr) {
        QV_LOGE("src or dst is nullptr");
        return -1;
    }
    unsigned int width = 0;
    unsigned int height = 0;
    if (src->size > static_cast<uint32_t>(INT_MAX) ||
        mjpgToRGB24(src->data, static_cast<int>(src->size), dst->data, width, height, dst->size) != 0)
        return -2;
    dst->width = width;
    dst->height = height;
    dst->size = width * height * 3;
    return 0;
}

int OrrPost::processSpecklegramRawData(unsigned char* data, unsigned long width, unsigned long height,
                                       unsigned int& size)
{
    if (data == nullptr) {
        QV_LOGE("data is nullptr");
        return -1;
    }
    const std::size_t pixels = width * height;
    // In place and front to back: byte i is written after words 0 .. i were read.
    for (std::size_t i = 0; i < pixels; ++i) data[i] = data[2 * i + 1];
    std::memset(data + pixels, 0, pixels);
    size = static_cast<unsigned int>(pixels);
    return 0;
}

int OrrPost::processDepthData(unsigned short* data, std::vector<float>& out, unsigned int width, unsigned int height)
{
    const std::size_t pixels = static_cast<std::size_t>(width) * height;
    if (pixels == 0) return 0;
    if (data == nullptr) {
        QV_LOGE("data is nullptr");
        return -1;
    }
    const std::size_t start = out.size();
    out.resize(start + pixels);
    float* dst = out.data() + start;
    for (std::size_t i = 0; i < pixels; ++i) {
        const unsigned w = data[i];
        dst[i] = static_cast<float>((w >> 4) + (w & 15u) * 0.0625);
    }
    return 0;
}

int OrrPost::depthToPointcloud(const CAM_FRAME& depth, CAM_FRAME& cloud, std::vector<float>& points,
                               const ir_rgb_Parameter& param, bool organized, bool registered)
{
    if (!FrameChecks::holdsImage(depth, sizeof(uint16_t)) || !fitsInt(depth.width, depth.height)) {
        QV_LOGE(FrameChecks::describeShortImage(depth, sizeof(uint16_t)));
        return -1;
    }
    const std::size_t pixels = static_cast<std::size_t>(depth.width) * depth.height;
    points.resize(3 * pixels + 1);
    const orrindale::PinholeIntrinsics k = registered
                                               ? orrindale::PinholeIntrinsics{param.rgbFx, param.rgbFy, param.rgbCx,
                                                                              param.rgbCy}
                                               : orrindale::PinholeIntrinsics{param.depthFx, param.depthFy,
                                                                              param.depthCx, param.depthCy};
    const std::size_t count =
        orrindale::PointCloudProjector::project(reinterpret_cast<const uint16_t*>(depth.data),
                                                static_cast<int>(depth.width), static_cast<int>(depth.height), k,
                                                organized, points.data());
    cloud.type = CAM_FRAME_POINTCLOUD;
    cloud.width = depth.width;
    cloud.height = depth.height;
    cloud.data = reinterpret_cast<unsigned char*>(points.data());
    cloud.size = static_cast<uint32_t>(count * 3 * sizeof(float));
    cloud.length = static_cast<uint32_t>(points.size());
    cloud.frameId = depth.frameId;
    cloud.timestamp = depth.timestamp;
    return 0;
}
