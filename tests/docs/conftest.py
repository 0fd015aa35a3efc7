"""The guides' tests share the integration tests' virtual X server."""

import importlib.util
from pathlib import Path

_spec = importlib.util.spec_from_file_location(
    "integration_conftest", Path(__file__).resolve().parent.parent / "integration" / "conftest.py")
_integration = importlib.util.module_from_spec(_spec)
_spec.loader.exec_module(_integration)
xvfb = _integration.xvfb
