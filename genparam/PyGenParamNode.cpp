#include "PyGenParamNode.h"

namespace KyrGenParamPy {

PyGenParamNode::PyGenParamNode(KyrGenParam::Node *node, KyrCamPy::Lifetime::Ref lifetime)
    : node_(node, std::move(lifetime))
{
}

Py::Object PyGenParamNode::IsFeature()
{
    KyrGenParam::Node *node = node_.get();
    return Py::Boolean(node && node->IsFeature());
}

} // namespace KyrGenParamPy
