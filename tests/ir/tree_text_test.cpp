// The infix text and the dump of trees.
#include "ir/tree_text.h"

#include <gmock/gmock.h>
#include <sys/time.h>

#include <csignal>

#include "ir/tree_dump.h"
#include "ir_fixture.h"
#include "support/test_support.h"

namespace pelorus {
namespace {

class TreeText : public IrTest {
protected:
    TreeText() {
        a = variable("a", int_type), b = variable("b", int_type), c = variable("c", int_type);
        p = variable("p", int_pointer);
    }
    NODE* op(int32_t number, NODE* left, NODE* right) { return binary(number, left, right); }
    NODE* op(int32_t number, NODE* left) { return unary(number, left->type, left); }
    NODE *a, *b, *c, *p;
};

TEST_F(TreeText, ParenthesesStandWhereCNeedsThem) {
    EXPECT_EQ(tree_text(op(OP_PLUS, a, op(OP_MULT, b, c))), "a + b * c");
    EXPECT_EQ(tree_text(op(OP_MULT, op(OP_PLUS, a, b), c)), "(a + b) * c");
    EXPECT_EQ(tree_text(op(OP_MINUS, op(OP_MINUS, a, b), c)), "a - b - c");
    EXPECT_EQ(tree_text(op(OP_MINUS, a, op(OP_MINUS, b, c))), "a - (b - c)");
    EXPECT_EQ(tree_text(op(OP_DIV, a, op(OP_MULT, b, c))), "a / (b * c)");
    EXPECT_EQ(tree_text(op(OP_MULT, op(OP_UMINUS, a), op(OP_NOTB, b))), "-a * ~b");
    EXPECT_EQ(tree_text(op(OP_UMINUS, op(OP_PLUS, a, b))), "-(a + b)");
    EXPECT_EQ(tree_text(op(OP_ASG, a, op(OP_ASG, b, c))), "a = b = c");
    EXPECT_EQ(tree_text(op(OP_ASG, a, op(OP_COMMAOP, b, c))), "a = (b, c)");
    EXPECT_EQ(tree_text(op(OP_LT, a, op(OP_EQ, b, c))), "a < (b == c)");
    EXPECT_EQ(tree_text(op(OP_EXCLAIM, op(OP_ANDAND, a, b))), "!(a && b)");
    EXPECT_EQ(tree_text(op(OP_UGT, a, op(OP_PLUS, b, c))), "a UGT b + c");
}

TEST_F(TreeText, AndWherePeopleDo) {
    EXPECT_EQ(tree_text(op(OP_ORB, op(OP_SLL, a, number(8)), op(OP_ANDB, b, c))), "(a << 8) | (b & c)");
    EXPECT_EQ(tree_text(op(OP_ORB, op(OP_ORB, a, b), c)), "a | b | c");
    EXPECT_EQ(tree_text(op(OP_SRL, op(OP_PLUS, a, b), c)), "(a + b) >> c");
    EXPECT_EQ(tree_text(op(OP_OROR, op(OP_ANDAND, a, b), op(OP_EQ, b, c))), "(a && b) || b == c");
}

TEST_F(TreeText, SignsDoNotRunTogether) {
    EXPECT_EQ(tree_text(op(OP_MINUS, a, op(OP_UMINUS, b))), "a - -b");
    EXPECT_EQ(tree_text(op(OP_UMINUS, op(OP_UMINUS, a))), "-(-a)");
    EXPECT_EQ(tree_text(op(OP_UMINUS, number(-1))), "-(-1)");
    EXPECT_EQ(tree_text(op(OP_EXCLAIM, op(OP_EXCLAIM, a))), "!!a");
    EXPECT_EQ(tree_text(unary(OP_UMULT, int_type, unary(OP_UMULT, int_pointer, p))), "**p");
    EXPECT_EQ(tree_text(op(OP_UMINUS, real("-0.0", double_type))), "-(-0.0)");
}

TEST_F(TreeText, CompoundAssignmentsAndSteps) {
    EXPECT_EQ(tree_text(op(OP_PLUSASG, a, b)), "a += b");
    EXPECT_EQ(tree_text(op(OP_SLLASG, a, op(OP_PLUS, b, c))), "a <<= b + c");
    EXPECT_EQ(tree_text(op(OP_PLUSPLUS, a, number(1))), "a++");
    EXPECT_EQ(tree_text(unary(OP_UMULT, int_type, op(OP_MINMIN, p, number(4)))), "*p--");
    EXPECT_EQ(tree_text(op(OP_PLUSPLUS, p, number(12))), "p++/*by 12*/");
    EXPECT_EQ(tree_text(op(OP_PLUSPLUS, unary(OP_UMULT, int_type, p), number(1))), "(*p)++");
    NODE* x = variable("x", float_type);
    EXPECT_EQ(tree_text(op(OP_PLUSPLUS, x, real("1", float_type))), "x++");
}

TEST_F(TreeText, PointersStructuresAndConversions) {
    TYPE* record = types.make_csu("pair", TK_STRUCT, 8, 4, true, nullptr);
    types.add_member(record, "first", int_type, 0, 1, nullptr);
    types.add_member(record, "", int_type, 4, 2, nullptr);
    NODE* s = variable("s", record);
    NODE* q = variable("q", types.make_pointer(record));
    EXPECT_EQ(tree_text(binary(OP_STDOT, int_type, s, field(record, 1))), "s.first");
    EXPECT_EQ(tree_text(binary(OP_STREF, int_type, q, field(record, 2))), "q-><member 2>");
    EXPECT_EQ(tree_text(unary(OP_UAND, int_pointer, binary(OP_STREF, int_type, q, field(record, 1)))),
              "&q->first");
    EXPECT_EQ(tree_text(binary(OP_STDOT, int_type, unary(OP_UMULT, record, q), field(record, 1))),
              "(*q).first");
    EXPECT_EQ(
        tree_text(binary(OP_STREF, int_type, unary(OP_PCONV, q->type, op(OP_PLUS, p, a)), field(record, 1))),
        "((struct pair *)(p + a))->first");
    EXPECT_EQ(tree_text(op(OP_PLUS, unary(OP_SCONV, int_type, variable("x", double_type)), a)), "(int)x + a");
    EXPECT_EQ(tree_text(op(OP_STASG, s, unary(OP_UMULT, record, q))), "s = *q");
}

TEST_F(TreeText, Constants) {
    EXPECT_EQ(tree_text(number(-7)), "-7");
    EXPECT_EQ(tree_text(new_icon(unsigned_type, int96_unsigned(4294967295U))), "4294967295u");
    EXPECT_EQ(tree_text(new_icon(long_long_type, int96_from_int64(INT64_MIN))), "-9223372036854775808ll");
    EXPECT_EQ(tree_text(new_icon(unsigned_long_long_type, int96_from_uint64(UINT64_MAX))),
              "18446744073709551615ull");
    EXPECT_EQ(tree_text(new_icon(char_type, int96_unsigned(200))), "200");
    EXPECT_EQ(tree_text(new_icon(int_pointer, int96_unsigned(0x40000000))), "0x40000000");
    EXPECT_EQ(tree_text(real("1", double_type)), "1.0");
    EXPECT_EQ(tree_text(real("0.1", float_type)), "0.1f");
    EXPECT_EQ(tree_text(real("-inf", double_type)), "-inf");
    EXPECT_EQ(tree_text(real("1e300", double_type)), "1e+300");
}

TEST_F(TreeText, StringsAreQuoted) {
    const auto text = [&](const std::string& bytes) {
        NODE* node = new_node(OP_SCON, types.make_array(char_type, bytes.size()));
        node->set_bytes(bytes.data(), static_cast<uint32_t>(bytes.size()));
        return tree_text(unary(OP_UAND, types.make_pointer(char_type), node));
    };
    EXPECT_EQ(text(std::string("a\tb\"\\\n\0", 7)), "\"a\\tb\\\"\\\\\\n\"");
    EXPECT_EQ(text(std::string("\0\377", 2)), "\"\\000\\377\"");
    EXPECT_EQ(text(""), "\"\"");
    EXPECT_EQ(text(std::string(81, 'x')), '"' + std::string(80, 'x') + "\"...");
}

TEST_F(TreeText, Calls) {
    NODE* arguments = list(OP_COMMA, list(OP_COMMA, a, op(OP_COMMAOP, b, c)), op(OP_ASG, a, b));
    EXPECT_EQ(tree_text(call("_f", int_type, arguments)), "_f(a, (b, c), a = b)");
    EXPECT_EQ(tree_text(call("_f", int_type, op(OP_COMMAOP, b, c))), "_f((b, c))");
    EXPECT_EQ(tree_text(call("_g", int_type, nullptr)), "_g()");
    NODE* pointer = variable("h", types.make_pointer(types.make_function(int_type, true, false, 0)));
    EXPECT_EQ(tree_text(unary(OP_UCALL, int_type, pointer)), "(*h)()");
    NODE* structure = unary(OP_STARG, int_type, a);
    EXPECT_EQ(tree_text(call("_f", int_type, structure)), "_f(a)");
    NODE* intrinsic = unary(OP_ICALL, int_type, list(OP_COMMA, a, b));
    intrinsic->set_callee_text("_sadd");
    EXPECT_EQ(tree_text(intrinsic), "_sadd(a, b)");
    NODE* alone = new_node(OP_UICALL, int_type);
    alone->set_callee_text("_enable");
    EXPECT_EQ(tree_text(alone), "_enable()");
}

TEST_F(TreeText, Conditions) {
    NODE* choice = op(OP_QUEST, op(OP_OROR, a, b),
                      list(OP_COLON, op(OP_ASG, a, b), op(OP_QUEST, c, list(OP_COLON, a, b))));
    EXPECT_EQ(tree_text(choice), "a || b ? a = b : c ? a : b");
    EXPECT_EQ(tree_text(op(OP_PLUS, op(OP_QUEST, a, list(OP_COLON, b, c)), a)), "(a ? b : c) + a");
}

TEST_F(TreeText, Statements) {
    EXPECT_EQ(tree_text(list(OP_IF, op(OP_LT, a, b), list(OP_COMMA, label(1), label(12)))),
              "if (a < b) goto g1; else goto g12");
    EXPECT_EQ(tree_text(unary(OP_BRANCH, void_type, label(3))), "goto g3");
    NODE* definition = new_node(OP_LABELDEF, void_type);
    definition->set_label(3);
    EXPECT_EQ(tree_text(definition), "g3:");
    NODE* first = list(OP_CASE, number(-1), label(3));
    NODE* other = unary(OP_DEFAULT, void_type, label(4));
    EXPECT_EQ(tree_text(list(OP_SWITCH, a, list(OP_COMMA, first, other))),
              "switch (a) { case -1: goto g3; default: goto g4; }");
    EXPECT_EQ(tree_text(list(OP_SWITCH, a, first)), "switch (a) { case -1: goto g3; }");
    EXPECT_EQ(tree_text(list(OP_RETURN, a, op(OP_PLUS, b, c))), "return a = b + c");
    EXPECT_EQ(tree_text(unary(OP_URETURN, void_type, a)), "return a");
    EXPECT_EQ(tree_text(unary(OP_URETURN, void_type, new_name(nullptr, void_type))), "return");
    EXPECT_EQ(tree_text(list(OP_PCOMMA, op(OP_ASG, a, b), op(OP_ASG, b, a))), "a = b, b = a");
    EXPECT_EQ(tree_text(unary(OP_ASSERT, void_type, op(OP_GT, a, b))), "assert(a > b)");
    EXPECT_EQ(tree_text(unary(OP_SQRT, double_type, a)), "sqrt(a)");
}

TEST_F(TreeText, PragmasAndAssembly) {
    const char* strings[] = {"1", "8", "2"};
    PRAGMA pragma{nullptr, strings, 3, PK_MUST_ITERATE};
    NODE* node = new_node(OP_PPRAGMA, void_type);
    EXPECT_EQ(tree_text(node), "#pragma");
    node->ref = &pragma;
    EXPECT_EQ(tree_text(node), "#pragma MUST_ITERATE(1, 8, 2)");
    pragma = {nullptr, strings, 1, PK_UNROLL};
    EXPECT_EQ(tree_text(node), "#pragma UNROLL(1)");
    pragma.kind = 77;
    EXPECT_EQ(tree_text(node), "#pragma[77] (1)");
    NODE* assembly = new_node(OP_ASM, void_type);
    assembly->set_value(int96_signed(36));
    assembly->text = " mov r0,\t\"x\"\n";
    EXPECT_EQ(tree_text(assembly), "asm(\" mov r0,\\t\\\"x\\\"\\n\")");
}

TEST_F(TreeText, VersionsAndTheObjectPointer) {
    a->symbol()->ssa_version = 3;
    EXPECT_EQ(tree_text(a), "a$03");
    a->symbol()->ssa_copy = 1;
    EXPECT_EQ(tree_text(a), "a$03^01");
    NODE* definition = unary(OP_SSA_DEF, int_type, op(OP_ASG, b, c));
    definition->set_value(int96_signed(12));
    EXPECT_EQ(tree_text(definition), "DEF$12: b = c");
    NODE* use = unary(OP_SSA_USE, int_type, b);
    use->set_value({0, 4, 7});
    EXPECT_EQ(tree_text(use), "BB4: USE$07 b");
    NODE* parameter = new_name(symbol("this", int_pointer, 1), int_pointer);
    NODE* home = variable("this", int_pointer);
    NODE* foreign = variable("this", int_pointer);
    EXPECT_EQ(tree_text(op(OP_ASG, home, parameter)), "this = this");
    EXPECT_EQ(tree_text(foreign), "th" + std::to_string(foreign->symbol()->serial) + "s");
}

TEST_F(TreeText, TreesThatAreNone) {
    EXPECT_STREQ(tree2infix(nullptr), "((nil))");
    EXPECT_EQ(tree_text(new_node(OP_PLUS, nullptr)), "((nil)) + ((nil))");
    EXPECT_EQ(tree_text(new_node(OP_ASG, nullptr)), "((nil)) = ((nil))");
    EXPECT_EQ(tree_text(binary(100, int_type, a, b)), "op100(a, b)");
    EXPECT_EQ(tree_text(unary(28, int_type, a)), "<op 28>(a)");
    EXPECT_EQ(tree_text(new_node(1000, nullptr)), "<op 1000>");
    EXPECT_EQ(tree_text(list(OP_IF, a, nullptr)), "if (a) ((nil))");
    // Whatever the number, an empty node and a full one print something.
    for (int32_t number = -1; number <= 256; ++number) {
        EXPECT_FALSE(tree_text(new_node(number, nullptr)).empty()) << number;
        NODE* full = new_node(number, int_type);
        full->left = new_node(OP_NAME, nullptr), full->right = new_node(OP_LABEL, nullptr);
        EXPECT_FALSE(tree_text(full).empty()) << number;
    }
}

TEST_F(TreeText, DepthTakesNoStack) {
    NODE* left = a;
    NODE* right = a;
    NODE* signs = a;
    for (int i = 0; i < 300000; ++i) {
        left = list(OP_COMMA, left, b);
        right = list(OP_ASG, b, right);
        signs = unary(OP_NOTB, int_type, signs);
    }
    EXPECT_EQ(tree_text(left).size(), 1 + 300000U * 3);
    EXPECT_EQ(tree_text(right).size(), 1 + 300000U * 4);
    EXPECT_EQ(tree_text(signs).size(), 1 + 300000U);
}

volatile sig_atomic_t refused;

void print_in_handler(int) {
    if (!strcmp(tree2infix(nullptr), "+*+*+ tree2infix called recursively +*+*+")) refused = 1;
}

// A report of a fatal signal may come while a tree is being printed.
TEST_F(TreeText, RefusesANestedCall) {
    NODE* tree = a;
    for (int i = 0; i < 50000; ++i) tree = list(OP_COMMA, tree, b);
    refused = 0;
    const auto before = signal(SIGALRM, print_in_handler);
    const itimerval often{{0, 500}, {0, 500}};
    const itimerval never{};
    setitimer(ITIMER_REAL, &often, nullptr);
    for (int i = 0; i < 2000 && !refused; ++i) tree2infix(tree);
    setitimer(ITIMER_REAL, &never, nullptr);
    signal(SIGALRM, before);
    EXPECT_TRUE(refused);
    EXPECT_STREQ(tree2infix(a), "a");
}

TEST_F(TreeText, Dump) {
    NODE* tree = op(OP_ASG, a, op(OP_PLUS, b, number(5)));
    tree->depth_number = 9;
    {
        TraceCapture capture;
        dump_tree(tree);
        EXPECT_EQ(capture.text(), "0: =        depnum:9\t nsize: 4  type:int             \n"
                                  "1: NAME     depnum:0\t nsize: 4  type:int               a\n"
                                  "1: +        depnum:0\t nsize: 4  type:int             \n"
                                  "2: NAME     depnum:0\t nsize: 4  type:int               b\n"
                                  "2: ICON     depnum:0\t nsize:-1  type:int               5\n");
    }
    TraceCapture capture;
    dump_tree(nullptr);
    EXPECT_EQ(capture.text(), ">>>>>>>>>> ILLEGAL TREE: (nil) <<<<<<<<<<<<\n");
}

} // namespace
} // namespace pelorus
