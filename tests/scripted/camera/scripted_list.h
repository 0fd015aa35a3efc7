// A snapshot list the library hands to a caller (interfaces, device infos),
// counted as an object the caller must release.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "script.h"

namespace Scripted {

template <typename List, typename Item>
class ScriptedList : public List
{
public:
    // `releaseCall` is the log line of Release ("interfaceList.Release()").
    ScriptedList(std::string releaseCall, std::vector<Item *> items)
        : releaseCall_(std::move(releaseCall))
        , items_(std::move(items))
    {
        objectCreated();
    }

    Item *GetFirst() noexcept override
    {
        next_ = 0;
        return GetNext();
    }

    Item *GetNext() noexcept override
    {
        return next_ < items_.size() ? items_[next_++] : nullptr;
    }

    void Release() noexcept override
    {
        record(releaseCall_);
        objectReleased();
        delete this;
    }

private:
    const std::string releaseCall_;
    const std::vector<Item *> items_;
    size_t next_ = 0;
};

} // namespace Scripted
