"""The portable pixel code, which aarch64 runs (and x86 without SSSE3): the
unpacking, reducing and demosaicing tests again with KYR_IMAGE_PLAIN=1, in a
process of their own since the libraries read it once, against the same
references (demosaicing through OpenCV then, within the same one count)."""

import os
import subprocess
import sys
from pathlib import Path


def test_the_portable_code_passes_the_pixel_tests():
    tests = Path(__file__).resolve().parent / "test_pixels.py"
    run = subprocess.run([sys.executable, "-m", "pytest", "-q", "-p", "no:cacheprovider", str(tests)],
                         env={**os.environ, "KYR_IMAGE_PLAIN": "1"}, capture_output=True, text=True, timeout=600)
    assert run.returncode == 0, run.stdout[-3000:]
    assert " passed" in run.stdout.splitlines()[-1]
