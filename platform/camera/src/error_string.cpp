// The texts of the camera library's error codes. Both the Aravis platform and the
// scripted one compile this file, so the texts exist once.

#include <camera/KyrCamErr.h>

#include <iterator>

namespace {

// Codes -1001 down to -1022, in that order. The texts are the published ones,
// tabs and spacing included.
constexpr const char *kGenTLTexts[] = {
    "GenTL: Unspecified runtime error",
    "GenTL: Module or resource not initialized; e.g., GCInitLib was not called.",
    "GenTL: Requested operation not implemented;\te.g., no Port functions on a Buffer\tmodule.",
    "GenTL: Requested resource is already in use.",
    "GenTL: Requested operation is not allowed; e.g., a remote device is opened by another client.",
    "GenTL: Given handle does not support the operation; e.g., function call on wrong handle or NULL pointer.",
    "GenTL: ID could not be connected to a resource; e.g., a device with the given ID is currently not available.",
    "GenTL: The function has no data to work on.",
    "GenTL: One of the parameter given was not valid or out of range.",
    "GenTL: Communication error has occurred; e.g., a read or write operation to a remote device failed.",
    // 0x92 is a Windows-1252 apostrophe, kept as the published byte.
    "GenTL: An operation\x92s timeout time expired before it could be completed.",
    "GenTL: An operation has been aborted before it could be completed. For example, a wait operation through "
    "EventGetData has been terminated\tvia a call to EventKill.",
    "GenTL: The GenTL Consumer has not announced enough buffers to start the\tacquisition in the currently "
    "active\tacquisition mode.",
    "GenTL: Resource or information is not available at a given time in a current state.",
    "GenTL: A given address is out of range or invalid for internal reasons.",
    "GenTL: A provided buffer is too small to receive the expected amount of data. This may affect acquisition "
    "buffers in the Data Stream module if the buffers \t\t\tare smaller than the expected payload size but also "
    "buffers passed to any other function of the GenTL Producer\tinterface to retrieve information or IDs.",
    "GenTL: A provided index referencing a Producer internal object is out of bounds.",
    "GenTL: An error occurred parsing a buffer containing chunk data.",
    "GenTL: A register write function was trying to write an invalid value.",
    "GenTL: A requested resource is exhausted. This is a rather general error which might for example refer to a "
    "limited\tnumber of available handles being available.",
    "GenTL: The system and/or other hardware in the system (frame grabber) ran out of memory.",
    "GenTL: The required operation cannot be\texecuted because the responsible module / entity is busy executing "
    "actions that cannot be performed\tconcurrently \t\t\twith the requested operation.",
};

static_assert(std::size(kGenTLTexts) == 22, "one text per GenTL code");

struct CodeText {
    KyrCamErr code;
    const char *text;
};

constexpr CodeText kLibraryTexts[] = {
    { KyrCam::kErrUnknown, "Unknown error" },
    { KyrCam::kErrFileNotFound, "File not found" },
    { KyrCam::kErrFileRead, "File read error" },
    { KyrCam::kErrWrongConfiguration, "Wrong configuration" },
    { KyrCam::kErrBadIndex, "Invalid index" },
    { KyrCam::kErrNoDevice, "No device" },
    { KyrCam::kErrInvalidArgument, "Invalid argument" },
    { KyrCam::kErrInvalidState, "Invalid state" },
    { KyrCam::kErrFlashErase, "Flash erase error" },
    { KyrCam::kErrNotEnoughArguments, "Not enough actual arguments" },
    { KyrCam::kErrGenICam, "GenICam: Generic error" },
    { KyrCam::kErrGenICamTree, "GenICam: Tree error" },
    { KyrCam::kErrGenICamAccess, "GenICam: Access error" },
    { KyrCam::kErrGenICamType, "GenICam: Parameter type is invalid" },
    { KyrCam::kErrGenICamOutOfRange, "GenICam: Parameter is out of range" },
    { KyrCam::kErrGenICamUnknownParameter, "GenICam: Unknown parameter" },
    { KyrCam::kErrGenICamInvalidArgument, "GenICam: Invalid argument" },
    { KyrCam::kErrGenICamRuntime, "GenICam: Runtime error" },
};

constexpr const char kUnknownCode[] = "Unknown code";

} // namespace

const char *GetKyrCamErrString(KyrCamErr code) noexcept
{
    if (code >= -1000)
        return code == KyrCam::kOk ? "OK" : kUnknownCode;
    if (code >= KyrCam::kErrBusy)
        return kGenTLTexts[KyrCam::kErrGenTL - code];
    for (const CodeText &entry : kLibraryTexts) {
        if (entry.code == code)
            return entry.text;
    }
    return kUnknownCode;
}
