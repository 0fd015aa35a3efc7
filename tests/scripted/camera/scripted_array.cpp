#include "script.h"
#include "scripted_genparam.h"

namespace Scripted {

namespace {

std::unique_ptr<Feature> makeFeature(const std::string &kind, const std::string &id, const std::string &name,
                                     ScriptedArray &array)
{
    if (kind == "Int")
        return std::make_unique<ScriptedInt>(id, name, KyrGenParam::ParamInt);
    if (kind == "Float")
        return std::make_unique<ScriptedFloat>(id, name, KyrGenParam::ParamFloat);
    if (kind == "String")
        return std::make_unique<ScriptedString>(id, name, KyrGenParam::ParamString);
    if (kind == "Boolean")
        return std::make_unique<ScriptedBoolean>(id, name, KyrGenParam::ParamBoolean);
    if (kind == "Enum")
        return std::make_unique<ScriptedEnum>(id, name, KyrGenParam::ParamEnum);
    if (kind == "Command")
        return std::make_unique<ScriptedCommand>(id, name, KyrGenParam::ParamCommand);
    if (kind == "Category")
        return std::make_unique<ScriptedCategory>(id, name, KyrGenParam::ParamCategory, array);
    return std::make_unique<ScriptedOther>(id, name, KyrGenParam::ParamUnknown);
}

} // namespace

ScriptedArray::ScriptedArray(std::string name)
    : name_(std::move(name))
{
}

void ScriptedArray::log(const std::string &operation, const std::string &arguments) const
{
    record(key(operation) + "(" + arguments + ")");
}

// Features are kept per kind, so a test may describe a name with another kind
// than an earlier test did.
Feature *ScriptedArray::feature(const std::string &name)
{
    const std::string id = name_ + "/" + name;
    const std::optional<std::string> kind = answer({ id + ".type" });
    if (!kind)
        return nullptr;
    std::lock_guard<std::mutex> lock(mutex_);
    std::unique_ptr<Feature> &slot = features_[*kind + " " + name];
    if (!slot)
        slot = makeFeature(*kind, id, name, *this);
    return slot.get();
}

template <typename T>
T *ScriptedArray::typed(const std::string &codeKey, const char *name, KyrCamErr *err)
{
    *err = static_cast<KyrCamErr>(answerInt({ codeKey }, KyrCam::kOk));
    if (*err != KyrCam::kOk)
        return nullptr;
    if (!name) {
        *err = KyrCam::kErrGenICamInvalidArgument;
        return nullptr;
    }
    Feature *found = feature(name);
    if (!found) {
        *err = KyrCam::kErrGenICamUnknownParameter;
        return nullptr;
    }
    T *typedFeature = dynamic_cast<T *>(found);
    if (!typedFeature)
        *err = KyrCam::kErrGenICamType;
    return typedFeature;
}

template <typename T>
T *ScriptedArray::lookUp(const char *operation, const char *name, KyrCamErr *err)
{
    log(operation, quoted(name));
    T *found = typed<T>(key(operation) + ".err", name, err);
    return answerIsNull({ key(operation) }) ? nullptr : found;
}

template <typename T, typename Apply>
KyrCamErr ScriptedArray::set(const char *operation, const char *name, const std::string &value, Apply apply)
{
    log(operation, quoted(name) + ", " + value);
    KyrCamErr err = KyrCam::kOk;
    T *found = typed<T>(key(operation), name, &err);
    return found ? apply(*found) : err;
}

// Answers of the look-ups: "<array>.<Operation>" = "null" and
// "<array>.<Operation>.err"; by default the feature the script describes
// under that name, with the codes of `typed`.
KyrGenParam::Param *ScriptedArray::GetParam(const char *name, KyrCamErr *err) noexcept
{
    Feature *found = lookUp<Feature>("GetParam", name, err);
    return found ? found->param() : nullptr;
}

KyrGenParam::Boolean *ScriptedArray::GetBoolean(const char *name, KyrCamErr *err) noexcept
{
    return lookUp<ScriptedBoolean>("GetBoolean", name, err);
}

KyrGenParam::Command *ScriptedArray::GetCommand(const char *name, KyrCamErr *err) noexcept
{
    return lookUp<ScriptedCommand>("GetCommand", name, err);
}

KyrGenParam::Enum *ScriptedArray::GetEnum(const char *name, KyrCamErr *err) noexcept
{
    return lookUp<ScriptedEnum>("GetEnum", name, err);
}

KyrGenParam::Float *ScriptedArray::GetFloat(const char *name, KyrCamErr *err) noexcept
{
    return lookUp<ScriptedFloat>("GetFloat", name, err);
}

KyrGenParam::Int *ScriptedArray::GetInt(const char *name, KyrCamErr *err) noexcept
{
    return lookUp<ScriptedInt>("GetInt", name, err);
}

KyrGenParam::String *ScriptedArray::GetString(const char *name, KyrCamErr *err) noexcept
{
    return lookUp<ScriptedString>("GetString", name, err);
}

// Answers: the root's name ("Root" by default) or "null", and ".err";
// kErrGenICamTree when that feature is no category.
KyrGenParam::Category *ScriptedArray::GetRootCategory(KyrCamErr *err) noexcept
{
    log("GetRootCategory", "");
    *err = static_cast<KyrCamErr>(answerInt({ key("GetRootCategory.err") }, KyrCam::kOk));
    const std::string root = answer({ key("GetRootCategory") }).value_or("Root");
    if (root == "null")
        return nullptr;
    auto *category = dynamic_cast<ScriptedCategory *>(feature(root));
    if (!category && *err == KyrCam::kOk)
        *err = KyrCam::kErrGenICamTree;
    return category;
}

// Answers: "null" and ".err"; the array's node map by default.
KyrGenParam::NodeMap *ScriptedArray::GetNodeMap(KyrCamErr *err) noexcept
{
    log("GetNodeMap", "");
    *err = static_cast<KyrCamErr>(answerInt({ key("GetNodeMap.err") }, KyrCam::kOk));
    return answerIsNull({ key("GetNodeMap") }) ? nullptr : &nodeMap_;
}

// Answers: the count; the number of names in "<array>.features" by default.
int32_t ScriptedArray::GetCount() noexcept
{
    log("GetCount", "");
    const auto listed = static_cast<int64_t>(splitList(answer({ key("features") }).value_or("")).size());
    return static_cast<int32_t>(answerInt({ key("GetCount") }, listed));
}

// Answers: "null" and ".err"; by default feature `index` of "<array>.features",
// null with kErrInvalidIndex past the end or for a feature not described.
KyrGenParam::Param *ScriptedArray::GetParamByIndex(uint32_t index, KyrCamErr *err) noexcept
{
    log("GetParamByIndex", std::to_string(index));
    *err = static_cast<KyrCamErr>(answerInt({ key("GetParamByIndex.err") }, KyrCam::kOk));
    if (answerIsNull({ key("GetParamByIndex") }))
        return nullptr;
    const std::vector<std::string> listed = splitList(answer({ key("features") }).value_or(""));
    Feature *found = index < listed.size() ? feature(listed[index]) : nullptr;
    if (!found) {
        *err = KyrCam::kErrInvalidIndex;
        return nullptr;
    }
    return found->param();
}

// Answers of the value getters: "<array>.<Operation>" (the feature's stored
// value by default) and "<array>.<Operation>.err" (by default the codes of
// `typed`; kErrGenICamOutOfRange for an enumeration whose value names no entry).
bool ScriptedArray::GetBooleanValue(const char *name, KyrCamErr *err) noexcept
{
    log("GetBooleanValue", quoted(name));
    ScriptedBoolean *found = typed<ScriptedBoolean>(key("GetBooleanValue.err"), name, err);
    return found && answerInt({ key("GetBooleanValue") }, found->storedInt()) != 0;
}

int64_t ScriptedArray::GetIntegerValue(const char *name, KyrCamErr *err) noexcept
{
    log("GetIntegerValue", quoted(name));
    ScriptedInt *found = typed<ScriptedInt>(key("GetIntegerValue.err"), name, err);
    return found ? answerInt({ key("GetIntegerValue") }, found->storedInt()) : 0;
}

double ScriptedArray::GetFloatValue(const char *name, KyrCamErr *err) noexcept
{
    log("GetFloatValue", quoted(name));
    ScriptedFloat *found = typed<ScriptedFloat>(key("GetFloatValue.err"), name, err);
    return found ? answerReal({ key("GetFloatValue") }, found->storedReal()) : 0.0;
}

const char *ScriptedArray::GetStringValue(const char *name, KyrCamErr *err) noexcept
{
    log("GetStringValue", quoted(name));
    ScriptedString *found = typed<ScriptedString>(key("GetStringValue.err"), name, err);
    const std::string value = found ? found->value("") : "";
    return texts_.keep("GetStringValue", answer({ key("GetStringValue") }).value_or(value));
}

int64_t ScriptedArray::GetEnumValue(const char *name, KyrCamErr *err) noexcept
{
    log("GetEnumValue", quoted(name));
    ScriptedEnum *found = typed<ScriptedEnum>(key("GetEnumValue.err"), name, err);
    const auto entry = found ? found->current() : std::nullopt;
    if (found && !entry)
        *err = KyrCam::kErrGenICamOutOfRange;
    return answerInt({ key("GetEnumValue") }, entry ? entry->second : 0);
}

const char *ScriptedArray::GetEnumValueStr(const char *name, KyrCamErr *err) noexcept
{
    log("GetEnumValueStr", quoted(name));
    ScriptedEnum *found = typed<ScriptedEnum>(key("GetEnumValueStr.err"), name, err);
    const auto entry = found ? found->current() : std::nullopt;
    if (found && !entry)
        *err = KyrCam::kErrGenICamOutOfRange;
    return texts_.keep("GetEnumValueStr", answer({ key("GetEnumValueStr") }).value_or(entry ? entry->first : ""));
}

// By default the command's own IsDone answer (done).
bool ScriptedArray::IsCommandDone(const char *name, KyrCamErr *err) noexcept
{
    log("IsCommandDone", quoted(name));
    ScriptedCommand *found = typed<ScriptedCommand>(key("IsCommandDone.err"), name, err);
    return found && answerInt({ key("IsCommandDone"), found->key("IsDone") }, 1) != 0;
}

// Answers of the setters: "<array>.<Operation>" = the code. By default the
// codes of `typed`, else 0 and the value is stored (for an enumeration, an
// entry of that value or name becomes current; kErrGenICamOutOfRange when
// there is none).
KyrCamErr ScriptedArray::SetBooleanValue(const char *name, bool value) noexcept
{
    return set<ScriptedBoolean>("SetBooleanValue", name, flag(value), [&](ScriptedBoolean &feature) {
        feature.store(value ? "1" : "0");
        return KyrCam::kOk;
    });
}

KyrCamErr ScriptedArray::SetIntegerValue(const char *name, int64_t value) noexcept
{
    return set<ScriptedInt>("SetIntegerValue", name, std::to_string(value), [&](ScriptedInt &feature) {
        feature.store(std::to_string(value));
        return KyrCam::kOk;
    });
}

KyrCamErr ScriptedArray::SetFloatValue(const char *name, double value) noexcept
{
    return set<ScriptedFloat>("SetFloatValue", name, real(value), [&](ScriptedFloat &feature) {
        feature.store(real(value));
        return KyrCam::kOk;
    });
}

KyrCamErr ScriptedArray::SetStringValue(const char *name, const char *value) noexcept
{
    return set<ScriptedString>("SetStringValue", name, quoted(value), [&](ScriptedString &feature) {
        if (!value)
            return KyrCam::kErrGenICamInvalidArgument;
        feature.store(value);
        return KyrCam::kOk;
    });
}

KyrCamErr ScriptedArray::SetEnumValue(const char *name, int64_t value) noexcept
{
    return set<ScriptedEnum>("SetEnumValue", name, std::to_string(value),
                             [&](ScriptedEnum &feature) { return feature.select(value); });
}

KyrCamErr ScriptedArray::SetEnumValueStr(const char *name, const char *entryName) noexcept
{
    return set<ScriptedEnum>("SetEnumValueStr", name, quoted(entryName), [&](ScriptedEnum &feature) {
        return entryName ? feature.select(std::string(entryName)) : KyrCam::kErrGenICamInvalidArgument;
    });
}

// Answers: the code; by default the codes of `typed`, else the command's own
// Execute answer (0).
KyrCamErr ScriptedArray::ExecuteCommand(const char *name) noexcept
{
    log("ExecuteCommand", quoted(name));
    KyrCamErr err = KyrCam::kOk;
    ScriptedCommand *found = typed<ScriptedCommand>(key("ExecuteCommand"), name, &err);
    return found ? found->code("Execute") : err;
}

} // namespace Scripted
