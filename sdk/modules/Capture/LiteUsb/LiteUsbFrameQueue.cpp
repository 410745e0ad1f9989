#include "LiteUsbFrameQueue.h"

#include <new>

bool LiteUsbFrameQueue::allocate(size_t slotBytes)
{
    for (auto& buffer : m_buffers) {
        buffer.reset(new (std::nothrow) unsigned char[slotBytes]);
        if (!buffer) {
            free();
            return false;
        }
    }
    m_slotBytes = slotBytes;
    return true;
}

void LiteUsbFrameQueue::free()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_queue.clear();
    for (int i = 0; i < 2; ++i) {
        m_buffers[i].reset();
        m_slots[i] = Slot::Free;
    }
    m_slotBytes = 0;
}

unsigned char* LiteUsbFrameQueue::fillSlot()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_slots[m_fill] != Slot::Free) m_fill ^= 1;  // only after a restart can the other one be free
    return m_slots[m_fill] == Slot::Free ? m_buffers[m_fill].get() : nullptr;
}

void LiteUsbFrameQueue::push(const frame_info& frame)
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_slots[m_fill] = Slot::Held;
        m_queue.push_back(frame);
        m_fill ^= 1;
    }
    m_ready.notify_one();
}

bool LiteUsbFrameQueue::pop(frame_info& frame, const std::atomic<bool>& running)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_ready.wait(lock, [&] { return !running || !m_queue.empty(); });
    if (!running) return false;
    frame = m_queue.front();
    m_queue.pop_front();
    return true;
}

void LiteUsbFrameQueue::release(const frame_info& frame)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    for (int i = 0; i < 2; ++i)
        if (frame.data == m_buffers[i].get()) m_slots[i] = Slot::Free;
}

void LiteUsbFrameQueue::wake()
{
    // Taking the lock orders this after a waiter's check of its running flag.
    { std::lock_guard<std::mutex> lock(m_mutex); }
    m_ready.notify_all();
}

void LiteUsbFrameQueue::reset()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    for (const frame_info& frame : m_queue)
        for (int i = 0; i < 2; ++i)
            if (frame.data == m_buffers[i].get()) m_slots[i] = Slot::Free;
    m_queue.clear();
}
