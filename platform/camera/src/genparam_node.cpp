// The parameter objects: one class per feature type over the matching ArvGc
// interface, sharing the common feature queries through ParamBase.

#include "genparam_private.h"

#include <cstring>
#include <vector>

namespace KyrCam {

namespace {

using Lock = std::lock_guard<std::recursive_mutex>;

std::string copyText(const char *text) { return text ? text : ""; }

ArvGcPropertyNode *findProperty(ArvGcFeatureNode *node, const char *name) noexcept
{
    for (ArvDomNode *child = arv_dom_node_get_first_child(ARV_DOM_NODE(node)); child;
         child = arv_dom_node_get_next_sibling(child)) {
        if (ARV_IS_GC_PROPERTY_NODE(child) && std::strcmp(arv_dom_node_get_node_name(child), name) == 0)
            return ARV_GC_PROPERTY_NODE(child);
    }
    return nullptr;
}

bool nodeAvailable(ArvGcFeatureNode *node) noexcept
{
    AravisError error;
    const bool available = arv_gc_feature_node_is_implemented(node, error.out()) &&
                           arv_gc_feature_node_is_available(node, error.out());
    return available && error.code() == kOk;
}

bool nodeLocked(ArvGcFeatureNode *node) noexcept
{
    AravisError error;
    const bool locked = arv_gc_feature_node_is_locked(node, error.out());
    return error.code() != kOk || locked;
}

bool modeReads(ArvGcAccessMode mode) noexcept { return mode == ARV_GC_ACCESS_MODE_RO || mode == ARV_GC_ACCESS_MODE_RW; }
bool modeWrites(ArvGcAccessMode mode) noexcept { return mode == ARV_GC_ACCESS_MODE_WO || mode == ARV_GC_ACCESS_MODE_RW; }

int32_t visibilityOf(ArvGcVisibility visibility) noexcept
{
    switch (visibility) {
    case ARV_GC_VISIBILITY_BEGINNER:
        return KyrGenParam::VisBeginner;
    case ARV_GC_VISIBILITY_EXPERT:
        return KyrGenParam::VisExpert;
    case ARV_GC_VISIBILITY_GURU:
        return KyrGenParam::VisGuru;
    case ARV_GC_VISIBILITY_INVISIBLE:
        return KyrGenParam::VisInvisible;
    default:
        return KyrGenParam::VisUndefined;
    }
}

// What every parameter object offers, for the feature interface `Iface`.
template <typename Iface>
class ParamBase : public Iface, public OwnedParam
{
public:
    ParamBase(AravisParamArray &array, ArvGcFeatureNode *node)
        : array_(array), node_(node), name_(copyText(arv_gc_feature_node_get_name(node))),
          toolTip_(copyText(arv_gc_feature_node_get_tooltip(node))),
          description_(copyText(arv_gc_feature_node_get_description(node))),
          displayName_(copyText(arv_gc_feature_node_get_display_name(node)))
    {
        if (displayName_.empty())
            displayName_ = name_;
    }

    KyrGenParam::Param *param() noexcept override { return this; }

    const char *GetName() noexcept override { return name_.c_str(); }
    const char *GetToolTip() noexcept override { return toolTip_.c_str(); }
    const char *GetDescription() noexcept override { return description_.c_str(); }
    const char *GetDisplayName() noexcept override { return displayName_.c_str(); }

    int32_t GetVisibility() noexcept override
    {
        Lock lock(array_.mutex());
        return visibilityOf(arv_gc_feature_node_get_visibility(node_));
    }

    bool IsVisible(int32_t level) noexcept override
    {
        const int32_t visibility = GetVisibility();
        return (visibility == KyrGenParam::VisUndefined ? KyrGenParam::VisBeginner : visibility) <= level;
    }

    // The register cache of Aravis is off: every read goes to the device.
    bool IsValueCached() noexcept override { return false; }

    bool IsAvailable() noexcept override
    {
        Lock lock(array_.mutex());
        return nodeAvailable(node_);
    }

    bool IsWritable() noexcept override
    {
        Lock lock(array_.mutex());
        return writable();
    }

    bool IsReadable() noexcept override
    {
        Lock lock(array_.mutex());
        return readable();
    }

    bool IsStreamable() noexcept override
    {
        Lock lock(array_.mutex());
        ArvGcPropertyNode *streamable = findProperty(node_, "Streamable");
        if (!streamable)
            return false;
        AravisError error;
        const char *text = arv_gc_property_node_get_string(streamable, error.out());
        return error.code() == kOk && text && std::strcmp(text, "Yes") == 0;
    }

    KyrGenParam::Node *GetNode() noexcept override { return &node; }

protected:
    // Callers hold the array's lock.
    bool readable() noexcept { return nodeAvailable(node_) && modeReads(arv_gc_feature_node_get_actual_access_mode(node_)); }
    bool writable() noexcept
    {
        return nodeAvailable(node_) && modeWrites(arv_gc_feature_node_get_actual_access_mode(node_)) &&
               !nodeLocked(node_);
    }

    // Runs `read` under the lock when the feature is readable.
    template <typename T, typename Read>
    T get(KyrCamErr *err, T fallback, Read read) noexcept
    {
        Lock lock(array_.mutex());
        if (!readable()) {
            setError(err, kErrGenICamAccess);
            return fallback;
        }
        AravisError error;
        T value = read(error.out());
        const KyrCamErr code = error.code();
        setError(err, code);
        return code == kOk ? value : fallback;
    }

    // Runs `check` then `write` under the lock when the feature is writable.
    template <typename Check, typename Write>
    KyrCamErr set(Check check, Write write) noexcept
    {
        Lock lock(array_.mutex());
        if (!writable())
            return kErrGenICamAccess;
        const KyrCamErr checked = check();
        if (checked != kOk)
            return checked;
        AravisError error;
        write(error.out());
        return error.code();
    }

    AravisParamArray &array_;
    ArvGcFeatureNode *node_;
    AravisNode node;

private:
    std::string name_;
    std::string toolTip_;
    std::string description_;
    std::string displayName_;
};

class PlainParam final : public ParamBase<KyrGenParam::Param>
{
public:
    using ParamBase::ParamBase;
    int32_t GetType() noexcept override { return KyrGenParam::ParamUnknown; }
};

class IntParam final : public ParamBase<KyrGenParam::Int>
{
public:
    using ParamBase::ParamBase;

    int64_t GetValue(KyrCamErr *err) noexcept override
    {
        return get<int64_t>(err, 0, [&](GError **e) { return arv_gc_integer_get_value(integer(), e); });
    }

    KyrCamErr SetValue(int64_t value) noexcept override
    {
        return set(
            [&] {
                AravisError error;
                const int64_t min = arv_gc_integer_get_min(integer(), error.out());
                const int64_t max = arv_gc_integer_get_max(integer(), error.out());
                const int64_t increment = arv_gc_integer_get_inc(integer(), error.out());
                if (error.failed())
                    return error.code();
                if (value < min || value > max || (increment > 1 && (value - min) % increment != 0))
                    return kErrGenICamOutOfRange;
                return kOk;
            },
            [&](GError **e) { arv_gc_integer_set_value(integer(), value, e); });
    }

    int64_t GetMin(KyrCamErr *err) noexcept override { return bound(err, arv_gc_integer_get_min); }
    int64_t GetMax(KyrCamErr *err) noexcept override { return bound(err, arv_gc_integer_get_max); }
    int64_t GetIncrement(KyrCamErr *err) noexcept override { return bound(err, arv_gc_integer_get_inc); }

private:
    ArvGcInteger *integer() noexcept { return ARV_GC_INTEGER(node_); }

    int64_t bound(KyrCamErr *err, gint64 (*read)(ArvGcInteger *, GError **)) noexcept
    {
        Lock lock(array_.mutex());
        AravisError error;
        const int64_t value = read(integer(), error.out());
        const KyrCamErr code = error.code();
        setError(err, code);
        return code == kOk ? value : 0;
    }
};

class FloatParam final : public ParamBase<KyrGenParam::Float>
{
public:
    using ParamBase::ParamBase;

    double GetValue(KyrCamErr *err) noexcept override
    {
        return get<double>(err, 0.0, [&](GError **e) { return arv_gc_float_get_value(floating(), e); });
    }

    KyrCamErr SetValue(double value) noexcept override
    {
        return set(
            [&] {
                AravisError error;
                const double min = arv_gc_float_get_min(floating(), error.out());
                const double max = arv_gc_float_get_max(floating(), error.out());
                if (error.failed())
                    return error.code();
                return value < min || value > max || value != value ? kErrGenICamOutOfRange : kOk;
            },
            [&](GError **e) { arv_gc_float_set_value(floating(), value, e); });
    }

    double GetMin(KyrCamErr *err) noexcept override { return bound(err, arv_gc_float_get_min); }
    double GetMax(KyrCamErr *err) noexcept override { return bound(err, arv_gc_float_get_max); }

    const char *GetUnit(KyrCamErr *err) noexcept override
    {
        std::string unit;
        {
            Lock lock(array_.mutex());
            unit = copyText(arv_gc_float_get_unit(floating()));
        }
        setError(err, kOk);
        return unit_.keep(std::move(unit));
    }

private:
    ArvGcFloat *floating() noexcept { return ARV_GC_FLOAT(node_); }

    double bound(KyrCamErr *err, double (*read)(ArvGcFloat *, GError **)) noexcept
    {
        Lock lock(array_.mutex());
        AravisError error;
        const double value = read(floating(), error.out());
        const KyrCamErr code = error.code();
        setError(err, code);
        return code == kOk ? value : 0.0;
    }

    ThreadText unit_;
};

class StringParam final : public ParamBase<KyrGenParam::String>
{
public:
    using ParamBase::ParamBase;

    const char *GetValue(KyrCamErr *err) noexcept override
    {
        return value_.keep(get<std::string>(
            err, std::string(), [&](GError **e) { return copyText(arv_gc_string_get_value(string(), e)); }));
    }

    int32_t GetMaxLength(KyrCamErr *err) noexcept override
    {
        Lock lock(array_.mutex());
        AravisError error;
        const int64_t length = arv_gc_string_get_max_length(string(), error.out());
        const KyrCamErr code = error.code();
        setError(err, code);
        return code == kOk ? int32_t(length) : 0;
    }

    KyrCamErr SetValue(const char *value) noexcept override
    {
        if (!value)
            return kErrGenICamInvalidArgument;
        return set(
            [&] {
                AravisError error;
                const int64_t length = arv_gc_string_get_max_length(string(), error.out());
                if (error.failed())
                    return error.code();
                return int64_t(std::strlen(value)) > length ? kErrGenICamOutOfRange : kOk;
            },
            [&](GError **e) { arv_gc_string_set_value(string(), value, e); });
    }

private:
    ArvGcString *string() noexcept { return ARV_GC_STRING(node_); }

    ThreadText value_;
};

class BooleanParam final : public ParamBase<KyrGenParam::Boolean>
{
public:
    using ParamBase::ParamBase;

    bool GetValue(KyrCamErr *err) noexcept override
    {
        return get<bool>(err, false, [&](GError **e) { return arv_gc_boolean_get_value(ARV_GC_BOOLEAN(node_), e) != 0; });
    }

    KyrCamErr SetValue(bool value) noexcept override
    {
        return set([] { return kOk; },
                   [&](GError **e) { arv_gc_boolean_set_value(ARV_GC_BOOLEAN(node_), value, e); });
    }
};

class EnumEntryParam final : public ParamBase<KyrGenParam::EnumEntry>
{
public:
    using ParamBase::ParamBase;

    int64_t GetValue(KyrCamErr *err) noexcept override
    {
        Lock lock(array_.mutex());
        AravisError error;
        const int64_t value = arv_gc_enum_entry_get_value(ARV_GC_ENUM_ENTRY(node_), error.out());
        const KyrCamErr code = error.code();
        setError(err, code);
        return code == kOk ? value : 0;
    }

    const char *GetValueStr(KyrCamErr *err) noexcept override
    {
        setError(err, kOk);
        return GetName();
    }
};

class EnumParam final : public ParamBase<KyrGenParam::Enum>
{
public:
    using ParamBase::ParamBase;

    int64_t GetCount(KyrCamErr *err) noexcept override
    {
        Lock lock(array_.mutex());
        setError(err, kOk);
        return int64_t(entries().size());
    }

    int64_t GetValue(KyrCamErr *err) noexcept override
    {
        return get<int64_t>(err, 0, [&](GError **e) { return arv_gc_enumeration_get_int_value(enumeration(), e); });
    }

    const char *GetValueStr(KyrCamErr *err) noexcept override
    {
        return valueStr_.keep(get<std::string>(err, std::string(), [&](GError **e) {
            return copyText(arv_gc_enumeration_get_string_value(enumeration(), e));
        }));
    }

    KyrCamErr SetValue(int64_t value) noexcept override
    {
        return set([&] { return findEntry([&](ArvGcEnumEntry *entry) {
                       AravisError error;
                       return arv_gc_enum_entry_get_value(entry, error.out()) == value && !error.failed();
                   }); },
                   [&](GError **e) { arv_gc_enumeration_set_int_value(enumeration(), value, e); });
    }

    KyrCamErr SetValueStr(const char *name) noexcept override
    {
        if (!name)
            return kErrGenICamInvalidArgument;
        return set([&] { return findEntry([&](ArvGcEnumEntry *entry) {
                       return std::strcmp(arv_gc_feature_node_get_name(ARV_GC_FEATURE_NODE(entry)), name) == 0;
                   }); },
                   [&](GError **e) { arv_gc_enumeration_set_string_value(enumeration(), name, e); });
    }

    KyrGenParam::EnumEntry *GetEnumEntryByIndex(int64_t index) noexcept override
    {
        Lock lock(array_.mutex());
        const std::vector<ArvGcFeatureNode *> all = entries();
        if (index < 0 || uint64_t(index) >= all.size())
            return nullptr;
        return dynamic_cast<KyrGenParam::EnumEntry *>(array_.paramOf(all[size_t(index)]));
    }

private:
    ArvGcEnumeration *enumeration() noexcept { return ARV_GC_ENUMERATION(node_); }
    // The entries in description order (Aravis's own list runs backwards).
    // Empty when memory is short.
    std::vector<ArvGcFeatureNode *> entries() const noexcept
    {
        std::vector<ArvGcFeatureNode *> found;
        try {
            for (ArvDomNode *child = arv_dom_node_get_first_child(ARV_DOM_NODE(node_)); child;
                 child = arv_dom_node_get_next_sibling(child)) {
                if (ARV_IS_GC_ENUM_ENTRY(child))
                    found.push_back(ARV_GC_FEATURE_NODE(child));
            }
        } catch (...) {
            found.clear();
        }
        return found;
    }

    // kOk when an available entry matches, else out of range.
    template <typename Match>
    KyrCamErr findEntry(Match match) noexcept
    {
        for (ArvGcFeatureNode *entry : entries()) {
            if (match(ARV_GC_ENUM_ENTRY(entry)))
                return nodeAvailable(entry) ? kOk : kErrGenICamOutOfRange;
        }
        return kErrGenICamOutOfRange;
    }

    ThreadText valueStr_;
};

class CommandParam final : public ParamBase<KyrGenParam::Command>
{
public:
    using ParamBase::ParamBase;

    KyrCamErr Execute() noexcept override
    {
        return set([] { return kOk; }, [&](GError **e) { arv_gc_command_execute(ARV_GC_COMMAND(node_), e); });
    }

    // Aravis 0.8 has no completion query: a command is running while its value
    // register still holds the command value. A register that cannot be read
    // back (write-only) counts as done.
    bool IsDone(KyrCamErr *err) noexcept override
    {
        Lock lock(array_.mutex());
        setError(err, kOk);
        ArvGcPropertyNode *valueProperty = findProperty(node_, "pValue");
        ArvGcPropertyNode *commandValue = findProperty(node_, "CommandValue");
        if (!commandValue)
            commandValue = findProperty(node_, "pCommandValue");
        ArvGcNode *target = valueProperty ? arv_gc_property_node_get_linked_node(valueProperty) : nullptr;
        if (!target || !commandValue || !ARV_IS_GC_INTEGER(target))
            return true;
        if (ARV_IS_GC_FEATURE_NODE(target) &&
            !modeReads(arv_gc_feature_node_get_actual_access_mode(ARV_GC_FEATURE_NODE(target))))
            return true;
        AravisError error;
        const int64_t expected = arv_gc_property_node_get_int64(commandValue, error.out());
        const int64_t current = arv_gc_integer_get_value(ARV_GC_INTEGER(target), error.out());
        const KyrCamErr code = error.code();
        if (code != kOk) {
            setError(err, code);
            return false;
        }
        return current != expected;
    }
};

class CategoryParam final : public ParamBase<KyrGenParam::Category>
{
public:
    using ParamBase::ParamBase;

    int32_t GetCount() noexcept override
    {
        Lock lock(array_.mutex());
        return int32_t(g_slist_length(const_cast<GSList *>(arv_gc_category_get_features(ARV_GC_CATEGORY(node_)))));
    }

    KyrGenParam::Param *GetParamByIndex(uint32_t index, KyrCamErr *err) noexcept override
    {
        std::string name;
        {
            Lock lock(array_.mutex());
            const GSList *features = arv_gc_category_get_features(ARV_GC_CATEGORY(node_));
            auto *feature = static_cast<const char *>(g_slist_nth_data(const_cast<GSList *>(features), index));
            if (!feature) {
                setError(err, kErrInvalidIndex);
                return nullptr;
            }
            name = feature;
        }
        return array_.find(name.c_str(), err);
    }
};

} // namespace

std::unique_ptr<OwnedParam> makeParam(AravisParamArray &array, ArvGcFeatureNode *node)
{
    if (ARV_IS_GC_CATEGORY(node))
        return std::make_unique<CategoryParam>(array, node);
    if (ARV_IS_GC_ENUMERATION(node))
        return std::make_unique<EnumParam>(array, node);
    if (ARV_IS_GC_ENUM_ENTRY(node))
        return std::make_unique<EnumEntryParam>(array, node);
    if (ARV_IS_GC_BOOLEAN(node))
        return std::make_unique<BooleanParam>(array, node);
    if (ARV_IS_GC_COMMAND(node))
        return std::make_unique<CommandParam>(array, node);
    if (ARV_IS_GC_INTEGER(node))
        return std::make_unique<IntParam>(array, node);
    if (ARV_IS_GC_FLOAT(node))
        return std::make_unique<FloatParam>(array, node);
    if (ARV_IS_GC_STRING(node))
        return std::make_unique<StringParam>(array, node);
    return std::make_unique<PlainParam>(array, node);
}

} // namespace KyrCam
