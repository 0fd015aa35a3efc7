// A command feature.
#pragma once

#include <CXX/Extensions.hxx>

#include <camera/KyrGenParam.h>

namespace KyrCamPy {
class KyrCameraApiPy;
}

namespace KyrGenParamPy {

class PyGenParamCommand : public Py::PythonExtension<PyGenParamCommand>
{
public:
    explicit PyGenParamCommand(KyrGenParam::Command *node);

    Py::Object Execute();
    Py::Object IsDone();

private:
    friend class KyrCamPy::KyrCameraApiPy;  // registers the type

    KyrGenParam::Command *node_;
};

} // namespace KyrGenParamPy
