// The program as a whole: start-up, the run over the file, the end.
#pragma once

namespace pelorus {

// The whole run, from the command line to the exit status: 0, or 1 when the output could not be written.
// Other errors end the process by themselves, with 1, through `end_process` (driver/files.h).
//
// A process may run it any number of times, each time as if it were the first, also when the run before was
// ended by an exception that a replaced `end_process` threw. Signals are the process's own business.
int run_optimizer(int argc, char** argv);

} // namespace pelorus
