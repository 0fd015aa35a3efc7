#!/usr/bin/env python3
"""Shows the simulated camera's frames live in a window of the display library.

A plain script: no GUI toolkit of its own and no event loop; the display
library draws on a GUI thread it runs itself. Starts kyr-sim-camera on
127.0.0.1 as grab.py does, opens it, creates a display (a window of its own,
or --window, an X11 window id to draw in) and shows frames for --seconds.

--hold keeps the last frame on screen after streaming stops, prints
"held frame <id> <width>x<height>" and waits until standard input closes:
tests and the screenshot script look at the window then.
"""

from __future__ import annotations

import argparse
import sys
import time
from pathlib import Path
from typing import TYPE_CHECKING

sys.path.insert(0, str(Path(__file__).resolve().parent))

from grab import (BUILD, enter_private_network, find_camera, next_frame, parameters,  # noqa: E402
                  simulated_camera, streaming)

if TYPE_CHECKING:
    from libKyrCameraGuiApiPy import PyDevice


def open_camera(kyr, width: int, height: int, pixel_format: str, frame_rate: float) -> PyDevice:
    """The simulated camera, opened and set to the image format given."""
    info = find_camera(kyr)
    if info is None:
        raise RuntimeError("the simulated camera was not found")
    device = kyr.PyKyrCreateDevice(info)
    if not device.IsValid():
        raise RuntimeError(f"cannot open the camera: error {kyr.GetLastError()}")
    params = parameters(device.GetCameraParameters())
    for ok in (params.SetIntegerValue("Width", width), params.SetIntegerValue("Height", height),
               params.SetEnumValueStr("PixelFormat", pixel_format)):
        if not ok:
            raise RuntimeError(f"cannot set the image format: error {params.GetLastError()}")
    params.SetFloatValue("AcquisitionFrameRate", frame_rate)
    return device


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--seconds", type=float, default=10.0)
    parser.add_argument("--width", type=int, default=640)
    parser.add_argument("--height", type=int, default=480)
    parser.add_argument("--pixel-format", default="Mono8")
    parser.add_argument("--frame-rate", type=float, default=60.0)
    parser.add_argument("--window", type=lambda text: int(text, 0), default=0)
    parser.add_argument("--hold", action="store_true")
    parser.add_argument("--private-network", action="store_true")
    args = parser.parse_args()
    if args.private_network:
        enter_private_network()

    sys.path.insert(0, str(BUILD / "lib"))
    import libKyrCameraGuiApiPy as kyr  # noqa: E402

    if not kyr.PyCreateDisplay(args.window):
        print("cannot open a display (is DISPLAY set?)", file=sys.stderr)
        return 1
    with simulated_camera():
        device = open_camera(kyr, args.width, args.height, args.pixel_format, args.frame_rate)
        shown, last = 0, None
        with streaming(device) as stream:
            deadline = time.monotonic() + args.seconds
            while time.monotonic() < deadline:
                buffer = next_frame(stream)
                if buffer is None:
                    continue
                image = buffer.GetImage()
                if image is not None:
                    kyr.PyShowImageOnDisplay(image)
                last = (buffer.GetFrameID(), buffer.GetWidth(), buffer.GetHeight())
                shown += 1
                stream.QueueBuffer(buffer)
        device.Release()
    print(f"showed {shown} frames of {args.width}x{args.height} {args.pixel_format} "
          f"in {args.seconds:g} s", flush=True)
    if args.hold and last is not None:
        print(f"held frame {last[0]} {last[1]}x{last[2]}", flush=True)
        sys.stdin.read()
    return 0


if __name__ == "__main__":
    sys.exit(main())
