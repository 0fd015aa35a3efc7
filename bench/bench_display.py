#!/usr/bin/env python3
"""Frames drawn per second by the display library under Xvfb, and the
caller's CPU time per ShowImage, against OpenCV's cv2.imshow + cv2.waitKey(1)
(its Qt 5 highgui) on the same frames, in the same run.

The library is driven through ctypes (a camera cannot deliver 2048x2048
frames this fast over loopback); the binding adds one call around ShowImage.
Each side draws into a window of the same size (the frame fitted to the
screen). The caller's CPU per ShowImage is compared with one copy of the
frame (memmove) timed here. Each side runs in a process of its own (cv2 loads
Qt 5), which ends before the X server does.
"""

import ctypes
import os
import subprocess
import sys
import time
from pathlib import Path

import numpy as np

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "tests" / "integration"))

from kyrdisplay import Display, image  # noqa: E402

SECONDS = 3.0
SCREEN = (1920, 1080)
MONO8, BAYER_RG8 = 0x01080101, 0x0308010E
CASES = [("Mono8", MONO8, 2048, 2048), ("BayerRG8", BAYER_RG8, 2448, 2048)]


def frames(width, height, count=4):
    """A few different frames of the pattern x + y + n."""
    y, x = np.mgrid[0:height, 0:width]
    return [((x + y + 37 * n) & 255).astype(np.uint8) for n in range(count)]


def run_ours(code, width, height):
    """Our side, in the process that runs it (its GUI thread stays until the
    process ends): drawn frames/s, caller CPU ms per ShowImage, one frame
    copy in ms, ShowImage calls/s."""
    display = Display()
    pictures = frames(width, height)
    buffers = [(ctypes.c_char * (width * height)).from_buffer(p) for p in pictures]
    images = [image(code, width, height, width, b) for b in buffers]
    assert display.create() == 0
    assert display.configure(images[0]) == 0
    copy_target = ctypes.create_string_buffer(width * height)
    started = time.perf_counter()
    for _ in range(50):
        ctypes.memmove(copy_target, images[0].data, width * height)
    copy_ms = (time.perf_counter() - started) / 50 * 1000
    drawn_before = display.frames_drawn()
    calls, cpu, start = 0, 0.0, time.perf_counter()
    while time.perf_counter() - start < SECONDS:
        before = time.thread_time()
        display.show(images[calls % len(images)])
        cpu += time.thread_time() - before
        calls += 1
    elapsed = time.perf_counter() - start
    drawn = display.frames_drawn() - drawn_before
    display.release()
    return drawn / elapsed, cpu / calls * 1000, copy_ms, calls / elapsed


def run_ours_apart(code, width, height, env):
    """run_ours in a process of its own, which ends before the X server."""
    run = subprocess.run([sys.executable, __file__, "--ours", str(code), str(width), str(height)], env=env,
                         capture_output=True, text=True, timeout=120)
    if run.returncode != 0:
        raise RuntimeError(f"our side failed: {run.stderr.strip()}")
    return [float(value) for value in run.stdout.split()[-4:]]


PEER = """
import sys, time, cv2, numpy as np
width, height, bayer, seconds, side = int(sys.argv[1]), int(sys.argv[2]), sys.argv[3] == "1", float(sys.argv[4]), int(sys.argv[5])
y, x = np.mgrid[0:height, 0:width]
pictures = [((x + y + 37 * n) & 255).astype(np.uint8) for n in range(4)]
cv2.namedWindow("peer", cv2.WINDOW_NORMAL)
cv2.resizeWindow("peer", side * width // max(width, height), side * height // max(width, height))
shown, start = 0, time.perf_counter()
while time.perf_counter() - start < seconds:
    picture = pictures[shown % 4]
    cv2.imshow("peer", cv2.cvtColor(picture, cv2.COLOR_BayerBG2BGR) if bayer else picture)
    cv2.waitKey(1)
    shown += 1
print(shown / (time.perf_counter() - start))
"""


def run_cv2(width, height, bayer, env):
    side = min(SCREEN)
    run = subprocess.run([sys.executable, "-c", PEER, str(width), str(height), "1" if bayer else "0", str(SECONDS),
                          str(side)], env=env, capture_output=True, text=True, timeout=120)
    if run.returncode != 0:
        return None
    return float(run.stdout.split()[-1])


def main():
    read_end, write_end = os.pipe()
    server = subprocess.Popen(["Xvfb", "-displayfd", str(write_end), "-screen", "0", f"{SCREEN[0]}x{SCREEN[1]}x24",
                               "-noreset", "-nolisten", "tcp"], pass_fds=(write_end,), stderr=subprocess.DEVNULL)
    os.close(write_end)
    with os.fdopen(read_end) as announced:
        os.environ["DISPLAY"] = ":" + announced.readline().strip()
    try:
        for name, code, width, height in CASES:
            peer = run_cv2(width, height, code == BAYER_RG8, dict(os.environ))
            drawn, cpu_ms, copy_ms, offered = run_ours_apart(code, width, height, dict(os.environ))
            print(f"display {width}x{height} {name}: {drawn:.0f} frames drawn/s of {offered:.0f} shown/s, "
                  f"caller CPU {cpu_ms:.2f} ms per ShowImage (one frame copy {copy_ms:.2f} ms, "
                  f"+{cpu_ms - copy_ms:.2f} ms)")
            if peer is None:
                print("  cv2.imshow could not run here")
            else:
                print(f"  cv2.imshow + waitKey(1): {peer:.0f} frames/s; ratio {drawn / peer:.2f}x")
    finally:
        server.terminate()
        server.wait()


if __name__ == "__main__":
    if sys.argv[1:2] == ["--ours"]:
        print(*run_ours(*(int(value) for value in sys.argv[2:5])))
    else:
        main()
