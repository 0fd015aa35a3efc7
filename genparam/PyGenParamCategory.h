// A category of the feature tree: the features directly under it.
#pragma once

#include <CXX/Extensions.hxx>

#include <camera/KyrGenParam.h>

#include "camera/Lifetime.h"

namespace KyrCamPy {
class KyrCameraApiPy;
}

namespace KyrGenParamPy {

class PyGenParamCategory : public Py::PythonExtension<PyGenParamCategory>
{
public:
    PyGenParamCategory(KyrGenParam::Category *node, KyrCamPy::Lifetime::Ref lifetime);

    Py::Object GetType();
    Py::Object GetCount();
    Py::Object GetParamByIndex(const Py::Tuple &args);

private:
    friend class KyrCamPy::KyrCameraApiPy;  // registers the type

    KyrCamPy::Borrowed<KyrGenParam::Category> node_;
};

} // namespace KyrGenParamPy
