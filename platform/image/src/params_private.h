// The parameter object of the image components: a fixed set of named integers
// and texts, declared by the component that owns it.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include <image/KyrImageParams.h>

namespace KyrImageLib {

class ParamSet final : public KyrImageParams
{
public:
    // Declaration, done by the owning component before it hands the object out;
    // may throw std::bad_alloc.
    void declareInt(const std::string &name, int64_t initial);
    void declareString(const std::string &name, const std::string &initial, bool readOnly = false);

    KyrImageStatus SetInt(const char *name, int64_t value) noexcept override;
    KyrImageStatus SetString(const char *name, const char *value) noexcept override;
    KyrImageStatus GetString(const char *name, char *buffer, uint32_t bufferSize) noexcept override;

    // Values for the owning component; the name must have been declared.
    int64_t intValue(const std::string &name) const noexcept;
    const std::string &stringValue(const std::string &name) const noexcept;

private:
    struct Text {
        std::string value;
        bool readOnly;
    };
    std::map<std::string, int64_t, std::less<>> ints_;
    std::map<std::string, Text, std::less<>> strings_;
};

} // namespace KyrImageLib
