// The call graph: which functions of the file the program can reach, and in what order.
//
//   main -> parse -> next        1: main  2: parse  3: next  4: report
//      \--> report
//
// Nodes are the defined functions that something reaches from the roots: by a call, or since a reached
// function takes their address. They are numbered from 1 in reverse postorder of a depth-first walk, so that
// callers come before their callees except where calls go round in a circle (R. Tarjan, "Depth-First Search
// and Linear Graph Algorithms", 1972). A walk of the list from its end meets callees first.
#pragma once

#include "ir/funinfo.h"

namespace pelorus {

// Numbers that two functions have only in files with more functions than this.
constexpr uint16_t LAST_CALL_GRAPH_NUMBER = 0xFF00;

// Marks what the file's mode and the symbols say of each function, and the roots: what something outside the
// file, the machine or the data of the file can enter.
void find_roots();

// Gives the functions that the roots reach their numbers and puts them, in that order, into
// `file_level.functions`. Linear in functions and references.
void number_call_graph();

// Marks what nothing reaches, so that it is not compiled.
void suppress_unreached();

// The first of the functions that a function calls whose number is not greater than its own gets
// FUN_follows_call: an expansion of the call would go on for ever.
void mark_calls_backward();

// Some function of the graph can be entered without a call of this file.
bool has_entry_functions();

} // namespace pelorus
