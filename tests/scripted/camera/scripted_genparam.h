// Scripted parameter arrays and their features.
//
// An array "cam" lists its features in "cam.features" ("Root,Width,Gain") and
// describes each under "cam/<feature>": its kind in ".type" (Int, Float,
// String, Boolean, Enum, Command, Category, or any other word for a feature of
// no listed type), its value in ".value" (setters write it back there),
// an enumeration's entries in ".entries" ("Mono8=1,Mono16=2") and its value as
// the current entry's name, a category's children in ".children". Every
// operation logs "<object>.<Operation>(<arguments as received>)" and answers
// "<object>.<Operation>" (a result, "null" for a null pointer) and
// "<object>.<Operation>.err" (its code) when the script has them.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <camera/KyrGenParam.h>

#include "scripted_format.h"

namespace Scripted {

class ScriptedArray;

// The scripted state every feature has: its name, its stored value and the
// keys of its answers.
class Feature
{
public:
    Feature(std::string id, std::string name, int32_t type);
    virtual ~Feature() = default;

    virtual KyrGenParam::Param *param() noexcept = 0;

    const std::string &id() const { return id_; }
    // ParamType of the feature's kind.
    int32_t type() const { return type_; }

    std::string key(const std::string &operation) const { return id_ + "." + operation; }
    void log(const std::string &operation, const std::string &arguments = "") const;
    // The stored value, or `fallback` when there is none.
    std::string value(const std::string &fallback) const;
    // The stored value as a number; 0 when there is none.
    int64_t storedInt() const;
    double storedReal() const;
    void store(const std::string &value) const;
    // The scripted code of an operation; 0 by default.
    KyrCamErr code(const std::string &operation) const;

protected:
    const std::string id_;
    const std::string name_;
    const int32_t type_;
    KeptTexts texts_;
};

class ScriptedNode : public KyrGenParam::Node
{
public:
    explicit ScriptedNode(std::string id) : id_(std::move(id)) {}
    ~ScriptedNode() override = default;
    bool IsFeature() noexcept override;

private:
    const std::string id_;
};

// The common feature interface over a Feature.
template <typename Interface>
class ScriptedParam : public Interface, public Feature
{
public:
    ScriptedParam(std::string id, std::string name, int32_t type);

    KyrGenParam::Param *param() noexcept override { return this; }

    int32_t GetType() noexcept override;
    const char *GetName() noexcept override;
    const char *GetToolTip() noexcept override;
    const char *GetDescription() noexcept override;
    const char *GetDisplayName() noexcept override;
    int32_t GetVisibility() noexcept override;
    bool IsVisible(int32_t level) noexcept override;
    bool IsValueCached() noexcept override;
    bool IsAvailable() noexcept override;
    bool IsWritable() noexcept override;
    bool IsReadable() noexcept override;
    bool IsStreamable() noexcept override;
    KyrGenParam::Node *GetNode() noexcept override;

protected:
    const char *text(const char *getter, const std::string &fallback);
    bool predicate(const char *name, bool fallback);

private:
    ScriptedNode node_;
};

class ScriptedInt : public ScriptedParam<KyrGenParam::Int>
{
public:
    using ScriptedParam::ScriptedParam;
    int64_t GetValue(KyrCamErr *err) noexcept override;
    KyrCamErr SetValue(int64_t value) noexcept override;
    int64_t GetMin(KyrCamErr *err) noexcept override;
    int64_t GetMax(KyrCamErr *err) noexcept override;
    int64_t GetIncrement(KyrCamErr *err) noexcept override;

private:
    int64_t number(const char *getter, int64_t fallback, KyrCamErr *err);
};

class ScriptedFloat : public ScriptedParam<KyrGenParam::Float>
{
public:
    using ScriptedParam::ScriptedParam;
    double GetValue(KyrCamErr *err) noexcept override;
    KyrCamErr SetValue(double value) noexcept override;
    double GetMin(KyrCamErr *err) noexcept override;
    double GetMax(KyrCamErr *err) noexcept override;
    const char *GetUnit(KyrCamErr *err) noexcept override;

private:
    double number(const char *getter, double fallback, KyrCamErr *err);
};

class ScriptedString : public ScriptedParam<KyrGenParam::String>
{
public:
    using ScriptedParam::ScriptedParam;
    const char *GetValue(KyrCamErr *err) noexcept override;
    int32_t GetMaxLength(KyrCamErr *err) noexcept override;
    KyrCamErr SetValue(const char *value) noexcept override;
};

class ScriptedBoolean : public ScriptedParam<KyrGenParam::Boolean>
{
public:
    using ScriptedParam::ScriptedParam;
    bool GetValue(KyrCamErr *err) noexcept override;
    KyrCamErr SetValue(bool value) noexcept override;
};

class ScriptedEnumEntry : public ScriptedParam<KyrGenParam::EnumEntry>
{
public:
    ScriptedEnumEntry(std::string id, std::string name, int64_t value);
    int64_t GetValue(KyrCamErr *err) noexcept override;
    const char *GetValueStr(KyrCamErr *err) noexcept override;

private:
    const int64_t value_;
};

class ScriptedEnum : public ScriptedParam<KyrGenParam::Enum>
{
public:
    using ScriptedParam::ScriptedParam;
    int64_t GetCount(KyrCamErr *err) noexcept override;
    int64_t GetValue(KyrCamErr *err) noexcept override;
    const char *GetValueStr(KyrCamErr *err) noexcept override;
    KyrCamErr SetValue(int64_t value) noexcept override;
    KyrCamErr SetValueStr(const char *name) noexcept override;
    KyrGenParam::EnumEntry *GetEnumEntryByIndex(int64_t index) noexcept override;

    // (name, value) of each entry, in order.
    std::vector<std::pair<std::string, int64_t>> entries() const;
    // The current entry; nullopt when the value names none.
    std::optional<std::pair<std::string, int64_t>> current() const;
    // Makes the entry of that name or value current; kErrGenICamOutOfRange
    // when there is none.
    KyrCamErr select(const std::string &name) const;
    KyrCamErr select(int64_t value) const;

private:
    std::mutex mutex_;
    std::map<std::string, std::unique_ptr<ScriptedEnumEntry>> entries_;
};

class ScriptedCommand : public ScriptedParam<KyrGenParam::Command>
{
public:
    using ScriptedParam::ScriptedParam;
    KyrCamErr Execute() noexcept override;
    bool IsDone(KyrCamErr *err) noexcept override;
};

class ScriptedCategory : public ScriptedParam<KyrGenParam::Category>
{
public:
    ScriptedCategory(std::string id, std::string name, int32_t type, ScriptedArray &array);
    int32_t GetCount() noexcept override;
    KyrGenParam::Param *GetParamByIndex(uint32_t index, KyrCamErr *err) noexcept override;

private:
    ScriptedArray &array_;
};

// A feature of no listed type.
using ScriptedOther = ScriptedParam<KyrGenParam::Param>;

class ScriptedNodeMap : public KyrGenParam::NodeMap
{
public:
    ~ScriptedNodeMap() override = default;
};

class ScriptedArray : public KyrGenParam::Array
{
public:
    explicit ScriptedArray(std::string name);
    ~ScriptedArray() override = default;

    const std::string &name() const { return name_; }

    // The feature of that name as its kind says, made on first use; null when
    // the script does not describe it.
    Feature *feature(const std::string &name);

    KyrGenParam::Param *GetParam(const char *name, KyrCamErr *err) noexcept override;
    KyrGenParam::Boolean *GetBoolean(const char *name, KyrCamErr *err) noexcept override;
    KyrGenParam::Command *GetCommand(const char *name, KyrCamErr *err) noexcept override;
    KyrGenParam::Enum *GetEnum(const char *name, KyrCamErr *err) noexcept override;
    KyrGenParam::Float *GetFloat(const char *name, KyrCamErr *err) noexcept override;
    KyrGenParam::Int *GetInt(const char *name, KyrCamErr *err) noexcept override;
    KyrGenParam::String *GetString(const char *name, KyrCamErr *err) noexcept override;
    KyrGenParam::Category *GetRootCategory(KyrCamErr *err) noexcept override;
    KyrGenParam::NodeMap *GetNodeMap(KyrCamErr *err) noexcept override;
    int32_t GetCount() noexcept override;
    KyrGenParam::Param *GetParamByIndex(uint32_t index, KyrCamErr *err) noexcept override;
    bool GetBooleanValue(const char *name, KyrCamErr *err) noexcept override;
    int64_t GetIntegerValue(const char *name, KyrCamErr *err) noexcept override;
    double GetFloatValue(const char *name, KyrCamErr *err) noexcept override;
    const char *GetStringValue(const char *name, KyrCamErr *err) noexcept override;
    int64_t GetEnumValue(const char *name, KyrCamErr *err) noexcept override;
    const char *GetEnumValueStr(const char *name, KyrCamErr *err) noexcept override;
    bool IsCommandDone(const char *name, KyrCamErr *err) noexcept override;
    KyrCamErr SetBooleanValue(const char *name, bool value) noexcept override;
    KyrCamErr SetIntegerValue(const char *name, int64_t value) noexcept override;
    KyrCamErr SetFloatValue(const char *name, double value) noexcept override;
    KyrCamErr SetStringValue(const char *name, const char *value) noexcept override;
    KyrCamErr SetEnumValue(const char *name, int64_t value) noexcept override;
    KyrCamErr SetEnumValueStr(const char *name, const char *entryName) noexcept override;
    KyrCamErr ExecuteCommand(const char *name) noexcept override;

private:
    std::string key(const std::string &operation) const { return name_ + "." + operation; }
    void log(const std::string &operation, const std::string &arguments) const;

    // The feature `name` of kind T: the scripted code under `codeKey` first,
    // then kErrGenICamInvalidArgument (null name), kErrGenICamUnknownParameter
    // (no such feature) or kErrGenICamType (another kind) in `*err`; null
    // unless `*err` is 0.
    template <typename T>
    T *typed(const std::string &codeKey, const char *name, KyrCamErr *err);
    // A pointer getter: logged, its code under ".err", "null" for a null answer.
    template <typename T>
    T *lookUp(const char *operation, const char *name, KyrCamErr *err);
    // A setter: logged with its arguments, its code as the answer; `apply`
    // writes the value to the feature and gives the code.
    template <typename T, typename Apply>
    KyrCamErr set(const char *operation, const char *name, const std::string &value, Apply apply);

    const std::string name_;
    ScriptedNodeMap nodeMap_;
    KeptTexts texts_;
    std::mutex mutex_;
    std::map<std::string, std::unique_ptr<Feature>> features_;  // by "<kind> <name>"
};

} // namespace Scripted
