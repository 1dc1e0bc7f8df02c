// See internal_error.h.
#include "support/internal_error.h"

#include <cstdio>

#include "support/trace.h"

namespace pelorus {

void internal_error(const char* message) {
    if (debug_on() && debug_file() != stderr) fprintf(debug_file(), "INTERNAL ERROR: %s\n", message);
    fprintf(stderr, "INTERNAL ERROR: %s\n", message);
}

} // namespace pelorus
