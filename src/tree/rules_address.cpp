// Rules for addresses, members and assignments.
//
// The address of a member is the address of its structure plus its offset, so that members, indices and
// constants of one address meet in one sum. A member reached through an address of an object is a member of
// the object, and the other way round: STDOT of objects, STREF of pointers.
#include "tree/shapes.h"

namespace pelorus {

namespace {

bool is_object(const NODE* node) {
    while (is_op(node, OP_STDOT)) node = node->left;
    return is_op(node, OP_NAME) || is_op(node, OP_UMULT) || is_op(node, OP_STREF);
}

// A bool holds fewer values than the byte that it lies in may have.
bool same_object_type(const TYPE* a, const TYPE* b) {
    return type_qualifiers(a) == type_qualifiers(b) && type_strip(a)->align == type_strip(b)->align &&
           type_same_representation(a, b) && type_is_bool(a) == type_is_bool(b);
}

bool is_member_of(const NODE* field, const TYPE* structure) {
    return type_strip(static_cast<const TYPE*>(field->ref)) == type_strip(structure);
}

bool is_bitfield(const NODE* field) { return field->field_info->flag != 0; }

INT96 offset_of(const NODE* field) { return int96_from_int64(field->field_info->value); }

} // namespace

NODE* object_at_address(NODE* node) {
    if (node->right || !is_op(node->left, OP_UAND)) return nullptr;
    NODE* object = node->left->left;
    if (!is_object(object) || type_is_function(object->type) || !same_object_type(node->type, object->type))
        return nullptr;
    return object;
}

NODE* address_of_object(NODE* node) {
    if (!is_op(node->left, OP_UMULT) || node->left->right) return nullptr;
    return as_type(node->left->left, node->type);
}

// A member of a member of a member at once, so that nesting takes no stack.
NODE* address_of_member(NODE* node) {
    NODE* object = node->left;
    INT96 offset{};
    for (; is_op(object, OP_STDOT); object = object->left) {
        if (is_bitfield(object->right)) return nullptr;
        offset = int96_add(offset, offset_of(object->right));
    }
    if (!is_object(object)) return nullptr;
    if (is_op(object, OP_STREF) && !is_bitfield(object->right) && !is_op(object->left, OP_NONALIGN)) {
        offset = int96_add(offset, offset_of(object->right));
        return make_sum(node->type, as_type(object->left, node->type), offset);
    }
    if (object == node->left) return nullptr;
    return make_sum(node->type, inner_unary(OP_UAND, node->type, object), offset);
}

NODE* member_at_address(NODE* node) {
    if (!is_op(node->left, OP_UAND)) return nullptr;
    NODE* object = node->left->left;
    if (!is_object(object) || !is_member_of(node->right, object->type)) return nullptr;
    return make_binary(OP_STDOT, node->type, object, node->right);
}

NODE* member_of_object(NODE* node) {
    if (!is_op(node->left, OP_UMULT) || node->left->right) return nullptr;
    if (type_is_volatile(node->left->type) && !type_is_volatile(node->type)) return nullptr;
    return make_binary(OP_STREF, node->type, node->left->left, node->right);
}

// --- Assignments ---

NODE* assign_itself(NODE* node) {
    if (!is_variable(node->left) || !same_tree(node->left, node->right)) return nullptr;
    return node->left;
}

namespace {

// The operator works in the type of the amount, which may be narrower than the variable. Shifts do not.
bool amount_keeps_value(const NODE* node) {
    if (is_op(node, OP_SLLASG) || is_op(node, OP_SRLASG)) return true;
    return bits_of(node->right) >= bits_of(node->left) && !type_is_bool(node->right->type);
}

} // namespace

NODE* change_nothing(NODE* node) {
    if (!is_icon_of(node->right, 0) || !is_pure(node->left) || !is_word(node->left) ||
        !amount_keeps_value(node))
        return nullptr;
    return node->left;
}

NODE* multiply_variable(NODE* node) {
    if (!is_integer(node->left) || type_is_bool(node->left->type) || !is_icon(node->right) ||
        !amount_keeps_value(node))
        return nullptr;
    const int power = int96_log2(as_bits(node->right, node->right->value()));
    if (power < 1 || static_cast<uint32_t>(power) >= bits_of(node->left)) return nullptr;
    return make_binary(OP_SLLASG, node->type, node->left, make_icon(type_package()->int_type(), power));
}

} // namespace pelorus
