// KyrGenParam over Aravis's GenICam engine (ArvGc): one AravisParamArray per
// node map, one parameter object per feature, made on first use and kept until
// the array goes. ArvGc is not thread-safe: every access to a node map holds the
// array's mutex, which the device and its streams take too for features they
// use themselves. Any thread.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include <arv.h>

#include <camera/KyrGenParam.h>

#include "aravis_support_private.h"
#include "thread_text_private.h"

namespace KyrCam {

class AravisParamArray;

// What the array keeps of every parameter object it made.
class OwnedParam
{
public:
    virtual ~OwnedParam() = default;
    virtual KyrGenParam::Param *param() noexcept = 0;
};

// The node behind a feature.
class AravisNode final : public KyrGenParam::Node
{
public:
    bool IsFeature() noexcept override { return true; }
};

class AravisParamArray final : public KyrGenParam::Array, public KyrGenParam::NodeMap
{
public:
    // Keeps a reference on `gc` (and with it on its device).
    explicit AravisParamArray(ArvGc *gc);
    ~AravisParamArray() override;

    // The lock of this node map; hold it around every use of gc().
    std::recursive_mutex &mutex() noexcept { return mutex_; }
    ArvGc *gc() noexcept { return gc_.get(); }

    // The parameter object of a feature, or null with the code in `err`
    // (unknown name, null name). Caller holds no lock.
    KyrGenParam::Param *find(const char *name, KyrCamErr *err) noexcept;
    // The same for a node of the map.
    KyrGenParam::Param *paramOf(ArvGcFeatureNode *node) noexcept;

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
    template <typename T>
    T *typed(const char *name, KyrCamErr *err) noexcept;

    GObjectPtr<ArvGc> gc_;
    std::recursive_mutex mutex_;
    std::vector<std::string> order_;
    std::unordered_map<std::string, std::unique_ptr<OwnedParam>> params_;
    ThreadText stringValue_;
    ThreadText enumValueStr_;
};

// Makes the parameter object of a feature node; `array` owns it.
std::unique_ptr<OwnedParam> makeParam(AravisParamArray &array, ArvGcFeatureNode *node);

// Writes `code` through `err` when it is not null.
inline void setError(KyrCamErr *err, KyrCamErr code) noexcept
{
    if (err)
        *err = code;
}

} // namespace KyrCam
