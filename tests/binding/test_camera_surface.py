"""What the device, stream, buffer and image objects show a script: type
names and docs, and exactly their methods, the no-args ones refusing
arguments."""

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
