#include "PyGenParamNode.h"

namespace KyrGenParamPy {

PyGenParamNode::PyGenParamNode(KyrGenParam::Node *node)
    : node_(node)
{
}

Py::Object PyGenParamNode::IsFeature()
{
    return Py::Boolean(node_ && node_->IsFeature());
}

} // namespace KyrGenParamPy
