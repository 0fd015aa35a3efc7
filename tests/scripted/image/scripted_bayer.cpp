// The scripted libKyrDemosaicing. Answers: "KyrBayer_CreateComponent" ("null"
// for none) and "bayer.ConvertImage.err".
#include <image/KyrBayer.h>

#include <memory>

#include "scripted_image.h"

using namespace Scripted;

struct KyrBayer {
};

KyrBayer *KyrBayer_CreateComponent() noexcept
{
    record("KyrBayer_CreateComponent()");
    if (answerIsNull({ "KyrBayer_CreateComponent" }))
        return nullptr;
    return std::make_unique<KyrBayer>().release();
}

void KyrBayer_DeleteComponent(KyrBayer *bayer) noexcept
{
    record("KyrBayer_DeleteComponent()");
    std::unique_ptr<KyrBayer> owned(bayer);
}

KyrImageStatus KyrBayer_ConvertImage(KyrBayer *, const KyrImage *source, KyrImage *target) noexcept
{
    return replyStatus("bayer.ConvertImage",
                       "bayer.ConvertImage(" + describeImage(source) + ", " + describeImage(target) + ")");
}
