#!/usr/bin/env python3
"""Device events: registers for device lost (0x8001) on the simulated camera,
stops the camera and prints the event when it arrives.

The camera library delivers only device lost today; other ids, such as
exposure end, are accepted by RegisterEvent but never called back, so this
example shows device lost alone. --private-network runs it in a network
namespace of its own (root only)."""

import argparse
import signal
import sys
import threading
import time

from grab import BUILD, enter_private_network, find_camera, simulated_camera

DEVICE_LOST = 0x8001


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--private-network", action="store_true")
    args = parser.parse_args()
    if args.private_network:
        enter_private_network()
    sys.path.insert(0, str(BUILD / "lib"))
    import libKyrCameraGuiApiPy as kyr

    arrived = threading.Event()
    events = []

    def on_event(data, size, context):
        # The library's thread: note the event and leave.
        events.append((time.monotonic(), bytes(data[:size]).decode(errors="replace")))
        arrived.set()

    with simulated_camera() as camera:
        info = find_camera(kyr)
        if info is None:
            sys.exit("the simulated camera was not found")
        device = kyr.PyKyrCreateDevice(info)
        device.RegisterEvent(DEVICE_LOST, on_event)
        print(f"registered for device lost on {device.GetDisplayName()}; stopping the camera")
        stopped = time.monotonic()
        camera.send_signal(signal.SIGKILL)
        camera.wait()
        if not arrived.wait(10):
            sys.exit("no device-lost event within 10 s")
    when, name = events[0]
    print(f"event {DEVICE_LOST:#x} (device lost): {name}, {when - stopped:.1f} s after the camera stopped")
    device.UnRegisterEvent(DEVICE_LOST, None)
    device.Release()
    return 0


if __name__ == "__main__":
    sys.exit(main())
