#include "Frame.h"

namespace orrindale {

Frame Frame::applyFilter(IFilter<Frame>& filter) const { return applyFilter(filter, true); }

Frame Frame::applyFilter(IFilter<Frame>& filter, bool enabled) const
{
    if (!enabled) return *this;
    return filter.process(*this);
}

CAM_FRAME Frame::getFrameData() const { return m_frame; }

}  // namespace orrindale
