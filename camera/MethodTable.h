// Method lookup and calls for the wrapper types without PyCXX's per-call
// work. PyCXX finds a name in a map keyed by std::string and binds the
// method to its object through a new tuple and capsule on every attribute
// lookup, then unpacks both on every call: with warm caches that is about
// 0.3 us of a 0.4 us call, and several times more on the first calls after
// a script waited for a frame. A type registers each method with PyCXX as
// ever and here as well, with a C function of its own that calls the member
// directly; a lookup binds it to the wrapper as one built-in method, which
// Python then calls like any other. The stream and the buffer, whose methods
// a script calls on every frame, use it; the other types keep PyCXX's lookup.
#pragma once

#include <CXX/Extensions.hxx>

#include <algorithm>
#include <deque>
#include <string_view>
#include <vector>

namespace KyrCamPy {

template <typename T>
class MethodTable
{
public:
    using NoArgs = Py::Object (T::*)();
    using VarArgs = Py::Object (T::*)(const Py::Tuple &);

    // `name` must outlive the module (a literal): Python keeps pointing at it.
    template <NoArgs Method>
    static void addNoArgs(const char *name)
    {
        add(name, &callNoArgs<Method>, METH_NOARGS);
    }

    template <VarArgs Method>
    static void addVarArgs(const char *name)
    {
        add(name, &callVarArgs<Method>, METH_VARARGS);
    }

    // The method `name` bound to `self` (a new reference), or null for a
    // name not listed here, which the type leaves to PyCXX's own lookup
    // ("__methods__", the AttributeError).
    static PyObject *bind(T *self, const char *name)
    {
        const auto &methods = table().byName;
        const std::string_view wanted(name);
        const auto found = std::lower_bound(methods.begin(), methods.end(), wanted, before);
        if (found == methods.end() || found->name != wanted)
            return nullptr;
        PyObject *method = PyCFunction_NewEx(found->definition, self, nullptr);
        if (!method)
            throw Py::Exception();
        return method;
    }

private:
    struct Entry
    {
        std::string_view name;
        PyMethodDef *definition;
    };

    // Sorted by name and searched by halves: a type's entries and its name
    // literals lie together in a few cache lines, which matters more here
    // than the number of comparisons.
    struct Table
    {
        std::deque<PyMethodDef> definitions;  // never moves what it holds
        std::vector<Entry> byName;
    };

    static bool before(const Entry &entry, std::string_view name) { return entry.name < name; }

    static Table &table()
    {
        static Table *methods = new Table;  // used until the process ends
        return *methods;
    }

    static void add(const char *name, PyCFunction call, int flags)
    {
        Table &methods = table();
        methods.definitions.push_back(PyMethodDef{ name, call, flags, "" });
        const auto at = std::lower_bound(methods.byName.begin(), methods.byName.end(), name, before);
        methods.byName.insert(at, Entry{ name, &methods.definitions.back() });
    }

    // As PyCXX's own handlers: a Python exception raised by the member is
    // already set, and the call answers NULL.
    template <NoArgs Method>
    static PyObject *callNoArgs(PyObject *self, PyObject *)
    {
        try {
            return Py::new_reference_to((static_cast<T &>(*self).*Method)());
        } catch (Py::BaseException &) {
            return nullptr;
        }
    }

    template <VarArgs Method>
    static PyObject *callVarArgs(PyObject *self, PyObject *args)
    {
        try {
            return Py::new_reference_to((static_cast<T &>(*self).*Method)(Py::Tuple(args)));
        } catch (Py::BaseException &) {
            return nullptr;
        }
    }
};

} // namespace KyrCamPy
