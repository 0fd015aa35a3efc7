"""Releasing on the real platform while other threads use the camera: a
GetBuffer waiting without limit ends at once, other Python threads keep
running (also while a feature write waits for a camera that stopped
answering), and a device-lost callback may release the device while the
main thread streams. Each case runs in a child process in a network namespace of
its own, with its own simulated camera; the child prints what it measured."""

import json
import os
import subprocess
import sys
import textwrap
from pathlib import Path

import pytest

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))

from kyrbuild import BUILD, REPO  # noqa: E402

pytestmark = pytest.mark.skipif(os.geteuid() != 0, reason="a private network namespace needs root")

CHILD = textwrap.dedent("""
    import json, signal, sys, threading, time
    sys.path.insert(0, sys.argv[1])
    from grab import BUILD, enter_private_network, find_camera, simulated_camera
    enter_private_network()
    sys.path.insert(0, str(BUILD / "lib"))
    import libKyrCameraGuiApiPy as kyr

    case = sys.argv[2]
    result = {}

    class Ticker(threading.Thread):
        # Counts the longest time this Python thread could not run.
        def __init__(self):
            super().__init__(daemon=True)
            self.stop, self.longest = threading.Event(), 0.0

        def run(self):
            last = time.monotonic()
            while not self.stop.is_set():
                now = time.monotonic()
                self.longest = max(self.longest, now - last)
                last = now
                time.sleep(0.001)

    with simulated_camera() as camera:
        device = kyr.PyKyrCreateDevice(find_camera(kyr))
        params = device.GetCameraParameters()
        stream = device.GetStreamByIndex(0)
        if case in ("stream", "device"):
            # Frames only on a trigger that never comes: the wait has no end of its own.
            params.SetEnumValueStr("TriggerSelector", "FrameStart")
            params.SetEnumValueStr("TriggerSource", "Software")
            params.SetEnumValueStr("TriggerMode", "On")
            assert stream.AllocBufferQueue(4) and stream.StartAcquisition()
            waited = {}
            def wait():
                waited["buffer"] = stream.GetBuffer(-1)
                waited["at"] = time.monotonic()
            waiter = threading.Thread(target=wait)
            waiter.start()
            waiter.join(0.3)
            ticker = Ticker()
            ticker.start()
            started = time.monotonic()
            (stream if case == "stream" else device).Release()
            released = time.monotonic()
            waiter.join(10)
            ticker.stop.set()
            ticker.join()
            result = {"waiter_returned": not waiter.is_alive() and waited["buffer"] is None,
                      "waiter_s": waited["at"] - started, "release_s": released - started,
                      "longest_stall_s": ticker.longest}
        elif case == "read":
            # A camera that stops answering keeps a feature write waiting for
            # the transport's timeouts (a read may come from the cache);
            # other threads run meanwhile.
            camera.send_signal(signal.SIGSTOP)
            ticker = Ticker()
            ticker.start()
            started = time.monotonic()
            answer = params.SetIntegerValue("Width", 256)
            result = {"read_s": time.monotonic() - started, "answer": answer}
            ticker.stop.set()
            ticker.join()
            result["longest_stall_s"] = ticker.longest
            camera.send_signal(signal.SIGCONT)
        else:
            # The device-lost callback releases the device while this thread streams.
            lost = threading.Event()
            def on_lost(data, size, context):
                started = time.monotonic()
                device.Release()
                result["release_s"] = time.monotonic() - started
                lost.set()
            device.RegisterEvent(0x8001, on_lost)
            assert stream.AllocBufferQueue(4) and stream.StartAcquisition()
            # Streaming first: a frame whose leader was lost (a slow receiver,
            # as under an emulator) gives None, and the next one serves.
            started = time.monotonic()
            while stream.GetBuffer(1000) is None:
                assert time.monotonic() - started < 5
            camera.send_signal(signal.SIGKILL)
            camera.wait()
            killed = time.monotonic()
            frames = 0
            while not lost.is_set() and time.monotonic() - killed < 30:
                buffer = stream.GetBuffer(200)
                if buffer is not None:
                    frames += 1
                    stream.QueueBuffer(buffer)
            result.update({"lost": lost.is_set(), "lost_s": time.monotonic() - killed,
                      "valid_after": device.IsValid(), "get_after": stream.GetBuffer(10) is None,
                      "params_after": params.GetIntegerValue("Width")})
        stream.Release()
        device.Release()
    print(json.dumps(result))
""")


def run_case(case):
    run = subprocess.run([sys.executable, "-c", CHILD, str(REPO / "examples"), case],
                         env={**os.environ, "KYR_BUILD_DIR": str(BUILD)}, capture_output=True, text=True,
                         timeout=120)
    assert run.returncode == 0, run.stderr
    return json.loads(run.stdout.strip().splitlines()[-1])


@pytest.mark.parametrize("case", ["stream", "device"])
def test_release_ends_an_endless_wait_without_stopping_python(case):
    result = run_case(case)
    print(result)
    assert result["waiter_returned"]
    # Bounds for a hang, far above what is measured (README: tens of ms).
    assert result["waiter_s"] < 2 and result["longest_stall_s"] < 2


def test_a_feature_access_waiting_for_the_camera_leaves_python_running():
    result = run_case("read")
    print(result)
    assert result["answer"] is False
    assert result["read_s"] > 0.5, "the write did not wait for the camera"
    assert result["longest_stall_s"] < result["read_s"] / 2


def test_device_lost_callback_may_release_the_device_while_streaming():
    result = run_case("lost")
    print(result)
    assert result["lost"] and not result["valid_after"]
    # Noticed within 1.5 s (README; 1.2 s measured, release included), not
    # after Aravis's 6 to 11 s of heartbeat retries.
    assert result["lost_s"] < 3
    # Aravis's own timeouts, which a lost camera would make the release wait
    # out, are 2.5 s a message (README: tens of ms are measured).
    assert result["release_s"] < 2
    assert result["get_after"] and result["params_after"] == [False, None]
