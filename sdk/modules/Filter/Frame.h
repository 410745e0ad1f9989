// A frame of the filter chain: one CAM_FRAME record held by value. The frame never
// owns its pixels; a filter that makes new pixels points the frame into a buffer
// that the caller lends to the filter.
#pragma once

#include "IFilter.h"
#include "qv_camera_sdk_types.h"

namespace orrindale {

class Frame {
public:
    Frame() = default;
    explicit Frame(const CAM_FRAME& frame) : m_frame(frame) {}
    virtual ~Frame() = default;
    Frame(const Frame&) = default;
    Frame& operator=(const Frame&) = default;

    // filter.process(copy of this frame).
    virtual Frame applyFilter(IFilter<Frame>& filter) const;
    // filter.process(copy of this frame) when enabled, else a copy of this frame.
    virtual Frame applyFilter(IFilter<Frame>& filter, bool enabled) const;
    virtual CAM_FRAME getFrameData() const;

private:
    CAM_FRAME m_frame{};
};

}  // namespace orrindale
