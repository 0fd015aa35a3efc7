// Shared pieces of the scripted image libraries: names for the images in the
// call log, and the parameter object of the scripted components.
#pragma once

#include <string>

#include <image/KyrImage.h>
#include <image/KyrImageParams.h>

#include "script.h"

namespace Scripted {

// An image as the log shows it: "image<N>(<type> <w>x<h>)" for one made by
// the scripted KyrCreateImage, "frame(...)" for any other (a camera buffer's),
// "null" for none. Exported by the scripted libKyrImageApi.
KYRSCRIPT_API std::string describeImage(const KyrImage *image);

// A component's parameters, logged as "<component>.SetInt('name', value)".
// Answers: "<component>.SetInt.err" and "<component>.SetString.err" (0 by
// default), "<component>.GetString" (the text; "" by default) and
// "<component>.GetString.err" (0, or kKyrImageErrBufferTooSmall when the text
// does not fit).
class ScriptedParams final : public KyrImageParams
{
public:
    explicit ScriptedParams(std::string component);

    KyrImageStatus SetInt(const char *name, int64_t value) noexcept override;
    KyrImageStatus SetString(const char *name, const char *value) noexcept override;
    KyrImageStatus GetString(const char *name, char *buffer, uint32_t bufferSize) noexcept override;

private:
    std::string component_;
};

// Records `call` for `component` and answers "<key>.err" (0 by default).
KyrImageStatus replyStatus(const std::string &key, const std::string &call);

// "'text'" or "null".
std::string quoted(const char *text);

} // namespace Scripted
