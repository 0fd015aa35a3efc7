"""PyDevice: creation, the cached children, registers, streams, configuration
files and Release."""

import pytest

from kyrscript import Int

INFO_TEXT = "Scripted Model (42)"


@pytest.fixture
def released(device):
    device.Release()
    return device


def test_device_from_an_enumerated_info(kyr, scripted, capfd):
    scripted.interfaces("if0")
    scripted.interface("if0", "cam0")
    scripted.answers("cam0", GetNumStreams=2)
    scripted.parameters("cam0-camera", Int("Width", 640))
    [info] = kyr.PyKyrSystem().GetInterfaceList()[0].GetDeviceInfoList()
    scripted.calls()
    device = kyr.PyKyrCreateDevice(info, "surplus")
    try:
        assert scripted.calls()[0] == "KyrCam_CreateDevice(cam0, 2)"
        assert device.IsValid() and device.GetNumStreams() == 2
        assert device.GetCameraParameters().GetIntegerValue("Width") == (True, 640)
        # The children are fetched once and handed out again.
        assert device.GetInfo() is device.GetInfo()
        assert device.GetCameraParameters() is device.GetCameraParameters()
        assert device.GetTransportParameters() is device.GetTransportParameters()
        assert device.GetLastError() == 0
        assert capfd.readouterr() == ("", "")
    finally:
        device.Release()


def test_failed_creation_still_gives_an_invalid_device(kyr, scripted, capfd):
    scripted.answer("KyrCam_CreateDevice", None)
    scripted.answer("KyrCam_CreateDevice.err", -1005)
    device = kyr.PyKyrCreateDevice()
    assert type(device).__name__ == "PyDevice" and not device.IsValid()
    assert kyr.GetLastError() == -1005
    assert (device.GetInfo(), device.GetNumStreams(), device.GetCameraParameters()) == (None, 0, None)
    assert device.GetTransportParameters() is None and device.GetLastError() == 0
    assert capfd.readouterr() == ("", "")


@pytest.mark.parametrize("argument", [42, None, "cam0"])
def test_create_device_wants_a_device_info(kyr, scripted, capfd, argument):
    assert kyr.PyKyrCreateDevice(argument) is None
    assert capfd.readouterr().err == "Wrong DeviceInfo\n"
    assert scripted.calls() == []


@pytest.mark.parametrize(
    "camera_err, transport_err, printed",
    [
        (-1014, 0, "Get camera parameters error: -1014 GenTL: Resource or information is not available at a "
         "given time in a current state.\n"),
        (0, -40200, "Get transport parameters error: -40200 GenICam: Generic error\n"),
        (-40006, -40007, "Get camera parameters error: -40006 No device\n"
         "Get transport parameters error: -40007 Invalid argument\n"),
    ],
)
def test_failing_parameter_queries_at_construction(kyr, scripted, capfd, camera_err, transport_err, printed):
    scripted.answers("device", GetCameraParameters_err=camera_err, GetTransportParameters_err=transport_err)
    device = kyr.PyKyrCreateDevice()
    try:
        assert (device.GetCameraParameters() is None) == (camera_err != 0)
        assert (device.GetTransportParameters() is None) == (transport_err != 0)
        assert device.GetLastError() == transport_err, "the transport query's code is what remains"
        assert capfd.readouterr().err == printed
    finally:
        device.Release()


def test_null_parameter_array_with_code_zero_is_reported(kyr, scripted, capfd):
    scripted.answers("device", GetCameraParameters=None)
    device = kyr.PyKyrCreateDevice()
    device.Release()
    assert device.GetCameraParameters() is None
    assert capfd.readouterr().err == "Get camera parameters error: 0 OK\n"


def test_create_device_from_config(kyr, scripted, capfd):
    system = kyr.PyKyrSystem()
    device = system.CreateDeviceFromConfig("/tmp/cam0.cfg")
    assert device.IsValid() and system.GetLastError() == 0
    device.Release()
    scripted.answer("system.CreateDeviceFromConfig.err", -40002)
    assert system.CreateDeviceFromConfig("/tmp/missing.cfg") is None
    assert system.GetLastError() == -40002
    assert capfd.readouterr().err == "Create device from config error: -40002 File not found\n"
    assert system.CreateDeviceFromConfig() is None
    with pytest.raises(TypeError):
        system.CreateDeviceFromConfig(b"/tmp/cam0.cfg")
    assert [call for call in scripted.calls() if "Config" in call] == [
        "system.CreateDeviceFromConfig('/tmp/cam0.cfg')",
        "system.CreateDeviceFromConfig('/tmp/missing.cfg')",
    ]


def test_without_a_system_config_creation_is_silent(kyr, scripted, capfd):
    scripted.answer("KyrCam_GetSystem", None)
    system = kyr.PyKyrSystem()
    assert system.CreateDeviceFromConfig("/tmp/cam0.cfg") is None
    assert capfd.readouterr().err == "Cannot create System\n"


def test_display_name_is_asked_live(device, scripted):
    scripted.answers("device", GetDisplayName=INFO_TEXT)
    assert device.GetDisplayName() == INFO_TEXT
    scripted.answers("device", GetDisplayName="Renamed")
    assert device.GetDisplayName() == "Renamed"


def test_registers_read_back_what_was_written(device, scripted):
    assert device.WriteMem(0x1000, b"\x01\x02\x03\x04") == (0, 4)
    # The device is offered the text of the bytes object, b'\x01..., not the raw bytes.
    assert scripted.calls()[-1] == "device.WriteMem(0x1000, 62275c78)"
    assert device.ReadMem(0x1000, 4) == (0, b"b'\\x")
    assert device.ReadMem("4098", 2.5) == (0, b"\\x"), "arguments go through int()"
    assert device.GetLastError() == 0


@pytest.mark.parametrize(
    "call, args, result, last_error",
    [
        ("ReadMem", (0x1000,), (1, 0), -40121),
        ("ReadMem", (0x1000, 0), (1, 0), 7),
        ("ReadMem", (0x1000, -4), (1, 0), 7),
        ("WriteMem", (0x1000,), (1, 0), -40121),
        ("WriteMem", (0x1000, b""), (1, 0), 7),
        ("GetStreamByIndex", (), None, -40121),
        ("GetStreamByName", (), None, 7),
        ("SaveConfiguration", (), False, 7),
        ("LoadConfiguration", (), False, 7),
        ("RegisterEvent", (1,), False, 7),
        ("UnRegisterEvent", (1,), False, 7),
    ],
)
def test_missing_arguments(device, scripted, capfd, call, args, result, last_error):
    scripted.push("device.ReadMem", 7)
    device.ReadMem(0, 1)  # a last error of 7 to see whether it changes
    scripted.calls()
    assert getattr(device, call)(*args) == result
    assert device.GetLastError() == last_error
    assert scripted.calls() == [] and capfd.readouterr() == ("", "")


@pytest.mark.parametrize(
    "code, text",
    [(-1015, "GenTL: A given address is out of range or invalid for internal reasons."), (-1005, None)],
)
def test_native_register_failures_keep_their_code(device, scripted, code, text):
    scripted.answers("device", ReadMem=code, WriteMem=code)
    status, data = device.ReadMem(0x2000, 4)
    assert status == code and type(data) is bytes and len(data) == 4
    assert device.WriteMem(0x2000, b"\xff") == (code, 0)
    assert device.GetLastError() == code


def test_a_read_beyond_memory_raises(device, scripted):
    with pytest.raises(MemoryError):
        device.ReadMem(0, 2**62)
    assert scripted.calls() == [] and device.GetLastError() == 0


@pytest.mark.parametrize("data", [bytearray(b"\x01"), "text", memoryview(b"\x01"), 1])
def test_write_mem_takes_bytes_only(device, data):
    with pytest.raises(TypeError):
        device.WriteMem(0x1000, data)


@pytest.mark.parametrize(
    "call, args, logged",
    [
        ("GetStreamByIndex", (0,), "device.GetStreamByIndex(0)"),
        ("GetStreamByIndex", (2**32,), "device.GetStreamByIndex(0)"),
        ("GetStreamByName", ("Stream0",), "device.GetStreamById('Stream0')"),
    ],
)
def test_every_request_builds_a_new_stream(device, scripted, call, args, logged):
    first, second = (getattr(device, call)(*args) for _ in range(2))
    try:
        assert type(first).__name__ == "PyDataStream" and first is not second
        assert scripted.calls() == [logged, logged]
    finally:
        first.Release()
        second.Release()


@pytest.mark.parametrize("call, args", [("GetStreamByIndex", (99,)), ("GetStreamByName", ("Stream9",))])
def test_no_such_stream(device, capfd, call, args):
    assert getattr(device, call)(*args) is None
    assert capfd.readouterr().err == "Wrong data_stream\n"
    assert device.GetLastError() == 0


def test_stream_by_name_is_the_only_name(device):
    with pytest.raises(AttributeError):
        device.GetStreamById
    with pytest.raises(TypeError):
        device.GetStreamByName(0)


@pytest.mark.parametrize("call", ["SaveConfiguration", "LoadConfiguration"])
def test_configuration_files(device, scripted, call):
    assert getattr(device, call)("/tmp/cam.cfg") is True
    scripted.answer(f"device.{call}", -40003)
    assert getattr(device, call)("/tmp/cam.cfg") is False
    assert device.GetLastError() == 0, "the code is not kept"
    assert scripted.calls() == [f"device.{call}('/tmp/cam.cfg')"] * 2
    with pytest.raises(TypeError):
        getattr(device, call)(None)


RELEASED = [
    ("IsValid", (), False, 0),
    ("GetDisplayName", (), None, 0),
    ("Release", (), None, 0),
    ("ReadMem", (0x1000, 4), (1, 0), -40121),
    ("WriteMem", (0x1000, b"\x01"), (1, 0), -40121),
    ("GetStreamByIndex", (0,), None, -40121),
    ("GetStreamByName", ("Stream0",), None, 0),
    ("SaveConfiguration", ("/tmp/cam.cfg",), False, 0),
    ("LoadConfiguration", ("/tmp/cam.cfg",), False, 0),
    ("RegisterEvent", (1, print), False, 0),
    ("UnRegisterEvent", (1, None), False, 0),
]


@pytest.mark.parametrize("call, args, result, last_error", RELEASED)
def test_released_device_takes_its_no_device_paths(released, scripted, capfd, call, args, result, last_error):
    scripted.calls()
    assert getattr(released, call)(*args) == result
    assert released.GetLastError() == last_error
    assert scripted.calls() == [] and capfd.readouterr() == ("", "")


def test_release_keeps_the_cached_children(device, scripted):
    children = device.GetInfo(), device.GetCameraParameters(), device.GetTransportParameters()
    device.Release()
    device.Release()
    assert (device.GetInfo(), device.GetCameraParameters(), device.GetTransportParameters()) == children
    assert device.GetNumStreams() == 1
    assert scripted.calls().count("device.Release()") == 1
