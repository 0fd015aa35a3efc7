// A boolean feature.
#pragma once

#include <CXX/Extensions.hxx>

#include <camera/KyrGenParam.h>

namespace KyrCamPy {
class KyrCameraApiPy;
}

namespace KyrGenParamPy {

class PyGenParamBoolean : public Py::PythonExtension<PyGenParamBoolean>
{
public:
    explicit PyGenParamBoolean(KyrGenParam::Boolean *node);

    Py::Object GetType();
    Py::Object GetValue();
    Py::Object SetValue(const Py::Tuple &args);
    Py::Object IsWritable();
    Py::Object IsReadable();

private:
    friend class KyrCamPy::KyrCameraApiPy;  // registers the type

    KyrGenParam::Boolean *node_;
};

} // namespace KyrGenParamPy
