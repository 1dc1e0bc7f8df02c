// The program as a whole: start-up, the run over the file, the end.
#pragma once

namespace pelorus {

// The whole run, from the command line to the exit status: 0, or 1 when the output could not be written.
// Other errors end the process by themselves: with 1, or with 2 after a fatal signal.
int run_optimizer(int argc, char** argv);

} // namespace pelorus
