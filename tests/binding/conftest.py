"""Binding tests: the module built against the scripted platform."""

import sys
from pathlib import Path

import pytest

TESTS = Path(__file__).resolve().parent.parent
sys.path[:0] = [str(TESTS), str(TESTS / "scripted")]

from kyrbuild import SCRIPTED_LIB, import_module  # noqa: E402
from kyrscript import Script  # noqa: E402


@pytest.fixture(scope="session")
def kyr():
    return import_module(SCRIPTED_LIB)


@pytest.fixture
def scripted(kyr):
    """A fresh script for each test; at the end every object the binding was
    handed has been released, and none was reached after its release."""
    script = Script(SCRIPTED_LIB)
    script.reset()
    live_before = script.live_objects()
    yield script
    assert script.misuses() == 0, "platform objects reached after their release"
    assert script.live_objects() == live_before, "platform objects left unreleased"
    script.reset()


@pytest.fixture
def device(kyr, scripted):
    """A device opened without a device info: the scripted "device", released
    at the end; the call log starts empty."""
    device = kyr.PyKyrCreateDevice()
    assert device.IsValid()
    scripted.calls()
    yield device
    device.Release()


@pytest.fixture
def stream(device, scripted):
    """Stream 0 of `device` ("device-stream0") with four queued buffers,
    acquiring; the call log starts empty."""
    stream = device.GetStreamByIndex(0)
    assert stream.AllocBufferQueue(4) and stream.StartAcquisition()
    scripted.calls()
    yield stream
    stream.Release()


@pytest.fixture
def params(kyr, scripted, request):
    """The parameters of interface "if0": the test module's FEATURES in its
    scripted ARRAY, with the log of setting them up taken."""
    scripted.interfaces("if0")
    scripted.parameters(request.module.ARRAY, *request.module.FEATURES)
    [iface] = kyr.PyKyrSystem().GetInterfaceList()
    params = iface.GetParameters()
    scripted.calls()
    return params
