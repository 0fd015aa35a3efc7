// Error codes of the camera library and their texts.
#pragma once

#include <cstdint>

#include <camera/KyrCamExport.h>

// Signed 32-bit result of every fallible camera library call: 0 is success,
// -1001 to -1022 are the GenTL codes (passed through unchanged from producers),
// -40001 and below are the library's own.
using KyrCamErr = int32_t;

namespace KyrCam {

constexpr KyrCamErr kOk = 0;

// GenTL codes.
constexpr KyrCamErr kErrGenTL = -1001;
constexpr KyrCamErr kErrNotInitialized = -1002;
constexpr KyrCamErr kErrNotImplemented = -1003;
constexpr KyrCamErr kErrResourceInUse = -1004;
constexpr KyrCamErr kErrAccessDenied = -1005;
constexpr KyrCamErr kErrInvalidHandle = -1006;
constexpr KyrCamErr kErrInvalidId = -1007;
constexpr KyrCamErr kErrNoData = -1008;
constexpr KyrCamErr kErrInvalidParameter = -1009;
constexpr KyrCamErr kErrIo = -1010;
constexpr KyrCamErr kErrTimeout = -1011;
constexpr KyrCamErr kErrAbort = -1012;
constexpr KyrCamErr kErrInvalidBuffer = -1013;
constexpr KyrCamErr kErrNotAvailable = -1014;
constexpr KyrCamErr kErrInvalidAddress = -1015;
constexpr KyrCamErr kErrBufferTooSmall = -1016;
constexpr KyrCamErr kErrInvalidIndex = -1017;
constexpr KyrCamErr kErrParsingChunkData = -1018;
constexpr KyrCamErr kErrInvalidValue = -1019;
constexpr KyrCamErr kErrResourceExhausted = -1020;
constexpr KyrCamErr kErrOutOfMemory = -1021;
constexpr KyrCamErr kErrBusy = -1022;

// The library's own codes.
constexpr KyrCamErr kErrUnknown = -40001;
constexpr KyrCamErr kErrFileNotFound = -40002;
constexpr KyrCamErr kErrFileRead = -40003;
constexpr KyrCamErr kErrWrongConfiguration = -40004;
constexpr KyrCamErr kErrBadIndex = -40005;
constexpr KyrCamErr kErrNoDevice = -40006;
constexpr KyrCamErr kErrInvalidArgument = -40007;
constexpr KyrCamErr kErrInvalidState = -40051;
constexpr KyrCamErr kErrFlashErase = -40101;
constexpr KyrCamErr kErrNotEnoughArguments = -40121;
constexpr KyrCamErr kErrGenICam = -40200;
constexpr KyrCamErr kErrGenICamTree = -40201;
constexpr KyrCamErr kErrGenICamAccess = -40202;
constexpr KyrCamErr kErrGenICamType = -40203;
constexpr KyrCamErr kErrGenICamOutOfRange = -40204;
constexpr KyrCamErr kErrGenICamUnknownParameter = -40205;
constexpr KyrCamErr kErrGenICamInvalidArgument = -40206;
constexpr KyrCamErr kErrGenICamRuntime = -40207;

} // namespace KyrCam

extern "C" {

// The text of an error code: a static NUL-terminated string, never null.
// Unknown codes, positive ones included, give "Unknown code". The texts are
// fixed byte for byte; the -1011 text holds the single byte 0x92 (a Windows-1252
// apostrophe), so it is not valid UTF-8. Any thread.
KYRCAM_API const char *GetKyrCamErrString(KyrCamErr code) noexcept;

} // extern "C"
