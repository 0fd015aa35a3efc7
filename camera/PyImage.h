// The image description of a filled buffer, handed to the display and image
// functions. It has no Python methods; its type is made on first use and keeps
// the class's run-time type name.
#pragma once

#include <CXX/Extensions.hxx>

struct KyrImage;

namespace KyrCamPy {

class PyImage : public Py::PythonExtension<PyImage>
{
public:
    // `image` is borrowed from the buffer (null included): valid only until the
    // buffer is queued again, revoked or released.
    explicit PyImage(KyrImage *image);

    KyrImage *nativeImage() const;

private:
    KyrImage *image_;
};

} // namespace KyrCamPy
