#!/usr/bin/env python3
"""Chooses a camera in the Select Camera dialog, opens it, and shows its
parameter tree next to a live view of its frames.

Starts --cameras simulated cameras as grab.py does (127.0.0.1, 127.0.0.2, ...
with serial numbers SIM0001, SIM0002, ...). The dialog lists every camera of
every interface; Enter or a double click chooses, Esc cancels. The tree view
edits the camera's features while frames stream: change Width or
PixelFormat there and the live view follows.

--action opens the Action Camera dialog instead (a camera's information,
its IP configuration, its name, a reset and its features), then prints
"camera <serial> at <address>" for each camera.

For tests and the screenshot script: --select-only prints "chosen <serial>"
or "cancelled" and ends; --commands prints "ready <serial>" once the windows
are up and then reads standard input, one command a line: "get <feature>"
prints an integer feature's value, "release" stops streaming and releases
the device (the tree stays open, emptied), "close" destroys the tree and
ends.
"""

import argparse
import contextlib
import sys
import threading
import time
from pathlib import Path
from typing import Set

sys.path.insert(0, str(Path(__file__).resolve().parent))

from grab import BUILD, enter_private_network, next_frame, simulated_camera, streaming  # noqa: E402


def stream_to_display(kyr, device, stop):
    """Shows the device's frames until `stop` is set."""
    with streaming(device) as stream:
        while not stop.is_set():
            buffer = next_frame(stream)
            if buffer is not None:
                kyr.PyShowImageOnDisplay(buffer.GetImage())
                stream.QueueBuffer(buffer)


def wait_for_cameras(kyr, serials, deadline_s=15.0):
    """Rescans until discovery sees every camera started here."""
    deadline = time.monotonic() + deadline_s
    while time.monotonic() < deadline:
        found: Set[str] = set()
        for iface in kyr.PyKyrSystem().GetInterfaceList() or []:
            found.update(info.GetSerialNumber() for info in iface.GetDeviceInfoList() or [])
            if serials <= found:
                return True
            iface.ReEnumerateDevices(1000)
    return False


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--cameras", type=int, default=2)
    parser.add_argument("--seconds", type=float, default=30.0)
    parser.add_argument("--no-rescan", action="store_true", help="open the dialog without rescanning first")
    parser.add_argument("--action", action="store_true")
    parser.add_argument("--select-only", action="store_true")
    parser.add_argument("--commands", action="store_true")
    parser.add_argument("--private-network", action="store_true")
    args = parser.parse_args()
    if args.private_network:
        enter_private_network(args.cameras)

    sys.path.insert(0, str(BUILD / "lib"))
    import libKyrCameraGuiApiPy as kyr  # noqa: E402

    serials = [f"SIM{index:04d}" for index in range(1, args.cameras + 1)]
    with contextlib.ExitStack() as cameras:
        for index, serial in enumerate(serials, 1):
            cameras.enter_context(simulated_camera(f"127.0.0.{index}", serial))
        if not wait_for_cameras(kyr, set(serials)):
            print("the simulated cameras were not found", file=sys.stderr)
            return 1
        if args.action:
            kyr.PyActionCamera()
            for iface in kyr.PyKyrSystem().GetInterfaceList() or []:
                for listed in iface.GetDeviceInfoList() or []:
                    print(f"camera {listed.GetSerialNumber()} at {listed.GetIPAddress()}", flush=True)
            return 0
        info = kyr.PyKyrSystem().SelectCamera(0, not args.no_rescan)
        if info is None:
            print("cancelled", flush=True)
            return 0
        if args.select_only:
            print(f"chosen {info.GetSerialNumber()}", flush=True)
            return 0

        device = kyr.PyKyrCreateDevice(info)
        if not device.IsValid():
            print(f"cannot open the camera: error {kyr.GetLastError()}", file=sys.stderr)
            return 1
        params = device.GetCameraParameters()
        if params is None:
            print("the camera has no features", file=sys.stderr)
            device.Release()
            return 1
        kyr.PyCreateDisplay(0)
        view = kyr.PyCreateGenParamTreeViewForArray(params)
        stop = threading.Event()
        streamer = threading.Thread(target=stream_to_display, args=(kyr, device, stop))
        streamer.start()
        try:
            if args.commands:
                print(f"ready {info.GetSerialNumber()}", flush=True)
                for line in sys.stdin:
                    command = line.split()
                    if command[:1] == ["get"]:
                        print(f"{command[1]} {params.GetIntegerValue(command[1])[1]}", flush=True)
                    elif command == ["release"]:
                        stop.set()
                        streamer.join()
                        device.Release()
                        print("released", flush=True)
                    elif command == ["close"]:
                        break
            else:
                time.sleep(args.seconds)
        finally:
            stop.set()
            streamer.join()
            if view is not None:
                kyr.PyDestroyGenParamTreeView(view)
            device.Release()
    return 0


if __name__ == "__main__":
    sys.exit(main())
