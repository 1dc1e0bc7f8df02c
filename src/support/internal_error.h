// The report of an inconsistency that does not end the run.
#pragma once

namespace pelorus {

// Prints "INTERNAL ERROR: <message>\n" on the standard error stream and, when it is on, on the debug stream.
void internal_error(const char* message);

} // namespace pelorus
