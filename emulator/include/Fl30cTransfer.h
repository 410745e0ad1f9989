// The layout of one Fl30c video transfer (all integers little-endian):
//   0      calibration floats (the first 20, see Fl30cCalibration::headerFloats), rest 0
//   1,072  u32 MJPEG length
//   1,133  u32 total transfer size
//   1,137  u8 image kind: 1 IR, 2 depth
//   2,560  the MJPEG colour image, then the depth image (u16 raw words, round(mm * 16))
//          or the IR image (u8), then zero padding to the transfer size.
// A transfer is width x rows x 2 bytes: 640 x 642, 320 x 564 or 160 x 768, carrying a
// depth/IR image of 640 x 480, 320 x 240 or 160 x 120.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace orrindale::emulator {

struct Fl30cTransferLayout {
    static constexpr size_t kCalibrationOffset = 0;
    static constexpr size_t kMjpegLengthOffset = 1072;
    static constexpr size_t kFrameSizeOffset = 1133;
    static constexpr size_t kKindOffset = 1137;
    static constexpr size_t kHeaderLength = 2560;
    static constexpr size_t kMjpegRoom = 204800;  // what is left for the MJPEG at every size
    static constexpr uint8_t kKindIr = 1;
    static constexpr uint8_t kKindDepth = 2;

    int transferWidth = 640;
    int transferRows = 642;
    int imageWidth = 640;
    int imageHeight = 480;

    size_t transferBytes() const { return size_t(transferWidth) * size_t(transferRows) * 2; }
    // The layout for a transfer (640, 320 or 160 wide); nothing for any other width.
    static std::optional<Fl30cTransferLayout> forTransferWidth(int width);
};

// Ways a test makes the camera send bad transfers; each field left empty is sent right.
struct Fl30cTransferFault {
    std::optional<uint32_t> frameSizeField;    // written at 1,133 instead of the bytes sent
    std::optional<uint32_t> mjpegLengthField;  // written at 1,072 (the data stays where it is)
    std::optional<uint8_t> kind;               // written at 1,137
    std::optional<size_t> truncateTo;          // send only this many bytes of the transfer
    // The MJPEG loses all but its first bytes: the length field says so and the image
    // follows right behind it, as from a camera whose colour image was cut short.
    std::optional<uint32_t> mjpegCutTo;
    int transfers = -1;                        // how many transfers it spoils; -1 until cleared
};

}  // namespace orrindale::emulator
