// One entry of an enumeration feature.
#pragma once

#include <CXX/Extensions.hxx>

#include <camera/KyrGenParam.h>

namespace KyrCamPy {
class KyrCameraApiPy;
}

namespace KyrGenParamPy {

class PyGenParamEnumEntry : public Py::PythonExtension<PyGenParamEnumEntry>
{
public:
    explicit PyGenParamEnumEntry(KyrGenParam::EnumEntry *node);

    Py::Object GetValue();
    Py::Object GetValueStr();
    Py::Object GetType();
    Py::Object IsAvailable();

private:
    friend class KyrCamPy::KyrCameraApiPy;  // registers the type

    KyrGenParam::EnumEntry *node_;
};

} // namespace KyrGenParamPy
