// See target.h.
#include "fuzz/target.h"

#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace pelorus {

void found(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vdprintf(STDERR_FILENO, format, arguments); // the stream may lead elsewhere
    va_end(arguments);
    abort();
}

} // namespace pelorus
