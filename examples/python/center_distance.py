#!/usr/bin/env python3
"""Prints the distance at the image centre, live, until Ctrl-C (or --seconds).

    python3 center_distance.py [--emulate] [--seconds 5]
"""

import argparse
import sys
import time

import numpy as np

import orrindale


def centre_mm(depth):
    """Median of the measured pixels in the 5 x 5 window at the centre (0: none)."""
    h, w = depth.shape
    window = depth[h // 2 - 2:h // 2 + 3, w // 2 - 2:w // 2 + 3]
    valid = window[window > 0]
    return int(np.median(valid)) if valid.size else 0


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--emulate", action="store_true", help="use an emulated Fl30c instead of a camera")
    parser.add_argument("--seconds", type=float, default=None, help="stop after this long")
    args = parser.parse_args()

    emulation = orrindale.emulate("fl30c") if args.emulate else None
    end = None if args.seconds is None else time.monotonic() + args.seconds
    try:
        with orrindale.open() as cam:
            cam.start(depth=True)
            for group in cam.frames(timeout=2.0):
                mm = centre_mm(group.depth)
                print("frame %6d  centre %s" % (group.frame_id, "%5d mm" % mm if mm else "  no depth"), flush=True)
                if end is not None and time.monotonic() >= end:
                    break
            print("dropped %d of %d groups" % (cam.dropped, cam.received))
    except KeyboardInterrupt:
        pass
    except orrindale.Error as e:
        sys.exit("center_distance: %s" % e)
    finally:
        if emulation is not None:
            emulation.close()


if __name__ == "__main__":
    main()
