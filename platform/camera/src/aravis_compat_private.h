// What the camera library uses from Aravis releases after 0.8.6 (Debian 11's),
// and what it does on a release without it. platform/camera/CMakeLists.txt
// looks for each part in the headers and defines KYR_ARAVIS_<part> when found.
#pragma once

#include <cstddef>
#include <string>

#include <arv.h>

namespace KyrCam {

#ifndef KYR_ARAVIS_PROTOCOL_ERRORS
// The GigE Vision protocol errors, with the codes later releases give them.
// An older Aravis never raises them itself; our own ports (local_port.cpp,
// gentl_port.cpp) do, and Aravis hands a port's error on unchanged.
constexpr int ARV_DEVICE_ERROR_PROTOCOL_ERROR_NOT_IMPLEMENTED = 12;
constexpr int ARV_DEVICE_ERROR_PROTOCOL_ERROR_INVALID_PARAMETER = 13;
constexpr int ARV_DEVICE_ERROR_PROTOCOL_ERROR_INVALID_ADDRESS = 14;
constexpr int ARV_DEVICE_ERROR_PROTOCOL_ERROR_WRITE_PROTECT = 15;
constexpr int ARV_DEVICE_ERROR_PROTOCOL_ERROR_BAD_ALIGNMENT = 16;
constexpr int ARV_DEVICE_ERROR_PROTOCOL_ERROR_ACCESS_DENIED = 17;
constexpr int ARV_DEVICE_ERROR_PROTOCOL_ERROR_BUSY = 18;
#endif

// Turns on the value range and access mode checks of a node tree; Aravis
// leaves both off, so values out of range and writes to read-only features
// would reach the device. Before Aravis has the access check (0.8.22), a write
// to a read-only feature is refused by the device or the port instead.
inline void enableChecks(ArvGc *gc) noexcept
{
    arv_gc_set_range_check_policy(gc, ARV_RANGE_CHECK_POLICY_ENABLE);
#ifdef KYR_ARAVIS_ACCESS_CHECK
    arv_gc_set_access_check_policy(gc, ARV_ACCESS_CHECK_POLICY_ENABLE);
#endif
}

// The version of the Aravis library loaded, or of its headers when the
// library cannot tell.
inline std::string aravisVersion()
{
#ifdef KYR_ARAVIS_RUNTIME_VERSION
    return std::to_string(arv_get_major_version()) + "." + std::to_string(arv_get_minor_version()) + "." +
           std::to_string(arv_get_micro_version());
#else
    return std::to_string(ARAVIS_MAJOR_VERSION) + "." + std::to_string(ARAVIS_MINOR_VERSION) + "." +
           std::to_string(ARAVIS_MICRO_VERSION);
#endif
}

// A GigE Vision stream's packet counter: "n_resent_packets" or
// "n_missing_packets".
inline guint64 gvStreamPackets(ArvStream *stream, const char *name) noexcept
{
#ifdef KYR_ARAVIS_STREAM_INFO
    return arv_stream_get_info_uint64_by_name(stream, name);
#else
    guint64 resent = 0, missing = 0;
    arv_gv_stream_get_statistics(ARV_GV_STREAM(stream), &resent, &missing);
    return std::string(name) == "n_resent_packets" ? resent : missing;
#endif
}

// The image of a complete frame: its first part when it is a 2D image, with
// its padding after each line and at the end; null when it has none. Before
// Aravis knows multi-part frames (0.8.23), the frame's data is its one image
// and the padding is not reported, so it is taken as none.
inline const void *frameImage(ArvBuffer *frame, size_t *size, gint *xPadding, gint *yPadding) noexcept
{
#ifdef KYR_ARAVIS_BUFFER_PARTS
    if (arv_buffer_get_n_parts(frame) < 1 || arv_buffer_get_part_data_type(frame, 0) != ARV_BUFFER_PART_DATA_TYPE_2D_IMAGE)
        return nullptr;
    arv_buffer_get_image_padding(frame, xPadding, yPadding);
    return arv_buffer_get_image_data(frame, size);
#else
    *xPadding = *yPadding = 0;
    return arv_buffer_get_data(frame, size);
#endif
}

} // namespace KyrCam
