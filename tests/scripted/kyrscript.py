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
    if isinstance(value, bytes):
        return value
    return str(value).encode()


def _operation(keyword):
    # Keyword arguments name operations; "_" stands for the "." of a key's
    # suffix: GetValue_err is "GetValue.err".
    return keyword.replace("_", ".")


class Feature:
    """One feature of a scripted parameter array: its kind ("Int", "Float",
    "String", "Boolean", "Enum", "Command", "Category", or any other word for a
    feature of no listed type), its stored value (setters write it back), and
    answers of its own operations (GetMin=16, SetValue=-40202, GetValue_err=-1010).
    """

    def __init__(self, kind, name, value=None, **answers):
        self.kind = kind
        self.name = name
        self.value = value
        self.answers = answers
        self.lists = {}

    def describe(self, script, key):
        script.answer(f"{key}.type", self.kind)
        if self.value is not None:
            script.answer(f"{key}.value", self.value)
        for name, items in self.lists.items():
            script.answer(f"{key}.{name}", ",".join(items))
        script.answers(key, **self.answers)


def Int(name, value=0, **answers):
    return Feature("Int", name, value, **answers)


def Float(name, value=0.0, **answers):
    return Feature("Float", name, value, **answers)


def String(name, value="", **answers):
    return Feature("String", name, value, **answers)


def Boolean(name, value=False, **answers):
    return Feature("Boolean", name, value, **answers)


def Enum(name, value, entries, **answers):
    """`entries` maps entry names to their values, in order; `value` names the current one."""
    feature = Feature("Enum", name, value, **answers)
    feature.lists["entries"] = [f"{entry}={number}" for entry, number in entries.items()]
    return feature


def Command(name, **answers):
    return Feature("Command", name, **answers)


def Category(name, *children, **answers):
    feature = Feature("Category", name, **answers)
    feature.lists["children"] = children
    return feature


def frame(data=b"", width=1, height=1, pixel=0x01080101, offset=0, size=None, **fields):
    """A frame as a stream's GetBuffer answer: the bytes `data` placed `offset`
    bytes into the buffer (the bytes before it are 0xEE), `size` of them valid
    (all by default; more are zeros), the geometry, the pixel type code, and
    further fields: id, timestamp, incomplete, xoffset, yoffset, xpadding,
    ypadding."""
    fields = {"width": width, "height": height, "offset": offset, **fields}
    if size is not None:
        fields["size"] = size
    numbers = " ".join(f"{key}={int(value)}" for key, value in fields.items())
    return f"{numbers} pixel={pixel:#x} data={bytes(data).hex()}"


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
            ("KyrScript_Misuses", [], ctypes.c_int),
        ):
            function = getattr(lib, name)
            function.argtypes = args
            function.restype = result
        self._lib = lib
        self._lib_dir = lib_dir
        self._camera = None  # the scripted camera library, loaded on first use

    def reset(self):
        """Forgets every answer, the log and the uses after release."""
        self._lib.KyrScript_Reset()

    def answer(self, key, value):
        """Every call of `key` answers `value` from now on."""
        self._lib.KyrScript_Set(key.encode(), _text(value))

    def push(self, key, *values):
        """The next calls of `key` answer `values`, one each, before any kept answer."""
        for value in values:
            self._lib.KyrScript_Push(key.encode(), _text(value))

    def answers(self, name, **operations):
        """Answers of the scripted object `name`: answers("cam0", GetModel="M1",
        GetIP_address=0xC0A80001) sets "cam0.GetModel" and "cam0.GetIP.address"."""
        for keyword, value in operations.items():
            self.answer(f"{name}.{_operation(keyword)}", value)

    def interfaces(self, *names):
        """The system lists these interfaces, in this order."""
        self.answer("system.interfaces", ",".join(names))

    def interface(self, name, *devices, **operations):
        """Interface `name` lists the device infos `devices`, each of which names
        it as its interface; `operations` are its answers (GetType=1)."""
        self.answer(f"{name}.devices", ",".join(devices))
        for device in devices:
            self.answer(f"{device}.GetInterface", name)
        self.answers(name, **operations)

    def parameters(self, array, *features):
        """Parameter array `array` holds `features` (Int(...), Category(...), ...)
        in description order. An interface's array is "<interface>-params"
        unless its GetParameters answer names another."""
        self.answer(f"{array}.features", ",".join(feature.name for feature in features))
        for feature in features:
            feature.describe(self, f"{array}/{feature.name}")

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

    def misuses(self):
        """Calls that reached a platform object after its release, since the reset."""
        return self._lib.KyrScript_Misuses()

    def fire_event(self, device, event_id, data=b"", timeout=5.0):
        """Has the open device `device` deliver an event on its own thread and
        waits for the delivery: the number of callbacks that got it, or -1 when
        there is no such device or the delivery did not end in time."""
        if self._camera is None:
            camera = ctypes.CDLL(str(self._lib_dir / "libKyrCameraApi.so"))
            camera.KyrScriptCam_FireEvent.argtypes = [
                ctypes.c_char_p, ctypes.c_uint32, ctypes.c_char_p, ctypes.c_uint64, ctypes.c_int,
            ]
            camera.KyrScriptCam_FireEvent.restype = ctypes.c_int
            self._camera = camera
        data = bytes(data)
        return self._camera.KyrScriptCam_FireEvent(device.encode(), event_id, data, len(data), int(timeout * 1000))
