#include "KyrCameraApiPy.h"

#include "Conversion.h"

namespace KyrCamPy {

KyrCameraApiPy::KyrCameraApiPy()
    : Py::ExtensionModule<KyrCameraApiPy>("KyrCameraApiPy")
{
    add_varargs_method("PyCreateDisplay", &KyrCameraApiPy::PyCreateDisplay, "");
    add_noargs_method("PyResetDisplay", &KyrCameraApiPy::PyResetDisplay, "");
    add_varargs_method("PyShowImageOnDisplay", &KyrCameraApiPy::PyShowImageOnDisplay, "");
    add_varargs_method("PyCreateGenParamTreeViewForArray", &KyrCameraApiPy::PyCreateGenParamTreeViewForArray, "");
    add_varargs_method("PyDestroyGenParamTreeView", &KyrCameraApiPy::PyDestroyGenParamTreeView, "");
    add_varargs_method("PyActionCamera", &KyrCameraApiPy::PyActionCamera, "");
    add_noargs_method("GetLastError", &KyrCameraApiPy::GetLastError, "");
    add_varargs_method("ErrorCodeToString", &KyrCameraApiPy::ErrorCodeToString, "");

    initialize("documentation for the KyrCameraApiPy module");
}

KyrCameraApiPy::~KyrCameraApiPy() = default;

Py::Object KyrCameraApiPy::PyCreateDisplay(const Py::Tuple &)
{
    return Py::None();
}

Py::Object KyrCameraApiPy::PyResetDisplay()
{
    return Py::None();
}

Py::Object KyrCameraApiPy::PyShowImageOnDisplay(const Py::Tuple &)
{
    return Py::None();
}

Py::Object KyrCameraApiPy::PyCreateGenParamTreeViewForArray(const Py::Tuple &)
{
    return Py::None();
}

Py::Object KyrCameraApiPy::PyDestroyGenParamTreeView(const Py::Tuple &)
{
    return Py::None();
}

Py::Object KyrCameraApiPy::PyActionCamera(const Py::Tuple &)
{
    return Py::None();
}

Py::Object KyrCameraApiPy::GetLastError()
{
    return Py::Long(static_cast<long>(lastError_));
}

Py::Object KyrCameraApiPy::ErrorCodeToString(const Py::Tuple &args)
{
    if (args.length() < 1) {
        lastError_ = KyrCam::kErrNotEnoughArguments;
        return Py::None();
    }
    // Codes are 32-bit: a wider value keeps only its low 32 bits.
    const auto code = static_cast<KyrCamErr>(static_cast<uint32_t>(toInt64(args[0])));
    return fromUtf8(GetKyrCamErrString(code));
}

} // namespace KyrCamPy
