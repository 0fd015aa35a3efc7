#!/usr/bin/env python3
"""Event benchmark: how late a camera's events reach Python, and how soon a
camera that stops answering is reported lost.

Event latency. The simulated camera sends an exposure-end event (EVENTDATA)
on its message channel with every frame, stamped with the host's clock when
the frame is made; the latency is the time from that stamp to the Python call.
Measured through this module (RegisterEvent: the call comes on the library's
event thread) and through a bare receiver, the least a Python script can pay:
a UDP socket of its own, set up as the camera's message channel through
Aravis's Python binding (GObject introspection), that reads and acknowledges
each event in a Python thread. Both consume the frames meanwhile.

Device lost. The camera process is killed while streaming. Through this
module: the time from the kill to the device-lost call (0x8001) and to the end
of the GetBuffer wait in progress. The peer is the "control-lost" signal of
Aravis's own device object (GObject introspection).

Each consumer runs in a process of its own; the runs are interleaved and the
median run counts. It needs root: the whole run uses a network namespace of
its own.
"""

import json
import os
import signal
import socket
import struct
import subprocess
import sys
import threading
import time
from pathlib import Path

HERE = Path(__file__).resolve().parent
BUILD = Path(os.environ.get("KYR_BUILD_DIR", HERE.parent / "build"))
ADDRESS = "127.0.0.1"
FRAME_RATE = 100.0
EVENTS = 500
LOST_STREAMING_S = 1.0
LOST_GIVE_UP_S = 30.0
DEVICE_LOST = 0x8001
UNKNOWN_ERROR = -40001  # a frame without an image: the module queues it again itself
REPEATS = 3

# GigE Vision message channel registers and the GVCP event commands.
REG_MESSAGE_PORT = 0x0B00
REG_MESSAGE_ADDRESS = 0x0B10
REG_MESSAGE_TIMEOUT = 0x0B14
REG_MESSAGE_RETRIES = 0x0B18
EVENTDATA_CMD = 0x00C2
GVCP_HEADER = struct.Struct(">BBHHH")


def latency_summary(latencies_ns):
    ordered = sorted(latencies_ns)
    if not ordered:
        raise RuntimeError("no event came")
    return {"count": len(ordered), "median_ms": ordered[len(ordered) // 2] / 1e6,
            "p99_ms": ordered[min(len(ordered) - 1, len(ordered) * 99 // 100)] / 1e6,
            "max_ms": ordered[-1] / 1e6}


def open_module_camera():
    sys.path.insert(0, str(HERE.parent / "examples"))
    sys.path.insert(0, str(BUILD / "lib"))
    import libKyrCameraGuiApiPy as kyr
    from grab import find_camera

    info = find_camera(kyr)
    if info is None:
        raise RuntimeError("the simulated camera was not found")
    device = kyr.PyKyrCreateDevice(info)
    if device is None:
        raise RuntimeError("the simulated camera could not be opened")
    return device


def start_module_stream(device):
    assert device.GetCameraParameters().SetFloatValue("AcquisitionFrameRate", FRAME_RATE)
    stream = device.GetStreamByIndex(0)
    assert stream.AllocBufferQueue(8) and stream.StartAcquisition()
    return stream


def events_module():
    device = open_module_camera()
    ok, exposure_end = device.GetCameraParameters().GetIntegerValue("EventExposureEnd")
    assert ok
    latencies, enough = [], threading.Event()

    def on_event(data, size, context):
        # The data: block id, then the camera's timestamp, both 64 bits.
        latencies.append(time.time_ns() - struct.unpack_from(">Q", data, 8)[0])
        if len(latencies) == EVENTS:
            enough.set()

    assert device.RegisterEvent(exposure_end, on_event)
    stream = start_module_stream(device)
    while not enough.is_set():
        buffer = stream.GetBuffer(5000)
        if buffer is None:
            if stream.GetLastError() == UNKNOWN_ERROR:
                continue
            raise RuntimeError(f"no frame: {stream.GetLastError()}")
        buffer.GetBufferPtr()
        stream.QueueBuffer(buffer)
    stream.StopAcquisition(0)
    device.UnRegisterEvent(exposure_end, None)
    stream.Release()
    device.Release()
    return latency_summary(latencies[:EVENTS])


def open_gi_camera(deadline_s=15.0):
    import gi
    gi.require_version("Aravis", "0.8")
    from gi.repository import Aravis, GLib

    # Each attempt looks for the camera once, for up to a second.
    deadline = time.monotonic() + deadline_s
    while True:
        try:
            camera = Aravis.Camera.new(ADDRESS)
            break
        except GLib.Error:
            if time.monotonic() > deadline:
                raise
    camera.set_frame_rate(FRAME_RATE)
    stream = camera.create_stream(None, None)
    for _ in range(8):
        stream.push_buffer(Aravis.Buffer.new_allocate(camera.get_payload()))
    return Aravis, camera, stream


def events_socket():
    Aravis, camera, stream = open_gi_camera()
    device = camera.get_device()
    channel = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    channel.bind((ADDRESS, 0))
    channel.settimeout(0.5)
    device.write_register(REG_MESSAGE_ADDRESS, struct.unpack(">I", socket.inet_aton(ADDRESS))[0])
    device.write_register(REG_MESSAGE_TIMEOUT, 200)
    device.write_register(REG_MESSAGE_RETRIES, 2)
    device.write_register(REG_MESSAGE_PORT, channel.getsockname()[1])
    camera.set_string("EventSelector", "ExposureEnd")
    camera.set_string("EventNotification", "On")
    latencies, seen, enough = [], set(), threading.Event()

    def receive():
        while not enough.is_set():
            try:
                packet, sender = channel.recvfrom(576)
            except socket.timeout:
                continue
            _, _, command, _, request = GVCP_HEADER.unpack_from(packet)
            if command != EVENTDATA_CMD:
                continue
            channel.sendto(GVCP_HEADER.pack(0, 0, command + 1, 0, request), sender)
            if request in seen:  # sent again: the acknowledgement was late
                continue
            seen.add(request)
            latencies.append(time.time_ns() - struct.unpack_from(">Q", packet, GVCP_HEADER.size + 8)[0])
            if len(latencies) == EVENTS:
                enough.set()

    receiver = threading.Thread(target=receive)
    receiver.start()
    camera.start_acquisition()
    try:
        while not enough.is_set():
            buffer = stream.timeout_pop_buffer(5_000_000)
            if buffer is None:
                raise RuntimeError("no frame")
            buffer.get_data()
            stream.push_buffer(buffer)
    finally:
        enough.set()
        receiver.join()
        camera.stop_acquisition()
        camera.set_string("EventNotification", "Off")
    return latency_summary(latencies[:EVENTS])


def start_camera():
    """A camera of this process's own, to be killed."""
    sys.path.insert(0, str(HERE.parent / "examples"))
    from grab import SERIAL, SIM_CAMERA

    return subprocess.Popen([str(SIM_CAMERA), "--address", ADDRESS, "--serial", SERIAL], stdout=subprocess.DEVNULL)


def kill(camera):
    time.sleep(LOST_STREAMING_S)
    killed = time.monotonic()
    camera.send_signal(signal.SIGKILL)
    camera.wait()
    return killed


def lost_module():
    camera = start_camera()
    try:
        device = open_module_camera()
        lost_at = []
        lost = threading.Event()

        def on_lost(data, size, context):
            lost_at.append(time.monotonic())
            lost.set()

        assert device.RegisterEvent(DEVICE_LOST, on_lost)
        stream = start_module_stream(device)
        wait_end = []

        def consume():
            while True:
                buffer = stream.GetBuffer(int(LOST_GIVE_UP_S * 1000))
                if buffer is not None:
                    stream.QueueBuffer(buffer)
                elif stream.GetLastError() != UNKNOWN_ERROR:
                    wait_end.append((time.monotonic(), stream.GetLastError()))
                    return

        consumer = threading.Thread(target=consume)
        consumer.start()
        killed = kill(camera)
        consumer.join()
        lost.wait(LOST_GIVE_UP_S)
        stream.Release()
        device.Release()
        if not lost_at:
            raise RuntimeError("no device-lost event")
        return {"lost_s": lost_at[0] - killed, "wait_end_s": wait_end[0][0] - killed, "wait_code": wait_end[0][1]}
    finally:
        camera.kill()
        camera.wait()


def lost_gi():
    camera_process = start_camera()
    try:
        Aravis, camera, stream = open_gi_camera()
        lost_at = []
        lost = threading.Event()

        def on_control_lost(device):
            lost_at.append(time.monotonic())
            lost.set()

        camera.get_device().connect("control-lost", on_control_lost)
        camera.start_acquisition()
        killed = kill(camera_process)
        lost.wait(LOST_GIVE_UP_S)
        if not lost_at:
            raise RuntimeError("no control-lost signal")
        return {"lost_s": lost_at[0] - killed}
    finally:
        camera_process.kill()
        camera_process.wait()


CONSUMERS = {"module-events": events_module, "socket-events": events_socket,
             "module-lost": lost_module, "gi-lost": lost_gi}


def run_consumer(consumer):
    run = subprocess.run([sys.executable, __file__, "--consumer", consumer], capture_output=True, text=True,
                         timeout=120, env={**os.environ, "KYR_BUILD_DIR": str(BUILD)})
    if run.returncode != 0:
        raise RuntimeError(f"{consumer} failed: {run.stderr.strip()}")
    return json.loads(run.stdout.strip().splitlines()[-1])


def median_run(runs, key):
    return sorted(runs, key=lambda run: run[key])[len(runs) // 2]


def interleaved(consumers):
    runs = {consumer: [] for consumer in consumers}
    for _ in range(REPEATS):
        for consumer in consumers:
            runs[consumer].append(run_consumer(consumer))
    return runs


def main():
    if len(sys.argv) > 2 and sys.argv[1] == "--consumer":
        print(json.dumps(CONSUMERS[sys.argv[2]]()))
        return 0

    if os.geteuid() != 0:
        # Cameras are started and killed here, and discovered: never on the
        # machine's own adapters.
        print("bench_events: needs root, for a network namespace of its own", file=sys.stderr)
        return 1
    sys.path.insert(0, str(HERE.parent / "examples"))
    from grab import enter_private_network, simulated_camera
    enter_private_network()

    print(f"event benchmark: exposure-end events from kyr-sim-camera at {FRAME_RATE:.0f} frames/s, "
          f"{EVENTS} a run, median run of {REPEATS}")
    with simulated_camera():
        runs = interleaved(["module-events", "socket-events"])
    results = {consumer: median_run(r, "median_ms") for consumer, r in runs.items()}
    print(f"{'consumer':>14} {'median ms':>10} {'p99 ms':>8} {'max ms':>8}")
    for consumer, result in results.items():
        print(f"{consumer:>14} {result['median_ms']:10.3f} {result['p99_ms']:8.3f} {result['max_ms']:8.3f}")
    print(f"{'':>14} ratio: module/socket median latency "
          f"{results['module-events']['median_ms'] / results['socket-events']['median_ms']:.2f}")

    print(f"device lost: the camera killed after {LOST_STREAMING_S:.0f} s of streaming, median run of {REPEATS}")
    runs = interleaved(["module-lost", "gi-lost"])
    module, aravis = median_run(runs["module-lost"], "lost_s"), median_run(runs["gi-lost"], "lost_s")
    print(f"{'module':>14} device-lost event {module['lost_s']:.3f} s, GetBuffer wait ended "
          f"{median_run(runs['module-lost'], 'wait_end_s')['wait_end_s']:.3f} s (code {module['wait_code']})")
    print(f"{'gi':>14} control-lost signal {aravis['lost_s']:.3f} s")
    print(f"{'':>14} ratio: module/gi {module['lost_s'] / aravis['lost_s']:.2f}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
