// Running other programs, and the directory for temporary files.
//
// Either one program at a time whose end is waited for, or several jobs side by side, each with a limit of
// time. A signal that ends the run reaches the running programs too. While one program runs, the signal is
// raised again when that is gone and the temporary files are removed, so that the caller sees it; who runs
// jobs is told and decides.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "common/words.h"

namespace pelorus {

// This program's name, for messages; set before anything else here is used.
inline const char* own_name = "";

// Catches the signals that end a run: hang-up, interrupt, termination.
void catch_signals();
// Whether one came.
bool is_interrupted();
// Removes the temporary files and ends this program by the signal that came.
[[noreturn]] void end_interrupted();

// Runs `words[0]`, found through PATH when it has no "/", and waits. Returns its exit status; 1, after a
// message, when it cannot be run or was killed by a signal. `output` names the file that gets its standard
// output; "" for ours. `seconds` gets the processor time that it and its children took.
int run_program(const WORDS& words, const std::string& output = "", double* seconds = nullptr);

// A program that runs beside this one, in a process group of its own, so that what it starts ends with it.
struct JOB {
    int process = 0; // 0: it could not be started
    int handle = -1; // a file descriptor that can be read when the process has ended
    int number = 0;  // the caller's
    int status = 0;  // when it has ended: its exit status or one of the two below
    std::string out; // "" for /dev/null
    std::chrono::steady_clock::time_point end{}; // its time is up
};
constexpr int TIME_IS_UP = -1;
constexpr int CANNOT_RUN = 127; // as shells say it
constexpr int BY_SIGNAL = 256;  // added to the number of the signal that ended it

// Starts a job with nothing to read, whose output and messages go to the file `out`. One that cannot be
// started is named on the error stream, and has ended with CANNOT_RUN.
JOB start_job(const WORDS& words, const std::string& out, double seconds);
// Waits until one of the jobs has ended, stops those whose time is up, and takes the one out of the list.
// False when a signal came instead.
bool wait_for_job(std::vector<JOB>& jobs, JOB& ended);
void stop_jobs(std::vector<JOB>& jobs);
// One job to its end. When a signal comes, this program ends by it.
int run_job(const WORDS& words, const std::string& out, double seconds);
// "status 3", "signal 11 (Segmentation fault)", "its time was up".
std::string status_text(int status);

// The directory in which this program lies, with "/" at its end.
std::string own_directory();

// A fresh directory for this run in `parent`, or in TMPDIR when that is "", with "/" at its end; made at the
// first call. With `imagined` it is only named.
const std::string& temporary_directory(const std::string& parent, bool imagined);
void remove_temporary_directory();

} // namespace pelorus
