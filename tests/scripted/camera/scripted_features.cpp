#include <cstdio>
#include <cstdlib>
#include <limits>

#include "script.h"
#include "scripted_genparam.h"

namespace Scripted {

namespace {

// A stored value that does not parse is a fault of the test: said on stderr,
// and the fallback is used, as the script does for its own answers.
int64_t parseInt(const std::string &text, int64_t fallback)
{
    char *end = nullptr;
    const long long value = std::strtoll(text.c_str(), &end, 0);
    if (text.empty() || *end != '\0') {
        std::fprintf(stderr, "scripted: value '%s' is not an integer\n", text.c_str());
        return fallback;
    }
    return value;
}

double parseReal(const std::string &text, double fallback)
{
    char *end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0') {
        std::fprintf(stderr, "scripted: value '%s' is not a number\n", text.c_str());
        return fallback;
    }
    return value;
}

std::vector<std::string> childrenOf(const Feature &category)
{
    return splitList(answer({ category.key("children") }).value_or(""));
}

} // namespace

Feature::Feature(std::string id, std::string name, int32_t type)
    : id_(std::move(id))
    , name_(std::move(name))
    , type_(type)
{
}

void Feature::log(const std::string &operation, const std::string &arguments) const
{
    record(key(operation) + "(" + arguments + ")");
}

std::string Feature::value(const std::string &fallback) const
{
    return answer({ key("value") }).value_or(fallback);
}

int64_t Feature::storedInt() const
{
    return parseInt(value("0"), 0);
}

double Feature::storedReal() const
{
    return parseReal(value("0"), 0.0);
}

void Feature::store(const std::string &value) const
{
    KyrScript_Set(key("value").c_str(), value.c_str());
}

KyrCamErr Feature::code(const std::string &operation) const
{
    return static_cast<KyrCamErr>(answerInt({ key(operation) }, KyrCam::kOk));
}

// Answers: "<feature>#node.IsFeature"; true by default.
bool ScriptedNode::IsFeature() noexcept
{
    record(id_ + ".IsFeature()");
    return answerInt({ id_ + ".IsFeature" }, 1) != 0;
}

template <typename Interface>
ScriptedParam<Interface>::ScriptedParam(std::string id, std::string name, int32_t type)
    : Feature(id, std::move(name), type)
    , node_(id + "#node")
{
}

template <typename Interface>
const char *ScriptedParam<Interface>::text(const char *getter, const std::string &fallback)
{
    log(getter);
    return texts_.keep(getter, answer({ key(getter) }).value_or(fallback));
}

template <typename Interface>
bool ScriptedParam<Interface>::predicate(const char *name, bool fallback)
{
    log(name);
    return answerInt({ key(name) }, fallback) != 0;
}

// Answers: the code; the kind's own by default.
template <typename Interface>
int32_t ScriptedParam<Interface>::GetType() noexcept
{
    log("GetType");
    return static_cast<int32_t>(answerInt({ key("GetType") }, type_));
}

// Answers of the texts: the name for name and display name, "" otherwise.
template <typename Interface>
const char *ScriptedParam<Interface>::GetName() noexcept
{
    return text("GetName", name_);
}

template <typename Interface>
const char *ScriptedParam<Interface>::GetToolTip() noexcept
{
    return text("GetToolTip", "");
}

template <typename Interface>
const char *ScriptedParam<Interface>::GetDescription() noexcept
{
    return text("GetDescription", "");
}

template <typename Interface>
const char *ScriptedParam<Interface>::GetDisplayName() noexcept
{
    return text("GetDisplayName", name_);
}

// Answers: the level; beginner by default.
template <typename Interface>
int32_t ScriptedParam<Interface>::GetVisibility() noexcept
{
    log("GetVisibility");
    return static_cast<int32_t>(answerInt({ key("GetVisibility") }, KyrGenParam::VisBeginner));
}

// Answers: 1 or 0; by default whether `level` reaches the feature's visibility.
template <typename Interface>
bool ScriptedParam<Interface>::IsVisible(int32_t level) noexcept
{
    log("IsVisible", std::to_string(level));
    const int64_t visibility = answerInt({ key("GetVisibility") }, KyrGenParam::VisBeginner);
    return answerInt({ key("IsVisible") }, level >= visibility) != 0;
}

// Answers of the predicates: 1 or 0; available, readable and writable, neither
// cached nor streamable by default.
template <typename Interface>
bool ScriptedParam<Interface>::IsValueCached() noexcept
{
    return predicate("IsValueCached", false);
}

template <typename Interface>
bool ScriptedParam<Interface>::IsAvailable() noexcept
{
    return predicate("IsAvailable", true);
}

template <typename Interface>
bool ScriptedParam<Interface>::IsWritable() noexcept
{
    return predicate("IsWritable", true);
}

template <typename Interface>
bool ScriptedParam<Interface>::IsReadable() noexcept
{
    return predicate("IsReadable", true);
}

template <typename Interface>
bool ScriptedParam<Interface>::IsStreamable() noexcept
{
    return predicate("IsStreamable", false);
}

// Answers: "null" for no node; the feature's node by default.
template <typename Interface>
KyrGenParam::Node *ScriptedParam<Interface>::GetNode() noexcept
{
    log("GetNode");
    return answerIsNull({ key("GetNode") }) ? nullptr : &node_;
}

template class ScriptedParam<KyrGenParam::Param>;
template class ScriptedParam<KyrGenParam::Int>;
template class ScriptedParam<KyrGenParam::Float>;
template class ScriptedParam<KyrGenParam::String>;
template class ScriptedParam<KyrGenParam::Boolean>;
template class ScriptedParam<KyrGenParam::Enum>;
template class ScriptedParam<KyrGenParam::EnumEntry>;
template class ScriptedParam<KyrGenParam::Command>;
template class ScriptedParam<KyrGenParam::Category>;

// Answers of the getters: "<feature>.<getter>" and "<feature>.<getter>.err".
// Defaults: the stored value (0 without one), the whole 64-bit range and an
// increment of 1.
int64_t ScriptedInt::number(const char *getter, int64_t fallback, KyrCamErr *err)
{
    log(getter);
    *err = code(std::string(getter) + ".err");
    return answerInt({ key(getter) }, fallback);
}

int64_t ScriptedInt::GetValue(KyrCamErr *err) noexcept
{
    return number("GetValue", storedInt(), err);
}

// Answers: the code (0 by default); the value is stored when it is 0.
KyrCamErr ScriptedInt::SetValue(int64_t value) noexcept
{
    log("SetValue", std::to_string(value));
    const KyrCamErr result = code("SetValue");
    if (result == KyrCam::kOk)
        store(std::to_string(value));
    return result;
}

int64_t ScriptedInt::GetMin(KyrCamErr *err) noexcept
{
    return number("GetMin", std::numeric_limits<int64_t>::min(), err);
}

int64_t ScriptedInt::GetMax(KyrCamErr *err) noexcept
{
    return number("GetMax", std::numeric_limits<int64_t>::max(), err);
}

int64_t ScriptedInt::GetIncrement(KyrCamErr *err) noexcept
{
    return number("GetIncrement", 1, err);
}

// As for integers; the range defaults to the whole double range.
double ScriptedFloat::number(const char *getter, double fallback, KyrCamErr *err)
{
    log(getter);
    *err = code(std::string(getter) + ".err");
    return answerReal({ key(getter) }, fallback);
}

double ScriptedFloat::GetValue(KyrCamErr *err) noexcept
{
    return number("GetValue", storedReal(), err);
}

KyrCamErr ScriptedFloat::SetValue(double value) noexcept
{
    log("SetValue", real(value));
    const KyrCamErr result = code("SetValue");
    if (result == KyrCam::kOk)
        store(real(value));
    return result;
}

double ScriptedFloat::GetMin(KyrCamErr *err) noexcept
{
    return number("GetMin", std::numeric_limits<double>::lowest(), err);
}

double ScriptedFloat::GetMax(KyrCamErr *err) noexcept
{
    return number("GetMax", std::numeric_limits<double>::max(), err);
}

// Answers: the unit ("" by default) and "<feature>.GetUnit.err".
const char *ScriptedFloat::GetUnit(KyrCamErr *err) noexcept
{
    *err = code("GetUnit.err");
    return text("GetUnit", "");
}

// Answers: "<feature>.GetValue" (the stored value by default) and ".err".
const char *ScriptedString::GetValue(KyrCamErr *err) noexcept
{
    *err = code("GetValue.err");
    return text("GetValue", value(""));
}

// Answers: the length; 256 by default. Logs whether `err` was given.
int32_t ScriptedString::GetMaxLength(KyrCamErr *err) noexcept
{
    log("GetMaxLength", err ? "err" : "null");
    if (err)
        *err = code("GetMaxLength.err");
    return static_cast<int32_t>(answerInt({ key("GetMaxLength") }, 256));
}

KyrCamErr ScriptedString::SetValue(const char *value) noexcept
{
    log("SetValue", quoted(value));
    if (!value)
        return KyrCam::kErrGenICamInvalidArgument;
    const KyrCamErr result = code("SetValue");
    if (result == KyrCam::kOk)
        store(value);
    return result;
}

// Answers: "<feature>.GetValue" (the stored value, 1 or 0, by default) and ".err".
bool ScriptedBoolean::GetValue(KyrCamErr *err) noexcept
{
    log("GetValue");
    *err = code("GetValue.err");
    return answerInt({ key("GetValue") }, storedInt()) != 0;
}

KyrCamErr ScriptedBoolean::SetValue(bool value) noexcept
{
    log("SetValue", flag(value));
    const KyrCamErr result = code("SetValue");
    if (result == KyrCam::kOk)
        store(value ? "1" : "0");
    return result;
}

ScriptedEnumEntry::ScriptedEnumEntry(std::string id, std::string name, int64_t value)
    : ScriptedParam(std::move(id), std::move(name), KyrGenParam::ParamEnumEntry)
    , value_(value)
{
}

// Answers: ".err" of each getter; the entry's own value and name.
int64_t ScriptedEnumEntry::GetValue(KyrCamErr *err) noexcept
{
    log("GetValue");
    *err = code("GetValue.err");
    return value_;
}

const char *ScriptedEnumEntry::GetValueStr(KyrCamErr *err) noexcept
{
    *err = code("GetValueStr.err");
    return text("GetValueStr", name_);
}

std::vector<std::pair<std::string, int64_t>> ScriptedEnum::entries() const
{
    std::vector<std::pair<std::string, int64_t>> result;
    for (const std::string &item : splitList(answer({ key("entries") }).value_or(""))) {
        const size_t equals = item.find('=');
        if (equals == std::string::npos) {
            std::fprintf(stderr, "scripted: entry '%s' has no '=value'\n", item.c_str());
            continue;
        }
        result.emplace_back(item.substr(0, equals), parseInt(item.substr(equals + 1), 0));
    }
    return result;
}

std::optional<std::pair<std::string, int64_t>> ScriptedEnum::current() const
{
    const std::string name = value("");
    for (const auto &entry : entries()) {
        if (entry.first == name)
            return entry;
    }
    return std::nullopt;
}

KyrCamErr ScriptedEnum::select(const std::string &name) const
{
    for (const auto &entry : entries()) {
        if (entry.first == name) {
            store(name);
            return KyrCam::kOk;
        }
    }
    return KyrCam::kErrGenICamOutOfRange;
}

KyrCamErr ScriptedEnum::select(int64_t value) const
{
    for (const auto &entry : entries()) {
        if (entry.second == value) {
            store(entry.first);
            return KyrCam::kOk;
        }
    }
    return KyrCam::kErrGenICamOutOfRange;
}

// Answers: the count (the number of entries by default) and ".err".
int64_t ScriptedEnum::GetCount(KyrCamErr *err) noexcept
{
    log("GetCount");
    *err = code("GetCount.err");
    return answerInt({ key("GetCount") }, static_cast<int64_t>(entries().size()));
}

// Answers: the value (the current entry's) and ".err"; kErrGenICamOutOfRange
// when the stored value names no entry.
int64_t ScriptedEnum::GetValue(KyrCamErr *err) noexcept
{
    log("GetValue");
    const auto entry = current();
    *err = code("GetValue.err");
    if (*err == KyrCam::kOk && !entry)
        *err = KyrCam::kErrGenICamOutOfRange;
    return answerInt({ key("GetValue") }, entry ? entry->second : 0);
}

const char *ScriptedEnum::GetValueStr(KyrCamErr *err) noexcept
{
    const auto entry = current();
    *err = code("GetValueStr.err");
    if (*err == KyrCam::kOk && !entry)
        *err = KyrCam::kErrGenICamOutOfRange;
    return text("GetValueStr", entry ? entry->first : "");
}

// Answers of the setters: the code; by default 0 when an entry has that value
// or name (it becomes current), else kErrGenICamOutOfRange.
KyrCamErr ScriptedEnum::SetValue(int64_t value) noexcept
{
    log("SetValue", std::to_string(value));
    const KyrCamErr result = code("SetValue");
    return result != KyrCam::kOk ? result : select(value);
}

KyrCamErr ScriptedEnum::SetValueStr(const char *name) noexcept
{
    log("SetValueStr", quoted(name));
    if (!name)
        return KyrCam::kErrGenICamInvalidArgument;
    const KyrCamErr result = code("SetValueStr");
    return result != KyrCam::kOk ? result : select(std::string(name));
}

// Answers: "null" for no entry; entry `index` by default, null past the end.
// Entries are objects "<feature>/<entry>".
KyrGenParam::EnumEntry *ScriptedEnum::GetEnumEntryByIndex(int64_t index) noexcept
{
    log("GetEnumEntryByIndex", std::to_string(index));
    const auto all = entries();
    if (answerIsNull({ key("GetEnumEntryByIndex") }) || index < 0 || static_cast<uint64_t>(index) >= all.size())
        return nullptr;
    const auto &[entryName, entryValue] = all[static_cast<size_t>(index)];
    std::lock_guard<std::mutex> lock(mutex_);
    std::unique_ptr<ScriptedEnumEntry> &entry = entries_[entryName + "=" + std::to_string(entryValue)];
    if (!entry)
        entry = std::make_unique<ScriptedEnumEntry>(id_ + "/" + entryName, entryName, entryValue);
    return entry.get();
}

// Answers: the code; 0 by default.
KyrCamErr ScriptedCommand::Execute() noexcept
{
    log("Execute");
    return code("Execute");
}

// Answers: 1 or 0 (done by default) and ".err". Logs whether `err` was given.
bool ScriptedCommand::IsDone(KyrCamErr *err) noexcept
{
    log("IsDone", err ? "err" : "null");
    if (err)
        *err = code("IsDone.err");
    return answerInt({ key("IsDone") }, 1) != 0;
}

ScriptedCategory::ScriptedCategory(std::string id, std::string name, int32_t type, ScriptedArray &array)
    : ScriptedParam(std::move(id), std::move(name), type)
    , array_(array)
{
}

// Answers: the count; the number of children by default.
int32_t ScriptedCategory::GetCount() noexcept
{
    log("GetCount");
    return static_cast<int32_t>(answerInt({ key("GetCount") }, static_cast<int64_t>(childrenOf(*this).size())));
}

// Answers: "null" and ".err"; by default child `index`, null with
// kErrInvalidIndex past the end or for a child the script does not describe.
KyrGenParam::Param *ScriptedCategory::GetParamByIndex(uint32_t index, KyrCamErr *err) noexcept
{
    log("GetParamByIndex", std::to_string(index));
    *err = code("GetParamByIndex.err");
    const std::vector<std::string> children = childrenOf(*this);
    if (answerIsNull({ key("GetParamByIndex") }))
        return nullptr;
    if (index >= children.size()) {
        *err = KyrCam::kErrInvalidIndex;
        return nullptr;
    }
    Feature *child = array_.feature(children[index]);
    if (!child) {
        *err = KyrCam::kErrInvalidIndex;
        return nullptr;
    }
    return child->param();
}

} // namespace Scripted
