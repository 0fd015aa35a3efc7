// A text feature.
#pragma once

#include <CXX/Extensions.hxx>

#include <camera/KyrGenParam.h>

#include "camera/Lifetime.h"

namespace KyrCamPy {
class KyrCameraApiPy;
}

namespace KyrGenParamPy {

class PyGenParamString : public Py::PythonExtension<PyGenParamString>
{
public:
    PyGenParamString(KyrGenParam::String *node, KyrCamPy::Lifetime::Ref lifetime);

    Py::Object GetType();
    Py::Object IsWritable();
    Py::Object IsReadable();
    Py::Object GetValue();
    Py::Object GetMaxLength();
    Py::Object SetValue(const Py::Tuple &args);

private:
    friend class KyrCamPy::KyrCameraApiPy;  // registers the type

    KyrCamPy::Borrowed<KyrGenParam::String> node_;
};

} // namespace KyrGenParamPy
