#!/usr/bin/env python3
"""GenTL benchmark: CPU time per frame when grabbing Mono8 frames from the
CoaXPress device of our test producer, through this module against a plain C
consumer of the same producer that copies each frame once
(kyr-bench-gentl-grab ... copy), at 640x480 and 2048x2048.

The producer delivers as fast as buffers come back and fills each frame in the
consumer's process, so both sides pay the same producer work; the ratio shows
what the module adds. Each consumer runs in a process of its own (a producer
loads once per process) and measures from its first frame on, all threads
included. The module's process runs in a network namespace of its own when
root, since listing interfaces also runs camera discovery.
"""

import json
import os
import subprocess
import sys
import time
from pathlib import Path

HERE = Path(__file__).resolve().parent
BUILD = Path(os.environ.get("KYR_BUILD_DIR", HERE.parent / "build"))
PRODUCER = BUILD / "gentl" / "KyrTestProducer.cti"
BUFFERS = 8
WAIT_MS = 5000
SIZES = [(640, 480, 2000), (2048, 2048, 200)]
REPEATS = 3
TARGET = 1.1


def consume_module(width, height, frames):
    if os.geteuid() == 0:
        sys.path.insert(0, str(HERE.parent / "examples"))
        from grab import enter_private_network
        enter_private_network()
    sys.path.insert(0, str(BUILD / "lib"))
    import libKyrCameraGuiApiPy as kyr

    system = kyr.PyKyrSystem()
    assert system.RegisterGenTLProvider(str(PRODUCER)), system.GetLastError()
    iface = next(i for i in system.GetInterfaceList() if i.GetType() == 4)
    device = kyr.PyKyrCreateDevice(iface.GetDeviceInfoList()[0])
    params = device.GetCameraParameters()
    assert params.SetIntegerValue("Width", width) and params.SetIntegerValue("Height", height)
    stream = device.GetStreamByIndex(0)
    assert stream.AllocBufferQueue(BUFFERS) and stream.StartAcquisition()

    def next_frame():
        buffer = stream.GetBuffer(WAIT_MS)
        if buffer is None:
            raise RuntimeError(f"no frame: {stream.GetLastError()}")
        buffer.GetBufferPtr()
        incomplete = buffer.IsIncomplete()
        stream.QueueBuffer(buffer)
        return incomplete

    next_frame()
    wall0, cpu0 = time.monotonic(), time.process_time()
    incomplete = sum(next_frame() for _ in range(frames))
    wall, cpu = time.monotonic() - wall0, time.process_time() - cpu0
    stream.StopAcquisition(0)
    stream.ReleaseBufferQueue()
    stream.Release()
    device.Release()
    return {"frames": frames, "fps": frames / wall, "cpu_per_frame": cpu / frames, "incomplete": incomplete}


def run_consumer(consumer, width, height, frames):
    if consumer == "c+copy":
        command = [str(BUILD / "bin" / "kyr-bench-gentl-grab"), str(PRODUCER), "CXP0", str(width), str(height),
                   str(frames), "copy"]
    else:
        command = [sys.executable, __file__, "--module", str(width), str(height), str(frames)]
    run = subprocess.run(command, capture_output=True, text=True, timeout=300,
                         env={**os.environ, "KYR_BUILD_DIR": str(BUILD)})
    if run.returncode != 0:
        raise RuntimeError(f"{consumer} consumer failed: {run.stderr.strip()}")
    return json.loads(run.stdout.strip().splitlines()[-1])


def main():
    if len(sys.argv) > 1 and sys.argv[1] == "--module":
        print(json.dumps(consume_module(*(int(a) for a in sys.argv[2:5]))))
        return
    for path in [PRODUCER, BUILD / "bin" / "kyr-bench-gentl-grab"]:
        if not path.exists():
            sys.exit(f"{path} is missing: run `make build` first")
    print(f"GenTL test producer, CoaXPress device, Mono8, {BUFFERS} buffers, median of {REPEATS} interleaved runs")
    consumers = ["c+copy", "module"]
    for width, height, frames in SIZES:
        # Interleaved, so that a change in the machine's load meets both sides.
        runs = {consumer: [] for consumer in consumers}
        for _ in range(REPEATS):
            for consumer in consumers:
                runs[consumer].append(run_consumer(consumer, width, height, frames))
        results = {}
        for consumer in consumers:
            results[consumer] = sorted(r["cpu_per_frame"] for r in runs[consumer])[REPEATS // 2]
            fps = sorted(r["fps"] for r in runs[consumer])[REPEATS // 2]
            print(f"  {width}x{height} {consumer:7s} {results[consumer] * 1e6:9.1f} us CPU/frame  {fps:8.1f} frames/s")
        ratio = results["module"] / results["c+copy"]
        verdict = "ok" if ratio <= TARGET else f"above the {TARGET}x target"
        print(f"  {width}x{height} module / c+copy CPU per frame: {ratio:.2f}x ({verdict})")


if __name__ == "__main__":
    main()
