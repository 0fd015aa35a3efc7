#include "PyGenParamEnumEntry.h"

#include "KyrGenParamApiPy.h"

namespace KyrGenParamPy {

PyGenParamEnumEntry::PyGenParamEnumEntry(KyrGenParam::EnumEntry *node, KyrCamPy::Lifetime::Ref lifetime)
    : node_(node, std::move(lifetime))
{
}

Py::Object PyGenParamEnumEntry::GetValue()
{
    return pairOf(node_, &KyrGenParam::EnumEntry::GetValue);
}

Py::Object PyGenParamEnumEntry::GetValueStr()
{
    return pairOf(node_, &KyrGenParam::EnumEntry::GetValueStr);
}

Py::Object PyGenParamEnumEntry::GetType()
{
    KyrGenParam::EnumEntry *node = node_.get();
    return Py::Long(node ? node->GetType() : KyrGenParam::ParamEnumEntry);
}

Py::Object PyGenParamEnumEntry::IsAvailable()
{
    return predicateOf(node_, &KyrGenParam::Param::IsAvailable);
}

} // namespace KyrGenParamPy
