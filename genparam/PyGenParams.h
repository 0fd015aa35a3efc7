// The features of one parameter array (a device's camera or transport layer,
// or an interface), by name and by index, with the last native error code.
#pragma once

#include <CXX/Extensions.hxx>

#include <camera/KyrGenParam.h>

#include "camera/Lifetime.h"

namespace KyrCamPy {
class KyrCameraApiPy;
}

namespace KyrGenParamPy {

class PyGenParams : public Py::PythonExtension<PyGenParams>
{
public:
    // `array` may be null: every method then answers its failure value and
    // leaves the last error alone. The array is borrowed, never released: it
    // is gone when `lifetime` ends (a device's arrays with its Release), and
    // every method then answers as without one. The features handed out share
    // that lifetime.
    PyGenParams(KyrGenParam::Array *array, KyrCamPy::Lifetime::Ref lifetime);

    // The array; null once its device was released.
    KyrGenParam::Array *array() const { return array_.get(); }
    const KyrCamPy::Lifetime::Ref &lifetime() const { return array_.lifetime(); }

    // The type-code and visibility names as integers, then the methods.
    Py::Object getattr(const char *name) override;

    Py::Object GetCount();
    Py::Object GetParamByIndex(const Py::Tuple &args);
    Py::Object GetRootCategory();
    Py::Object GetParam(const Py::Tuple &args);
    Py::Object GetBoolean(const Py::Tuple &args);
    Py::Object GetBooleanValue(const Py::Tuple &args);
    Py::Object SetBooleanValue(const Py::Tuple &args);
    Py::Object GetInt(const Py::Tuple &args);
    Py::Object SetIntegerValue(const Py::Tuple &args);
    Py::Object GetIntegerValue(const Py::Tuple &args);
    Py::Object GetFloat(const Py::Tuple &args);
    Py::Object SetFloatValue(const Py::Tuple &args);
    Py::Object GetFloatValue(const Py::Tuple &args);
    Py::Object GetCommand(const Py::Tuple &args);
    Py::Object ExecuteCommand(const Py::Tuple &args);
    Py::Object IsCommandDone(const Py::Tuple &args);
    Py::Object GetString(const Py::Tuple &args);
    Py::Object GetStringValue(const Py::Tuple &args);
    Py::Object SetStringValue(const Py::Tuple &args);
    Py::Object GetEnum(const Py::Tuple &args);
    Py::Object GetEnumValueStr(const Py::Tuple &args);
    Py::Object GetEnumValue(const Py::Tuple &args);
    Py::Object SetEnumValue(const Py::Tuple &args);
    Py::Object SetEnumValueStr(const Py::Tuple &args);
    Py::Object GetNodeMap();
    Py::Object GetLastError();

private:
    friend class KyrCamPy::KyrCameraApiPy;  // registers the type

    // True when `args` is too short: the message is written and the last
    // error is -40121.
    bool tooFew(const Py::Tuple &args, Py::Tuple::size_type count, const char *message);

    // The result pair of a value getter by name; the native code goes
    // straight into the last error.
    template <typename Value>
    Py::Object valueByName(const Py::Tuple &args, const char *message,
                           Value (KyrGenParam::Array::*getter)(const char *, KyrCamErr *) noexcept);

    // A typed feature by name, wrapped in `Wrapper`, or None.
    template <typename Wrapper, typename Node>
    Py::Object nodeByName(const Py::Tuple &args, const char *message,
                          Node *(KyrGenParam::Array::*getter)(const char *, KyrCamErr *) noexcept);

    // Runs the setter `set(array)` on the array as it is once the arguments
    // are converted (a conversion may run Python code that releases the
    // device), stores its code in the last error and answers its status;
    // False without an array.
    template <typename Set>
    Py::Object setOnArray(Set set);

    // Runs `call` on the array without the interpreter lock: a feature may
    // wait for the camera, or for another thread using the array. Nothing in
    // it may touch a Python object or this wrapper's members.
    template <typename Call>
    auto unlocked(Call call) -> decltype(call())
    {
        KyrCamPy::NativeCall scope(array_.lifetime());
        return call();
    }

    KyrCamPy::Borrowed<KyrGenParam::Array> array_;
    KyrCamErr lastError_ = KyrCam::kOk;
};

} // namespace KyrGenParamPy
