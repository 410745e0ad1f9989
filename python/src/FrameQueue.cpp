#include "FrameQueue.h"

namespace orrpy {

void FrameQueue::open(size_t capacity)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_groups.clear();
    m_capacity = capacity == 0 ? 1 : capacity;
    m_open = true;
    m_received = 0;
    m_dropped = 0;
}

void FrameQueue::close()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_open = false;
    }
    m_ready.notify_all();
}

void FrameQueue::push(std::unique_ptr<FrameGroup> group)
{
    std::unique_ptr<FrameGroup> oldest;  // freed after the lock is released
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_open) return;
        ++m_received;
        if (m_groups.size() >= m_capacity) {
            oldest = std::move(m_groups.front());
            m_groups.pop_front();
            ++m_dropped;
        }
        m_groups.push_back(std::move(group));
    }
    m_ready.notify_one();
}

FrameQueue::Wait FrameQueue::pop(std::unique_ptr<FrameGroup>& out, std::chrono::nanoseconds wait)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_ready.wait_for(lock, wait, [&] { return !m_groups.empty() || !m_open; });
    if (!m_groups.empty()) {
        out = std::move(m_groups.front());
        m_groups.pop_front();
        return Wait::Item;
    }
    return m_open ? Wait::TimedOut : Wait::Closed;
}

uint64_t FrameQueue::received() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_received;
}

uint64_t FrameQueue::dropped() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_dropped;
}

void FrameQueue::countLost()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_open) return;
    ++m_received;
    ++m_dropped;
}

}  // namespace orrpy
