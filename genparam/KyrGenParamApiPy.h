// Pieces every parameter wrapper shares: the result pair, the argument-count
// check, and the conversions of native answers into Python objects.
#pragma once

#include <CXX/Extensions.hxx>

#include <cstdint>

#include <camera/KyrGenParam.h>

#include "camera/Conversion.h"
#include "camera/Lifetime.h"

namespace KyrGenParamPy {

// (False, None): a getter's answer unless its native call reported 0.
Py::Tuple failedPair();

// (True, value).
Py::Tuple okPair(const Py::Object &value);

// True when `args` holds fewer than `count` items; `message` (a fixed line)
// has then been written to stderr.
bool tooFewArgs(const Py::Tuple &args, Py::Tuple::size_type count, const char *message);

// True for the native code 0, else False.
Py::Object statusOf(KyrCamErr code);

// Native answers as Python objects; texts are decoded as UTF-8.
inline Py::Object toPython(int64_t value)
{
    return Py::Long(static_cast<PY_LONG_LONG>(value));
}

inline Py::Object toPython(double value)
{
    return Py::Float(value);
}

inline Py::Object toPython(bool value)
{
    return Py::Boolean(value);
}

inline Py::Object toPython(const char *value)
{
    return KyrCamPy::fromUtf8(value);
}

// The result pair of `(node->*getter)(&err)`, the error in a local variable;
// (False, None) without a node. The read runs without the interpreter lock (it
// may wait for the camera); a text it answers stays this thread's meanwhile.
template <typename Node, typename Value>
Py::Object pairOf(const KyrCamPy::Borrowed<Node> &node, Value (Node::*getter)(KyrCamErr *) noexcept)
{
    Node *native = node.get();
    if (!native)
        return failedPair();
    KyrCamErr err = KyrCam::kOk;
    Value value{};
    {
        KyrCamPy::NativeCall call(node.lifetime());
        value = (native->*getter)(&err);
    }
    return err == KyrCam::kOk ? Py::Object(okPair(toPython(value))) : Py::Object(failedPair());
}

// `(node->*setter)(value)`'s status, or `missing` when the feature is gone.
// Callers convert the value from Python before this reads the feature: the
// conversion runs Python code, which may have released its device. The write
// runs without the interpreter lock.
template <typename Node, typename Value>
Py::Object setOf(const KyrCamPy::Borrowed<Node> &node, KyrCamErr (Node::*setter)(Value) noexcept, Value value,
                 const Py::Object &missing)
{
    Node *native = node.get();
    if (!native)
        return missing;
    KyrCamErr code = KyrCam::kOk;
    {
        KyrCamPy::NativeCall call(node.lifetime());
        code = (native->*setter)(value);
    }
    return statusOf(code);
}

// A predicate of the common feature interface (availability and access may
// be read from the camera, without the interpreter lock); False without a
// node.
template <typename Node>
Py::Object predicateOf(const KyrCamPy::Borrowed<Node> &node, bool (KyrGenParam::Param::*predicate)() noexcept)
{
    KyrGenParam::Param *native = node.get();
    if (!native)
        return Py::False();
    bool answer = false;
    {
        KyrCamPy::NativeCall call(node.lifetime());
        answer = (native->*predicate)();
    }
    return Py::Boolean(answer);
}

// A text of the common feature interface; None without a node.
Py::Object textOf(KyrGenParam::Param *node, const char *(KyrGenParam::Param::*getter)() noexcept);

// A feature reached by index or by name: a PyGenParamCategory when its type is
// ParamCategory, otherwise a plain PyGenParam (never a typed wrapper). It
// lives as long as `lifetime`.
Py::Object wrapParam(KyrGenParam::Param *param, const KyrCamPy::Lifetime::Ref &lifetime);

} // namespace KyrGenParamPy
