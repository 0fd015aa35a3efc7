"""Where the build is, and importing the module from one of its two builds."""

import importlib
import os
import sys
from pathlib import Path

REPO = Path(__file__).resolve().parent.parent
# The build under test: KYR_BUILD_DIR when the Makefile names another one.
BUILD = Path(os.environ.get("KYR_BUILD_DIR", REPO / "build"))
REAL_LIB = BUILD / "lib"
SCRIPTED_LIB = BUILD / "scripted" / "lib"


def import_module(lib_dir: Path):
    """Imports the module from one build. A process holds one build only: both
    name their platform libraries alike, so the first one loaded would serve
    the other."""
    loaded = sys.modules.get("libKyrCameraGuiApiPy")
    if loaded is not None:
        assert Path(loaded.__file__).parent == lib_dir, "one build per test process"
        return loaded
    sys.path.insert(0, str(lib_dir))
    return importlib.import_module("libKyrCameraGuiApiPy")


def run_child(code: str, *args: str, timeout: float = 180) -> dict:
    """Runs `code` in a fresh Python process (which typically enters a
    network namespace of its own), with examples/ and tests/ on its path
    ahead of `args`, and returns the JSON object its last line of output
    prints. A failing child fails the test with its standard error."""
    import json
    import subprocess

    run = subprocess.run([sys.executable, "-c", "import sys; sys.path[:0] = sys.argv[1:3]\n" + code,
                          str(REPO / "examples"), str(REPO / "tests"), *args],
                         env={**os.environ, "KYR_BUILD_DIR": str(BUILD)}, capture_output=True, text=True,
                         timeout=timeout)
    assert run.returncode == 0, run.stderr[-4000:]
    return json.loads(run.stdout.strip().splitlines()[-1])
