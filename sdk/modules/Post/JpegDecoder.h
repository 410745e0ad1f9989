// MJPEG frame decoding with libjpeg-turbo. Each thread keeps one decompressor for its
// lifetime, so a streaming thread does not create one per frame.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orrindale {

class JpegDecoder {
public:
    enum class PixelFormat { kGray, kBgr };
    // kDamaged: the data decoded only in part (truncated or corrupt); the image is incomplete.
    enum class Status { kOk, kNoDecompressor, kBadHeader, kTooSmall, kDamaged, kDecodeFailed };

    struct Result {
        Status status = Status::kOk;
        unsigned width = 0;   // known from kTooSmall on
        unsigned height = 0;
        const char* message = "";
    };

    // Decodes jpeg[0 .. size) into out with a pitch of width * bytes per pixel, using the
    // fast integer DCT. capacity is the size of out in bytes; 0 means the caller
    // guarantees room for the image.
    static Result decode(const uint8_t* jpeg, std::size_t size, uint8_t* out, std::size_t capacity,
                         PixelFormat format);
};

}  // namespace orrindale
