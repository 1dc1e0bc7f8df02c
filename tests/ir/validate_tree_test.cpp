// The checks of statement trees and what they report.
#include "ir/validate_tree.h"

#include <gmock/gmock.h>

#include "ir_fixture.h"
#include "support/test_support.h"

namespace pelorus {
namespace {

using testing::HasSubstr;

class ValidateTree : public IrTest {
protected:
    ValidateTree() {
        a = variable("a", int_type), b = variable("b", int_type), x = variable("x", double_type);
        p = variable("p", int_pointer);
        record = types.make_csu("s", TK_STRUCT, 4, 4, true, nullptr);
        types.add_member(record, "m", int_type, 0, 1, nullptr);
        s = variable("s", record);
    }
    // The messages of the failures, in order.
    std::string messages(const NODE* stmt, bool first_of_entry = false) {
        TraceCapture capture;
        const int failures = validate_stmt(stmt, 2, first_of_entry);
        const std::string text = capture.text();
        std::string found;
        int count = 0;
        for (size_t at = 0; (at = text.find(" +++++\t", at)) != std::string::npos; ++count) {
            at += 7;
            found += text.substr(at, text.find('\n', at) - at) + ';';
        }
        EXPECT_EQ(failures, count);
        return found;
    }
    std::string value_messages(NODE* value) {
        return messages(unary(OP_URETURN, void_type, assigned(value)));
    }
    // A statement around a value, the return's own complaint apart.
    NODE* assigned(NODE* value) { return list(OP_COMMAOP, binary(OP_ASG, a, b), value); }
    std::string in_statement(NODE* value) { return messages(assigned(value)); }
    NODE* copy(const char* home, const char* parameter) {
        return binary(OP_ASG, variable(home, int_type),
                      new_name(symbol(parameter, int_type, 1, SC_ARGUMENT), int_type));
    }
    NODE *a, *b, *x, *p, *s;
    TYPE* record;
};

TEST_F(ValidateTree, TheReport) {
    NODE* bad = new_node(OP_PLUS, int_type);
    bad->left = a;
    NODE* stmt = binary(OP_ASG, a, bad);
    TraceCapture capture;
    EXPECT_EQ(validate_stmt(stmt, 7, false), 1);
    EXPECT_EQ(capture.text(), "\n +++++ INVALID NODE FOUND BY validate_stmts()\n in BB7\n"
                              " +++++\tNode has too few subtrees\n"
                              "\tINVALID NODE: a + ((nil))\n"
                              "\tWITHIN STMT:  a = a + ((nil))\n");
}

TEST_F(ValidateTree, Arity) {
    const TREE_PLACE place{a, 0};
    const auto verdict = [&](int32_t op, NODE* left, NODE* right) {
        TraceCapture capture;
        const bool fine = check_arity(new_binary(op, int_type, left, right), place);
        const std::string text = capture.text();
        EXPECT_EQ(fine, text.empty());
        const size_t at = text.find(" +++++\t");
        return fine ? "" : text.substr(at + 7, text.find('\n', at + 7) - at - 7);
    };
    EXPECT_EQ(verdict(OP_PLUS, a, b), "");
    EXPECT_EQ(verdict(OP_PLUS, a, nullptr), "Node has too few subtrees");
    EXPECT_EQ(verdict(OP_PLUS, nullptr, b), "node->left == NULL, node->right != NULL");
    EXPECT_EQ(verdict(OP_UMINUS, a, b), "Node has too many subtrees");
    EXPECT_EQ(verdict(OP_NAME, a, nullptr), "Node has too many subtrees");
    EXPECT_EQ(verdict(OP_UMULT, a, b), "");
    EXPECT_EQ(verdict(OP_UMULT, nullptr, nullptr), "Node has too few subtrees");
    EXPECT_EQ(verdict(OP_SSA_MU, nullptr, nullptr), "");
    EXPECT_EQ(verdict(OP_SSA_MU, a, b), "Node has too many subtrees");
    EXPECT_EQ(verdict(100, a, b), "");
    for (int32_t op : {-1, 28, 150, 171, static_cast<int>(OP_ERASED)})
        EXPECT_EQ(verdict(op, a, b), "Invalid node operator");
    TraceCapture capture;
    EXPECT_FALSE(check_arity(nullptr, place));
    EXPECT_EQ(capture.text(), "");
}

TEST_F(ValidateTree, ExpectedOperators) {
    TraceCapture capture;
    const TREE_PLACE place{a, 3};
    EXPECT_TRUE(expect_operator(a, OP_NAME, place) && expect_operator(a, 0, place));
    EXPECT_EQ(capture.text(), "");
    EXPECT_FALSE(expect_operator(a, OP_LABEL, place));
    EXPECT_THAT(capture.text(), HasSubstr(" +++++\tUnexpected operator in tree node\n"));
    EXPECT_THAT(capture.text(), HasSubstr("\tExpected operator: LABELREF\n\tin BB3\n\tin statement: a\n"));
    EXPECT_FALSE(expect_operator(new_node(29, nullptr), OP_LABEL, place));
    EXPECT_THAT(capture.text(), HasSubstr(" +++++\tInvalid operator in tree node\n"));
    EXPECT_FALSE(expect_operator(nullptr, 0, {a, 0}));
    EXPECT_THAT(capture.text(), HasSubstr(" +++++\tUnexpected NULL tree node\n\tINVALID NODE: ((nil))\n"));
}

TEST_F(ValidateTree, OperandTypes) {
    EXPECT_EQ(in_statement(binary(OP_PLUS, p, a)), "");
    EXPECT_EQ(in_statement(binary(OP_MULT, p, a)), "Tree must have arithmetic type;");
    EXPECT_EQ(in_statement(binary(OP_MOD, x, x)), "Tree must have integer type;");
    EXPECT_EQ(in_statement(binary(OP_PLUS, s, s)), "Tree must have scalar type;");
    EXPECT_EQ(in_statement(unary(OP_UMULT, int_type, a)), "Tree must have pointer type;");
    EXPECT_EQ(in_statement(binary(OP_STDOT, int_type, a, field(record, 1))), "Tree must have CSU type;");
    EXPECT_EQ(in_statement(binary(OP_STDOT, int_type, s, a)), "Unexpected operator in tree node;");
    EXPECT_EQ(in_statement(unary(OP_SCONV, void_type, s)), "");
    EXPECT_EQ(in_statement(unary(OP_SCONV, int_type, s)), "Tree must have scalar type;");
    EXPECT_EQ(in_statement(binary(OP_EQ, nullptr, a, b)), "Tree must have integer type;"); // no type at all
    EXPECT_EQ(in_statement(binary(OP_QUEST, a, b)), "Unexpected operator in tree node;");
    EXPECT_EQ(messages(binary(OP_STASG, s, s)), "");
    EXPECT_EQ(messages(binary(OP_STASG, a, s)), "Tree must have CSU type;");
    EXPECT_EQ(messages(binary(OP_ASG, s, s)), "Tree must have scalar type;");
    EXPECT_EQ(messages(call("_f", void_type, a)), "");
    EXPECT_EQ(messages(unary(OP_UCALL, void_type, a)), "Tree must have pointer type;");
}

TEST_F(ValidateTree, EveryNodeIsLookedAt) {
    NODE* deep = a;
    for (int i = 0; i < 100000; ++i) deep = binary(OP_PLUS, deep, b);
    NODE* bad = unary(OP_UMULT, int_type, b);
    EXPECT_EQ(in_statement(binary(OP_PLUS, deep, binary(OP_PLUS, bad, unary(OP_UMULT, int_type, a)))),
              "Tree must have pointer type;Tree must have pointer type;");
}

TEST_F(ValidateTree, BranchesWantLabels) {
    EXPECT_EQ(messages(list(OP_IF, a, list(OP_COMMA, label(1), label(2)))), "");
    EXPECT_EQ(messages(list(OP_IF, a, label(1))), "Unexpected operator in tree node;");
    EXPECT_EQ(messages(list(OP_IF, s, list(OP_COMMA, label(1), label(2)))), "Tree must have scalar type;");
    EXPECT_EQ(messages(unary(OP_BRANCH, void_type, a)), "Unexpected operator in tree node;");
    EXPECT_EQ(messages(unary(OP_URETURN, void_type, number(1))), "Unexpected operator in tree node;");
    EXPECT_EQ(messages(unary(OP_URETURN, void_type, unary(OP_SSA_USE, int_type, a))), "");
}

TEST_F(ValidateTree, CaseLists) {
    const auto choice = [&](NODE* cases) { return messages(list(OP_SWITCH, a, cases)); };
    const auto one = [&](int value) { return list(OP_CASE, number(value), label(value)); };
    const auto other = [&] { return unary(OP_DEFAULT, void_type, label(9)); };
    EXPECT_EQ(choice(one(1)), "");
    EXPECT_EQ(choice(list(OP_COMMA, list(OP_COMMA, other(), one(1)), one(2))), "");
    EXPECT_EQ(choice(list(OP_COMMA, one(1), list(OP_COMMA, one(2), one(3)))), "Right-towered COMMA tree;");
    EXPECT_EQ(choice(list(OP_COMMA, list(OP_COMMA, other(), one(1)), other())),
              "Multiple DEFAULTs for SWITCH;");
    EXPECT_EQ(choice(list(OP_CASE, a, label(1))), "Unexpected operator in tree node;");
    EXPECT_EQ(choice(list(OP_CASE, number(1), a)), "Unexpected operator in tree node;");
    EXPECT_EQ(choice(unary(OP_DEFAULT, void_type, a)), "Unexpected operator in tree node;");
    EXPECT_EQ(choice(list(OP_COMMA, one(1), b)), "Unexpected operator in tree node;");
    TraceCapture capture;
    EXPECT_FALSE(check_switch_list(nullptr, {a, 0}));
    EXPECT_THAT(capture.text(), HasSubstr("Missing SWITCH case"));
}

TEST_F(ValidateTree, ParallelAssignments) {
    EXPECT_EQ(
        messages(list(OP_PCOMMA, list(OP_PCOMMA, copy("i", "i"), copy("j", "j")), copy("k", "k")), true), "");
    NODE* converted = copy("i", "i");
    converted->right = unary(OP_SCONV, int_type, converted->right);
    NODE* wrapped = unary(OP_SSA_DEF, int_type, copy("j", "j"));
    EXPECT_EQ(messages(list(OP_PCOMMA, converted, wrapped), true), "");
    EXPECT_EQ(messages(list(OP_PCOMMA, copy("i", "i"), copy("j", "k")), true), "Improper PCOMMA tree;");
    EXPECT_EQ(messages(list(OP_PCOMMA, copy("i", "i"), copy("j", "k")), false), "");
    EXPECT_EQ(messages(list(OP_PCOMMA, copy("i", "i"), binary(OP_ASG, a, number(1))), true),
              "Improper PCOMMA tree;");
    EXPECT_EQ(messages(list(OP_PCOMMA, copy("i", "i"), a), true), "Improper PCOMMA tree;");
    EXPECT_EQ(
        messages(list(OP_PCOMMA, copy("i", "i"), list(OP_PCOMMA, copy("j", "j"), copy("k", "k"))), true),
        "Right-towered PCOMMA tree;");
    NODE* global = new_name(symbol("_g", int_type, 0, SC_EXTERN), int_type);
    EXPECT_EQ(messages(list(OP_PCOMMA, copy("i", "i"), binary(OP_ASG, global, number(1))), true), "");
}

TEST_F(ValidateTree, AStatementDoesSomething) {
    EXPECT_EQ(messages(a), "Top-level operator has no side effects;");
    EXPECT_EQ(messages(binary(OP_PLUS, a, b)), "Top-level operator has no side effects;");
    EXPECT_EQ(messages(unary(OP_SCONV, void_type, call("_f", int_type, nullptr))), "");
    NODE* choice = binary(OP_QUEST, a, list(OP_COLON, call("_f", int_type, nullptr), b));
    EXPECT_EQ(messages(choice), "");
    EXPECT_EQ(messages(variable("v", types.make_qualified(int_type, Q_VOLATILE))), "");
    EXPECT_EQ(messages(binary(100, int_type, a, b)), "");
    EXPECT_EQ(messages(new_node(OP_NOP, void_type)), "Top-level operator has no side effects;");
    EXPECT_EQ(messages(nullptr), "Unexpected NULL tree node;");
}

TEST_F(ValidateTree, SaysNothingWithoutTheTrace) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(validate_stmt(a, 1, true), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

} // namespace
} // namespace pelorus
