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
    return statusOf(node->Execute());
}

Py::Object PyGenParamCommand::IsDone()
{
    KyrGenParam::Command *node = node_.get();
    return Py::Boolean(node && node->IsDone(nullptr));
}

} // namespace KyrGenParamPy
