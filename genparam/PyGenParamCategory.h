// A category of the feature tree: the features directly under it.
#pragma once

#include <CXX/Extensions.hxx>

#include <camera/KyrGenParam.h>

namespace KyrCamPy {
class KyrCameraApiPy;
}

namespace KyrGenParamPy {

class PyGenParamCategory : public Py::PythonExtension<PyGenParamCategory>
{
public:
    explicit PyGenParamCategory(KyrGenParam::Category *node);

    Py::Object GetType();
    Py::Object GetCount();
    Py::Object GetParamByIndex(const Py::Tuple &args);

private:
    friend class KyrCamPy::KyrCameraApiPy;  // registers the type

    KyrGenParam::Category *node_;
};

} // namespace KyrGenParamPy
