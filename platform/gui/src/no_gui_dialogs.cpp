// libKyrCameraGuiApi built without Qt 6 (KYR_GUI=OFF, or no Qt 6 found, as on
// Debian 11): no dialog or tree view can ever be opened, so each call gives the
// library's "no GUI" answer and a line on stderr that says why.
#include <gui/KyrCameraGui.h>

#include <cstdio>

namespace {

void sayNoGui() noexcept
{
    std::fputs("KyrCameraGuiApi: built without Qt 6, so no dialog can be opened\n", stderr);
}

} // namespace

KyrCam::DeviceInfo *SelectCameraW(KyrCam::System *system, const wchar_t *, int64_t, bool) noexcept
{
    if (system)
        sayNoGui();
    return nullptr;
}

int32_t ActionCameraW(KyrCam::System *system, const wchar_t *, int64_t) noexcept
{
    if (!system)
        return KyrCam::kErrInvalidParameter;
    sayNoGui();
    return KyrCam::kErrAccessDenied;
}

KyrGenParamTreeView *CreateGenParamTreeViewForArrayW(KyrGenParam::Array *array, const wchar_t *, void *) noexcept
{
    if (array)
        sayNoGui();
    return nullptr;
}

// Only null views exist here.
void DestroyGenParamTreeView(KyrGenParamTreeView *) noexcept {}
