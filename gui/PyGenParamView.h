// A parameter tree view window as Python holds it. It has no Python methods;
// its type is made on first use and keeps the class's run-time type name.
//
// The window shows the features of an array that a device may free with its
// Release. So that it never reads them afterwards, the end of the array's
// lifetime empties the view first, whether Python still holds this object or
// not. Dropping the object leaves the window open.
#pragma once

#include <CXX/Extensions.hxx>

#include <memory>

#include <camera/KyrGenParam.h>

#include "camera/Lifetime.h"

namespace KyrGuiPy {

class PyGenParamView : public Py::PythonExtension<PyGenParamView>
{
public:
    // Opens a view of `array` (null: no view) titled `title`, under the
    // native window `parent`. `arrayLifetime` is the array's lifetime (null
    // for one the library keeps for the process). Opening runs without the
    // interpreter lock.
    PyGenParamView(KyrGenParam::Array *array, const KyrCamPy::Lifetime::Ref &arrayLifetime, const wchar_t *title,
                   void *parent);

    // Destroys the view once; later calls do nothing.
    void release();

private:
    class Slot;

    const std::shared_ptr<Slot> slot_;
};

} // namespace KyrGuiPy
