"""The module built on the real platform loads that platform, from beside it."""

from pathlib import Path

from kyrbuild import REAL_LIB


def loaded_libraries():
    with open("/proc/self/maps") as maps:
        return {Path(line.split()[-1]) for line in maps if line.rstrip().endswith(".so")}


def test_module_runs_on_the_platform_beside_it(kyr):
    assert Path(kyr.__file__) == REAL_LIB / "libKyrCameraGuiApiPy.so"
    camera_libraries = {lib for lib in loaded_libraries() if lib.name == "libKyrCameraApi.so"}
    assert camera_libraries == {REAL_LIB / "libKyrCameraApi.so"}
    assert kyr.ErrorCodeToString(-40205) == "GenICam: Unknown parameter"
