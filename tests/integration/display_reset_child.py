"""Frames of the simulated camera shown through the module's display
functions, one size after another, in a network namespace of its own.

Usage: display_reset_child.py STEP... where a step is "reset" (PyResetDisplay)
or WIDTHxHEIGHT: the camera is set to that size and the frame it sends next
is shown. Widths over the camera's sensor come from a description of the
camera whose Width goes to 30000 (kyr-sim-camera --xml). After each frame
shown and drawn it prints "shown <frame id or -1> <width>x<height>" and waits
for a line on standard input; it ends when standard input closes.

The stream has one buffer, and the script keeps the first frame's PyImage:
it describes whatever lands in that buffer. A frame the module refuses (wider
than 20480) is still there, and the held image shows it, as a script holding
an image across GetBuffer calls would.
"""

import contextlib
import ctypes
import subprocess
import sys
import tempfile
import time
from pathlib import Path

REPO = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(REPO / "examples"))
from grab import BUILD, SERIAL, SIM_CAMERA, enter_private_network, find_camera  # noqa: E402

REFUSED = -40001


@contextlib.contextmanager
def wide_camera(folder):
    description = (REPO / "tools" / "sim_camera" / "sim_camera.xml").read_text()
    wide = Path(folder) / "wide.xml"
    wide.write_text(description.replace("<pMax>SensorWidth</pMax>", "<Max>30000</Max>"))
    camera = subprocess.Popen([str(SIM_CAMERA), "--address", "127.0.0.1", "--serial", SERIAL, "--xml", str(wide)],
                              stdout=subprocess.DEVNULL)
    try:
        yield
    finally:
        camera.terminate()
        camera.wait()


def next_frame(stream, width, height):
    """The next frame of that size: its buffer, or None when the module
    refused it (it stays in the one buffer)."""
    deadline = time.monotonic() + 20
    while time.monotonic() < deadline:
        buffer = stream.GetBuffer(5000)
        if buffer is None:
            if stream.GetLastError() != REFUSED:
                raise RuntimeError(f"no frame: error {stream.GetLastError()}")
            if width > 20480:
                return None
            continue
        if (buffer.GetWidth(), buffer.GetHeight()) == (width, height):
            return buffer
        stream.QueueBuffer(buffer)
    raise RuntimeError(f"no {width}x{height} frame")


def main(steps):
    enter_private_network()
    sys.path.insert(0, str(BUILD / "lib"))
    import libKyrCameraGuiApiPy as kyr
    display_library = ctypes.CDLL(str(BUILD / "lib" / "libKyrDisplayQt.so"))
    display_library.KyrDisplay_FramesDrawn.restype = ctypes.c_uint64
    display_library.KyrDisplay_WaitFramesDrawn.restype = ctypes.c_uint64
    display_library.KyrDisplay_WaitFramesDrawn.argtypes = [ctypes.c_uint64, ctypes.c_uint32]

    if not kyr.PyCreateDisplay(0):
        raise RuntimeError("no display")
    with tempfile.TemporaryDirectory() as folder, wide_camera(folder):
        device = kyr.PyKyrCreateDevice(find_camera(kyr))
        params = device.GetCameraParameters()
        # The first size is the largest: the one buffer takes every frame.
        width, height = map(int, steps[0].split("x"))
        assert params.SetIntegerValue("Width", width) and params.SetIntegerValue("Height", height)
        assert params.SetEnumValueStr("PixelFormat", "Mono8")
        params.SetFloatValue("AcquisitionFrameRate", 30.0)
        stream = device.GetStreamByIndex(0)
        assert stream.AllocBufferQueue(1) and stream.StartAcquisition()
        held = None
        for step in steps:
            if step == "reset":
                kyr.PyResetDisplay()
                continue
            width, height = map(int, step.split("x"))
            assert params.SetIntegerValue("Width", width) and params.SetIntegerValue("Height", height)
            buffer = next_frame(stream, width, height)
            if held is None:
                held = buffer.GetImage()
            drawn = display_library.KyrDisplay_FramesDrawn()
            kyr.PyShowImageOnDisplay(held)
            display_library.KyrDisplay_WaitFramesDrawn(drawn, 10000)
            print("shown", buffer.GetFrameID() if buffer is not None else -1, step, flush=True)
            if buffer is not None:
                stream.QueueBuffer(buffer)
            sys.stdin.readline()
        stream.StopAcquisition(0)
        stream.ReleaseBufferQueue()
        stream.Release()
        device.Release()
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
