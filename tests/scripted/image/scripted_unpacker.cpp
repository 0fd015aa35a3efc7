// The scripted libKyrImageUnpacker. Answers: "KyrImageUnpacker_CreateComponent"
// and "KyrImageUnpacker_GetComponent" ("null" for none), "unpacker.Unpack.err",
// and the parameters' answers under "unpacker".
#include <image/KyrImageUnpacker.h>

#include <memory>

#include "scripted_image.h"

using namespace Scripted;

struct KyrImageUnpacker {
    ScriptedParams params{ "unpacker" };
};

KyrImageUnpacker *KyrImageUnpacker_CreateComponent() noexcept
{
    record("KyrImageUnpacker_CreateComponent()");
    if (answerIsNull({ "KyrImageUnpacker_CreateComponent" }))
        return nullptr;
    return std::make_unique<KyrImageUnpacker>().release();
}

void KyrImageUnpacker_DeleteComponent(KyrImageUnpacker *unpacker) noexcept
{
    record("KyrImageUnpacker_DeleteComponent()");
    std::unique_ptr<KyrImageUnpacker> owned(unpacker);
}

KyrImageParams *KyrImageUnpacker_GetComponent(KyrImageUnpacker *unpacker) noexcept
{
    record("KyrImageUnpacker_GetComponent()");
    if (!unpacker || answerIsNull({ "KyrImageUnpacker_GetComponent" }))
        return nullptr;
    return &unpacker->params;
}

KyrImageStatus KyrImageUnpacker_Unpack(KyrImageUnpacker *, const KyrImage *source, KyrImage *target) noexcept
{
    return replyStatus("unpacker.Unpack",
                       "unpacker.Unpack(" + describeImage(source) + ", " + describeImage(target) + ")");
}
