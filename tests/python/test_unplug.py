"""A camera that falls silent or leaves while it streams: time-outs, Ctrl-C in a wait
that nothing else ends, the end of the iteration, close, and the camera back again."""

import logging
import os

import pytest

import orrindale
from test_interrupt import interrupt_soon
from test_queue import wait_until


def threads():
    return len(os.listdir("/proc/self/task"))


def test_silent_then_unplugged_camera(emulated, caplog):
    cam = orrindale.open(serial="FL30C0001")
    before = threads()
    cam.start(depth=True)
    assert cam.read(timeout=10.0).depth is not None
    emulated.silence(0)
    with pytest.raises(orrindale.FrameTimeout) as e:
        while True:
            cam.read(timeout=0.5)  # what was queued, then nothing
    assert isinstance(e.value, TimeoutError) and e.value.code is None
    interrupt_soon()
    with pytest.raises(KeyboardInterrupt):
        cam.read(timeout=None)  # silent but attached: only Ctrl-C ends this wait
    emulated.silence(0, False)
    assert cam.read(timeout=10.0).depth is not None

    with caplog.at_level(logging.WARNING, logger="orrindale"):
        emulated.unplug(0)
        list(cam.frames(timeout=None))  # ends by itself
    assert not cam.streaming and cam.dropped <= cam.received
    said = [r.getMessage().split("] ")[-1] for r in caplog.records if "unplugged" in r.getMessage()]
    assert said == ["the camera was unplugged: its stream ended"]  # once, by the library
    wait_until(lambda: threads() <= before)  # the transport's threads ended with the stream
    cam.close()
    assert cam.closed and list(cam.frames(timeout=0.1)) == []

    emulated.replug(0)
    with orrindale.open(serial="FL30C0001") as again:
        again.start(depth=True)
        assert again.read(timeout=10.0).depth is not None
