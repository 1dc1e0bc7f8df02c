// What is known about the file as a whole: its mode, its functions and its call graph.
#pragma once

#include <cstdint>
#include <unordered_set>
#include <vector>

#include "ir/funinfo.h"

namespace pelorus {

struct FILE_LEVEL {
    // The three switches that the file-level mode sets.
    bool whole_program =
        false; // nothing outside calls a function of the file but its entries, or names its data
    bool library_entry = false; // the file is entered by its external functions alone: its data are its own
    bool use_pseudo_function = false; // calls from outside count as calls by the pseudo-function

    FUNINFO* pseudo_function = nullptr;       // stands for the callers outside the file; file zone
    std::vector<FUNINFO*> defined;            // all functions with a body, in the order of the file
    std::unordered_set<const FUNINFO*> names; // the same functions, for a search
    std::vector<FUNINFO*> functions;          // the call graph: those that something reaches, callers first
    bool has_call_graph = false;              // something is reached
    uint32_t node_count = 0;                  // the highest number of a node
    bool source_is_cpp = false;               // by the source file's name
};
extern FILE_LEVEL file_level;

// Before the file is read: sets the three switches from the file-level mode (0 below level 3), makes the call
// graph empty, and makes the pseudo-function's record.
void start_file_level();

// Takes over a function that was read: its references and what it does by itself. Needs: `function`
// (ir/stmt.h) holds its body. False when the file defined it before.
bool add_function(FUNINFO* info);

// How the analysis gets at a body once more: `read` fills `function` (ir/stmt.h), `release` ends its life.
struct BODY_ACCESS {
    void (*read)(FUNINFO* info);
    void (*release)();
};

// The analysis of the file, after all of it was read; `source_name` is that of the C file.
void analyse_file(const char* source_name, const BODY_ACCESS& bodies);

// What is known about one function, on the trace.
void trace_function_summary(const FUNINFO& info);

} // namespace pelorus
