// The snapshot lists that the system and interfaces hand out.
#pragma once

#include <memory>
#include <vector>

namespace KyrCam {

// A list of borrowed pointers, freed by its Release(). Owner thread only.
template <typename ListBase, typename Item, typename Stored = Item>
class SnapshotList final : public ListBase
{
public:
    explicit SnapshotList(std::vector<Stored *> items) : items_(std::move(items)) {}

    Item *GetFirst() noexcept override
    {
        next_ = 0;
        return GetNext();
    }

    Item *GetNext() noexcept override { return next_ < items_.size() ? items_[next_++] : nullptr; }

    // The caller gave up its pointer: the list frees itself.
    void Release() noexcept override { std::unique_ptr<SnapshotList> self(this); }

private:
    std::vector<Stored *> items_;
    size_t next_ = 0;
};

// Hands a new list to the caller, or null when memory is short.
template <typename ListBase, typename Item, typename Stored>
ListBase *makeSnapshotList(const std::vector<Stored *> &items) noexcept
{
    try {
        return std::make_unique<SnapshotList<ListBase, Item, Stored>>(items).release();
    } catch (...) {
        return nullptr;
    }
}

} // namespace KyrCam
