// Questions about trees; see query.h. Walks go down left spines in loops, since lists lean left and may be
// long.
#include "tree/query.h"

#include <cstring>
#include <vector>

#include "ir/call.h"
#include "ir/node_storage.h"
#include "ir/stmt.h"
#include "ir/symbol.h"
#include "ir/walk.h"

namespace pelorus {

// --- Size ---

namespace {

// A conversion that keeps the bits costs nothing in the code that comes of it.
bool moves_no_bits(const NODE* node) {
    if (node->op == OP_PCONV || node->op == OP_ISP2CHAR || node->op == OP_ACONV) return true;
    if (node->op != OP_SCONV || !node->left || !node->left->type) return false;
    const TYPE* from = type_strip(node->left->type);
    const TYPE* to = type_strip(node->type);
    return from->kind != TK_FLOATING && to->kind != TK_FLOATING && from->size == to->size &&
           !type_is_bool(to);
}

} // namespace

int32_t operator_count(const NODE* tree, int32_t most) {
    int32_t count = 0;
    any_node(tree, [&](const NODE* node) {
        count += node->left && !moves_no_bits(node);
        return count > most;
    });
    return count;
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

// Calls that take memory of the caller's frame, or give it back: two of them are two places in that.
bool changes_frame(const SYMBOL* callee) {
    for (const char* name : {"__builtin_alloca", "__builtin_stack_save", "__builtin_stack_restore"})
        if (!strcmp(plain_name(callee->name), name)) return true;
    return false;
}

// Assembly may say what stands in a program once, such as a label.
bool differs_from_all(const NODE* node) {
    if (node->op == OP_ASM) return !is_comment(node);
    const SYMBOL* callee = direct_callee(node);
    return callee && callee->storage_class == SC_EXTERN && changes_frame(callee);
}

bool equal_nodes(const NODE* a, const NODE* b) {
    return a->op == b->op && same_type(a, b) && same_payload(a, b) && !differs_from_all(a);
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
