// Checks of statement trees. They only report, on the debug trace, and change nothing.
//
// What holds for every statement:
//   - each node has an opcode and as many subtrees as the opcode's arity says;
//   - operands have the category of type that their operator works on;
//   - names, labels, fields and lists stand where their operator wants them;
//   - the case list of a SWITCH leans left and holds CASE(ICON, LABEL) and at most one DEFAULT(LABEL);
//   - the top of a statement does something;
//   - parallel assignments at the entry copy parameters into variables of the same names.
// Values, such as two equal CASEs, are not looked at.
#pragma once

#include "ir/node.h"

namespace pelorus {

// Where a node stands, for the message.
struct TREE_PLACE {
    const NODE* stmt; // the whole statement
    int bb;           // number of its block; 0 when it is not known
};

// Checks all nodes of a statement and its shape. `bb` is 0 when the block is not known; `first_of_entry` says that
// the statement is the first one of the function's entry block. Returns the number of failures.
int validate_stmt(const NODE* stmt, int bb, bool first_of_entry);

// The single checks. Each returns true when all is well and reports otherwise.

// The number of subtrees. A null node fails without a report.
bool check_arity(const NODE* node, const TREE_PLACE& place);
// The node is there and its opcode is `op`; with `op` 0 any node will do.
bool expect_operator(const NODE* node, int32_t op, const TREE_PLACE& place);
// The node is there and its type is of the category.
bool expect_csu_type(const NODE* node, const TREE_PLACE& place);
bool expect_scalar_type(const NODE* node, const TREE_PLACE& place);
bool expect_pointer_type(const NODE* node, const TREE_PLACE& place);
bool expect_arithmetic_type(const NODE* node, const TREE_PLACE& place);
bool expect_integer_type(const NODE* node, const TREE_PLACE& place);
// `list` is the right subtree of a SWITCH.
bool check_switch_list(const NODE* list, const TREE_PLACE& place);
// `tree` is a PCOMMA.
bool check_pcomma(const NODE* tree, const TREE_PLACE& place);
// An assignment, a call, a control operator or an access to a volatile object is somewhere in the statement.
bool check_side_effect(const NODE* stmt, const TREE_PLACE& place);

// The report of every failure.
void report_invalid_node(const char* message, const NODE* node, const TREE_PLACE& place);

} // namespace pelorus
