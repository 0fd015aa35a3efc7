#include "PyGenParamCategory.h"

#include "KyrGenParamApiPy.h"

namespace KyrGenParamPy {

PyGenParamCategory::PyGenParamCategory(KyrGenParam::Category *node, KyrCamPy::Lifetime::Ref lifetime)
    : node_(node, std::move(lifetime))
{
}

// Without a category the answer is ParamUnknown, not ParamCategory.
Py::Object PyGenParamCategory::GetType()
{
    KyrGenParam::Category *node = node_.get();
    return Py::Long(node ? node->GetType() : KyrGenParam::ParamUnknown);
}

Py::Object PyGenParamCategory::GetCount()
{
    KyrGenParam::Category *node = node_.get();
    return Py::Long(node ? node->GetCount() : 0);
}

Py::Object PyGenParamCategory::GetParamByIndex(const Py::Tuple &args)
{
    if (tooFewArgs(args, 1, "GetParamByIndex not enough actual args\n") || !node_.get())
        return Py::None();
    // The index keeps its low 32 bits.
    const auto index = static_cast<uint32_t>(KyrCamPy::toInt64(args[0]));
    KyrCamErr err = KyrCam::kOk;
    KyrGenParam::Category *node = node_.get();
    KyrGenParam::Param *param = node ? node->GetParamByIndex(index, &err) : nullptr;
    if (!param || err != KyrCam::kOk)
        return Py::None();
    return wrapParam(param, node_.lifetime());
}

} // namespace KyrGenParamPy
