"""The module on the real camera platform, end to end: examples/grab.py
against the simulated camera, in a network namespace of its own so that its
loopback port meets no other run."""

import os
import re
import subprocess
import sys
import zlib
from pathlib import Path

import pytest
from PIL import Image

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))

from kyrbuild import BUILD, REPO  # noqa: E402

GRAB = REPO / "examples" / "grab.py"
MOVIE_FRAMES = 50

pytestmark = pytest.mark.skipif(os.geteuid() != 0, reason="a private network namespace needs root")


def pattern(width, height, frame, pixel_format):
    """The simulated camera's frame: pixel (x, y) is x + y + frame id, cut to
    the format (Mono8 bytes; Mono12Packed, two pixels in three bytes). The
    pixel count is even."""
    if pixel_format == "Mono8":
        line = bytes(range(256)) * ((width + 511) // 256)
        return b"".join(line[(y + frame) % 256:][:width] for y in range(height))
    # Packed over the whole frame: with an odd width a line starts mid-pair.
    values = [(x + y + frame) & 0xFFF for y in range(height) for x in range(width)]
    out = bytearray()
    for p0, p1 in zip(values[0::2], values[1::2]):
        out += bytes((p0 >> 4, (p0 & 0xF) | ((p1 & 0xF) << 4), p1 >> 4))
    return bytes(out)


@pytest.mark.parametrize("width,height,pixel_format",
                         [(640, 480, "Mono8"), (320, 240, "Mono12Packed"), (641, 100, "Mono12Packed")])
def test_grab_streams_complete_frames_and_reopens_from_configuration(width, height, pixel_format, tmp_path):
    run = subprocess.run(
        [sys.executable, str(GRAB), "--private-network", "--width", str(width), "--height", str(height),
         "--pixel-format", pixel_format, "--frame-rate", "100", "--output", str(tmp_path)],
        env={**os.environ, "KYR_BUILD_DIR": str(BUILD)}, capture_output=True, text=True, timeout=90)
    assert run.returncode == 0, run.stderr
    result = re.search(r"200 frames of \S+ \S+: [\d.]+ frames/s, (\d+) incomplete, last frame (\d+) crc32 (\w+)",
                       run.stdout)
    assert result, run.stdout
    # Loopback loses packets only when the machine starves the receiving
    # thread; a loaded test machine may cost a frame or two, not more.
    assert int(result.group(1)) <= 4
    frame, crc = int(result.group(2)), int(result.group(3), 16)
    assert crc == zlib.crc32(pattern(width, height, frame, pixel_format))
    statistics = {k: int(v) for k, v in re.findall(r"(Stat\w+) (\d+)", run.stdout)}
    assert statistics["StatCompletedBuffers"] + statistics["StatFailedBuffers"] >= 200
    assert statistics["StatCompletedBuffers"] >= 200 - int(result.group(1))
    assert f"{width} wide, {pixel_format}" in run.stdout

    # One frame saved as a grey PNG of the frame's size, then a movie of the
    # following frames.
    with Image.open(tmp_path / "frame.png") as image:
        assert (image.size, image.mode) == ((width, height), "L")
    probe = subprocess.run(
        ["ffprobe", "-v", "error", "-count_frames", "-select_streams", "v:0", "-show_entries",
         "stream=width,height,nb_read_frames", "-of", "csv=p=0", str(tmp_path / "movie.avi")],
        capture_output=True, text=True, check=True)
    assert probe.stdout.strip() == f"{width},{height},{MOVIE_FRAMES}"
