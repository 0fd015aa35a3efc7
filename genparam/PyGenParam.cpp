#include "PyGenParam.h"

#include "KyrGenParamApiPy.h"
#include "PyGenParamNode.h"

namespace KyrGenParamPy {

namespace {

// Outside the visibility levels on purpose: a wrapper without a feature.
constexpr int32_t kNoVisibility = 99;

} // namespace

PyGenParam::PyGenParam(KyrGenParam::Param *node, KyrCamPy::Lifetime::Ref lifetime)
    : node_(node, std::move(lifetime))
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
    KyrGenParam::Param *param = node_.get();
    KyrGenParam::Node *node = param ? param->GetNode() : nullptr;
    if (!node)
        return Py::None();
    return Py::asObject(new PyGenParamNode(node, node_.lifetime()));
}

Py::Object PyGenParam::GetType()
{
    KyrGenParam::Param *node = node_.get();
    return Py::Long(node ? node->GetType() : KyrGenParam::ParamUnknown);
}

Py::Object PyGenParam::GetName()
{
    return textOf(node_.get(), &KyrGenParam::Param::GetName);
}

Py::Object PyGenParam::GetToolTip()
{
    return textOf(node_.get(), &KyrGenParam::Param::GetToolTip);
}

Py::Object PyGenParam::GetDescription()
{
    return textOf(node_.get(), &KyrGenParam::Param::GetDescription);
}

Py::Object PyGenParam::GetDisplayName()
{
    return textOf(node_.get(), &KyrGenParam::Param::GetDisplayName);
}

Py::Object PyGenParam::GetVisibility()
{
    KyrGenParam::Param *node = node_.get();
    return Py::Long(node ? node->GetVisibility() : kNoVisibility);
}

Py::Object PyGenParam::IsVisible(const Py::Tuple &args)
{
    if (tooFewArgs(args, 1, "IsVisible not enough actual args\n") || !node_.get())
        return Py::False();
    const auto level = static_cast<int32_t>(KyrCamPy::toInt64(args[0]));
    KyrGenParam::Param *node = node_.get();
    return Py::Boolean(node && node->IsVisible(level));
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
