// What tests of the program representation share: a clean state, a type package with the usual types, short
// makers.
#pragma once

#include <gtest/gtest.h>

#include "ir/funinfo.h"
#include "ir/node.h"
#include "ir/stmt.h"
#include "ir/symbol.h"
#include "ir/type.h"
#include "memory/zone.h"
#include "support/settings.h"

namespace pelorus {

// Everything global that one test could leave behind for the next.
inline void reset_program_state() {
    reset_settings();
    clear_file_symbols();
    clear_funinfo();
    function = {};
    function_node_state = {};
    node_factory = {};
    clear_function_symbols();
    set_type_package(nullptr);
    reset_zones_for_test();
}

class IrTest : public testing::Test {
protected:
    IrTest() {
        reset_program_state();
        set_type_package(&types);
        void_type = types.void_type();
        int_type = types.int_type();
        unsigned_type = types.unsigned_int_type();
        char_type = types.make_basic(TR_CHAR, true, 1, 1);
        short_type = types.make_basic(TR_SHORT, false, 2, 2);
        long_long_type = types.make_basic(TR_LONG_LONG, false, 8, 8);
        unsigned_long_long_type = types.make_basic(TR_LONG_LONG, true, 8, 8);
        float_type = types.make_basic(TR_FLOAT, false, 4, 4);
        double_type = types.make_basic(TR_DOUBLE, false, 8, 8);
        int_pointer = types.make_pointer(int_type);
    }
    ~IrTest() override { reset_program_state(); }

    SYMBOL* symbol(const char* name, TYPE* type, int level = 2, int storage_class = SC_AUTO,
                   uint16_t flags = 0) {
        SYMBOL_FIELDS fields{};
        fields.name = name;
        fields.type = type;
        fields.size = type->size;
        fields.storage_class = static_cast<int8_t>(storage_class);
        fields.flags = flags;
        return new_file_symbol(fields, level);
    }
    NODE* variable(const char* name, TYPE* type) { return new_name(symbol(name, type), type); }
    NODE* number(int32_t value) { return new_icon(int_type, int96_signed(value)); }
    NODE* real(const char* digits, TYPE* type) {
        NODE* node = new_node(OP_FCON, type);
        node->set_float(digits);
        return node;
    }
    NODE* label(int32_t index) { return new_label_leaf(index); }
    NODE* unary(int32_t op, TYPE* type, NODE* left) { return new_unary(op, type, left); }
    NODE* binary(int32_t op, TYPE* type, NODE* left, NODE* right) {
        return new_binary(op, type, left, right);
    }
    // With the type of the left operand.
    NODE* binary(int32_t op, NODE* left, NODE* right) { return new_binary(op, left->type, left, right); }
    NODE* list(int32_t op, NODE* left, NODE* right) { return new_binary(op, void_type, left, right); }
    // A function that takes what it gets.
    NODE* call(const char* name, TYPE* result, NODE* arguments) {
        TYPE* function_type = types.make_function(result, !arguments, false, 0);
        NODE* callee = unary(OP_UAND, types.make_pointer(function_type),
                             new_name(symbol(name, function_type, 0, SC_EXTERN), function_type));
        return arguments ? binary(OP_CALL, result, callee, arguments) : unary(OP_UCALL, result, callee);
    }
    NODE* field(TYPE* csu, uint32_t key) {
        TYPE_PART* member = type_member(csu, key);
        NODE* node = new_node(OP_FIELD, member->type);
        node->set_field(1, member, csu);
        return node;
    }

    TYPE_PKG types;
    TYPE *void_type, *int_type, *unsigned_type, *char_type, *short_type, *long_long_type,
        *unsigned_long_long_type;
    TYPE *float_type, *double_type, *int_pointer;
};

} // namespace pelorus
