// A command feature.
#pragma once

#include <CXX/Extensions.hxx>

#include <camera/KyrGenParam.h>

#include "camera/Lifetime.h"

namespace KyrCamPy {
class KyrCameraApiPy;
}

namespace KyrGenParamPy {

class PyGenParamCommand : public Py::PythonExtension<PyGenParamCommand>
{
public:
    PyGenParamCommand(KyrGenParam::Command *node, KyrCamPy::Lifetime::Ref lifetime);

    Py::Object Execute();
    Py::Object IsDone();

private:
    friend class KyrCamPy::KyrCameraApiPy;  // registers the type

    KyrCamPy::Borrowed<KyrGenParam::Command> node_;
};

} // namespace KyrGenParamPy
