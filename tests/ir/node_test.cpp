// The node factory, the operations that take a file's payloads, and copies.
#include "ir/node.h"

#include "ir_fixture.h"
#include "support/test_support.h"

namespace pelorus {
namespace {

class Node : public IrTest {};

TEST_F(Node, SizeComesFromTheTypeButForConstants) {
    EXPECT_EQ(new_node(OP_PLUS, double_type)->size, 8);
    EXPECT_EQ(new_node(OP_NAME, short_type)->size, 2);
    for (int32_t op : {OP_LABEL, OP_SCON, OP_ICON, OP_FCON, OP_CSE_DUPE})
        EXPECT_EQ(new_node(op, int_type)->size, -1) << op;
    NODE* choice = new_node(OP_SWITCH, void_type);
    choice->set_switch(17);
    EXPECT_EQ(choice->op_size(), 17);
}

TEST_F(Node, SizeFollowsAnotherType) {
    NODE* sum = binary(OP_PLUS, number(1), number(2));
    set_type(sum, double_type);
    EXPECT_TRUE(sum->type == double_type && sum->size == 8);
    set_type(sum->left, double_type);
    EXPECT_EQ(sum->left->size, -1);
    NODE* choice = new_node(OP_SWITCH, void_type); // its number stands there
    choice->set_switch(12);
    set_type(choice, int_type);
    EXPECT_EQ(choice->size, 12);
}

TEST_F(Node, LivesInTheZoneThatTheFactoryNames) {
    EXPECT_TRUE(in_zone(new_node(OP_NOP, void_type)));
    node_factory.local = false;
    NODE* node = new_node(OP_SCON, void_type);
    node->set_bytes("ab", 2);
    EXPECT_FALSE(in_zone(node) || in_zone(node->text));
    EXPECT_EQ(node->local, 0);
}

TEST_F(Node, ConversionsToCharacterPointersFollowTheTargetOption) {
    TYPE* plain_char = types.make_basic(TR_CHAR, true, 1, 1, char_type);
    TYPE* constant = types.make_qualified(plain_char, Q_CONST);
    EXPECT_EQ(new_node(OP_PCONV, types.make_pointer(constant))->op, OP_PCONV);
    node_factory.char_pointer_operator = true;
    EXPECT_EQ(new_node(OP_PCONV, types.make_pointer(constant))->op, OP_ISP2CHAR);
    EXPECT_EQ(new_node(OP_PCONV, types.make_pointer(types.make_basic(TR_CHAR, false, 1, 1)))->op,
              OP_ISP2CHAR);
    EXPECT_EQ(new_node(OP_PCONV, int_pointer)->op, OP_PCONV);
    EXPECT_EQ(new_node(OP_PCONV, char_type)->op, OP_PCONV);
    // Where an int does not hold a pointer, the operator does not exist.
    TYPE_PKG small;
    set_type_package(&small);
    small.make_basic(TR_INT, false, 2, 2);
    EXPECT_EQ(new_node(OP_PCONV, small.make_pointer(small.make_basic(TR_CHAR, false, 1, 1)))->op, OP_PCONV);
}

TEST_F(Node, ConversionsToEnumerationsAreNoted) {
    TYPE* colour = types.make_enumeration("colour", unsigned_type, nullptr);
    new_node(OP_NAME, colour);
    new_node(OP_SCONV, int_type);
    EXPECT_EQ(colour->converted_to, 0);
    new_node(OP_SCONV, types.make_qualified(colour, Q_CONST));
    EXPECT_EQ(colour->converted_to, 1);
}

TEST_F(Node, IntegersExtendAsTheirTypeSays) {
    NODE* node = new_node(OP_ICON, int_type);
    node->set_integer(-5);
    EXPECT_EQ(node->value(), (INT96{-1, -1, -5}));
    EXPECT_EQ(node->op_integer(), (TARGET_INTEGER{{-1, -1, -5}, false}));
    NODE* bits = new_node(OP_ICON, unsigned_type);
    bits->set_integer(-5);
    EXPECT_EQ(bits->value(), (INT96{0, 0, -5}));
    EXPECT_EQ(bits->op_integer(), (TARGET_INTEGER{{0, 0, -5}, true}));
    NODE* pointer = new_node(OP_ICON, int_pointer);
    pointer->set_integer(-5);
    EXPECT_EQ(pointer->value_hi, 0);
}

TEST_F(Node, DecimalsBecomeExactIntegers) {
    const struct {
        const char* digits;
        INT96 value;
    } cases[] = {
        {"-0", {0, 0, 0}},
        {"-2147483648", {-1, -1, INT32_MIN}},
        {"2147483648", {0, 0, INT32_MIN}},
        {"18446744073709551616", {1, 0, 0}},
        {"-39614081257132168796771975168", {INT32_MIN, 0, 0}},
        {"39614081257132168796771975167", {INT32_MAX, -1, -1}},
    };
    for (const auto& [digits, value] : cases) {
        NODE* node = new_node(OP_LCON, long_long_type);
        node->set_decimal(digits);
        EXPECT_EQ(node->op, OP_ICON);
        EXPECT_EQ(node->value(), value) << digits;
    }
}

TEST_F(Node, FloatsAreRoundedAndTheirTextIsKept) {
    NODE* node = real("0.1", float_type);
    EXPECT_EQ(node->floating()->value, static_cast<double>(0.1F));
    const char* text = node->op_float_text();
    EXPECT_EQ(std::string(text).substr(0, 26), "1.000000014901161193847656");
    EXPECT_EQ(std::string(text).substr(82), "e-01");
    EXPECT_EQ(node->op_float_text(), text);
    node->set_float("-2.5");
    EXPECT_EQ(std::stod(node->op_float_text()), -2.5);
    // The largest value is the longest text.
    EXPECT_EQ(std::stod(real("-1.7976931348623157e308", double_type)->op_float_text()),
              -1.7976931348623157e308);
}

TEST_F(Node, BytesAreCopiedAsTheyAre) {
    char bytes[] = {'a', 0, 'b'};
    NODE* node = new_node(OP_SCON, types.make_array(char_type, 3));
    node->set_bytes(bytes, 3);
    bytes[0] = 'x';
    EXPECT_EQ(node->op_length(), 3);
    EXPECT_EQ(std::string(node->op_text(), 3), std::string("a\0b", 3));
}

TEST_F(Node, NumbersOfLabelsSkipsAndCalls) {
    NODE* skip = new_node(OP_SKIP, void_type);
    skip->set_skip(-4);
    EXPECT_EQ(skip->value(), int96_signed(-4));
    NODE* target = new_node(OP_LABEL, void_type);
    target->set_label(0xFFFFFFFFU);
    EXPECT_EQ(target->value(), int96_unsigned(0xFFFFFFFFU));
    EXPECT_TRUE(function_node_state.makes_no_calls);
    NODE* called = new_node(OP_CALL, int_type);
    called->set_call(7);
    EXPECT_EQ(called->op_call_number(), 7);
    EXPECT_FALSE(function_node_state.makes_no_calls);
    function_node_state.call_state = 3;
    new_node(OP_UCALL, int_type);
    EXPECT_EQ(function_node_state.call_state, 0);
}

TEST_F(Node, FieldsTakeTheirMembersNormalType) {
    TYPE* record = types.make_csu("s", TK_STRUCT, 8, 4, true, nullptr);
    types.add_member(record, "a", types.make_qualified(int_type, Q_CONST), 0, 1, nullptr);
    types.add_member(record, "b", types.make_bitfield(int_type, unsigned_type, 0, 3), 4, 2, nullptr);
    NODE* plain = field(record, 1);
    EXPECT_EQ(plain->type, int_type);
    EXPECT_EQ(plain->op_field_owner(), record);
    EXPECT_STREQ(plain->op_field()->name, "a");
    EXPECT_FALSE(function_node_state.has_bitfields);
    field(record, 2);
    EXPECT_TRUE(function_node_state.has_bitfields);
    EXPECT_THROW(new_node(OP_FIELD, int_type)->set_field(2, type_member(record, 1), record), FatalExit);
}

TEST_F(Node, CopiesAreDeepAndTakeNoStackOnTheLeft) {
    NODE* tree = variable("a", int_type);
    for (int i = 0; i < 300000; ++i) tree = binary(OP_COMMA, tree, i % 1000 ? nullptr : number(i));
    NODE* copy = copy_tree(tree);
    int nodes = 0;
    for (; copy->left; copy = copy->left, tree = tree->left, ++nodes) {
        ASSERT_TRUE(copy != tree && copy->op == tree->op);
        if (tree->right)
            ASSERT_TRUE(copy->right != tree->right && copy->right->value() == tree->right->value());
        else
            ASSERT_EQ(copy->right, nullptr);
    }
    EXPECT_EQ(nodes, 300000);
    EXPECT_EQ(copy->symbol(), tree->symbol());
}

} // namespace
} // namespace pelorus
