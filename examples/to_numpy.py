#!/usr/bin/env python3
"""Frames as numpy arrays: grabs one frame of the simulated camera in each of
several pixel formats (mono, GigE Vision packed mono and Bayer, Bayer, RGB)
and prints each array's shape and dtype, checking the values against the
camera's pattern (x + y + frame id modulo the bit depth; for RGB8 the three
channels hold x + id, y + id and x + y + id).
--private-network runs it in a network namespace of its own (root only)."""

import argparse
import sys

import numpy as np

from grab import BUILD, enter_private_network, find_camera, simulated_camera, streaming

FORMATS = ["Mono8", "Mono10", "Mono12", "Mono16", "Mono10Packed", "Mono12Packed",
           "BayerRG8", "BayerGR12", "BayerBG10Packed", "RGB8"]


def unpack_gige(raw, bits):
    """GigE Vision "Packed": two pixels in three bytes, the middle byte
    holding both pixels' low bits (first pixel's in the low nibble)."""
    triples = raw.reshape(-1, 3).astype(np.uint16)
    mask = (1 << (bits - 8)) - 1
    first = (triples[:, 0] << (bits - 8)) | (triples[:, 1] & mask)
    second = (triples[:, 2] << (bits - 8)) | ((triples[:, 1] >> 4) & mask)
    return np.stack([first, second], axis=1).reshape(-1)


def to_array(buffer):
    """The frame as an array: (height, width) for mono and Bayer, (height,
    width, channels) for RGB; uint16 for more than 8 bits."""
    code = buffer.GetPixelFormat()
    family, bits, packing = code >> 24, (code >> 16) & 0xFF, (code >> 12) & 0xF
    depth = {1: 8, 2: 10, 3: 12, 4: 14, 5: 16}[(code >> 8) & 0xF]
    height, width = buffer.GetHeight(), buffer.GetWidth()
    raw = np.frombuffer(buffer.GetBufferPtr(), dtype=np.uint8)
    pixels = height * width
    if family in (1, 3) and packing == 1:
        return unpack_gige(raw, depth)[:pixels].reshape(height, width), depth
    if family in (1, 3) and bits == 8:
        return raw[:pixels].reshape(height, width), depth
    if family in (1, 3) and bits == 16:
        return raw.view("<u2")[:pixels].reshape(height, width), depth
    if family == 2 and depth == 8:
        channels = bits // 8
        return raw[:pixels * channels].reshape(height, width, channels), depth
    raise ValueError(f"no conversion for pixel format {code:#010x}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--private-network", action="store_true")
    args = parser.parse_args()
    if args.private_network:
        enter_private_network()
    sys.path.insert(0, str(BUILD / "lib"))
    import libKyrCameraGuiApiPy as kyr

    with simulated_camera():
        info = find_camera(kyr)
        if info is None:
            sys.exit("the simulated camera was not found")
        device = kyr.PyKyrCreateDevice(info)
        params = device.GetCameraParameters()
        assert params is not None
        params.SetIntegerValue("Width", 320)
        params.SetIntegerValue("Height", 240)
        for pixel_format in FORMATS:
            if not params.SetEnumValueStr("PixelFormat", pixel_format):
                sys.exit(f"the camera refuses {pixel_format}")
            with streaming(device) as stream:
                buffer = stream.GetBuffer(2000)
                if buffer is None:
                    sys.exit(f"no {pixel_format} frame: error {stream.GetLastError()}")
                image, depth = to_array(buffer)
                y, x = np.mgrid[0:image.shape[0], 0:image.shape[1]]
                expected = x + y
                if image.ndim == 3:
                    expected = np.stack([x, y, x + y], axis=2)
                expected = (expected + buffer.GetFrameID()) % (1 << depth)
                matches = bool((image == expected).all())
                print(f"{pixel_format:16} {buffer.GetPixelFormat():#010x} shape {image.shape} "
                      f"dtype {image.dtype} pattern {'ok' if matches else 'WRONG'}")
            if not matches:
                return 1
        device.Release()
    return 0


if __name__ == "__main__":
    sys.exit(main())
