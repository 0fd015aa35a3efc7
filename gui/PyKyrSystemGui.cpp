#include "PyKyrSystemGui.h"

#include <gui/KyrCameraGui.h>

#include "camera/Conversion.h"
#include "camera/ErrorReport.h"
#include "camera/Lifetime.h"
#include "camera/PyDeviceInfo.h"

namespace KyrGuiPy {

Py::Object PyKyrSystemGui::SelectCamera(const Py::Tuple &args)
{
    const int64_t parent = args.length() >= 1 ? KyrCamPy::toInt64(args[0]) : 0;
    const bool rescan = args.length() >= 2 ? KyrCamPy::toBool(args[1]) : true;
    KyrCam::DeviceInfo *info = nullptr;
    {
        // The dialog stays open until the user closes it; other Python threads
        // and device events go on meanwhile.
        KyrCamPy::NativeCall call;
        info = SelectCameraW(system_, L"Select Camera", parent, rescan);
    }
    if (!info) {
        KyrCamPy::reportLine("Wrong deviceInfo\n");
        return Py::None();
    }
    return Py::asObject(new KyrCamPy::PyDeviceInfo(info));
}

} // namespace KyrGuiPy
