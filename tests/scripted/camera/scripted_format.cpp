#include "scripted_format.h"

#include <charconv>
#include <sstream>

namespace Scripted {

std::string quoted(const char *text)
{
    return text ? "'" + std::string(text) + "'" : "null";
}

std::string real(double value)
{
    char text[64];
    const std::to_chars_result result = std::to_chars(text, text + sizeof text, value);
    return std::string(text, result.ptr);
}

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
