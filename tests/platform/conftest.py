"""Platform tests in Python: the real platform libraries, through ctypes or
through the module built on them."""

import ctypes
import sys
from pathlib import Path

import pytest

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))

from kyrbuild import REAL_LIB, import_module  # noqa: E402


@pytest.fixture(scope="session")
def kyr():
    return import_module(REAL_LIB)


@pytest.fixture(scope="session")
def real_lib():
    """Loads a real platform library by file name ("libKyrImageApi.so")."""
    return lambda name: ctypes.CDLL(str(REAL_LIB / name))
