#include "PyImage.h"

namespace KyrCamPy {

PyImage::PyImage(KyrImage *image)
    : image_(image)
{
}

KyrImage *PyImage::nativeImage() const
{
    return image_;
}

} // namespace KyrCamPy
