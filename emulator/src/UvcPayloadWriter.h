// Cuts frames into UVC payloads: a 12-byte header (EOH, SCR, PTS, EOF on the last
// payload, FID toggling per frame; PTS and SCR on the 48 MHz device clock) followed by
// as much frame data as the payload holds.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orrindale::emulator {

class UvcPayloadWriter {
public:
    static constexpr int kHeaderLength = 12;
    static constexpr uint32_t kClockHz = 48000000;

    // Writes one payload into `buffer` (room bytes, at least the header) from the
    // `remaining` bytes at `data`; returns the payload length and sets `taken`.
    int write(uint8_t* buffer, int room, const uint8_t* data, size_t remaining, size_t& taken);
    // Starts the next frame: the frame ID flips, the presentation time is taken anew.
    void beginFrame();
    void reset() { m_fid = 0; }

private:
    uint32_t deviceClock() const;

    uint8_t m_fid = 0;
    uint32_t m_pts = 0;
    uint16_t m_sof = 0;
};

}  // namespace orrindale::emulator
