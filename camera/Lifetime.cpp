#include "Lifetime.h"

#include <algorithm>

namespace KyrCamPy {

Lifetime::Lifetime(const Ref &parent)
    : parent_(parent)
{
}

Lifetime::Ref Lifetime::make(const Ref &parent)
{
    return Ref(new Lifetime(parent));
}

bool Lifetime::alive() const noexcept
{
    for (const Lifetime *lifetime = this; lifetime; lifetime = lifetime->parent_.get()) {
        if (lifetime->ended_)
            return false;
    }
    return true;
}

void Lifetime::end()
{
    ended_ = true;
    // A hook may release the interpreter lock; hooks added meanwhile run at
    // once (onEnd), so none is left behind.
    std::vector<std::shared_ptr<Hook>> hooks;
    hooks.swap(hooks_);
    for (const std::shared_ptr<Hook> &hook : hooks)
        hook->ended();
    {
        std::unique_lock<std::mutex> lock(mutex_);
        if (calls_ == 0)
            return;
    }
    NativeCall unlocked;
    std::unique_lock<std::mutex> lock(mutex_);
    idle_.wait(lock, [this] { return calls_ == 0; });
}

void Lifetime::onEnd(std::shared_ptr<Hook> hook)
{
    if (!alive()) {
        hook->ended();
        return;
    }
    hooks_.erase(std::remove_if(hooks_.begin(), hooks_.end(),
                                [](const std::shared_ptr<Hook> &kept) { return kept->spent(); }),
                 hooks_.end());
    hooks_.push_back(std::move(hook));
}

void Lifetime::enter() noexcept
{
    for (Lifetime *lifetime = this; lifetime; lifetime = lifetime->parent_.get()) {
        std::lock_guard<std::mutex> lock(lifetime->mutex_);
        ++lifetime->calls_;
    }
}

void Lifetime::leave() noexcept
{
    for (Lifetime *lifetime = this; lifetime; lifetime = lifetime->parent_.get()) {
        std::lock_guard<std::mutex> lock(lifetime->mutex_);
        if (--lifetime->calls_ == 0)
            lifetime->idle_.notify_all();
    }
}

NativeCall::NativeCall(Lifetime::Ref lifetime)
    : lifetime_(std::move(lifetime))
{
    if (lifetime_)
        lifetime_->enter();
    state_ = PyEval_SaveThread();
}

NativeCall::~NativeCall()
{
    if (lifetime_)
        lifetime_->leave();
    PyEval_RestoreThread(state_);
}

} // namespace KyrCamPy
