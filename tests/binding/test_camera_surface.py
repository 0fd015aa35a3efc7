"""What the device, stream, buffer and image objects show a script: type
names and docs, and exactly their methods, the no-args ones refusing
arguments."""

import sys

import pytest

from kyrscript import frame

SURFACES = {
    "PyDevice": (
        "documentation for PyDevice class",
        {"GetInfo", "GetDisplayName", "GetNumStreams", "GetCameraParameters", "Release", "IsValid",
         "GetTransportParameters", "GetLastError"},
        {"ReadMem", "WriteMem", "GetStreamByIndex", "GetStreamByName", "SaveConfiguration", "LoadConfiguration",
         "RegisterEvent", "UnRegisterEvent"},
    ),
    "PyDataStream": (
        None,
        {"GetBufferSize", "GetBufferAlignment", "GetMinNumBuffers", "StartAcquisition", "GetBufferQueueSize",
         "Release", "ReleaseBufferQueue", "CancelBuffer", "GetLastError"},
        {"StopAcquisition", "CreateBuffer", "QueueBuffer", "GetBuffer", "FlushBuffers", "RevokeBuffer",
         "AllocBufferQueue"},
    ),
    "PyBuffer": (
        None,
        {"GetWidth", "GetHeight", "GetBufferPtr", "GetImage", "IsIncomplete", "GetPixelFormat", "GetFrameID",
         "GetXOffset", "GetYOffset", "GetXPadding", "GetYPadding", "GetTimestamp"},
        set(),
    ),
    "N8KyrCamPy7PyImageE": (None, set(), set()),
}


@pytest.fixture
def objects(device, stream, scripted):
    scripted.push("device-stream0.GetBuffer", frame(b"\x01", width=1, height=1))
    buffer = stream.GetBuffer(100)
    return {"PyDevice": device, "PyDataStream": stream, "PyBuffer": buffer, "N8KyrCamPy7PyImageE": buffer.GetImage()}


@pytest.mark.parametrize("name", SURFACES)
def test_type_names_docs_and_methods(objects, scripted, name):
    doc, no_args, var_args = SURFACES[name]
    instance = objects[name]
    assert type(instance).__name__ == name and type(instance).__doc__ == doc
    assert set(instance.__methods__) == no_args | var_args
    scripted.calls()
    for method in no_args:
        with pytest.raises(TypeError):
            getattr(instance, method)(None)
    assert scripted.calls() == []


def test_per_frame_methods_are_bound_to_their_wrapper_without_leaking_it(objects):
    stream, buffer = objects["PyDataStream"], objects["PyBuffer"]
    counts = sys.getrefcount(stream), sys.getrefcount(buffer)
    queue_size, incomplete = stream.GetBufferQueueSize, buffer.IsIncomplete
    assert (queue_size.__self__, queue_size.__name__) == (stream, "GetBufferQueueSize")
    assert (incomplete.__self__, incomplete.__name__) == (buffer, "IsIncomplete")
    assert (sys.getrefcount(stream), sys.getrefcount(buffer)) == (counts[0] + 1, counts[1] + 1)
    with pytest.raises(TypeError, match=r"^PyDataStream\.GetBufferQueueSize\(\) takes no arguments \(1 given\)$"):
        queue_size(1)
    with pytest.raises(TypeError, match=r"^GetBuffer\(\) takes no keyword arguments$"):
        stream.GetBuffer(timeout=1)
    del queue_size, incomplete
    for _ in range(1000):
        stream.GetBufferQueueSize(), buffer.IsIncomplete(), stream.GetLastError()
    assert (sys.getrefcount(stream), sys.getrefcount(buffer)) == counts
