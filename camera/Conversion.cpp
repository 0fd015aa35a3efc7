#include "Conversion.h"

#include <cstring>
#include <string_view>

namespace KyrCamPy {

int64_t toInt64(const Py::Object &value)
{
    const int64_t result = Py::Long(value).as_long_long();
    if (result == -1 && PyErr_Occurred())
        throw Py::Exception();
    return result;
}

uint64_t toUint64(const Py::Object &value)
{
    PyObject *integer = PyNumber_Long(value.ptr());
    if (!integer)
        throw Py::Exception();
    const Py::Object owner(integer, true);
    const unsigned long long result = PyLong_AsUnsignedLongLongMask(integer);
    if (result == static_cast<unsigned long long>(-1) && PyErr_Occurred())
        throw Py::Exception();
    return result;
}

double toDouble(const Py::Object &value)
{
    const double result = PyFloat_AsDouble(value.ptr());
    if (result == -1.0 && PyErr_Occurred())
        throw Py::Exception();
    return result;
}

bool toBool(const Py::Object &value)
{
    const int truth = PyObject_IsTrue(value.ptr());
    if (truth < 0)
        throw Py::Exception();
    return truth != 0;
}

namespace {

std::string encodeUtf8(PyObject *text)
{
    Py_ssize_t size = 0;
    const char *bytes = PyUnicode_AsUTF8AndSize(text, &size);
    if (!bytes)
        throw Py::Exception();
    // The library reads C strings: a NUL would cut the text short without a
    // word ("a\0b" saved as "a").
    if (std::memchr(bytes, 0, static_cast<size_t>(size)))
        throw Py::ValueError("embedded null character");
    return std::string(bytes, static_cast<size_t>(size));
}

} // namespace

std::string toUtf8(const Py::Object &value)
{
    PyObject *text = PyObject_Str(value.ptr());
    if (!text)
        throw Py::Exception();
    const Py::Object owner(text, true);
    return encodeUtf8(text);
}

std::string strToUtf8(const Py::Object &value)
{
    if (!PyUnicode_Check(value.ptr()))
        throw Py::TypeError("a str is required");
    return encodeUtf8(value.ptr());
}

Py::Object takeReference(PyObject *object)
{
    if (!object)
        throw Py::Exception();
    return Py::Object(object, true);
}

Py::Object fromUtf8(const char *text)
{
    return takeReference(PyUnicode_FromString(text ? text : ""));
}

Py::Object fromUtf8Replacing(const char *text)
{
    const std::string_view bytes(text ? text : "");
    return takeReference(PyUnicode_DecodeUTF8(bytes.data(), static_cast<Py_ssize_t>(bytes.size()), "replace"));
}

} // namespace KyrCamPy
