"""The error-code texts and the module's last error."""

import ctypes
import subprocess
import sys
import textwrap

import pytest

from kyrbuild import REAL_LIB, SCRIPTED_LIB

TEXTS = {
    0: "OK",
    -1001: "GenTL: Unspecified runtime error",
    -1002: "GenTL: Module or resource not initialized; e.g., GCInitLib was not called.",
    -1003: "GenTL: Requested operation not implemented;\te.g., no Port functions on a Buffer\tmodule.",
    -1004: "GenTL: Requested resource is already in use.",
    -1005: "GenTL: Requested operation is not allowed; e.g., a remote device is opened by another client.",
    -1006: "GenTL: Given handle does not support the operation; e.g., function call on wrong handle or NULL pointer.",
    -1007: "GenTL: ID could not be connected to a resource; e.g., a device with the given ID is currently not available.",
    -1008: "GenTL: The function has no data to work on.",
    -1009: "GenTL: One of the parameter given was not valid or out of range.",
    -1010: "GenTL: Communication error has occurred; e.g., a read or write operation to a remote device failed.",
    -1012: "GenTL: An operation has been aborted before it could be completed. For example, a wait operation "
    "through EventGetData has been terminated\tvia a call to EventKill.",
    -1013: "GenTL: The GenTL Consumer has not announced enough buffers to start the\tacquisition in the "
    "currently active\tacquisition mode.",
    -1014: "GenTL: Resource or information is not available at a given time in a current state.",
    -1015: "GenTL: A given address is out of range or invalid for internal reasons.",
    -1016: "GenTL: A provided buffer is too small to receive the expected amount of data. This may affect "
    "acquisition buffers in the Data Stream module if the buffers \t\t\tare smaller than the expected payload "
    "size but also buffers passed to any other function of the GenTL Producer\tinterface to retrieve "
    "information or IDs.",
    -1017: "GenTL: A provided index referencing a Producer internal object is out of bounds.",
    -1018: "GenTL: An error occurred parsing a buffer containing chunk data.",
    -1019: "GenTL: A register write function was trying to write an invalid value.",
    -1020: "GenTL: A requested resource is exhausted. This is a rather general error which might for example "
    "refer to a limited\tnumber of available handles being available.",
    -1021: "GenTL: The system and/or other hardware in the system (frame grabber) ran out of memory.",
    -1022: "GenTL: The required operation cannot be\texecuted because the responsible module / entity is busy "
    "executing actions that cannot be performed\tconcurrently \t\t\twith the requested operation.",
    -40001: "Unknown error",
    -40002: "File not found",
    -40003: "File read error",
    -40004: "Wrong configuration",
    -40005: "Invalid index",
    -40006: "No device",
    -40007: "Invalid argument",
    -40051: "Invalid state",
    -40101: "Flash erase error",
    -40121: "Not enough actual arguments",
    -40200: "GenICam: Generic error",
    -40201: "GenICam: Tree error",
    -40202: "GenICam: Access error",
    -40203: "GenICam: Parameter type is invalid",
    -40204: "GenICam: Parameter is out of range",
    -40205: "GenICam: Unknown parameter",
    -40206: "GenICam: Invalid argument",
    -40207: "GenICam: Runtime error",
}

TIMEOUT_TEXT = b"GenTL: An operation\x92s timeout time expired before it could be completed."


def test_every_code_and_its_neighbours(kyr):
    for code in range(-40300, 2):
        expected = TEXTS.get(code, "Unknown code")
        if code == -1011:
            continue
        assert kyr.ErrorCodeToString(code) == expected, code
    for code in (5, 2**31 - 1, -(2**31)):
        assert kyr.ErrorCodeToString(code) == "Unknown code"


@pytest.mark.parametrize("lib_dir", [REAL_LIB, SCRIPTED_LIB], ids=["aravis", "scripted"])
def test_timeout_text_keeps_its_0x92_byte(kyr, lib_dir):
    # Each platform library is asked directly: the text is not UTF-8, so Python
    # cannot build a str from it.
    library = ctypes.CDLL(str(lib_dir / "libKyrCameraApi.so"))
    library.GetKyrCamErrString.restype = ctypes.c_char_p
    library.GetKyrCamErrString.argtypes = [ctypes.c_int32]
    assert library.GetKyrCamErrString(-1011) == TIMEOUT_TEXT
    with pytest.raises(UnicodeDecodeError) as raised:
        kyr.ErrorCodeToString(-1011)
    assert raised.value.object == TIMEOUT_TEXT


@pytest.mark.parametrize(
    "value, expected",
    [
        (2**32 - 40121, "Not enough actual arguments"),  # -40121 in 32 bits
        (2**32, "OK"),
        (-(2**63), "OK"),
        (2**63 - 1, "Unknown code"),  # low 32 bits are -1
        (0x7FFF_FFFF_0000_0000 - 1022, "GenTL: The required operation cannot be"),
        ("-40006", "No device"),  # whatever int() accepts
        (-40002.9, "File not found"),
        (True, "Unknown code"),
    ],
)
def test_argument_is_int_converted_and_cut_to_32_bits(kyr, value, expected):
    assert kyr.ErrorCodeToString(value).startswith(expected)


@pytest.mark.parametrize(
    "value, error",
    [(None, TypeError), ("code", ValueError), (2**64, OverflowError), ([1], TypeError)],
)
def test_unconvertible_argument_raises(kyr, value, error):
    with pytest.raises(error):
        kyr.ErrorCodeToString(value)


def test_missing_argument_sets_last_error_silently(kyr, capfd):
    assert kyr.ErrorCodeToString(0, "surplus", None) == "OK"
    assert kyr.ErrorCodeToString() is None
    assert kyr.GetLastError() == -40121
    assert kyr.ErrorCodeToString(-40002) == "File not found"
    assert kyr.GetLastError() == -40121, "a successful lookup leaves the last error"
    assert capfd.readouterr() == ("", "")


def test_last_error_starts_at_zero():
    program = textwrap.dedent(
        f"""
        import sys
        sys.path.insert(0, {str(SCRIPTED_LIB)!r})
        import libKyrCameraGuiApiPy as kyr
        print(kyr.GetLastError())
        """
    )
    result = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True, check=True)
    assert result.stdout == "0\n"
