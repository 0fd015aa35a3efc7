// One entry of an enumeration feature.
#pragma once

#include <CXX/Extensions.hxx>

#include <camera/KyrGenParam.h>

#include "camera/Lifetime.h"

namespace KyrCamPy {
class KyrCameraApiPy;
}

namespace KyrGenParamPy {

class PyGenParamEnumEntry : public Py::PythonExtension<PyGenParamEnumEntry>
{
public:
    PyGenParamEnumEntry(KyrGenParam::EnumEntry *node, KyrCamPy::Lifetime::Ref lifetime);

    Py::Object GetValue();
    Py::Object GetValueStr();
    Py::Object GetType();
    Py::Object IsAvailable();

private:
    friend class KyrCamPy::KyrCameraApiPy;  // registers the type

    KyrCamPy::Borrowed<KyrGenParam::EnumEntry> node_;
};

} // namespace KyrGenParamPy
