// The scripted libKyrImageApi: images made and released as the script says,
// each one counted as an object its caller must release.
#include <cstdio>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include <image/KyrImage.h>

#include "scripted_image.h"

namespace Scripted {

namespace {

struct MadeImage {
    KyrImage image{};
    std::vector<uint8_t> memory;
    int number = 0;
};

struct Registry {
    std::mutex mutex;
    std::map<const KyrImage *, std::unique_ptr<MadeImage>> images;
    int made = 0;
};

Registry &registry()
{
    static Registry *instance = new Registry();
    return *instance;
}

std::string hex(uint32_t code)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", code);
    return text;
}

} // namespace

std::string describeImage(const KyrImage *image)
{
    if (!image)
        return "null";
    std::string name = "frame";
    {
        Registry &r = registry();
        std::lock_guard<std::mutex> lock(r.mutex);
        const auto found = r.images.find(image);
        if (found != r.images.end())
            name = "image" + std::to_string(found->second->number);
    }
    return name + "(" + hex(image->pixelType) + " " + std::to_string(image->width) + "x" +
           std::to_string(image->height) + ")";
}

} // namespace Scripted

using namespace Scripted;

// Answers: "KyrCreateImage.err", a code that fails the call (0 by default).
// The image is tightly packed with zeroed memory, as the real one.
KyrImageStatus KyrCreateImage(KyrImage **image, KyrImageSize size, uint32_t pixelType) noexcept
{
    const std::string call = "KyrCreateImage(" + std::to_string(size.width) + "x" + std::to_string(size.height) +
                             ", " + hex(pixelType) + ")";
    const auto status = static_cast<KyrImageStatus>(answerInt({ "KyrCreateImage.err" }, kKyrImageOk));
    if (!image || status != kKyrImageOk) {
        record(call + " -> null");
        if (image)
            *image = nullptr;
        return image ? status : kKyrImageErrInvalidArgument;
    }
    auto made = std::make_unique<MadeImage>();
    const uint64_t stride = (uint64_t{ size.width } * KyrPixelBitsOf(pixelType) + 7) / 8;
    made->memory.assign(stride * size.height, 0);
    KyrImage &described = made->image;
    described.pixelType = pixelType;
    described.width = size.width;
    described.height = size.height;
    described.bitDepth = 6 + 2 * ((pixelType >> 8) & 0xF);
    described.components = 1;
    described.packing = (pixelType >> 8) & 0xFF;
    described.bitsPerPixel = KyrPixelBitsOf(pixelType);
    described.stride = static_cast<uint32_t>(stride);
    described.size = made->memory.size();
    described.data = made->memory.data();
    Registry &r = registry();
    int number = 0;
    {
        std::lock_guard<std::mutex> lock(r.mutex);
        number = made->number = ++r.made;
        *image = &made->image;
        r.images[*image] = std::move(made);
    }
    objectCreated();
    record(call + " -> image" + std::to_string(number));
    return kKyrImageOk;
}

// Releasing an image the scripted library did not make is a fault of the
// caller: logged, and answered with kKyrImageErrInvalidArgument.
KyrImageStatus KyrReleaseImage(KyrImage **image) noexcept
{
    if (!image)
        return kKyrImageErrInvalidArgument;
    record("KyrReleaseImage(" + describeImage(*image) + ")");
    if (!*image)
        return kKyrImageOk;
    Registry &r = registry();
    std::unique_ptr<MadeImage> released;
    {
        std::lock_guard<std::mutex> lock(r.mutex);
        const auto found = r.images.find(*image);
        if (found == r.images.end())
            return kKyrImageErrInvalidArgument;
        released = std::move(found->second);
        r.images.erase(found);
    }
    objectReleased();
    *image = nullptr;
    return kKyrImageOk;
}
