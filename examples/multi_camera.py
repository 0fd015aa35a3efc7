#!/usr/bin/env python3
"""Two cameras, one thread each: starts simulated cameras on 127.0.0.1 and
127.0.0.2, opens both, and grabs from each on its own Python thread at the
same time. The waits in GetBuffer leave the interpreter lock, so the threads
really run side by side. Prints each camera's frame count and its first and
last frame ids. --private-network runs it in a network namespace of its own
(root only), which the second address needs."""

import argparse
import contextlib
import sys
import threading
import time
from typing import Dict, List

from grab import BUILD, enter_private_network, simulated_camera, streaming

CAMERAS = (("127.0.0.1", "SIM0001"), ("127.0.0.2", "SIM0002"))
FRAMES = 100


def find(kyr, serial, deadline_s=15.0):
    deadline = time.monotonic() + deadline_s
    while time.monotonic() < deadline:
        for interface in kyr.PyKyrSystem().GetInterfaceList():
            for info in interface.GetDeviceInfoList():
                if info.GetSerialNumber() == serial:
                    return info
            interface.ReEnumerateDevices(500)
    raise RuntimeError(f"camera {serial} not found")


def grab_frames(index, device, start, results):
    """Runs on its own thread: FRAMES frames once every thread is ready."""
    frame_ids: List[int] = []
    failures = 0
    with streaming(device) as stream:
        start.wait(30)
        while len(frame_ids) < FRAMES and failures < 10:
            buffer = stream.GetBuffer(2000)
            if buffer is None:
                failures += 1
                continue
            frame_ids.append(buffer.GetFrameID())
            stream.QueueBuffer(buffer)
    results[index] = frame_ids


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--private-network", action="store_true")
    args = parser.parse_args()
    if args.private_network:
        enter_private_network(len(CAMERAS))
    sys.path.insert(0, str(BUILD / "lib"))
    import libKyrCameraGuiApiPy as kyr

    with contextlib.ExitStack() as cameras:
        for address, serial in CAMERAS:
            cameras.enter_context(simulated_camera(address, serial))
        devices = [kyr.PyKyrCreateDevice(find(kyr, serial)) for _, serial in CAMERAS]
        for device in devices:
            params = device.GetCameraParameters()
            assert params is not None
            params.SetIntegerValue("Width", 320)
            params.SetIntegerValue("Height", 240)
            params.SetFloatValue("AcquisitionFrameRate", 200.0)
        start = threading.Barrier(len(devices))
        results: Dict[int, List[int]] = {}
        threads = [threading.Thread(target=grab_frames, args=(index, device, start, results))
                   for index, device in enumerate(devices)]
        began = time.monotonic()
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        elapsed = time.monotonic() - began
        for index, device in enumerate(devices):
            ids = results.get(index, [])
            print(f"{device.GetDisplayName()}: {len(ids)} frames"
                  + (f", ids {ids[0]} to {ids[-1]}" if ids else ""))
            device.Release()
    print(f"both in {elapsed:.1f} s")
    return 0 if all(len(ids) == FRAMES for ids in results.values()) and len(results) == len(CAMERAS) else 1


if __name__ == "__main__":
    sys.exit(main())
