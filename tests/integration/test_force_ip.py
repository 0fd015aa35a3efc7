"""A camera plugged into a network whose subnet its address does not fit
(tests/linkmodel.py, camera on 10.9.9.2/24, host on 192.168.77.1/24): found by
broadcast discovery through the module, listed as on another subnet, moved
with PyDeviceInfo.ForceIP, found again at its new address and opened."""

import os
import sys
import textwrap
from pathlib import Path

import pytest

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))

from kyrbuild import run_child  # noqa: E402

pytestmark = pytest.mark.skipif(os.geteuid() != 0, reason="network namespaces need root")

CHILD = textwrap.dedent("""
    import json, sys, time
    from grab import BUILD, SERIAL, SIM_CAMERA, enter_private_network
    from linkmodel import Link
    enter_private_network()
    sys.path.insert(0, str(BUILD / "lib"))
    import libKyrCameraGuiApiPy as kyr

    def find(address):
        deadline = time.monotonic() + 15
        while time.monotonic() < deadline:
            for iface in kyr.PyKyrSystem().GetInterfaceList() or []:
                for info in iface.GetDeviceInfoList() or []:
                    if info.GetSerialNumber() == SERIAL and info.GetIPAddress() == address:
                        return info
                iface.ReEnumerateDevices(1000)
        raise RuntimeError(f"{SERIAL} not found at {address}")

    report = {}
    with Link(camera_subnet="10.9.9") as link:
        link.start([str(SIM_CAMERA), "--address", link.camera_address, "--serial", SERIAL])
        stray = find("10.9.9.2")
        report["before"] = stray.GetAccessStatus()
        report["forced"] = stray.ForceIP("192.168.77.2", "255.255.255.0", "192.168.77.1")
        moved = find("192.168.77.2")
        report["after"] = [moved.GetIPMask(), moved.GetIPGateway(), moved.GetAccessStatus()]
        device = kyr.PyKyrCreateDevice(moved)
        report["width"] = device.GetCameraParameters().GetIntegerValue("Width")
        device.Release()
    print(json.dumps(report))
""")


def test_a_camera_on_another_subnet_is_found_forced_and_opened():
    report = run_child(CHILD)
    # Access status 5: on another subnet, unreachable until forced; 1: free.
    assert report["before"] == 5
    assert report["forced"] is True
    assert report["after"] == ["255.255.255.0", "192.168.77.1", 1]
    assert report["width"][0] is True
