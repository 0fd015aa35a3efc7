#!/usr/bin/env python3
"""GenTL producers: registers our test producer (build/gentl/KyrTestProducer.cti),
lists its interfaces by type, and grabs frames from its CoaXPress device.
As root it runs in a network namespace of its own, since listing interfaces
also looks for GigE Vision cameras."""

import os
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent))
from grab import BUILD, enter_private_network, parameters  # noqa: E402

PRODUCER = BUILD / "gentl" / "KyrTestProducer.cti"
FRAMES = 100


def main() -> None:
    if os.geteuid() == 0:
        enter_private_network()
    sys.path.insert(0, str(BUILD / "lib"))
    import libKyrCameraGuiApiPy as kyr

    system = kyr.PyKyrSystem()
    if not system.RegisterGenTLProvider(str(PRODUCER)):
        sys.exit(f"cannot register {PRODUCER}: {kyr.ErrorCodeToString(system.GetLastError())}")
    interfaces = system.GetInterfaceList()
    if interfaces is None:
        sys.exit(f"no interfaces: {kyr.ErrorCodeToString(system.GetLastError())}")
    names = {1: "USB3 Vision", 2: "GigE Vision", 3: "Camera Link", 4: "CoaXPress", 5: "HD-SDI"}
    for iface in interfaces:
        devices = [info.GetDisplayName() or "?" for info in iface.GetDeviceInfoList() or []]
        print(f"{names.get(iface.GetType(), 'other GenTL')} ({iface.GetType()}): {iface.GetDescription()}: "
              f"{', '.join(devices) or 'no devices'}")

    coaxpress = next(i for i in interfaces if i.GetType() == i.CoaxPress)
    infos = coaxpress.GetDeviceInfoList()
    if not infos:
        sys.exit(f"no device on {coaxpress.GetDescription()}")
    device = kyr.PyKyrCreateDevice(infos[0])
    params = parameters(device.GetCameraParameters())
    params.SetIntegerValue("Width", 640)
    params.SetIntegerValue("Height", 480)
    stream = device.GetStreamByIndex(0)
    if stream is None:
        sys.exit(f"no stream: {kyr.ErrorCodeToString(device.GetLastError())}")
    stream.AllocBufferQueue(8)
    stream.StartAcquisition()
    last = None
    for _ in range(FRAMES):
        buffer = stream.GetBuffer(1000)
        if buffer is None:
            sys.exit(f"no frame: {kyr.ErrorCodeToString(stream.GetLastError())}")
        pixels = buffer.GetBufferPtr()
        last = (buffer.GetFrameID(), buffer.GetWidth(), buffer.GetHeight(), pixels[5 * buffer.GetWidth() + 7])
        stream.QueueBuffer(buffer)
    stream.StopAcquisition(0)
    stream.ReleaseBufferQueue()
    stream.Release()
    device.Release()
    if last is None:
        sys.exit("no frame")
    frame, width, height, pixel = last
    print(f"{FRAMES} frames of {width}x{height} from {coaxpress.GetDescription()}; "
          f"frame {frame}: pixel (7, 5) = {pixel} (7 + 5 + {frame} mod 256)")


if __name__ == "__main__":
    main()
