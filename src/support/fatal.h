// The ways out of an impossible state.
#pragma once

namespace pelorus {

// Ends the run abnormally: deletes the output file, says so on the error stream and exits with status 1.
// The driver defines it, since only the driver knows the files; every other program that links the
// optimizer's folders defines its own. It is the one call that goes up the floors.
[[noreturn]] void fatal_exit();

// Prints `format` on the standard error stream and, when it is on, on the debug stream; then `fatal_exit`.
[[noreturn]] void fatal_error(const char* format, ...) __attribute__((format(printf, 1, 2)));

} // namespace pelorus
