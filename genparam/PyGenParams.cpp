#include "PyGenParams.h"

#include <string>

#include "camera/ErrorReport.h"
#include "KyrGenParamApiPy.h"
#include "PyGenParamBoolean.h"
#include "PyGenParamCategory.h"
#include "PyGenParamCommand.h"
#include "PyGenParamEnum.h"
#include "PyGenParamFloat.h"
#include "PyGenParamInt.h"
#include "PyGenParamNodeMap.h"
#include "PyGenParamString.h"

namespace KyrGenParamPy {

namespace {

using KyrCamPy::NamedConstant;

// Answered as attributes, compared in this order.
constexpr NamedConstant kConstants[] = {
    { "ParamUnknown", KyrGenParam::ParamUnknown },
    { "ParamInt", KyrGenParam::ParamInt },
    { "ParamFloat", KyrGenParam::ParamFloat },
    { "ParamString", KyrGenParam::ParamString },
    { "ParamEnum", KyrGenParam::ParamEnum },
    { "ParamEnumEntry", KyrGenParam::ParamEnumEntry },
    { "ParamBoolean", KyrGenParam::ParamBoolean },
    { "ParamCommand", KyrGenParam::ParamCommand },
    { "ParamCategory", KyrGenParam::ParamCategory },
    { "VisBeginner", KyrGenParam::VisBeginner },
    { "VisExpert", KyrGenParam::VisExpert },
    { "VisGuru", KyrGenParam::VisGuru },
    { "VisInvisible", KyrGenParam::VisInvisible },
    { "VisUndefined", KyrGenParam::VisUndefined },
};

} // namespace

PyGenParams::PyGenParams(KyrGenParam::Array *array, KyrCamPy::Lifetime::Ref lifetime)
    : array_(array, std::move(lifetime))
{
}

Py::Object PyGenParams::getattr(const char *name)
{
    if (const NamedConstant *constant = KyrCamPy::findConstant(kConstants, name))
        return Py::Long(constant->value);
    return getattr_methods(name);
}

bool PyGenParams::tooFew(const Py::Tuple &args, Py::Tuple::size_type count, const char *message)
{
    if (!tooFewArgs(args, count, message))
        return false;
    lastError_ = KyrCam::kErrNotEnoughArguments;
    return true;
}

template <typename Value>
Py::Object PyGenParams::valueByName(const Py::Tuple &args, const char *message,
                                    Value (KyrGenParam::Array::*getter)(const char *, KyrCamErr *) noexcept)
{
    if (tooFew(args, 1, message) || !array())
        return failedPair();
    const std::string name = KyrCamPy::toUtf8(args[0]);
    KyrGenParam::Array *native = array();
    if (!native)
        return failedPair();
    KyrCamErr err = KyrCam::kOk;
    const Value value = unlocked([&] { return (native->*getter)(name.c_str(), &err); });
    lastError_ = err;
    if (err != KyrCam::kOk)
        return failedPair();
    return okPair(toPython(value));
}

template <typename Wrapper, typename Node>
Py::Object PyGenParams::nodeByName(const Py::Tuple &args, const char *message,
                                   Node *(KyrGenParam::Array::*getter)(const char *, KyrCamErr *) noexcept)
{
    if (tooFew(args, 1, message) || !array())
        return Py::None();
    const std::string name = KyrCamPy::toUtf8(args[0]);
    KyrGenParam::Array *native = array();
    if (!native)
        return Py::None();
    KyrCamErr err = KyrCam::kOk;
    Node *node = unlocked([&] { return (native->*getter)(name.c_str(), &err); });
    lastError_ = err;
    if (!node || err != KyrCam::kOk)
        return Py::None();
    return Py::asObject(new Wrapper(node, array_.lifetime()));
}

template <typename Set>
Py::Object PyGenParams::setOnArray(Set set)
{
    KyrGenParam::Array *native = array();
    if (!native)
        return Py::False();
    lastError_ = unlocked([&] { return set(*native); });
    return statusOf(lastError_);
}

Py::Object PyGenParams::GetCount()
{
    KyrGenParam::Array *native = array();
    return Py::Long(native ? unlocked([&] { return native->GetCount(); }) : 0);
}

Py::Object PyGenParams::GetParamByIndex(const Py::Tuple &args)
{
    if (tooFew(args, 1, "GetParamByIndex not enough actual args\n") || !array())
        return Py::None();
    // The index keeps its low 32 bits.
    const auto index = static_cast<uint32_t>(KyrCamPy::toInt64(args[0]));
    KyrGenParam::Array *native = array();
    if (!native)
        return Py::None();
    KyrCamErr err = KyrCam::kOk;
    KyrGenParam::Param *param = unlocked([&] { return native->GetParamByIndex(index, &err); });
    lastError_ = err;
    if (!param || err != KyrCam::kOk)
        return Py::None();
    return wrapParam(param, array_.lifetime());
}

Py::Object PyGenParams::GetRootCategory()
{
    KyrGenParam::Array *native = array();
    if (!native)
        return Py::None();
    KyrCamErr err = KyrCam::kOk;
    KyrGenParam::Category *root = unlocked([&] { return native->GetRootCategory(&err); });
    lastError_ = err;
    if (!root || err != KyrCam::kOk) {
        KyrCamPy::reportError("Get root category", lastError_);
        return Py::None();
    }
    return Py::asObject(new PyGenParamCategory(root, array_.lifetime()));
}

// Shares its sibling's message, and keeps its native code out of the last
// error: scripts probe for optional features with it.
Py::Object PyGenParams::GetParam(const Py::Tuple &args)
{
    if (tooFew(args, 1, "GetParamByIndex not enough actual args\n") || !array())
        return Py::None();
    const std::string name = KyrCamPy::toUtf8(args[0]);
    KyrGenParam::Array *native = array();
    if (!native)
        return Py::None();
    KyrCamErr err = KyrCam::kOk;
    KyrGenParam::Param *param = unlocked([&] { return native->GetParam(name.c_str(), &err); });
    if (!param || err != KyrCam::kOk)
        return Py::None();
    return wrapParam(param, array_.lifetime());
}

Py::Object PyGenParams::GetBoolean(const Py::Tuple &args)
{
    return nodeByName<PyGenParamBoolean>(args, "GetBoolean not enough actual args\n", &KyrGenParam::Array::GetBoolean);
}

Py::Object PyGenParams::GetBooleanValue(const Py::Tuple &args)
{
    return valueByName(args, "GetBooleanValue not enough actual args\n", &KyrGenParam::Array::GetBooleanValue);
}

Py::Object PyGenParams::SetBooleanValue(const Py::Tuple &args)
{
    if (tooFew(args, 2, "SetBooleanValue not enough actual args\n") || !array())
        return Py::False();
    const std::string name = KyrCamPy::toUtf8(args[0]);
    const bool value = KyrCamPy::toBool(args[1]);
    return setOnArray([&](KyrGenParam::Array &native) { return native.SetBooleanValue(name.c_str(), value); });
}

Py::Object PyGenParams::GetInt(const Py::Tuple &args)
{
    return nodeByName<PyGenParamInt>(args, "GetInt not enough actual args\n", &KyrGenParam::Array::GetInt);
}

// The value is converted before the array is looked at: a bad value raises
// even without an array.
Py::Object PyGenParams::SetIntegerValue(const Py::Tuple &args)
{
    if (tooFew(args, 2, "SetIntegerValue not enough actual args\n"))
        return Py::False();
    const int64_t value = KyrCamPy::toInt64(args[1]);
    if (!array())
        return Py::False();
    const std::string name = KyrCamPy::toUtf8(args[0]);
    return setOnArray([&](KyrGenParam::Array &native) { return native.SetIntegerValue(name.c_str(), value); });
}

Py::Object PyGenParams::GetIntegerValue(const Py::Tuple &args)
{
    return valueByName(args, "GetIntegerValue not enough actual args\n", &KyrGenParam::Array::GetIntegerValue);
}

Py::Object PyGenParams::GetFloat(const Py::Tuple &args)
{
    return nodeByName<PyGenParamFloat>(args, "GetFloat not enough actual args\n", &KyrGenParam::Array::GetFloat);
}

// Converted before the array test, as SetIntegerValue.
Py::Object PyGenParams::SetFloatValue(const Py::Tuple &args)
{
    if (tooFew(args, 2, "SetFloatValue not enough actual args\n"))
        return Py::False();
    const double value = KyrCamPy::toDouble(args[1]);
    if (!array())
        return Py::False();
    const std::string name = KyrCamPy::toUtf8(args[0]);
    return setOnArray([&](KyrGenParam::Array &native) { return native.SetFloatValue(name.c_str(), value); });
}

Py::Object PyGenParams::GetFloatValue(const Py::Tuple &args)
{
    return valueByName(args, "GetFloatValue not enough actual args\n", &KyrGenParam::Array::GetFloatValue);
}

// The one look-up that reports its failure.
Py::Object PyGenParams::GetCommand(const Py::Tuple &args)
{
    Py::Object command =
        nodeByName<PyGenParamCommand>(args, "GetCommand not enough actual args\n", &KyrGenParam::Array::GetCommand);
    if (command.isNone() && args.length() >= 1 && array()) {
        const std::string operation = "Get command(" + KyrCamPy::toUtf8(args[0]) + ")";
        KyrCamPy::reportError(operation.c_str(), lastError_);
    }
    return command;
}

Py::Object PyGenParams::ExecuteCommand(const Py::Tuple &args)
{
    if (tooFew(args, 1, "ExecuteCommand not enough actual args\n") || !array())
        return Py::False();
    const std::string name = KyrCamPy::toUtf8(args[0]);
    return setOnArray([&](KyrGenParam::Array &native) { return native.ExecuteCommand(name.c_str()); });
}

Py::Object PyGenParams::IsCommandDone(const Py::Tuple &args)
{
    Py::Object done =
        valueByName(args, "IsCommandDone not enough actual args\n", &KyrGenParam::Array::IsCommandDone);
    if (args.length() >= 1 && array() && lastError_ != KyrCam::kOk)
        KyrCamPy::reportError("Is command done", lastError_);
    return done;
}

Py::Object PyGenParams::GetString(const Py::Tuple &args)
{
    return nodeByName<PyGenParamString>(args, "GetString not enough actual args\n", &KyrGenParam::Array::GetString);
}

Py::Object PyGenParams::GetStringValue(const Py::Tuple &args)
{
    return valueByName(args, "GetStringValue not enough actual args\n", &KyrGenParam::Array::GetStringValue);
}

Py::Object PyGenParams::SetStringValue(const Py::Tuple &args)
{
    if (tooFew(args, 2, "SetStringValue not enough actual args\n") || !array())
        return Py::False();
    const std::string name = KyrCamPy::toUtf8(args[0]);
    const std::string value = KyrCamPy::toUtf8(args[1]);
    return setOnArray([&](KyrGenParam::Array &native) { return native.SetStringValue(name.c_str(), value.c_str()); });
}

Py::Object PyGenParams::GetEnum(const Py::Tuple &args)
{
    return nodeByName<PyGenParamEnum>(args, "GetEnum not enough actual args\n", &KyrGenParam::Array::GetEnum);
}

// Prints its string sibling's message, as scripts have always seen it.
Py::Object PyGenParams::GetEnumValueStr(const Py::Tuple &args)
{
    return valueByName(args, "GetStringValue not enough actual args\n", &KyrGenParam::Array::GetEnumValueStr);
}

Py::Object PyGenParams::GetEnumValue(const Py::Tuple &args)
{
    return valueByName(args, "GetEnumValue not enough actual args\n", &KyrGenParam::Array::GetEnumValue);
}

Py::Object PyGenParams::SetEnumValue(const Py::Tuple &args)
{
    if (tooFew(args, 2, "SetEnumValue not enough actual args\n") || !array())
        return Py::False();
    const std::string name = KyrCamPy::toUtf8(args[0]);
    const int64_t value = KyrCamPy::toInt64(args[1]);
    return setOnArray([&](KyrGenParam::Array &native) { return native.SetEnumValue(name.c_str(), value); });
}

// Both arguments must be str: no str() form here.
Py::Object PyGenParams::SetEnumValueStr(const Py::Tuple &args)
{
    if (tooFew(args, 2, "SetEnumValueStr not enough actual args\n") || !array())
        return Py::False();
    const std::string name = KyrCamPy::strToUtf8(args[0]);
    const std::string entry = KyrCamPy::strToUtf8(args[1]);
    return setOnArray([&](KyrGenParam::Array &native) { return native.SetEnumValueStr(name.c_str(), entry.c_str()); });
}

Py::Object PyGenParams::GetNodeMap()
{
    KyrGenParam::Array *native = array();
    if (!native)
        return failedPair();
    KyrCamErr err = KyrCam::kOk;
    KyrGenParam::NodeMap *nodeMap = unlocked([&] { return native->GetNodeMap(&err); });
    lastError_ = err;
    if (!nodeMap || err != KyrCam::kOk) {
        KyrCamPy::reportError("Get node map", lastError_);
        return failedPair();
    }
    return okPair(Py::asObject(new PyGenParamNodeMap(nodeMap, array_.lifetime())));
}

Py::Object PyGenParams::GetLastError()
{
    return Py::Long(lastError_);
}

} // namespace KyrGenParamPy
