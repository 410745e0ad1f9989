// A generic UVC camera (for instance a Sonix 0C45:636D) streaming test patterns whose
// bytes a test can predict from the frame's sequence number, which each frame carries:
//  - YUY2: bytes 0..3 are the sequence number (little-endian), byte i >= 4 is
//    patternByte(sequence, i);
//  - MJPEG: a colour-bar JPEG of the frame size with a comment segment right after SOI
//    holding the sequence number (little-endian).
// expectedFrame() gives a whole frame.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "UvcDeviceModel.h"

namespace orrindale::emulator {

struct GenericUvcConfig {
    UvcIdentity identity;
    std::vector<UvcFormat> formats;
    bool isochronous = false;
    uint8_t endpoint = 0x81;

    // 0C45:636D with YUY2 640x480 and 320x240, MJPEG 1280x720 and 640x480, each at 30
    // and 15 fps, and a serial number unless `withSerial` is false.
    static GenericUvcConfig sonix(bool withSerial = true);
};

class GenericUvcCamera : public UvcDeviceModel {
public:
    explicit GenericUvcCamera(const GenericUvcConfig& config);

    static uint8_t patternByte(uint32_t sequence, size_t offset)
    {
        return uint8_t(sequence * 31u + offset * 7u + (offset >> 10));
    }
    static std::vector<uint8_t> expectedFrame(UvcPixelFormat format, int width, int height, uint32_t sequence);
    // The sequence number a received frame carries; -1 when it has none.
    static int64_t sequenceOf(UvcPixelFormat format, const uint8_t* data, size_t length);

    // Stops (true) or resumes sending frames; thread safe.
    void setSilent(bool silent);

protected:
    std::optional<Frame> nextFrame(const UvcStreamSelection& selection, uint64_t sequence) override;

private:
    static std::vector<uint8_t> colourBars(int width, int height);
    static const std::vector<uint8_t>& jpegOf(int width, int height);

    bool m_silent = false;
};

}  // namespace orrindale::emulator
