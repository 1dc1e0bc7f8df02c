// Fatal signals: the last words of a run that crashed or was stopped.
#pragma once

namespace pelorus {

// Has every fatal signal reported, a stack overflow included; the handler ends the process with status 2.
// Writing to a closed pipe, or beyond the limit of a file's size, raises no signal afterwards: it is an error
// of the write.
void install_signal_handlers();

// The report on the standard error stream. Reads nothing but names and the current function's record, and
// that only when its address can be one.
void report_signal(int signal_number);

} // namespace pelorus
