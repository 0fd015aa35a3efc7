#include "PyGenParamCategory.h"

#include "KyrGenParamApiPy.h"

namespace KyrGenParamPy {

PyGenParamCategory::PyGenParamCategory(KyrGenParam::Category *node)
    : node_(node)
{
}

// Without a category the answer is ParamUnknown, not ParamCategory.
Py::Object PyGenParamCategory::GetType()
{
    return Py::Long(node_ ? node_->GetType() : KyrGenParam::ParamUnknown);
}

Py::Object PyGenParamCategory::GetCount()
{
    return Py::Long(node_ ? node_->GetCount() : 0);
}

Py::Object PyGenParamCategory::GetParamByIndex(const Py::Tuple &args)
{
    if (tooFewArgs(args, 1, "GetParamByIndex not enough actual args\n") || !node_)
        return Py::None();
    // The index keeps its low 32 bits.
    const auto index = static_cast<uint32_t>(KyrCamPy::toInt64(args[0]));
    KyrCamErr err = KyrCam::kOk;
    KyrGenParam::Param *param = node_->GetParamByIndex(index, &err);
    if (!param || err != KyrCam::kOk)
        return Py::None();
    return wrapParam(param);
}

} // namespace KyrGenParamPy
