#include "StreamStats.h"

#include <cstdio>

namespace qv {

const char* StreamStats::streamName(int stream)
{
    static const char* names[kStreams] = {"depth", "color", "ir", "cloud", "mjpeg"};
    return stream >= 0 && stream < kStreams ? names[stream] : "?";
}

int StreamStats::maskBit(int stream)
{
    static const int bits[kStreams] = {QV_MEDIA_DEPTH, QV_MEDIA_RGB, QV_MEDIA_IR, QV_MEDIA_POINTCLOUD, QV_MEDIA_RAW_MJPEG};
    return stream >= 0 && stream < kStreams ? bits[stream] : 0;
}

int StreamStats::slotOf(int stream)
{
    return stream == 4 ? static_cast<int>(CAM_DATA_SLOT_FL30C_EXTRA) : stream;
}

void StreamStats::record(const CAM_DATA& data)
{
    const auto now = Clock::now();
    uint64_t nowMs = 0;
    if (m_clockType == TIME_STAMP_SYSTEM)
        nowMs = static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                          std::chrono::system_clock::now().time_since_epoch())
                                          .count());
    else
        nowMs = static_cast<uint64_t>(
            std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count());

    std::lock_guard<std::mutex> lock(m_mutex);
    ++m_callbacks;
    if (m_colourEveryGroup && data.frame[CAM_DATA_SLOT_RGB].size == 0) ++m_damagedColour;
    uint64_t stamp = 0;
    for (int s = 0; s < kStreams; ++s) {
        const CAM_FRAME& f = data.frame[slotOf(s)];
        if (f.size == 0) continue;
        if (m_frames[s]++ == 0) m_first[s] = now;
        m_last[s] = now;
        if (stamp == 0) stamp = f.timestamp;
    }
    const uint32_t id = data.frame[CAM_DATA_SLOT_DEPTH].frameId;
    if (m_haveId && id > m_lastId + 1) m_gaps += id - m_lastId - 1;
    m_haveId = true;
    m_lastId = id;
    if (stamp != 0 && nowMs >= stamp) {
        const double latency = static_cast<double>(nowMs - stamp);
        m_latencySum += latency;
        m_latencyMax = std::max(m_latencyMax, latency);
        ++m_latencyCount;
    }
}

uint64_t StreamStats::callbacks() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_callbacks;
}

uint64_t StreamStats::frames(int stream) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_frames[stream];
}

double StreamStats::fps(int stream) const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_frames[stream] < 2) return 0;
    const double seconds = std::chrono::duration<double>(m_last[stream] - m_first[stream]).count();
    return seconds > 0 ? (m_frames[stream] - 1) / seconds : 0;
}

uint64_t StreamStats::droppedTransfers() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_gaps;
}

uint64_t StreamStats::damagedColour() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_damagedColour;
}

double StreamStats::meanLatencyMs() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_latencyCount ? m_latencySum / m_latencyCount : 0;
}

double StreamStats::maxLatencyMs() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_latencyMax;
}

std::string StreamStats::rates() const
{
    std::string text;
    for (int s = 0; s < kStreams; ++s) {
        if (frames(s) == 0) continue;
        char part[48];
        std::snprintf(part, sizeof part, "%s%s %.1f", text.empty() ? "" : "  ", streamName(s), fps(s));
        text += part;
    }
    return text.empty() ? "waiting for frames" : text + " fps";
}

}  // namespace qv
