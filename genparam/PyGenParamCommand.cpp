#include "PyGenParamCommand.h"

#include "KyrGenParamApiPy.h"

namespace KyrGenParamPy {

PyGenParamCommand::PyGenParamCommand(KyrGenParam::Command *node)
    : node_(node)
{
}

Py::Object PyGenParamCommand::Execute()
{
    if (!node_)
        return Py::False();
    return statusOf(node_->Execute());
}

Py::Object PyGenParamCommand::IsDone()
{
    return Py::Boolean(node_ && node_->IsDone(nullptr));
}

} // namespace KyrGenParamPy
