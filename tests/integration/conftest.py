"""Integration tests: the module built against the real platform."""

import sys
from pathlib import Path

import pytest

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))

from kyrbuild import REAL_LIB, import_module  # noqa: E402


@pytest.fixture(scope="session")
def kyr():
    return import_module(REAL_LIB)


@pytest.fixture(scope="session")
def xvfb():
    """A virtual X server for the GUI tests: its display name (":N"). Stopped
    at the end; every window on it goes with it."""
    import os
    import shutil
    import subprocess

    if shutil.which("Xvfb") is None:
        pytest.skip("Xvfb is not installed (make deps)")
    read_end, write_end = os.pipe()
    server = subprocess.Popen(["Xvfb", "-displayfd", str(write_end), "-screen", "0", "1280x1024x24", "-noreset", "-nolisten",
                               "tcp"], pass_fds=(write_end,), stderr=subprocess.DEVNULL)
    os.close(write_end)
    with os.fdopen(read_end) as announced:
        number = announced.readline().strip()
    try:
        assert number, "Xvfb did not start"
        yield f":{number}"
    finally:
        server.terminate()
        server.wait()
