"""Every guide in docs/ runs as written against the simulated camera, each in
a child process of its own (a network namespace, a fresh module)."""

import os
import subprocess
import sys
from pathlib import Path

import pytest

pytestmark = pytest.mark.skipif(os.geteuid() != 0, reason="a private network namespace needs root")

ROOT = Path(__file__).resolve().parents[2]
GUIDES = sorted((ROOT / "docs").glob("*.md"))
CHILD = Path(__file__).with_name("guide_child.py")


def test_every_guide_has_code():
    assert GUIDES
    for guide in GUIDES:
        assert "```python" in guide.read_text(), guide.name


@pytest.mark.parametrize("guide", GUIDES, ids=lambda path: path.stem)
def test_guide_runs(guide, tmp_path, xvfb):
    env = dict(os.environ, DISPLAY=xvfb, QT_QPA_PLATFORM="xcb")
    result = subprocess.run([sys.executable, str(CHILD), str(guide), str(tmp_path)], env=env,
                            capture_output=True, text=True, timeout=120)
    assert result.returncode == 0, result.stderr[-4000:]
