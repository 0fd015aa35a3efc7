"""One GenTL scenario in a child process: a producer is loaded once per process
and reads its knobs when it is loaded, so every scenario gets a fresh process,
in a network namespace of its own (listing interfaces runs discovery). Prints
one JSON object with what the scenario saw.

Usage: gentl_child.py <scenario> <producer path> [argument]"""

import json
import sys
import threading
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "examples"))
from grab import BUILD, enter_private_network  # noqa: E402

DEVICE_LOST = 0x8001
EXPOSURE_END = 0x9001  # the test producer's remote device event


def grab_interfaces(system):
    return [(i.GetType(), i.GetDescription(), [d.GetDisplayName() for d in i.GetDeviceInfoList()])
            for i in system.GetInterfaceList() if i.GetType() >= 3]


def open_device(kyr, system, interface_type, index=0):
    iface = next(i for i in system.GetInterfaceList() if i.GetType() == interface_type)
    return kyr.PyKyrCreateDevice(iface.GetDeviceInfoList()[index])


def pattern_ok(buffer, data):
    width, height, frame = buffer.GetWidth(), buffer.GetHeight(), buffer.GetFrameID()
    points = [(0, 0), (5, 7), (width - 1, height - 1), (width // 2, height // 3)]
    return all(data[y * width + x] == (x + y + frame) & 0xFF for x, y in points)


def scenario_interfaces(kyr, system, _):
    iface = next(i for i in system.GetInterfaceList() if i.GetType() >= 3)
    infos = {i.GetDescription(): i.GetDeviceInfoList()[0] for i in system.GetInterfaceList()
             if i.GetDescription() in ("GigE Vision adapter", "CoaXPress grabber")}
    return {
        "ip": {name: [info.GetIPAddress(), info.GetIPMask(), info.GetIPGateway(), info.GetIP()]
               for name, info in infos.items()},
        "interfaces": grab_interfaces(system),
        "constants": [iface.CameraLink, iface.CoaxPress, iface.HdSdi],
        "port_count": iface.GetParameters().GetIntegerValue("PortCount"),
        "last_error": system.GetLastError(),
    }


def scenario_register(kyr, system, extra):
    results = []
    for path in [extra, sys.argv[2], sys.argv[2]]:
        ok = system.RegisterGenTLProvider(path)
        results.append((ok, system.GetLastError()))
    return {"results": results, "interfaces": len(grab_interfaces(system))}


def scenario_features(kyr, system, _):
    device = open_device(kyr, system, 4)
    params = device.GetCameraParameters()
    out = {
        "set": [params.SetIntegerValue("Width", 320), params.SetIntegerValue("Height", 200)],
        "get": [params.GetIntegerValue("Width"), params.GetIntegerValue("Height"),
                params.GetEnumValueStr("PixelFormat")],
        "transport": device.GetTransportParameters().GetIntegerValue("StreamCount"),
        "readmem": [device.ReadMem(0x100, 4)[0], list(device.ReadMem(0x100, 4)[1])],
    }
    device.Release()
    return out


def start(device, count=8):
    stream = device.GetStreamByIndex(0)
    assert stream is not None and stream.AllocBufferQueue(count) and stream.StartAcquisition()
    return stream


def finish(device, stream):
    stream.StopAcquisition(0)
    stream.ReleaseBufferQueue()
    stream.Release()
    device.Release()


def scenario_grab(kyr, system, count):
    device = open_device(kyr, system, 4)
    params = device.GetCameraParameters()
    params.SetIntegerValue("Width", 640)
    params.SetIntegerValue("Height", 480)
    stream = start(device)
    ids, good, incomplete, sizes = [], 0, 0, set()
    for _ in range(int(count or 100)):
        buffer = stream.GetBuffer(5000)
        if buffer is None:
            break
        data = buffer.GetBufferPtr()
        ids.append(buffer.GetFrameID())
        if buffer.IsIncomplete():
            incomplete += 1
        elif pattern_ok(buffer, data):
            good += 1
        sizes.add((buffer.GetWidth(), buffer.GetHeight(), buffer.GetPixelFormat(), len(data)))
        stream.QueueBuffer(buffer)
    finish(device, stream)
    return {"ids": ids, "good": good, "incomplete": incomplete, "sizes": sorted(sizes)}


def scenario_end_wait(kyr, system, how):
    device = open_device(kyr, system, 4)
    stream = start(device, 1)
    held = stream.GetBuffer(5000)
    result = {}
    waiter = threading.Thread(target=lambda: result.update(buffer=stream.GetBuffer(60_000),
                                                         code=stream.GetLastError()))
    waiter.start()
    # The one buffer is held, so the waiter can only end through a cancel or
    # a stop.
    if how == "stop":
        # Whether the stop comes before the wait or during it, the wait ends.
        assert stream.StopAcquisition(0)
        waiter.join(10)
    else:
        # A cancel before the wait starts is lost, hence the repetition.
        while waiter.is_alive():
            stream.CancelBuffer()
            waiter.join(0.05)
    ended = not waiter.is_alive()
    stream.QueueBuffer(held)
    finish(device, stream)
    return {"ended": ended, "buffer": result.get("buffer") is None, "code": result.get("code")}


def scenario_flush(kyr, system, _):
    device = open_device(kyr, system, 4)
    stream = start(device, 4)
    first = stream.GetBuffer(5000).GetFrameID()
    stream.StopAcquisition(1)
    out = {}
    for mode, name in [(1, "OutputDiscard"), (3, "UnqueuedToInput"), (4, "AllDiscard"), (2, "AllToInput")]:
        out[name] = (stream.FlushBuffers(mode), stream.GetBufferQueueSize())
    out["bad_mode"] = (stream.FlushBuffers(9), stream.GetLastError())
    out["restart"] = stream.StartAcquisition()
    again = stream.GetBuffer(5000)
    out["after_restart"] = again is not None and again.GetFrameID() > first
    finish(device, stream)
    return out


def scenario_config(kyr, system, path):
    device = open_device(kyr, system, 4)
    params = device.GetCameraParameters()
    params.SetIntegerValue("Width", 320)
    saved = device.SaveConfiguration(path)
    params.SetIntegerValue("Width", 640)
    loaded = device.LoadConfiguration(path)
    width = params.GetIntegerValue("Width")
    params.SetIntegerValue("Width", 512)
    device.Release()
    reopened = system.CreateDeviceFromConfig(path)
    out = {"saved": saved, "loaded": loaded, "width": width,
           "reopened": reopened.GetCameraParameters().GetIntegerValue("Width") if reopened else None}
    if reopened:
        reopened.Release()
    return out


def scenario_lost(kyr, system, _):
    device = open_device(kyr, system, 4)
    arrived = threading.Event()
    events = []

    def on_event(data, size, context):
        events.append(bytes(data).decode())
        arrived.set()

    device.RegisterEvent(DEVICE_LOST, on_event)
    stream = start(device)
    frames = 0
    while stream.GetBuffer(5000) is not None and frames < 1000:
        frames += 1
    code = stream.GetLastError()
    assert arrived.wait(10)
    after = [stream.GetBuffer(100) is None, device.ReadMem(0x100, 4)[0]]
    stream.Release()
    device.Release()
    return {"frames": frames, "code": code, "events": events, "after": after}


def scenario_events(kyr, system, mode):
    """Exposure-end events beside 20 frames. `mode`: "flow" takes them all,
    "unregister" withdraws inside the first call, "lost" has the device
    disappear after 5 frames (knob lose_after)."""
    device = open_device(kyr, system, 4)
    wanted = {"flow": 20, "unregister": 1, "lost": 6}[mode]
    exposures, others = [], []
    enough = threading.Event()

    def on_event(data, size, context):
        # The exposure end's data is the frame id (8 bytes); device-lost's,
        # the device's name.
        raw = bytes(data)
        if size == 8:
            exposures.append([int.from_bytes(raw, "little"), size])
        else:
            others.append(raw.decode())
        if mode == "unregister":
            device.UnRegisterEvent(EXPOSURE_END, 0)
        if len(exposures) + len(others) >= wanted:
            enough.set()

    device.RegisterEvent(EXPOSURE_END, on_event)
    if mode == "lost":
        device.RegisterEvent(DEVICE_LOST, on_event)
    stream = start(device)
    frames = []
    while len(frames) < 20:
        buffer = stream.GetBuffer(5000)
        if buffer is None:
            break
        frames.append(buffer.GetFrameID())
        stream.QueueBuffer(buffer)
    arrived = enough.wait(10)
    if mode != "unregister":
        device.UnRegisterEvent(EXPOSURE_END, 0)
    finish(device, stream)
    return {"arrived": arrived, "frames": frames, "exposures": sorted(exposures), "others": others}


def scenario_streams(kyr, system, _):
    """Both data streams of the HD-SDI device at once, the second also by its
    name, and a third that is not there."""
    device = open_device(kyr, system, 5)
    streams = [device.GetStreamByIndex(i) for i in range(2)]
    for stream in streams:
        assert stream.AllocBufferQueue(4) and stream.StartAcquisition()
    ids = [[], []]
    for _ in range(10):
        for stream, seen in zip(streams, ids):
            buffer = stream.GetBuffer(5000)
            seen.append(buffer.GetFrameID() if buffer is not None and pattern_ok(buffer, buffer.GetBufferPtr()) else None)
            stream.QueueBuffer(buffer)
    named = device.GetStreamByName("Stream1")
    out = {"count": device.GetNumStreams(), "ids": ids, "third": device.GetStreamByIndex(2) is None,
           "named": named is not None}
    named.Release()
    for stream in streams:
        stream.StopAcquisition(0)
        stream.ReleaseBufferQueue()
        stream.Release()
    device.Release()
    return out


def scenario_slow(kyr, system, _):
    """A register read the producer answers after the caller's timeout, then
    one behind it, then a release with nothing in flight."""
    device = open_device(kyr, system, 4)
    first = device.ReadMem(0x100, 4)
    second = device.ReadMem(0x100, 4)
    width = device.GetCameraParameters().GetIntegerValue("Width")
    device.Release()
    return {"first": first[0], "second": [second[0], int.from_bytes(second[1], "big")], "width": width}


def scenario_release_waiting(kyr, system, what):
    device = open_device(kyr, system, 4)
    stream = start(device, 1)
    held = stream.GetBuffer(5000)
    result = {}
    waiter = threading.Thread(target=lambda: result.update(buffer=stream.GetBuffer(60_000)))
    waiter.start()
    if what == "stream":
        stream.Release()
    else:
        device.Release()
    waiter.join(10)
    out = {"ended": not waiter.is_alive(), "buffer": result.get("buffer") is None,
           "after": stream.GetBuffer(10) is None, "held": held is not None}
    if what == "stream":
        device.Release()
    return out


def scenario_minimal(kyr, system, _):
    iface = next(i for i in system.GetInterfaceList() if i.GetType() >= 3)
    device = kyr.PyKyrCreateDevice(iface.GetDeviceInfoList()[0])
    out = {"types": sorted({i[0] for i in grab_interfaces(system)}),
           "names": [n for i in grab_interfaces(system) for n in i[2]],
           "valid": device.IsValid(),
           "camera": device.GetCameraParameters() is None,
           "stream": device.GetStreamByIndex(0) is None}
    device.Release()
    return out


def main():
    scenario, producer = sys.argv[1], sys.argv[2]
    extra = sys.argv[3] if len(sys.argv) > 3 else None
    enter_private_network()
    sys.path.insert(0, str(BUILD / "lib"))
    import libKyrCameraGuiApiPy as kyr
    system = kyr.PyKyrSystem()
    if scenario != "register":
        assert system.RegisterGenTLProvider(producer), system.GetLastError()
    print(json.dumps(globals()["scenario_" + scenario](kyr, system, extra)))


if __name__ == "__main__":
    main()
