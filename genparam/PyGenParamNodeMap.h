// The node map of a whole parameter array: a handle scripts only pass on.
#pragma once

#include <CXX/Extensions.hxx>

#include <camera/KyrGenParam.h>

namespace KyrCamPy {
class KyrCameraApiPy;
}

namespace KyrGenParamPy {

class PyGenParamNodeMap : public Py::PythonExtension<PyGenParamNodeMap>
{
public:
    explicit PyGenParamNodeMap(KyrGenParam::NodeMap *nodeMap);

    KyrGenParam::NodeMap *nodeMap() const { return nodeMap_; }

private:
    friend class KyrCamPy::KyrCameraApiPy;  // registers the type

    KyrGenParam::NodeMap *nodeMap_;
};

} // namespace KyrGenParamPy
