"""What the module shows a script: its name, doc and exactly its functions."""

import pytest

# Grows as the camera, image and GUI functions are built.
FUNCTIONS = {
    "PyKyrSystem",
    "PyKyrCreateDevice",
    "PyCreateDisplay",
    "PyResetDisplay",
    "PyShowImageOnDisplay",
    "PyCreateGenParamTreeViewForArray",
    "PyDestroyGenParamTreeView",
    "PyActionCamera",
    "PySaveImage",
    "PyStartMovieRecord",
    "PySaveMovieFrame",
    "PyFinishRecord",
    "PyGetVideoCompressors",
    "GetLastError",
    "ErrorCodeToString",
}

# Functions with a doc; every other one has none.
DOCS = {
    "PyKyrSystem": "documentation for PyKyrSystem()",
    "PyKyrCreateDevice": "documentation for PyKyrCreateDevice()",
}


def test_module_identity(kyr):
    assert kyr.__name__ == "KyrCameraApiPy"
    assert kyr.__doc__ == "documentation for the KyrCameraApiPy module"


def test_exactly_the_registered_functions(kyr):
    callables = {name for name in dir(kyr) if callable(getattr(kyr, name))}
    assert callables == FUNCTIONS
    for name in FUNCTIONS:
        assert getattr(kyr, name).__doc__ == DOCS.get(name), name


def test_no_args_functions_refuse_arguments(kyr):
    with pytest.raises(TypeError):
        kyr.GetLastError(1)
    with pytest.raises(TypeError):
        kyr.PyResetDisplay(None)
