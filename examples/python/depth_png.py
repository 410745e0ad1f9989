#!/usr/bin/env python3
"""Saves one depth image of the first camera as a colourised PNG (NumPy and the standard
library only): near is red, far is blue, no measurement is black.

    python3 depth_png.py [--emulate] [-o depth.png] [--near MM] [--far MM]
"""

import argparse
import struct
import sys
import zlib

import numpy as np

import orrindale


def colourise(depth_mm, near_mm, far_mm):
    """H x W millimetres -> H x W x 3 RGB: a hue ramp from red (near) to blue (far)."""
    t = np.clip((depth_mm.astype(np.float32) - near_mm) / max(far_mm - near_mm, 1.0), 0.0, 1.0)
    rgb = np.stack([np.clip(2.0 - 4.0 * t, 0, 1),              # red fades out by half way
                    np.clip(2.0 - np.abs(4.0 * t - 2.0), 0, 1),  # green in the middle
                    np.clip(4.0 * t - 2.0, 0, 1)], axis=-1)      # blue from half way
    rgb = (rgb * 255).astype(np.uint8)
    rgb[depth_mm == 0] = 0
    return rgb


def write_png(path, rgb):
    """An 8-bit RGB PNG: each row behind a 0 (no filter) byte, deflated."""
    h, w, _ = rgb.shape
    raw = np.concatenate([np.zeros((h, 1), np.uint8), rgb.reshape(h, w * 3)], axis=1).tobytes()

    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

    with open(path, "wb") as f:
        f.write(b"\x89PNG\r\n\x1a\n")
        f.write(chunk(b"IHDR", struct.pack(">IIBBBBB", w, h, 8, 2, 0, 0, 0)))
        f.write(chunk(b"IDAT", zlib.compress(raw, 6)))
        f.write(chunk(b"IEND", b""))


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--emulate", action="store_true", help="use an emulated Fl30c instead of a camera")
    parser.add_argument("-o", "--output", default="depth.png")
    parser.add_argument("--near", type=float, help="millimetres shown red (default: the nearest measured)")
    parser.add_argument("--far", type=float, help="millimetres shown blue (default: the farthest measured)")
    args = parser.parse_args()

    emulation = orrindale.emulate("fl30c") if args.emulate else None
    try:
        with orrindale.open() as cam:
            cam.start(depth=True)
            group = cam.read(timeout=5.0)
        depth = group.depth
        valid = depth[depth > 0]
        near = args.near if args.near is not None else (valid.min() if valid.size else 0)
        far = args.far if args.far is not None else (valid.max() if valid.size else 1)
        write_png(args.output, colourise(depth, near, far))
        print("%s: %dx%d, frame %d, %d..%d mm" % (args.output, depth.shape[1], depth.shape[0], group.frame_id,
                                                  valid.min() if valid.size else 0, valid.max() if valid.size else 0))
    except orrindale.Error as e:
        sys.exit("depth_png: %s" % e)
    finally:
        if emulation is not None:
            emulation.close()


if __name__ == "__main__":
    main()
