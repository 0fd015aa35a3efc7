#include "ErrorReport.h"

#include <cstdarg>
#include <cstdio>

namespace KyrCamPy {

void reportLine(const char *line)
{
    std::fputs(line, stderr);
}

void reportError(const char *operation, KyrCamErr code)
{
    std::fprintf(stderr, "%s error: %d %s\n", operation, code, GetKyrCamErrString(code));
}

void reportCode(const char *what, KyrCamErr code)
{
    std::fprintf(stderr, "%s: %d %s\n", what, code, GetKyrCamErrString(code));
}

void reportFormat(const char *format, ...)
{
    va_list values;
    va_start(values, format);
    std::vfprintf(stderr, format, values);
    va_end(values);
}

} // namespace KyrCamPy
