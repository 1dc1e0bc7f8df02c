// Questions about trees; see query.h. Walks go down left spines in loops, since lists lean left and may be
// long.
#include "tree/query.h"

#include <cstring>
#include <vector>

#include "ir/node_storage.h"
#include "ir/stmt.h"
#include "ir/symbol.h"
#include "ir/walk.h"
#include "support/settings.h"
#include "tree/simplifier.h"

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
    if (opcode_has_side_effect(node->op) || node->op == OP_SSA_PHI) return true;
    if (opcode_arity(node->op) >= 0 && !opcode_fact(node->op).name) return true; // may do anything
    return touches_volatile(node);
}

bool tree_has_effects(const NODE* tree) {
    std::vector<const NODE*> waiting{tree};
    while (!waiting.empty()) {
        const NODE* node = waiting.back();
        waiting.pop_back();
        while (node) {
            if (node_has_effect(node)) return true;
            if (node->right) waiting.push_back(node->right);
            node = takes_address(node) ? behind_address(node) : node->left;
        }
    }
    return false;
}

// --- Equality ---

namespace {

bool same_float(const NODE* a, const NODE* b) { return target_float_same(*a->floating(), *b->floating()); }

bool same_bytes(const NODE* a, const NODE* b) {
    return a->value_lo == b->value_lo && !memcmp(a->text, b->text, static_cast<size_t>(a->value_lo));
}

bool same_text(const char* a, const char* b) { return a == b || (a && b && !strcmp(a, b)); }

bool same_label(const NODE* a, const NODE* b) {
    if (a->label() && b->label()) return a->label()->block == b->label()->block;
    return a->value() == b->value();
}

bool same_payload(const NODE* a, const NODE* b) {
    switch (a->op) {
    case OP_LABEL: return same_label(a, b);
    case OP_NAME: return a->ref == b->ref;
    case OP_SCON: return same_bytes(a, b);
    case OP_ICON:
    case OP_SKIP:
    case OP_LABELDEF: return a->value() == b->value();
    case OP_FCON: return same_float(a, b);
    case OP_FIELD: return a->ref == b->ref && a->field_info == b->field_info;
    case OP_ICALL:
    case OP_UICALL:
    case OP_MCALL:
    case OP_UMCALL: return same_text(static_cast<const char*>(a->ref), static_cast<const char*>(b->ref));
    case OP_ASM: return same_text(a->text, b->text);
    case OP_PPRAGMA: return a->ref == b->ref;
    default: return true;
    }
}

// A volatile and a plain access to the same object are not the same.
bool same_type(const NODE* a, const NODE* b) {
    if (a->type == b->type) return true;
    if (!a->type || !b->type) return false;
    return type_is_volatile(a->type) == type_is_volatile(b->type) &&
           type_same_representation(a->type, b->type);
}

bool equal_nodes(const NODE* a, const NODE* b) {
    return a->op == b->op && same_type(a, b) && same_payload(a, b);
}

} // namespace

bool equal_trees(const NODE* a, const NODE* b, int32_t most_nodes) {
    std::vector<std::pair<const NODE*, const NODE*>> waiting{{a, b}};
    while (!waiting.empty()) {
        auto [x, y] = waiting.back();
        waiting.pop_back();
        for (; x && y; x = x->left, y = y->left) {
            if (--most_nodes < 0 || !equal_nodes(x, y)) return false;
            if (x->right || y->right) waiting.emplace_back(x->right, y->right);
        }
        if (x || y) return false;
    }
    return true;
}

bool equal_statements(const STMT* a, const STMT* b) {
    for (; a && b; a = a->next, b = b->next)
        if (!equal_trees(a->tree, b->tree)) return false;
    return !a && !b;
}

bool tree_mentions(const NODE* tree, const SYMBOL* symbol) {
    return any_node(tree, [&](const NODE* node) { return node->op == OP_NAME && node->symbol() == symbol; });
}

} // namespace pelorus
