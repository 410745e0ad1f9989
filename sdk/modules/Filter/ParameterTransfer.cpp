#include "ParameterTransfer.h"

#include <cstring>

namespace orrindale {

static_assert(sizeof(ir_rgb_Parameter) == sizeof(CAM_Parameter), "the two calibration records share one layout");

void transferPara(ir_rgb_Parameter& irRgb, CAM_Parameter& camParam, bool toCamParameter)
{
    if (toCamParameter)
        std::memcpy(&camParam, &irRgb, sizeof camParam);
    else
        std::memcpy(&irRgb, &camParam, sizeof irRgb);
}

}  // namespace orrindale
