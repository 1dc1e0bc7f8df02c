// See operator_assignment.h.
#include "tree/operator_assignment.h"

#include "ir/node_storage.h"

namespace pelorus {

int32_t conversion_operator(const TYPE* from, const TYPE* to) {
    const bool pointer = type_is_pointer(from) || type_is_pointer(to);
    return pointer && !type_is_bool(to) ? OP_PCONV : OP_SCONV;
}

NODE* converted_value(NODE* value, TYPE* type) {
    type = type_strip(type);
    if (type_strip(value->type) == type) return value;
    const bool pointer = type_is_pointer(value->type) || type_is_pointer(type);
    if (!pointer && type_is_bool(value->type) == type_is_bool(type) &&
        type_same_representation(value->type, type))
        return value;
    return new_unary(conversion_operator(value->type, type), type, value);
}

namespace {

// The type in which the operator works.
TYPE* working_type(const NODE* node, int32_t op) {
    TYPE* left = type_strip(node->left->type);
    if (op != OP_SLL && op != OP_SRL) return type_is_pointer(left) ? left : type_strip(node->right->type);
    return type_is_integer(left) && left->size < 4 ? type_package()->int_type() : left;
}

} // namespace

NODE* expand_operator_assignment(NODE* node) {
    const int32_t op = plain_operator(node->op);
    TYPE* type = working_type(node, op);
    NODE* target = node->left;
    NODE* value = new_binary(op, type, converted_value(copy_tree(target), type), node->right);
    NODE* assignment = new_binary(OP_ASG, node->type, target, converted_value(value, target->type));
    erase_node(node);
    return assignment;
}

} // namespace pelorus
