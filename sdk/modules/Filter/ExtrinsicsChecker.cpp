#include "ExtrinsicsChecker.h"

#include <cmath>
#include <initializer_list>

namespace orrindale {

ExtrinsicsChecker::ExtrinsicsChecker(const float rotation[9], const float translation[3])
{
    for (int i = 0; i < 9; ++i) m_values[i] = rotation[i];
    for (int i = 0; i < 3; ++i) m_values[9 + i] = translation[i];
}

bool ExtrinsicsChecker::check()
{
    // Only these four are tested for NaN; a NaN elsewhere counts as a non-zero value.
    for (int i : {0, 3, 6, 9})
        if (std::isnan(m_values[i])) return false;
    for (float v : m_values) {
        const double r = std::round(static_cast<double>(v));  // half away from zero
        const bool nearlyZero = std::fabs(r - v) < 1e-6 && std::fabs(r) < 1e-6;
        if (!nearlyZero) return true;
    }
    return false;
}

}  // namespace orrindale
