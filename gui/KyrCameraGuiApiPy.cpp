#include "KyrCameraGuiApiPy.h"

#include <display/KyrDisplay.h>
#include <image/KyrImage.h>

#include "camera/Conversion.h"
#include "camera/ErrorReport.h"
#include "camera/PyImage.h"

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

} // namespace KyrGuiPy
