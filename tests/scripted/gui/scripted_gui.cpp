// The scripted libKyrCameraGuiApi. Calls are logged with their arguments as
// received, window titles quoted as UTF-8 ("SelectCameraW(system, \"Select
// Camera\", 0, 1) -> cam1"). Answers: "SelectCameraW" names the device info
// chosen ("null", the default, for a cancel), "ActionCameraW.err" the code it
// returns, "CreateGenParamTreeViewForArrayW" = "null" for no view. Views are
// named view1, view2, ... in order of creation. They are not counted as live
// objects (a script may drop its handle and leave the window open); a
// destroyed view is kept, and any later call on it counts as a use after
// release.
#include <gui/KyrCameraGui.h>

#include <atomic>
#include <cinttypes>
#include <cstdio>
#include <new>
#include <string>

#include "scripted_objects.h"
#include "script.h"

using namespace Scripted;

namespace {

std::atomic<int> viewsMade{ 0 };

// A wide title as UTF-8 in double quotes; code units that are no character
// show as \x{...}.
std::string quoted(const wchar_t *title)
{
    if (!title)
        return "null";
    std::string text = "\"";
    for (const wchar_t *unit = title; *unit; ++unit) {
        const auto code = static_cast<uint32_t>(*unit);
        if (code < 0x80) {
            text += char(code);
        } else if (code < 0x800) {
            text += char(0xC0 | code >> 6);
            text += char(0x80 | (code & 0x3F));
        } else if (code < 0x10000 && (code < 0xD800 || code > 0xDFFF)) {
            text += char(0xE0 | code >> 12);
            text += char(0x80 | (code >> 6 & 0x3F));
            text += char(0x80 | (code & 0x3F));
        } else if (code >= 0x10000 && code < 0x110000) {
            text += char(0xF0 | code >> 18);
            text += char(0x80 | (code >> 12 & 0x3F));
            text += char(0x80 | (code >> 6 & 0x3F));
            text += char(0x80 | (code & 0x3F));
        } else {
            char escaped[16];
            std::snprintf(escaped, sizeof escaped, "\\x{%" PRIx32 "}", code);
            text += escaped;
        }
    }
    return text + "\"";
}

class ScriptedTreeView final : public KyrGenParamTreeView
{
public:
    explicit ScriptedTreeView(int number)
        : name_("view" + std::to_string(number))
    {
    }

    const std::string &name() const { return name_; }

    void ClearParams() noexcept override { use("ClearParams"); }

    void destroy()
    {
        use("Destroy");
        retire(name_);
    }

private:
    // Destroyed views are never freed, so a caller that reaches one again is
    // counted (retire) rather than reading freed memory.
    ~ScriptedTreeView() override = default;

    void use(const std::string &operation) { record(name_ + "." + operation + "()"); }

    const std::string name_;
};

} // namespace

KyrCam::DeviceInfo *SelectCameraW(KyrCam::System *system, const wchar_t *title, int64_t parent, bool rescan) noexcept
{
    const std::string chosen = answer({ "SelectCameraW" }).value_or("null");
    record("SelectCameraW(" + nameOf(system) + ", " + quoted(title) + ", " + std::to_string(parent) + ", " +
           (rescan ? "1" : "0") + ") -> " + chosen);
    return chosen == "null" ? nullptr : deviceInfoNamed(chosen);
}

int32_t ActionCameraW(KyrCam::System *system, const wchar_t *title, int64_t parent) noexcept
{
    record("ActionCameraW(" + nameOf(system) + ", " + quoted(title) + ", " + std::to_string(parent) + ")");
    return int32_t(answerInt({ "ActionCameraW.err" }, 0));
}

KyrGenParamTreeView *CreateGenParamTreeViewForArrayW(KyrGenParam::Array *array, const wchar_t *title,
                                                     void *parent) noexcept
{
    char handle[32];
    std::snprintf(handle, sizeof handle, "%p", parent);
    const std::string call = "CreateGenParamTreeViewForArrayW(" + nameOf(array) + ", " + quoted(title) + ", " +
                             (parent ? handle : "0x0") + ")";
    if (answerIsNull({ "CreateGenParamTreeViewForArrayW" })) {
        record(call + " -> null");
        return nullptr;
    }
    auto *view = new (std::nothrow) ScriptedTreeView(++viewsMade);
    if (view) {
        revive(view->name());
        record(call + " -> " + view->name());
    }
    return view;
}

void DestroyGenParamTreeView(KyrGenParamTreeView *view) noexcept
{
    if (!view) {
        record("DestroyGenParamTreeView(null)");
        return;
    }
    static_cast<ScriptedTreeView *>(view)->destroy();
}
