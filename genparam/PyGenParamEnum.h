// An enumeration feature and its entries.
#pragma once

#include <CXX/Extensions.hxx>

#include <camera/KyrGenParam.h>

#include "camera/Lifetime.h"

namespace KyrCamPy {
class KyrCameraApiPy;
}

namespace KyrGenParamPy {

class PyGenParamEnum : public Py::PythonExtension<PyGenParamEnum>
{
public:
    PyGenParamEnum(KyrGenParam::Enum *node, KyrCamPy::Lifetime::Ref lifetime);

    Py::Object GetCount();
    Py::Object GetValue();
    Py::Object GetValueStr();
    Py::Object SetValue(const Py::Tuple &args);
    Py::Object SetValueStr(const Py::Tuple &args);
    Py::Object GetType();
    Py::Object GetEnumEntryByIndex(const Py::Tuple &args);

private:
    friend class KyrCamPy::KyrCameraApiPy;  // registers the type

    KyrCamPy::Borrowed<KyrGenParam::Enum> node_;
};

} // namespace KyrGenParamPy
