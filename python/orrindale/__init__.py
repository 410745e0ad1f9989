"""Depth cameras of libOrrindaleCameraSdk from Python: frames as NumPy arrays.

    import orrindale
    with orrindale.open() as cam:                       # or index=, serial=, bus= with port_path=
        cam.start(depth=(640, 480, 30), color=True, cloud=True)
        for group in cam.frames(timeout=1.0, count=10):
            print(group.frame_id, group.depth[240, 320], "mm")

Without a camera, ``with orrindale.emulate("fl30c"):`` attaches an emulated one.
Library failures raise orrindale.Error carrying the library's code and log lines; the
library's other log lines go to logging.getLogger("orrindale").
"""

import atexit
import logging
import weakref
from dataclasses import dataclass
from typing import Optional

from . import _orrindale
from ._orrindale import Camera, Extrinsics, FrameInfo, Group, Intrinsics
from . import emulation as _emulated
from .emulation import Emulation, Fl30cScene, emulate, ensure_emulation, model_names
from .errors import EmulationError, Error, FrameTimeout

version = _orrindale.version
# Silent unless the application configures logging (the library's failures raise).
logging.getLogger("orrindale").addHandler(logging.NullHandler())

_MODEL_NAMES = {
    0: "unknown", 1: "Gm80", 2: "G700", 3: "Fl30", 4: "Fl30v", 5: "Selvar A", 6: "Selvar C",
    7: "Pellam", 8: "Pellam (network)", 9: "Fl30c", 10: "Fl30cn", 11: "Zenta", 12: "Halvo",
    13: "Ostrel B", 14: "Virene", 15: "Virene A", 16: "Morvik", 17: "E7", 18: "Virene B",
}


@dataclass(frozen=True)
class CameraInfo:
    """One attached camera. USB cameras have vid, pid, bus, address and port_path; serial
    ones vid, pid and dev_node; network ones ip and port. serial and firmware are None
    when the camera could not be opened to read them (open_error: the library's code)."""

    index: int
    model: str
    model_id: int
    attachment: str
    vid: Optional[int] = None
    pid: Optional[int] = None
    bus: Optional[int] = None
    address: Optional[int] = None
    port_path: Optional[str] = None
    dev_node: Optional[str] = None
    ip: Optional[str] = None
    port: Optional[int] = None
    serial: Optional[str] = None
    firmware: Optional[str] = None
    open_error: Optional[int] = None


def _info(fields):
    return CameraInfo(model=_MODEL_NAMES.get(fields["model_id"], "unknown"), **fields)


def cameras():
    """Every attached camera (each one that can be opened is opened for a moment to read
    its serial number and firmware)."""
    return [_info(d) for d in _orrindale.list_cameras()]


def open(index=None, *, serial=None, bus=None, port_path=None, config=None):  # noqa: A001 (like io.open)
    """Opens one camera: by its index in cameras(), its serial number, or its USB bus and
    port path; the first camera when none is named. config: the camera's configuration
    file. Use it in a with block, or call close()."""
    camera = Camera.open(index, serial, bus, port_path, config)
    _open_cameras.add(camera)
    return camera


# A script may end with cameras and emulated cameras still open: the cameras are closed
# first, while the devices they talk to are still there.
_open_cameras = weakref.WeakSet()


@atexit.register
def _close_at_exit():
    for camera in list(_open_cameras):
        try:
            camera.close()
        except Error:
            pass
    _emulated.close_all()


_info_fields = Camera.info
Camera.info = property(lambda camera: _info(_info_fields.fget(camera)), doc="CameraInfo of the open camera")


__all__ = [
    "Camera", "CameraInfo", "EmulationError", "Emulation", "Error", "Extrinsics", "Fl30cScene", "FrameInfo",
    "FrameTimeout", "Group", "Intrinsics", "cameras", "emulate", "ensure_emulation", "model_names",
    "open", "version",
]
