"""The scripted platform answers as scripted and logs what it receives."""

import ctypes

import pytest

from kyrbuild import SCRIPTED_LIB


@pytest.fixture
def get_system(scripted):
    library = ctypes.CDLL(str(SCRIPTED_LIB / "libKyrCameraApi.so"))
    library.KyrCam_GetSystem.restype = ctypes.c_void_p
    return library.KyrCam_GetSystem


def test_get_system_answers_null_or_a_system(scripted, get_system):
    system = get_system()
    assert system
    scripted.answer("KyrCam_GetSystem", None)
    assert get_system() is None
    scripted.clear("KyrCam_GetSystem")
    assert get_system() == system, "the system is process-wide"
    assert scripted.calls() == ["KyrCam_GetSystem()"] * 3
    assert scripted.calls() == []


def test_pushed_answers_come_once_and_first(scripted, get_system):
    scripted.answer("KyrCam_GetSystem", None)
    scripted.push("KyrCam_GetSystem", "system", "system")
    assert [bool(get_system()) for _ in range(4)] == [True, True, False, False]


def test_reset_forgets_answers_log_and_entries(scripted, get_system):
    scripted.answer("KyrCam_GetSystem", None)
    get_system()
    assert scripted.wait_entered("KyrCam_GetSystem", timeout=0)
    scripted.reset()
    assert get_system()
    assert scripted.calls() == ["KyrCam_GetSystem()"]
    assert not scripted.wait_entered("KyrCam_GetSystem", count=2, timeout=0.01)
