#include "PyGenParamBoolean.h"

#include "KyrGenParamApiPy.h"

namespace KyrGenParamPy {

PyGenParamBoolean::PyGenParamBoolean(KyrGenParam::Boolean *node)
    : node_(node)
{
}

Py::Object PyGenParamBoolean::GetType()
{
    return Py::Long(node_ ? node_->GetType() : KyrGenParam::ParamBoolean);
}

Py::Object PyGenParamBoolean::GetValue()
{
    return pairOf(node_, &KyrGenParam::Boolean::GetValue);
}

Py::Object PyGenParamBoolean::SetValue(const Py::Tuple &args)
{
    if (tooFewArgs(args, 1, "SetValue not enough actual args\n") || !node_)
        return Py::False();
    return statusOf(node_->SetValue(KyrCamPy::toBool(args[0])));
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
