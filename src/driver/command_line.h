// The command line: from the arguments to open files and settings.
#pragma once

namespace pelorus {

// Reads the arguments and what options the input file carries, opens all files and sets the settings. Errors
// end the run with status 1, the help listing and the version with 0. Needs: the run has just started.
void process_command_line(int argc, char** argv);

// Releases the options objects.
void release_command_line();

} // namespace pelorus
