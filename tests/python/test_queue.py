"""The queue between the camera's thread and the reader, and the module used from
several threads."""

import threading
import time

import pytest

import orrindale


def wait_until(condition, deadline=20.0):
    end = time.monotonic() + deadline
    while not condition():
        assert time.monotonic() < end, "condition not met within the deadline"
        time.sleep(0.01)


def test_a_full_queue_drops_the_oldest_and_counts_it(camera):
    camera.start(depth=True, queue=2)
    first = camera.read(timeout=10.0)
    seen = camera.received
    wait_until(lambda: camera.received >= seen + 6)  # nobody reads meanwhile
    camera.stop()
    kept = list(camera.frames(timeout=1.0))  # what stayed queued, then the end
    assert len(kept) == 2
    assert camera.dropped == camera.received - 3  # the first was read, two are kept
    assert first.frame_id + 5 <= kept[0].frame_id < kept[1].frame_id  # the newest stayed


def test_two_cameras_streamed_from_two_threads(emulated):
    results, errors = {}, []

    def stream(serial):
        try:
            with orrindale.open(serial=serial) as cam:
                cam.start(depth=True, cloud=True)
                results[serial] = [g.frame_id for g in cam.frames(timeout=10.0, count=5)]
        except Exception as e:  # noqa: BLE001 (reported by the main thread)
            errors.append(e)

    threads = [threading.Thread(target=stream, args=(s,)) for s in ("FL30C0001", "FL30C0002")]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    assert not errors
    assert {s: len(ids) for s, ids in results.items()} == {"FL30C0001": 5, "FL30C0002": 5}


def test_stop_from_another_thread_ends_the_iteration_of_two_readers(camera):
    camera.start(depth=True, color=True)
    taken = [[], []]

    def read(into):
        for group in camera.frames(timeout=None):
            into.append(group.frame_id)

    readers = [threading.Thread(target=read, args=(t,)) for t in taken]
    for r in readers:
        r.start()
    wait_until(lambda: len(taken[0]) + len(taken[1]) >= 6)
    assert camera.gain >= 1  # settings while others read
    camera.stop()
    for r in readers:
        r.join(timeout=20.0)
    assert not any(r.is_alive() for r in readers)
    assert not set(taken[0]) & set(taken[1])  # each group went to one reader
