// Rules for EXCLAIM, ANDAND, OROR, QUEST, COMMAOP and IF.
//
// EXCLAIM is left only where a relation has no complement: over orderings of floating values, which are both
// false for a NaN, and over ANDAND and OROR.
#include "ir/node_storage.h"
#include "tree/simplifier.h"

namespace pelorus {

namespace {

bool is_nonzero(const NODE* icon) { return !int96_is_zero(icon->value()); }

} // namespace

NODE* not_condition(NODE* node) { return negation_of(node->left, node->type); }

// --- ANDAND and OROR ---

namespace {

// `decisive`: the value of an operand that decides the whole, 0 for ANDAND.
NODE* decided(NODE* node, bool decisive) {
    if (is_icon(node->left)) {
        if (is_nonzero(node->left) == decisive) return answer(node, decisive);
        return truth_of(node->right, node->type);
    }
    if (!is_icon(node->right)) return nullptr;
    if (is_nonzero(node->right) == decisive) return without(node->left, answer(node, decisive));
    return truth_of(node->left, node->type);
}

} // namespace

NODE* and_decided(NODE* node) { return decided(node, false); }
NODE* or_decided(NODE* node) { return decided(node, true); }

NODE* logic_same(NODE* node) {
    if (!is_pure(node->left) || !same_tree(node->left, node->right)) return nullptr;
    return truth_of(node->left, node->type);
}

NODE* logic_operands(NODE* node) {
    bool found = false;
    for (NODE** operand : {&node->left, &node->right})
        if (NODE* simpler = as_condition(*operand)) {
            *operand = simpler;
            found = true;
        }
    return found ? changed(node) : nullptr;
}

NODE* logic_negations(NODE* node) {
    if (!is_op(node->left, OP_EXCLAIM) || !is_op(node->right, OP_EXCLAIM)) return nullptr;
    NODE* joined = inner_binary(is_op(node, OP_ANDAND) ? OP_OROR : OP_ANDAND, node->type,
                                take_left(node->left), take_left(node->right));
    return make_unary(OP_EXCLAIM, node->type, joined);
}

// --- QUEST ---

NODE* choose_constant(NODE* node) {
    if (!is_icon(node->left)) return nullptr;
    NODE* arms = node->right;
    return as_type(is_nonzero(node->left) ? arms->left : arms->right, node->type);
}

NODE* choose_same(NODE* node) {
    NODE* arms = node->right;
    if (type_is_void(node->type) || !same_tree(arms->left, arms->right)) return nullptr;
    return without(node->left, as_type(arms->left, node->type));
}

NODE* choose_truth(NODE* node) {
    NODE* arms = node->right;
    if (!is_integer(node)) return nullptr;
    TYPE* truth_type = type_package()->int_type();
    if (is_icon_of(arms->left, 1) && is_icon_of(arms->right, 0)) {
        NODE* truth = truth_of(node->left, truth_type);
        return truth ? as_type(truth, node->type) : nullptr;
    }
    if (!is_icon_of(arms->left, 0) || !is_icon_of(arms->right, 1)) return nullptr;
    NODE* negation = negation_of(node->left, truth_type);
    return negation ? as_type(negation, node->type) : nullptr;
}

NODE* choose_operand(NODE* node) {
    NODE* simpler = as_condition(node->left);
    if (!simpler) return nullptr;
    node->left = simpler;
    return changed(node);
}

NODE* choose_negation(NODE* node) {
    if (!is_op(node->left, OP_EXCLAIM)) return nullptr;
    node->left = take_left(node->left);
    std::swap(node->right->left, node->right->right);
    return changed(node);
}

NODE* drop_pure(NODE* node) {
    if (!is_pure(node->left)) return nullptr;
    const bool convert = type_is_void(node->type) || type_is_pointer(node->type);
    return convert ? as_type(node->right, node->type) : node->right;
}

// --- IF ---

NODE* if_operand(NODE* node) { return choose_operand(node); }
NODE* if_negation(NODE* node) { return choose_negation(node); }

} // namespace pelorus
