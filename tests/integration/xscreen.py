"""Reading windows of an X server (Xvfb in the tests) with python-xlib.

The waits end on the server's events: windows created, mapped or renamed, and
pixels drawn (the DAMAGE extension). A waiting test thus leaves the server and
the CPU to the program it watches, which on a loaded machine is what decides
whether a window shows in time."""

import select
import time

from PIL import Image
from Xlib import X, display as xdisplay, error as xerror
from Xlib.ext import damage

DISPLAY_TITLE = "KyrCameraApiPy display"

# A window's title, map state, size and children.
WATCHED_EVENTS = X.PropertyChangeMask | X.StructureNotifyMask | X.SubstructureNotifyMask


class Screen:
    def __init__(self, name):
        self.display = xdisplay.Display(name)
        self.root = self.display.screen().root
        # DAMAGE answers nothing before its version is asked.
        self.display.damage_query_version()
        self.watched = set()

    def close(self):
        self.display.close()

    def windows(self, window=None):
        """Every window under `window` (the root by default), depth first,
        each watched for changes before its children are listed."""
        window = window or self.root
        self.watch(window)
        try:
            children = window.query_tree().children
        except xerror.BadWindow:  # gone meanwhile
            return
        for child in children:
            yield child
            yield from self.windows(child)

    def watch(self, window):
        """Asks once for `window`'s change events. The server handles requests
        in order, so whatever a later request reads of the window is either
        what it was or followed by an event."""
        if window.id not in self.watched:
            window.change_attributes(event_mask=WATCHED_EVENTS, onerror=xerror.CatchError(xerror.BadWindow))
            self.watched.add(window.id)

    def next_events(self, deadline):
        """Waits for the server's next events until `deadline`; True when some
        came. They are dropped: the caller looks at the windows again."""
        while not self.display.pending_events():
            remaining = deadline - time.monotonic()
            if remaining <= 0:
                return False
            select.select([self.display], [], [], remaining)
        while self.display.pending_events():
            self.display.next_event()
        return True

    def find(self, title, timeout=10.0):
        """The mapped window called `title`; None when none shows in time."""
        deadline = time.monotonic() + timeout
        while True:
            for window in self.windows():
                try:
                    if window.get_wm_name() == title and window.get_attributes().map_state == X.IsViewable:
                        return window
                except xerror.XError:  # a window that went away meanwhile
                    continue
            if not self.next_events(deadline):
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
                if not self.next_events(deadline):
                    raise
                continue
            return Image.frombytes("RGB", (geometry.width, geometry.height), raw.data, "raw", "BGRX")

    def wait_for(self, window, check, timeout=10.0):
        """Grabs `window` until `check(image)` holds; the last image and whether
        it did. Grabs again each time something is drawn in the window or in
        one of its children."""
        deadline = time.monotonic() + timeout
        drawn = [part.damage_create(damage.DamageReportNonEmpty) for part in (window, *self.windows(window))]
        try:
            while True:
                # Cleared before the grab: what is drawn during it reports.
                for area in drawn:
                    self.display.damage_subtract(area)
                image = self.grab(window)
                if check(image):
                    return image, True
                if not self.next_events(deadline):
                    return image, False
        finally:
            for area in drawn:
                self.display.damage_destroy(area)
