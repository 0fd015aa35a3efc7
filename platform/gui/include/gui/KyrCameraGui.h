// libKyrCameraGuiApi: ready-made dialogs for cameras and parameter trees.
//
// The dialogs run on the GUI thread of the display library. A call that opens a
// modal dialog blocks until the user closes it. Window titles are wide-character
// strings. `parent` is a native (X11) window id, 0 for none.
#pragma once

#include <cstdint>

#include <camera/KyrCamApi.h>
#include <camera/KyrGenParam.h>

#define KYRGUI_API __attribute__((visibility("default")))

// A parameter tree view window.
class KYRGUI_API KyrGenParamTreeView
{
public:
    // Empties the tree (the window stays open), for example before the array it
    // shows becomes invalid.
    virtual void ClearParams() noexcept = 0;

protected:
    virtual ~KyrGenParamTreeView() = default;
};

extern "C" {

// Modal dialog listing the cameras of every interface of `system`; rescans
// first when `rescan` is true. Returns the chosen camera's DeviceInfo (owned by
// the library), or null when the user cancels or no GUI can be opened.
KYRGUI_API KyrCam::DeviceInfo *SelectCameraW(KyrCam::System *system, const wchar_t *title, int64_t parent,
                                             bool rescan) noexcept;

// Modal dialog of actions on the cameras of `system`: open, show the features,
// force an IP address. Returns 0, -1009 (null system) or -1005 (no GUI).
KYRGUI_API int32_t ActionCameraW(KyrCam::System *system, const wchar_t *title, int64_t parent) noexcept;

// Opens a non-modal window showing the feature tree of `array`. Returns the view
// (owned by the caller: DestroyGenParamTreeView), or null for a null array or
// when no GUI can be opened.
KYRGUI_API KyrGenParamTreeView *CreateGenParamTreeViewForArrayW(KyrGenParam::Array *array, const wchar_t *title,
                                                                void *parent) noexcept;

// Closes the window and frees the view; null is accepted.
KYRGUI_API void DestroyGenParamTreeView(KyrGenParamTreeView *view) noexcept;

} // extern "C"
