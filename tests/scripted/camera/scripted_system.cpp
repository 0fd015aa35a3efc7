#include "scripted_system.h"

#include <new>
#include <vector>

#include "script.h"
#include "scripted_format.h"
#include "scripted_objects.h"

namespace Scripted {

namespace {

std::string text(const char *value)
{
    return value ? "'" + std::string(value) + "'" : "null";
}

// A snapshot of interfaces, counted as an object its caller must release.
class ScriptedInterfaceList : public KyrCam::InterfaceList
{
public:
    explicit ScriptedInterfaceList(std::vector<KyrCam::Interface *> interfaces)
        : interfaces_(std::move(interfaces))
    {
        objectCreated();
    }

    KyrCam::Interface *GetFirst() noexcept override
    {
        next_ = 0;
        return GetNext();
    }

    KyrCam::Interface *GetNext() noexcept override
    {
        return next_ < interfaces_.size() ? interfaces_[next_++] : nullptr;
    }

    void Release() noexcept override
    {
        record("interfaceList.Release()");
        objectReleased();
        delete this;
    }

private:
    const std::vector<KyrCam::Interface *> interfaces_;
    size_t next_ = 0;
};

} // namespace

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
    return new (std::nothrow) ScriptedInterfaceList(std::move(interfaces));
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
    record("system.RegisterGenTLProvider(" + text(path) + ")");
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
