// See fatal.h; `fatal_exit` itself is the driver's.
#include "support/fatal.h"

#include <cstdarg>
#include <cstdio>

#include "support/trace.h"

namespace pelorus {

void fatal_error(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    if (debug_on() && debug_file() != stderr) {
        va_list copy;
        va_copy(copy, arguments);
        vfprintf(debug_file(), format, copy);
        va_end(copy);
    }
    vfprintf(stderr, format, arguments);
    va_end(arguments);
    fatal_exit();
}

} // namespace pelorus
