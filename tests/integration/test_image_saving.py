"""Saving frames of the simulated camera through the module on the real
platform: the files read back as the camera's known pattern. Runs in a child
process in a network namespace of its own, with its own simulated camera."""

import json
import os
import subprocess
import sys
import textwrap
from pathlib import Path

import cv2
import numpy as np
import pytest

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))

from kyrbuild import BUILD, REPO  # noqa: E402

pytestmark = pytest.mark.skipif(os.geteuid() != 0, reason="a private network namespace needs root")

CHILD = textwrap.dedent("""
    import json, subprocess, sys
    sys.path.insert(0, sys.argv[1])
    from grab import BUILD, SERIAL, SIM_CAMERA, enter_private_network, find_camera
    enter_private_network()
    sys.path.insert(0, str(BUILD / "lib"))
    import libKyrCameraGuiApiPy as kyr

    directory, pixel_format = sys.argv[2], sys.argv[3]
    camera = subprocess.Popen([str(SIM_CAMERA), "--address", "127.0.0.1", "--serial", SERIAL],
                              stdout=subprocess.DEVNULL)
    try:
        device = kyr.PyKyrCreateDevice(find_camera(kyr))
        params = device.GetCameraParameters()
        assert params.SetIntegerValue("Width", 320) and params.SetIntegerValue("Height", 240)
        assert params.SetEnumValueStr("PixelFormat", pixel_format)
        stream = device.GetStreamByIndex(0)
        assert stream.AllocBufferQueue(4) and stream.StartAcquisition()
        buffer = None
        while buffer is None or buffer.IsIncomplete():
            if buffer is not None:
                stream.QueueBuffer(buffer)
            buffer = stream.GetBuffer(5000)
        saved = {name: kyr.PySaveImage(buffer, f"{directory}/{name}") for name in ("frame.png", "frame.tiff")}
        movie = [kyr.PyStartMovieRecord(buffer, f"{directory}/movie.avi", 10.0, "mpeg4")]
        movie += [kyr.PySaveMovieFrame(buffer) for _ in range(5)]
        movie.append(kyr.PyFinishRecord())
        print(json.dumps({"frame": buffer.GetFrameID(), "saved": saved, "movie": movie,
                          "compressors": kyr.PyGetVideoCompressors()}))
        stream.QueueBuffer(buffer)
        stream.StopAcquisition(0)
        stream.ReleaseBufferQueue()
        stream.Release()
        device.Release()
    finally:
        camera.kill()
        camera.wait()
""")


@pytest.mark.parametrize("pixel_format, bits", [("Mono8", 8), ("Mono12Packed", 12)])
def test_saved_frames_read_back_as_the_camera_pattern(tmp_path, pixel_format, bits):
    run = subprocess.run([sys.executable, "-c", CHILD, str(REPO / "examples"), str(tmp_path), pixel_format],
                         env={**os.environ, "KYR_BUILD_DIR": str(BUILD)}, capture_output=True, text=True,
                         timeout=120)
    assert run.returncode == 0, run.stderr
    result = json.loads(run.stdout)
    assert result["saved"] == {"frame.png": True, "frame.tiff": True}
    assert result["movie"] == [True] * 7
    assert "mpeg4" in result["compressors"]
    # The simulated camera's pixel (x, y) is x + y + frame id, cut to its depth.
    y, x = np.mgrid[0:240, 0:320]
    pattern = (x + y + result["frame"]) & ((1 << bits) - 1)
    png = cv2.imread(str(tmp_path / "frame.png"), cv2.IMREAD_UNCHANGED)
    np.testing.assert_array_equal(png, pattern >> (bits - 8))
    # A TIFF holds the camera's counts as they are, 8 or 16 bits a sample.
    tiff = cv2.imread(str(tmp_path / "frame.tiff"), cv2.IMREAD_UNCHANGED)
    assert tiff.dtype == (np.uint8 if bits == 8 else np.uint16)
    np.testing.assert_array_equal(tiff, pattern)
    capture = cv2.VideoCapture(str(tmp_path / "movie.avi"))
    assert int(capture.get(cv2.CAP_PROP_FRAME_COUNT)) == 5
    assert (capture.get(cv2.CAP_PROP_FRAME_WIDTH), capture.get(cv2.CAP_PROP_FRAME_HEIGHT)) == (320, 240)
    assert sorted(os.listdir(tmp_path)) == ["frame.png", "frame.tiff", "movie.avi"]
