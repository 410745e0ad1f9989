#include "LiteUsbFrameAssembler.h"

#include <algorithm>
#include <cstring>

#include "LiteUsbFrameQueue.h"

namespace {
constexpr unsigned char kHeader[4] = {0x0A, 0x1B, 0x2C, 0x3D};
constexpr unsigned char kEnd[4] = {0x0D, 0x1C, 0x2B, 0x3A};
constexpr uint32_t kHeaderLength = 8;
}  // namespace

LiteUsbFrameAssembler::LiteUsbFrameAssembler(LiteUsbFrameQueue& queue, uint32_t packetSize, uint32_t transferSize)
    : m_queue(queue), m_packetSize(packetSize), m_transferSize(transferSize)
{
}

void LiteUsbFrameAssembler::restart(const frame_info& shape)
{
    m_shape = shape;
    m_inFrame = false;
    m_slot = nullptr;
    m_expected = 0;
    m_written = 0;
    m_sequence = 0;
}

LiteUsbFrameAssembler::Outcome LiteUsbFrameAssembler::take(const unsigned char* transfer, uint32_t length)
{
    const uint64_t payload = m_transferSize - 1;
    if (length >= kHeaderLength && std::memcmp(transfer, kHeader, 4) == 0) {
        m_length = uint32_t(transfer[4]) | uint32_t(transfer[5]) << 8 | uint32_t(transfer[6]) << 16 |
                   uint32_t(transfer[7]) << 24;
        m_expected = (m_length + payload - 1) / payload;
        m_written = 0;
        m_inFrame = true;
        m_slot = m_queue.fillSlot();
        return m_slot != nullptr ? Outcome::Taken : Outcome::QueueFull;
    }
    if (length == m_transferSize) {
        if (m_expected > 0) --m_expected;
        if (!m_inFrame || m_slot == nullptr) return Outcome::Taken;  // no frame begun, or one being dropped
        if (m_written + payload > m_queue.slotBytes()) return Outcome::FrameDataFull;
        std::memcpy(m_slot + m_written, transfer + 1, payload);
        m_written += payload;
        return Outcome::Taken;
    }
    if (length >= sizeof kEnd && std::memcmp(transfer, kEnd, sizeof kEnd) == 0 && m_inFrame) {
        m_inFrame = false;
        m_expected = 0;
        if (m_slot == nullptr) return Outcome::Taken;
        frame_info frame = m_shape;
        frame.data = m_slot;
        // Only bytes that arrived: a frame with lost packets, or longer than the slot, is shorter than L.
        frame.size = uint32_t(std::min<uint64_t>(m_length, m_written));
        frame.sequence = m_sequence++;
        m_slot = nullptr;
        m_queue.push(frame);
    }
    return Outcome::Taken;  // any other short packet
}
