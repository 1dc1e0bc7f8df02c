// Checks of what the statements of one function have to do with each other.
//
//   - the first statement copies the parameters into their homes, and nothing else reads them;
//   - parallel assignments stand nowhere else;
//   - cases have the type of the selector and different values;
//   - all returns name one variable, which has the function's return type;
//   - variables in registers are named as such, and no call comes back twice to them.
// Labels are not looked at: in a file they are numbers, in memory edges of the graph.
#pragma once

#include "ir/validate_tree.h"

namespace pelorus {

struct SYMBOL;

// What is known of the function while its statements pass.
struct FUNCTION_CHECK {
    const TYPE* returned = nullptr;        // return type; null when it is not known
    const SYMBOL* return_symbol = nullptr; // that the first return named; null before
    bool has_parameters = false;           // symbols of level 1 that are kept
    bool first = true;                     // no statement has passed yet
    bool minds_parameters = true;          // the rules of parameters, U5 and U6, are looked at
    bool uses_registers = false;           // a variable in a register was named
    bool comes_back = false;               // a call that may return twice was seen
};

// Checks the next statement, in the order of the function; reports as validate_tree does and returns the
// number of failures.
// Needs: the statement's own checks made, and found nothing.
int check_in_function(FUNCTION_CHECK& check, const NODE* stmt, const TREE_PLACE& place);

} // namespace pelorus
