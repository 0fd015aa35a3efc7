// Holding the Python interpreter lock around event callbacks, without linking
// Python: the functions are looked up in the process at run time.
#pragma once

namespace KyrCam {

// Holds the interpreter lock for its lifetime when the process runs an
// initialised Python interpreter; does nothing otherwise (a plain C++ host, or
// Python not yet started or already finalised). Reentrant: a thread that holds
// the lock already may take it again.
class InterpreterLock
{
public:
    InterpreterLock() noexcept;
    ~InterpreterLock();

    InterpreterLock(const InterpreterLock &) = delete;
    InterpreterLock &operator=(const InterpreterLock &) = delete;

    // True when the process runs an initialised Python interpreter.
    static bool hostRunsPython() noexcept;

private:
    bool held_ = false;
    int state_ = 0;
};

} // namespace KyrCam
