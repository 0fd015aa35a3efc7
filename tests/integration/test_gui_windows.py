"""The dialogs and the parameter tree view on screen, under Xvfb, driven with
xdotool the way a user would: examples/select_and_tune.py runs the module in
a network namespace of its own with simulated cameras, the test types into
its windows and checks what the module answers afterwards."""

import os
import shutil
import signal
import subprocess
import sys
import time
from pathlib import Path

import numpy as np
import pytest

sys.path.insert(0, str(Path(__file__).resolve().parent))

from kyrbuild import BUILD, REPO  # noqa: E402
from xscreen import Screen  # noqa: E402

pytestmark = [
    pytest.mark.skipif(os.geteuid() != 0, reason="a private network namespace needs root"),
    pytest.mark.skipif(shutil.which("xdotool") is None, reason="xdotool is not installed (make deps)"),
]

TREE_TITLE = "Gen<i>Cam camera parameters"


class Example:
    """examples/select_and_tune.py with the options given (or another script),
    talked to through its standard input and output."""

    def __init__(self, xvfb, *options, script=REPO / "examples" / "select_and_tune.py"):
        self.env = {**os.environ, "DISPLAY": xvfb, "KYR_BUILD_DIR": str(BUILD)}
        private = ["--private-network"] if script.name == "select_and_tune.py" else []
        self.process = subprocess.Popen(
            [sys.executable, str(script), *private, *options],
            env=self.env, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
            start_new_session=True)

    def line(self):
        return self.process.stdout.readline().strip()

    def ask(self, command):
        self.process.stdin.write(command + "\n")
        self.process.stdin.flush()
        return self.line()

    def keys(self, window, *keys):
        subprocess.run(["xdotool", "windowfocus", "--sync", str(window.id), "key", "--delay", "50", *keys],
                       env=self.env, check=True)

    def type(self, window, text):
        subprocess.run(["xdotool", "windowfocus", "--sync", str(window.id), "type", "--delay", "50", text],
                       env=self.env, check=True)

    def finish(self, timeout=30):
        if self.process.stdin and not self.process.stdin.closed:
            self.process.stdin.close()
        code = self.process.wait(timeout=timeout)
        self.stderr = self.process.stderr.read()
        return code

    def kill(self):
        """Ends a run a failed test left behind, with the simulated cameras
        it started."""
        if self.process.poll() is None:
            os.killpg(self.process.pid, signal.SIGKILL)
            self.process.wait()


@pytest.fixture
def screen(xvfb):
    screen = Screen(xvfb)
    yield screen
    screen.close()


@pytest.fixture
def example(xvfb):
    started = []

    def start(*options, **script):
        started.append(Example(xvfb, *options, **script))
        return started[-1]

    yield start
    for run in started:
        run.kill()


def test_select_camera_lists_both_cameras_and_returns_the_one_chosen(example, screen):
    run = example("--cameras", "2", "--select-only", "--no-rescan")
    dialog = screen.find("Select Camera", timeout=30)
    assert dialog is not None, "the dialog did not show"
    # Rows in the order the interface lists the cameras (by address here).
    run.keys(dialog, "Down", "Return")
    assert run.line() == "chosen SIM0002"
    assert run.finish() == 0, run.stderr

    run = example("--cameras", "2", "--select-only")
    dialog = screen.find("Select Camera", timeout=30)
    assert dialog is not None
    run.keys(dialog, "Escape")
    assert run.line() == "cancelled"
    assert run.finish() == 0, run.stderr
    assert "Wrong deviceInfo\n" in run.stderr


def red_pixels(image):
    pixels = np.asarray(image, dtype=np.int16)
    red = (pixels[..., 0] > 150) & (pixels[..., 1] < 80) & (pixels[..., 2] < 80)
    return int(red.sum())


def test_tree_view_writes_features_refuses_bad_values_and_survives_release(example, screen):
    run = example("--cameras", "1", "--commands", "--no-rescan")
    dialog = screen.find("Select Camera", timeout=30)
    assert dialog is not None
    run.keys(dialog, "Return")
    assert run.line() == "ready SIM0001"
    tree = screen.find(TREE_TITLE, timeout=15)
    assert tree is not None, "the tree view did not show"
    width = int(run.ask("get Width").split()[1])
    assert width != 320

    # The name filter has the focus: Enter there edits the one feature found.
    run.type(tree, "Width")
    run.keys(tree, "Return", "ctrl+a")
    run.type(tree, "320")
    run.keys(tree, "Return")
    assert run.ask("get Width") == "Width 320"
    assert red_pixels(screen.grab(tree)) == 0

    # Out of range: refused, the reason in red on the row, the camera unchanged.
    run.keys(tree, "ctrl+a")
    run.type(tree, "99999")
    run.keys(tree, "Return")
    assert run.ask("get Width") == "Width 320"
    _, shown = screen.wait_for(tree, lambda image: red_pixels(image) > 20)
    assert shown, "no reason shown for the refused value"

    # Released under the open view: it empties, the process goes on.
    assert run.ask("release") == "released"
    _, emptied = screen.wait_for(tree, lambda image: red_pixels(image) == 0)
    assert emptied, "the view still shows the released device's features"
    assert run.ask("get Width").startswith("Width")
    assert run.ask("close") == ""
    assert run.finish() == 0, run.stderr
    assert screen.find(TREE_TITLE, timeout=0.5) is None


def test_action_camera_refuses_a_bad_mask_and_forces_a_new_address(example, screen):
    run = example("--cameras", "2", "--action")
    dialog = screen.find("Action Camera", timeout=30)
    assert dialog is not None, "the dialog did not show"
    before = red_pixels(screen.grab(dialog))
    # Ones after a zero: no subnet mask, though each field is a number.
    run.keys(dialog, "alt+m", "ctrl+a")
    run.type(dialog, "255.0.255.0")
    run.keys(dialog, "alt+f")
    _, shown = screen.wait_for(dialog, lambda image: red_pixels(image) > before + 20)
    assert shown, "no reason shown for the refused mask"

    # The first camera moves to the address typed; the second stays.
    run.keys(dialog, "alt+m", "ctrl+a")
    run.type(dialog, "255.0.0.0")
    run.keys(dialog, "alt+a", "ctrl+a")
    run.type(dialog, "127.0.0.7")
    run.keys(dialog, "alt+f")
    _, cleared = screen.wait_for(dialog, lambda image: red_pixels(image) <= before, timeout=20)
    assert cleared, "the dialog still shows a failure"
    run.keys(dialog, "Escape")
    assert sorted(run.line() for _ in range(2)) == ["camera SIM0001 at 127.0.0.7", "camera SIM0002 at 127.0.0.2"]
    assert run.finish() == 0, run.stderr


CHILD = Path(__file__).resolve().parent / "gui_child.py"


def test_other_threads_run_while_a_dialog_is_open(example, screen):
    run = example("dialog-threads", script=CHILD)
    dialog = screen.find("Select Camera", timeout=30)
    assert dialog is not None
    first = int(run.ask("ping").split()[1])
    second = int(run.ask("ping").split()[1])
    assert second >= first and screen.find("Select Camera", timeout=0.5) is not None
    # A thread that needs the interpreter lock keeps counting meanwhile.
    deadline = time.monotonic() + 10
    while int(run.ask("ping").split()[1]) < first + 50 and time.monotonic() < deadline:
        pass
    assert int(run.ask("ping").split()[1]) >= first + 50, "other threads stood still under the dialog"
    run.keys(dialog, "Escape")
    assert run.line() == "closed"
    assert run.finish() == 0, run.stderr


def test_tree_view_over_a_lost_camera_says_so_and_survives_its_release(example, screen):
    run = example("tree-lost", script=CHILD)
    assert run.line() == "ready"
    tree = screen.find(TREE_TITLE, timeout=15)
    assert tree is not None
    assert red_pixels(screen.grab(tree)) == 0
    assert run.ask("lose") == "lost"
    _, shown = screen.wait_for(tree, lambda image: red_pixels(image) > 20, timeout=30)
    assert shown, "the view does not show that the camera stopped answering"
    assert run.ask("release") == "released"
    _, emptied = screen.wait_for(tree, lambda image: red_pixels(image) == 0, timeout=30)
    assert emptied
    assert run.ask("close") == "destroyed True"
    assert run.finish() == 0, run.stderr
    assert screen.find(TREE_TITLE, timeout=0.5) is None


def test_dialogs_and_views_run_on_a_pyqt6_applications_thread(example, screen):
    run = example("pyqt", script=CHILD)
    dialog = screen.find("Select Camera", timeout=30)
    assert dialog is not None, "the dialog did not show in the PyQt6 application"
    run.keys(dialog, "Return")
    assert run.line() == "chosen SIM0001"
    assert run.line() == "tree"
    assert screen.find(TREE_TITLE, timeout=15) is not None
    assert run.ask("close") == "destroyed True"
    assert run.finish() == 0, run.stderr
    assert screen.find(TREE_TITLE, timeout=0.5) is None
