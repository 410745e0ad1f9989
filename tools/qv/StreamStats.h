// What one camera delivered during a stream: frames per stream, rates, gaps in the
// transfer sequence and callback latency.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>

#include "qv_camera_sdk_types.h"

namespace qv {

class StreamStats {
public:
    static constexpr int kStreams = 5;  // depth, colour, infrared, point cloud, raw MJPEG
    static const char* streamName(int stream);
    // The media-mask bit of a stream.
    static int maskBit(int stream);

    // colourEveryGroup: the camera sends a colour image with every transfer (the Fl30c), so a
    // group without one is a colour image the library dropped as damaged.
    StreamStats(int clockType, bool colourEveryGroup) : m_clockType(clockType), m_colourEveryGroup(colourEveryGroup)
    {
    }

    // Called on the delivering thread for each frame group.
    void record(const CAM_DATA& data);

    uint64_t callbacks() const;
    uint64_t frames(int stream) const;
    double fps(int stream) const;
    uint64_t droppedTransfers() const;
    uint64_t damagedColour() const;
    double meanLatencyMs() const;
    double maxLatencyMs() const;
    // "depth 14.9  color 14.9 ..." for the streams that delivered.
    std::string rates() const;

private:
    using Clock = std::chrono::steady_clock;
    static int slotOf(int stream);

    const int m_clockType;
    const bool m_colourEveryGroup;
    uint64_t m_damagedColour = 0;
    mutable std::mutex m_mutex;
    uint64_t m_callbacks = 0;
    std::array<uint64_t, kStreams> m_frames{};
    std::array<Clock::time_point, kStreams> m_first{}, m_last{};
    bool m_haveId = false;
    uint32_t m_lastId = 0;
    uint64_t m_gaps = 0;
    double m_latencySum = 0, m_latencyMax = 0;
    uint64_t m_latencyCount = 0;
};

}  // namespace qv
