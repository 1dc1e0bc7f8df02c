// What an assignment does to a value: conversion, and the operators of operator-assignments.
#pragma once

#include "ir/node.h"

namespace pelorus {

// The operator that converts a value of one scalar type to another: PCONV to and from pointers, but for the
// truth of one, else SCONV.
int32_t conversion_operator(const TYPE* from, const TYPE* to);

// The value as the type: itself when the two types are the same or have the same representation, else
// converted. Nothing is simplified.
NODE* converted_value(NODE* value, TYPE* type);

// `x op= v` as `x = x op v`, not simplified: the operator works in the type of v (shifts in that of x after
// promotion), and what it gives is converted to the type of x. x++ becomes `x = x + v`, so that its value is
// another one. The node is used up.
// Needs: plain_operator(node->op) is not NOP; the left operand is a NAME that is not volatile; for a value
// that is wanted, neither PLUSPLUS nor MINMIN.
NODE* expand_operator_assignment(NODE* node);

// The opposite, for an ASG that the operator-assignment `op` was expanded to, and that may have been changed
// since: it becomes `x op= v` again where it still says that. False, with nothing changed, where it does not.
bool contract_operator_assignment(NODE* assignment, int32_t op);

} // namespace pelorus
