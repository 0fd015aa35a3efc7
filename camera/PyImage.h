// The image description of a filled buffer, handed to the display and image
// functions. It has no Python methods; its type is made on first use and keeps
// the class's run-time type name.
#pragma once

#include <CXX/Extensions.hxx>

#include <memory>

#include "StreamLink.h"

struct KyrImage;

namespace KyrCamPy {

class PyImage : public Py::PythonExtension<PyImage>, public BufferUser
{
public:
    // `image` is borrowed from `buffer` of the stream of `link` (null
    // included): it shows whatever that buffer holds, and is gone once the
    // buffer is revoked or freed with its queue or stream.
    PyImage(KyrImage *image, KyrCam::Buffer *buffer, std::shared_ptr<StreamLink> link);
    ~PyImage() override;

    // The image; null once its buffer is gone.
    KyrImage *nativeImage() const;

    void forgetBuffer(KyrCam::Buffer *buffer) override;

private:
    KyrImage *image_;
    KyrCam::Buffer *buffer_;
    std::shared_ptr<StreamLink> link_;
};

} // namespace KyrCamPy
