// The parameter object of an image component: named integer and text settings
// that the component reads when it works.
#pragma once

#include <cstdint>

#include <image/KyrImage.h>
#include <image/KyrImageExport.h>

// Owned by its component and valid as long as the component is. Owner thread only:
// a component and its parameters are used from one thread at a time.
class KYRIMAGE_API KyrImageParams
{
public:
    // Sets an integer parameter. Codes: kKyrImageErrInvalidArgument (null name),
    // kKyrImageErrUnknownParameter (the component has no integer of that name).
    virtual KyrImageStatus SetInt(const char *name, int64_t value) noexcept = 0;
    // Sets a text parameter; the text is copied. Codes as SetInt, and
    // kKyrImageErrInvalidArgument for a null value.
    virtual KyrImageStatus SetString(const char *name, const char *value) noexcept = 0;
    // Copies a text parameter, NUL-terminated, into `buffer` of `bufferSize`
    // bytes. Codes as SetInt, and kKyrImageErrBufferTooSmall when the text and its
    // NUL do not fit (the buffer then holds as much as fits, NUL-terminated).
    virtual KyrImageStatus GetString(const char *name, char *buffer, uint32_t bufferSize) noexcept = 0;

protected:
    virtual ~KyrImageParams() = default;
};
