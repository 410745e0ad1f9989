// 3 x 3 grey-level maximum in place over all but a three-pixel border, closing the
// one-pixel holes that registration leaves.
#pragma once

#include "Frame.h"

namespace orrindale::depth_filter {

class Dilate : public IFilter<Frame> {
public:
    Frame process(Frame frame) override;
};

}  // namespace orrindale::depth_filter
