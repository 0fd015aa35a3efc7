"""Texts between Python and the library: native texts that are not UTF-8, and
Python texts the library's C strings cannot carry."""

import pytest

from kyrscript import String


def test_a_device_with_a_bad_serial_hides_no_other(kyr, scripted):
    scripted.interfaces("if0")
    scripted.interface("if0", "cam0", "cam1")
    scripted.answers("cam0", GetSerialNumber=b"S\xff1", GetModel=b"M\xc3", GetDisplayName=b"\xfe")
    scripted.answers("cam1", GetSerialNumber="S2")
    [iface] = kyr.PyKyrSystem().GetInterfaceList()
    bad, good = iface.GetDeviceInfoList()
    assert (bad.GetSerialNumber(), bad.GetModel(), bad.GetDisplayName()) == ("S\ufffd1", "M\ufffd", "\ufffd")
    assert good.GetSerialNumber() == "S2"
    device = kyr.PyKyrCreateDevice(bad)
    assert device.IsValid() and device.GetInfo().GetSerialNumber() == "S\ufffd1"
    device.Release()


def test_a_feature_text_that_is_not_utf8_raises_unicode_decode_error(kyr, scripted):
    scripted.parameters("device-camera", String("Name", b"ab\xff"))
    device = kyr.PyKyrCreateDevice()
    try:
        with pytest.raises(UnicodeDecodeError):
            device.GetCameraParameters().GetStringValue("Name")
        with pytest.raises(UnicodeDecodeError):
            device.GetCameraParameters().GetString("Name").GetValue()
    finally:
        device.Release()


@pytest.mark.parametrize("call", [
    lambda kyr, device: device.SaveConfiguration("a\0b.cfg"),
    lambda kyr, device: device.LoadConfiguration("a\0b.cfg"),
    lambda kyr, device: device.GetCameraParameters().SetStringValue("Name", "a\0b"),
    lambda kyr, device: kyr.PyKyrSystem().CreateDeviceFromConfig("a\0b.cfg"),
    lambda kyr, device: kyr.PyKyrSystem().RegisterGenTLProvider("a\0b.cti"),
], ids=["save", "load", "string-value", "config-device", "gentl"])
def test_a_nul_in_a_text_is_refused_before_the_library_sees_it(kyr, scripted, device, call):
    with pytest.raises(ValueError, match="embedded null character"):
        call(kyr, device)
    assert not [line for line in scripted.calls() if "a" in line and ("cfg" in line or "cti" in line or "Name" in line)]
