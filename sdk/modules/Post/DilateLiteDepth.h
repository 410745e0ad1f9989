// Light dilation of a depth image: dst is a copy of src whose rows 3 .. height - 4 and
// columns 3 .. width - 4 hold the 3 x 3 maximum (signed 16-bit comparison) of src; the
// three-pixel border is kept on purpose. src may equal dst. Returns 0, or -1 (logged)
// for a null pointer or a negative size.
#pragma once

int dilate_lite_depth_img(short* src, short* dst, int width, int height);
