// Dead assignments where no file can show them: operators and records that only passes make.
#include "cfg/candidate_fact.h"
#include "cfg/flow_fixture.h"
#include "cfg/statement_edit.h"
#include "ir/tree_text.h"
#include "scalar/assignments.h"

namespace pelorus {
namespace {

class DeadAssignments : public FlowFixture {
protected:
    NODE* assignment(SYMBOL* to, NODE* value) { return new_binary(OP_ASG, types.int_type(), use(to), value); }
    NODE* number(int value) { return new_icon(types.int_type(), int96_signed(value)); }
    NODE* call() {
        SYMBOL_FIELDS fields{};
        fields.name = "_g";
        fields.type = types.make_function(types.int_type(), true, false, 0);
        fields.storage_class = SC_EXTERN;
        SYMBOL* callee = new_file_symbol(fields, 0);
        return new_unary(OP_UCALL, types.int_type(),
                         new_unary(OP_UAND, types.make_pointer(callee->type), use(callee)));
    }
    NODE* both(NODE* left, NODE* right) { return new_binary(OP_PCOMMA, types.void_type(), left, right); }
    // Puts the tree in front of the block's ending.
    static void append(BB* block, NODE* tree) { insert_before_ending(block, tree); }
    // The statements of the block but for its ending.
    static std::string statements(const BB* block) {
        std::string text;
        for (const STMT* cell = block->stmts; cell != block->last_stmt; cell = cell->next)
            text += tree_text(cell->tree) + "; ";
        return text;
    }
};

// What is left of several assignments at once is what somebody reads.
TEST_F(DeadAssignments, SidesOfAListVanishAlone) {
    SYMBOL* x = variable("x");
    SYMBOL* y = variable("y");
    SYMBOL* z = variable("z");
    SYMBOL* global = variable("_v", 0, SC_EXTERN);
    build_cfg();
    BB* block = flow_graph.bb_list;
    append(block, both(both(assignment(x, number(1)), assignment(y, call())), assignment(z, number(3))));
    append(block, both(assignment(x, number(4)), assignment(y, number(5))));
    append(block, assignment(global, use(y)));
    append(block, assignment(global, use(y)));
    elim_dead_assigns(false, true);
    EXPECT_EQ(statements(block), "_g(); y = 5; _v = y; _v = y; ");
}

// A loop whose control variable nobody reads is not set up, but what its start computes is computed.
TEST_F(DeadAssignments, LoopsWithoutReadersOfTheirVariableGo) {
    SYMBOL* i = variable("i");
    SYMBOL* j = variable("j");
    SYMBOL* global = variable("_v", 0, SC_EXTERN);
    build_cfg();
    BB* block = flow_graph.bb_list;
    append(block, new_binary(OP_INITLOOP, types.int_type(), use(i), call()));
    append(block, new_binary(OP_LOOP, types.int_type(), use(i), number(7)));
    append(block, new_binary(OP_LOOP, types.int_type(), use(j), number(8)));
    append(block, assignment(global, use(j)));
    append(block, assignment(global, use(j)));
    elim_dead_assigns(false, true);
    ASSERT_EQ(opcodes(block).size(), 5U) << statements(block);
    EXPECT_EQ(block->stmts->tree->op, OP_UCALL);
    EXPECT_EQ(block->stmts->next->tree->left->symbol(), j);
}

// The count of a loop is made of what the block in front of the loop assigns, though no statement reads it.
TEST_F(DeadAssignments, WhatALoopsCountReadsStays) {
    SYMBOL* n = variable("n");
    SYMBOL* m = variable("m");
    SYMBOL* global = variable("_v", 0, SC_EXTERN);
    assign(n, 10);
    assign(m, 11);
    label(1);
    assign(global, 1);
    if_goes(global, 1, 2);
    label(2);
    build_cfg();
    BB* head = block_number(2);
    head->loop_trips = use(n);
    elim_dead_assigns(false, true);
    EXPECT_EQ(statements(flow_graph.bb_list), "n = 10; ");
}

} // namespace
} // namespace pelorus
