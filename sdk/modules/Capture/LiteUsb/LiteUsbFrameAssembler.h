// Reassembles the bulk stream's frames from its transfers:
//   header  0x0A 0x1B 0x2C 0x3D, then the frame length L (32-bit little-endian);
//   data    exactly one transfer: a marker byte, then transfer size - 1 payload bytes;
//           a frame of L bytes has ceil(L / (transfer size - 1)) of them;
//   end     0x0D 0x1C 0x2B 0x3A.
// Any other transfer is ignored. A header restarts the frame; an end queues it.
#pragma once

#include <cstdint>

#include "ICapture.h"

class LiteUsbFrameQueue;

class LiteUsbFrameAssembler {
public:
    enum class Outcome {
        Taken,          // nothing to report
        QueueFull,      // a header found both slots held: this frame is dropped
        FrameDataFull,  // a data packet would pass the end of the slot: its payload is dropped
    };

    LiteUsbFrameAssembler(LiteUsbFrameQueue& queue, uint32_t packetSize, uint32_t transferSize);

    // A new stream: no frame in progress, sequence numbers from 0; `shape` gives the
    // width, height and format every frame reports.
    void restart(const frame_info& shape);
    // Transfer size while data packets of the current frame are expected, else packet size.
    uint32_t readSize() const { return m_expected > 0 ? m_transferSize : m_packetSize; }
    Outcome take(const unsigned char* transfer, uint32_t length);

private:
    LiteUsbFrameQueue& m_queue;
    uint32_t m_packetSize;
    uint32_t m_transferSize;
    frame_info m_shape;
    bool m_inFrame = false;            // a header came and its end has not
    unsigned char* m_slot = nullptr;   // where the frame goes; null when it is dropped
    uint32_t m_length = 0;             // L of the header
    uint64_t m_expected = 0;           // data packets still to come
    uint64_t m_written = 0;
    uint32_t m_sequence = 0;
};
