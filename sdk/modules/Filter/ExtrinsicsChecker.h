// Detects a missing depth-to-colour calibration: extrinsics that are all (nearly) zero.
#pragma once

namespace orrindale {

class ExtrinsicsChecker {
public:
    // rotation row by row, then translation.
    ExtrinsicsChecker(const float rotation[9], const float translation[3]);
    virtual ~ExtrinsicsChecker() = default;

    // False when all twelve values are within 1e-6 of zero, or when the first, fourth,
    // seventh or tenth value is NaN.
    virtual bool check();

private:
    float m_values[12];
};

}  // namespace orrindale
