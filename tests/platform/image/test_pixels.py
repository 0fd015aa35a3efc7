"""The unpacker, the converter and the demosaicing library on frames of known
content, against references computed here with numpy."""

import re
from pathlib import Path

import numpy as np
import pytest

from kyrimage import (BAYER8, BAYER10, BAYER10_PACKED, BAYER10P, BAYER12, BAYER12_PACKED, BAYER12P, BGR8,
                      ERR_INVALID_ARGUMENT, ERR_SIZE_MISMATCH, ERR_UNSUPPORTED_PIXEL_TYPE, MONO8, MONO10,
                      MONO10_PACKED, MONO10P, MONO12, MONO12_PACKED, MONO12P, OK, RGB8, YUV422_8, YUV422_10,
                      YUV422_10_PACKED, KyrImage, image_of, pixels_of)

RNG = np.random.default_rng(7)


def pack_gige(samples, bits):
    """GigE Vision "Packed": pixel pairs in three bytes, the high bits of each
    pixel in its own byte and the low bits of both in the middle one (the
    first pixel's in the low nibble), the frame as one run of pixels."""
    flat = samples.reshape(-1)
    pairs = np.zeros(flat.size + flat.size % 2, np.uint16)
    pairs[: flat.size] = flat
    first, second = pairs[0::2], pairs[1::2]
    low = bits - 8
    mask = (1 << low) - 1
    out = np.stack([first >> low, (first & mask) | ((second & mask) << 4), second >> low], axis=1)
    return out.astype(np.uint8).tobytes()[: (flat.size * 12 + 7) // 8]


def pack_pfnc(samples, bits):
    """PFNC "p": pixels one after another, least significant bit first."""
    flat = samples.reshape(-1).astype(np.uint32)
    stream = ((flat[:, None] >> np.arange(bits)) & 1).astype(np.uint8).reshape(-1)
    return np.packbits(stream, bitorder="little").tobytes()


PACKED = [(MONO10_PACKED, MONO10, 10, pack_gige), (MONO12_PACKED, MONO12, 12, pack_gige)]
PACKED += [(BAYER10_PACKED[t], BAYER10[t], 10, pack_gige) for t in BAYER10_PACKED]
PACKED += [(BAYER12_PACKED[t], BAYER12[t], 12, pack_gige) for t in BAYER12_PACKED]
PACKED += [(MONO10P, MONO10, 10, pack_pfnc), (MONO12P, MONO12, 12, pack_pfnc)]
PACKED += [(BAYER10P[t], BAYER10[t], 10, pack_pfnc) for t in BAYER10P]
PACKED += [(BAYER12P[t], BAYER12[t], 12, pack_pfnc) for t in BAYER12P]


def frame_image(data, code, width, height, stride):
    array = np.frombuffer(data, np.uint8).copy()
    image = KyrImage(pixelType=code, width=width, height=height, stride=stride, size=array.nbytes,
                     data=array.ctypes.data)
    image.keep = array
    return image


@pytest.mark.parametrize("source_code, target_code, bits, packer", PACKED,
                         ids=[f"{code:#010x}" for code, *_ in PACKED])
@pytest.mark.parametrize("width", [1, 2, 3, 641, 2447])
@pytest.mark.parametrize("height", [1, 101])
def test_unpack_reads_the_frame_as_one_run(libs, unpacker, source_code, target_code, bits, packer, width, height):
    # A line may start in the middle of a byte group; the stride a camera
    # gives (whole bytes per line) and none at all both mean the whole frame.
    handle, params = unpacker
    samples = RNG.integers(0, 1 << bits, (height, width), dtype=np.uint16)
    packed = packer(samples, bits)
    assert params.set_int("width", width) == OK and params.set_int("height", height) == OK
    per_line = (width * (12 if packer is pack_gige else bits) + 7) // 8
    for stride in (0, per_line):
        code, target = libs.create_image(width, height, target_code)
        try:
            assert libs.KyrImageUnpacker_Unpack(handle, frame_image(packed, source_code, width, height, stride),
                                                target) == OK
            assert (target.width, target.height, target.stride) == (width, height, 2 * width)
            np.testing.assert_array_equal(pixels_of(target, np.uint16), samples)
        finally:
            libs.release_image(target)


@pytest.mark.parametrize("source_code, target_code, bits, packer", [PACKED[1], PACKED[-1]], ids=["gige", "pfnc"])
def test_unpack_reads_padded_lines_each_on_its_own(libs, unpacker, source_code, target_code, bits, packer):
    handle, params = unpacker
    width, height, padding = 333, 7, 5
    samples = RNG.integers(0, 1 << bits, (height, width), dtype=np.uint16)
    lines = [packer(samples[y:y + 1], bits) for y in range(height)]
    stride = len(lines[0]) + padding
    data = b"".join(line + b"\xee" * padding for line in lines)
    params.set_int("width", width)
    params.set_int("height", height)
    code, target = libs.create_image(width, height, target_code)
    try:
        assert libs.KyrImageUnpacker_Unpack(handle, frame_image(data, source_code, width, height, stride),
                                            target) == OK
        np.testing.assert_array_equal(pixels_of(target, np.uint16), samples)
        # One byte short of the last line.
        assert libs.KyrImageUnpacker_Unpack(handle, frame_image(data[:-padding - 1], source_code, width, height,
                                                                stride), target) == ERR_SIZE_MISMATCH
    finally:
        libs.release_image(target)


@pytest.mark.parametrize("width, height, stride", [(2, 1, 0), (3, 5, 0), (641, 9, 0), (641, 9, 1603), (6, 3, 20)])
def test_unpack_yuv422_10_packed_keeps_its_samples_in_order(libs, unpacker, width, height, stride):
    # Y U Y V samples of 10 bits one after another: two pixels in five bytes,
    # the frame as one run or (a stride over the line's bytes) line by line.
    handle, params = unpacker
    samples = RNG.integers(0, 1 << 10, (height, 2 * width), dtype=np.uint16)
    if stride > (width * 20 + 7) // 8:
        data = b"".join(pack_pfnc(line, 10).ljust(stride, b"\xee") for line in samples)
    else:
        data = pack_pfnc(samples, 10)
    params.set_int("width", width)
    params.set_int("height", height)
    code, target = libs.create_image(width, height, YUV422_10)
    try:
        assert libs.KyrImageUnpacker_Unpack(handle, frame_image(data, YUV422_10_PACKED, width, height, stride),
                                            target) == OK
        assert target.stride == 4 * width
        np.testing.assert_array_equal(pixels_of(target, np.uint16, 2), samples.reshape(height, width, 2))
    finally:
        libs.release_image(target)


def test_unpack_refuses_what_it_cannot_do(libs, unpacker):
    handle, params = unpacker
    params.set_int("width", 8)
    params.set_int("height", 4)
    packed = np.zeros((4, 12), np.uint8)
    code, target = libs.create_image(8, 4, MONO12)
    _, wrong = libs.create_image(8, 4, MONO10)
    try:
        assert libs.KyrImageUnpacker_Unpack(handle, image_of(packed, MONO12_PACKED, 8), wrong) == \
            ERR_UNSUPPORTED_PIXEL_TYPE
        assert libs.KyrImageUnpacker_Unpack(handle, image_of(packed[:3], MONO12_PACKED, 8), target) == \
            ERR_SIZE_MISMATCH
        params.set_int("height", 40)
        assert libs.KyrImageUnpacker_Unpack(handle, image_of(packed, MONO12_PACKED, 8), target) == ERR_SIZE_MISMATCH
        params.set_int("height", 4)
        assert params.set_int("cameraType", 1) == OK
        assert libs.KyrImageUnpacker_Unpack(handle, image_of(packed, MONO12_PACKED, 8), target) == \
            ERR_INVALID_ARGUMENT
        assert params.set_int("no.such", 1) != OK
    finally:
        libs.release_image(target)
        libs.release_image(wrong)


@pytest.mark.parametrize("source_code, bits", [(MONO12, 12), (MONO10, 10)])
@pytest.mark.parametrize("target_code, channels", [(0x01080101, 1), (BGR8, 3), (RGB8, 3)])
def test_convert_keeps_the_top_eight_bits(libs, converter, source_code, bits, target_code, channels):
    samples = RNG.integers(0, 1 << bits, (33, 1501), dtype=np.uint16)
    samples[0, :3] = [0, (1 << bits) - 1, 0xFFFF]  # a sample above its depth saturates
    code, target = libs.create_image(1501, 33, target_code)
    try:
        assert libs.KyrImageConverter_ConvertImage(converter, image_of(samples, source_code), target) == OK
        expected = np.minimum(samples >> (bits - 8), 255).astype(np.uint8)
        result = pixels_of(target, np.uint8, channels)
        if channels == 3:
            for channel in range(3):
                np.testing.assert_array_equal(result[..., channel], expected)
        else:
            np.testing.assert_array_equal(result, expected)
    finally:
        libs.release_image(target)


def test_convert_refuses_other_types_and_sizes(libs, converter):
    samples = np.zeros((4, 8), np.uint16)
    _, small = libs.create_image(7, 4, MONO8)
    _, yuv = libs.create_image(8, 4, YUV422_8)
    try:
        assert libs.KyrImageConverter_ConvertImage(converter, image_of(samples, MONO12), small) == ERR_SIZE_MISMATCH
        assert libs.KyrImageConverter_ConvertImage(converter, image_of(samples, MONO12), yuv) == \
            ERR_UNSUPPORTED_PIXEL_TYPE
        assert libs.KyrImageConverter_ConvertImage(converter, image_of(samples, YUV422_8), small) == \
            ERR_UNSUPPORTED_PIXEL_TYPE
    finally:
        libs.release_image(small)
        libs.release_image(yuv)


# Where red and blue sit in each 2x2 tile (row, column).
TILES = {"RG": ((0, 0), (1, 1)), "BG": ((1, 1), (0, 0)), "GR": ((0, 1), (1, 0)), "GB": ((1, 0), (0, 1))}


def bilinear_reference(raw, tile):
    """Bilinear demosaicing of the interior: each missing component is the mean
    of its nearest samples of that colour."""
    height, width = raw.shape
    red_at, blue_at = TILES[tile]
    rows, cols = np.mgrid[0:height, 0:width]
    masks = {
        "R": (rows % 2 == red_at[0]) & (cols % 2 == red_at[1]),
        "B": (rows % 2 == blue_at[0]) & (cols % 2 == blue_at[1]),
    }
    masks["G"] = ~(masks["R"] | masks["B"])
    kernels = {
        "G": np.array([[0, 1, 0], [1, 4, 1], [0, 1, 0]], float) / 4,
        "R": np.array([[1, 2, 1], [2, 4, 2], [1, 2, 1]], float) / 4,
    }
    kernels["B"] = kernels["R"]
    result = np.zeros((height, width, 3))
    for index, colour in enumerate("RGB"):
        plane = np.where(masks[colour], raw, 0).astype(float)
        out = np.zeros_like(plane)
        for dy in range(3):
            for dx in range(3):
                out[1:-1, 1:-1] += kernels[colour][dy, dx] * plane[dy:height - 2 + dy, dx:width - 2 + dx]
        result[..., index] = out
    return result[1:-1, 1:-1]


@pytest.mark.parametrize("tile", ["RG", "BG", "GR", "GB"])
@pytest.mark.parametrize("target_code", [RGB8, BGR8])
def test_demosaic_matches_bilinear_reference(libs, bayer, tile, target_code):
    # Wide enough for 32 and 16-pixel steps and a remainder on each line.
    raw = RNG.integers(0, 256, (24, 90), dtype=np.uint8)
    _, target = libs.create_image(90, 24, target_code)
    try:
        assert libs.KyrBayer_ConvertImage(bayer, image_of(raw, BAYER8[tile]), target) == OK
        result = pixels_of(target, np.uint8, 3).astype(int)
        if target_code == BGR8:
            result = result[..., ::-1]
        difference = np.abs(result[1:-1, 1:-1] - bilinear_reference(raw, tile))
        assert difference.max() <= 1
    finally:
        libs.release_image(target)


def test_demosaic_of_twelve_bits_is_that_of_their_top_eight(libs, bayer):
    raw = RNG.integers(0, 4096, (16, 20), dtype=np.uint16)
    _, deep = libs.create_image(20, 16, RGB8)
    _, shallow = libs.create_image(20, 16, RGB8)
    try:
        assert libs.KyrBayer_ConvertImage(bayer, image_of(raw, BAYER12["GB"]), deep) == OK
        top = (raw >> 4).astype(np.uint8)
        assert libs.KyrBayer_ConvertImage(bayer, image_of(top, BAYER8["GB"]), shallow) == OK
        np.testing.assert_array_equal(pixels_of(deep, np.uint8, 3), pixels_of(shallow, np.uint8, 3))
        assert libs.KyrBayer_ConvertImage(bayer, image_of(raw, MONO12), deep) == ERR_UNSUPPORTED_PIXEL_TYPE
    finally:
        libs.release_image(deep)
        libs.release_image(shallow)


def test_create_image_describes_and_zeroes(libs):
    code, image = libs.create_image(5, 3, MONO12_PACKED)
    try:
        assert code == OK
        assert (image.width, image.height, image.stride, image.size) == (5, 3, 8, 24)
        assert (image.bitDepth, image.components, image.packing, image.bitsPerPixel) == (12, 1, 0x13, 12)
        assert not pixels_of(image, np.uint8).any()
    finally:
        libs.release_image(image)
    assert libs.create_image(4, 4, 0x01080199) == (ERR_UNSUPPORTED_PIXEL_TYPE, None)


def binding_table():
    """The binding's pixel format table, read from its source: name, component
    count, bit depth and code for each of its rows."""
    repo = Path(__file__).resolve().parents[3]
    codes = dict(re.findall(r"(kKyrPixel\w+) = (0x[0-9A-F]{8})",
                            (repo / "platform/image/include/image/KyrPixelType.h").read_text()))
    rows = re.findall(r'\{ "(\w+)", (?:"[^"]*"|\w+), (\d), (\d+), \w+, \d, (kKyrPixel\w+) \}',
                      (repo / "camera/PixelFormat.cpp").read_text())
    return [(name, int(components), int(depth), int(codes[constant], 16)) for name, components, depth, constant in rows]


def test_every_code_has_one_description_everywhere(libs):
    # The binding's table and the image library (which the camera library
    # shares: both describe images with the same function of the code).
    table = binding_table()
    assert len(table) == 133 and [code & 0xFF for *_, code in table] == list(range(1, 134))
    for name, components, depth, code in table:
        status, image = libs.create_image(4, 2, code)
        assert status == OK, name
        try:
            assert (image.components, image.bitDepth, image.bitsPerPixel) == (components, depth, code >> 16 & 0xFF), name
        finally:
            libs.release_image(image)
