"""Device events: the registered callable gets (bytearray, size, context) on
the platform's event thread; one callable per device, for every event id."""

import threading

import pytest

EVENT = 0x8001


class Recorder:
    def __init__(self):
        self.calls = []

    def __call__(self, *args):
        self.calls.append((args, threading.get_ident()))


@pytest.fixture
def recorders():
    return Recorder(), Recorder()


def test_events_reach_the_callable_from_the_event_thread(device, scripted, recorders):
    record, _ = recorders
    assert device.RegisterEvent(EVENT, record) is True
    assert scripted.calls() == [f"device.RegisterEvent({EVENT})"]
    assert scripted.fire_event("device", EVENT, b"Cam lost") == 1
    assert scripted.fire_event("device", EVENT, b"") == 1
    [((data, size, context), thread), ((empty, zero, same), _)] = record.calls
    assert type(data) is bytearray and (data, size) == (b"Cam lost", 8)
    assert type(empty) is bytearray and (empty, zero) == (b"", 0)
    assert type(context) is int and context == same and context != id(device)
    assert thread != threading.get_ident()
    assert device.UnRegisterEvent(EVENT, None)


def test_each_device_has_its_own_context(kyr, scripted, recorders):
    scripted.push("KyrCam_CreateDevice", "left", "right")
    left, right = kyr.PyKyrCreateDevice(), kyr.PyKyrCreateDevice()
    try:
        for device, record in zip((left, right), recorders):
            device.RegisterEvent(EVENT, record)
        assert scripted.fire_event("left", EVENT) == 1 and scripted.fire_event("right", EVENT) == 1
        [(first, _)], [(second, _)] = (record.calls for record in recorders)
        assert first[2] != second[2]
    finally:
        left.Release()
        right.Release()


def test_registering_again_replaces_the_callable_for_every_id(device, scripted, recorders):
    first, second = recorders
    device.RegisterEvent(1, first)
    device.RegisterEvent(2, second)
    assert scripted.fire_event("device", 1, b"one") == 1
    assert first.calls == [] and [args[0] for args, _ in second.calls] == [b"one"]


def test_unregistering_any_id_silences_all(device, scripted, recorders):
    first, second = recorders
    device.RegisterEvent(1, first)
    device.RegisterEvent(2, second)
    assert device.UnRegisterEvent(2, 0) is True
    # The library still calls back for id 1; the callback drops the event.
    assert scripted.fire_event("device", 1) == 1
    assert scripted.fire_event("device", 2) == 0
    assert first.calls == second.calls == []
    assert scripted.calls()[-1] == "device.UnRegisterEvent(2)"


def test_a_non_callable_keeps_the_old_callable(device, scripted, recorders):
    record, _ = recorders
    device.RegisterEvent(1, record)
    with pytest.raises(TypeError):
        device.RegisterEvent(1, 42)
    assert scripted.fire_event("device", 1) == 1 and len(record.calls) == 1


def test_native_registration_failures_are_not_reported(device, scripted, recorders):
    record, _ = recorders
    scripted.answers("device", RegisterEvent=-1003, UnRegisterEvent=-1009)
    assert device.RegisterEvent(7, record) is True
    assert device.GetLastError() == 0
    assert scripted.fire_event("device", 7) == 0
    assert device.UnRegisterEvent(7, None) is True


def test_a_raising_callable_loses_its_event_only(device, scripted, capfd):
    received = []

    def callback(data, size, context):
        received.append(bytes(data))
        if data == b"bad":
            raise ValueError("refused")

    device.RegisterEvent(1, callback)
    assert scripted.fire_event("device", 1, b"bad") == 0, "the library saw the callback throw"
    assert scripted.fire_event("device", 1, b"good") == 1
    assert received == [b"bad", b"good"]
    assert capfd.readouterr() == ("", "")


def test_a_callable_may_unregister_itself(device, scripted):
    calls = []

    def once(data, size, context):
        calls.append(size)
        device.UnRegisterEvent(1, None)

    device.RegisterEvent(1, once)
    assert scripted.fire_event("device", 1, b"x") == 1
    assert scripted.fire_event("device", 1, b"y") == 0
    assert calls == [1]


def test_released_device_refuses_and_stops_its_events(kyr, scripted, recorders):
    record, _ = recorders
    device = kyr.PyKyrCreateDevice()
    device.RegisterEvent(1, record)
    device.Release()
    assert device.RegisterEvent(1, record) is False and device.UnRegisterEvent(1, None) is False
    assert scripted.fire_event("device", 1) == -1, "the device and its event thread are gone"
    assert record.calls == []
