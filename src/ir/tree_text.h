// Trees as one line of C-like text, for the trace.
#pragma once

#include <string>

#include "ir/node.h"

namespace pelorus {

struct SYMBOL;

// The tree in infix form; "((nil))" for a null tree. Takes any tree, well-formed or not, of any depth: it
// does not recurse. Linkage names are printed as they are, so that a global and a local of one name can be
// told apart. String constants are cut when they are long.
std::string tree_text(const NODE* tree);

// The same of a statement, for a message: what is behind its first `most` characters becomes " ...".
std::string short_tree_text(const NODE* tree, size_t most);

// The same, and a variable's name, for the texts of decisions.
inline void append_text(std::string& text, const NODE* tree) { text += tree_text(tree); }
void append_text(std::string& text, const SYMBOL* symbol);

// The same for "%s" in a trace line. The text lives until the next call. Not re-entrant: a call that comes
// while another one is at work (from a signal handler) gets "+*+*+ tree2infix called recursively +*+*+".
const char* tree2infix(const NODE* tree);

// The name of a variable as trees show it: with its SSA version, if it has one; "this" for the function's
// object pointer and "th<serial>s" for one that came from another function.
std::string symbol_text(const SYMBOL* symbol);

// `length` bytes between double quotes with C's escapes.
std::string quoted_text(const char* bytes, size_t length);

} // namespace pelorus
