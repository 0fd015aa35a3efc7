"""Runs the ```python blocks of one guide, in order, in one namespace, in a
network namespace of its own with the simulated camera on 127.0.0.1.
Blocks fenced as ```python no-run need a person and are skipped. Exits 0
when every block ran; a failing block names itself on standard error."""

import os
import re
import sys
import traceback
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "examples"))

import grab  # noqa: E402

FENCE = re.compile(r"^```python([^\n]*)\n(.*?)^```", re.M | re.S)


def blocks(guide):
    """(line, code) of each block that runs, in order."""
    text = guide.read_text()
    for match in FENCE.finditer(text):
        if "no-run" in match.group(1).split():
            continue
        yield text.count("\n", 0, match.start()) + 2, match.group(2)


def main():
    guide = Path(sys.argv[1]).resolve()
    grab.enter_private_network(2)
    sys.path.insert(0, str(grab.BUILD / "lib"))
    import libKyrCameraGuiApiPy as kyr
    os.chdir(sys.argv[2])
    with grab.simulated_camera():
        if grab.find_camera(kyr) is None:
            print("the simulated camera was not found", file=sys.stderr)
            return 1
        namespace = {"__name__": "__guide__"}
        for line, code in blocks(guide):
            try:
                exec(compile(code, f"{guide.name}:{line}", "exec"), namespace)
            except Exception:
                traceback.print_exc()
                print(f"block at {guide.name}:{line} failed", file=sys.stderr)
                return 1
        # Let the guide's own objects go while the camera is still there.
        namespace.clear()
    return 0


if __name__ == "__main__":
    sys.exit(main())
