#include "aravis_support_private.h"

#include <cstdarg>
#include <iterator>

namespace KyrCam {

namespace {

struct CodeMapping {
    int code;
    KyrCamErr ours;
};

constexpr CodeMapping kDeviceCodes[] = {
    { ARV_DEVICE_ERROR_WRONG_FEATURE, kErrGenICamType },
    { ARV_DEVICE_ERROR_FEATURE_NOT_FOUND, kErrGenICamUnknownParameter },
    { ARV_DEVICE_ERROR_NOT_CONNECTED, kErrIo },
    { ARV_DEVICE_ERROR_PROTOCOL_ERROR, kErrIo },
    { ARV_DEVICE_ERROR_TRANSFER_ERROR, kErrIo },
    { ARV_DEVICE_ERROR_TIMEOUT, kErrTimeout },
    { ARV_DEVICE_ERROR_NOT_FOUND, kErrNoDevice },
    { ARV_DEVICE_ERROR_INVALID_PARAMETER, kErrInvalidParameter },
    { ARV_DEVICE_ERROR_GENICAM_NOT_FOUND, kErrGenICam },
    { ARV_DEVICE_ERROR_NO_STREAM_CHANNEL, kErrNotAvailable },
    { ARV_DEVICE_ERROR_NOT_CONTROLLER, kErrAccessDenied },
    { ARV_DEVICE_ERROR_UNKNOWN, kErrUnknown },
    { ARV_DEVICE_ERROR_PROTOCOL_ERROR_NOT_IMPLEMENTED, kErrNotImplemented },
    { ARV_DEVICE_ERROR_PROTOCOL_ERROR_INVALID_PARAMETER, kErrInvalidParameter },
    { ARV_DEVICE_ERROR_PROTOCOL_ERROR_INVALID_ADDRESS, kErrInvalidAddress },
    { ARV_DEVICE_ERROR_PROTOCOL_ERROR_WRITE_PROTECT, kErrAccessDenied },
    { ARV_DEVICE_ERROR_PROTOCOL_ERROR_BAD_ALIGNMENT, kErrInvalidAddress },
    { ARV_DEVICE_ERROR_PROTOCOL_ERROR_ACCESS_DENIED, kErrAccessDenied },
    { ARV_DEVICE_ERROR_PROTOCOL_ERROR_BUSY, kErrBusy },
};

constexpr CodeMapping kGenICamCodes[] = {
    { ARV_GC_ERROR_PROPERTY_NOT_DEFINED, kErrGenICamTree },
    { ARV_GC_ERROR_PVALUE_NOT_DEFINED, kErrGenICamTree },
    { ARV_GC_ERROR_INVALID_PVALUE, kErrGenICamTree },
    { ARV_GC_ERROR_EMPTY_ENUMERATION, kErrGenICamOutOfRange },
    { ARV_GC_ERROR_OUT_OF_RANGE, kErrGenICamOutOfRange },
    { ARV_GC_ERROR_NO_DEVICE_SET, kErrGenICamRuntime },
    { ARV_GC_ERROR_NO_EVENT_IMPLEMENTATION, kErrGenICamRuntime },
    { ARV_GC_ERROR_NODE_NOT_FOUND, kErrGenICamUnknownParameter },
    { ARV_GC_ERROR_ENUM_ENTRY_NOT_FOUND, kErrGenICamOutOfRange },
    { ARV_GC_ERROR_INVALID_LENGTH, kErrGenICamInvalidArgument },
    { ARV_GC_ERROR_READ_ONLY, kErrGenICamAccess },
    { ARV_GC_ERROR_SET_FROM_STRING_UNDEFINED, kErrGenICamType },
    { ARV_GC_ERROR_GET_AS_STRING_UNDEFINED, kErrGenICamType },
    { ARV_GC_ERROR_INVALID_BIT_RANGE, kErrGenICamTree },
#ifdef KYR_ARAVIS_GC_SYNTAX_ERROR
    { ARV_GC_ERROR_INVALID_SYNTAX, kErrGenICamTree },
#endif
};

KyrCamErr lookup(const CodeMapping *begin, const CodeMapping *end, int code) noexcept
{
    for (const CodeMapping *entry = begin; entry != end; ++entry) {
        if (entry->code == code)
            return entry->ours;
    }
    return kErrUnknown;
}

KyrCamErr mapIoError(int code) noexcept
{
    switch (code) {
    case G_IO_ERROR_TIMED_OUT:
        return kErrTimeout;
    case G_IO_ERROR_NOT_FOUND:
        return kErrFileNotFound;
    case G_IO_ERROR_PERMISSION_DENIED:
        return kErrAccessDenied;
    case G_IO_ERROR_CANCELLED:
        return kErrAbort;
    default:
        return kErrIo;
    }
}

} // namespace

KyrCamErr takeError(GError *&err) noexcept
{
    if (!err)
        return kOk;
    KyrCamErr code = kErrUnknown;
    if (err->domain == ARV_DEVICE_ERROR)
        code = lookup(std::begin(kDeviceCodes), std::end(kDeviceCodes), err->code);
    else if (err->domain == ARV_GC_ERROR)
        code = lookup(std::begin(kGenICamCodes), std::end(kGenICamCodes), err->code);
    else if (err->domain == G_IO_ERROR)
        code = mapIoError(err->code);
    logDebug("aravis: %s (%s %d) -> %d", err->message, g_quark_to_string(err->domain), err->code, code);
    g_clear_error(&err);
    return code;
}

void logDebug(const char *format, ...) noexcept
{
    va_list args;
    va_start(args, format);
    g_logv("KyrCam", G_LOG_LEVEL_DEBUG, format, args);
    va_end(args);
}

} // namespace KyrCam
