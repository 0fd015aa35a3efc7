#include "PyGenParamEnumEntry.h"

#include "KyrGenParamApiPy.h"

namespace KyrGenParamPy {

PyGenParamEnumEntry::PyGenParamEnumEntry(KyrGenParam::EnumEntry *node)
    : node_(node)
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
    return Py::Long(node_ ? node_->GetType() : KyrGenParam::ParamEnumEntry);
}

Py::Object PyGenParamEnumEntry::IsAvailable()
{
    return predicateOf(node_, &KyrGenParam::Param::IsAvailable);
}

} // namespace KyrGenParamPy
