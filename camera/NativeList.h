// The library's snapshot lists (interfaces, device infos) as Python lists.
#pragma once

#include <CXX/Extensions.hxx>

#include <memory>

namespace KyrCamPy {

// Gives a native list back to the library.
struct ReleaseList {
    template <typename List>
    void operator()(List *list) const noexcept
    {
        list->Release();
    }
};

// A new `Wrapper` over each item of `list`, in order. The list is released
// afterwards, also when wrapping fails; the items stay the library's.
template <typename Wrapper, typename List>
Py::List wrapEach(List *list)
{
    const std::unique_ptr<List, ReleaseList> owner(list);
    Py::List wrapped;
    for (auto *item = list->GetFirst(); item; item = list->GetNext())
        wrapped.append(Py::asObject(new Wrapper(item)));
    return wrapped;
}

} // namespace KyrCamPy
