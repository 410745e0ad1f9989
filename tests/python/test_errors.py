"""Failures raise orrindale.Error with the library's code and log line, and leave the
camera usable."""

import pytest

import orrindale


@pytest.mark.parametrize("kwargs, code, text", [
    ({"index": 5}, -2, "there is no camera 5 (2 attached)"),
    ({"serial": "NOPE"}, -2, "no attached camera has the serial number NOPE"),
    ({"bus": 1, "port_path": "9"}, -2, "no camera on bus 1 at port path 9"),
    ({"config": "/nonexistent/camera.json"}, -3, "opening camera 0"),
])
def test_opening_what_is_not_there(emulated, kwargs, code, text):
    with pytest.raises(orrindale.Error) as e:
        orrindale.open(**kwargs)
    assert e.value.code == code and str(e.value).startswith(text)


@pytest.mark.parametrize("kwargs", [{"index": 0, "serial": "FL30C0001"}, {"bus": 1}, {"port_path": "1"}])
def test_selectors_that_contradict_themselves(emulated, kwargs):
    with pytest.raises(ValueError):
        orrindale.open(**kwargs)


CALL_FAILURES = [
    # what the call does, its code, the library's message at the end of the log
    (lambda c: c.start(color=True, cloud=True), -85, "not support media type"),
    (lambda c: c.start(depth=(123, 45, 15)), -1, "Not support width, height or fps"),
    (lambda c: setattr(c, "gain", 99), -1, "gain not in range 1 to 28"),
    (lambda c: c.intrinsics, -1, "the calibration arrives with the first frame: start streaming first"),
]


@pytest.mark.parametrize("call, code, message", CALL_FAILURES)
def test_library_failures_carry_code_and_log_line(emulated, call, code, message):
    with orrindale.open(bus=1, port_path="2") as cam:
        with pytest.raises(orrindale.Error) as e:
            call(cam)
        assert e.value.code == code
        assert e.value.log[-1].endswith("] " + message) and "[ERROR]" in e.value.log[-1]
        assert str(e.value).endswith(": %s (code %d)" % (message, code))
        # The camera still works.
        cam.start(depth=True)
        assert cam.read(timeout=10.0).depth is not None


def test_refusals_of_the_module_itself(camera):
    with pytest.raises(orrindale.Error, match=r"not streaming \(call start\(\) first\)") as e:
        camera.frames()
    assert e.value.code is None
    with pytest.raises(TypeError):
        camera.start(ir=(640, 480, 30))
    with pytest.raises(ValueError):
        camera.modes("ir")
    camera.start(depth=True)
    with pytest.raises(orrindale.Error, match="already streaming"):
        camera.start(depth=True)
    camera.close()
    camera.close()  # twice is fine
    with pytest.raises(orrindale.Error, match="the camera is closed"):
        camera.gain
