#include "interpreter_lock.h"

#include <dlfcn.h>

namespace KyrCam {

namespace {

// PyGILState_STATE is a C enum, passed as int.
using IsInitializedFn = int (*)();
using EnsureFn = int (*)();
using ReleaseFn = void (*)(int);

struct PythonApi {
    IsInitializedFn isInitialized = nullptr;
    EnsureFn ensure = nullptr;
    ReleaseFn release = nullptr;
};

// Looked up once: a process that runs Python has loaded it before it could load
// a library that calls back into it.
const PythonApi &pythonApi() noexcept
{
    static const PythonApi api = [] {
        PythonApi found;
        found.isInitialized = reinterpret_cast<IsInitializedFn>(dlsym(RTLD_DEFAULT, "Py_IsInitialized"));
        found.ensure = reinterpret_cast<EnsureFn>(dlsym(RTLD_DEFAULT, "PyGILState_Ensure"));
        found.release = reinterpret_cast<ReleaseFn>(dlsym(RTLD_DEFAULT, "PyGILState_Release"));
        if (!found.isInitialized || !found.ensure || !found.release)
            found = PythonApi{};
        return found;
    }();
    return api;
}

} // namespace

bool InterpreterLock::hostRunsPython() noexcept
{
    const PythonApi &api = pythonApi();
    return api.isInitialized && api.isInitialized();
}

InterpreterLock::InterpreterLock() noexcept
{
    if (hostRunsPython()) {
        state_ = pythonApi().ensure();
        held_ = true;
    }
}

InterpreterLock::~InterpreterLock()
{
    if (held_)
        pythonApi().release(state_);
}

} // namespace KyrCam
