// The scripted libKyrImageConverter. Answers:
// "KyrImageConverter_CreateComponent" ("null" for none) and
// "converter.ConvertImage.err".
#include <image/KyrImageConverter.h>

#include <memory>

#include "scripted_image.h"

using namespace Scripted;

struct KyrImageConverter {
};

KyrImageConverter *KyrImageConverter_CreateComponent() noexcept
{
    record("KyrImageConverter_CreateComponent()");
    if (answerIsNull({ "KyrImageConverter_CreateComponent" }))
        return nullptr;
    return std::make_unique<KyrImageConverter>().release();
}

void KyrImageConverter_DeleteComponent(KyrImageConverter *converter) noexcept
{
    record("KyrImageConverter_DeleteComponent()");
    std::unique_ptr<KyrImageConverter> owned(converter);
}

KyrImageStatus KyrImageConverter_ConvertImage(KyrImageConverter *, const KyrImage *source, KyrImage *target) noexcept
{
    return replyStatus("converter.ConvertImage",
                       "converter.ConvertImage(" + describeImage(source) + ", " + describeImage(target) + ")");
}
