// Entry points of libKyrCameraGuiApiPy.

#include <CXX/Extensions.hxx>

#include <new>

#include <display/KyrDisplay.h>

#include "KyrCameraGuiApiPy.h"

PyMODINIT_FUNC PyInit_libKyrCameraGuiApiPy()
{
    try {
        // The GUI thread the display library may start is stopped once the
        // interpreter is finalized: later, the process's exit handlers destroy
        // Qt's global objects while it would still run.
        static const bool shutdownRegistered = Py_AtExit(KyrDisplay_ShutdownGui) == 0;
        (void)shutdownRegistered;
        // The module object lives until the process ends: the Python module, its
        // functions and the wrapper types all point back into it.
        auto *moduleObject = new KyrGuiPy::PyKyrCameraApiGui();
        return Py::new_reference_to(moduleObject->module());
    } catch (const Py::BaseException &) {
        return nullptr;
    } catch (const std::bad_alloc &) {
        return PyErr_NoMemory();
    }
}

// The name a debug interpreter looks for.
PyMODINIT_FUNC PyInit_libKyrCameraGuiApiPy_d()
{
    return PyInit_libKyrCameraGuiApiPy();
}
