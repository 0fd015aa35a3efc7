#include "PyGenParamFloat.h"

#include "KyrGenParamApiPy.h"

namespace KyrGenParamPy {

PyGenParamFloat::PyGenParamFloat(KyrGenParam::Float *node, KyrCamPy::Lifetime::Ref lifetime)
    : node_(node, std::move(lifetime))
{
}

Py::Object PyGenParamFloat::GetType()
{
    KyrGenParam::Float *node = node_.get();
    return Py::Long(node ? node->GetType() : KyrGenParam::ParamFloat);
}

Py::Object PyGenParamFloat::GetValue()
{
    return pairOf(node_, &KyrGenParam::Float::GetValue);
}

Py::Object PyGenParamFloat::SetValue(const Py::Tuple &args)
{
    if (tooFewArgs(args, 1, "SetValue not enough actual args\n") || !node_.get())
        return Py::False();
    return setOf(node_, &KyrGenParam::Float::SetValue, KyrCamPy::toDouble(args[0]), Py::False());
}

Py::Object PyGenParamFloat::IsWritable()
{
    return predicateOf(node_, &KyrGenParam::Param::IsWritable);
}

Py::Object PyGenParamFloat::IsReadable()
{
    return predicateOf(node_, &KyrGenParam::Param::IsReadable);
}

Py::Object PyGenParamFloat::GetMin()
{
    return pairOf(node_, &KyrGenParam::Float::GetMin);
}

Py::Object PyGenParamFloat::GetMax()
{
    return pairOf(node_, &KyrGenParam::Float::GetMax);
}

Py::Object PyGenParamFloat::GetUnit()
{
    return pairOf(node_, &KyrGenParam::Float::GetUnit);
}

} // namespace KyrGenParamPy
