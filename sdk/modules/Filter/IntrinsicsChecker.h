// Plausibility of one camera's intrinsics against reference values.
#pragma once

namespace orrindale {

class IntrinsicsChecker {
public:
    IntrinsicsChecker(float fx, float fy, float cx, float cy, float refFx, float refFy, float refCx, float refCy);
    virtual ~IntrinsicsChecker() = default;

    // True when each current value lies within its tolerance of its reference, compared
    // on values truncated toward zero to 32-bit integers. NaN or a value beyond the
    // 32-bit range fails.
    virtual bool check(float tolFx, float tolFy, float tolCx, float tolCy);

private:
    float m_current[4];
    float m_reference[4];
};

}  // namespace orrindale
