#!/usr/bin/env python3
"""Imports the module from the build and shows what it offers so far.

The camera platform is not built yet, so there is no camera to talk to: this
demo only lists the module's functions and its error-code table.
"""

import os
import sys
from pathlib import Path

BUILD = Path(os.environ.get("KYR_BUILD_DIR", Path(__file__).resolve().parent.parent / "build"))
sys.path.insert(0, str(BUILD / "lib"))

import libKyrCameraGuiApiPy as kyr  # noqa: E402

CODES = [0] + list(range(-1001, -1023, -1)) + [
    -40001, -40002, -40003, -40004, -40005, -40006, -40007, -40051, -40101, -40121,
    -40200, -40201, -40202, -40203, -40204, -40205, -40206, -40207,
]


def main():
    print("The camera platform is not built yet: this demo only imports the module")
    print("and lists its functions and the error-code table.\n")
    print(f"module {kyr.__name__}: {kyr.__doc__}")
    for name in sorted(n for n in dir(kyr) if callable(getattr(kyr, n))):
        print(f"  {name}")
    print("\nerror codes:")
    for code in CODES:
        try:
            text = kyr.ErrorCodeToString(code)
        except UnicodeDecodeError as error:
            # This one text holds a Windows-1252 apostrophe (0x92), not UTF-8.
            text = error.object.decode("cp1252")
        print(f"  {code:7d}  {text.expandtabs(1)}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
