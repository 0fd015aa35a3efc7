// The Aravis edge of the camera library: owning pointers for GObjects and the
// one place where a GError becomes a KyrCamErr.
#pragma once

#include <memory>
#include <string>

#include <arv.h>

#include <camera/KyrCamErr.h>

#include "aravis_compat_private.h"

namespace KyrCam {

struct GObjectUnref {
    void operator()(gpointer object) const noexcept { g_object_unref(object); }
};

// Owns one reference of a GObject.
template <typename T>
using GObjectPtr = std::unique_ptr<T, GObjectUnref>;

// Takes a new reference on `object` (null stays null).
template <typename T>
GObjectPtr<T> addRef(T *object) noexcept
{
    return GObjectPtr<T>(object ? static_cast<T *>(g_object_ref(object)) : nullptr);
}

// Maps an Aravis, GenICam or GIO error to our code, logs its message at debug
// level and frees it; `err` is null afterwards. Unknown pairs give kErrUnknown.
KyrCamErr takeError(GError *&err) noexcept;

// An error location that every Aravis call gets; `code()` takes the error when
// there is one (0 otherwise). Frees a pending error on destruction.
class AravisError
{
public:
    AravisError() = default;
    ~AravisError() { g_clear_error(&error_); }
    AravisError(const AravisError &) = delete;
    AravisError &operator=(const AravisError &) = delete;

    GError **out() noexcept { return &error_; }
    bool failed() const noexcept { return error_ != nullptr; }
    KyrCamErr code() noexcept { return error_ ? takeError(error_) : kOk; }

private:
    GError *error_ = nullptr;
};

// Debug-level log line of the library (shown with G_MESSAGES_DEBUG=KyrCam).
void logDebug(const char *format, ...) noexcept G_GNUC_PRINTF(1, 2);

} // namespace KyrCam
