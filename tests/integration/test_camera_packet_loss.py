"""The module streaming from a simulated camera that loses packets: with
packet resend on, nearly every frame arrives complete, no complete frame
carries wrong bytes, and the transport statistics count the resends. Each
case runs lossy_stream_child.py in a network namespace of its own."""

import json
import os
import subprocess
import sys
from pathlib import Path

import pytest

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))

from kyrbuild import BUILD  # noqa: E402

CHILD = Path(__file__).resolve().parent / "lossy_stream_child.py"

pytestmark = pytest.mark.skipif(os.geteuid() != 0, reason="a private network namespace needs root")


@pytest.mark.parametrize("width, height, frames, options, least_right", [
    (640, 480, 200, ["--drop", "0.01"], 0.99),
    # At 1 Gbit/s, as on a real link: unpaced 4 MiB bursts on loopback also
    # overrun the receiver, which is not what this case measures.
    (2048, 2048, 60, ["--drop", "0.01", "--bandwidth", "1000"], 0.99),
    (640, 480, 200, ["--drop", "0.05"], 0.9),
], ids=["640x480 1%", "2048x2048 1% at 1 Gbit/s", "640x480 5%"])
def test_resend_recovers_lost_packets(width, height, frames, options, least_right):
    run = subprocess.run([sys.executable, str(CHILD), str(width), str(height), str(frames), "--seed", "7", *options],
                         env={**os.environ, "KYR_BUILD_DIR": str(BUILD)}, capture_output=True, text=True,
                         timeout=120)
    assert run.returncode == 0, run.stderr
    counts = json.loads(run.stdout.splitlines()[-1])
    assert counts["wrong"] == 0, counts
    assert counts["right"] >= least_right * frames, counts
    assert counts["StatResentPackets"] > 0, counts
