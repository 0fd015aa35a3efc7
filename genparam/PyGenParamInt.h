// An integer feature.
#pragma once

#include <CXX/Extensions.hxx>

#include <camera/KyrGenParam.h>

#include "camera/Lifetime.h"

namespace KyrCamPy {
class KyrCameraApiPy;
}

namespace KyrGenParamPy {

class PyGenParamInt : public Py::PythonExtension<PyGenParamInt>
{
public:
    PyGenParamInt(KyrGenParam::Int *node, KyrCamPy::Lifetime::Ref lifetime);

    Py::Object GetType();
    Py::Object GetValue();
    Py::Object SetValue(const Py::Tuple &args);
    Py::Object IsWritable();
    Py::Object IsReadable();
    Py::Object GetMin();
    Py::Object GetMax();
    Py::Object GetIncrement();

private:
    friend class KyrCamPy::KyrCameraApiPy;  // registers the type

    KyrCamPy::Borrowed<KyrGenParam::Int> node_;
};

} // namespace KyrGenParamPy
