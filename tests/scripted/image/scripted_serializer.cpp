// The scripted libKyrImageSerializer. Answers:
// "KyrImageSerializer_CreateComponent" and "KyrImageSerializer_GetComponent"
// ("null" for none), "serializer.Save.err", "serializer.StartMovieRecord.err",
// "serializer.FinishRecord.err", and the parameters' answers under
// "serializer" (GetString answers the compressor list).
#include <image/KyrImageSerializer.h>

#include <cstdio>
#include <memory>

#include "scripted_image.h"

using namespace Scripted;

struct KyrImageSerializer {
    ScriptedParams params{ "serializer" };
};

KyrImageSerializer *KyrImageSerializer_CreateComponent(int32_t kind) noexcept
{
    record("KyrImageSerializer_CreateComponent(" + std::to_string(kind) + ")");
    if (answerIsNull({ "KyrImageSerializer_CreateComponent" }))
        return nullptr;
    return std::make_unique<KyrImageSerializer>().release();
}

void KyrImageSerializer_DeleteComponent(KyrImageSerializer *serializer) noexcept
{
    record("KyrImageSerializer_DeleteComponent()");
    std::unique_ptr<KyrImageSerializer> owned(serializer);
}

KyrImageParams *KyrImageSerializer_GetComponent(KyrImageSerializer *serializer) noexcept
{
    record("KyrImageSerializer_GetComponent()");
    if (!serializer || answerIsNull({ "KyrImageSerializer_GetComponent" }))
        return nullptr;
    return &serializer->params;
}

KyrImageStatus KyrImageSerializer_Save(KyrImageSerializer *, const KyrImage *image, const char *fileName) noexcept
{
    return replyStatus("serializer.Save", "serializer.Save(" + describeImage(image) + ", " + quoted(fileName) + ")");
}

KyrImageStatus KyrImageSerializer_StartMovieRecord(KyrImageSerializer *, const KyrImage *image, const char *fileName,
                                                   double frameRate) noexcept
{
    char rate[32];
    std::snprintf(rate, sizeof rate, "%g", frameRate);
    return replyStatus("serializer.StartMovieRecord", "serializer.StartMovieRecord(" + describeImage(image) + ", " +
                                                          quoted(fileName) + ", " + rate + ")");
}

KyrImageStatus KyrImageSerializer_FinishRecord(KyrImageSerializer *) noexcept
{
    return replyStatus("serializer.FinishRecord", "serializer.FinishRecord()");
}
