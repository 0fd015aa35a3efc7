// The one way wrappers report failures: a fixed line on the process's standard
// error stream. Nothing goes through Python's own stderr object, warnings or
// logging.
#pragma once

#include <CXX/Extensions.hxx>

#include <camera/KyrCamErr.h>

namespace KyrCamPy {

// Writes `line` (which carries its own newline) as it stands.
void reportLine(const char *line);

// Writes "<operation> error: <code> <text of code>\n".
void reportError(const char *operation, KyrCamErr code);

// Writes "<what>: <code> <text of code>\n".
void reportCode(const char *what, KyrCamErr code);

// Writes a line formatted as printf does; `format` carries the newline.
void reportFormat(const char *format, ...) __attribute__((format(printf, 1, 2)));

} // namespace KyrCamPy
