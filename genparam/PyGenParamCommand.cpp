#include "PyGenParamCommand.h"

#include "KyrGenParamApiPy.h"

namespace KyrGenParamPy {

PyGenParamCommand::PyGenParamCommand(KyrGenParam::Command *node, KyrCamPy::Lifetime::Ref lifetime)
    : node_(node, std::move(lifetime))
{
}

Py::Object PyGenParamCommand::Execute()
{
    KyrGenParam::Command *node = node_.get();
    if (!node)
        return Py::False();
    KyrCamErr code = KyrCam::kOk;
    {
        KyrCamPy::NativeCall call(node_.lifetime());
        code = node->Execute();
    }
    return statusOf(code);
}

Py::Object PyGenParamCommand::IsDone()
{
    KyrGenParam::Command *node = node_.get();
    if (!node)
        return Py::False();
    bool done = false;
    {
        KyrCamPy::NativeCall call(node_.lifetime());
        done = node->IsDone(nullptr);
    }
    return Py::Boolean(done);
}

} // namespace KyrGenParamPy
