// The bounded queue between a camera's callback thread and the application's threads. A
// full queue drops its oldest group (and counts it) instead of making the transport wait.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>

#include "FrameGroup.h"

namespace orrpy {

class FrameQueue {
public:
    enum class Wait { Item, Closed, TimedOut };

    // Empties the queue and its counts and accepts groups again, at most capacity at once.
    void open(size_t capacity);
    // Wakes every waiter; groups still queued are handed out, then pop answers Closed.
    void close();
    void push(std::unique_ptr<FrameGroup> group);
    // Waits at most `wait` for a group.
    Wait pop(std::unique_ptr<FrameGroup>& out, std::chrono::nanoseconds wait);

    uint64_t received() const;
    uint64_t dropped() const;
    // A group the callback could not copy (out of memory) counts as dropped.
    void countLost();

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_ready;
    std::deque<std::unique_ptr<FrameGroup>> m_groups;
    size_t m_capacity = 1;
    bool m_open = false;
    uint64_t m_received = 0;
    uint64_t m_dropped = 0;
};

}  // namespace orrpy
