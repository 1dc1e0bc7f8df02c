// Operands and tests from which builtin functions are put together.
#pragma once

#include "expressions.h"

namespace pelorus {

// An operand that the tree mentions several times: a constant, or a temporary with the assignment that fills
// it.
struct OPERAND {
    NODE* assignment; // null when there is nothing to do before
    NODE* value;
    NODE* use() const { return copy_tree(value); }
};

inline OPERAND operand_of(BODY& body, NODE* value) {
    if (value->op == OP_ICON || value->op == OP_FCON) return {nullptr, value};
    const SAVED_VALUE saved = save_value(body, value);
    return {saved.assignment, use_local(saved.symbol)};
}

inline OPERAND argument(BODY& body, const clang::CallExpr* call, unsigned number) {
    return operand_of(body, value_of(body, call->getArg(number)));
}

inline NODE* test(BODY& body, OPCODE op, NODE* left, NODE* right) {
    return new_binary(op, int_type(body.unit), left, right);
}
inline NODE* both(BODY& body, NODE* left, NODE* right) { return test(body, OP_ANDB, left, right); }
inline NODE* either(BODY& body, NODE* left, NODE* right) { return test(body, OP_ORB, left, right); }

inline NODE* number(BODY& body, int64_t value) { return integer_constant(int_type(body.unit), value); }

} // namespace pelorus
