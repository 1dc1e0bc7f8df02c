// What the functions and the data of the file refer to: calls, functions whose address is taken, and what
// happens to the variables of static storage.
//
// Each body is looked at once, when the file is read as a whole. Names in assembly text count, since an
// assembler finds what the tables of the file call by them.
#pragma once

#include "ir/funinfo.h"

namespace pelorus {

struct SYMBOL;

// What all bodies and initializers of the file do with a variable of static storage.
struct VARIABLE_FACTS {
    bool read = false;
    bool assigned = false; // by its name, as a whole or in part
    bool exposed = false;  // its address is taken, or assembly names it
};

// Notes what the body refers to: its call sites, callees and references, the marks of the functions that it
// names, and the facts of the variables. Needs: `function` (ir/stmt.h) holds it, as it was read.
void note_references(FUNINFO& info);

// Notes the names in assembly text outside functions.
void note_assembly(const char* text);

// Notes what initializers and attributes refer to, and what the names in assembly mean. Needs: the whole file
// was read.
void note_data_references();

// The facts of a variable; nothing happens to one that nobody mentions.
VARIABLE_FACTS variable_facts(const SYMBOL& variable);

// Forgets all of it. At the start of a run.
void clear_references();

} // namespace pelorus
