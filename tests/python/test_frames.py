"""Frames of the emulated Fl30c against the scene it looks at."""

import numpy as np
import pytest

import orrindale

Scene = orrindale.Fl30cScene


def first_with(cam, *kinds, timeout=10.0):
    for group in cam.frames(timeout=timeout, count=20):
        if all(getattr(group, k) is not None for k in kinds):
            return group
    pytest.fail("no group carried " + ", ".join(kinds))


def expected_cloud(depth_mm, k):
    """The cloud the library computes: a point per pixel of 1..5000 mm, raster order, metres."""
    v, u = np.nonzero((depth_mm >= 1) & (depth_mm <= 5000))
    z = depth_mm[v, u].astype(np.float64)
    return np.stack([(u - k.cx) * z / k.fx, (v - k.cy) * z / k.fy, z], axis=1) / 1000.0


@pytest.mark.parametrize("size", [(640, 480), (320, 240)])
def test_depth_colour_and_cloud_show_the_scene(camera, size):
    w, h = size
    camera.start(depth=(w, h, 15), color=(640, 480, 15), cloud=True)
    g = first_with(camera, "depth", "color", "cloud")
    camera.stop()

    assert g.depth.dtype == np.uint16 and g.depth.shape == (h, w)
    assert np.array_equal(g.depth, Scene.depth(w, h))

    assert g.color.dtype == np.uint8 and g.color.shape == (480, 640, 3)
    colour_error = np.abs(g.color.astype(int) - Scene.color(640, 480).astype(int))
    swapped_error = np.abs(g.color[..., ::-1].astype(int) - Scene.color(640, 480).astype(int))
    assert np.median(colour_error) <= 3 < np.median(swapped_error)  # B, G, R as the scene, JPEG aside

    k = camera.intrinsics["depth"]
    assert (k.width, k.height) == (w, h)
    assert k.fx == pytest.approx(570.0 * w / 640) and k.cx == pytest.approx((319.5 + 0.5) * w / 640 - 0.5)
    assert g.cloud.dtype == np.float32 and g.cloud.shape[1] == 3
    np.testing.assert_allclose(g.cloud, expected_cloud(g.depth, k), atol=1e-4)

    ext = camera.extrinsics
    np.testing.assert_allclose(ext.rotation @ ext.rotation.T, np.eye(3), atol=1e-5)
    np.testing.assert_allclose(ext.translation, [-0.025, 0.0005, 0.0015], atol=1e-6)

    assert set(g.info) == {"depth", "color", "cloud"}
    assert g.info["depth"].frame_id == g.frame_id and g.info["depth"].timestamp == g.timestamp


def test_default_streams_ids_and_arrays_that_outlive_the_camera(emulated):
    with orrindale.open(serial="FL30C0002") as cam:
        cam.start()
        groups = list(cam.frames(timeout=10.0, count=4))
    assert all(g.depth is not None and g.color is not None and g.cloud is not None and g.ir is None for g in groups)
    ids = [g.frame_id for g in groups]
    assert ids == sorted(set(ids))
    assert [g.timestamp for g in groups] == sorted(g.timestamp for g in groups)
    # The arrays own their memory: the camera is closed, the values stay.
    assert np.array_equal(groups[-1].depth, Scene.depth(640, 480))
    groups[-1].depth[0, 0] = 1  # and they are the caller's to change


def test_infrared_alternates_with_depth(camera):
    camera.start(depth=True, ir=True)
    groups = list(camera.frames(timeout=10.0, count=8))
    camera.stop()
    ir = [g.ir for g in groups if g.ir is not None]
    assert ir and any(g.depth is not None for g in groups)
    assert all(g.depth is None for g in groups if g.ir is not None)
    assert ir[0].shape == (480, 640) and np.array_equal(ir[0], Scene.ir(640, 480))


def test_settings_and_descriptions(camera):
    info = camera.info
    assert (info.model, info.model_id, info.attachment, info.vid, info.pid) == ("Fl30c", 9, "usb", 0x3482, 0x6723)
    assert info.serial == camera.serial == "FL30C0001"
    # The camera open here cannot be opened again to read its serial number.
    listed = {c.port_path: c for c in orrindale.cameras()}
    assert (listed["1"].serial, listed["2"].serial, listed["2"].open_error) == (None, "FL30C0002", None)
    assert listed["1"].open_error < 0 and listed["1"].bus == 1

    camera.gain = 12
    assert camera.gain == 12
    assert camera.temperatures == pytest.approx({"depth_processor": 41.25, "projector": 38.5, "image_sensor": 45.75})
    assert (320, 240, 30) in camera.modes("depth")
    camera.clock = "system"
    assert camera.clock == "system"
