// One step of the frame filter chain: takes a frame, returns the filtered frame.
#pragma once

namespace orrindale {

template <typename FrameT>
class IFilter {
public:
    virtual ~IFilter() = default;
    virtual FrameT process(FrameT frame) = 0;
};

}  // namespace orrindale
