"""Emulated cameras in this process, for scripts and tests without hardware.

The emulation works below the library: the process must run under umockdev's preload
library. When it does not, ``ensure_emulation()`` (and ``emulate()``, which calls it) runs
the interpreter again with the same arguments under the preload, once; what the program
did before that call happens again in the new process. Where that cannot be done
unnoticed (an interactive session, output captured by pytest or a notebook) it raises
EmulationError saying how to start instead.
"""

import os
import sys
import weakref

from .errors import EmulationError

_PRELOAD = "libumockdev-preload.so.0"
_sessions = weakref.WeakSet()  # removed at exit, after the cameras opened on them are closed


def _module():
    try:
        from . import _emulation
    except ImportError as e:
        raise EmulationError("this build has no emulated cameras (umockdev was not found when it was built)") from e
    return _emulation


def _why_not_here():
    """Why re-running the interpreter would lose something, or None."""
    if hasattr(sys, "ps1") or sys.flags.interactive or not sys.argv or sys.argv[0] in ("", "-"):
        return "this is an interactive session (or a program read from standard input)"
    if sys.stdout is not sys.__stdout__ or sys.stderr is not sys.__stderr__:
        return "standard output is captured here (pytest captures it while tests run)"
    return None


def ensure_emulation():
    """Makes sure this process runs under the device emulation (see the module's text)."""
    emulation = _module()
    if emulation.preload_active():
        emulation.reexecute([sys.executable])  # only raises the open-file limit now
        return
    why = _why_not_here()
    if why is not None:
        raise EmulationError(
            "emulated cameras need the process to start under " + _PRELOAD + ", and " + why +
            ": start it as LD_PRELOAD=" + _PRELOAD + " " + os.path.basename(sys.executable) +
            " ..., or (pytest) call orrindale.ensure_emulation() from pytest_configure in conftest.py")
    sys.stdout.flush()
    sys.stderr.flush()
    args = [sys.executable] + list(getattr(sys, "orig_argv", sys.argv)[1:])
    emulation.reexecute(args)  # returns only when it failed
    raise EmulationError("the interpreter could not be run again under " + _PRELOAD + " (see the line above)")


class Emulation:
    """Emulated cameras, attached until close() (or the end of a with block)."""

    def __init__(self, cameras, fps, firmware):
        ensure_emulation()
        try:
            self._session = _module().Session(cameras, fps, firmware or "")
        except RuntimeError as e:
            raise EmulationError(str(e)) from e
        _sessions.add(self)

    @property
    def cameras(self):
        """One line per emulated camera: model, serial number, bus, address, port path."""
        return list(self._session.descriptions)

    def unplug(self, i=0):
        """Pulls emulated Fl30c ``i`` (in the order they were named) out."""
        self._check(self._session.unplug(i))

    def replug(self, i=0):
        """Plugs emulated Fl30c ``i`` in again, at the same place."""
        self._check(self._session.replug(i))

    def silence(self, i=0, silent=True):
        """Emulated Fl30c ``i`` stays attached but sends no frames while silent."""
        self._session.set_silent(i, silent)

    def close(self):
        """Removes the emulated cameras; close the cameras opened on them first."""
        self._session.close()

    @staticmethod
    def _check(done):
        if not done:
            raise EmulationError("the emulated device refused (see the line above)")

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()


def emulate(model="fl30c", count=1, *, fps=15, firmware=None):
    """Attaches ``count`` emulated cameras of ``model`` ("fl30c"; or a list such as
    "fl30c,2" naming several models with their counts) until closed."""
    cameras = model if count == 1 else "{},{}".format(model, int(count))
    return Emulation(cameras, fps, firmware)


def close_all():
    """Removes every emulated camera still attached (at exit)."""
    for emulation in list(_sessions):
        emulation.close()


def model_names():
    """The models emulate() accepts."""
    return list(_module().model_names())


class Fl30cScene:
    """What the emulated Fl30c sees, at its default calibration, as its images show it:
    depth in millimetres, infrared, and colour (B, G, R, before compression)."""

    @staticmethod
    def depth(width=640, height=480):
        return _module().fl30c_depth(width, height)

    @staticmethod
    def ir(width=640, height=480):
        return _module().fl30c_ir(width, height)

    @staticmethod
    def color(width=640, height=480):
        return _module().fl30c_color(width, height)
