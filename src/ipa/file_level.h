// What is known about the file as a whole: its mode and its call graph.
#pragma once

#include <cstdint>
#include <vector>

#include "ir/funinfo.h"

namespace pelorus {

struct FILE_LEVEL {
    bool whole_program = false;         // the file is the whole program
    bool is_library = false;            // the file is a library: whoever links it may call its functions
    bool use_pseudo_function = false;   // calls from outside count as calls by the pseudo-function
    FUNINFO* pseudo_function = nullptr; // stands for the callers outside the file; file zone
    bool has_call_graph = false;        // `functions` means something
    std::vector<FUNINFO*> functions;    // the call graph: defined functions in the order of the file
};
extern FILE_LEVEL file_level;

// Before the file is read: sets the three switches from the file-level mode (0 below level 3), makes the call
// graph empty, and makes the pseudo-function's record.
void start_file_level();

// Appends a function that was read to the call graph. False when the file defined it before.
bool add_to_call_graph(FUNINFO* function);

// The analysis of the file, after all of it was read.
void analyse_file();

// What is known about one function, on the trace.
void trace_function_summary(const FUNINFO& function);

} // namespace pelorus
