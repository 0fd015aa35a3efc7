#include "KyrCameraGuiApiPy.h"

#include <display/KyrDisplay.h>
#include <gui/KyrCameraGui.h>
#include <image/KyrImage.h>

#include "camera/Conversion.h"
#include "camera/ErrorReport.h"
#include "camera/Lifetime.h"
#include "camera/PyImage.h"
#include "genparam/PyGenParams.h"
#include "PyGenParamView.h"
#include "PyKyrSystemGui.h"

namespace KyrGuiPy {

namespace {

// Images this size or smaller on both sides configure the display.
constexpr uint32_t kMaxConfiguredSide = 20480;

bool configurable(const KyrImage &image)
{
    return image.width >= 1 && image.width <= kMaxConfiguredSide && image.height >= 1 &&
           image.height <= kMaxConfiguredSide;
}

} // namespace

Py::Object PyKyrCameraApiGui::factory_PyKyrSystem()
{
    return Py::asObject(new PyKyrSystemGui());
}

Py::Object PyKyrCameraApiGui::PyCreateDisplay(const Py::Tuple &args)
{
    if (args.length() < 1) {
        KyrCamPy::reportLine("Create display not enough actual args\n");
        return Py::False();
    }
    display_ = KyrDisplay::CreateComponent();
    if (!display_) {
        KyrCamPy::reportLine("Wrong display\n");
        return Py::False();
    }
    const uint64_t window = KyrCamPy::toUint64(args[0]);
    return Py::Boolean(display_->CreateDisplay(window, "auto", 0) == 0);
}

Py::Object PyKyrCameraApiGui::PyResetDisplay()
{
    resetDisplay_ = true;
    return Py::None();
}

Py::Object PyKyrCameraApiGui::PyShowImageOnDisplay(const Py::Tuple &args)
{
    if (args.length() < 1) {
        KyrCamPy::reportLine("ShowImageOnDisplay not enough actual args\n");
        return Py::None();
    }
    KyrImage *image = nullptr;
    if (KyrCamPy::PyImage::check(args[0]))
        image = static_cast<KyrCamPy::PyImage *>(args[0].ptr())->nativeImage();
    if (!image) {
        KyrCamPy::reportLine("Wrong image\n");
        return Py::None();
    }
    if (!display_) {
        KyrCamPy::reportLine("Wrong display\n");
        return Py::None();
    }
    if (resetDisplay_ && configurable(*image)) {
        display_->ConfigureForImage(image, "auto");
        resetDisplay_ = false;
    }
    display_->ShowImage(image);
    return Py::None();
}

Py::Object PyKyrCameraApiGui::PyCreateGenParamTreeViewForArray(const Py::Tuple &args)
{
    if (args.length() < 1) {
        KyrCamPy::reportLine("CreateGenParamTreeViewForArray not enough actual args\n");
        return Py::None();
    }
    if (!KyrGenParamPy::PyGenParams::check(args[0])) {
        KyrCamPy::reportLine("Wrong GenParams\n");
        return Py::None();
    }
    const auto *params = static_cast<KyrGenParamPy::PyGenParams *>(args[0].ptr());
    // A window handle, whatever its sign: its 64 bits as they are.
    void *parent = args.length() >= 2 ? reinterpret_cast<void *>(uintptr_t(KyrCamPy::toUint64(args[1]))) : nullptr;
    return Py::asObject(
        new PyGenParamView(params->array(), params->lifetime(), L"Gen<i>Cam camera parameters", parent));
}

Py::Object PyKyrCameraApiGui::PyDestroyGenParamTreeView(const Py::Tuple &args)
{
    if (args.length() < 1) {
        KyrCamPy::reportLine("DestroyGenParamTreeView not enough actual args\n");
        return Py::False();
    }
    if (!PyGenParamView::check(args[0]))
        return Py::False();
    static_cast<PyGenParamView *>(args[0].ptr())->release();
    return Py::True();
}

Py::Object PyKyrCameraApiGui::PyActionCamera(const Py::Tuple &args)
{
    const int64_t parent = args.length() >= 1 ? KyrCamPy::toInt64(args[0]) : 0;
    KyrCam::System *system = KyrCam_GetSystem();
    if (!system) {
        KyrCamPy::reportLine("Wrong System\n");
        return Py::None();
    }
    {
        // Modal: returns when the user closes the dialog.
        KyrCamPy::NativeCall call;
        ActionCameraW(system, L"Action Camera", parent);
    }
    return Py::None();
}

} // namespace KyrGuiPy
