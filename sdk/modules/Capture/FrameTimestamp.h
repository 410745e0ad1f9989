// The time a transport stamps on a frame when it hands it on: milliseconds of the
// steady clock for timestamp type 0, of the system clock for any other value.
#pragma once

#include <chrono>
#include <cstdint>

inline uint64_t frameTimestampMs(uint32_t timestampType)
{
    const auto since = timestampType != 0 ? std::chrono::system_clock::now().time_since_epoch()
                                          : std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(since).count()) / 1000000;
}
