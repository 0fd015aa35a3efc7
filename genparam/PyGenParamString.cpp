#include "PyGenParamString.h"

#include <string>

#include "KyrGenParamApiPy.h"

namespace KyrGenParamPy {

PyGenParamString::PyGenParamString(KyrGenParam::String *node)
    : node_(node)
{
}

Py::Object PyGenParamString::GetType()
{
    return Py::Long(node_ ? node_->GetType() : KyrGenParam::ParamString);
}

Py::Object PyGenParamString::IsWritable()
{
    return predicateOf(node_, &KyrGenParam::Param::IsWritable);
}

Py::Object PyGenParamString::IsReadable()
{
    return predicateOf(node_, &KyrGenParam::Param::IsReadable);
}

Py::Object PyGenParamString::GetValue()
{
    return pairOf(node_, &KyrGenParam::String::GetValue);
}

Py::Object PyGenParamString::GetMaxLength()
{
    return Py::Long(node_ ? node_->GetMaxLength(nullptr) : 0);
}

Py::Object PyGenParamString::SetValue(const Py::Tuple &args)
{
    if (tooFewArgs(args, 1, "SetValue not enough actual args\n") || !node_)
        return Py::False();
    const std::string text = KyrCamPy::toUtf8(args[0]);
    return statusOf(node_->SetValue(text.c_str()));
}

} // namespace KyrGenParamPy
