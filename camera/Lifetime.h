// How long native objects that a script can release stay usable, as the
// wrappers that borrow from them see it.
//
// A device's lifetime ends with its Release; a stream's with its own Release
// or its device's (a stream's lifetime is a child of its device's). Every
// wrapper that holds a pointer into such an object holds the lifetime too and
// asks it before each native call, so a released object is never reached: the
// wrapper answers as it does for a missing native object. Objects the library
// keeps for the whole process (system, interfaces, their device infos and
// parameter arrays) have no lifetime (a null reference), and are always alive.
//
// Liveness is read and ended holding the interpreter lock, as every method
// runs. Native calls that may block run without it (NativeCall) and are
// counted, so that ending a lifetime waits for them before the object is
// freed.
#pragma once

#include <CXX/Extensions.hxx>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

namespace KyrCamPy {

class Lifetime
{
public:
    using Ref = std::shared_ptr<Lifetime>;

    // Work that must be done before the object goes, by something that keeps
    // a pointer into it outside the wrappers (a window showing its features).
    class Hook
    {
    public:
        virtual ~Hook() = default;
        // Runs in end(), under the interpreter lock, after the lifetime is
        // marked ended.
        virtual void ended() = 0;
        // True once the hook has nothing left to do; such hooks are dropped.
        virtual bool spent() const = 0;
    };

    // A new lifetime, ending with `parent`'s too when there is one.
    static Ref make(const Ref &parent = nullptr);

    // Not ended, nor any of its parents. Under the interpreter lock.
    bool alive() const noexcept;

    // Ends it, runs its hooks, then waits (with the interpreter lock
    // released) until the native calls running on it or on a child have
    // returned. Under the interpreter lock. A parent ending does not run a
    // child's hooks.
    void end();

    // Has `hook` run when this lifetime ends; at once when it has ended
    // already. Under the interpreter lock.
    void onEnd(std::shared_ptr<Hook> hook);

private:
    friend class NativeCall;

    explicit Lifetime(const Ref &parent);

    void enter() noexcept;
    void leave() noexcept;

    const Ref parent_;
    bool ended_ = false;
    std::vector<std::shared_ptr<Hook>> hooks_;
    std::mutex mutex_;
    std::condition_variable idle_;
    int calls_ = 0;  // native calls running here or below, under mutex_
};

// A lifetime of its own for an object that may be null.
inline bool isAlive(const Lifetime::Ref &lifetime)
{
    return !lifetime || lifetime->alive();
}

// A native pointer borrowed from an object with a lifetime: null once that
// lifetime has ended.
template <typename T>
class Borrowed
{
public:
    Borrowed() = default;
    Borrowed(T *object, Lifetime::Ref lifetime)
        : object_(object)
        , lifetime_(std::move(lifetime))
    {
    }

    T *get() const noexcept { return isAlive(lifetime_) ? object_ : nullptr; }
    const Lifetime::Ref &lifetime() const noexcept { return lifetime_; }

private:
    T *object_ = nullptr;
    Lifetime::Ref lifetime_;
};

// Releases the interpreter lock for its scope, around one native call that
// may block, so that other Python threads run meanwhile. The call is counted
// on `lifetime` (when given), which therefore cannot end, and its object be
// freed, before the call has returned. Nothing inside the scope may touch a
// Python object.
class NativeCall
{
public:
    explicit NativeCall(Lifetime::Ref lifetime = nullptr);
    ~NativeCall();

    NativeCall(const NativeCall &) = delete;
    NativeCall &operator=(const NativeCall &) = delete;

private:
    const Lifetime::Ref lifetime_;
    PyThreadState *state_;
};

} // namespace KyrCamPy
