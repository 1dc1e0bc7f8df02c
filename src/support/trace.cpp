// The streams of the run; see trace.h.
#include "support/trace.h"

namespace pelorus {

TRACE trace_state;

void trace(const char* format, ...) {
    if (!debug_on()) return;
    va_list arguments;
    va_start(arguments, format);
    vfprintf(debug_file(), format, arguments);
    va_end(arguments);
}

void info(const char* format, ...) {
    if (!trace_state.info_output || !trace_state.info_stream) return;
    va_list arguments;
    va_start(arguments, format);
    vfprintf(trace_state.info_stream, format, arguments);
    va_end(arguments);
}

void trace_entering(const char* pass) { trace("\n\n\t\t\t---------- ENTERING '%s' ----------\n", pass); }

} // namespace pelorus
