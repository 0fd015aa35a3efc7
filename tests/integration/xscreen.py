"""Reading windows of an X server (Xvfb in the tests) with python-xlib."""

import time

from PIL import Image
from Xlib import X, display as xdisplay, error as xerror

DISPLAY_TITLE = "KyrCameraApiPy display"


class Screen:
    def __init__(self, name):
        self.display = xdisplay.Display(name)
        self.root = self.display.screen().root

    def close(self):
        self.display.close()

    def windows(self, window=None):
        """Every window under `window` (the root by default), depth first."""
        window = window or self.root
        for child in window.query_tree().children:
            yield child
            yield from self.windows(child)

    def find(self, title, timeout=10.0):
        """The mapped window called `title`; None when none shows in time."""
        deadline = time.monotonic() + timeout
        while time.monotonic() < deadline:
            for window in self.windows():
                try:
                    if window.get_wm_name() == title and window.get_attributes().map_state == X.IsViewable:
                        return window
                except Exception:  # a window that went away meanwhile
                    continue
            self.display.sync()
        return None

    def grab(self, window, timeout=10.0):
        """What `window` shows, as an RGB image."""
        # A window that shrinks between the two requests makes the server
        # answer BadMatch: the rectangle asked for is no longer inside it.
        deadline = time.monotonic() + timeout
        while True:
            geometry = window.get_geometry()
            try:
                raw = window.get_image(0, 0, geometry.width, geometry.height, X.ZPixmap, 0xFFFFFFFF)
            except xerror.BadMatch:
                if time.monotonic() > deadline:
                    raise
                continue
            return Image.frombytes("RGB", (geometry.width, geometry.height), raw.data, "raw", "BGRX")

    def wait_for(self, window, check, timeout=10.0):
        """Grabs `window` until `check(image)` holds; the last image and whether it did."""
        deadline = time.monotonic() + timeout
        while True:
            image = self.grab(window)
            if check(image) or time.monotonic() > deadline:
                return image, check(image)
