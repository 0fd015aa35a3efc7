// The low-level node behind a feature.
#pragma once

#include <CXX/Extensions.hxx>

#include <camera/KyrGenParam.h>

#include "camera/Lifetime.h"

namespace KyrCamPy {
class KyrCameraApiPy;
}

namespace KyrGenParamPy {

class PyGenParamNode : public Py::PythonExtension<PyGenParamNode>
{
public:
    PyGenParamNode(KyrGenParam::Node *node, KyrCamPy::Lifetime::Ref lifetime);

    Py::Object IsFeature();

private:
    friend class KyrCamPy::KyrCameraApiPy;  // registers the type

    KyrCamPy::Borrowed<KyrGenParam::Node> node_;
};

} // namespace KyrGenParamPy
