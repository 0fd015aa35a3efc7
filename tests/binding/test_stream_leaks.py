"""Streaming and opening devices over and over leaves no Python objects, no
references and no platform objects behind."""

import sys

from kyrscript import frame

STREAM = "device-stream0"
FRAMES = 100_000
CYCLES = 2_000
# Allocated blocks may move a little (caches, the log list); a leak of one
# object per frame or cycle would be tens of thousands.
SLACK = 200


def test_no_leaks_over_many_frames(scripted, stream):
    scripted.answer(STREAM + ".GetBuffer", frame(bytes(range(64)), width=8, height=8, id=3))
    buffer = stream.GetBuffer(100)
    pixels_refs = sys.getrefcount(buffer.GetBufferPtr())
    buffer_refs = sys.getrefcount(buffer)
    blocks = sys.getallocatedblocks()
    for count in range(FRAMES):
        assert stream.QueueBuffer(buffer)
        assert stream.GetBuffer(100) is buffer
        if count % 10_000 == 0:
            scripted.calls()
    scripted.calls()
    grown = sys.getallocatedblocks() - blocks
    refs = sys.getrefcount(buffer), sys.getrefcount(buffer.GetBufferPtr())
    assert grown < SLACK
    assert refs == (buffer_refs, pixels_refs)
    assert buffer.GetBufferPtr() == bytes(range(64))


def test_no_leaks_over_create_and_release_cycles(kyr, scripted):
    scripted.answer(STREAM + ".GetBuffer", frame(bytes(16), width=4, height=4))
    live = scripted.live_objects()

    def cycle():
        device = kyr.PyKyrCreateDevice()
        stream = device.GetStreamByIndex(0)
        stream.AllocBufferQueue(2)
        stream.QueueBuffer(stream.GetBuffer(100))
        device.RegisterEvent(1, print)
        device.UnRegisterEvent(1, None)
        stream.Release()
        device.Release()

    cycle()
    scripted.reset()
    scripted.answer(STREAM + ".GetBuffer", frame(bytes(16), width=4, height=4))
    blocks = sys.getallocatedblocks()
    for count in range(CYCLES):
        cycle()
        if count % 500 == 0:
            scripted.calls()
    scripted.calls()
    assert sys.getallocatedblocks() - blocks < SLACK
    assert scripted.live_objects() == live
