#!/usr/bin/env python3
"""Four cameras at once: four simulated cameras (127.0.0.1 to 127.0.0.4),
each 640x480 Mono8 at 100 frames/s, grabbed by four Python threads of one
process, through this module and, as the peer, through Aravis's own Python
binding (GObject introspection) in the same way. Prints per consumer the
frames received, the frames lost (gaps in the frame ids and incomplete
frames), the frame rate of each camera and the process's CPU time per frame.
The target: no frame lost through the module.

Each consumer runs in a process of its own; the cameras run for the whole
benchmark. As root the run uses a network namespace of its own.
"""

import contextlib
import json
import os
import subprocess
import sys
import threading
import time
from pathlib import Path

HERE = Path(__file__).resolve().parent
BUILD = Path(os.environ.get("KYR_BUILD_DIR", HERE.parent / "build"))
CAMERAS = [(f"127.0.0.{n}", f"SIM000{n}") for n in range(1, 5)]
WIDTH, HEIGHT, RATE = 640, 480, 100.0
FRAMES = 500
BUFFERS = 8
WAIT_MS = 5000
REPEATS = 3


def module_streams():
    """Opens every camera through the module: a next-frame function per
    camera (frame id, incomplete) and a closing function."""
    sys.path.insert(0, str(BUILD / "lib"))
    import libKyrCameraGuiApiPy as kyr

    infos = {}
    deadline = time.monotonic() + 15
    while len(infos) < len(CAMERAS) and time.monotonic() < deadline:
        for iface in kyr.PyKyrSystem().GetInterfaceList() or []:
            for info in iface.GetDeviceInfoList() or []:
                infos.setdefault(info.GetSerialNumber(), info)
            if len(infos) < len(CAMERAS):
                iface.ReEnumerateDevices(500)
    devices, streams = [], []
    for _, serial in CAMERAS:
        device = kyr.PyKyrCreateDevice(infos[serial])
        params = device.GetCameraParameters()
        assert params.SetIntegerValue("Width", WIDTH) and params.SetIntegerValue("Height", HEIGHT)
        assert params.SetEnumValueStr("PixelFormat", "Mono8") and params.SetFloatValue("AcquisitionFrameRate", RATE)
        stream = device.GetStreamByIndex(0)
        assert stream.AllocBufferQueue(BUFFERS)
        devices.append(device)
        streams.append(stream)

    def next_frame_of(stream):
        def next_frame():
            buffer = stream.GetBuffer(WAIT_MS)
            if buffer is None:
                raise RuntimeError(f"no frame: {stream.GetLastError()}")
            buffer.GetBufferPtr()
            frame = (buffer.GetFrameID(), bool(buffer.IsIncomplete()))
            stream.QueueBuffer(buffer)
            return frame
        return next_frame

    def start():
        for stream in streams:
            assert stream.StartAcquisition()

    def close():
        for stream, device in zip(streams, devices):
            stream.StopAcquisition(0)
            stream.ReleaseBufferQueue()
            stream.Release()
            device.Release()

    return [next_frame_of(s) for s in streams], start, close


def gi_streams():
    import gi
    gi.require_version("Aravis", "0.8")
    from gi.repository import Aravis

    cameras, streams = [], []
    for address, _ in CAMERAS:
        camera = Aravis.Camera.new(address)
        camera.set_region(0, 0, WIDTH, HEIGHT)
        camera.set_pixel_format(Aravis.PIXEL_FORMAT_MONO_8)
        camera.set_frame_rate(RATE)
        stream = camera.create_stream(None, None)
        stream.set_property("socket-buffer", Aravis.GvStreamSocketBuffer.FIXED)
        stream.set_property("socket-buffer-size", 4 << 20)
        for _ in range(BUFFERS):
            stream.push_buffer(Aravis.Buffer.new_allocate(camera.get_payload()))
        cameras.append(camera)
        streams.append(stream)

    def next_frame_of(stream):
        def next_frame():
            buffer = stream.timeout_pop_buffer(WAIT_MS * 1000)
            if buffer is None:
                raise RuntimeError("no frame")
            buffer.get_data()
            frame = (buffer.get_frame_id(), buffer.get_status() != Aravis.BufferStatus.SUCCESS)
            stream.push_buffer(buffer)
            return frame
        return next_frame

    def start():
        for camera in cameras:
            camera.start_acquisition()

    def close():
        for camera in cameras:
            camera.stop_acquisition()

    return [next_frame_of(s) for s in streams], start, close


def consume(kind):
    """Four threads, FRAMES frames each after a first one; the counts."""
    next_frames, start, close = {"module": module_streams, "gi": gi_streams}[kind]()
    ready = threading.Barrier(len(next_frames) + 1)
    results = [None] * len(next_frames)

    def grab(index, next_frame):
        next_frame()
        ready.wait()
        frames = [next_frame() for _ in range(FRAMES)]
        results[index] = frames

    start()
    threads = [threading.Thread(target=grab, args=(i, f)) for i, f in enumerate(next_frames)]
    for thread in threads:
        thread.start()
    ready.wait()
    wall0, cpu0 = time.monotonic(), time.process_time()
    for thread in threads:
        thread.join()
    wall, cpu = time.monotonic() - wall0, time.process_time() - cpu0
    close()
    lost = 0
    for frames in results:
        ids = [frame_id for frame_id, _ in frames]
        # Ids count up by one and skip 0 when their 16 bits wrap.
        gaps = sum((b - a) % 65536 - 1 - (a > b) for a, b in zip(ids, ids[1:]))
        lost += gaps + sum(incomplete for _, incomplete in frames)
    total = FRAMES * len(results)
    return {"frames": total, "lost": lost, "fps": FRAMES / wall, "cpu_per_frame": cpu / total}


def main():
    if len(sys.argv) > 2 and sys.argv[1] == "--consumer":
        print(json.dumps(consume(sys.argv[2])))
        return 0
    sys.path.insert(0, str(HERE.parent / "examples"))
    from grab import enter_private_network, simulated_camera
    if os.geteuid() == 0:
        enter_private_network(len(CAMERAS))
    else:
        print("bench: not root, using the host's loopback", file=sys.stderr)
        return 1
    with contextlib.ExitStack() as running:
        for address, serial in CAMERAS:
            running.enter_context(simulated_camera(address, serial))
        print(f"multi-camera benchmark: {len(CAMERAS)} cameras, {WIDTH}x{HEIGHT} Mono8 at {RATE:.0f} frames/s, "
              f"{FRAMES} frames each, one thread per camera, median of {REPEATS} runs (lost: all runs)")
        print(f"{'consumer':>8} {'fps/camera':>10} {'CPU ms/frame':>13} {'lost':>6}")
        runs = {"module": [], "gi": []}
        for _ in range(REPEATS):
            for kind in runs:
                run = subprocess.run([sys.executable, __file__, "--consumer", kind], capture_output=True,
                                     text=True, timeout=300, env={**os.environ, "KYR_BUILD_DIR": str(BUILD)})
                if run.returncode != 0:
                    raise RuntimeError(f"{kind} consumer failed: {run.stderr.strip()}")
                runs[kind].append(json.loads(run.stdout.strip().splitlines()[-1]))
        middle = REPEATS // 2
        summary = {}
        for kind, results in runs.items():
            summary[kind] = {"fps": sorted(r["fps"] for r in results)[middle],
                             "cpu": sorted(r["cpu_per_frame"] for r in results)[middle],
                             "lost": sum(r["lost"] for r in results)}
            print(f"{kind:>8} {summary[kind]['fps']:10.1f} {summary[kind]['cpu'] * 1e3:13.3f} "
                  f"{summary[kind]['lost']:6d}")
        print(f"{'':>8} ratios: module/GI CPU {summary['module']['cpu'] / summary['gi']['cpu']:.3f}, "
              f"module lost {summary['module']['lost']} of {FRAMES * len(CAMERAS) * REPEATS} frames")
    return 0


if __name__ == "__main__":
    sys.exit(main())
