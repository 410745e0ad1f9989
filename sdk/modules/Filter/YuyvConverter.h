// YUYV (Y0 U Y1 V per pixel pair) to packed B, G, R bytes with the BT.601 integer
// formulas, C = Y - 16, D = U - 128, E = V - 128:
//   B = (298 C + 516 D + 128) >> 8
//   G = (298 C - 100 D - 208 E + 128) >> 8
//   R = (298 C + 409 E + 128) >> 8
// each clamped to 0 .. 255.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orrindale {

class YuyvConverter {
public:
    // Converts `pairs` pixel pairs: 4 * pairs bytes in, 6 * pairs bytes out.
    static void convert(const uint8_t* yuyv, uint8_t* bgr, std::size_t pairs);
    static void convertScalar(const uint8_t* yuyv, uint8_t* bgr, std::size_t pairs);
};

}  // namespace orrindale
