#include "PyImage.h"

namespace KyrCamPy {

PyImage::PyImage(KyrImage *image, KyrCam::Buffer *buffer, std::shared_ptr<StreamLink> link)
    : image_(image)
    , buffer_(buffer)
    , link_(std::move(link))
{
    link_->attach(this);
}

PyImage::~PyImage()
{
    link_->detach(this);
}

KyrImage *PyImage::nativeImage() const
{
    return link_->stream() ? image_ : nullptr;
}

void PyImage::forgetBuffer(KyrCam::Buffer *buffer)
{
    if (!buffer || buffer == buffer_)
        image_ = nullptr;
}

} // namespace KyrCamPy
