#include "IntrinsicsChecker.h"

#include <cstdint>
#include <optional>

namespace orrindale {

namespace {

// Truncation toward zero; none when the value is NaN or outside the int32 range
// (where the conversion would be undefined).
std::optional<int32_t> truncated(double v)
{
    if (!(v > -2147483649.0 && v < 2147483648.0)) return std::nullopt;
    return static_cast<int32_t>(v);
}

bool within(float current, float reference, float tolerance)
{
    const auto value = truncated(current);
    const auto upper = truncated(static_cast<double>(reference + tolerance));
    const auto lower = truncated(static_cast<double>(reference - tolerance));
    return value && upper && lower && *value <= *upper && *value >= *lower;
}

}  // namespace

IntrinsicsChecker::IntrinsicsChecker(float fx, float fy, float cx, float cy, float refFx, float refFy, float refCx,
                                     float refCy)
    : m_current{fx, fy, cx, cy}, m_reference{refFx, refFy, refCx, refCy}
{
}

bool IntrinsicsChecker::check(float tolFx, float tolFy, float tolCx, float tolCy)
{
    const float tolerance[4] = {tolFx, tolFy, tolCx, tolCy};
    for (int i = 0; i < 4; ++i)
        if (!within(m_current[i], m_reference[i], tolerance[i])) return false;
    return true;
}

}  // namespace orrindale
