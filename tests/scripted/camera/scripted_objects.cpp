#include "scripted_objects.h"

#include <map>
#include <memory>
#include <mutex>

#include "scripted_device_info.h"
#include "scripted_genparam.h"
#include "scripted_interface.h"
#include "scripted_system.h"

namespace Scripted {

namespace {

// Objects of one kind by name, made on first use and kept until the process
// ends (the registry itself is never destroyed, so no pointer handed out
// dangles during exit).
template <typename T>
class Registry
{
public:
    T *named(const std::string &name)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        std::unique_ptr<T> &slot = objects_[name];
        if (!slot)
            slot = std::make_unique<T>(name);
        return slot.get();
    }

private:
    std::mutex mutex_;
    std::map<std::string, std::unique_ptr<T>> objects_;
};

template <typename T>
Registry<T> &registry()
{
    static auto *instance = new Registry<T>();
    return *instance;
}

} // namespace

KyrCam::Interface *interfaceNamed(const std::string &name)
{
    return registry<ScriptedInterface>().named(name);
}

KyrCam::DeviceInfo *deviceInfoNamed(const std::string &name)
{
    return registry<ScriptedDeviceInfo>().named(name);
}

KyrGenParam::Array *arrayNamed(const std::string &name)
{
    return registry<ScriptedArray>().named(name);
}

std::string nameOf(KyrCam::DeviceInfo *info)
{
    if (!info)
        return "null";
    auto *scripted = dynamic_cast<ScriptedDeviceInfo *>(info);
    return scripted ? scripted->name() : "foreign";
}

std::string nameOf(KyrGenParam::Array *array)
{
    if (!array)
        return "null";
    auto *scripted = dynamic_cast<ScriptedArray *>(array);
    return scripted ? scripted->name() : "foreign";
}

std::string nameOf(KyrCam::System *system)
{
    if (!system)
        return "null";
    return system == &ScriptedSystem::instance() ? "system" : "foreign";
}

} // namespace Scripted
