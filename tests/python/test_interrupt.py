"""Ctrl-C while a reader iterates."""

import os
import signal
import threading

import pytest

import orrindale


def interrupt_soon():
    timer = threading.Timer(0.2, os.kill, (os.getpid(), signal.SIGINT))
    timer.start()
    return timer


def test_ctrl_c_ends_an_iteration_and_the_camera_streams_again(camera):
    camera.start(depth=True)
    interrupt_soon()
    with pytest.raises(KeyboardInterrupt):
        for _ in camera.frames(timeout=None):
            pass
    assert camera.streaming
    camera.stop()
    camera.start(depth=True)
    assert len(list(camera.frames(timeout=10.0, count=2))) == 2
