#include "PyGenParamInt.h"

#include "KyrGenParamApiPy.h"

namespace KyrGenParamPy {

PyGenParamInt::PyGenParamInt(KyrGenParam::Int *node)
    : node_(node)
{
}

Py::Object PyGenParamInt::GetType()
{
    return Py::Long(node_ ? node_->GetType() : KyrGenParam::ParamInt);
}

Py::Object PyGenParamInt::GetValue()
{
    return pairOf(node_, &KyrGenParam::Int::GetValue);
}

Py::Object PyGenParamInt::SetValue(const Py::Tuple &args)
{
    if (tooFewArgs(args, 1, "SetValue not enough actual args\n") || !node_)
        return Py::False();
    return statusOf(node_->SetValue(KyrCamPy::toInt64(args[0])));
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
