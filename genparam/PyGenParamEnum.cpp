#include "PyGenParamEnum.h"

#include <string>

#include "KyrGenParamApiPy.h"
#include "PyGenParamEnumEntry.h"

namespace KyrGenParamPy {

PyGenParamEnum::PyGenParamEnum(KyrGenParam::Enum *node, KyrCamPy::Lifetime::Ref lifetime)
    : node_(node, std::move(lifetime))
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
    if (tooFewArgs(args, 1, "GPyGenParamEnum_SetValue not enough actual args\n") || !node_.get())
        return Py::None();
    return setOf(node_, &KyrGenParam::Enum::SetValue, KyrCamPy::toInt64(args[0]), Py::None());
}

Py::Object PyGenParamEnum::SetValueStr(const Py::Tuple &args)
{
    if (tooFewArgs(args, 1, "GPyGenParamEnum_SetValueStr not enough actual args\n") || !node_.get())
        return Py::None();
    const std::string name = KyrCamPy::strToUtf8(args[0]);
    return setOf(node_, &KyrGenParam::Enum::SetValueStr, name.c_str(), Py::None());
}

Py::Object PyGenParamEnum::GetType()
{
    KyrGenParam::Enum *node = node_.get();
    return Py::Long(node ? node->GetType() : KyrGenParam::ParamEnum);
}

Py::Object PyGenParamEnum::GetEnumEntryByIndex(const Py::Tuple &args)
{
    if (tooFewArgs(args, 1, "GetEnumEntryByIndex not enough actual args\n") || !node_.get())
        return Py::None();
    const int64_t index = KyrCamPy::toInt64(args[0]);
    KyrGenParam::Enum *node = node_.get();
    KyrGenParam::EnumEntry *entry = node ? node->GetEnumEntryByIndex(index) : nullptr;
    if (!entry)
        return Py::None();
    return Py::asObject(new PyGenParamEnumEntry(entry, node_.lifetime()));
}

} // namespace KyrGenParamPy
