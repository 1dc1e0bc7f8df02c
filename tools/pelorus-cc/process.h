// Running other programs, and the directory for temporary files.
//
// A signal that ends the run reaches the running program too; when that is gone, the temporary files are
// removed and the signal is raised again, so that the caller sees it.
#pragma once

#include <string>

#include "command.h"

namespace pelorus {

// Catches the signals that end a run: hang-up, interrupt, termination.
void catch_signals();

// Runs `words[0]`, found through PATH when it has no "/", and waits. Returns its exit status; 1, after a
// message, when it cannot be run or was killed by a signal. `output` names the file that gets its standard
// output; "" for ours. `seconds` gets the processor time that it and its children took.
int run_program(const WORDS& words, const std::string& output = "", double* seconds = nullptr);

// The directory in which this program lies, with "/" at its end.
std::string own_directory();

// A fresh directory for this run in `parent`, or in TMPDIR when that is "", with "/" at its end; made at the
// first call. With `imagined` it is only named.
const std::string& temporary_directory(const std::string& parent, bool imagined);
void remove_temporary_directory();

} // namespace pelorus
