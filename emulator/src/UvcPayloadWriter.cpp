#include "UvcPayloadWriter.h"

#include <algorithm>
#include <chrono>
#include <cstring>

#include "LittleEndian.h"

namespace orrindale::emulator {

uint32_t UvcPayloadWriter::deviceClock() const
{
    const auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(
                        std::chrono::steady_clock::now().time_since_epoch())
                        .count();
    return uint32_t(uint64_t(ns) * (kClockHz / 1000000) / 1000);
}

void UvcPayloadWriter::beginFrame()
{
    m_fid ^= 1;
    m_pts = deviceClock();
}

int UvcPayloadWriter::write(uint8_t* buffer, int room, const uint8_t* data, size_t remaining, size_t& taken)
{
    taken = std::min(remaining, size_t(room - kHeaderLength));
    const bool endOfFrame = taken == remaining;
    buffer[0] = kHeaderLength;
    buffer[1] = uint8_t(0x80 | 0x08 | 0x04 | (endOfFrame ? 0x02 : 0) | m_fid);
    putU32(buffer + 2, m_pts);
    putU32(buffer + 6, deviceClock());
    m_sof = uint16_t((m_sof + 1) & 0x7ff);
    buffer[10] = uint8_t(m_sof);
    buffer[11] = uint8_t(m_sof >> 8);
    if (taken > 0) std::memcpy(buffer + kHeaderLength, data, taken);
    return int(kHeaderLength + taken);
}

}  // namespace orrindale::emulator
