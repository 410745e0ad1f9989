"""Reads a PLY file with Open3D and writes its points (and colours) as raw arrays.

usage: read_ply.py CLOUD.ply POINTS_OUT [COLOURS_OUT]
Prints "<n> points, colours yes|no"; POINTS_OUT gets n x 3 float32 (x, y, z),
COLOURS_OUT n x 3 bytes (r, g, b).
"""
import sys

import numpy
import open3d

cloud = open3d.io.read_point_cloud(sys.argv[1], format="ply")
points = numpy.asarray(cloud.points, dtype=numpy.float32)
points.tofile(sys.argv[2])
if len(sys.argv) > 3 and cloud.has_colors():
    colours = numpy.rint(numpy.asarray(cloud.colors) * 255).astype(numpy.uint8)
    colours.tofile(sys.argv[3])
print(f"{len(points)} points, colours {'yes' if cloud.has_colors() else 'no'}")
