"""A camera that falls silent or leaves while it streams: time-outs, Ctrl-C in a wait
that nothing else ends, close, and the camera back again."""

import pytest

import orrindale
from test_interrupt import interrupt_soon


def drain_until_timeout(cam):
    with pytest.raises(orrindale.FrameTimeout) as e:
        while True:
            cam.read(timeout=0.5)  # what was queued, then nothing
    assert isinstance(e.value, TimeoutError) and e.value.code is None


def test_silent_then_unplugged_camera(emulated):
    cam = orrindale.open(serial="FL30C0001")
    cam.start(depth=True)
    assert cam.read(timeout=10.0).depth is not None
    emulated.silence(0)
    drain_until_timeout(cam)
    interrupt_soon()
    with pytest.raises(KeyboardInterrupt):
        cam.read(timeout=None)  # only Ctrl-C ends this wait
    emulated.silence(0, False)
    assert cam.read(timeout=10.0).depth is not None

    emulated.unplug(0)
    drain_until_timeout(cam)
    cam.close()
    assert cam.closed
    emulated.replug(0)
    with orrindale.open(serial="FL30C0001") as again:
        again.start(depth=True)
        assert again.read(timeout=10.0).depth is not None
