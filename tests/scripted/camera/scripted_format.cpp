#include "scripted_format.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>

namespace Scripted {

std::string quoted(const char *text)
{
    return text ? "'" + std::string(text) + "'" : "null";
}

#if __cpp_lib_to_chars >= 201611L
std::string real(double value)
{
    char text[64];
    const std::to_chars_result result = std::to_chars(text, text + sizeof text, value);
    return std::string(text, result.ptr);
}
#else
// The C++ library has no std::to_chars for double (GCC 10, Debian 11): the
// same text, built from the fewest digits that read back as `value`, written
// in fixed or scientific form, whichever is shorter (fixed on a tie); a whole
// number in fixed form is written exactly, as std::to_chars does. printf
// rounds an exact decimal tie to even, so a power of two whose shortest
// digits end in such a tie (2^-24) gets one digit more than std::to_chars.
std::string real(double value)
{
    if (std::isnan(value))
        return std::signbit(value) ? "-nan" : "nan";
    if (std::isinf(value))
        return value < 0 ? "-inf" : "inf";
    char text[64];
    for (int precision = 0; precision <= 17; ++precision) {
        std::snprintf(text, sizeof text, "%.*e", precision, value);
        if (std::strtod(text, nullptr) == value)
            break;
    }
    std::string mantissa(text, std::strchr(text, 'e'));
    const int exponent = std::atoi(std::strchr(text, 'e') + 1);
    const std::string sign = mantissa[0] == '-' ? "-" : "";
    std::string digits;
    for (char c : mantissa)
        if (c >= '0' && c <= '9')
            digits += c;
    char scientificExponent[16];
    std::snprintf(scientificExponent, sizeof scientificExponent, "e%c%02d", exponent < 0 ? '-' : '+', std::abs(exponent));
    const std::string scientific = sign + digits.substr(0, 1) + (digits.size() > 1 ? "." + digits.substr(1) : "") +
                                   scientificExponent;
    std::string fixed;
    if (exponent < 0)
        fixed = "0." + std::string(size_t(-exponent - 1), '0') + digits;
    else if (size_t(exponent) + 1 >= digits.size())
        fixed = digits + std::string(size_t(exponent) + 1 - digits.size(), '0');
    else
        fixed = digits.substr(0, size_t(exponent) + 1) + "." + digits.substr(size_t(exponent) + 1);
    if (sign.size() + fixed.size() > scientific.size())
        return scientific;
    if (exponent >= 0 && size_t(exponent) + 1 >= digits.size()) {
        std::snprintf(text, sizeof text, "%.0f", std::fabs(value));
        fixed = text;
    }
    return sign + fixed;
}
#endif

std::string flag(bool value)
{
    return value ? "true" : "false";
}

std::vector<std::string> splitList(const std::string &list)
{
    std::vector<std::string> items;
    if (list.empty())
        return items;
    std::istringstream stream(list);
    std::string item;
    while (std::getline(stream, item, ','))
        items.push_back(item);
    return items;
}

const char *KeptTexts::keep(const std::string &getter, std::string text)
{
    std::lock_guard<std::mutex> lock(mutex_);
    std::string &kept = texts_[{ getter, std::this_thread::get_id() }];
    kept = std::move(text);
    return kept.c_str();
}

} // namespace Scripted
