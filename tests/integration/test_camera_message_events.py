"""Camera events from the GigE Vision message channel reaching a Python
callable: one exposure-end event per frame, carrying the frame's id; a
callable that withdraws itself gets no further call; the device lost while
events flow. Runs in a child process in a network namespace of its own."""

import os
import sys
import textwrap
from pathlib import Path

import pytest

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))

from kyrbuild import run_child  # noqa: E402

pytestmark = pytest.mark.skipif(os.geteuid() != 0, reason="a private network namespace needs root")

CHILD = textwrap.dedent("""
    import json, signal, struct, sys, threading
    from grab import BUILD, enter_private_network, find_camera, simulated_camera
    enter_private_network()
    sys.path.insert(0, str(BUILD / "lib"))
    import libKyrCameraGuiApiPy as kyr

    FRAMES = 100
    report = {}

    def grab(stream, count):
        ids = []
        for _ in range(count):
            buffer = stream.GetBuffer(5000)
            assert buffer is not None, stream.GetLastError()
            ids.append(buffer.GetFrameID())
            assert stream.QueueBuffer(buffer)
        return ids

    with simulated_camera() as camera:
        device = kyr.PyKyrCreateDevice(find_camera(kyr))
        params = device.GetCameraParameters()
        ok, exposure_end = params.GetIntegerValue("EventExposureEnd")
        assert ok
        assert params.SetFloatValue("AcquisitionFrameRate", 200.0)
        stream = device.GetStreamByIndex(0)
        assert stream.AllocBufferQueue(8)

        # One event per frame, its data the block id and timestamp.
        events, enough = [], threading.Event()
        def on_event(data, size, context):
            events.append((bytes(data), size, threading.current_thread() is threading.main_thread()))
            if len(events) == FRAMES:
                enough.set()
        assert device.RegisterEvent(exposure_end, on_event)
        assert stream.StartAcquisition()
        report["frame_ids"] = grab(stream, FRAMES)
        report["all_came"] = enough.wait(10)
        assert stream.StopAcquisition(0)
        report["event_ids"] = [struct.unpack(">Q", data[:8])[0] for data, _, _ in events[:FRAMES]]
        report["sizes"] = sorted({size for _, size, _ in events})
        report["on_main_thread"] = any(main for _, _, main in events)

        # A callable that withdraws itself on its first call.
        calls = []
        def once(data, size, context):
            calls.append(size)
            device.UnRegisterEvent(exposure_end, None)
        assert device.RegisterEvent(exposure_end, once)
        assert stream.StartAcquisition()
        grab(stream, 20)
        assert stream.StopAcquisition(0)
        report["calls_after_withdrawal"] = len(calls)

        # The camera dies while events flow: device-lost still comes.
        lost = threading.Event()
        def until_lost(data, size, context):
            if size != 16:  # the device-lost event carries the camera's name
                lost.set()
        assert device.RegisterEvent(exposure_end, until_lost)
        assert device.RegisterEvent(0x8001, until_lost)
        assert stream.StartAcquisition()
        grab(stream, 10)
        camera.send_signal(signal.SIGKILL)
        camera.wait()
        report["lost"] = lost.wait(10)
        stream.Release()
        device.Release()
    print(json.dumps(report))
""")


def test_exposure_end_events_match_the_frames_and_follow_the_lifetime_rules():
    report = run_child(CHILD)
    assert report["all_came"]
    assert report["event_ids"] == report["frame_ids"]
    assert report["sizes"] == [16]
    assert not report["on_main_thread"]
    assert report["calls_after_withdrawal"] == 1
    assert report["lost"]
