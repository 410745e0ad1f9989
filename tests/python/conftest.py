"""The module's tests run against emulated Fl30c cameras in the test process: pytest starts
once more under the device emulation, before it collects anything."""

import pytest

import orrindale


def pytest_configure(config):
    orrindale.ensure_emulation()


@pytest.fixture(scope="module")
def emulated():
    """Two emulated Fl30c (FL30C0001, FL30C0002) for the tests of one file."""
    with orrindale.emulate("fl30c", count=2) as emulation:
        yield emulation


@pytest.fixture
def camera(emulated):
    with orrindale.open(serial="FL30C0001") as cam:
        yield cam
