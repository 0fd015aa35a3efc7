// The low-level node behind a feature.
#pragma once

#include <CXX/Extensions.hxx>

#include <camera/KyrGenParam.h>

namespace KyrCamPy {
class KyrCameraApiPy;
}

namespace KyrGenParamPy {

class PyGenParamNode : public Py::PythonExtension<PyGenParamNode>
{
public:
    explicit PyGenParamNode(KyrGenParam::Node *node);

    Py::Object IsFeature();

private:
    friend class KyrCamPy::KyrCameraApiPy;  // registers the type

    KyrGenParam::Node *node_;
};

} // namespace KyrGenParamPy
