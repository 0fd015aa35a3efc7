#!/usr/bin/env python3
"""Takes the screenshots in docs/screenshots/ under a private Xvfb: the
window of examples/live_view.py and of examples/qt_viewer.py, each holding a
frame of the simulated camera, and the Select Camera, Action Camera and
parameter tree windows of examples/select_and_tune.py. Needs root (a private
network namespace)."""

import os
import subprocess
import sys
from pathlib import Path

REPO = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(REPO / "tests" / "integration"))

from xscreen import DISPLAY_TITLE, Screen  # noqa: E402

SHOTS = [
    ("live_view.py", ["--pixel-format", "BayerRG8", "--width", "640", "--height", "480"], DISPLAY_TITLE,
     "live_view.png"),
    ("qt_viewer.py", ["--pixel-format", "Mono8", "--width", "640", "--height", "480", "--view-size", "640x360"],
     "KyrCameraApiPy viewer", "qt_viewer.png"),
]


def run_example(display, *options):
    return subprocess.Popen([sys.executable, str(REPO / "examples" / "select_and_tune.py"), "--private-network",
                             *options], env={**os.environ, "DISPLAY": display}, stdin=subprocess.PIPE,
                            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)


def keys(display, window, *names):
    subprocess.run(["xdotool", "windowfocus", "--sync", str(window.id), "key", "--delay", "50", *names],
                   env={**os.environ, "DISPLAY": display}, check=True)


def save(image, name):
    image.save(REPO / "docs" / "screenshots" / name)
    print(f"docs/screenshots/{name}: {image.size[0]}x{image.size[1]}")


def shoot_dialogs(display, screen):
    """The three windows of the GUI library, over two simulated cameras."""
    example = run_example(display, "--cameras", "2", "--select-only", "--no-rescan")
    dialog = screen.find("Select Camera", timeout=30)
    save(screen.grab(dialog), "select_camera.png")
    keys(display, dialog, "Escape")
    example.wait(timeout=30)

    example = run_example(display, "--cameras", "2", "--action")
    dialog = screen.find("Action Camera", timeout=30)
    keys(display, dialog, "alt+o")
    image, _ = screen.wait_for(dialog, lambda image: False, timeout=2)
    save(image, "action_camera.png")
    keys(display, dialog, "Escape")
    example.wait(timeout=30)

    example = run_example(display, "--cameras", "1", "--commands", "--no-rescan")
    keys(display, screen.find("Select Camera", timeout=30), "Return")
    example.stdout.readline()
    tree = screen.find("Gen<i>Cam camera parameters", timeout=15)
    image, _ = screen.wait_for(tree, lambda image: False, timeout=1)
    save(image, "parameter_tree.png")
    example.stdin.write("close\n")
    example.stdin.close()
    example.wait(timeout=30)


def main():
    read_end, write_end = os.pipe()
    server = subprocess.Popen(["Xvfb", "-displayfd", str(write_end), "-screen", "0", "1280x1024x24", "-noreset",
                               "-nolisten", "tcp"], pass_fds=(write_end,), stderr=subprocess.DEVNULL)
    os.close(write_end)
    with os.fdopen(read_end) as announced:
        display = ":" + announced.readline().strip()
    try:
        screen = Screen(display)
        for script, options, title, name in SHOTS:
            example = subprocess.Popen(
                [sys.executable, str(REPO / "examples" / script), "--private-network", "--hold", "--seconds", "2",
                 *options], env={**os.environ, "DISPLAY": display}, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                stderr=subprocess.DEVNULL, text=True)
            for line in example.stdout:
                if line.startswith("held frame"):
                    break
            window = screen.find(title)
            # The held frame is drawn once the window shows something but black.
            image, _ = screen.wait_for(window, lambda image: image.getextrema()[0][1] > 0)
            image.save(REPO / "docs" / "screenshots" / name)
            print(f"docs/screenshots/{name}: {image.size[0]}x{image.size[1]}")
            example.stdin.close()
            example.wait(timeout=30)
        shoot_dialogs(display, screen)
        screen.close()
    finally:
        server.terminate()
        server.wait()


if __name__ == "__main__":
    main()
