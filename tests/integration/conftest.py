"""Integration tests: the module built against the real platform."""

import sys
from pathlib import Path

import pytest

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))

from kyrbuild import REAL_LIB, import_module  # noqa: E402


@pytest.fixture(scope="session")
def kyr():
    return import_module(REAL_LIB)
