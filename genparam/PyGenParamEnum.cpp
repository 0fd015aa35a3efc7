#include "PyGenParamEnum.h"

#include <string>

#include "KyrGenParamApiPy.h"
#include "PyGenParamEnumEntry.h"

namespace KyrGenParamPy {

PyGenParamEnum::PyGenParamEnum(KyrGenParam::Enum *node)
    : node_(node)
{
}

Py::Object PyGenParamEnum::GetCount()
{
    return pairOf(node_, &KyrGenParam::Enum::GetCount);
}

Py::Object PyGenParamEnum::GetValue()
{
    return pairOf(node_, &KyrGenParam::Enum::GetValue);
}

Py::Object PyGenParamEnum::GetValueStr()
{
    return pairOf(node_, &KyrGenParam::Enum::GetValueStr);
}

// The two setters answer None, not False, when they cannot call the feature;
// scripts rely on that, as on the "G" their messages start with.
Py::Object PyGenParamEnum::SetValue(const Py::Tuple &args)
{
    if (tooFewArgs(args, 1, "GPyGenParamEnum_SetValue not enough actual args\n") || !node_)
        return Py::None();
    return statusOf(node_->SetValue(KyrCamPy::toInt64(args[0])));
}

Py::Object PyGenParamEnum::SetValueStr(const Py::Tuple &args)
{
    if (tooFewArgs(args, 1, "GPyGenParamEnum_SetValueStr not enough actual args\n") || !node_)
        return Py::None();
    const std::string name = KyrCamPy::strToUtf8(args[0]);
    return statusOf(node_->SetValueStr(name.c_str()));
}

Py::Object PyGenParamEnum::GetType()
{
    return Py::Long(node_ ? node_->GetType() : KyrGenParam::ParamEnum);
}

Py::Object PyGenParamEnum::GetEnumEntryByIndex(const Py::Tuple &args)
{
    if (tooFewArgs(args, 1, "GetEnumEntryByIndex not enough actual args\n") || !node_)
        return Py::None();
    KyrGenParam::EnumEntry *entry = node_->GetEnumEntryByIndex(KyrCamPy::toInt64(args[0]));
    if (!entry)
        return Py::None();
    return Py::asObject(new PyGenParamEnumEntry(entry));
}

} // namespace KyrGenParamPy
