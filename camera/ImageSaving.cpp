// The module's still image and movie functions: each frame goes through the
// image components its pixel type needs (unpacker, converter, demosaicing)
// and then to the serializer.
#include "KyrCameraApiPy.h"

#include <cstring>
#include <vector>

#include <image/KyrPixelType.h>

#include "Conversion.h"
#include "ErrorReport.h"
#include "PixelFormat.h"
#include "PyBuffer.h"

namespace KyrCamPy {

namespace {

// Movie compressor names are kept to this many bytes.
constexpr size_t kCompressorNameMax = 127;
// The serializer's compressor list is read into this many bytes.
constexpr uint32_t kCompressorListSize = 256;


bool isUnpackedBayer(uint32_t code)
{
    return (code >= kKyrPixelBayerGR8 && code <= kKyrPixelBayerBG8) ||
           (code >= kKyrPixelBayerGR10 && code <= kKyrPixelBayerBG12);
}

bool isPackedBayer(uint32_t code)
{
    return KyrPixelClassOf(code) == kKyrPixelClassBayer && KyrUnpackedTypeOf(code) != 0;
}

// The PyBuffer in `object`, or null for anything else.
PyBuffer *asBuffer(const Py::Object &object)
{
    return PyBuffer::check(object) ? static_cast<PyBuffer *>(object.ptr()) : nullptr;
}

// The text after the last "." of the name, or the whole name without one.
std::string extensionOf(const std::string &fileName)
{
    const size_t dot = fileName.rfind('.');
    return dot == std::string::npos ? fileName : fileName.substr(dot + 1);
}

KyrImageSize sizeOf(const KyrImage &image)
{
    return KyrImageSize{ image.width, image.height };
}

// An image made with KyrCreateImage for one still save, released on every path.
class ScopedImage
{
public:
    ScopedImage() = default;
    ScopedImage(const ScopedImage &) = delete;
    ScopedImage &operator=(const ScopedImage &) = delete;
    ~ScopedImage()
    {
        if (image_)
            KyrReleaseImage(&image_);
    }
    KyrImage **out() { return &image_; }
    KyrImage *get() const { return image_; }

private:
    KyrImage *image_ = nullptr;
};

void releaseImage(KyrImage *&image)
{
    if (image)
        KyrReleaseImage(&image);
}

} // namespace

PyBuffer *KyrCameraApiPy::bufferArgument(const Py::Tuple &args, Py_ssize_t needed)
{
    if (args.length() < needed) {
        reportLine("Not enough args\n");
        lastError_ = KyrCam::kErrNotEnoughArguments;
        return nullptr;
    }
    PyBuffer *buffer = asBuffer(args[0]);
    if (!buffer)
        reportLine("Invalid image buffer\n");
    return buffer;
}

KyrImage *KyrCameraApiPy::frameOf(const PyBuffer &buffer, const char *noImage)
{
    KyrCam::Buffer *native = buffer.nativeBuffer();
    if (!native) {
        reportLine("Invalid kyrImage buffer\n");
        return nullptr;
    }
    KyrImage *frame = native->GetImage();
    if (!frame)
        reportLine(noImage);
    return frame;
}

KyrImageConverter *KyrCameraApiPy::converter()
{
    if (!converter_)
        converter_ = KyrImageConverter_CreateComponent();
    return converter_;
}

KyrBayer *KyrCameraApiPy::bayer()
{
    if (!bayer_)
        bayer_ = KyrBayer_CreateComponent();
    return bayer_;
}

bool KyrCameraApiPy::saveMono16(KyrImage *image, const std::string &fileName)
{
    // Made on this path even for a TIFF, which keeps the 16-bit image.
    KyrImageConverter *const toMono8 = converter();
    KyrImageStatus status = kKyrImageOk;
    if (extensionOf(fileName) == "tiff") {
        status = KyrImageSerializer_Save(serializer_, image, fileName.c_str());
    } else {
        ScopedImage mono8;
        status = KyrCreateImage(mono8.out(), sizeOf(*image), kKyrPixelMono8);
        if (status == kKyrImageOk) {
            lastError_ = static_cast<KyrCamErr>(KyrImageConverter_ConvertImage(toMono8, image, mono8.get()));
            status = KyrImageSerializer_Save(serializer_, mono8.get(), fileName.c_str());
        }
    }
    lastError_ = static_cast<KyrCamErr>(status);
    if (status != kKyrImageOk) {
        reportFormat("KyrImageSerializer_Save failed, error code: %d\n", lastError_);
        return false;
    }
    return true;
}

bool KyrCameraApiPy::saveBayer(KyrImage *image, const std::string &fileName)
{
    KyrBayer *const demosaic = bayer();
    ScopedImage rgb;
    lastError_ = static_cast<KyrCamErr>(KyrCreateImage(rgb.out(), sizeOf(*image), kKyrPixelRGB8));
    if (!rgb.get()) {
        reportLine("Error, unable to create RGB image\n");
        return false;
    }
    KyrImageStatus status = KyrBayer_ConvertImage(demosaic, image, rgb.get());
    lastError_ = static_cast<KyrCamErr>(status);
    if (status != kKyrImageOk)
        reportFormat("KyrBayer_ConvertImage failed, error code: 0x%X\n", status);
    status = KyrImageSerializer_Save(serializer_, rgb.get(), fileName.c_str());
    lastError_ = static_cast<KyrCamErr>(status);
    if (status != kKyrImageOk)
        reportFormat("KyrImageSerializer_Save failed, filename: %s  error code: 0x%X\n", fileName.c_str(), status);
    return status == kKyrImageOk;
}

KyrImage *KyrCameraApiPy::unpackStill(KyrImage *frame, uint32_t unpackedType)
{
    if (!unpacker_)
        unpacker_ = KyrImageUnpacker_CreateComponent();
    KyrImageParams *params = KyrImageUnpacker_GetComponent(unpacker_);
    if (!params) {
        reportLine("Error, KyrImageUnpacker_GetComponent\n");
        return nullptr;
    }
    params->SetInt("cameraType", 0);
    params->SetInt("width", frame->width);
    params->SetInt("height", frame->height);
    KyrImage *unpacked = nullptr;
    lastError_ = static_cast<KyrCamErr>(KyrCreateImage(&unpacked, sizeOf(*frame), unpackedType));
    const KyrImageStatus status = KyrImageUnpacker_Unpack(unpacker_, frame, unpacked);
    lastError_ = static_cast<KyrCamErr>(status);
    if (status != kKyrImageOk) {
        reportLine("Error, KyrImageUnpacker_Unpack\n");
        releaseImage(unpacked);
        return nullptr;
    }
    return unpacked;
}

Py::Object KyrCameraApiPy::PySaveImage(const Py::Tuple &args)
{
    PyBuffer *buffer = bufferArgument(args, 2);
    if (!buffer)
        return Py::False();
    const std::string fileName = strToUtf8(args[1]);
    if (!serializer_)
        serializer_ = KyrImageSerializer_CreateComponent(kKyrSerializerStill);
    KyrImage *frame = frameOf(*buffer, "Invalid kyrImage buffer pointer\n");
    if (!frame)
        return Py::False();

    const uint32_t code = frame->pixelType;
    if (code == kKyrPixelMono8) {
        const KyrImageStatus status = KyrImageSerializer_Save(serializer_, frame, fileName.c_str());
        lastError_ = static_cast<KyrCamErr>(status);
        if (status != kKyrImageOk) {
            reportFormat("KyrImageSerializer_Save failed, error code: %d\n", lastError_);
            return Py::False();
        }
        return Py::True();
    }
    if (code == kKyrPixelMono10 || code == kKyrPixelMono12)
        return Py::Boolean(saveMono16(frame, fileName));
    if (isUnpackedBayer(code))
        return Py::Boolean(saveBayer(frame, fileName));
    if (code == kKyrPixelMono10Packed || code == kKyrPixelMono12Packed || isPackedBayer(code)) {
        KyrImage *unpacked = unpackStill(frame, KyrUnpackedTypeOf(code));
        if (!unpacked)
            return Py::False();
        const bool saved = isPackedBayer(code) ? saveBayer(unpacked, fileName) : saveMono16(unpacked, fileName);
        releaseImage(unpacked);
        return Py::Boolean(saved);
    }
    reportLine("Error, not supported pixel type\n");
    return Py::False();
}

Py::Object KyrCameraApiPy::PyStartMovieRecord(const Py::Tuple &args)
{
    PyBuffer *buffer = bufferArgument(args, 4);
    if (!buffer)
        return Py::False();
    const std::string fileName = strToUtf8(args[1]);
    const double frameRate = toDouble(args[2]);
    std::string compressor = strToUtf8(args[3]);
    KyrImage *frame = frameOf(*buffer, "Invalid kyrImage buffer pointer\n");
    if (!frame)
        return Py::False();

    releaseImage(movieImage_);
    releaseImage(unpackImage_);
    // Every frame of the movie becomes grey or colour as its first frame is.
    const uint32_t target = KyrPixelClassOf(frame->pixelType) == kKyrPixelClassMono ? kKyrPixelMono8 : kKyrPixelBGR8;
    KyrCreateImage(&movieImage_, sizeOf(*frame), target);
    if (KyrPixelPackingOf(frame->pixelType) != 0)
        KyrCreateImage(&unpackImage_, sizeOf(*frame),
                       frame->pixelType == kKyrPixelMono10Packed ? kKyrPixelMono10 : kKyrPixelMono12);

    if (!serializer_)
        serializer_ = KyrImageSerializer_CreateComponent(kKyrSerializerStillAndMovie);
    if (!serializer_)
        return Py::False();
    KyrImageParams *params = KyrImageSerializer_GetComponent(serializer_);
    if (!params) {
        reportLine("Error, KyrImageSerializer_GetComponent\n");
        releaseImage(movieImage_);
        return Py::False();
    }
    params->SetInt("add.palette", 0);
    params->SetInt("ticks.per.sec", 100000000);
    params->SetInt("min.quantizer", 15);
    params->SetInt("max.quantizer", 15);
    if (compressor.size() > kCompressorNameMax)
        compressor.resize(kCompressorNameMax);
    params->SetString("movie.compressor", compressor.c_str());

    const KyrImageStatus status =
        KyrImageSerializer_StartMovieRecord(serializer_, movieImage_, fileName.c_str(), frameRate);
    lastError_ = static_cast<KyrCamErr>(status);
    if (status != kKyrImageOk) {
        reportFormat("KyrImageSerializer_StartMovieRecord failed.  error code: 0x%X\n", status);
        return Py::False();
    }
    return Py::True();
}

bool KyrCameraApiPy::ensureMovieUnpacker(const KyrImage &frame)
{
    if (unpacker_)
        return true;
    // Set only when made here: a kept unpacker keeps the geometry set last.
    unpacker_ = KyrImageUnpacker_CreateComponent();
    KyrImageParams *params = KyrImageUnpacker_GetComponent(unpacker_);
    if (!params) {
        reportLine("Error, KyrImageUnpacker_GetComponent\n");
        return false;
    }
    params->SetInt("cameraType", 0);
    params->SetInt("width", frame.width);
    params->SetInt("height", frame.height);
    return true;
}

Py::Object KyrCameraApiPy::PySaveMovieFrame(const Py::Tuple &args)
{
    PyBuffer *buffer = bufferArgument(args, 1);
    if (!buffer)
        return Py::False();
    KyrImage *frame = frameOf(*buffer, "Invalid kyrImage buffer\n");
    if (!frame)
        return Py::False();
    if (!serializer_)
        return Py::False();

    const uint32_t code = frame->pixelType;
    KyrImage *image = movieImage_;
    if (code == kKyrPixelMono8) {
        image = frame;
    } else if (code == kKyrPixelMono10 || code == kKyrPixelMono12) {
        lastError_ = static_cast<KyrCamErr>(KyrImageConverter_ConvertImage(converter(), frame, movieImage_));
    } else if (code == kKyrPixelMono10Packed || code == kKyrPixelMono12Packed) {
        if (!ensureMovieUnpacker(*frame))
            return Py::False();
        const KyrImageStatus status = KyrImageUnpacker_Unpack(unpacker_, frame, unpackImage_);
        lastError_ = static_cast<KyrCamErr>(status);
        if (status != kKyrImageOk) {
            reportLine("Error, KyrImageUnpacker_Unpack\n");
            return Py::False();
        }
        lastError_ =
            static_cast<KyrCamErr>(KyrImageConverter_ConvertImage(converter(), unpackImage_, movieImage_));
    } else if (isUnpackedBayer(code)) {
        const KyrImageStatus status = KyrBayer_ConvertImage(bayer(), frame, movieImage_);
        lastError_ = static_cast<KyrCamErr>(status);
        if (status != kKyrImageOk)
            reportFormat("KyrBayer_ConvertImage failed, error code: 0x%X\n", status);
    } else if (isPackedBayer(code)) {
        if (!ensureMovieUnpacker(*frame))
            return Py::False();
        if (unpackImage_) {
            // The unpack image was made for grey samples: describe it as the
            // Bayer type; the unpacker fills in its geometry.
            const uint32_t unpacked = KyrUnpackedTypeOf(code);
            const PixelFormat *row = pixelFormatOf(unpacked);
            unpackImage_->pixelType = unpacked;
            unpackImage_->width = 0;
            unpackImage_->height = 0;
            unpackImage_->bitDepth = row->bitDepth;
            unpackImage_->components = row->components;
            unpackImage_->packing = (unpacked >> 8) & 0xFF;
            unpackImage_->bitsPerPixel = KyrPixelBitsOf(unpacked);
        }
        KyrImageStatus status = KyrImageUnpacker_Unpack(unpacker_, frame, unpackImage_);
        lastError_ = static_cast<KyrCamErr>(status);
        if (status != kKyrImageOk) {
            reportLine("Error, KyrImageUnpacker_Unpack\n");
            return Py::False();
        }
        status = KyrBayer_ConvertImage(bayer(), unpackImage_, movieImage_);
        lastError_ = static_cast<KyrCamErr>(status);
        if (status != kKyrImageOk) {
            reportFormat("KyrBayer_ConvertImage failed, error code: 0x%X\n", status);
            return Py::False();
        }
    } else {
        if (lastError_ == KyrCam::kOk)
            return Py::True();
        reportFormat("KyrImageSerializer_Save failed.  error code: 0x%X\n", static_cast<uint32_t>(lastError_));
        return Py::False();
    }

    const KyrImageStatus status = KyrImageSerializer_Save(serializer_, image, nullptr);
    lastError_ = static_cast<KyrCamErr>(status);
    if (status != kKyrImageOk) {
        reportFormat("KyrImageSerializer_Save failed.  error code: 0x%X\n", status);
        return Py::False();
    }
    return Py::True();
}

Py::Object KyrCameraApiPy::PyFinishRecord()
{
    if (!serializer_)
        return Py::True();
    const KyrImageStatus status = KyrImageSerializer_FinishRecord(serializer_);
    lastError_ = static_cast<KyrCamErr>(status);
    releaseImage(movieImage_);
    releaseImage(unpackImage_);
    if (status != kKyrImageOk) {
        reportFormat("KyrImageSerializer_FinishRecord failed.  error code: 0x%X\n", status);
        return Py::False();
    }
    return Py::True();
}

Py::Object KyrCameraApiPy::PyGetVideoCompressors()
{
    if (!serializer_)
        serializer_ = KyrImageSerializer_CreateComponent(kKyrSerializerStillAndMovie);
    if (!serializer_)
        return Py::None();
    KyrImageParams *params = KyrImageSerializer_GetComponent(serializer_);
    if (!params) {
        reportLine("Error, KyrImageSerializer_GetComponent\n");
        return Py::None();
    }
    std::vector<char> text(kCompressorListSize, '\0');
    const KyrImageStatus status = params->GetString("movie.compressors", text.data(), kCompressorListSize);
    lastError_ = static_cast<KyrCamErr>(status);
    if (status != kKyrImageOk)
        return Py::None();
    // Every name ends with "|"; text after the last one is no name.
    Py::List names;
    const std::string list(text.data());
    for (size_t start = 0, bar; (bar = list.find('|', start)) != std::string::npos; start = bar + 1)
        names.append(fromUtf8(list.substr(start, bar - start).c_str()));
    return names;
}

void KyrCameraApiPy::releaseImageComponents()
{
    if (serializer_)
        KyrImageSerializer_DeleteComponent(serializer_);
    if (bayer_)
        KyrBayer_DeleteComponent(bayer_);
    if (unpacker_)
        KyrImageUnpacker_DeleteComponent(unpacker_);
    if (converter_)
        KyrImageConverter_DeleteComponent(converter_);
    releaseImage(movieImage_);
    releaseImage(unpackImage_);
}

} // namespace KyrCamPy
