// The node factory and the operations of a node; see node.h.
#include "ir/node.h"

#include <cstdio>

#include "ir/node_storage.h"
#include "ir/symbol.h"
#include "memory/zone.h"
#include "support/fatal.h"

namespace pelorus {

FUNCTION_NODE_STATE function_node_state;
NODE_FACTORY_OPTIONS node_factory;

namespace {

int32_t size_of_node(int32_t op, const TYPE* type) {
    const bool has_none =
        op == OP_LABEL || op == OP_SCON || op == OP_ICON || op == OP_FCON || op == OP_CSE_DUPE;
    return type && !has_none ? static_cast<int32_t>(type->size) : -1;
}

// A conversion to a pointer to characters, which some targets do differently from other pointer conversions:
// in an integer register, so an int must be as large as a pointer.
bool converts_to_char_pointer(const TYPE* type) {
    if (!node_factory.char_pointer_operator || !type || !type_package()->int_holds_pointer()) return false;
    if (type_strip(type)->kind != TK_POINTER) return false; // references are no pointers here
    const TYPE* target = type_target(type);
    return target && (type_is_plain_char(target) || type_is_byte(target));
}

} // namespace

void set_type(NODE* node, TYPE* type) {
    node->type = type;
    if (node->op != OP_SWITCH) node->size = size_of_node(node->op, type);
}

NODE* new_node(int32_t op, TYPE* type) {
    NODE* node = node_factory.local ? recycled_node() : nullptr;
    if (!node) node = zone_new<NODE>(node_factory.local);
    node->op = OP_ERASED;
    node->local = node_factory.local;
    node->type = type;
    node->size = size_of_node(op, type);
    if (op == OP_UCALL) function_node_state.call_state = 0;
    if (op == OP_SCONV && type && type_strip(type)->kind == TK_ENUM) type_note_conversion(type_strip(type));
    node->op = op == OP_PCONV && converts_to_char_pointer(type) ? static_cast<int32_t>(OP_ISP2CHAR) : op;
    return node;
}

NODE* new_unary(int32_t op, TYPE* type, NODE* left) {
    NODE* node = new_node(op, type);
    node->left = left;
    return node;
}

NODE* new_binary(int32_t op, TYPE* type, NODE* left, NODE* right) {
    NODE* node = new_unary(op, type, left);
    node->right = right;
    return node;
}

NODE* new_name(SYMBOL* symbol, TYPE* type) {
    NODE* node = new_node(OP_NAME, type);
    node->set_symbol(symbol);
    return node;
}

NODE* new_icon(TYPE* type, INT96 value) {
    NODE* node = new_node(OP_ICON, type);
    node->set_value(value);
    return node;
}

NODE* new_wrapped_icon(TYPE* type, INT96 value) {
    return new_icon(type, int96_truncate(value, type_bits(type), !type_is_signed(type)));
}

NODE* new_wrapped_icon(TYPE* type, uint64_t value) {
    return new_wrapped_icon(type, int96_from_uint64(value));
}

NODE* new_label_leaf(int32_t index) {
    NODE* node = new_node(OP_LABEL, type_package()->void_type());
    node->set_value(int96_signed(index));
    return node;
}

// Copies iterate down the left spine: case lists and argument lists lean left and may be long.
NODE* copy_tree(const NODE* tree) {
    NODE* result = nullptr;
    NODE** place = &result;
    for (; tree; tree = tree->left) {
        NODE* copy = new_node(tree->op, tree->type);
        const uint8_t local = copy->local;
        *copy = *tree;
        copy->local = local;
        copy->left = nullptr;
        copy->right = copy_tree(tree->right);
        *place = copy;
        place = &copy->left;
    }
    return result;
}

void* NODE::op_ref() { return ref; }
int NODE::op_is_node() { return 1; }
TYPE_PART* NODE::op_field() { return field_info; }
TYPE* NODE::op_field_owner() { return static_cast<TYPE*>(ref); }
int32_t NODE::op_label() { return value_lo; }
int32_t NODE::op_number() { return value_lo; }

TARGET_INTEGER NODE::op_integer() { return {value(), !type_is_signed(type)}; }

const char* NODE::op_float_text() {
    if (!text) {
        char buffer[512]; // a double has at most 309 digits before its point, and %e has one
        TARGET_FLOAT converted = *floating();
        target_float_round(converted, type->size);
        snprintf(buffer, sizeof buffer, "%20.80e", converted.value);
        text = zone_string(local, buffer);
    }
    return text;
}

const char* NODE::op_text() { return text; }
int32_t NODE::op_length() { return value_lo; }
int32_t NODE::op_skip() { return value_lo; }
int32_t NODE::op_unused_11() { return 0; }
int32_t NODE::op_call_number() { return value_lo; }
int32_t NODE::op_size() { return size; }
int16_t NODE::op_stmt_number() { return stmt_info ? stmt_info->number : static_cast<int16_t>(0); }
int32_t NODE::op_unused_15() { return 0; }
int32_t NODE::op_unused_16() { return 0; }
int32_t NODE::op_value() { return value_lo; }
const char* NODE::op_callee_text() { return static_cast<const char*>(ref); }

void NODE::set_symbol(SYMBOL* symbol) { ref = symbol; }

void NODE::set_field(int check, TYPE_PART* member, TYPE* owner) {
    if (check != 1) fatal_exit();
    field_info = member;
    ref = owner;
    type = type_normalise(type);
    if (member->flag) function_node_state.has_bitfields = true;
}

void NODE::set_integer(int32_t number) {
    set_value(type_is_signed(type) ? int96_signed(number) : int96_unsigned(static_cast<uint32_t>(number)));
}

void NODE::set_decimal(const char* digits) {
    INT96 number;
    int96_parse(digits, number);
    set_value(number);
    op = OP_ICON;
}

void NODE::set_float(const char* decimal) {
    auto* number = zone_new<TARGET_FLOAT>(local);
    target_float_parse(decimal, *number, type->size);
    ref = number;
    text = nullptr;
}

void NODE::set_bytes(const char* bytes, uint32_t length) {
    set_value(int96_unsigned(length));
    text = zone_bytes(local, bytes, length);
}

void NODE::set_label(uint32_t number) { set_value(int96_unsigned(number)); }
void NODE::set_nothing(int32_t) {}
void NODE::set_skip(int32_t bytes) { set_value(int96_signed(bytes)); }
void NODE::set_switch(uint32_t number) { size = static_cast<int32_t>(number); }
void NODE::set_ddnode(uint32_t, uint32_t, uint8_t) {}

void NODE::set_call(uint32_t number) {
    set_value(int96_unsigned(number));
    function_node_state.makes_no_calls = false;
}

void NODE::set_callee_text(const char* name) { ref = zone_string(local, name); }

} // namespace pelorus
