"""The device-lost event reaching a Python callable on the real platform: the
library's thread calls it holding the interpreter lock. Runs in a child
process in a network namespace of its own, with its own simulated camera."""

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
    import signal, sys, threading
    sys.path.insert(0, sys.argv[1])
    from grab import BUILD, enter_private_network, find_camera, simulated_camera
    enter_private_network()
    sys.path.insert(0, str(BUILD / "lib"))
    import libKyrCameraGuiApiPy as kyr

    arrived = threading.Event()
    events = []

    def on_event(data, size, context):
        events.append((bytes(data), size, threading.current_thread() is threading.main_thread()))
        arrived.set()

    with simulated_camera() as camera:
        device = kyr.PyKyrCreateDevice(find_camera(kyr))
        assert device.RegisterEvent(0x8001, on_event)
        camera.send_signal(signal.SIGKILL)
        camera.wait()
    assert arrived.wait(30), "no device-lost event"
    assert device.UnRegisterEvent(0x8001, None)
    device.Release()
    print(events)
""")


def test_device_lost_reaches_python_callable_on_library_thread():
    run = subprocess.run([sys.executable, "-c", CHILD, str(REPO / "examples")],
                         env={**os.environ, "KYR_BUILD_DIR": str(BUILD)}, capture_output=True, text=True,
                         timeout=90)
    assert run.returncode == 0, run.stderr
    assert run.stdout.strip() == "[(b'Aravis Fake (SIM0001)', 21, False)]"
