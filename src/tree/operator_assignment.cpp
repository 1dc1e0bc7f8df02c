// See operator_assignment.h.
#include "tree/operator_assignment.h"

#include "ir/node_storage.h"

namespace pelorus {

int32_t conversion_operator(const TYPE* from, const TYPE* to) {
    const bool pointer = type_is_pointer(from) || type_is_pointer(to);
    return pointer && !type_is_bool(to) ? OP_PCONV : OP_SCONV;
}

namespace {

bool needs_conversion(const TYPE* from, const TYPE* to) {
    if (type_strip(from) == type_strip(to)) return false;
    if (type_is_pointer(from) || type_is_pointer(to) || type_is_bool(from) != type_is_bool(to)) return true;
    return !type_same_representation(from, to);
}

} // namespace

NODE* converted_value(NODE* value, TYPE* type) {
    type = type_strip(type);
    return needs_conversion(value->type, type)
               ? new_unary(conversion_operator(value->type, type), type, value)
               : value;
}

namespace {

// The type in which the operator works on a target and an operand of these types.
TYPE* working_type(TYPE* target, TYPE* operand, int32_t op) {
    TYPE* left = type_strip(target);
    if (op != OP_SLL && op != OP_SRL) return type_is_pointer(left) ? left : type_strip(operand);
    return type_is_integer(left) && left->size < 4 ? type_package()->int_type() : left;
}

// What `converted_value` made of it to give this tree; null when it cannot have made that.
NODE* before_conversion(NODE* tree, const TYPE* type) {
    if (!needs_conversion(tree->type, type) && tree->op != OP_SCONV && tree->op != OP_PCONV) return tree;
    if (opcode_arity(tree->op) != 1 || type_strip(tree->type) != type_strip(type)) return nullptr;
    const bool is_conversion = tree->op == conversion_operator(tree->left->type, type);
    return is_conversion && needs_conversion(tree->left->type, type) ? tree->left : nullptr;
}

} // namespace

NODE* expand_operator_assignment(NODE* node) {
    const int32_t op = plain_operator(node->op);
    TYPE* type = working_type(node->left->type, node->right->type, op);
    NODE* target = node->left;
    NODE* value = new_binary(op, type, converted_value(copy_tree(target), type), node->right);
    NODE* assignment = new_binary(OP_ASG, node->type, target, converted_value(value, target->type));
    erase_node(node);
    return assignment;
}

bool contract_operator_assignment(NODE* assignment, int32_t op) {
    const int32_t plain = plain_operator(op);
    const NODE* target = assignment->left;
    NODE* value = before_conversion(assignment->right, target->type);
    if (!value || value->op != plain) return false;
    const TYPE* type = working_type(target->type, value->right->type, plain);
    NODE* old = type_strip(value->type) == type ? before_conversion(value->left, type) : nullptr;
    if (!old || old->op != OP_NAME || old->symbol() != target->symbol()) return false;
    NODE* amount = value->right;
    if (assignment->right != value) erase_node(assignment->right);
    if (value->left != old) erase_node(value->left);
    erase_node(old);
    erase_node(value);
    assignment->op = op;
    assignment->right = amount;
    return true;
}

} // namespace pelorus
