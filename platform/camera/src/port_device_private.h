// An ArvDevice whose memory is an object of ours, so that Aravis's GenICam
// engine can serve a description over registers that are no camera's: our
// own interface and transport features, a GenTL producer's ports. Any thread
// that the target allows.
#pragma once

#include <memory>
#include <string>

#include "aravis_support_private.h"
#include "genparam_private.h"

namespace KyrCam {

class PortTarget
{
public:
    // A failure sets `error` in ARV_DEVICE_ERROR.
    virtual gboolean readPort(guint64 address, guint32 size, void *buffer, GError **error) = 0;
    virtual gboolean writePort(guint64 address, guint32 size, const void *data, GError **error) = 0;

protected:
    ~PortTarget() = default;
};

// A port over `target`, which must stay valid until detachPort.
GObjectPtr<ArvDevice> newPort(PortTarget &target);
// Later accesses fail with a transfer error, without the target.
void detachPort(ArvDevice *port) noexcept;
// The parameters of `xml` over `port`, range and access checked; null when
// the description does not parse or has no Root.
std::unique_ptr<AravisParamArray> describePort(ArvDevice *port, const std::string &xml);

} // namespace KyrCam
