"""After a Release (device, stream, buffer queue, one buffer) every wrapper that
still refers to what was released answers as for a missing object, and never
reaches the released platform object: the scripted platform keeps released
objects and counts any call that reaches one (checked by the `scripted`
fixture)."""

import sys
import threading
import time

import pytest

from background import ThreadWithResult
from kyrscript import Int, String, frame

STREAM = "device-stream0"
PIXELS = bytes(range(12))


def _grab(scripted, stream):
    scripted.push(STREAM + ".GetBuffer", frame(PIXELS, width=4, height=3, id=7))
    buffer = stream.GetBuffer(100)
    assert buffer is not None
    return buffer


@pytest.fixture
def opened(kyr, scripted):
    """A device with camera parameters, stream 0 acquiring into a queue of two,
    a frame taken and its image; whatever the test released is released
    again at the end, which must be harmless."""
    scripted.parameters("device-camera", Int("Width", 640), String("Serial", "S1"))
    device = kyr.PyKyrCreateDevice()
    stream = device.GetStreamByIndex(0)
    assert stream.AllocBufferQueue(2) and stream.StartAcquisition()
    buffer = _grab(scripted, stream)
    objects = {
        "device": device,
        "stream": stream,
        "buffer": buffer,
        "image": buffer.GetImage(),
        "params": device.GetCameraParameters(),
        "width": device.GetCameraParameters().GetInt("Width"),
        "info": device.GetInfo(),
    }
    scripted.calls()
    yield objects
    stream.Release()
    device.Release()


def _release_device(kyr, objects):
    objects["device"].Release()


def _release_stream(kyr, objects):
    objects["stream"].Release()


def _release_queue(kyr, objects):
    assert objects["stream"].StopAcquisition(0)
    assert objects["stream"].ReleaseBufferQueue()


def _revoke_buffer(kyr, objects):
    assert objects["stream"].RevokeBuffer(objects["buffer"])


RELEASES = {
    "device": _release_device,
    "stream": _release_stream,
    "queue": _release_queue,
    "revoke": _revoke_buffer,
}

# (what the later call uses, the call, its answer, its stderr, the releases it
# applies to).
LATER_CALLS = [
    ("buffer", lambda kyr, o: o["buffer"].GetPixelFormat(), 0, "wrong buffer\n", RELEASES),
    ("buffer", lambda kyr, o: o["buffer"].GetImage(), None, "wrong buffer\n", RELEASES),
    ("buffer", lambda kyr, o: o["buffer"].IsIncomplete(), True, "wrong buffer\n", RELEASES),
    ("buffer", lambda kyr, o: o["buffer"].GetBufferPtr(), PIXELS, "", RELEASES),
    ("buffer", lambda kyr, o: kyr.PySaveImage(o["buffer"], "/nonexistent/x.png"), False,
     "Invalid kyrImage buffer\n", RELEASES),
    ("stream", lambda kyr, o: o["stream"].QueueBuffer(o["buffer"]), False, "", RELEASES),
    ("stream", lambda kyr, o: o["stream"].StartAcquisition(), False, "", ("device", "stream")),
    ("stream", lambda kyr, o: o["stream"].GetBufferQueueSize(), 0, "", ("device", "stream")),
    ("stream", lambda kyr, o: o["stream"].GetBuffer(0), None, "wrong dataStream\n", ("device", "stream")),
    ("stream", lambda kyr, o: o["stream"].ReleaseBufferQueue(), False, "", ("device", "stream")),
    ("params", lambda kyr, o: o["params"].GetIntegerValue("Width"), (False, None), "", ("device",)),
    ("params", lambda kyr, o: o["params"].SetIntegerValue("Width", 5), False, "", ("device",)),
    ("params", lambda kyr, o: o["params"].GetCount(), 0, "", ("device",)),
    ("node", lambda kyr, o: o["width"].GetValue(), (False, None), "", ("device",)),
    ("node", lambda kyr, o: o["width"].SetValue(5), False, "", ("device",)),
    ("info", lambda kyr, o: o["info"].GetDisplayName(), None, "", ("device",)),
    ("info", lambda kyr, o: o["info"].GetIP()[0], False, "", ("device",)),
    ("device", lambda kyr, o: o["device"].ReadMem(0, 4), (1, 0), "", ("device",)),
    ("device", lambda kyr, o: o["device"].GetStreamByIndex(0), None, "", ("device",)),
    ("device", lambda kyr, o: o["device"].LoadConfiguration("a.cfg"), False, "", ("device",)),
]

CASES = [
    pytest.param(release, call, answer, err, id=f"{release}-{what}-{index}")
    for index, (what, call, answer, err, releases) in enumerate(LATER_CALLS)
    for release in releases
]


@pytest.mark.parametrize("release, call, answer, err", CASES)
def test_later_calls_answer_as_for_a_missing_object(kyr, scripted, opened, capfd, release, call, answer, err):
    RELEASES[release](kyr, opened)
    capfd.readouterr()
    scripted.calls()
    assert call(kyr, opened) == answer
    assert capfd.readouterr().err == err
    assert not any(line.startswith(("device.", STREAM)) for line in scripted.calls() if "Release" in line)


def test_releasing_twice_calls_the_platform_once(kyr, scripted, opened):
    for _ in range(2):
        opened["stream"].Release()
        opened["device"].Release()
    assert scripted.calls() == [STREAM + ".Release()", "device.Release()"]


def test_device_release_closes_its_streams(kyr, scripted, opened):
    opened["device"].Release()
    assert scripted.calls() == ["device.Release()"]
    opened["stream"].Release()
    assert scripted.calls() == [], "the stream went with its device"


def test_a_new_queue_makes_a_new_buffer_and_keeps_old_ones_safe(kyr, scripted, opened, capfd):
    stream, old = opened["stream"], opened["buffer"]
    stream.StopAcquisition(0)
    assert stream.ReleaseBufferQueue() and stream.AllocBufferQueue(2) and stream.StartAcquisition()
    fresh = _grab(scripted, stream)
    assert fresh is not old and fresh.GetFrameID() == 7
    capfd.readouterr()
    assert old.GetFrameID() == 0 and capfd.readouterr().err == "wrong buffer\n"


@pytest.mark.parametrize("release", ["stream", "device"])
def test_release_ends_an_endless_wait_at_once(kyr, scripted, release):
    device = kyr.PyKyrCreateDevice()
    stream = device.GetStreamByIndex(0)
    assert stream.AllocBufferQueue(2) and stream.StartAcquisition()
    waiter = ThreadWithResult(stream.GetBuffer, -1)
    waiter.start()
    assert scripted.wait_entered(STREAM + ".GetBuffer(forever)")
    # Another Python thread keeps running while the release waits for the
    # waiter to leave the platform.
    ticks = []
    ticker = threading.Thread(target=lambda: ticks.extend(range(1000)), daemon=True)
    started = time.monotonic()
    {"stream": stream, "device": device}[release].Release()
    ticker.start()
    assert waiter.result(timeout=5) is None
    assert time.monotonic() - started < 2
    ticker.join(5)
    assert len(ticks) == 1000
    stream.Release()
    device.Release()


@pytest.mark.parametrize("free", ["ReleaseBufferQueue", "Release"])
def test_a_replaced_buffer_forgets_what_its_stream_freed(kyr, scripted, device, capfd, free):
    stream = device.GetStreamByIndex(0)
    assert stream.AllocBufferQueue(2) and stream.StartAcquisition()
    taken = _grab(scripted, stream)
    assert stream.CreateBuffer(64) is not taken, "replaces the stream's buffer"
    stream.StopAcquisition(0)
    getattr(stream, free)()
    capfd.readouterr()
    assert taken.GetPixelFormat() == 0 and taken.GetImage() is None
    assert capfd.readouterr().err == "wrong buffer\n" * 2
    stream.Release()


class Releasing:
    """An argument whose conversion releases `target` first: a script's own
    __index__, __int__, __float__ or __str__ runs in the middle of a call."""

    def __init__(self, target, value):
        self._target, self._value = target, value

    def _release(self):
        self._target.Release()
        return self._value

    def __index__(self):
        return self._release()

    __int__ = __index__

    def __float__(self):
        return float(self._release())

    def __str__(self):
        return str(self._release())


REENTRANT = [
    ("GetStreamByIndex", lambda o, a: o["device"].GetStreamByIndex(a), 0, None),
    ("ReadMem", lambda o, a: o["device"].ReadMem(a, 4), 0, (1, 0)),
    ("WriteMem", lambda o, a: o["device"].WriteMem(a, b"ab"), 0, (1, 0)),
    ("RegisterEvent", lambda o, a: o["device"].RegisterEvent(a, print), 1, False),
    ("SetIntegerValue", lambda o, a: o["params"].SetIntegerValue("Width", a), 5, False),
    ("GetIntegerValue", lambda o, a: o["params"].GetIntegerValue(a), "Width", (False, None)),
    ("SetStringValue", lambda o, a: o["params"].SetStringValue("Serial", a), "x", False),
    ("node.SetValue", lambda o, a: o["width"].SetValue(a), 5, False),
    ("StopAcquisition", lambda o, a: o["stream"].StopAcquisition(a), 0, False),
    ("CreateBuffer", lambda o, a: o["stream"].CreateBuffer(a), 16, None),
]


@pytest.mark.parametrize("call, value, answer", [pytest.param(c, v, r, id=n) for n, c, v, r in REENTRANT])
def test_an_argument_that_releases_the_device_is_seen(kyr, scripted, opened, call, value, answer):
    result = call(opened, Releasing(opened["device"], value))
    assert result == answer or (answer is None and result is None) or type(result).__name__ == "PyBuffer"
    assert "device.Release()" in scripted.calls()


def test_an_argument_that_releases_the_stream_is_seen(kyr, scripted, opened, capfd):
    stream = opened["stream"]
    assert stream.GetBuffer(Releasing(stream, 100)) is None
    assert "wrong dataStream\n" in capfd.readouterr().err


def test_registrations_keep_the_device_alive_until_withdrawn(kyr, scripted):
    # The library calls back with the wrapper as context: while it holds a
    # registration, dropping the script's last reference must not free it.
    device = kyr.PyKyrCreateDevice()
    alone = sys.getrefcount(device)
    device.RegisterEvent(1, print)
    device.RegisterEvent(2, print)
    assert sys.getrefcount(device) == alone + 1
    device.UnRegisterEvent(1, None)
    assert sys.getrefcount(device) == alone + 1
    device.UnRegisterEvent(2, None)
    assert sys.getrefcount(device) == alone
    device.RegisterEvent(3, print)
    device.Release()
    assert sys.getrefcount(device) == alone, "the library dropped the registration with the device"
