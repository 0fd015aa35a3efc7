#include "genparam_private.h"

namespace KyrCam {

namespace {

using Lock = std::lock_guard<std::recursive_mutex>;

// Feature nodes in description order, groups entered; enum entries belong to
// their enumeration and are left out.
void collectFeatures(ArvDomNode *parent, std::vector<std::string> &names)
{
    for (ArvDomNode *child = arv_dom_node_get_first_child(parent); child; child = arv_dom_node_get_next_sibling(child)) {
        if (ARV_IS_GC_FEATURE_NODE(child)) {
            const char *name = arv_gc_feature_node_get_name(ARV_GC_FEATURE_NODE(child));
            if (name && !ARV_IS_GC_ENUM_ENTRY(child))
                names.emplace_back(name);
        } else if (ARV_IS_DOM_ELEMENT(child)) {
            collectFeatures(child, names);
        }
    }
}

} // namespace

AravisParamArray::AravisParamArray(ArvGc *gc) : gc_(addRef(gc))
{
    ArvDomElement *root = arv_dom_document_get_document_element(ARV_DOM_DOCUMENT(gc));
    if (root)
        collectFeatures(ARV_DOM_NODE(root), order_);
}

AravisParamArray::~AravisParamArray() = default;

KyrGenParam::Param *AravisParamArray::paramOf(ArvGcFeatureNode *node) noexcept
{
    try {
        Lock lock(mutex_);
        const char *name = arv_gc_feature_node_get_name(node);
        auto found = params_.find(name);
        if (found == params_.end())
            found = params_.emplace(name, makeParam(*this, node)).first;
        return found->second->param();
    } catch (...) {
        return nullptr;
    }
}

KyrGenParam::Param *AravisParamArray::find(const char *name, KyrCamErr *err) noexcept
{
    if (!name) {
        setError(err, kErrGenICamInvalidArgument);
        return nullptr;
    }
    Lock lock(mutex_);
    ArvGcNode *node = arv_gc_get_node(gc_.get(), name);
    if (!node || !ARV_IS_GC_FEATURE_NODE(node)) {
        setError(err, kErrGenICamUnknownParameter);
        return nullptr;
    }
    KyrGenParam::Param *param = paramOf(ARV_GC_FEATURE_NODE(node));
    setError(err, param ? kOk : kErrOutOfMemory);
    return param;
}

template <typename T>
T *AravisParamArray::typed(const char *name, KyrCamErr *err) noexcept
{
    KyrGenParam::Param *param = find(name, err);
    if (!param)
        return nullptr;
    T *result = dynamic_cast<T *>(param);
    setError(err, result ? kOk : kErrGenICamType);
    return result;
}

KyrGenParam::Param *AravisParamArray::GetParam(const char *name, KyrCamErr *err) noexcept { return find(name, err); }
KyrGenParam::Boolean *AravisParamArray::GetBoolean(const char *name, KyrCamErr *err) noexcept { return typed<KyrGenParam::Boolean>(name, err); }
KyrGenParam::Command *AravisParamArray::GetCommand(const char *name, KyrCamErr *err) noexcept { return typed<KyrGenParam::Command>(name, err); }
KyrGenParam::Enum *AravisParamArray::GetEnum(const char *name, KyrCamErr *err) noexcept { return typed<KyrGenParam::Enum>(name, err); }
KyrGenParam::Float *AravisParamArray::GetFloat(const char *name, KyrCamErr *err) noexcept { return typed<KyrGenParam::Float>(name, err); }
KyrGenParam::Int *AravisParamArray::GetInt(const char *name, KyrCamErr *err) noexcept { return typed<KyrGenParam::Int>(name, err); }
KyrGenParam::String *AravisParamArray::GetString(const char *name, KyrCamErr *err) noexcept { return typed<KyrGenParam::String>(name, err); }

KyrGenParam::Category *AravisParamArray::GetRootCategory(KyrCamErr *err) noexcept
{
    KyrGenParam::Category *root = typed<KyrGenParam::Category>("Root", err);
    if (!root)
        setError(err, kErrGenICamTree);
    return root;
}

KyrGenParam::NodeMap *AravisParamArray::GetNodeMap(KyrCamErr *err) noexcept
{
    setError(err, kOk);
    return this;
}

int32_t AravisParamArray::GetCount() noexcept { return int32_t(order_.size()); }

KyrGenParam::Param *AravisParamArray::GetParamByIndex(uint32_t index, KyrCamErr *err) noexcept
{
    if (index >= order_.size()) {
        setError(err, kErrInvalidIndex);
        return nullptr;
    }
    return find(order_[index].c_str(), err);
}

bool AravisParamArray::GetBooleanValue(const char *name, KyrCamErr *err) noexcept
{
    KyrGenParam::Boolean *param = GetBoolean(name, err);
    return param ? param->GetValue(err) : false;
}

int64_t AravisParamArray::GetIntegerValue(const char *name, KyrCamErr *err) noexcept
{
    KyrGenParam::Int *param = GetInt(name, err);
    return param ? param->GetValue(err) : 0;
}

double AravisParamArray::GetFloatValue(const char *name, KyrCamErr *err) noexcept
{
    KyrGenParam::Float *param = GetFloat(name, err);
    return param ? param->GetValue(err) : 0.0;
}

const char *AravisParamArray::GetStringValue(const char *name, KyrCamErr *err) noexcept
{
    KyrGenParam::String *param = GetString(name, err);
    try {
        return stringValue_.keep(param ? param->GetValue(err) : "");
    } catch (...) {
        setError(err, kErrOutOfMemory);
        return "";
    }
}

int64_t AravisParamArray::GetEnumValue(const char *name, KyrCamErr *err) noexcept
{
    KyrGenParam::Enum *param = GetEnum(name, err);
    return param ? param->GetValue(err) : 0;
}

const char *AravisParamArray::GetEnumValueStr(const char *name, KyrCamErr *err) noexcept
{
    KyrGenParam::Enum *param = GetEnum(name, err);
    try {
        return enumValueStr_.keep(param ? param->GetValueStr(err) : "");
    } catch (...) {
        setError(err, kErrOutOfMemory);
        return "";
    }
}

bool AravisParamArray::IsCommandDone(const char *name, KyrCamErr *err) noexcept
{
    KyrGenParam::Command *param = GetCommand(name, err);
    return param ? param->IsDone(err) : false;
}

KyrCamErr AravisParamArray::SetBooleanValue(const char *name, bool value) noexcept
{
    KyrCamErr err = kOk;
    KyrGenParam::Boolean *param = GetBoolean(name, &err);
    return param ? param->SetValue(value) : err;
}

KyrCamErr AravisParamArray::SetIntegerValue(const char *name, int64_t value) noexcept
{
    KyrCamErr err = kOk;
    KyrGenParam::Int *param = GetInt(name, &err);
    return param ? param->SetValue(value) : err;
}

KyrCamErr AravisParamArray::SetFloatValue(const char *name, double value) noexcept
{
    KyrCamErr err = kOk;
    KyrGenParam::Float *param = GetFloat(name, &err);
    return param ? param->SetValue(value) : err;
}

KyrCamErr AravisParamArray::SetStringValue(const char *name, const char *value) noexcept
{
    KyrCamErr err = kOk;
    KyrGenParam::String *param = GetString(name, &err);
    return param ? param->SetValue(value) : err;
}

KyrCamErr AravisParamArray::SetEnumValue(const char *name, int64_t value) noexcept
{
    KyrCamErr err = kOk;
    KyrGenParam::Enum *param = GetEnum(name, &err);
    return param ? param->SetValue(value) : err;
}

KyrCamErr AravisParamArray::SetEnumValueStr(const char *name, const char *entryName) noexcept
{
    KyrCamErr err = kOk;
    KyrGenParam::Enum *param = GetEnum(name, &err);
    return param ? param->SetValueStr(entryName) : err;
}

KyrCamErr AravisParamArray::ExecuteCommand(const char *name) noexcept
{
    KyrCamErr err = kOk;
    KyrGenParam::Command *param = GetCommand(name, &err);
    return param ? param->Execute() : err;
}

} // namespace KyrCam
