#include "JpegDecoder.h"

#include <turbojpeg.h>

namespace orrindale {

namespace {

// The calling thread's decompressor, destroyed when the thread ends.
class ThreadDecompressor {
public:
    ~ThreadDecompressor()
    {
        if (m_handle != nullptr) tjDestroy(m_handle);
    }
    tjhandle get()
    {
        if (m_handle == nullptr) m_handle = tjInitDecompress();
        return m_handle;
    }

private:
    tjhandle m_handle = nullptr;
};

tjhandle threadDecompressor()
{
    thread_local ThreadDecompressor decompressor;
    return decompressor.get();
}

}  // namespace

JpegDecoder::Result JpegDecoder::decode(const uint8_t* jpeg, std::size_t size, uint8_t* out, std::size_t capacity,
                                        PixelFormat format)
{
    Result result;
    tjhandle handle = threadDecompressor();
    if (handle == nullptr) {
        result.status = Status::kNoDecompressor;
        result.message = tjGetErrorStr2(nullptr);
        return result;
    }
    int width = 0;
    int height = 0;
    int subsampling = 0;
    int colorspace = 0;
    if (tjDecompressHeader3(handle, jpeg, static_cast<unsigned long>(size), &width, &height, &subsampling,
                            &colorspace) != 0 ||
        width <= 0 || height <= 0) {
        result.status = Status::kBadHeader;
        result.message = tjGetErrorStr2(handle);
        return result;
    }
    result.width = static_cast<unsigned>(width);
    result.height = static_cast<unsigned>(height);
    const std::size_t bytesPerPixel = format == PixelFormat::kGray ? 1 : 3;
    const std::size_t need = static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * bytesPerPixel;
    if (capacity != 0 && need > capacity) {
        result.status = Status::kTooSmall;
        result.message = "output buffer too small";
        return result;
    }
    const int pixelFormat = format == PixelFormat::kGray ? TJPF_GRAY : TJPF_BGR;
    if (tjDecompress2(handle, jpeg, static_cast<unsigned long>(size), out, width,
                      width * static_cast<int>(bytesPerPixel), height, pixelFormat, TJFLAG_FASTDCT) != 0) {
        result.message = tjGetErrorStr2(handle);
        result.status = tjGetErrorCode(handle) == TJERR_WARNING ? Status::kDamaged : Status::kDecodeFailed;
    }
    return result;
}

}  // namespace orrindale
