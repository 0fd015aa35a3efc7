// A text feature.
#pragma once

#include <CXX/Extensions.hxx>

#include <camera/KyrGenParam.h>

namespace KyrCamPy {
class KyrCameraApiPy;
}

namespace KyrGenParamPy {

class PyGenParamString : public Py::PythonExtension<PyGenParamString>
{
public:
    explicit PyGenParamString(KyrGenParam::String *node);

    Py::Object GetType();
    Py::Object IsWritable();
    Py::Object IsReadable();
    Py::Object GetValue();
    Py::Object GetMaxLength();
    Py::Object SetValue(const Py::Tuple &args);

private:
    friend class KyrCamPy::KyrCameraApiPy;  // registers the type

    KyrGenParam::String *node_;
};

} // namespace KyrGenParamPy
