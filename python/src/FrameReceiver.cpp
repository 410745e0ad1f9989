#include "FrameReceiver.h"

#include <new>

namespace orrpy {

void FrameReceiver::onFrames(void*, const CAM_DATA* data, void* self)
{
    if (data == nullptr || self == nullptr) return;
    FrameQueue& queue = static_cast<FrameReceiver*>(self)->m_queue;
    try {
        if (auto group = FrameGroup::copy(*data)) queue.push(std::move(group));
    } catch (const std::bad_alloc&) {
        queue.countLost();
    }
}

}  // namespace orrpy
