// 3 x 3 median of 16-bit unsigned images, eight columns per step.
//
// dst starts as a copy of src. For rows 1 .. height - 2 the columns
// 4 .. 4 + 8 * floor((width - 8) / 8) - 1 take the median of their 3 x 3 neighbourhood;
// every other word keeps its source value (with width 640: columns 4 .. 635).
#pragma once

// Returns 0, or -1 (logged) for a null pointer, a negative size or src == dst.
int fastMedianBlur(unsigned short* src, unsigned short* dst, int width, int height);
// The same results from plain loops, for comparison with the vector path.
int fastMedianBlurScalar(unsigned short* src, unsigned short* dst, int width, int height);
