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
