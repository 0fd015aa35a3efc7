#!/usr/bin/env python3
"""Configuration files: sets a few features of the simulated camera, saves
them with SaveConfiguration, changes them, loads the file back with
LoadConfiguration, then opens the camera afresh from the file with
CreateDeviceFromConfig, printing the features at each step. A file naming a
feature the camera lacks is refused whole. --private-network runs it in a
network namespace of its own (root only)."""

import argparse
import sys
import tempfile
from pathlib import Path

from grab import BUILD, enter_private_network, find_camera, simulated_camera

SAVED = {"Width": 320, "Height": 200, "PixelFormat": "Mono12"}
CHANGED = {"Width": 640, "Height": 480, "PixelFormat": "BayerRG8"}


def apply(params, values):
    for name, value in values.items():
        ok = (params.SetEnumValueStr(name, value) if isinstance(value, str)
              else params.SetIntegerValue(name, value))
        if not ok:
            raise RuntimeError(f"cannot set {name}: error {params.GetLastError()}")


def read(params):
    return {"Width": params.GetIntegerValue("Width")[1], "Height": params.GetIntegerValue("Height")[1],
            "PixelFormat": params.GetEnumValueStr("PixelFormat")[1]}


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--private-network", action="store_true")
    args = parser.parse_args()
    if args.private_network:
        enter_private_network()
    sys.path.insert(0, str(BUILD / "lib"))
    import libKyrCameraGuiApiPy as kyr

    with simulated_camera(), tempfile.TemporaryDirectory() as folder:
        path = Path(folder) / "camera.cfg"
        info = find_camera(kyr)
        if info is None:
            sys.exit("the simulated camera was not found")
        device = kyr.PyKyrCreateDevice(info)
        params = device.GetCameraParameters()
        apply(params, SAVED)
        if not device.SaveConfiguration(str(path)):
            sys.exit("cannot save the configuration")
        lines = path.read_text().splitlines()
        print(f"saved {read(params)} to a file of {len(lines)} lines, starting {lines[:3]}")

        apply(params, CHANGED)
        print(f"changed to {read(params)}")
        broken = Path(folder) / "broken.cfg"
        broken.write_text(path.read_text() + "NoSuchFeature=1\n")
        refused = not device.LoadConfiguration(str(broken))
        print(f"a file with an unknown feature refused: {refused}, features kept: {read(params) == CHANGED}")
        if not device.LoadConfiguration(str(path)):
            sys.exit("cannot load the configuration")
        print(f"loaded back {read(params)}")
        device.Release()

        system = kyr.PyKyrSystem()
        reopened = system.CreateDeviceFromConfig(str(path))
        if reopened is None:
            sys.exit(f"cannot open from the configuration: {kyr.ErrorCodeToString(system.GetLastError())}")
        print(f"opened {reopened.GetDisplayName()} from the file: {read(reopened.GetCameraParameters())}")
        reopened.Release()
    return 0


if __name__ == "__main__":
    sys.exit(main())
