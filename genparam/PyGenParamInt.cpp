#include "PyGenParamInt.h"

#include "KyrGenParamApiPy.h"

namespace KyrGenParamPy {

PyGenParamInt::PyGenParamInt(KyrGenParam::Int *node, KyrCamPy::Lifetime::Ref lifetime)
    : node_(node, std::move(lifetime))
{
}

Py::Object PyGenParamInt::GetType()
{
    KyrGenParam::Int *node = node_.get();
    return Py::Long(node ? node->GetType() : KyrGenParam::ParamInt);
}

Py::Object PyGenParamInt::GetValue()
{
    return pairOf(node_, &KyrGenParam::Int::GetValue);
}

Py::Object PyGenParamInt::SetValue(const Py::Tuple &args)
{
    if (tooFewArgs(args, 1, "SetValue not enough actual args\n") || !node_.get())
        return Py::False();
    return setOf(node_, &KyrGenParam::Int::SetValue, KyrCamPy::toInt64(args[0]), Py::False());
}

Py::Object PyGenParamInt::IsWritable()
{
    return predicateOf(node_, &KyrGenParam::Param::IsWritable);
}

Py::Object PyGenParamInt::IsReadable()
{
    return predicateOf(node_, &KyrGenParam::Param::IsReadable);
}

Py::Object PyGenParamInt::GetMin()
{
    return pairOf(node_, &KyrGenParam::Int::GetMin);
}

Py::Object PyGenParamInt::GetMax()
{
    return pairOf(node_, &KyrGenParam::Int::GetMax);
}

Py::Object PyGenParamInt::GetIncrement()
{
    return pairOf(node_, &KyrGenParam::Int::GetIncrement);
}

} // namespace KyrGenParamPy
