"""Discovery: the system object, its interfaces and their device infos."""

import pytest

WAIT_WITHOUT_LIMIT = 2**64 - 1
NOT_AVAILABLE = "GenTL: Resource or information is not available at a given time in a current state."


@pytest.fixture
def system(kyr, scripted):
    system = kyr.PyKyrSystem()
    scripted.calls()
    return system


def only_interface(kyr, scripted, *devices, **answers):
    scripted.interfaces("if0")
    scripted.interface("if0", *devices, **answers)
    [iface] = kyr.PyKyrSystem().GetInterfaceList()
    scripted.calls()
    return iface


def test_system_texts_and_type(kyr, system, scripted):
    scripted.answers("system", GetDisplayName="Kyr system", GetVersion="2.1 ✓")
    assert (system.GetDisplayName(), system.GetVersion()) == ("Kyr system", "2.1 ✓")
    assert type(system).__name__ == "PyKyrSystem"
    assert type(system).__doc__ == "documentation for PyKyrSystem class"
    assert system.ActionCamera(1, 2) is None
    assert kyr.PyKyrSystem() is not system, "every call makes a new wrapper"


def test_without_a_system_every_method_takes_its_quiet_path(kyr, scripted, capfd):
    scripted.answer("KyrCam_GetSystem", None)
    systems = [kyr.PyKyrSystem() for _ in range(2)]
    assert capfd.readouterr().err == "Cannot create System\n" * 2
    system = systems[0]
    assert (system.GetDisplayName(), system.GetVersion()) == ("none", "none")
    assert system.RegisterGenTLProvider("/opt/producer.cti") is False
    assert system.GetInterfaceList() is None
    assert system.GetLastError() == 0
    assert capfd.readouterr().err == "Wrong InterfaceList\n"
    assert scripted.calls() == ["KyrCam_GetSystem()"] * 2


def test_register_gentl_provider(system, scripted, capfd):
    assert system.RegisterGenTLProvider("/opt/ü.cti", "surplus") is True
    scripted.answer("system.RegisterGenTLProvider", -40002)
    assert system.RegisterGenTLProvider("/opt/missing.cti") is False
    assert system.GetLastError() == -40002
    assert system.RegisterGenTLProvider() is False, "no argument: nothing called"
    with pytest.raises(TypeError):
        system.RegisterGenTLProvider(5)
    assert system.GetLastError() == -40002
    assert capfd.readouterr().err == "Register GenTL Provider error: -40002 File not found\n"
    assert scripted.calls() == [
        "system.RegisterGenTLProvider('/opt/ü.cti')",
        "system.RegisterGenTLProvider('/opt/missing.cti')",
    ]


def test_interfaces_are_listed_in_order_and_the_list_released(system, scripted):
    scripted.interfaces("gige0", "usb0")
    scripted.answers("usb0", GetType=1, GetDescription="USB3 host 0")
    interfaces = system.GetInterfaceList()
    assert [(i.GetType(), i.GetDescription()) for i in interfaces] == [
        (2, "Scripted interface gige0"), (1, "USB3 host 0")]
    calls = scripted.calls()
    assert calls[0] == "system.GetInterfaceList(255)"
    assert "interfaceList.Release()" in calls


@pytest.mark.parametrize("listed, expected", [(None, None), ("", [])])
def test_no_list_or_an_empty_one(system, scripted, capfd, listed, expected):
    if listed is None:
        scripted.answer("system.GetInterfaceList", None)
    else:
        scripted.interfaces()
    assert system.GetInterfaceList() == expected
    assert capfd.readouterr().err == ("Wrong InterfaceList\n" if listed is None else "")
    assert ("interfaceList.Release()" in scripted.calls()) == (listed is not None)


def test_interface_type_names_are_attributes(kyr, scripted):
    iface = only_interface(kyr, scripted)
    names = ["USB3Vision", "GigEVision", "CameraLink", "CoaxPress", "HdSdi", "AllInterfaces"]
    assert [getattr(iface, name) for name in names] == [1, 2, 3, 4, 5, 255]
    assert iface.GetType() == 2, "methods are still found"
    with pytest.raises(AttributeError):
        iface.CoaXPress


def test_interface_parameters_are_fetched_once(kyr, scripted):
    iface = only_interface(kyr, scripted)
    params = iface.GetParameters()
    assert type(params).__name__ == "PyGenParams"
    assert iface.GetParameters() is params
    assert scripted.calls() == []


@pytest.mark.parametrize(
    "answers, message, code",
    [
        ({"GetParameters_err": -1014}, f"Get parameters error: -1014 {NOT_AVAILABLE}\n", -1014),
        ({"GetParameters": None}, "Get parameters error: 0 OK\n", 0),
    ],
)
def test_interface_without_parameters_still_constructs(kyr, scripted, capfd, answers, message, code):
    iface = only_interface(kyr, scripted, **answers)
    assert iface.GetParameters() is None
    assert iface.GetLastError() == code
    assert capfd.readouterr().err == message
    assert iface.GetType() == 2


@pytest.mark.parametrize(
    "args, received",
    [
        ((), WAIT_WITHOUT_LIMIT),
        ((0,), 0),
        ((1000, "x"), 1000),
        (("250",), 250),
        ((-1,), WAIT_WITHOUT_LIMIT),
        ((2**64 + 5,), 5),
    ],
)
def test_rescan_timeout_reaches_the_library(kyr, scripted, args, received):
    iface = only_interface(kyr, scripted, ReEnumerateDevices_changed=1)
    assert iface.ReEnumerateDevices(*args) == (True, True)
    assert scripted.calls() == [f"if0.ReEnumerateDevices({received})"]


def test_rescan_failure_and_bad_timeout(kyr, scripted, capfd):
    iface = only_interface(kyr, scripted)
    assert iface.ReEnumerateDevices(5) == (True, False)
    scripted.answer("if0.ReEnumerateDevices", -1010)
    scripted.answer("if0.ReEnumerateDevices.changed", 1)
    assert iface.ReEnumerateDevices(5) == (False, False)
    assert iface.GetLastError() == -1010
    for timeout, error in (("soon", ValueError), (None, TypeError)):
        with pytest.raises(error):
            iface.ReEnumerateDevices(timeout)
    assert iface.GetLastError() == -1010
    assert capfd.readouterr().err == ""


def test_device_infos_are_fresh_each_time_and_lists_released(kyr, scripted):
    iface = only_interface(kyr, scripted, "cam0", "cam1")
    first, second = iface.GetDeviceInfoList(), iface.GetDeviceInfoList()
    assert [info.GetSerialNumber() for info in first] == ["cam0", "cam1"]
    assert first[0] is not second[0]
    assert scripted.calls().count("if0.deviceInfoList.Release()") == 2
    assert iface.GetFirstDeviceInfo().GetSerialNumber() == "cam0"


def test_empty_or_missing_device_list(kyr, scripted, capfd):
    iface = only_interface(kyr, scripted)
    assert iface.GetDeviceInfoList() == []
    assert scripted.calls()[-1] == "if0.deviceInfoList.Release()"
    scripted.answer("if0.GetDeviceInfoList", None)
    assert iface.GetDeviceInfoList() is None
    assert capfd.readouterr().err == "Wrong DeviceInfoList\n"


def test_device_info_snapshot_and_live_values(kyr, scripted):
    scripted.answers("cam0", GetModel="M-1", GetVendor="Kyr", GetVersion="3.0", GetSerialNumber="S1",
                     GetDisplayName="Kyr M-1", GetUserDefinedName="left", GetAccessStatus=2,
                     GetIPAddress="192.168.0.10", GetIPMask="255.255.255.0", GetIPGateway="192.168.0.1")
    [info] = only_interface(kyr, scripted, "cam0").GetDeviceInfoList()
    scripted.answers("cam0", GetModel="M-2", GetDisplayName="Kyr M-2", GetAccessStatus=4)
    scripted.calls()
    assert (info.GetModel(), info.GetVendor(), info.GetVersion(), info.GetSerialNumber()) == (
        "M-1", "Kyr", "3.0", "S1")
    assert scripted.calls() == [], "snapshots are not read again"
    assert (info.GetDisplayName(), info.GetUserDefinedName(), info.GetAccessStatus()) == ("Kyr M-2", "left", 4)
    assert (info.GetIPAddress(), info.GetIPMask(), info.GetIPGateway()) == (
        "192.168.0.10", "255.255.255.0", "192.168.0.1")


def test_ip_texts_ignore_their_error(kyr, scripted):
    scripted.answers("cam0", GetIPAddress="", GetIPAddress_err=-1014)
    [info] = only_interface(kyr, scripted, "cam0").GetDeviceInfoList()
    assert info.GetIPAddress() == ""


@pytest.mark.parametrize(
    "answers, expected",
    [
        ({"GetIP_address": 0xC0A8000A, "GetIP_mask": 0xFFFFFF00, "GetIP_gateway": 0xC0A80001},
         (True, 0xC0A8000A, 0xFFFFFF00, 0xC0A80001)),
        ({"GetIP_address": 0xC0A8000A, "GetIP": -1014}, (False, 0, 0, 0)),
    ],
)
def test_get_ip(kyr, scripted, answers, expected):
    scripted.answers("cam0", **answers)
    [info] = only_interface(kyr, scripted, "cam0").GetDeviceInfoList()
    assert info.GetIP() == expected


def test_force_ip(kyr, scripted, capfd):
    [info] = only_interface(kyr, scripted, "cam0").GetDeviceInfoList()
    scripted.calls()
    assert info.ForceIP("10.0.0.2", "255.0.0.0") is False, "too few: nothing called"
    assert info.ForceIP("10.0.0.2", "255.0.0.0", "10.0.0.1", "surplus") is True
    scripted.answer("cam0.ForceIP", -1011)
    assert info.ForceIP("10.0.0.3", "255.0.0.0", "10.0.0.1") is False
    with pytest.raises(TypeError):
        info.ForceIP(0x0A000002, "255.0.0.0", "10.0.0.1")
    assert scripted.calls() == [
        "cam0.ForceIP('10.0.0.2', '255.0.0.0', '10.0.0.1')",
        "cam0.ForceIP('10.0.0.3', '255.0.0.0', '10.0.0.1')",
    ]
    assert capfd.readouterr().err == ""


def test_device_info_interface_is_cached(kyr, scripted):
    [info] = only_interface(kyr, scripted, "cam0").GetDeviceInfoList()
    iface = info.GetInterface()
    assert type(iface).__name__ == "PyDeviceInterface"
    assert info.GetInterface() is iface
    assert scripted.calls().count("cam0.GetInterface()") == 1


def test_null_interface_and_null_device_info(kyr, scripted, capfd):
    scripted.answer("if0.GetFirstDeviceInfo", None)
    scripted.answer("cam0.GetInterface", None)
    iface = only_interface(kyr, scripted)
    scripted.answers("if0", devices="cam0")
    [info] = iface.GetDeviceInfoList()

    nowhere = info.GetInterface()
    assert capfd.readouterr().err == "Wrong devInterface\n"
    assert info.GetInterface() is nowhere
    assert (nowhere.GetType(), nowhere.GetParameters(), nowhere.GetLastError()) == (0, None, 0)
    assert nowhere.ReEnumerateDevices(1) == (False, False)
    assert (nowhere.GetDescription(), nowhere.GetDeviceInfoList()) == (None, None)

    nobody = iface.GetFirstDeviceInfo()
    assert [nobody.GetModel(), nobody.GetVendor(), nobody.GetVersion(), nobody.GetSerialNumber()] == [""] * 4
    assert [nobody.GetInterface(), nobody.GetIPAddress(), nobody.GetIPMask(), nobody.GetIPGateway()] == [None] * 4
    assert nobody.GetIP() == (False, 0, 0, 0)
    assert nobody.ForceIP("10.0.0.2", "255.0.0.0", "10.0.0.1") is False
    assert capfd.readouterr().err == "Wrong DeviceInfoList\n"
