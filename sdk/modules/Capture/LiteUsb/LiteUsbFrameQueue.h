// The two frame slots of the bulk transport and the queue of finished frames between
// its capture thread, which fills the slots, and its callback thread, which hands them
// on. Frames are never copied: a queued frame_info points into its slot. A slot is held
// from the moment its frame is queued until the callback that delivers it returns, so a
// frame is never overwritten while it waits or while the application reads it.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>

#include "ICapture.h"

class LiteUsbFrameQueue {
public:
    // Two slots of `slotBytes` each; false when the memory is not there.
    bool allocate(size_t slotBytes);
    void free();
    size_t slotBytes() const { return m_slotBytes; }

    // Producer: the slot the next frame goes into, or null while both are held.
    unsigned char* fillSlot();
    // Producer: queues the frame written into the fill slot and turns to the other slot.
    void push(const frame_info& frame);

    // Consumer: waits for the oldest frame. False, at once, when `running` is false
    // (whoever clears it calls wake()).
    bool pop(frame_info& frame, const std::atomic<bool>& running);
    // Consumer: the frame taken by pop was handed on; its slot may be filled again.
    void release(const frame_info& frame);
    void wake();
    // A new stream begins: waiting frames are dropped; a slot still inside a callback
    // stays held until that callback returns.
    void reset();

private:
    enum class Slot { Free, Held };

    std::mutex m_mutex;
    std::condition_variable m_ready;
    std::deque<frame_info> m_queue;
    std::unique_ptr<unsigned char[]> m_buffers[2];
    Slot m_slots[2] = {Slot::Free, Slot::Free};
    int m_fill = 0;
    size_t m_slotBytes = 0;
};
