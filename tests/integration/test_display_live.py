"""Frames on screen under Xvfb, checked pixel by pixel: the simulated camera's
frames through the module in a plain script (a window of its own, drawn from
the library's GUI thread) and embedded in a PyQt6 widget, each example in a
network namespace of its own; and frames made here, in every pixel format,
shown by the display library driven through ctypes (kyrdisplay.py)."""

import os
import re
import subprocess
import sys
from pathlib import Path

import numpy as np
import pytest

sys.path.insert(0, str(Path(__file__).resolve().parent))

from kyrbuild import BUILD, REPO  # noqa: E402
from xscreen import DISPLAY_TITLE, Screen  # noqa: E402

HERE = Path(__file__).resolve().parent
needs_root = pytest.mark.skipif(os.geteuid() != 0, reason="a private network namespace needs root")

WIDTH, HEIGHT = 320, 240


def expected_rgb(pixel_format, frame, width=WIDTH, height=HEIGHT):
    """The frame as the display should show it at its own size: the pattern
    x + y + frame id, cut to 8 bits by the format's depth, RGB8 carrying
    x + f, y + f, x + y + f, Bayer demosaiced bilinearly (OpenCV's as the
    reference)."""
    y, x = np.mgrid[0:height, 0:width].astype(np.int64)
    value = x + y + frame
    if pixel_format == "RGB8":
        return np.stack([(x + frame) & 255, (y + frame) & 255, value & 255], axis=-1).astype(np.uint8)
    if pixel_format in ("Mono12", "Mono12Packed"):
        grey = ((value & 0xFFF) >> 4).astype(np.uint8)
    else:
        grey = (value & 255).astype(np.uint8)
    if pixel_format == "BayerRG8":
        import cv2
        return cv2.cvtColor(grey, cv2.COLOR_BayerBG2RGB)
    return np.stack([grey] * 3, axis=-1)


class Held:
    """An example run with --hold: the frame it keeps on screen."""

    def __init__(self, xvfb, script, *options):
        env = {**os.environ, "DISPLAY": xvfb, "KYR_BUILD_DIR": str(BUILD)}
        self.process = subprocess.Popen(
            [sys.executable, str(REPO / "examples" / script), "--private-network", "--hold", "--seconds", "1",
             "--width", str(WIDTH), "--height", str(HEIGHT), *options],
            env=env, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        line = ""
        for line in self.process.stdout:
            if line.startswith("held frame"):
                break
        held = re.match(r"held frame (\d+) (\d+)x(\d+)(?: view (0x[0-9a-f]+))?", line)
        assert held, f"no frame held: {line!r}"
        self.frame = int(held.group(1))
        self.view = int(held.group(4), 16) if held.group(4) else None

    def close(self):
        self.process.stdin.close()
        assert self.process.wait(timeout=30) == 0


@pytest.fixture
def screen(xvfb):
    screen = Screen(xvfb)
    yield screen
    screen.close()


def matches(reference, tolerance=0, border=0):
    """Whether an image shows `reference`, each component within `tolerance`,
    leaving out `border` pixels at the edges."""
    inner = (slice(border, reference.shape[0] - border), slice(border, reference.shape[1] - border))

    def check(image):
        shown = np.asarray(image, dtype=np.int16)
        return shown.shape == reference.shape and np.abs(shown[inner] - reference[inner]).max() <= tolerance
    return check


# Demosaicing fills the edge pixels its own way; the reference's edges differ.
@needs_root
@pytest.mark.parametrize("pixel_format, tolerance, border", [
    ("Mono8", 0, 0), ("Mono12", 0, 0), ("Mono12Packed", 0, 0), ("RGB8", 0, 0), ("BayerRG8", 1, 1),
])
def test_own_window_shows_the_frame_at_its_size(xvfb, screen, pixel_format, tolerance, border):
    held = Held(xvfb, "live_view.py", "--pixel-format", pixel_format)
    try:
        window = screen.find(DISPLAY_TITLE)
        assert window is not None
        reference = expected_rgb(pixel_format, held.frame).astype(np.int16)
        image, ok = screen.wait_for(window, matches(reference, tolerance, border))
        assert image.size == (WIDTH, HEIGHT)
        assert ok
    finally:
        held.close()


def letterboxed(frame, width, height):
    """What a window of width x height shows of `frame`: the frame scaled to
    fit, aspect kept (Qt's rounding), centred on black, each screen pixel the
    frame pixel under its centre."""
    frame_height, frame_width = frame.shape[:2]
    drawn_width, drawn_height = height * frame_width // frame_height, height
    if drawn_width > width:
        drawn_width, drawn_height = width, width * frame_height // frame_width
    drawn_width, drawn_height = max(drawn_width, 1), max(drawn_height, 1)
    left, top = (width - drawn_width) // 2, (height - drawn_height) // 2
    shown = np.zeros((height, width, 3), np.int16)
    shown[top:top + drawn_height, left:left + drawn_width] = \
        frame[nearest(frame_height, drawn_height)][:, nearest(frame_width, drawn_width)]
    return shown


@needs_root
def test_embedded_in_a_pyqt_widget_letterboxed(xvfb, screen):
    pytest.importorskip("PyQt6")
    view_width, view_height = 400, 200
    held = Held(xvfb, "qt_viewer.py", "--pixel-format", "Mono8", "--view-size", f"{view_width}x{view_height}")
    try:
        view = screen.display.create_resource_object("window", held.view)
        # Scaled to the view's height, centred, black bars left and right.
        reference = letterboxed(expected_rgb("Mono8", held.frame), view_width, view_height)
        image, ok = screen.wait_for(view, matches(reference))
        assert image.size == (view_width, view_height)
        assert ok
    finally:
        held.close()


def test_without_x_display_create_display_fails_and_the_module_works():
    env = {key: value for key, value in os.environ.items() if key not in ("DISPLAY", "WAYLAND_DISPLAY")}
    code = ("import sys; sys.path.insert(0, sys.argv[1]); import libKyrCameraGuiApiPy as kyr; "
            "print(kyr.PyCreateDisplay(0), kyr.ErrorCodeToString(-40205)); kyr.PyShowImageOnDisplay(5); "
            "print(len(kyr.PyKyrSystem().GetInterfaceList() or []) >= 0)")
    run = subprocess.run(["unshare", "-n", sys.executable, "-c", code, str(BUILD / "lib")], env=env,
                         capture_output=True, text=True, timeout=60)
    assert run.returncode == 0, run.stderr
    assert run.stdout.splitlines() == ["False GenICam: Unknown parameter", "True"]
    assert run.stderr == "Wrong display\nWrong image\n"


def test_shutdown_ends_the_gui_thread_and_refuses_new_displays(xvfb):
    child = f"""
import ctypes, os, sys
sys.path.insert(0, {str(HERE)!r})
from kyrdisplay import Display, image

def gui_threads():
    names = []
    for task in os.listdir("/proc/self/task"):
        try:
            names.append(open(f"/proc/self/task/{{task}}/comm").read())
        except FileNotFoundError:  # a thread that ended meanwhile
            pass
    return names.count("KyrGuiHost\\n")

display = Display()
assert display.create() == 0 and gui_threads() == 1
data = ctypes.create_string_buffer(64 * 48)
picture = image(0x01080101, 64, 48, 0, data)
drawn = display.frames_drawn()
assert display.show(picture) == 0 and display.wait_frames_drawn(drawn, 10000) > drawn
display.lib.KyrDisplay_ShutdownGui()
display.lib.KyrDisplay_ShutdownGui()
create = getattr(display.lib, "_ZN10KyrDisplay15CreateComponentEv")
create.restype = ctypes.c_void_p
# A frame for a display whose thread is gone is taken and never drawn.
print(gui_threads(), create(), display.show(picture), display.frames_drawn() - drawn, flush=True)
display.release()
"""
    run = subprocess.run([sys.executable, "-c", child], env={**os.environ, "DISPLAY": xvfb, "KYR_BUILD_DIR": str(BUILD)},
                         capture_output=True, text=True, timeout=60)
    assert (run.returncode, run.stdout) == (0, "0 None 0 1\n"), run.stderr


class Shown:
    """kyrdisplay.py in a process of its own: a display showing the frames
    handed to it."""

    def __init__(self, xvfb, folder):
        env = {**os.environ, "DISPLAY": xvfb, "KYR_BUILD_DIR": str(BUILD)}
        self.folder = folder
        self.process = subprocess.Popen([sys.executable, str(HERE / "kyrdisplay.py")], env=env,
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        assert self.answer()[0] == 0

    def answer(self):
        code, drawn = self.process.stdout.readline().split()
        return int(code), int(drawn)

    def send(self, verb, code, width, height, data):
        path = self.folder / "frame.raw"
        path.write_bytes(bytes(data))
        self.process.stdin.write(f"{verb} {code:#x} {width} {height} {path}\n")
        self.process.stdin.flush()
        return self.answer()

    def close(self):
        self.process.stdin.close()
        assert self.process.wait(timeout=30) == 0


@pytest.fixture
def shown(xvfb, tmp_path):
    made = []

    def make():
        made.append(Shown(xvfb, tmp_path))
        return made[-1]
    yield make
    for each in made:
        each.close()


def pattern(width, height, bits, offset=0):
    """The test pattern x + y + offset in `bits` bits, one sample a pixel."""
    y, x = np.mgrid[0:height, 0:width].astype(np.int64)
    return (x + y + offset) & ((1 << bits) - 1)


def nearest(size, drawn):
    """The source index under each of `drawn` target pixels' centres."""
    return ((2 * np.arange(drawn) + 1) * size) // (2 * drawn)


# A Bayer frame drawn at most 3/4 of its size takes each pixel from one 2x2
# cell: red, the mean of the greens, blue. `red` is the red sample's (line,
# column) in the cell; blue is across from it.
@pytest.mark.parametrize("name, code, bits, red", [
    ("BayerRG8", 0x0308010E, 8, (0, 0)), ("BayerGB8", 0x0308010F, 8, (1, 0)),
    ("BayerBG12", 0x03100318, 12, (1, 1)), ("BayerGR16", 0x0310052D, 16, (0, 1)),
])
def test_smaller_window_draws_bayer_cells(shown, screen, name, code, bits, red):
    width, height, drawn_width, drawn_height = 480, 360, 160, 120
    display = shown()
    # A frame of the window's size configures it; the frame shown is larger.
    assert display.send("configure", code, drawn_width, drawn_height, b"")[0] == 0
    samples = pattern(width, height, bits, offset=3 * bits)
    data = samples.astype(np.uint8 if bits == 8 else "<u2").tobytes()
    assert display.send("show", code, width, height, data)[0] == 0
    eight = np.minimum(samples >> (bits - 8), 255)
    rows, columns = 2 * nearest(height // 2, drawn_height), 2 * nearest(width // 2, drawn_width)
    (ry, rx), (by, bx) = red, (1 - red[0], 1 - red[1])
    at = lambda dy, dx: eight[rows + dy][:, columns + dx]  # noqa: E731
    reference = np.stack([at(ry, rx), (at(ry, bx) + at(by, rx) + 1) // 2, at(by, bx)], axis=-1)
    window = screen.find(DISPLAY_TITLE)
    image, ok = screen.wait_for(window, matches(reference.astype(np.int16)))
    assert image.size == (drawn_width, drawn_height)
    assert ok


def pack_p(samples, bits):
    """PFNC "p" packing: samples one after another, least significant bit first."""
    flat = samples.reshape(-1).astype(np.uint32)
    stream = ((flat[:, None] >> np.arange(bits)) & 1).astype(np.uint8).reshape(-1)
    return np.packbits(stream, bitorder="little").tobytes()


def grey(samples, bits):
    return np.stack([samples >> (bits - 8)] * 3, axis=-1)


def demosaiced(samples, bits, cv_code):
    """The frame demosaiced bilinearly from its top eight bits (OpenCV's as
    the reference; it names the tiles by their second line)."""
    import cv2
    return cv2.cvtColor((samples >> (bits - 8)).astype(np.uint8), getattr(cv2, cv_code))


def colour(width, height, bits, order):
    """RGB or BGR samples of `bits` in 16-bit containers: x, y, x + y."""
    y, x = np.mgrid[0:height, 0:width].astype(np.int64)
    rgb = np.stack([x * 3, y * 4, x + y], axis=-1) & ((1 << bits) - 1)
    stored = rgb if order == "RGB" else rgb[..., ::-1]
    return stored.astype("<u2").tobytes(), rgb >> (bits - 8)


def yuv422_10_packed(width, height):
    """Y0 U Y1 V samples of 10 bits, packed; the reference by full-range
    BT.601 on their top eight bits."""
    y, x = np.mgrid[0:height, 0:width].astype(np.int64)
    luma = (x * 2 + y) & 0x3FF
    pair = x // 2 * 2
    u, v = (pair * 5 + 100) & 0x3FF, (y * 7 + 300) & 0x3FF
    chroma = np.where(x % 2 == 0, u, v)
    data = pack_p(np.stack([luma, chroma], axis=-1), 10)
    l8, u8, v8 = luma >> 2, (u >> 2) - 128, (v >> 2) - 128
    rgb = np.stack([l8 + 1.402 * v8, l8 - 0.344136 * u8 - 0.714136 * v8, l8 + 1.772 * u8], axis=-1)
    return data, np.clip(np.rint(rgb), 0, 255)


W, H = 320, 240
# (format, code, frame bytes and reference at its own size, tolerance, border):
# demosaicing fills the edge pixels its own way, fixed-point colour
# conversion rounds its own way.
FORMATS = [
    # 321 pixels of 10 bits: every line but each fourth starts inside a byte.
    ("Mono10p", 0x010A2203, lambda: (pack_p(pattern(W + 1, H, 10), 10), grey(pattern(W + 1, H, 10), 10)), 0, 0),
    ("Mono12p", 0x010C2307, lambda: (pack_p(pattern(W, H, 12, 5), 12), grey(pattern(W, H, 12, 5), 12)), 0, 0),
    ("BayerRG10p", 0x030A221B,
     lambda: (pack_p(pattern(W, H, 10), 10), demosaiced(pattern(W, H, 10), 10, "COLOR_BayerBG2RGB")), 1, 1),
    ("BayerGB12p", 0x030C2325,
     lambda: (pack_p(pattern(W, H, 12, 9), 12), demosaiced(pattern(W, H, 12, 9), 12, "COLOR_BayerGR2RGB")), 1, 1),
    ("RGB10", 0x02300275, lambda: colour(W, H, 10, "RGB"), 0, 0),
    ("BGR12", 0x02300378, lambda: colour(W, H, 12, "BGR"), 0, 0),
    ("BGR14", 0x0230047A, lambda: colour(W, H, 14, "BGR"), 0, 0),
    ("RGB16", 0x0230057B, lambda: colour(W, H, 16, "RGB"), 0, 0),
    ("YUV422_10_PACKED", 0x05143283, lambda: yuv422_10_packed(W, H), 1, 0),
]


@pytest.mark.parametrize("name, code, make, tolerance, border", FORMATS, ids=[case[0] for case in FORMATS])
def test_pixel_format_shows_at_its_size(shown, screen, name, code, make, tolerance, border):
    data, reference = make()
    height, width = reference.shape[:2]
    display = shown()
    assert display.send("configure", code, width, height, b"")[0] == 0
    # Packed frames come as one run, as cameras send them, with no padding.
    assert display.send("show", code, width, height, data)[0] == 0
    window = screen.find(DISPLAY_TITLE)
    image, ok = screen.wait_for(window, matches(np.asarray(reference, np.int16), tolerance, border))
    assert image.size == (width, height)
    assert ok


# The FLEx packings and TrueSense mosaics, whose layouts the image libraries
# do not read, and a code outside the table.
@pytest.mark.parametrize("code", [0x0108310C, 0x010C3205, 0x0220327E, 0x04080131, 0x04100470, 0x01080199])
def test_formats_without_a_picture_are_refused(shown, code):
    display = shown()
    assert display.send("configure", code, 8, 8, b"")[0] == -1009
    code_shown, drawn = display.send("show", code, 8, 8, bytes(8 * 8 * 8))
    assert code_shown == -1009
    assert display.send("show", 0x01080101, 8, 8, bytes(64)) == (0, drawn + 1)


def one_line_of_the_pattern(width, height, frame_width):
    """Whether a window shows a frame one line high, frame_width wide, of the
    camera's pattern (any frame id): one line across its middle, black above
    and below."""
    middle = (height - 1) // 2
    columns = nearest(frame_width, width)

    def check(image):
        shown = np.asarray(image, dtype=np.int64)
        line = shown[middle, :, 0]
        frame = (line[0] - columns[0]) % 256
        rest = np.delete(shown, middle, axis=0)
        return (shown.shape[:2] == (height, width) and not rest.any() and
                (line == (columns + frame) % 256).all() and (shown[middle] == line[:, None]).all())
    return check


@needs_root
def test_reset_reconfigures_for_the_next_frame_in_bounds(xvfb, screen):
    # The window's size after each frame: the first frame sizes it; after a
    # reset, a frame wider than 20480 is drawn in the window as it is, and the
    # next one in bounds sizes it; later ones do not.
    steps = ["320x240", "160x120", "reset", "20481x1", "200x100", "160x120"]
    windows = [(320, 240), (320, 240), (320, 240), (200, 100), (200, 100)]
    env = {**os.environ, "DISPLAY": xvfb, "KYR_BUILD_DIR": str(BUILD)}
    child = subprocess.Popen([sys.executable, str(HERE / "display_reset_child.py"), *steps], env=env,
                             stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
    try:
        window = None
        for width, height in windows:
            _, frame, size = child.stdout.readline().split()
            frame_width, frame_height = map(int, size.split("x"))
            window = window or screen.find(DISPLAY_TITLE)
            if frame_width > 20480:
                check = one_line_of_the_pattern(width, height, frame_width)
            else:
                frame_rgb = expected_rgb("Mono8", int(frame), frame_width, frame_height)
                check = matches(letterboxed(frame_rgb, width, height))
            image, ok = screen.wait_for(window, check)
            assert (size, image.size, ok) == (size, (width, height), True)
            child.stdin.write("\n")
            child.stdin.flush()
    finally:
        child.stdin.close()
        assert child.wait(timeout=60) == 0


@needs_root
def test_embedded_in_a_foreign_window_follows_its_size(xvfb, screen):
    # This process owns the window (another X client than the display's) and
    # resizes it; the display follows each size, the frame letterboxed.
    sizes = [(400, 200), (200, 300), (640, 480)]
    from Xlib import X
    window = screen.root.create_window(0, 0, *sizes[0], 0, X.CopyFromParent, X.InputOutput, X.CopyFromParent,
                                       background_pixel=screen.display.screen().white_pixel)
    window.map()
    screen.display.sync()
    held = Held(xvfb, "live_view.py", "--pixel-format", "Mono8", "--window", hex(window.id))
    try:
        frame = expected_rgb("Mono8", held.frame)
        for width, height in sizes:
            window.configure(width=width, height=height)
            screen.display.sync()
            image, ok = screen.wait_for(window, matches(letterboxed(frame, width, height)))
            assert (image.size, ok) == ((width, height), True)
    finally:
        held.close()
        window.destroy()
        screen.display.sync()
