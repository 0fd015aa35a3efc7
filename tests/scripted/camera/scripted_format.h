// How the scripted camera objects write values into the call log and read
// lists from the script.
#pragma once

#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace Scripted {

// 'text', or null for a null pointer.
std::string quoted(const char *text);

// The shortest text that reads back as the same double ("0.1", "1e+300").
std::string real(double value);

// true or false.
std::string flag(bool value);

// The items of a comma-separated list; none for "".
std::vector<std::string> splitList(const std::string &list);

// The texts one object has handed out, each kept until the same thread's
// next call of the same getter, as the contract promises callers.
class KeptTexts
{
public:
    const char *keep(const std::string &getter, std::string text);

private:
    std::mutex mutex_;
    std::map<std::pair<std::string, std::thread::id>, std::string> texts_;
};

} // namespace Scripted
