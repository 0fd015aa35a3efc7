"""The serializer: still images and movies read back by independent readers
(Pillow, OpenCV, ffprobe), and failures that leave no file behind."""

import ctypes
import json
import os
import struct
import subprocess
import sys
from pathlib import Path

import cv2
import numpy as np
import pytest
from PIL import Image

from kyrimage import (BGR8, ERR_FILE_OPEN, ERR_FILE_WRITE, ERR_INVALID_STATE, ERR_UNKNOWN_ENCODER,
                      ERR_UNSUPPORTED_FILE_TYPE, ERR_UNSUPPORTED_PIXEL_TYPE, MONO8, MONO10, MONO12, MONO16, OK, RGB8,
                      YUV422_8, image_of)

RNG = np.random.default_rng(3)
HEIGHT, WIDTH = 48, 70


def gradient(channels=1, bits=8):
    """A gradient with noise: content that compresses like a real frame."""
    ramp = np.add.outer(np.arange(HEIGHT), np.arange(WIDTH)) * ((1 << bits) - 1) // (HEIGHT + WIDTH)
    noise = RNG.integers(-3, 4, (HEIGHT, WIDTH))
    plane = np.clip(ramp + noise, 0, (1 << bits) - 1)
    if channels == 1:
        return plane.astype(np.uint16 if bits > 8 else np.uint8)
    return np.stack([plane, plane[::-1], np.flipud(plane[:, ::-1])], axis=2).astype(np.uint8)


def save(libs, serializer, array, code, path):
    return libs.KyrImageSerializer_Save(serializer[0], image_of(array, code), str(path).encode())


def leftovers(directory):
    return sorted(name for name in os.listdir(directory) if name.startswith("."))


@pytest.mark.parametrize("extension", ["png", "tif", "tiff", "bmp"])
@pytest.mark.parametrize("code", [MONO8, RGB8, BGR8])
def test_lossless_eight_bit_files_read_back_exactly(libs, serializer, tmp_path, extension, code):
    array = gradient(1 if code == MONO8 else 3)
    path = tmp_path / f"frame.{extension}"
    assert save(libs, serializer, array, code, path) == OK
    with Image.open(path) as read:
        assert read.mode == ("L" if code == MONO8 else "RGB")
        pixels = np.asarray(read)
    expected = array[..., ::-1] if code == BGR8 else array
    np.testing.assert_array_equal(pixels, expected)
    assert leftovers(tmp_path) == []


@pytest.mark.parametrize("code", [MONO8, BGR8, MONO12])
def test_bmp_lines_are_bottom_up_with_or_without_padding(libs, serializer, tmp_path, code):
    array = gradient(1 if code != BGR8 else 3, 12 if code == MONO12 else 8)[:, :64].copy()
    path = tmp_path / "frame.bmp"
    assert save(libs, serializer, array, code, path) == OK
    with Image.open(path) as read:
        pixels = np.asarray(read)
    expected = (array >> 4).astype(np.uint8) if code == MONO12 else array[..., ::-1] if code == BGR8 else array
    np.testing.assert_array_equal(pixels, expected)


def png_chunks(path):
    """The chunks of a PNG file by type, read plainly."""
    data = path.read_bytes()
    chunks, at = {}, 8
    while at < len(data):
        length, kind = struct.unpack(">I4s", data[at:at + 8])
        chunks.setdefault(kind.decode(), data[at + 8:at + 8 + length])
        at += 12 + length
    return chunks


@pytest.mark.parametrize("bits, code", [(10, MONO10), (12, MONO12), (16, MONO16)])
def test_deep_grey_keeps_the_counts_and_says_how_many_bits(libs, serializer, tmp_path, bits, code):
    array = gradient(bits=bits)
    array[0, :3] = [0, 893, (1 << bits) - 1]
    # TIFF: the counts as they are, their range in (S)MaxSampleValue.
    path = tmp_path / "deep.tiff"
    assert save(libs, serializer, array, code, path) == OK
    with Image.open(path) as read:
        np.testing.assert_array_equal(np.asarray(read).astype(np.uint16), array)
        # MaxSampleValue and SMaxSampleValue, one value per sample.
        assert [read.tag_v2[tag] for tag in (281, 341)] == [((1 << bits) - 1,)] * 2
    # PNG: full scale as PNG wants it, sBIT giving back the counts.
    path = tmp_path / "deep.png"
    assert save(libs, serializer, array, code, path) == OK
    assert png_chunks(path)["sBIT"] == bytes([bits])
    pixels = cv2.imread(str(path), cv2.IMREAD_UNCHANGED)
    assert pixels.dtype == np.uint16
    np.testing.assert_array_equal(pixels >> (16 - bits), array)
    assert pixels.max() == 0xFFFF


@pytest.mark.parametrize("extension", ["png", "tiff"])
@pytest.mark.parametrize("code, channels, bits", [(MONO8, 1, 8), (MONO12, 1, 12), (BGR8, 3, 8)])
def test_large_images_made_on_every_core_read_back(libs, serializer, tmp_path, extension, code, channels, bits):
    # Large enough to be converted (and deflated) in slices, one per core.
    rng = np.random.default_rng(5)
    shape = (1001, 1203, 3) if channels == 3 else (1001, 1203)
    array = rng.integers(0, 1 << bits, shape, dtype=np.uint16 if bits > 8 else np.uint8)
    array[:500] //= 16  # runs and noise both
    path = tmp_path / f"large.{extension}"
    assert save(libs, serializer, array, code, path) == OK
    pixels = cv2.imread(str(path), cv2.IMREAD_UNCHANGED)
    if bits > 8 and extension == "png":
        pixels = pixels >> 4
    np.testing.assert_array_equal(pixels, array)


@pytest.mark.parametrize("extension", ["png", "tiff"])
def test_palette_writes_indexed_grey(libs, serializer, tmp_path, extension):
    assert serializer[1].set_int("add.palette", 1) == OK
    array = gradient()
    path = tmp_path / f"indexed.{extension}"
    assert save(libs, serializer, array, MONO8, path) == OK
    with Image.open(path) as read:
        assert read.mode == "P"
        np.testing.assert_array_equal(np.asarray(read.convert("L")), array)


@pytest.mark.parametrize("code", [MONO8, BGR8])
def test_jpeg_is_close_to_the_frame(libs, serializer, tmp_path, code):
    array = gradient(1 if code == MONO8 else 3)
    path = tmp_path / "frame.jpg"
    assert save(libs, serializer, array, code, path) == OK
    pixels = cv2.imread(str(path), cv2.IMREAD_UNCHANGED)
    assert pixels.shape == array.shape
    assert np.abs(pixels.astype(int) - array).mean() < 3


@pytest.mark.parametrize("name, code, expected", [
    ("frame.gif", MONO8, ERR_UNSUPPORTED_FILE_TYPE),
    ("frame", MONO8, ERR_UNSUPPORTED_FILE_TYPE),
    ("frame.png", YUV422_8, ERR_UNSUPPORTED_PIXEL_TYPE),
    ("missing/frame.png", MONO8, ERR_FILE_OPEN),
])
def test_refused_saves_leave_no_file(libs, serializer, tmp_path, name, code, expected):
    assert save(libs, serializer, gradient(), code, tmp_path / name) == expected
    assert os.listdir(tmp_path) == []


def test_save_over_a_directory_leaves_it_alone(libs, serializer, tmp_path):
    (tmp_path / "taken.png").mkdir()
    assert save(libs, serializer, gradient(), MONO8, tmp_path / "taken.png") == ERR_FILE_OPEN
    assert sorted(os.listdir(tmp_path)) == ["taken.png"]


FULL_DISK = """
import resource, signal, sys
sys.path.insert(0, {here!r})
from kyrimage import ImageLibraries, image_of
import ctypes, numpy as np
libs = ImageLibraries(lambda name: ctypes.CDLL({lib!r} + "/" + name))
serializer = libs.KyrImageSerializer_CreateComponent(1)
signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
resource.setrlimit(resource.RLIMIT_FSIZE, (4096, 4096))
frame = np.random.default_rng(1).integers(0, 256, (200, 300), dtype=np.uint8)
print(libs.KyrImageSerializer_Save(serializer, image_of(frame, {code}), sys.argv[1].encode()))
"""


@pytest.mark.parametrize("extension", ["png", "tiff", "bmp", "jpg"])
def test_a_full_disk_gives_a_write_error_and_no_file(real_lib, tmp_path, extension):
    # A file size limit makes writes fail as a full disk does, in a child process.
    lib_dir = str(Path(real_lib("libKyrImageApi.so")._name).parent)
    script = FULL_DISK.format(here=str(Path(__file__).parent), lib=lib_dir, code=MONO8)
    done = subprocess.run([sys.executable, "-c", script, str(tmp_path / f"big.{extension}")],
                          capture_output=True, text=True, timeout=60)
    assert done.stdout.strip() == str(ERR_FILE_WRITE), done.stderr
    assert os.listdir(tmp_path) == []


def probe(path):
    done = subprocess.run(["ffprobe", "-v", "error", "-count_frames", "-select_streams", "v:0", "-show_entries",
                           "stream=codec_name,width,height,avg_frame_rate,nb_read_frames", "-of", "json", str(path)],
                          capture_output=True, text=True, timeout=60, check=True)
    return json.loads(done.stdout)["streams"][0]


@pytest.mark.parametrize("extension, encoder, codec_name", [
    ("avi", "mpeg4", "mpeg4"),
    ("mkv", "ffv1", "ffv1"),
    ("mp4", "libx264", "h264"),
    ("avi", "mjpeg", "mjpeg"),
])
@pytest.mark.parametrize("code", [MONO8, BGR8])
def test_movie_has_its_frames_size_and_rate(libs, serializer, tmp_path, extension, encoder, codec_name, code):
    handle, params = serializer
    assert params.set_string("movie.compressor", encoder) == OK
    for name, value in (("ticks.per.sec", 100000000), ("min.quantizer", 15), ("max.quantizer", 15)):
        assert params.set_int(name, value) == OK
    frames = [np.roll(gradient(1 if code == MONO8 else 3), shift, axis=1) for shift in range(12)]
    path = tmp_path / f"movie.{extension}"
    assert libs.KyrImageSerializer_StartMovieRecord(handle, image_of(frames[0], code), str(path).encode(), 25.0) == OK
    for frame in frames:
        assert libs.KyrImageSerializer_Save(handle, image_of(frame, code), None) == OK
    assert not path.exists()
    assert libs.KyrImageSerializer_FinishRecord(handle) == OK
    stream = probe(path)
    assert stream["codec_name"] == codec_name
    assert (stream["width"], stream["height"]) == (WIDTH, HEIGHT)
    assert stream["avg_frame_rate"] == "25/1"
    assert int(stream["nb_read_frames"]) == len(frames)
    assert leftovers(tmp_path) == []
    if encoder == "ffv1" and code == MONO8:
        capture = cv2.VideoCapture(str(path))
        ok, first = capture.read()
        assert ok and np.array_equal(first[..., 0], frames[0])


def test_every_listed_compressor_records_a_movie(libs, serializer, tmp_path):
    # Each in the first container, by extension, that can hold it.
    handle, params = serializer
    names = params.get_string("movie.compressors")[1].split("|")[:-1]
    # 64 x 64: the least some encoders take (SVT-AV1).
    frames = [np.tile(np.roll(gradient(), shift, axis=1), (2, 1))[:64, :64].copy() for shift in range(10)]
    recorded = {}
    for encoder in names:
        assert params.set_string("movie.compressor", encoder) == OK
        for extension in ("avi", "mkv", "mp4", "mov", "webm"):
            path = tmp_path / f"{encoder}.{extension}"
            code = libs.KyrImageSerializer_StartMovieRecord(handle, image_of(frames[0], MONO8), str(path).encode(),
                                                            25.0)
            if code == ERR_UNKNOWN_ENCODER:
                continue
            assert code == OK, (encoder, extension)
            for frame in frames:
                assert libs.KyrImageSerializer_Save(handle, image_of(frame, MONO8), None) == OK, encoder
            assert libs.KyrImageSerializer_FinishRecord(handle) == OK, encoder
            stream = probe(path)
            recorded[encoder] = (extension, stream["width"], stream["height"], stream["avg_frame_rate"],
                                 int(stream["nb_read_frames"]))
            break
    assert recorded == {encoder: (recorded.get(encoder, ("none",))[0], 64, 64, "25/1", 10) for encoder in names}


@pytest.mark.parametrize("name, encoder, expected", [
    ("movie.avi", "no-such-encoder", ERR_UNKNOWN_ENCODER),
    ("movie.mp4", "rawvideo", ERR_UNKNOWN_ENCODER),
    ("movie.webm", "mpeg4", ERR_UNKNOWN_ENCODER),
    ("movie.ogv", "mpeg4", ERR_UNSUPPORTED_FILE_TYPE),
    ("missing/movie.avi", "mpeg4", ERR_FILE_OPEN),
])
def test_refused_movies_leave_no_file(libs, serializer, tmp_path, name, encoder, expected):
    handle, params = serializer
    params.set_string("movie.compressor", encoder)
    code = libs.KyrImageSerializer_StartMovieRecord(handle, image_of(gradient(), MONO8), str(tmp_path / name).encode(),
                                                    25.0)
    assert code == expected
    assert os.listdir(tmp_path) == []
    assert libs.KyrImageSerializer_Save(handle, image_of(gradient(), MONO8), None) == ERR_INVALID_STATE
    assert libs.KyrImageSerializer_FinishRecord(handle) == ERR_INVALID_STATE


def test_movie_frames_must_match_the_first(libs, serializer, tmp_path):
    handle, _ = serializer
    path = tmp_path / "movie.avi"
    assert libs.KyrImageSerializer_StartMovieRecord(handle, image_of(gradient(), MONO8), str(path).encode(), 10.0) == OK
    assert libs.KyrImageSerializer_Save(handle, image_of(gradient(3), BGR8), None) == ERR_UNSUPPORTED_PIXEL_TYPE
    assert libs.KyrImageSerializer_StartMovieRecord(handle, image_of(gradient(), MONO8), str(path).encode(),
                                                    10.0) == ERR_INVALID_STATE
    assert libs.KyrImageSerializer_FinishRecord(handle) == OK
    assert path.exists()


def test_compressors_are_usable_names_each_ended_by_a_bar(libs, serializer, tmp_path):
    handle, params = serializer
    code, text = params.get_string("movie.compressors")
    assert code == OK
    assert text.endswith("|") and len(text) < 256
    names = text.split("|")[:-1]
    assert "mpeg4" in names and "libx264" in names
    assert params.set_string("movie.compressors", "x|") != OK
    small = params.get_string("movie.compressors", 4)
    assert small == (0xE000000C, text[:3])
