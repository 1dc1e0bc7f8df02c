// The opcode tables against an independent list, their start-up check, and the relations between comparisons.
#include "ir/opcodes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "support/test_support.h"

namespace pelorus {
namespace {

using testing::HasSubstr;

const std::set<int> leaves = {0,   1,   2,   3,   4,   5,   25,  26,  112, 117,
                              130, 133, 147, 153, 155, 159, 163, 164, 165};
const std::set<int> no_opcodes = {28,  29,  30,  31,  32,  33,  34,  35,  37,  38,  39,  41,  42,
                                  43,  44,  45,  48,  49,  50,  51,  52,  53,  54,  55,  71,  73,
                                  90,  91,  92,  93,  94,  95,  101, 110, 111, 113, 120, 126, 134,
                                  135, 136, 137, 138, 139, 140, 141, 142, 150, 170};
const std::set<int> unary = {10,  13,  16,  27,  46,  72,  76,  77,  97,  99,  102, 104, 105, 108,
                             114, 115, 116, 118, 119, 121, 122, 123, 124, 125, 127, 128, 129, 131,
                             132, 143, 144, 145, 146, 157, 158, 162, 166, 167, 168, 169};

TEST(Opcodes, AritiesOfAllNumbers) {
    for (int op = 0; op <= LAST_OPCODE; ++op)
        EXPECT_EQ(opcode_arity(op), no_opcodes.count(op) ? -1
                                    : leaves.count(op)   ? 0
                                    : unary.count(op)    ? 1
                                                         : 2)
            << op;
    EXPECT_EQ(opcode_arity(-1), -1);
    EXPECT_EQ(opcode_arity(OP_ERASED), -1);
    for (int op : {100, 102, 116, 117}) EXPECT_STREQ(opcode_name(op), "?");
}

TEST(Opcodes, Spellings) {
    EXPECT_STREQ(opcode_spelling(OP_ULE), "ULE");
    EXPECT_STREQ(opcode_spelling(0), " ?NODE? ");
    EXPECT_STREQ(opcode_spelling(-3), " ?NODE? ");
    EXPECT_STREQ(opcode_spelling(256), " ?NODE? ");
    EXPECT_STREQ(opcode_spelling(28), " ?ILLOP?");
    EXPECT_STREQ(opcode_spelling(100), " ?ILLOP?");
    EXPECT_STREQ(opcode_spelling(255), " ?ILLOP?");
    EXPECT_STREQ(opcode_spelling(OP_SLLASG), "<<=     ");
    EXPECT_STREQ(opcode_spelling(OP_SQR), "SQUARE  ");
    EXPECT_STREQ(opcode_spelling(OP_ULT), "ULT     ");
    for (int op = 1; op <= LAST_OPCODE; ++op) {
        const bool padded = opcode_facts[static_cast<size_t>(op)].name && op != OP_ULE;
        EXPECT_TRUE(!padded || strlen(opcode_spelling(op)) == 8) << op;
    }
}

bool compare(int op, int32_t a, int32_t b) {
    const auto ua = static_cast<uint32_t>(a);
    const auto ub = static_cast<uint32_t>(b);
    switch (op) {
    case OP_EQ: return a == b;
    case OP_NEQ: return a != b;
    case OP_LE: return a <= b;
    case OP_LT: return a < b;
    case OP_GE: return a >= b;
    case OP_GT: return a > b;
    case OP_ULE: return ua <= ub;
    case OP_ULT: return ua < ub;
    case OP_UGE: return ua >= ub;
    default: return ua > ub;
    }
}

TEST(Opcodes, ComplementAndSwappedRelationsHold) {
    for (int op = OP_EQ; op <= OP_UGT; ++op)
        for (int32_t a : {-2, -1, 0, 1, 2})
            for (int32_t b : {-2, -1, 0, 1, 2}) {
                const OPCODE_FACTS& row = opcode_facts[static_cast<size_t>(op)];
                EXPECT_EQ(compare(row.complement, a, b), !compare(op, a, b)) << row.name;
                EXPECT_EQ(compare(row.swapped, b, a), compare(op, a, b)) << row.name;
            }
}

// The tables are filled once a process, so each test puts back what it breaks.
class OpcodeCheck : public testing::Test {
protected:
    void SetUp() override {
        register_file_opcodes();
        before = if_node_info;
    }
    void TearDown() override { if_node_info = before; }
    std::array<IF_NODE_INFO, OPCODE_COUNT> before;
};

TEST_F(OpcodeCheck, AgreesAndAddsTheOptimizersOwn) {
    register_opcode(OP_BGNBLOCK, "VREG", 0);
    TraceCapture capture;
    validate_opcode_tables();
    EXPECT_EQ(capture.text(), " *** VALIDATING OPCODE TABLES\n *** OPCODE TABLES ARE OK\n\n");
    EXPECT_STREQ(if_node_info[OP_BGNBLOCK].name, "BGNBLOCK");
    EXPECT_EQ(if_node_info[OP_IF].arity, 2);
    EXPECT_EQ(if_node_info[28].arity, 0); // reads as a leaf
}

TEST_F(OpcodeCheck, AWrongKeyEntryEndsTheRunAtOnce) {
    register_opcode(OP_CALL, "KALL", 2);
    TraceCapture capture;
    testing::internal::CaptureStderr();
    EXPECT_THROW(validate_opcode_tables(), FatalExit);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("INTERNAL ERROR: if_node_info[] mismatch\n"));
    EXPECT_THAT(capture.text(), HasSubstr("INTERNAL ERROR: if_node_info[] mismatch\n"));
}

TEST_F(OpcodeCheck, NamesEveryMismatchBeforeItEndsTheRun) {
    register_opcode(OP_MULT, "MULT", 1);
    register_opcode(OP_DIV, "DIVIDE", 2);
    TraceCapture capture;
    EXPECT_THROW(validate_opcode_tables(), FatalExit);
    EXPECT_EQ(capture.text(), " *** VALIDATING OPCODE TABLES\n"
                              "OP#11: 11 || 0 || (1 != 2) <<MULT>> <<MULT>>\tNo match for MULT\n"
                              "OP#60: 60 || 1 || (2 != 2) <<DIVIDE>> <<DIV>>\tNo match for DIV\n");
}

} // namespace
} // namespace pelorus
