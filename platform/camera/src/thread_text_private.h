// The text a getter hands out, kept per calling thread.
//
// Getters answer `const char *` that stay valid until the next call of the
// same getter on the same object. Several threads read the same objects (a
// script's threads without the interpreter lock, the GUI thread of a tree
// view or a camera list), so one shared string would be replaced, and freed,
// under a reader. Each thread gets its own: a text stays valid until the same
// thread asks again. Any thread.
#pragma once

#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>

namespace KyrCam {

class ThreadText
{
public:
    // Keeps `text` for the calling thread and answers it; "" when memory is
    // short.
    const char *keep(std::string text) noexcept
    {
        std::lock_guard<std::mutex> lock(mutex_);
        try {
            // Elements of an unordered_map stay where they are when it grows.
            std::string &slot = texts_[std::this_thread::get_id()];
            slot = std::move(text);
            return slot.c_str();
        } catch (...) {
            return "";
        }
    }

private:
    std::mutex mutex_;
    std::unordered_map<std::thread::id, std::string> texts_;
};

} // namespace KyrCam
