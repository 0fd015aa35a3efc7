#include "script.h"

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <set>
#include <vector>

namespace Scripted {

namespace {

struct State {
    std::mutex mutex;
    std::condition_variable entered;
    std::map<std::string, std::string> answers;
    std::map<std::string, std::deque<std::string>> pushed;
    std::vector<std::string> log;
    std::vector<std::string> history;  // every call since the reset, for the barriers
    int liveObjects = 0;
    std::map<std::string, int> holders;  // objects handed out, by name
    std::set<std::string> retired;
    int misuses = 0;
};

State &state()
{
    static State instance;
    return instance;
}

} // namespace

void record(const std::string &call)
{
    State &s = state();
    bool released = false;
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        s.log.push_back(call);
        s.history.push_back(call);
        released = s.retired.count(call.substr(0, call.find_first_of("./"))) > 0;
    }
    s.entered.notify_all();
    if (released)
        misuse(call);
}

void retire(const std::string &object)
{
    std::lock_guard<std::mutex> lock(state().mutex);
    int &holders = state().holders[object];
    if (holders > 0 && --holders == 0)
        state().retired.insert(object);
}

void revive(const std::string &object)
{
    std::lock_guard<std::mutex> lock(state().mutex);
    ++state().holders[object];
    state().retired.erase(object);
}

void misuse(const std::string &call)
{
    {
        std::lock_guard<std::mutex> lock(state().mutex);
        ++state().misuses;
    }
    std::fprintf(stderr, "scripted: used after release: %s\n", call.c_str());
}

std::optional<std::string> answer(std::initializer_list<std::string> keys)
{
    State &s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    for (const std::string &key : keys) {
        auto once = s.pushed.find(key);
        if (once != s.pushed.end() && !once->second.empty()) {
            std::string value = std::move(once->second.front());
            once->second.pop_front();
            return value;
        }
        auto kept = s.answers.find(key);
        if (kept != s.answers.end())
            return kept->second;
    }
    return std::nullopt;
}

int64_t answerInt(std::initializer_list<std::string> keys, int64_t fallback)
{
    std::optional<std::string> text = answer(keys);
    if (!text)
        return fallback;
    char *end = nullptr;
    const long long value = std::strtoll(text->c_str(), &end, 0);
    if (text->empty() || *end != '\0') {
        std::fprintf(stderr, "scripted: answer '%s' is not an integer\n", text->c_str());
        return fallback;
    }
    return value;
}

double answerReal(std::initializer_list<std::string> keys, double fallback)
{
    std::optional<std::string> text = answer(keys);
    if (!text)
        return fallback;
    char *end = nullptr;
    const double value = std::strtod(text->c_str(), &end);
    if (text->empty() || *end != '\0') {
        std::fprintf(stderr, "scripted: answer '%s' is not a number\n", text->c_str());
        return fallback;
    }
    return value;
}

bool answerIsNull(std::initializer_list<std::string> keys)
{
    std::optional<std::string> text = answer(keys);
    return text && *text == "null";
}

void objectCreated()
{
    std::lock_guard<std::mutex> lock(state().mutex);
    ++state().liveObjects;
}

void objectReleased()
{
    std::lock_guard<std::mutex> lock(state().mutex);
    --state().liveObjects;
}

} // namespace Scripted

using Scripted::state;

void KyrScript_Reset()
{
    std::lock_guard<std::mutex> lock(state().mutex);
    state().answers.clear();
    state().pushed.clear();
    state().log.clear();
    state().history.clear();
    state().holders.clear();
    state().retired.clear();
    state().misuses = 0;
}

void KyrScript_Set(const char *key, const char *value)
{
    std::lock_guard<std::mutex> lock(state().mutex);
    state().answers[key] = value;
}

void KyrScript_Push(const char *key, const char *value)
{
    std::lock_guard<std::mutex> lock(state().mutex);
    state().pushed[key].push_back(value);
}

void KyrScript_Clear(const char *key)
{
    std::lock_guard<std::mutex> lock(state().mutex);
    state().answers.erase(key);
    state().pushed.erase(key);
}

char *KyrScript_TakeLog()
{
    std::string text;
    {
        std::lock_guard<std::mutex> lock(state().mutex);
        for (const std::string &line : state().log)
            text += line + "\n";
        state().log.clear();
    }
    return strdup(text.c_str());
}

void KyrScript_Free(char *text)
{
    std::free(text);
}

int KyrScript_WaitEntered(const char *prefix, int count, int timeoutMs)
{
    const std::string wanted(prefix);
    auto &s = state();
    std::unique_lock<std::mutex> lock(s.mutex);
    const bool reached = s.entered.wait_for(lock, std::chrono::milliseconds(timeoutMs), [&] {
        int seen = 0;
        for (const std::string &call : s.history) {
            if (call.compare(0, wanted.size(), wanted) == 0)
                ++seen;
        }
        return seen >= count;
    });
    return reached ? 1 : 0;
}

int KyrScript_LiveObjects()
{
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().liveObjects;
}

int KyrScript_Misuses()
{
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().misuses;
}
