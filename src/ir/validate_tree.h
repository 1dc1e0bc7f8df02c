// Checks of statement trees. They only report, on the debug trace, and change nothing.
//
// What holds for every statement:
//   - each node has an opcode and as many subtrees as the opcode's arity says;
//   - operands have the category of type that their operator works on;
//   - names, labels, fields and lists stand where their operator wants them;
//   - the case list of a SWITCH leans left and holds CASE(ICON, LABEL) and at most one DEFAULT(LABEL);
//   - the top of a statement does something;
//   - parallel assignments at the entry copy parameters into variables of the same names;
//   - operands and results agree with each other: representations, lvalues, constants, fields, calls
//     (validate_values.cpp).
// What several statements have to do with each other is in validate_function.h.
#pragma once

#include "ir/node.h"
#include "ir/rules.h"

namespace pelorus {

// Where a node stands, for the message, and who wants to know of a fault besides the trace.
struct TREE_PLACE {
    const NODE* stmt;                 // the whole statement
    int bb;                           // number of its block; 0 when it is not known
    const FAULT_SINK* sink = nullptr; // may be null
};

// Checks all nodes of a statement and its shape. `bb` is 0 when the block is not known; `first_of_entry` says
// that the statement is the first one of the function's entry block. Returns the number of failures.
int validate_stmt(const NODE* stmt, int bb, bool first_of_entry, const FAULT_SINK* sink = nullptr);
// Checks all nodes of a tree that is no statement of its own.
int validate_expression(const NODE* tree, const TREE_PLACE& place);

// The single checks. Each returns true when all is well and reports otherwise.

// The number of subtrees. A null node fails without a report.
bool check_arity(const NODE* node, const TREE_PLACE& place);
// The node is there and its opcode is `op`; with `op` 0 any node will do. `rule` is the one that wants it.
bool expect_operator(const NODE* node, int32_t op, const TREE_PLACE& place, RULE rule = RULE_N5);
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

// What the node has to do with its operands, when they are of the right categories.
// Needs: check_arity, and the types of the operands checked.
bool check_values(const NODE* node, const TREE_PLACE& place);

// --- Questions that more than one check asks ---

// The wrappers of SSA form say nothing about the tree in them.
inline const NODE* without_versions(const NODE* node) {
    while (node && node->op >= OP_SSA_USE && node->op <= OP_SSA_CHI) node = node->left;
    return node;
}
static_assert(OP_SSA_USE + 3 == OP_SSA_CHI, "uses, definitions and both forms of possible ones in a row");
// Equal in memory and registers, whatever the signs: integers, enumerations, pointers of one size; equal
// structures.
bool same_representation(const TYPE* a, const TYPE* b);
bool is_lvalue(const NODE* node);
// Whether a NAME can have the symbol: labels of the source and names of types have no object and no address.
bool names_object(const SYMBOL* symbol);

// The report of every failure. Answers false, so that a check can end with it.
bool report_invalid_node(RULE rule, const char* message, const NODE* node, const TREE_PLACE& place);

} // namespace pelorus
