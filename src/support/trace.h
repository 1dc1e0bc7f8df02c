// The debug trace and the information file.
//
// Both are plain text streams of the whole run. The driver opens them; every folder writes to them through
// these helpers, which cost one test when the stream is off.
#pragma once

#include <cstdarg>
#include <cstdio>

namespace pelorus {

struct TRACE {
    int debug_output = 0;         // the level of the trace; 0: off, 1: every pass traces, more: details, too
    FILE* debug_stream = nullptr; // the ".odb" file or stderr; valid when debug_output
    bool info_output = false;     // the information file is written
    FILE* info_stream = nullptr;  // valid when info_output
};

extern TRACE trace_state;

// True when the debug trace is on; passes test it before they form text that only the trace needs.
inline bool debug_on() { return trace_state.debug_output != 0; }

// The level of the trace. Traces that are long and seldom wanted, and graphs, are for levels above 1.
inline int debug_level() { return trace_state.debug_output; }

// The debug stream; the standard error stream when none is open. Never null.
inline FILE* debug_file() { return trace_state.debug_stream ? trace_state.debug_stream : stderr; }

// printf to the debug stream when the debug trace is on, otherwise nothing.
void trace(const char* format, ...) __attribute__((format(printf, 1, 2)));

// printf to the information stream when it is on, otherwise nothing.
void info(const char* format, ...) __attribute__((format(printf, 1, 2)));

// The banner with which a pass announces itself: "\n\n\t\t\t---------- ENTERING '<pass>' ----------\n".
void trace_entering(const char* pass);

} // namespace pelorus
