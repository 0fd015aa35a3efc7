// A boolean feature.
#pragma once

#include <CXX/Extensions.hxx>

#include <camera/KyrGenParam.h>

#include "camera/Lifetime.h"

namespace KyrCamPy {
class KyrCameraApiPy;
}

namespace KyrGenParamPy {

class PyGenParamBoolean : public Py::PythonExtension<PyGenParamBoolean>
{
public:
    PyGenParamBoolean(KyrGenParam::Boolean *node, KyrCamPy::Lifetime::Ref lifetime);

    Py::Object GetType();
    Py::Object GetValue();
    Py::Object SetValue(const Py::Tuple &args);
    Py::Object IsWritable();
    Py::Object IsReadable();

private:
    friend class KyrCamPy::KyrCameraApiPy;  // registers the type

    KyrCamPy::Borrowed<KyrGenParam::Boolean> node_;
};

} // namespace KyrGenParamPy
