// The node map of a whole parameter array: a handle scripts only pass on.
#pragma once

#include <CXX/Extensions.hxx>

#include <camera/KyrGenParam.h>

#include "camera/Lifetime.h"

namespace KyrCamPy {
class KyrCameraApiPy;
}

namespace KyrGenParamPy {

class PyGenParamNodeMap : public Py::PythonExtension<PyGenParamNodeMap>
{
public:
    PyGenParamNodeMap(KyrGenParam::NodeMap *nodeMap, KyrCamPy::Lifetime::Ref lifetime);

    KyrGenParam::NodeMap *nodeMap() const { return nodeMap_.get(); }

private:
    friend class KyrCamPy::KyrCameraApiPy;  // registers the type

    KyrCamPy::Borrowed<KyrGenParam::NodeMap> nodeMap_;
};

} // namespace KyrGenParamPy
