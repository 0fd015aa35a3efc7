// A floating-point feature.
#pragma once

#include <CXX/Extensions.hxx>

#include <camera/KyrGenParam.h>

#include "camera/Lifetime.h"

namespace KyrCamPy {
class KyrCameraApiPy;
}

namespace KyrGenParamPy {

class PyGenParamFloat : public Py::PythonExtension<PyGenParamFloat>
{
public:
    PyGenParamFloat(KyrGenParam::Float *node, KyrCamPy::Lifetime::Ref lifetime);

    Py::Object GetType();
    Py::Object GetValue();
    Py::Object SetValue(const Py::Tuple &args);
    Py::Object IsWritable();
    Py::Object IsReadable();
    Py::Object GetMin();
    Py::Object GetMax();
    Py::Object GetUnit();

private:
    friend class KyrCamPy::KyrCameraApiPy;  // registers the type

    KyrCamPy::Borrowed<KyrGenParam::Float> node_;
};

} // namespace KyrGenParamPy
