// GenICam feature access of the camera library.
//
// A parameter array is the whole feature set of one module: a device's camera
// features, its transport layer, or an interface. Arrays, nodes and node maps
// belong to the library and to the module that handed them out; callers never
// free them. They stay valid until that module is released (Device::Release),
// or for the life of the system for interface arrays.
//
// Threads: every operation may be called from any thread; the library
// serialises access per array.
//
// Errors: operations with a `KyrCamErr *err` out-parameter write it on every
// call, 0 on success, unless `err` is null where a note says it may be. Codes:
// kErrGenICamUnknownParameter (no feature of that name), kErrGenICamType (the
// feature has another type), kErrGenICamAccess (not readable or not writable
// now), kErrGenICamOutOfRange (value outside min/max/increment or not an entry),
// kErrGenICamInvalidArgument (null name or text), kErrIo or kErrTimeout (the
// device did not answer), kErrInvalidState (the module is closed).
//
// Strings returned as `const char *` are NUL-terminated UTF-8 kept by the
// library: valid until the next call of the same getter on the same object or
// until the object is gone. Copy them at once.
#pragma once

#include <cstdint>

#include <camera/KyrCamErr.h>
#include <camera/KyrCamExport.h>

namespace KyrGenParam {

// What Param::GetType() answers.
enum ParamType : int32_t {
    ParamUnknown = 0,
    ParamInt = 1,
    ParamFloat = 2,
    ParamString = 3,
    ParamEnum = 4,
    ParamEnumEntry = 5,
    ParamBoolean = 6,
    ParamCommand = 7,
    ParamCategory = 8,
};

// GenICam visibility levels, from the most to the least visible.
enum Visibility : int32_t {
    VisBeginner = 0,
    VisExpert = 1,
    VisGuru = 2,
    VisInvisible = 3,
    VisUndefined = 4,
};

// The low-level node behind a feature.
class KYRCAM_API Node
{
public:
    // True when the node is a feature (it appears in the feature tree).
    virtual bool IsFeature() noexcept = 0;

protected:
    virtual ~Node() = default;
};

// The node map of a whole array: an opaque handle for callers, which only pass
// it on.
class KYRCAM_API NodeMap
{
protected:
    virtual ~NodeMap() = default;
};

// What every feature offers. The typed interfaces derive from it virtually,
// so going from a Param to a typed interface takes a dynamic_cast.
class KYRCAM_API Param
{
public:
    // ParamType of the feature; features of no listed type answer ParamUnknown.
    virtual int32_t GetType() noexcept = 0;
    virtual const char *GetName() noexcept = 0;
    virtual const char *GetToolTip() noexcept = 0;
    virtual const char *GetDescription() noexcept = 0;
    virtual const char *GetDisplayName() noexcept = 0;
    // A Visibility level.
    virtual int32_t GetVisibility() noexcept = 0;
    // True when the feature is shown at the given Visibility level.
    virtual bool IsVisible(int32_t level) noexcept = 0;
    virtual bool IsValueCached() noexcept = 0;
    virtual bool IsAvailable() noexcept = 0;
    virtual bool IsWritable() noexcept = 0;
    virtual bool IsReadable() noexcept = 0;
    virtual bool IsStreamable() noexcept = 0;
    // The node behind the feature, or null when it has none.
    virtual Node *GetNode() noexcept = 0;

protected:
    virtual ~Param() = default;
};

class KYRCAM_API Int : public virtual Param
{
public:
    int32_t GetType() noexcept override { return ParamInt; }
    virtual int64_t GetValue(KyrCamErr *err) noexcept = 0;
    virtual KyrCamErr SetValue(int64_t value) noexcept = 0;
    virtual int64_t GetMin(KyrCamErr *err) noexcept = 0;
    virtual int64_t GetMax(KyrCamErr *err) noexcept = 0;
    virtual int64_t GetIncrement(KyrCamErr *err) noexcept = 0;
};

class KYRCAM_API Float : public virtual Param
{
public:
    int32_t GetType() noexcept override { return ParamFloat; }
    virtual double GetValue(KyrCamErr *err) noexcept = 0;
    virtual KyrCamErr SetValue(double value) noexcept = 0;
    virtual double GetMin(KyrCamErr *err) noexcept = 0;
    virtual double GetMax(KyrCamErr *err) noexcept = 0;
    // The unit text, "" when the feature has none.
    virtual const char *GetUnit(KyrCamErr *err) noexcept = 0;
};

class KYRCAM_API String : public virtual Param
{
public:
    int32_t GetType() noexcept override { return ParamString; }
    virtual const char *GetValue(KyrCamErr *err) noexcept = 0;
    // Longest value in bytes. `err` may be null.
    virtual int32_t GetMaxLength(KyrCamErr *err) noexcept = 0;
    virtual KyrCamErr SetValue(const char *value) noexcept = 0;
};

class KYRCAM_API Boolean : public virtual Param
{
public:
    int32_t GetType() noexcept override { return ParamBoolean; }
    virtual bool GetValue(KyrCamErr *err) noexcept = 0;
    virtual KyrCamErr SetValue(bool value) noexcept = 0;
};

class EnumEntry;

class KYRCAM_API Enum : public virtual Param
{
public:
    int32_t GetType() noexcept override { return ParamEnum; }
    // Number of entries, available or not.
    virtual int64_t GetCount(KyrCamErr *err) noexcept = 0;
    // Numeric value and symbolic name of the current entry.
    virtual int64_t GetValue(KyrCamErr *err) noexcept = 0;
    virtual const char *GetValueStr(KyrCamErr *err) noexcept = 0;
    virtual KyrCamErr SetValue(int64_t value) noexcept = 0;
    virtual KyrCamErr SetValueStr(const char *name) noexcept = 0;
    // Entry `index` in the order of the device description, or null when the
    // index is out of range.
    virtual EnumEntry *GetEnumEntryByIndex(int64_t index) noexcept = 0;
};

class KYRCAM_API EnumEntry : public virtual Param
{
public:
    int32_t GetType() noexcept override { return ParamEnumEntry; }
    virtual int64_t GetValue(KyrCamErr *err) noexcept = 0;
    virtual const char *GetValueStr(KyrCamErr *err) noexcept = 0;
};

class KYRCAM_API Command : public virtual Param
{
public:
    int32_t GetType() noexcept override { return ParamCommand; }
    // Starts the command and returns at once; IsDone tells when it finished.
    virtual KyrCamErr Execute() noexcept = 0;
    // True once the last Execute has completed (also when it never ran).
    // `err` may be null.
    virtual bool IsDone(KyrCamErr *err) noexcept = 0;
};

class KYRCAM_API Category : public virtual Param
{
public:
    int32_t GetType() noexcept override { return ParamCategory; }
    // Number of features directly in the category.
    virtual int32_t GetCount() noexcept = 0;
    // Feature `index` of the category in description order; null with
    // kErrInvalidIndex past the end.
    virtual Param *GetParamByIndex(uint32_t index, KyrCamErr *err) noexcept = 0;
};

// The features of one module, by name and by index. Pointer getters answer null
// (with the code in `err`) when the feature does not exist or has another type.
class KYRCAM_API Array
{
public:
    virtual Param *GetParam(const char *name, KyrCamErr *err) noexcept = 0;
    virtual Boolean *GetBoolean(const char *name, KyrCamErr *err) noexcept = 0;
    virtual Command *GetCommand(const char *name, KyrCamErr *err) noexcept = 0;
    virtual Enum *GetEnum(const char *name, KyrCamErr *err) noexcept = 0;
    virtual Float *GetFloat(const char *name, KyrCamErr *err) noexcept = 0;
    virtual Int *GetInt(const char *name, KyrCamErr *err) noexcept = 0;
    virtual String *GetString(const char *name, KyrCamErr *err) noexcept = 0;

    // The category at the top of the feature tree ("Root").
    virtual Category *GetRootCategory(KyrCamErr *err) noexcept = 0;
    virtual NodeMap *GetNodeMap(KyrCamErr *err) noexcept = 0;

    // Number of features, categories included, and feature `index` of that flat
    // list (description order); null with kErrInvalidIndex past the end.
    virtual int32_t GetCount() noexcept = 0;
    virtual Param *GetParamByIndex(uint32_t index, KyrCamErr *err) noexcept = 0;

    // Value access by feature name, one call each.
    virtual bool GetBooleanValue(const char *name, KyrCamErr *err) noexcept = 0;
    virtual int64_t GetIntegerValue(const char *name, KyrCamErr *err) noexcept = 0;
    virtual double GetFloatValue(const char *name, KyrCamErr *err) noexcept = 0;
    virtual const char *GetStringValue(const char *name, KyrCamErr *err) noexcept = 0;
    virtual int64_t GetEnumValue(const char *name, KyrCamErr *err) noexcept = 0;
    virtual const char *GetEnumValueStr(const char *name, KyrCamErr *err) noexcept = 0;
    virtual bool IsCommandDone(const char *name, KyrCamErr *err) noexcept = 0;

    virtual KyrCamErr SetBooleanValue(const char *name, bool value) noexcept = 0;
    virtual KyrCamErr SetIntegerValue(const char *name, int64_t value) noexcept = 0;
    virtual KyrCamErr SetFloatValue(const char *name, double value) noexcept = 0;
    virtual KyrCamErr SetStringValue(const char *name, const char *value) noexcept = 0;
    virtual KyrCamErr SetEnumValue(const char *name, int64_t value) noexcept = 0;
    virtual KyrCamErr SetEnumValueStr(const char *name, const char *entryName) noexcept = 0;
    virtual KyrCamErr ExecuteCommand(const char *name) noexcept = 0;

protected:
    virtual ~Array() = default;
};

} // namespace KyrGenParam
