"""The unpacker, the converter and the demosaicing library on frames of known
content, against references computed here with numpy."""

import numpy as np
import pytest

from kyrimage import (BAYER8, BAYER10_PACKED, BAYER12, BAYER12_PACKED, BAYER10, BGR8, ERR_INVALID_ARGUMENT,
                      ERR_SIZE_MISMATCH, ERR_UNSUPPORTED_PIXEL_TYPE, MONO8, MONO10, MONO10_PACKED, MONO12,
                      MONO12_PACKED, OK, RGB8, YUV422_8, image_of, pixels_of)

RNG = np.random.default_rng(7)


def pack(samples, bits):
    """GigE Vision "Packed": two pixels in three bytes, each line whole bytes."""
    height, width = samples.shape
    padded = np.zeros((height, width + width % 2), np.uint16)
    padded[:, :width] = samples
    first, second = padded[:, 0::2], padded[:, 1::2]
    low = bits - 8
    mask = (1 << low) - 1
    out = np.empty((height, padded.shape[1] // 2, 3), np.uint8)
    out[..., 0] = first >> low
    out[..., 1] = (first & mask) | ((second & mask) << 4)
    out[..., 2] = second >> low
    lines = out.reshape(height, -1)
    return np.ascontiguousarray(lines[:, : (width * 12 + 7) // 8])


@pytest.mark.parametrize("source_code, target_code, bits", [
    (MONO12_PACKED, MONO12, 12),
    (MONO10_PACKED, MONO10, 10),
    (BAYER12_PACKED["RG"], BAYER12["RG"], 12),
    (BAYER10_PACKED["BG"], BAYER10["BG"], 10),
])
@pytest.mark.parametrize("width", [1, 7, 64, 333])
def test_unpack_gives_the_packed_samples(libs, unpacker, source_code, target_code, bits, width):
    handle, params = unpacker
    height = 5
    samples = RNG.integers(0, 1 << bits, (height, width), dtype=np.uint16)
    packed = pack(samples, bits)
    assert params.set_int("width", width) == OK and params.set_int("height", height) == OK
    code, target = libs.create_image(width, height, target_code)
    try:
        assert libs.KyrImageUnpacker_Unpack(handle, image_of(packed, source_code, width), target) == OK
        assert (target.width, target.height, target.stride) == (width, height, 2 * width)
        np.testing.assert_array_equal(pixels_of(target, np.uint16), samples)
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
