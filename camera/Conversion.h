// Conversions between Python objects and native values, shared by every
// wrapper. Each conversion failure raises the Python error that the conversion
// set, as a PyCXX exception.
#pragma once

#include <CXX/Extensions.hxx>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace KyrCamPy {

// Python's int() of `value` as a signed 64-bit integer; OverflowError outside
// that range.
int64_t toInt64(const Py::Object &value);

// Python's int() of `value`, keeping its low 64 bits (-1 is all bits set).
uint64_t toUint64(const Py::Object &value);

// Python's float() of `value`.
double toDouble(const Py::Object &value);

// The truth value of `value`, as `if value:` sees it.
bool toBool(const Py::Object &value);

// The str() form of any object, encoded as UTF-8 (strict); ValueError when
// it holds a NUL character, which the library's C strings cannot carry.
std::string toUtf8(const Py::Object &value);

// A Python str encoded as UTF-8 (strict); TypeError for anything else,
// ValueError for a NUL in it.
std::string strToUtf8(const Py::Object &value);

// A native UTF-8 text as a Python str; UnicodeDecodeError when it is not UTF-8.
Py::Object fromUtf8(const char *text);

// The same, with every byte sequence that is not UTF-8 shown as U+FFFD: for
// what devices tell about themselves, so that one camera with a bad serial
// number neither hides the others nor becomes impossible to open.
Py::Object fromUtf8Replacing(const char *text);

// Takes over the new reference a Python C API call returned; when it returned
// null, its pending error (MemoryError and the like) as a PyCXX exception.
Py::Object takeReference(PyObject *object);

// An integer constant that a wrapper answers as an attribute.
struct NamedConstant {
    const char *name;
    int32_t value;
};

// The constant called `name` (whole, case-sensitive) in `table`, tried in
// order; null when there is none.
template <size_t N>
const NamedConstant *findConstant(const NamedConstant (&table)[N], const char *name)
{
    for (const NamedConstant &constant : table) {
        if (std::strcmp(name, constant.name) == 0)
            return &constant;
    }
    return nullptr;
}

} // namespace KyrCamPy
