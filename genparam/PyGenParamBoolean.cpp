#include "PyGenParamBoolean.h"

#include "KyrGenParamApiPy.h"

namespace KyrGenParamPy {

PyGenParamBoolean::PyGenParamBoolean(KyrGenParam::Boolean *node, KyrCamPy::Lifetime::Ref lifetime)
    : node_(node, std::move(lifetime))
{
}

Py::Object PyGenParamBoolean::GetType()
{
    KyrGenParam::Boolean *node = node_.get();
    return Py::Long(node ? node->GetType() : KyrGenParam::ParamBoolean);
}

Py::Object PyGenParamBoolean::GetValue()
{
    return pairOf(node_, &KyrGenParam::Boolean::GetValue);
}

Py::Object PyGenParamBoolean::SetValue(const Py::Tuple &args)
{
    if (tooFewArgs(args, 1, "SetValue not enough actual args\n") || !node_.get())
        return Py::False();
    return setOf(node_, &KyrGenParam::Boolean::SetValue, KyrCamPy::toBool(args[0]), Py::False());
}

Py::Object PyGenParamBoolean::IsWritable()
{
    return predicateOf(node_, &KyrGenParam::Param::IsWritable);
}

Py::Object PyGenParamBoolean::IsReadable()
{
    return predicateOf(node_, &KyrGenParam::Param::IsReadable);
}

} // namespace KyrGenParamPy
