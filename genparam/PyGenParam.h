// Any feature, seen through the interface common to all of them.
#pragma once

#include <CXX/Extensions.hxx>

#include <camera/KyrGenParam.h>

#include "camera/Lifetime.h"

namespace KyrGenParamPy {

class PyGenParam : public Py::PythonExtension<PyGenParam>
{
public:
    PyGenParam(KyrGenParam::Param *node, KyrCamPy::Lifetime::Ref lifetime);

    // Names the type and adds its methods.
    static void init_type();

    Py::Object GetNode();
    Py::Object GetType();
    Py::Object GetName();
    Py::Object GetToolTip();
    Py::Object GetDescription();
    Py::Object GetDisplayName();
    Py::Object GetVisibility();
    Py::Object IsVisible(const Py::Tuple &args);
    Py::Object IsValueCached();
    Py::Object IsAvailable();
    Py::Object IsWritable();
    Py::Object IsReadable();
    Py::Object IsStreamable();

private:
    KyrCamPy::Borrowed<KyrGenParam::Param> node_;
};

} // namespace KyrGenParamPy
