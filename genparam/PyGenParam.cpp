#include "PyGenParam.h"

#include "KyrGenParamApiPy.h"
#include "PyGenParamNode.h"

namespace KyrGenParamPy {

namespace {

// Outside the visibility levels on purpose: a wrapper without a feature.
constexpr int32_t kNoVisibility = 99;

} // namespace

PyGenParam::PyGenParam(KyrGenParam::Param *node)
    : node_(node)
{
}

void PyGenParam::init_type()
{
    behaviors().name("PyGenParam");
    add_noargs_method("GetNode", &PyGenParam::GetNode, "");
    add_noargs_method("GetType", &PyGenParam::GetType, "");
    add_noargs_method("GetName", &PyGenParam::GetName, "");
    add_noargs_method("GetToolTip", &PyGenParam::GetToolTip, "");
    add_noargs_method("GetDescription", &PyGenParam::GetDescription, "");
    add_noargs_method("GetDisplayName", &PyGenParam::GetDisplayName, "");
    add_noargs_method("GetVisibility", &PyGenParam::GetVisibility, "");
    add_varargs_method("IsVisible", &PyGenParam::IsVisible, "");
    add_noargs_method("IsValueCached", &PyGenParam::IsValueCached, "");
    add_noargs_method("IsAvailable", &PyGenParam::IsAvailable, "");
    add_noargs_method("IsWritable", &PyGenParam::IsWritable, "");
    add_noargs_method("IsReadable", &PyGenParam::IsReadable, "");
    add_noargs_method("IsStreamable", &PyGenParam::IsStreamable, "");
}

Py::Object PyGenParam::GetNode()
{
    KyrGenParam::Node *node = node_ ? node_->GetNode() : nullptr;
    if (!node)
        return Py::None();
    return Py::asObject(new PyGenParamNode(node));
}

Py::Object PyGenParam::GetType()
{
    return Py::Long(node_ ? node_->GetType() : KyrGenParam::ParamUnknown);
}

Py::Object PyGenParam::GetName()
{
    return textOf(node_, &KyrGenParam::Param::GetName);
}

Py::Object PyGenParam::GetToolTip()
{
    return textOf(node_, &KyrGenParam::Param::GetToolTip);
}

Py::Object PyGenParam::GetDescription()
{
    return textOf(node_, &KyrGenParam::Param::GetDescription);
}

Py::Object PyGenParam::GetDisplayName()
{
    return textOf(node_, &KyrGenParam::Param::GetDisplayName);
}

Py::Object PyGenParam::GetVisibility()
{
    return Py::Long(node_ ? node_->GetVisibility() : kNoVisibility);
}

Py::Object PyGenParam::IsVisible(const Py::Tuple &args)
{
    if (tooFewArgs(args, 1, "IsVisible not enough actual args\n") || !node_)
        return Py::False();
    const auto level = static_cast<int32_t>(KyrCamPy::toInt64(args[0]));
    return Py::Boolean(node_->IsVisible(level));
}

Py::Object PyGenParam::IsValueCached()
{
    return predicateOf(node_, &KyrGenParam::Param::IsValueCached);
}

Py::Object PyGenParam::IsAvailable()
{
    return predicateOf(node_, &KyrGenParam::Param::IsAvailable);
}

Py::Object PyGenParam::IsWritable()
{
    return predicateOf(node_, &KyrGenParam::Param::IsWritable);
}

Py::Object PyGenParam::IsReadable()
{
    return predicateOf(node_, &KyrGenParam::Param::IsReadable);
}

Py::Object PyGenParam::IsStreamable()
{
    return predicateOf(node_, &KyrGenParam::Param::IsStreamable);
}

} // namespace KyrGenParamPy
