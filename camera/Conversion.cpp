#include "Conversion.h"

namespace KyrCamPy {

int64_t toInt64(const Py::Object &value)
{
    const int64_t result = Py::Long(value).as_long_long();
    if (result == -1 && PyErr_Occurred())
        throw Py::Exception();
    return result;
}

Py::Object fromUtf8(const char *text)
{
    return Py::Object(PyUnicode_FromString(text), true);
}

} // namespace KyrCamPy
