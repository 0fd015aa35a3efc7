"""PyDataStream and PyBuffer: from the system root to a frame in a bytearray
and back, the frame checks, the failure shapes, and the stream's constants."""

import pytest

from kyrscript import frame

STREAM = "device-stream0"
MONO8 = 0x01080101
PIXELS = bytes(range(12))


def test_from_the_system_to_a_frame_and_back(kyr, scripted, capfd):
    scripted.interfaces("if0")
    scripted.interface("if0", "cam0")
    [iface] = kyr.PyKyrSystem().GetInterfaceList()
    device = kyr.PyKyrCreateDevice(iface.GetFirstDeviceInfo())
    stream = device.GetStreamByIndex(0)
    assert stream.GetBufferSize() == 4096 and stream.GetMinNumBuffers() == 2
    assert stream.AllocBufferQueue(2) and stream.StartAcquisition()
    scripted.push("cam0-stream0.GetBuffer", frame(PIXELS, width=4, height=3, id=1), frame(PIXELS[::-1], 4, 3, id=2))
    scripted.calls()

    buffer = stream.GetBuffer(100)
    pixels = buffer.GetBufferPtr()
    assert type(pixels) is bytearray and pixels == PIXELS
    assert (buffer.GetWidth(), buffer.GetHeight(), buffer.GetFrameID()) == (4, 3, 1)
    assert stream.QueueBuffer(buffer)
    assert stream.GetBuffer(100) is buffer, "the stream refills its one buffer"
    assert buffer.GetBufferPtr() == PIXELS[::-1] and pixels == PIXELS, "each frame is a new copy"
    assert stream.QueueBuffer(buffer)

    assert stream.StopAcquisition(0) and stream.FlushBuffers(stream.Flush_AllDiscard)
    assert stream.ReleaseBufferQueue()
    stream.Release()
    device.Release()
    assert scripted.calls() == [
        "cam0-stream0.GetBuffer(100)",
        "cam0-stream0.QueueBuffer(buffer0)",
        "cam0-stream0.GetBuffer(100)",
        "cam0-stream0.QueueBuffer(buffer1)",
        "cam0-stream0.StopAcquisition(0)",
        "cam0-stream0.FlushBuffers(4)",
        "cam0-stream0.ReleaseBufferQueue()",
        "cam0-stream0.Release()",
        "cam0.Release()",
    ]
    assert stream.GetLastError() == 0 and capfd.readouterr() == ("", "")


def test_a_frame_never_changes_what_a_script_still_holds(stream, scripted):
    frames = [bytes([n]) * 12 for n in range(1, 6)]
    scripted.push(STREAM + ".GetBuffer", *(frame(pixels, width=4, height=3, id=n) for n, pixels in enumerate(frames)))

    def pixels():
        buffer = stream.GetBuffer(100)
        assert stream.QueueBuffer(buffer)
        return buffer.GetBufferPtr()

    held, view, in_list = pixels(), memoryview(pixels()), [pixels()]
    # Dropped at once: the next frame may reuse the object, never a held one.
    assert pixels() == frames[3]
    assert pixels() == frames[4]
    assert (held, bytes(view), in_list[0]) == (frames[0], frames[1], frames[2])


def test_frame_metadata(stream, scripted):
    scripted.push(STREAM + ".GetBuffer", frame(
        PIXELS, width=6, height=2, pixel=0x05100185, id=2**64 - 1, timestamp=2**63 + 5, incomplete=True,
        xoffset=-3, yoffset=7, xpadding=2, ypadding=-1,
    ))
    buffer = stream.GetBuffer(100)
    assert buffer.GetPixelFormat() == 0x05100185
    assert (buffer.GetFrameID(), buffer.GetTimestamp()) == (2**64 - 1, 2**63 + 5)
    assert buffer.IsIncomplete() is True
    assert (buffer.GetXOffset(), buffer.GetYOffset(), buffer.GetXPadding(), buffer.GetYPadding()) == (-3, 7, 2, -1)
    image = buffer.GetImage()
    assert type(image).__name__ == "N8KyrCamPy7PyImageE" and image is not buffer.GetImage()
    assert [name for name in dir(image) if not name.startswith("__")] == []


def test_pixels_start_at_the_image_offset(stream, scripted):
    scripted.push(STREAM + ".GetBuffer", frame(PIXELS, width=4, height=3, offset=1000))
    assert stream.GetBuffer(100).GetBufferPtr() == PIXELS


@pytest.mark.parametrize(
    "geometry, accepted",
    [
        (dict(width=20480, height=1), True),
        (dict(width=1, height=20480), True),
        (dict(width=20481, height=1), False),
        (dict(width=1, height=20481), False),
        (dict(width=0, height=1), False),
        (dict(width=1, height=0), False),
        (dict(width=4, height=3, size=0), False),
    ],
)
def test_frames_that_fail_the_checks_are_requeued(stream, scripted, capfd, geometry, accepted):
    scripted.push(STREAM + ".GetBuffer", frame(PIXELS, width=4, height=3), frame(b"\x07" * 5, **geometry))
    buffer = stream.GetBuffer(100)
    stream.QueueBuffer(buffer)
    scripted.calls()

    result = stream.GetBuffer(100)
    assert (result is buffer) == accepted
    assert stream.GetLastError() == (0 if accepted else -40001)
    assert buffer.GetBufferPtr() == (b"\x07" * geometry.get("size", 5) if accepted else PIXELS)
    assert (buffer.GetWidth(), buffer.GetHeight()) == (geometry["width"], geometry["height"])
    requeued = [] if accepted else [STREAM + ".QueueBuffer(buffer1)"]
    assert scripted.calls() == [STREAM + ".GetBuffer(100)"] + requeued
    assert capfd.readouterr() == ("", "")


@pytest.mark.parametrize(
    "code, printed",
    [
        (-1011, "Get buffer error: timeout\n"),
        (-1010, "wrong buffer. Error: -1010 GenTL: Communication error has occurred; e.g., a read or write "
         "operation to a remote device failed.\n"),
        (-1002, "wrong buffer. Error: -1002 GenTL: Module or resource not initialized; e.g., GCInitLib was "
         "not called.\n"),
    ],
)
def test_failed_waits(stream, scripted, capfd, code, printed):
    scripted.push(STREAM + ".GetBuffer", frame(PIXELS, width=4, height=3), None)
    scripted.answer(STREAM + ".GetBuffer.err", code)
    buffer = stream.GetBuffer(100)
    assert stream.GetBuffer(5) is None
    assert stream.GetLastError() == code
    assert buffer.GetBufferPtr() == PIXELS and buffer.GetWidth() == 4, "the last frame's values stay"
    assert buffer.GetPixelFormat() == 0 and buffer.GetImage() is None, "no native buffer is held"
    assert capfd.readouterr().err == printed + "wrong buffer\n" * 2


def test_frames_beyond_memory_fail_cleanly(stream, scripted, capfd):
    scripted.push(STREAM + ".GetBuffer", frame(b"\x01", offset=2**64 - 1), frame(b"\x01", size=2**62))
    assert stream.GetBuffer(10) is None and stream.GetBuffer(10) is None
    assert stream.GetLastError() == -1021
    assert stream.CreateBuffer(2**50).GetWidth() == 0
    assert capfd.readouterr().err.count("wrong buffer. Error: -1021 ") == 3


def test_a_real_wait_times_out(stream, scripted, capfd):
    assert stream.GetBuffer(1) is None
    assert stream.GetLastError() == -1011
    assert capfd.readouterr().err == "Get buffer error: timeout\n"


def test_get_buffer_before_a_queue_is_allocated(device, scripted, capfd):
    stream = device.GetStreamByIndex(0)
    try:
        assert stream.GetBuffer() is None and stream.GetBuffer(100) is None
        assert stream.GetLastError() == 0
        assert scripted.calls() == ["device.GetStreamByIndex(0)"]
        assert capfd.readouterr() == ("", "")
    finally:
        stream.Release()


def test_get_buffer_without_timeout_waits_forever_and_leaves_the_overflow_pending(stream, scripted):
    scripted.push(STREAM + ".GetBuffer", frame(PIXELS, width=4, height=3), frame(b"\x01" * 4, width=2, height=2))
    buffer = stream.GetBuffer(100)
    stream.QueueBuffer(buffer)
    with pytest.raises(SystemError) as raised:
        stream.GetBuffer()
    assert isinstance(raised.value.__cause__, OverflowError)
    assert scripted.calls()[-1] == STREAM + ".GetBuffer(forever)"
    assert stream.GetLastError() == 0 and buffer.GetBufferPtr() == b"\x01" * 4, "the fill ran"


def test_a_new_buffer_object_holds_no_native_buffer(stream, scripted, capfd):
    scripted.answer(STREAM + ".CreateBuffer", None)
    buffer = stream.CreateBuffer(64)
    assert type(buffer).__name__ == "PyBuffer"
    assert capfd.readouterr().err == "wrong buffer. Error: -1021 GenTL: The system and/or other hardware in the " \
        "system (frame grabber) ran out of memory.\n"
    quiet = [(buffer.GetWidth, 0), (buffer.GetHeight, 0), (buffer.GetBufferPtr, ())]
    for getter, result in quiet:
        assert getter() == result
    assert capfd.readouterr() == ("", "")
    loud = [
        (buffer.GetImage, None), (buffer.IsIncomplete, True), (buffer.GetPixelFormat, 0), (buffer.GetFrameID, 0),
        (buffer.GetXOffset, 0), (buffer.GetYOffset, 0), (buffer.GetXPadding, 0), (buffer.GetYPadding, 0),
        (buffer.GetTimestamp, 0),
    ]
    for getter, result in loud:
        assert getter() == result
        assert capfd.readouterr().err == "wrong buffer\n"
    assert not stream.QueueBuffer(buffer)
    assert stream.GetLastError() == 0


def test_created_buffer_replaces_the_streams_buffer(stream, scripted):
    created = stream.CreateBuffer(64)
    assert scripted.calls() == [STREAM + ".CreateBuffer(64, null)"]
    assert created.GetWidth() == 0
    assert type(created.GetImage()).__name__ == "N8KyrCamPy7PyImageE", "the native buffer exists, without image"
    assert stream.QueueBuffer(created)
    scripted.push(STREAM + ".GetBuffer", frame(PIXELS, width=4, height=3))
    assert stream.GetBuffer(100) is created


@pytest.mark.parametrize(
    "call, printed, result",
    [
        ("StopAcquisition", "Not enough actual args\n", False),
        ("FlushBuffers", "FlushBuffers not enough actual args\n", False),
        ("QueueBuffer", "QueueBuffer not enough actual args\n", False),
        ("RevokeBuffer", "RevokeBuffer not enough actual args\n", False),
        ("AllocBufferQueue", "AllocBufferQueue not enough actual args\n", False),
        ("CreateBuffer", "Not enough actual args\n", None),
    ],
)
def test_missing_arguments(stream, scripted, capfd, call, printed, result):
    assert getattr(stream, call)() is result
    assert stream.GetLastError() == -40121
    assert capfd.readouterr().err == printed
    assert scripted.calls() == []


@pytest.mark.parametrize("call", ["QueueBuffer", "RevokeBuffer"])
@pytest.mark.parametrize("argument", [42, None, "buffer"])
def test_buffer_arguments_must_be_buffers(stream, scripted, capfd, call, argument):
    assert getattr(stream, call)(argument) is False
    assert stream.GetLastError() == 0
    assert scripted.calls() == [] and capfd.readouterr() == ("", "")


@pytest.mark.parametrize(
    "call, args, logged",
    [
        ("StartAcquisition", (), "StartAcquisition(all)"),
        ("StopAcquisition", (2**32 + 1,), "StopAcquisition(1)"),
        ("FlushBuffers", ("2",), "FlushBuffers(2)"),
        ("ReleaseBufferQueue", (), "ReleaseBufferQueue()"),
        ("CancelBuffer", (), "CancelBuffer()"),
        ("AllocBufferQueue", (3,), "AllocBufferQueue(null, 3)"),
    ],
)
def test_native_codes_become_false_and_are_not_kept(stream, scripted, call, args, logged):
    operation = logged.split("(")[0]
    scripted.answer(f"{STREAM}.{operation}", -1004)
    assert getattr(stream, call)(*args) is False
    scripted.answer(f"{STREAM}.{operation}", 0)
    assert getattr(stream, call)(*args) is True
    assert scripted.calls() == [f"{STREAM}.{logged}"] * 2
    assert stream.GetLastError() == 0


def test_revoke_passes_a_buffer_without_native_buffer_as_null(stream, scripted, capfd):
    scripted.answer(STREAM + ".CreateBuffer", None)
    empty = stream.CreateBuffer(64)
    capfd.readouterr()
    assert stream.RevokeBuffer(empty) is False
    assert scripted.calls()[-1] == STREAM + ".RevokeBuffer(null)"


def test_revoked_buffer_is_forgotten(stream, scripted, capfd):
    scripted.push(STREAM + ".GetBuffer", frame(PIXELS, width=4, height=3))
    buffer = stream.GetBuffer(100)
    assert stream.RevokeBuffer(buffer) is True
    assert stream.QueueBuffer(buffer) is False
    assert buffer.GetImage() is None and capfd.readouterr().err == "wrong buffer\n"


def test_flush_modes_are_attributes(stream):
    modes = [stream.Flush_OutputDiscard, stream.Flush_AllToInput, stream.Flush_UnqueuedToInput,
             stream.Flush_AllDiscard]
    assert modes == [1, 2, 3, 4]
    with pytest.raises(AttributeError):
        stream.Flush_Everything
    assert callable(stream.GetBuffer)


def test_queue_sizes_alignment_and_cached_sizes(stream, scripted):
    scripted.answers(STREAM, GetBufferSize=65536, GetMinNumBuffers=8, GetBufferAlignment=64)
    assert stream.GetBufferQueueSize() == 4
    assert (stream.GetBufferSize(), stream.GetMinNumBuffers(), stream.GetBufferAlignment()) == (65536, 8, 64)
    stream.Release()
    assert (stream.GetBufferSize(), stream.GetMinNumBuffers()) == (65536, 8), "the last values read stay"
    assert (stream.GetBufferAlignment(), stream.GetBufferQueueSize()) == (0, 0)


RELEASED = [
    ("GetBufferSize", (), 325546, ""),
    ("GetMinNumBuffers", (), 3, ""),
    ("GetBufferAlignment", (), 0, ""),
    ("GetBufferQueueSize", (), 0, ""),
    ("StartAcquisition", (), False, ""),
    ("StopAcquisition", (0,), False, ""),
    ("FlushBuffers", (1,), False, ""),
    ("AllocBufferQueue", (2,), False, ""),
    ("ReleaseBufferQueue", (), False, ""),
    ("CancelBuffer", (), False, ""),
    ("CreateBuffer", (64,), None, "wrong dataStream\n"),
    ("Release", (), None, ""),
]


@pytest.mark.parametrize("call, args, result, printed", RELEASED)
def test_released_stream(device, scripted, capfd, call, args, result, printed):
    stream = device.GetStreamByIndex(0)
    stream.Release()
    scripted.calls()
    assert getattr(stream, call)(*args) == result
    assert stream.GetLastError() == 0
    assert scripted.calls() == [] and capfd.readouterr().err == printed


def test_released_stream_forgets_its_buffer(device, scripted, capfd):
    stream = device.GetStreamByIndex(0)
    stream.AllocBufferQueue(2)
    scripted.push("device-stream0.GetBuffer", frame(PIXELS, width=4, height=3))
    buffer = stream.GetBuffer(100)
    stream.Release()
    scripted.calls()
    assert stream.GetBuffer(100) is None and stream.GetLastError() == -40001
    assert stream.QueueBuffer(buffer) is False and stream.RevokeBuffer(buffer) is False
    assert buffer.GetBufferPtr() == PIXELS
    assert scripted.calls() == []
    assert capfd.readouterr().err == "wrong dataStream\n"
