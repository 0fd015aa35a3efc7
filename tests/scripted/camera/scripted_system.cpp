#include "scripted_system.h"

#include <new>
#include <vector>

#include "script.h"
#include "scripted_format.h"
#include "scripted_list.h"
#include "scripted_objects.h"

namespace Scripted {

ScriptedSystem &ScriptedSystem::instance()
{
    static ScriptedSystem *system = new ScriptedSystem();
    return *system;
}

// Answers: "system.GetInterfaceList" = "null" for no list; the interfaces are
// the names in "system.interfaces" ("gige0,usb0"), whatever the mask.
KyrCam::InterfaceList *ScriptedSystem::GetInterfaceList(uint32_t mask) noexcept
{
    record("system.GetInterfaceList(" + std::to_string(mask) + ")");
    if (answerIsNull({ "system.GetInterfaceList" }))
        return nullptr;
    std::vector<KyrCam::Interface *> interfaces;
    for (const std::string &name : splitList(answer({ "system.interfaces" }).value_or("")))
        interfaces.push_back(interfaceNamed(name));
    return new (std::nothrow)
        ScriptedList<KyrCam::InterfaceList, KyrCam::Interface>("interfaceList.Release()", std::move(interfaces));
}

// Answers: the text; "Scripted system" by default.
const char *ScriptedSystem::GetDisplayName() noexcept
{
    record("system.GetDisplayName()");
    displayName_ = answer({ "system.GetDisplayName" }).value_or("Scripted system");
    return displayName_.c_str();
}

// Answers: the text; "0.0-scripted" by default.
const char *ScriptedSystem::GetVersion() noexcept
{
    record("system.GetVersion()");
    version_ = answer({ "system.GetVersion" }).value_or("0.0-scripted");
    return version_.c_str();
}

// Answers: the code; 0 by default.
KyrCamErr ScriptedSystem::RegisterGenTLProvider(const char *path) noexcept
{
    record("system.RegisterGenTLProvider(" + quoted(path) + ")");
    return static_cast<KyrCamErr>(answerInt({ "system.RegisterGenTLProvider" }, KyrCam::kOk));
}

} // namespace Scripted

// Answers: "KyrCam_GetSystem" = "null" for no system.
KyrCam::System *KyrCam_GetSystem() noexcept
{
    Scripted::record("KyrCam_GetSystem()");
    if (Scripted::answerIsNull({ "KyrCam_GetSystem" }))
        return nullptr;
    return &Scripted::ScriptedSystem::instance();
}
