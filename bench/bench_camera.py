#!/usr/bin/env python3
"""Camera benchmark: frames per second and consumer CPU time per frame when
grabbing Mono8 frames from the simulated camera, through this module, through
Aravis's own Python binding (GObject introspection, buffer.get_data()) and
through a plain C loop on Aravis (kyr-bench-grab), at 640x480 and 2048x2048.
The C loop runs twice: as it is, and copying each frame into a kept buffer
("c+copy"), the least any consumer that keeps its frames pays; the module
makes one such copy per frame (into a new bytearray).
The same loop through the camera library in C++ (kyr-bench-library-grab)
tells the library's share of the module's cost from the binding's.

Each consumer runs in a process of its own and measures from its first frame
on; CPU time is that process's, all threads included (Aravis's stream thread
receives the packets). The camera sets the pace. As root the whole run uses a
network namespace of its own, so no other simulated camera gets in the way.
"""

import json
import os
import subprocess
import sys
import time
from pathlib import Path

HERE = Path(__file__).resolve().parent
BUILD = Path(os.environ.get("KYR_BUILD_DIR", HERE.parent / "build"))
ADDRESS = "127.0.0.1"
SERIAL = "SIM0001"
PACKET_SIZE = 8000
BUFFERS = 8
WAIT_MS = 5000
UNKNOWN_ERROR = -40001

# (width, height, frames, frame rate asked of the camera): ten seconds of
# frames each, as shorter runs swing by a fifth on a shared machine.
SIZES = [(640, 480, 1000, 100.0), (2048, 2048, 200, 20.0)]
CONSUMERS = ["c", "c+copy", "library", "gi", "module"]
REPEATS = 5


def measure(next_frame, frames):
    """Times `frames` calls of next_frame() after a first one; the result as
    the C loop prints it."""
    next_frame()
    wall0, cpu0 = time.monotonic(), time.process_time()
    incomplete = 0
    for _ in range(frames):
        incomplete += next_frame()
    wall, cpu = time.monotonic() - wall0, time.process_time() - cpu0
    return {"frames": frames, "fps": frames / wall, "cpu_per_frame": cpu / frames, "incomplete": incomplete}


def consume_gi(width, height, frames, packet_size, rate):
    import gi
    gi.require_version("Aravis", "0.8")
    from gi.repository import Aravis

    camera = Aravis.Camera.new(ADDRESS)
    camera.set_region(0, 0, width, height)
    camera.set_pixel_format(Aravis.PIXEL_FORMAT_MONO_8)
    camera.gv_set_packet_size(packet_size)
    camera.set_frame_rate(rate)
    stream = camera.create_stream(None, None)
    stream.set_property("socket-buffer", Aravis.GvStreamSocketBuffer.FIXED)
    stream.set_property("socket-buffer-size", 4 << 20)
    payload = camera.get_payload()
    for _ in range(BUFFERS):
        stream.push_buffer(Aravis.Buffer.new_allocate(payload))
    camera.start_acquisition()

    def next_frame():
        buffer = stream.timeout_pop_buffer(WAIT_MS * 1000)
        if buffer is None:
            raise RuntimeError("no frame")
        buffer.get_data()
        incomplete = buffer.get_status() != Aravis.BufferStatus.SUCCESS
        stream.push_buffer(buffer)
        return incomplete

    try:
        return measure(next_frame, frames)
    finally:
        camera.stop_acquisition()


def consume_module(width, height, frames, packet_size, rate):
    sys.path.insert(0, str(BUILD / "lib"))
    import libKyrCameraGuiApiPy as kyr

    info = None
    deadline = time.monotonic() + 15
    while info is None and time.monotonic() < deadline:
        for iface in kyr.PyKyrSystem().GetInterfaceList() or []:
            info = next((i for i in iface.GetDeviceInfoList() or [] if i.GetSerialNumber() == SERIAL), info)
            if info is None:
                iface.ReEnumerateDevices(1000)
    device = kyr.PyKyrCreateDevice(info)
    params = device.GetCameraParameters()
    assert params.SetIntegerValue("Width", width) and params.SetIntegerValue("Height", height)
    assert params.SetEnumValueStr("PixelFormat", "Mono8") and params.SetFloatValue("AcquisitionFrameRate", rate)
    assert device.GetTransportParameters().SetIntegerValue("GevSCPSPacketSize", packet_size)
    stream = device.GetStreamByIndex(0)
    assert stream.AllocBufferQueue(BUFFERS) and stream.StartAcquisition()

    def next_frame():
        buffer = stream.GetBuffer(WAIT_MS)
        if buffer is None:
            # A frame without an image (its leader lost) is given back by the
            # module itself with -40001.
            if stream.GetLastError() == UNKNOWN_ERROR:
                return True
            raise RuntimeError(f"no frame: {stream.GetLastError()}")
        buffer.GetBufferPtr()
        incomplete = buffer.IsIncomplete()
        stream.QueueBuffer(buffer)
        return incomplete

    try:
        return measure(next_frame, frames)
    finally:
        stream.StopAcquisition(0)
        stream.ReleaseBufferQueue()
        stream.Release()
        device.Release()


def median(runs):
    """The median of each measure over several runs (incomplete frames summed)."""
    middle = len(runs) // 2
    return {"fps": sorted(r["fps"] for r in runs)[middle],
            "cpu_per_frame": sorted(r["cpu_per_frame"] for r in runs)[middle],
            "incomplete": sum(r["incomplete"] for r in runs)}


def paired(runs, a, b, combine):
    """The median over the rounds of combine(a's CPU per frame, b's) taken
    from the same round: a slow spell shifts both runs of a pair."""
    values = sorted(combine(x["cpu_per_frame"], y["cpu_per_frame"]) for x, y in zip(runs[a], runs[b]))
    return values[len(values) // 2]


def run_consumer(consumer, width, height, frames, rate):
    arguments = [str(width), str(height), str(frames), str(PACKET_SIZE), str(rate)]
    if consumer == "c":
        command = [str(BUILD / "bin" / "kyr-bench-grab"), ADDRESS] + arguments
    elif consumer == "c+copy":
        command = [str(BUILD / "bin" / "kyr-bench-grab"), ADDRESS] + arguments + ["copy"]
    elif consumer == "library":
        command = [str(BUILD / "bin" / "kyr-bench-library-grab"), SERIAL] + arguments
    else:
        command = [sys.executable, __file__, "--consumer", consumer] + arguments
    run = subprocess.run(command, capture_output=True, text=True, timeout=120,
                         env={**os.environ, "KYR_BUILD_DIR": str(BUILD)})
    if run.returncode != 0:
        raise RuntimeError(f"{consumer} consumer failed: {run.stderr.strip()}")
    return json.loads(run.stdout.strip().splitlines()[-1])


def main():
    if len(sys.argv) > 1 and sys.argv[1] == "--consumer":
        consumer = {"gi": consume_gi, "module": consume_module}[sys.argv[2]]
        width, height, frames, packet_size = (int(v) for v in sys.argv[3:7])
        print(json.dumps(consumer(width, height, frames, packet_size, float(sys.argv[7]))))
        return 0

    sys.path.insert(0, str(HERE.parent / "examples"))
    from grab import enter_private_network, simulated_camera
    if os.geteuid() == 0:
        enter_private_network()
    else:
        print("bench: not root, using the host's loopback", file=sys.stderr)
    with simulated_camera():
        print(f"camera benchmark: Mono8 from kyr-sim-camera, packet size {PACKET_SIZE}, "
              f"median of {REPEATS} runs (incomplete: all runs)")
        print(f"{'size':>10} {'consumer':>8} {'fps':>8} {'CPU ms/frame':>13} {'incomplete':>10}")
        for width, height, frames, rate in SIZES:
            runs = {c: [] for c in CONSUMERS}
            # Interleaved, so that a slow spell of the shared machine hits every
            # consumer alike; the median run counts.
            for _ in range(REPEATS):
                for consumer in CONSUMERS:
                    runs[consumer].append(run_consumer(consumer, width, height, frames, rate))
            results = {c: median(r) for c, r in runs.items()}
            for consumer, result in results.items():
                print(f"{width}x{height:<5} {consumer:>8} {result['fps']:8.1f} "
                      f"{result['cpu_per_frame'] * 1e3:13.3f} {result['incomplete']:10d}")
            module, c_loop, c_copy, gi_binding, library = (
                results[c] for c in ("module", "c", "c+copy", "gi", "library"))
            print(f"{'':>10} ratios: module/C fps {module['fps'] / c_loop['fps']:.3f}, "
                  f"module/GI CPU {module['cpu_per_frame'] / gi_binding['cpu_per_frame']:.3f}, "
                  f"module/C CPU {module['cpu_per_frame'] / c_loop['cpu_per_frame']:.3f}, "
                  f"module-C CPU {(module['cpu_per_frame'] - c_loop['cpu_per_frame']) * 1e3:.3f} ms, "
                  f"one copy {(c_copy['cpu_per_frame'] - c_loop['cpu_per_frame']) * 1e3:.3f} ms, "
                  f"module-(C+copy) CPU {(module['cpu_per_frame'] - c_copy['cpu_per_frame']) * 1e3:.3f} ms, "
                  f"library-C CPU {(library['cpu_per_frame'] - c_loop['cpu_per_frame']) * 1e3:.3f} ms")
            print(f"{'':>10} paired, median of the {REPEATS} rounds: "
                  f"module/GI CPU {paired(runs, 'module', 'gi', lambda m, g: m / g):.3f}, "
                  f"module-(C+copy) CPU {paired(runs, 'module', 'c+copy', lambda m, c: m - c) * 1e3:.3f} ms")
            # Each round on its own, to show how far one run can stray.
            rounds = zip(runs["module"], runs["gi"], runs["c+copy"])
            print(f"{'':>10} each round, module/GI CPU and module-(C+copy) ms: " + ", ".join(
                f"{m['cpu_per_frame'] / g['cpu_per_frame']:.3f} {(m['cpu_per_frame'] - c['cpu_per_frame']) * 1e3:+.3f}"
                for m, g, c in rounds))
        return 0


if __name__ == "__main__":
    sys.exit(main())
