// See reports.h.
#include "ipa/reports.h"

#include <cstdarg>

#include "support/trace.h"

namespace pelorus {

void report(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    if (debug_on()) {
        va_list copy;
        va_copy(copy, arguments);
        vfprintf(debug_file(), format, copy);
        va_end(copy);
    }
    if (trace_state.info_output) vfprintf(trace_state.info_stream, format, arguments);
    va_end(arguments);
}

} // namespace pelorus
