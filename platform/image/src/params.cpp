#include "params_private.h"

#include <cstring>
#include <new>

namespace KyrImageLib {

void ParamSet::declareInt(const std::string &name, int64_t initial)
{
    ints_[name] = initial;
}

void ParamSet::declareString(const std::string &name, const std::string &initial, bool readOnly)
{
    strings_[name] = Text{ initial, readOnly };
}

KyrImageStatus ParamSet::SetInt(const char *name, int64_t value) noexcept
{
    if (!name)
        return kKyrImageErrInvalidArgument;
    const auto found = ints_.find(name);
    if (found == ints_.end())
        return kKyrImageErrUnknownParameter;
    found->second = value;
    return kKyrImageOk;
}

KyrImageStatus ParamSet::SetString(const char *name, const char *value) noexcept
{
    if (!name || !value)
        return kKyrImageErrInvalidArgument;
    const auto found = strings_.find(name);
    if (found == strings_.end() || found->second.readOnly)
        return kKyrImageErrUnknownParameter;
    try {
        found->second.value = value;
    } catch (const std::bad_alloc &) {
        return kKyrImageErrOutOfMemory;
    }
    return kKyrImageOk;
}

KyrImageStatus ParamSet::GetString(const char *name, char *buffer, uint32_t bufferSize) noexcept
{
    if (!name || !buffer || bufferSize == 0)
        return kKyrImageErrInvalidArgument;
    const auto found = strings_.find(name);
    if (found == strings_.end())
        return kKyrImageErrUnknownParameter;
    const std::string &text = found->second.value;
    const size_t copied = text.size() < bufferSize ? text.size() : bufferSize - 1;
    std::memcpy(buffer, text.data(), copied);
    buffer[copied] = '\0';
    return copied == text.size() ? kKyrImageOk : kKyrImageErrBufferTooSmall;
}

int64_t ParamSet::intValue(const std::string &name) const noexcept
{
    return ints_.find(name)->second;
}

const std::string &ParamSet::stringValue(const std::string &name) const noexcept
{
    return strings_.find(name)->second.value;
}

} // namespace KyrImageLib
