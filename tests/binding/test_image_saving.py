"""Saving frames as images and movies: which image components each pixel
type goes through, the parameters set and when, the messages, the last error,
and the images released on every path."""

import json
import re
import subprocess
import sys
from pathlib import Path

import pytest
from kyrscript import frame

MONO8, MONO10, MONO12 = 0x01080101, 0x01100202, 0x01100306
MONO10_PACKED, MONO12_PACKED = 0x010C1204, 0x010C1308
BAYER_RG8, BAYER_RG12, BAYER_GB12_PACKED, BAYER_GB12 = 0x0308010E, 0x03100316, 0x030C1326, 0x03100317
RGB8, BGR8, YUV422_8 = 0x02180171, 0x02180172, 0x05100181
NOT_ENOUGH_ARGUMENTS = -40121


def signed(status):
    return status - (1 << 32) if status >= 1 << 31 else status


@pytest.fixture
def grab(stream, scripted):
    """Delivers a 4x2 frame of the pixel type given and returns the buffer."""
    def grab(pixel, width=4, height=2):
        scripted.push("device-stream0.GetBuffer", frame(bytes(16), width=width, height=height, pixel=pixel))
        buffer = stream.GetBuffer(1000)
        assert buffer is not None
        stream.QueueBuffer(buffer)
        scripted.calls()
        return buffer
    return grab


def image_calls(scripted):
    """The image libraries' calls, images numbered in order of appearance and
    the lazily made components left out (they depend on earlier tests)."""
    names = {}

    def number(match):
        return names.setdefault(match.group(0), f"image{len(names) + 1}")

    calls = [call for call in scripted.calls() if not re.search(r"_(Create|Get)Component\(", call)
             and not call.startswith("device-")]
    return [re.sub(r"image\d+", number, call) for call in calls]


def F(code, size="4x2"):
    return f"frame(0x{code:08X} {size})"


def I(n, code, size="4x2"):
    return f"image{n}(0x{code:08X} {size})"


@pytest.mark.parametrize("pixel, name, expected", [
    (MONO8, "a.png", [f"serializer.Save({F(MONO8)}, 'a.png')"]),
    (MONO12, "a.tiff", [f"serializer.Save({F(MONO12)}, 'a.tiff')"]),
    (MONO10, "tiff", [f"serializer.Save({F(MONO10)}, 'tiff')"]),
    (MONO12, "a.tif", [
        "KyrCreateImage(4x2, 0x01080101) -> image1",
        f"converter.ConvertImage({F(MONO12)}, {I(1, MONO8)})",
        f"serializer.Save({I(1, MONO8)}, 'a.tif')",
        f"KyrReleaseImage({I(1, MONO8)})",
    ]),
    (MONO10_PACKED, "b.png", [
        "unpacker.SetInt('cameraType', 0)", "unpacker.SetInt('width', 4)", "unpacker.SetInt('height', 2)",
        "KyrCreateImage(4x2, 0x01100202) -> image1",
        f"unpacker.Unpack({F(MONO10_PACKED)}, {I(1, MONO10)})",
        "KyrCreateImage(4x2, 0x01080101) -> image2",
        f"converter.ConvertImage({I(1, MONO10)}, {I(2, MONO8)})",
        f"serializer.Save({I(2, MONO8)}, 'b.png')",
        f"KyrReleaseImage({I(2, MONO8)})",
        f"KyrReleaseImage({I(1, MONO10)})",
    ]),
    (MONO12_PACKED, "c.tiff", [
        "unpacker.SetInt('cameraType', 0)", "unpacker.SetInt('width', 4)", "unpacker.SetInt('height', 2)",
        "KyrCreateImage(4x2, 0x01100306) -> image1",
        f"unpacker.Unpack({F(MONO12_PACKED)}, {I(1, MONO12)})",
        f"serializer.Save({I(1, MONO12)}, 'c.tiff')",
        f"KyrReleaseImage({I(1, MONO12)})",
    ]),
    (BAYER_RG8, "d.jpg", [
        "KyrCreateImage(4x2, 0x02180171) -> image1",
        f"bayer.ConvertImage({F(BAYER_RG8)}, {I(1, RGB8)})",
        f"serializer.Save({I(1, RGB8)}, 'd.jpg')",
        f"KyrReleaseImage({I(1, RGB8)})",
    ]),
    (BAYER_GB12_PACKED, "e.png", [
        "unpacker.SetInt('cameraType', 0)", "unpacker.SetInt('width', 4)", "unpacker.SetInt('height', 2)",
        "KyrCreateImage(4x2, 0x03100317) -> image1",
        f"unpacker.Unpack({F(BAYER_GB12_PACKED)}, {I(1, BAYER_GB12)})",
        "KyrCreateImage(4x2, 0x02180171) -> image2",
        f"bayer.ConvertImage({I(1, BAYER_GB12)}, {I(2, RGB8)})",
        f"serializer.Save({I(2, RGB8)}, 'e.png')",
        f"KyrReleaseImage({I(2, RGB8)})",
        f"KyrReleaseImage({I(1, BAYER_GB12)})",
    ]),
])
def test_save_goes_through_the_components_of_its_type(kyr, scripted, grab, capfd, pixel, name, expected):
    buffer = grab(pixel)
    assert kyr.PySaveImage(buffer, name) is True
    assert image_calls(scripted) == expected
    assert kyr.GetLastError() == 0
    assert capfd.readouterr().err == ""


@pytest.mark.parametrize("pixel", [RGB8, BGR8, YUV422_8, 0x0110050B])
def test_save_refuses_other_types(kyr, scripted, grab, capfd, pixel):
    buffer = grab(pixel)
    assert kyr.PySaveImage(buffer, "a.png") is False
    assert capfd.readouterr().err == "Error, not supported pixel type\n"
    assert not [call for call in image_calls(scripted) if "Save" in call]


@pytest.mark.parametrize("pixel, answers, message, result", [
    (MONO8, {"serializer.Save.err": 0xE0000007}, "KyrImageSerializer_Save failed, error code: -536870905\n", False),
    (MONO12, {"serializer.Save.err": 0xE0000008}, "KyrImageSerializer_Save failed, error code: -536870904\n", False),
    (BAYER_RG8, {"bayer.ConvertImage.err": 0xE0000003}, "KyrBayer_ConvertImage failed, error code: 0xE0000003\n", True),
    (BAYER_RG8, {"serializer.Save.err": 0xE0000006},
     "KyrImageSerializer_Save failed, filename: f.png  error code: 0xE0000006\n", False),
    (BAYER_RG8, {"KyrCreateImage.err": 0xE0000004}, "Error, unable to create RGB image\n", False),
    (MONO12_PACKED, {"unpacker.Unpack.err": 0xE0000003}, "Error, KyrImageUnpacker_Unpack\n", False),
    (BAYER_GB12_PACKED, {"KyrImageUnpacker_GetComponent": None}, "Error, KyrImageUnpacker_GetComponent\n", False),
])
def test_save_failures_report_and_release(kyr, scripted, grab, capfd, pixel, answers, message, result):
    buffer = grab(pixel)
    for key, value in answers.items():
        scripted.answer(key, value)
    assert kyr.PySaveImage(buffer, "f.png") is result
    assert capfd.readouterr().err == message
    codes = [signed(value) for value in answers.values() if value is not None]
    if codes and "KyrBayer" not in message:
        assert kyr.GetLastError() == codes[0]
    # The scripted fixture checks that every image made was released.


@pytest.mark.parametrize("function, args, message", [
    ("PySaveImage", ("only-one",), "Not enough args\n"),
    ("PyStartMovieRecord", (None, "m.avi", 25.0), "Not enough args\n"),
    ("PySaveMovieFrame", (), "Not enough args\n"),
])
def test_missing_arguments_set_the_last_error(kyr, scripted, capfd, function, args, message):
    kyr.ErrorCodeToString(0)
    assert getattr(kyr, function)(*args) is False
    assert capfd.readouterr().err == message
    assert kyr.GetLastError() == NOT_ENOUGH_ARGUMENTS


@pytest.mark.parametrize("function, args", [
    ("PySaveImage", ("a.png",)),
    ("PyStartMovieRecord", ("m.avi", 25.0, "mpeg4")),
    ("PySaveMovieFrame", ()),
])
def test_a_non_buffer_is_an_invalid_image_buffer(kyr, scripted, capfd, function, args):
    assert getattr(kyr, function)("not a buffer", *args) is False
    assert capfd.readouterr().err == "Invalid image buffer\n"
    assert image_calls(scripted) == []


@pytest.mark.parametrize("function, args", [
    ("PySaveImage", ("a.png",)),
    ("PyStartMovieRecord", ("m.avi", 25.0, "mpeg4")),
    ("PySaveMovieFrame", ()),
])
def test_a_buffer_without_a_frame_is_refused(kyr, scripted, stream, grab, capfd, function, args):
    buffer = grab(MONO8)
    assert stream.StopAcquisition(0) and stream.ReleaseBufferQueue()
    capfd.readouterr()
    assert getattr(kyr, function)(buffer, *args) is False
    assert capfd.readouterr().err == "Invalid kyrImage buffer\n"


def test_movie_start_sets_the_serializer_and_makes_its_images(kyr, scripted, grab, capfd):
    buffer = grab(MONO12_PACKED)
    long_name = "x" * 200
    assert kyr.PyStartMovieRecord(buffer, "m.avi", 12.5, long_name) is True
    assert image_calls(scripted) == [
        "KyrCreateImage(4x2, 0x01080101) -> image1",
        "KyrCreateImage(4x2, 0x01100306) -> image2",
        "serializer.SetInt('add.palette', 0)",
        "serializer.SetInt('ticks.per.sec', 100000000)",
        "serializer.SetInt('min.quantizer', 15)",
        "serializer.SetInt('max.quantizer', 15)",
        f"serializer.SetString('movie.compressor', '{'x' * 127}')",
        f"serializer.StartMovieRecord({I(1, MONO8)}, 'm.avi', 12.5)",
    ]
    assert kyr.PyFinishRecord() is True
    assert image_calls(scripted) == ["serializer.FinishRecord()", f"KyrReleaseImage({I(1, MONO8)})",
                                     f"KyrReleaseImage({I(2, MONO12)})"]
    assert capfd.readouterr().err == ""


def test_movie_of_colour_frames_targets_bgr(kyr, scripted, grab):
    buffer = grab(BAYER_RG8)
    assert kyr.PyStartMovieRecord(buffer, "m.mkv", 30, "libx264") is True
    assert image_calls(scripted)[0] == "KyrCreateImage(4x2, 0x02180172) -> image1"
    assert kyr.PySaveMovieFrame(buffer) is True
    assert image_calls(scripted) == [f"bayer.ConvertImage({F(BAYER_RG8)}, {I(1, BGR8)})",
                                     f"serializer.Save({I(1, BGR8)}, null)"]
    assert kyr.PyFinishRecord() is True


def test_movie_frames_unpack_with_the_size_set_last(kyr, scripted, grab):
    # A still save leaves the unpacker set for 8x2 frames; the movie's frames
    # are 4x2 and the unpacker is not set again.
    assert kyr.PySaveImage(grab(MONO12_PACKED, width=8), "wide.png") is True
    buffer = grab(MONO12_PACKED)
    assert kyr.PyStartMovieRecord(buffer, "m.avi", 25.0, "mpeg4") is True
    scripted.calls()
    assert kyr.PySaveMovieFrame(buffer) is True
    assert image_calls(scripted) == [
        f"unpacker.Unpack({F(MONO12_PACKED)}, {I(1, MONO12)})",
        f"converter.ConvertImage({I(1, MONO12)}, {I(2, MONO8)})",
        f"serializer.Save({I(2, MONO8)}, null)",
    ]
    assert kyr.PyFinishRecord() is True


def test_packed_bayer_movie_frames_are_described_as_bayer(kyr, scripted, grab, capfd):
    assert kyr.PySaveImage(grab(BAYER_GB12_PACKED), "first.png") is True
    buffer = grab(BAYER_GB12_PACKED)
    assert kyr.PyStartMovieRecord(buffer, "m.avi", 25.0, "mpeg4") is True
    scripted.calls()
    assert kyr.PySaveMovieFrame(buffer) is True
    # The unpack image, made as Mono12, is retyped; the unpacker sets its size.
    assert image_calls(scripted) == [
        f"unpacker.Unpack({F(BAYER_GB12_PACKED)}, {I(1, BAYER_GB12, '0x0')})",
        f"bayer.ConvertImage({I(1, BAYER_GB12, '0x0')}, {I(2, BGR8)})",
        f"serializer.Save({I(2, BGR8)}, null)",
    ]
    scripted.answer("bayer.ConvertImage.err", 0xE0000002)
    assert kyr.PySaveMovieFrame(buffer) is False
    assert capfd.readouterr().err == "KyrBayer_ConvertImage failed, error code: 0xE0000002\n"
    assert not [call for call in image_calls(scripted) if call.startswith("serializer.Save")]
    assert kyr.PyFinishRecord() is True


@pytest.mark.parametrize("key, value, function, message", [
    ("serializer.StartMovieRecord.err", 0xE0000009, "start",
     "KyrImageSerializer_StartMovieRecord failed.  error code: 0xE0000009\n"),
    ("serializer.Save.err", 0xE000000B, "frame", "KyrImageSerializer_Save failed.  error code: 0xE000000B\n"),
    ("serializer.FinishRecord.err", 0xE0000008, "finish",
     "KyrImageSerializer_FinishRecord failed.  error code: 0xE0000008\n"),
    ("unpacker.Unpack.err", 0xE0000003, "frame", "Error, KyrImageUnpacker_Unpack\n"),
])
def test_movie_failures_report_in_hexadecimal(kyr, scripted, grab, capfd, key, value, function, message):
    buffer = grab(MONO10_PACKED)
    scripted.answer(key, value)
    assert kyr.PyStartMovieRecord(buffer, "m.avi", 25.0, "mpeg4") is (function != "start")
    if function == "frame":
        assert kyr.PySaveMovieFrame(buffer) is False
    codes = [kyr.GetLastError()]
    assert kyr.PyFinishRecord() is (function != "finish")
    codes.append(kyr.GetLastError())
    assert capfd.readouterr().err == message
    assert signed(value) in codes


def test_movie_start_without_serializer_parameters_releases_its_image(kyr, scripted, grab, capfd):
    buffer = grab(MONO8)
    scripted.answer("KyrImageSerializer_GetComponent", None)
    assert kyr.PyStartMovieRecord(buffer, "m.avi", 25.0, "mpeg4") is False
    assert capfd.readouterr().err == "Error, KyrImageSerializer_GetComponent\n"
    assert image_calls(scripted) == ["KyrCreateImage(4x2, 0x01080101) -> image1",
                                     f"KyrReleaseImage({I(1, MONO8)})"]
    assert kyr.PyGetVideoCompressors() is None
    assert capfd.readouterr().err == "Error, KyrImageSerializer_GetComponent\n"


@pytest.mark.parametrize("text, names", [
    ("mpeg4|libx264|", ["mpeg4", "libx264"]),
    ("a|b", ["a"]),
    ("", []),
    ("|", [""]),
])
def test_compressors_are_the_names_ended_by_a_bar(kyr, scripted, text, names):
    scripted.answer("serializer.GetString", text)
    assert kyr.PyGetVideoCompressors() == names
    assert image_calls(scripted) == ["serializer.GetString('movie.compressors', 256)"]


def test_compressors_fail_with_the_serializer_code(kyr, scripted):
    scripted.answer("serializer.GetString.err", 0xE0000005)
    assert kyr.PyGetVideoCompressors() is None
    assert kyr.GetLastError() == signed(0xE0000005)


def test_file_names_must_be_str(kyr, scripted, grab):
    buffer = grab(MONO8)
    with pytest.raises(TypeError):
        kyr.PySaveImage(buffer, b"a.png")
    with pytest.raises(TypeError):
        kyr.PyStartMovieRecord(buffer, "m.avi", "fast", "mpeg4")



FRESH_MODULE = """
import json, sys
sys.path[:0] = {paths!r}
from kyrbuild import SCRIPTED_LIB, import_module
from kyrscript import Script, frame
kyr = import_module(SCRIPTED_LIB)
scripted = Script(SCRIPTED_LIB)
stream = kyr.PyKyrCreateDevice().GetStreamByIndex(0)
stream.AllocBufferQueue(2)
stream.StartAcquisition()
scripted.answer("device-stream0.GetBuffer", frame(bytes(12), width=4, height=2, pixel={pixel}))
buffer = stream.GetBuffer(1000)
scripted.calls()
idle = [kyr.PySaveMovieFrame(buffer), kyr.PyFinishRecord()]
idle_calls = scripted.calls()
movie = [kyr.PyStartMovieRecord(buffer, "m.avi", 25.0, "mpeg4"), kyr.PySaveMovieFrame(buffer),
         kyr.PySaveMovieFrame(buffer), kyr.PyFinishRecord(), kyr.PyGetVideoCompressors()]
movie_calls = [call for call in scripted.calls() if "Component" in call or ".SetInt" in call]
print(json.dumps([idle, idle_calls, movie, movie_calls]))
"""


def test_a_fresh_module_makes_each_component_once(kyr, scripted):
    # Components live as long as the module: only a new process shows them made.
    tests = Path(__file__).resolve().parent.parent
    script = FRESH_MODULE.format(paths=[str(tests), str(tests / "scripted")], pixel=MONO12_PACKED)
    done = subprocess.run([sys.executable, "-c", script], capture_output=True, text=True, timeout=60)
    assert done.returncode == 0, done.stderr
    assert done.stderr == ""
    idle, idle_calls, movie, movie_calls = json.loads(done.stdout)
    # Without a movie nothing is asked of the image libraries.
    assert (idle, idle_calls) == ([False, True], [])
    assert movie == [True, True, True, True, []]
    # The frame's unpacker is made and set once, by the first frame.
    assert movie_calls == [
        "KyrImageSerializer_CreateComponent(1)",
        "KyrImageSerializer_GetComponent()",
        "serializer.SetInt('add.palette', 0)",
        "serializer.SetInt('ticks.per.sec', 100000000)",
        "serializer.SetInt('min.quantizer', 15)",
        "serializer.SetInt('max.quantizer', 15)",
        "KyrImageUnpacker_CreateComponent()",
        "KyrImageUnpacker_GetComponent()",
        "unpacker.SetInt('cameraType', 0)",
        "unpacker.SetInt('width', 4)",
        "unpacker.SetInt('height', 2)",
        "KyrImageConverter_CreateComponent()",
        "KyrImageSerializer_GetComponent()",
    ]
