// See effects.h.
#include "ir/effects.h"

#include "ir/call.h"
#include "ir/symbol.h"
#include "support/settings.h"
#include "support/small_stack.h"

namespace pelorus {

namespace {

bool is_automatic(const NODE* lvalue) {
    while (lvalue->op == OP_STDOT) lvalue = lvalue->left;
    if (lvalue->op != OP_NAME || !lvalue->symbol()) return false;
    return lvalue->symbol()->level > 0;
}

bool is_access(int32_t op) { return op == OP_NAME || op == OP_UMULT || op == OP_STDOT || op == OP_STREF; }

// A member of a volatile object is volatile, whatever its own type says.
bool is_volatile_lvalue(const NODE* lvalue) {
    while ((lvalue->op == OP_STDOT || lvalue->op == OP_COMMAOP) && !type_is_volatile(lvalue->type))
        lvalue = lvalue->op == OP_STDOT ? lvalue->left : lvalue->right;
    return is_access(lvalue->op) && lvalue->type && type_is_volatile(lvalue->type);
}

bool touches_volatile(const NODE* node) {
    if (!is_access(node->op) || !node->type) return false;
    if (is_volatile_lvalue(node)) return true;
    return settings.all_volatile && !type_is_function(node->type) && !is_automatic(node);
}

} // namespace

const NODE* behind_address(const NODE* address) {
    const NODE* object = address->left;
    while (object && object->op == OP_STDOT) object = object->left;
    if (!object || object->op == OP_NAME || object->op == OP_SCON) return nullptr;
    return object->op == OP_UMULT || object->op == OP_STREF ? object->left : object;
}

bool node_has_effect(const NODE* node) {
    return (opcode_has_side_effect(node->op) && !is_pure_call(node)) || touches_volatile(node);
}

namespace {

template <class F>
bool any_evaluated(const NODE* tree, F holds) {
    SMALL_STACK<const NODE*> waiting;
    for (const NODE* node = tree;;) {
        while (node) {
            if (holds(node)) return true;
            if (node->right) waiting.push(node->right);
            node = takes_address(node) ? behind_address(node) : node->left;
        }
        if (waiting.empty()) return false;
        node = waiting.pop();
    }
}

} // namespace

bool tree_has_effects(const NODE* tree) { return any_evaluated(tree, node_has_effect); }

bool tree_is_statement(const NODE* tree) {
    return any_evaluated(tree, [](const NODE* node) { return is_call(node) || node_has_effect(node); });
}

} // namespace pelorus
