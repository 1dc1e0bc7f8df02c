// What edits lose, what the runner builds, and that a stale fact is seen.
#include "cfg/facts.h"

#include "cfg/candidate_fact.h"
#include "cfg/flow_fixture.h"
#include "cfg/statement_edit.h"

namespace pelorus {
namespace {

class Facts : public FlowFixture {
protected:
    void SetUp() override {
        FlowFixture::SetUp();
        SYMBOL* x = variable("x");
        if_goes(x, 1, 2);
        label(1);
        assign(x, 1);
        label(2);
        build_cfg();
    }
    void TearDown() override {
        for (const FACT fact : {FACT_loops, FACT_loop_analyses}) set_fact_builder(fact, {});
        FlowFixture::TearDown();
    }
};

TEST_F(Facts, EditsLoseWhatTheTableSaysAndAllThatIsBuiltFromIt) {
    EXPECT_EQ(fact_state.valid, DFN_FACT);
    fact_state.valid = ALL_FACTS;
    lose_facts(EDIT_TREES);
    EXPECT_TRUE(fact_is_valid(FACT_dfn) && fact_is_valid(FACT_dominators) &&
                fact_is_valid(FACT_call_effects));
    EXPECT_TRUE(fact_is_valid(FACT_loops));
    EXPECT_FALSE(fact_is_valid(FACT_live) || fact_is_valid(FACT_loop_analyses) ||
                 fact_is_valid(FACT_use_def));
    fact_state.valid = ALL_FACTS;
    lose_facts(EDIT_EDGES);
    EXPECT_EQ(fact_state.valid, facts_of(FACT_candidates, FACT_points_to, FACT_call_effects));
}

TEST_F(Facts, LoopsThatNoLongerHoldAreNotInTheBlocks) {
    BB* block = block_number(2);
    block->loop = reinterpret_cast<LOOPREC*>(block);
    block->loop_depth = 1;
    fact_was_built(FACT_loops);
    remove_edge(block_number(1), block);
    EXPECT_EQ(block->loop, nullptr);
    EXPECT_EQ(block->loop_depth, 0);
}

std::string built;

TEST_F(Facts, WhatIsMissingIsBuiltAfterWhatItIsBuiltFrom) {
    built.clear();
    set_fact_builder(FACT_loop_analyses, {[] { built += "analyses "; }, nullptr, nullptr});
    set_fact_builder(FACT_loops, {[] { built += "loops "; }, nullptr, nullptr});
    lose_facts(EDIT_BLOCKS);
    build_facts(facts_of(FACT_loop_analyses));
    EXPECT_EQ(built, "loops analyses ");
    EXPECT_TRUE(fact_is_valid(FACT_dfn)) << "numbers come first";
    build_facts(facts_of(FACT_loops, FACT_loop_analyses));
    EXPECT_EQ(built, "loops analyses ") << "what is valid stays";
    EXPECT_THROW(build_facts(facts_of(FACT_use_def)), FatalExit) << "nothing builds it";
}

TEST_F(Facts, AnEditThatWasNotReportedIsSeen) {
    EXPECT_EQ(find_stale_fact(), FACT_COUNT);
    std::swap(block_number(2)->dfn, block_number(3)->dfn);
    EXPECT_EQ(find_stale_fact(), FACT_numbers);
    renumber_cfg();
    EXPECT_EQ(find_stale_fact(), FACT_COUNT);
    BB_LIST* const kept = flow_graph.bb_list->succs;
    flow_graph.bb_list->succs = nullptr; // nothing but the entry is left in reach
    EXPECT_EQ(find_stale_fact(), FACT_numbers);
    flow_graph.bb_list->succs = kept;
}

TEST_F(Facts, ACandidateWhoseAddressIsTakenUnseenIsStale) {
    build_facts(facts_of(FACT_candidates));
    ASSERT_EQ(function_candidates.count, 1);
    SYMBOL* x = function_candidates.symbols[0];
    EXPECT_EQ(find_stale_fact(), FACT_COUNT);
    NODE* assignment = block_number(2)->stmts->tree;
    NODE* const value = assignment->right;
    TYPE* pointer = types.make_pointer(types.int_type());
    assignment->right = new_unary(OP_PCONV, types.int_type(), new_unary(OP_UAND, pointer, use(x)));
    EXPECT_EQ(find_stale_fact(), FACT_candidates);
    EXPECT_EQ(x->candidate, 0) << "looking changes nothing";
    drop_candidate(function_candidates, x);
    EXPECT_EQ(find_stale_fact(), FACT_COUNT) << "who drops it knows";
    assignment->right = value;
    trees_changed();
    EXPECT_FALSE(fact_is_valid(FACT_candidates));
}

} // namespace
} // namespace pelorus
