"""Driving the scripted platform from Python tests.

The scripted platform libraries answer every native call as the script says,
log each call they receive, and let a test wait until a call has started. This
module wraps the script's C control functions (libKyrScript.so) with ctypes.
"""

import ctypes
from pathlib import Path


def _text(value):
    if value is None:
        return b"null"
    if isinstance(value, bool):
        return b"1" if value else b"0"
    return str(value).encode()


class Script:
    """The scripted platform's script: answers, call log, barriers, live objects.

    Keys name a call: "<object>.<Operation>" ("system.GetVersion"), a free
    function's name ("KyrCam_GetSystem"), and ".err" after either for the error
    code the call reports. None as a value means a null pointer ("null").
    """

    def __init__(self, lib_dir: Path):
        lib = ctypes.CDLL(str(lib_dir / "libKyrScript.so"))
        for name, args, result in (
            ("KyrScript_Reset", [], None),
            ("KyrScript_Set", [ctypes.c_char_p, ctypes.c_char_p], None),
            ("KyrScript_Push", [ctypes.c_char_p, ctypes.c_char_p], None),
            ("KyrScript_Clear", [ctypes.c_char_p], None),
            ("KyrScript_TakeLog", [], ctypes.c_void_p),
            ("KyrScript_Free", [ctypes.c_void_p], None),
            ("KyrScript_WaitEntered", [ctypes.c_char_p, ctypes.c_int, ctypes.c_int], ctypes.c_int),
            ("KyrScript_LiveObjects", [], ctypes.c_int),
        ):
            function = getattr(lib, name)
            function.argtypes = args
            function.restype = result
        self._lib = lib

    def reset(self):
        """Forgets every answer and the log."""
        self._lib.KyrScript_Reset()

    def answer(self, key, value):
        """Every call of `key` answers `value` from now on."""
        self._lib.KyrScript_Set(key.encode(), _text(value))

    def push(self, key, *values):
        """The next calls of `key` answer `values`, one each, before any kept answer."""
        for value in values:
            self._lib.KyrScript_Push(key.encode(), _text(value))

    def clear(self, key):
        self._lib.KyrScript_Clear(key.encode())

    def calls(self):
        """The calls logged since the last look, oldest first; the log is emptied."""
        pointer = self._lib.KyrScript_TakeLog()
        try:
            return ctypes.string_at(pointer).decode().splitlines()
        finally:
            self._lib.KyrScript_Free(pointer)

    def wait_entered(self, prefix, count=1, timeout=5.0):
        """True once `count` calls starting with `prefix` were received since the reset."""
        return bool(self._lib.KyrScript_WaitEntered(prefix.encode(), count, int(timeout * 1000)))

    def live_objects(self):
        """Objects handed to the binding that it has not released yet."""
        return self._lib.KyrScript_LiveObjects()
