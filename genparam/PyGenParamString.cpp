#include "PyGenParamString.h"

#include <string>

#include "KyrGenParamApiPy.h"

namespace KyrGenParamPy {

PyGenParamString::PyGenParamString(KyrGenParam::String *node, KyrCamPy::Lifetime::Ref lifetime)
    : node_(node, std::move(lifetime))
{
}

Py::Object PyGenParamString::GetType()
{
    KyrGenParam::String *node = node_.get();
    return Py::Long(node ? node->GetType() : KyrGenParam::ParamString);
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
    KyrGenParam::String *node = node_.get();
    if (!node)
        return Py::Long(0);
    int32_t length = 0;
    {
        KyrCamPy::NativeCall call(node_.lifetime());
        length = node->GetMaxLength(nullptr);
    }
    return Py::Long(length);
}

Py::Object PyGenParamString::SetValue(const Py::Tuple &args)
{
    if (tooFewArgs(args, 1, "SetValue not enough actual args\n") || !node_.get())
        return Py::False();
    const std::string text = KyrCamPy::toUtf8(args[0]);
    return setOf(node_, &KyrGenParam::String::SetValue, text.c_str(), Py::False());
}

} // namespace KyrGenParamPy
