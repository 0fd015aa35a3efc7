"""The display functions of the GUI module: the calls each makes on the
display library, its messages, and when an image reconfigures the display."""

import os
import re
import subprocess
import sys
import textwrap

import pytest
from kyrbuild import SCRIPTED_LIB
from kyrscript import frame

MONO8 = 0x01080101


@pytest.fixture
def image(device, scripted):
    """Shows frames through one native buffer: image(width, height) delivers a
    frame of that size into it and returns the same PyImage each time (a
    frame the stream refuses still lands in the buffer's image)."""
    stream = device.GetStreamByIndex(0)
    assert stream.AllocBufferQueue(1) and stream.StartAcquisition()
    held = []

    def deliver(width=4, height=2):
        scripted.push("device-stream0.GetBuffer", frame(bytes(width * height), width=width, height=height,
                                                         pixel=MONO8))
        buffer = stream.GetBuffer(1000)
        if buffer is not None:
            held.append(buffer.GetImage())
            stream.QueueBuffer(buffer)
        return held[0]

    yield deliver
    stream.Release()


def display_calls(scripted):
    """The display library's calls, displays numbered in order of appearance
    (the library numbers them over the whole test run)."""
    names = {}

    def number(match):
        return names.setdefault(match.group(0), f"display{len(names) + 1}")

    return [re.sub(r"display\d+", number, call) for call in scripted.calls()
            if call.startswith(("KyrDisplay", "display"))]


def test_create_display_attaches_to_the_window_given(kyr, scripted):
    assert kyr.PyCreateDisplay(0x4A00007) is True
    assert display_calls(scripted) == ["KyrDisplay::CreateComponent() -> display1",
                                       "display1.CreateDisplay(0x4a00007, 'auto', 0)"]


@pytest.mark.parametrize("window, passed", [(0, "0x0"), (-1, "0xffffffffffffffff"), (2**64 + 5, "0x5"),
                                            (True, "0x1")])
def test_window_handle_is_python_int_conversion(kyr, scripted, window, passed):
    kyr.PyCreateDisplay(window)
    assert display_calls(scripted)[1] == f"display1.CreateDisplay({passed}, 'auto', 0)"


def test_create_display_failure_answers_false(kyr, scripted, capfd):
    scripted.answer("display.CreateDisplay.err", -1009)
    assert kyr.PyCreateDisplay(0) is False
    assert capfd.readouterr().err == ""


def test_create_display_without_arguments(kyr, scripted, capfd):
    assert kyr.PyCreateDisplay() is False
    assert capfd.readouterr().err == "Create display not enough actual args\n"
    assert display_calls(scripted) == []


def test_no_display_component_prints_wrong_display_and_drops_the_old_one(kyr, scripted, image, capfd):
    assert kyr.PyCreateDisplay(0) is True
    scripted.answer("KyrDisplay::CreateComponent", None)
    assert kyr.PyCreateDisplay(0) is False
    kyr.PyShowImageOnDisplay(image())
    assert capfd.readouterr().err == "Wrong display\n" * 2
    assert display_calls(scripted) == ["KyrDisplay::CreateComponent() -> display1",
                                       "display1.CreateDisplay(0x0, 'auto', 0)",
                                       "KyrDisplay::CreateComponent() -> null"]


def test_a_new_display_replaces_the_old_without_releasing_it(kyr, scripted, image):
    kyr.PyCreateDisplay(1)
    kyr.PyCreateDisplay(2)
    picture = image()
    kyr.PyShowImageOnDisplay(picture)
    calls = display_calls(scripted)
    assert not any("Release" in call for call in calls)
    assert calls[-1] == "display2.ShowImage(frame(0x01080101 4x2))"


def test_wrong_window_type_raises_after_the_display_is_stored(kyr, scripted, image, capfd):
    kyr.PyResetDisplay()
    with pytest.raises(TypeError):
        kyr.PyCreateDisplay([])
    kyr.PyShowImageOnDisplay(image())
    assert capfd.readouterr().err == ""
    assert display_calls(scripted) == ["KyrDisplay::CreateComponent() -> display1",
                                       "display1.ConfigureForImage(frame(0x01080101 4x2), 'auto')",
                                       "display1.ShowImage(frame(0x01080101 4x2))"]


@pytest.mark.parametrize("args, message", [
    ((), "ShowImageOnDisplay not enough actual args\n"),
    ((5,), "Wrong image\n"),
    ((None,), "Wrong image\n"),
])
def test_show_image_argument_checks_come_before_the_display(kyr, scripted, capfd, args, message):
    scripted.answer("KyrDisplay::CreateComponent", None)
    kyr.PyCreateDisplay(0)
    capfd.readouterr()
    assert kyr.PyShowImageOnDisplay(*args) is None
    assert capfd.readouterr().err == message


def test_image_without_display(kyr, scripted, image, capfd):
    scripted.answer("KyrDisplay::CreateComponent", None)
    kyr.PyCreateDisplay(0)
    picture = image()
    capfd.readouterr()
    assert kyr.PyShowImageOnDisplay(picture, "surplus") is None
    assert capfd.readouterr().err == "Wrong display\n"


def test_show_failure_is_silent(kyr, scripted, image, capfd):
    kyr.PyCreateDisplay(0)
    scripted.answer("display.ShowImage.err", -1009)
    scripted.answer("display.ConfigureForImage.err", -1009)
    assert kyr.PyShowImageOnDisplay(image()) is None
    assert capfd.readouterr().err == ""


def configured(calls):
    return [call.split("(", 1)[1].split(" ", 1)[1].split(")")[0] for call in calls if "ConfigureForImage" in call]


# Sizes shown one after another ("reset" stands for PyResetDisplay), and the
# sizes that reconfigured the display.
RESET_CASES = [
    (["4x2", "6x2"], ["4x2"]),
    (["4x2", "reset", "6x2", "8x2"], ["4x2", "6x2"]),
    (["20481x1", "4x2"], ["4x2"]),
    (["0x2", "4x2", "6x2"], ["4x2"]),
    (["2x0", "reset", "1x20481", "1x1"], ["1x1"]),
    (["20480x1", "reset", "reset", "1x20480"], ["20480x1", "1x20480"]),
]


@pytest.mark.parametrize("sequence, expected", RESET_CASES)
def test_reset_flag_reconfigures_the_next_image_in_bounds(kyr, scripted, image, sequence, expected):
    assert kyr.PyResetDisplay() is None
    kyr.PyCreateDisplay(0)
    picture = image()
    shown = 0
    for step in sequence:
        if step == "reset":
            kyr.PyResetDisplay()
            continue
        width, height = map(int, step.split("x"))
        image(width, height)
        kyr.PyShowImageOnDisplay(picture)
        shown += 1
    calls = display_calls(scripted)
    assert configured(calls) == expected
    assert sum("ShowImage" in call for call in calls) == shown


def test_gui_is_shut_down_once_after_the_interpreter_is_finalized():
    program = textwrap.dedent(
        f"""
        import atexit, sys
        sys.path.insert(0, {str(SCRIPTED_LIB)!r})
        import libKyrCameraGuiApiPy as kyr
        atexit.register(print, "atexit", flush=True)
        """
    )
    result = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True, timeout=60,
                            env={**os.environ, "KYR_SCRIPTED_SHOW_SHUTDOWN": "1"})
    assert (result.returncode, result.stdout, result.stderr) == (0, "atexit\n", "scripted: KyrDisplay_ShutdownGui()\n")
