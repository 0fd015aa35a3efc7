#include "scripted_image.h"

#include <cstring>

namespace Scripted {

std::string quoted(const char *text)
{
    return text ? "'" + std::string(text) + "'" : "null";
}

KyrImageStatus replyStatus(const std::string &key, const std::string &call)
{
    record(call);
    return static_cast<KyrImageStatus>(answerInt({ key + ".err" }, kKyrImageOk));
}

ScriptedParams::ScriptedParams(std::string component)
    : component_(std::move(component))
{
}

KyrImageStatus ScriptedParams::SetInt(const char *name, int64_t value) noexcept
{
    return replyStatus(component_ + ".SetInt",
                       component_ + ".SetInt(" + quoted(name) + ", " + std::to_string(value) + ")");
}

KyrImageStatus ScriptedParams::SetString(const char *name, const char *value) noexcept
{
    return replyStatus(component_ + ".SetString",
                       component_ + ".SetString(" + quoted(name) + ", " + quoted(value) + ")");
}

KyrImageStatus ScriptedParams::GetString(const char *name, char *buffer, uint32_t bufferSize) noexcept
{
    record(component_ + ".GetString(" + quoted(name) + ", " + std::to_string(bufferSize) + ")");
    const std::string text = answer({ component_ + ".GetString" }).value_or("");
    KyrImageStatus status = kKyrImageOk;
    if (buffer && bufferSize > 0) {
        const size_t copied = text.size() < bufferSize ? text.size() : bufferSize - 1;
        std::memcpy(buffer, text.data(), copied);
        buffer[copied] = '\0';
        if (copied < text.size())
            status = kKyrImageErrBufferTooSmall;
    }
    return static_cast<KyrImageStatus>(answerInt({ component_ + ".GetString.err" }, status));
}

} // namespace Scripted
