#!/usr/bin/env python3
"""The display library (libKyrDisplayQt) driven through ctypes, for the
screenshot tests and the display benchmark.

Run as a program, it shows frames on request in a window of its own, one
display per process (its GUI thread lives as long as the process): it
creates the display, then reads lines from standard input:
  configure CODE WIDTH HEIGHT FILE   ConfigureForImage
  show CODE WIDTH HEIGHT FILE        ShowImage, then waits until the frame
                                     is drawn
where FILE holds the frame's bytes (stride 0: lines without padding), and
answers each with "<code> <frames drawn>". It releases the display and ends
when standard input closes.
"""

import ctypes
import os
import sys
from pathlib import Path

BUILD = Path(os.environ.get("KYR_BUILD_DIR", Path(__file__).resolve().parent.parent.parent / "build"))


class KyrImage(ctypes.Structure):
    _fields_ = [(name, ctypes.c_uint32) for name in ("pixelType", "width", "height", "bitDepth", "components",
                                                      "packing", "bitsPerPixel", "stride")] + [
        ("size", ctypes.c_uint64), ("data", ctypes.c_void_p)]


def image(code, width, height, stride, data):
    """A KyrImage over `data` (a ctypes buffer the caller keeps alive); the
    description fields the display reads come from the code."""
    return KyrImage(code, width, height, 6 + 2 * ((code >> 8) & 0xF), 0, (code >> 8) & 0xFF, (code >> 16) & 0xFF,
                    stride, ctypes.sizeof(data), ctypes.addressof(data))


class Display:
    """A KyrDisplay through its C++ virtual table: CreateDisplay,
    ConfigureForImage, ShowImage, Release in declaration order."""

    def __init__(self):
        self.lib = ctypes.CDLL(str(BUILD / "lib" / "libKyrDisplayQt.so"))
        self.lib.KyrDisplay_FramesDrawn.restype = ctypes.c_uint64
        self.lib.KyrDisplay_WaitFramesDrawn.restype = ctypes.c_uint64
        self.lib.KyrDisplay_WaitFramesDrawn.argtypes = [ctypes.c_uint64, ctypes.c_uint32]
        create = getattr(self.lib, "_ZN10KyrDisplay15CreateComponentEv")
        create.restype = ctypes.c_void_p
        self.this = create()
        if not self.this:
            raise RuntimeError("no display (no X display?)")
        table = ctypes.cast(ctypes.c_void_p.from_address(self.this).value, ctypes.POINTER(ctypes.c_void_p))

        def method(slot, *args):
            return ctypes.CFUNCTYPE(ctypes.c_int32, ctypes.c_void_p, *args)(table[slot])
        self._create = method(0, ctypes.c_uint64, ctypes.c_char_p, ctypes.c_uint32)
        self._configure = method(1, ctypes.POINTER(KyrImage), ctypes.c_char_p)
        self._show = method(2, ctypes.POINTER(KyrImage))
        self._release = ctypes.CFUNCTYPE(None, ctypes.c_void_p)(table[3])

    def create(self):
        """A window of its own."""
        return self._create(self.this, 0, b"auto", 0)

    def configure(self, picture):
        return self._configure(self.this, ctypes.byref(picture), b"auto")

    def show(self, picture):
        return self._show(self.this, ctypes.byref(picture))

    def frames_drawn(self):
        return self.lib.KyrDisplay_FramesDrawn()

    def wait_frames_drawn(self, seen, timeout_ms):
        """The count once it passes `seen`, or after `timeout_ms`."""
        return self.lib.KyrDisplay_WaitFramesDrawn(seen, timeout_ms)

    def release(self):
        self._release(self.this)


def serve():
    display = Display()
    code = display.create()
    print(code, display.frames_drawn(), flush=True)
    if code != 0:
        return 1
    for line in sys.stdin:
        verb, pixel_type, width, height, path = line.split()
        data = ctypes.create_string_buffer(Path(path).read_bytes())
        picture = image(int(pixel_type, 0), int(width), int(height), 0, data)
        drawn = display.frames_drawn()
        if verb == "configure":
            code = display.configure(picture)
        else:
            code = display.show(picture)
            # The GUI thread draws it soon after; a refused frame never is.
            if code == 0:
                display.wait_frames_drawn(drawn, 10000)
        print(code, display.frames_drawn(), flush=True)
    display.release()
    return 0


if __name__ == "__main__":
    sys.exit(serve())
